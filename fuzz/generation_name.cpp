// Names of generations and groups: as they come, and as what stands behind the name of a group that is there.
#include "generation_folder.h"

using qrt::fuzz::GenerationFolder;

namespace {

// What a name stands for is what its resolved name stands for.
void check(const std::string& name) {
  const auto found = GenerationFolder::resolved(name);
  if (found.first != 0 && GenerationFolder::resolved(found.second) != found) abort();
  if (found.first == -1 && name != found.second && name != found.second + "(*)") abort();
  if (found.first == 1 && !found.second.ends_with("v00")) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const GenerationFolder folder;
  const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
  if (size > 600 || text.find('/') != text.npos || text.find('\\') != text.npos) return 0;
  check(text);
  check("G" + text);
  check("./G" + text);
  return 0;
}
