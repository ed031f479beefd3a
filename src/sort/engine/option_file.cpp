// Finding and reading of the option file.
#include "sort/engine/option_file.h"

#include <string.h>

#include <algorithm>

#include "platform/files.h"
#include "platform/modules.h"
#include "platform/paths.h"
#include "platform/registry.h"
#include "sort/engine/messages.h"
#include "sort/engine/parse.h"

namespace qrt::sort {
namespace {

constexpr char fileName[] = "lumasift.ini";
constexpr char libraryName[] = "lumasift.dll";
constexpr int32_t invalidOptionFile = 233;
constexpr int32_t defaultT2 = 4194304;
constexpr int32_t leastT1 = 65535;

platform::FileHandle openIn(std::string_view directory) {
  platform::NativePath path(directory);
  if (path.length > 0 && path.text[path.length - 1] != '/') path.append("/");
  path.append(fileName);
  return path.fits ? platform::openFileForReading(path.text) : platform::noFile;
}

// Opens the file in the first place that has it.
platform::FileHandle openOptionFile() {
  platform::RegistryKey key;
  char directory[longestTempDirText + 1];
  if (platform::openRegistryKey("HKEY_CURRENT_USER", "Software\\QMC\\Lumasift\\1.2.0", key) &&
      platform::queryRegistryValue(key, "INIPATH", directory, sizeof(directory)))
    if (const platform::FileHandle file = openIn(directory); file != platform::noFile) return file;
  platform::NativePath library;
  if (!platform::findModule(libraryName, library)) return platform::noFile;
  const std::string_view path = library.text;
  return openIn(path.substr(0, path.rfind('/') + 1));
}

bool isValid(const OptionFileHeader& header, const char* text, size_t bytesRead) {
  const bool tooOld = header.version[0] == 0 && header.version[1] == 0 && header.version[2] == 0;
  return bytesRead >= sizeof(header) && !tooOld && header.version[0] <= 1 && header.t2 > 0 &&
         header.tempDirLength <= longestTempDirText && bytesRead - sizeof(header) >= header.tempDirLength &&
         memchr(text, 0, header.tempDirLength) == nullptr;
}

}  // namespace

int32_t readOptionFile(SortSession& session, OptionFile& file) {
  SortLimits& limits = session.run->limits;
  limits.t2 = defaultT2;
  std::copy(std::begin(versionParts), std::end(versionParts), file.version);
  std::string_view tempDir = ".";

  struct {
    OptionFileHeader header;
    char text[longestTempDirText + 1];
  } content = {};
  const platform::FileHandle handle = openOptionFile();
  if (handle != platform::noFile) {
    const int32_t bytes = platform::readFile(handle, &content, sizeof(content));
    platform::closeFile(handle);
    if (!isValid(content.header, content.text, static_cast<size_t>(std::max(bytes, 0))))
      return message(invalidOptionFile);
    std::copy(std::begin(content.header.version), std::end(content.header.version), file.version);
    limits.t2 = content.header.t2;
    if (content.header.tempDirLength > 0) tempDir = {content.text, content.header.tempDirLength};
  }
  limits.t1 = std::max(leastT1, limits.t2 / 20);
  file.tempDir = session.memory.copy(tempDir);
  return file.tempDir == nullptr ? noMemory(tempDir.size() + 1) : 0;
}

}  // namespace qrt::sort
