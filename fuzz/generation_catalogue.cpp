// Catalogue files of generation groups. The first byte cuts the file short by that many bytes, the rest lies
// over the start of a sound image.
#include <string.h>

#include <fstream>
#include <iterator>

#include "generation_folder.h"

using qrt::fuzz::GenerationFolder;

namespace {

constexpr const char* path = "G.catalogue";

std::string content() {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::string& image) {
  std::ofstream(path, std::ios::binary) << image;
}

uint32_t wordAt(const std::string& image, size_t offset) {
  uint32_t word;
  memcpy(&word, image.data() + offset, sizeof(word));
  return word;
}

// A catalogue that has been rewritten is sound in all that the library counts on.
void checkSound(const std::string& before) {
  const std::string image = content();
  if (image == before) return;
  if (image.size() != 4096 || wordAt(image, 4) != 1234 || wordAt(image, 8) != 1) abort();
  const uint32_t count = wordAt(image, 24);
  if (count > 1000) abort();
  const uint32_t last = count > 0 ? wordAt(image, 92 + 4 * count) : 0;
  if (wordAt(image, 28) != (last & 0x3FFF) || wordAt(image, 32) != (last & 0xFFFF8000)) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const GenerationFolder folder;
  static const std::string sound = content();
  if (size == 0 || size > sound.size()) return 0;
  std::string image = sound;
  memcpy(image.data(), data + 1, size - 1);
  image.resize(image.size() - data[0]);
  write(image);
  for (const char* name : {"G", "G(0)", "G(-3)", "G(2)", "G(-999)", "G.g9999v00"})
    GenerationFolder::resolved(name);
  checkSound(image);
  GenerationFolder::resolved("G(+1)", 1);
  checkSound(image);
  GDS_unlink("G(0)", nullptr);
  checkSound(image);
  return 0;
}
