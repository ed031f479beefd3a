// Any bytes as the source of a message catalogue: it yields either errors or an image whose index and texts
// lie within it.
#include <stdlib.h>
#include <string.h>

#include "catalogue/compile.h"

namespace {

void demand(bool holds) {
  if (!holds) abort();
}

uint32_t load(const std::vector<uint8_t>& image, size_t offset, size_t bytes) {
  uint32_t value = 0;
  demand(offset + bytes <= image.size());
  memcpy(&value, &image[offset], bytes);
  return value;
}

void checkImage(const std::vector<uint8_t>& image) {
  demand(image.size() <= qrt::catalogue::largestImage);
  size_t text = 32 + 8 * load(image, 30, 2);
  uint32_t lastKey = 0;
  for (size_t entry = 32, end = text; entry < end; entry += 8) {
    const uint32_t key = load(image, entry, 2) << 16 | load(image, entry + 2, 2);
    demand(key > lastKey && load(image, entry + 4, 4) == text && text < image.size());
    lastKey = key;
    demand(image[text] >= '0' && image[text] <= '3' && image[text + 1] == ' ');
    const void* terminator = memchr(&image[text], 0, image.size() - text);
    demand(terminator != nullptr);
    text = static_cast<const uint8_t*>(terminator) - image.data() + 1;
  }
  demand(text == image.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto compilation = qrt::catalogue::compile({reinterpret_cast<const char*>(data), size});
  demand(compilation.image.empty() != compilation.errors.empty());
  if (compilation.errors.empty()) checkImage(compilation.image);
  return 0;
}
