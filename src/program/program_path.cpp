// Where programs are looked for.
#include "program/program_path.h"

#include <stdlib.h>
#include <string.h>

#include <utility>

#include "qrtrlib.h"

namespace qrt::program {
namespace {

// It outlives run units, so it lies on the plain heap.
char* directoryList = nullptr;

char* cutIntoDirectories(std::string_view text) {
  auto* list = static_cast<char*>(malloc(text.size() + 2));
  if (list == nullptr) return nullptr;
  char* write = list;
  for (const char letter : text)
    if (letter != ';')
      *write++ = letter;
    else if (write != list && write[-1] != 0)
      *write++ = 0;
  *write++ = 0;
  *write = 0;
  return list;
}

}  // namespace

const char* programDirectories() {
  const char* text = getenv("COBPATH");
  free(std::exchange(directoryList, text != nullptr ? cutIntoDirectories(text) : nullptr));
  if (_qrtProccom != nullptr) _qrtProccom->cobpathCache = directoryList;
  return directoryList;
}

void releaseProgramDirectories() {
  free(std::exchange(directoryList, nullptr));
}

platform::NativePath programFile(std::string_view directory, std::string_view name) {
  platform::NativePath path(directory);
  const char last = directory.empty() ? '\\' : directory.back();
  if (!platform::isSeparator(last) && last != ':') path.append("\\");
  path.append(name);
  return path;
}

}  // namespace qrt::program
