// Lists of concatenated names, the group G and its generations among them.
#include <string.h>

#include <vector>

#include "generation_folder.h"

namespace {

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> names(1);
  for (const char character : text)
    if (character == ';')
      names.emplace_back();
    else
      names.back() += character;
  std::erase(names, "");
  return names;
}

// What a list of the name hands out.
std::vector<std::string> expected(const std::string& name) {
  const auto [kind, text] = qrt::fuzz::GenerationFolder::resolved(name);
  if (kind == 0) return {name};
  if (kind == 1) return {text};
  std::vector<std::string> files;
  for (int back = 0;; ++back) {
    const auto [found, file] =
        qrt::fuzz::GenerationFolder::resolved(text + "(" + std::to_string(-back) + ")");
    if (found != 1) return files;
    files.push_back(file);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const qrt::fuzz::GenerationFolder folder;
  const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
  int32_t verdict = 0;
  QrtConcatenation* const list = _qrt_Concat_Check(text.c_str(), &verdict, 0, "PLT");
  const std::vector<std::string> names = split(text);
  const bool parted = text.find(';') != text.npos;
  if (list == nullptr) {
    if (parted ? names.size() <= 256 : verdict != 0) abort();
    return 0;
  }
  for (const std::string& name : names)
    for (const std::string& member : expected(name)) {
      const char* const next = _qrt_Concat_Next(list);
      if (next == nullptr || next != member) abort();
    }
  if (_qrt_Concat_Next(list) != nullptr) abort();
  _qrt_Concat_Free(list);
  return 0;
}
