// The file systems and the loading of their adapters.
#include "fileio/file_systems.h"

#include <stdio.h>

#include "platform/modules.h"

namespace qrt::fileio {
namespace {

enum class GivenBy : uint8_t { both, file, run };

struct Row {
  FileSystemName name;
  GivenBy givenBy = GivenBy::both;
};

constexpr Row rows[] = {
    {{"HDU", "HDU", 1}},
    {{"KRD", "HDU", 1}},
    {{"GXM", "HDU", 1}, GivenBy::file},
    {{"KFS", "KFS", 2}},
    {{"BTR", "BTR", 3}},
    {{"NAT", "NAT", 4}},
    {{"PLT", "PLT", 5}},
    {{"NSD", "NSD", 6}},
    {{"QDB", "QDB", 8}},
    {{"RDB", "QDB", 8}},
    {{"EXT", "EXT", 7}, GivenBy::run},
};
constexpr FileSystemName fallback = {"PLT", "PLT", 5};

const FileSystemName* find(std::string_view letters, GivenBy givenBy) {
  for (const Row& row : rows)
    if (row.name.given == letters && (row.givenBy == GivenBy::both || row.givenBy == givenBy))
      return &row.name;
  return nullptr;
}

constexpr const char* modules[fileSystemCount] = {
    nullptr,    "qrtrfkrd", nullptr, "qrtrfbtr", "qrtrfnat",
    "qrtrfplt", "qrtrfnsd", nullptr, "qrtrfqdb", nullptr,
};

}  // namespace

QrtAdapterRow adapterRows[fileSystemCount];

const FileSystemName* findFileSystem(std::string_view letters) {
  return find(letters, GivenBy::file);
}

const FileSystemName& defaultFileSystem(std::string_view letters) {
  const FileSystemName* name = find(letters, GivenBy::run);
  return name != nullptr ? *name : fallback;
}

const char* adapterModule(int32_t code) {
  return modules[code];
}

bool loadAdapter(int32_t code) {
  QrtAdapterRow& row = adapterRows[code];
  if (row.init != nullptr) return true;
  if (modules[code] == nullptr) return false;
  fprintf(stderr, "Load Lib %s index %d\n", modules[code], static_cast<int>(code));
  const platform::Module module = platform::loadModule(modules[code]);
  if (module == nullptr) return false;
  row.init = platform::findRoutineAs<void(QrtFcb*, QrtProgramEntry*, int32_t)>(module, "_IO_Init");
  if (row.init == nullptr) platform::unloadModule(module);
  return row.init != nullptr;
}

}  // namespace qrt::fileio
