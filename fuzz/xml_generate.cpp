// Arbitrary item tables through XML GENERATE in each form of the document: whatever the tables and the items
// say, nothing outside them is read and nothing outside the receiving item is written.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <vector>

#include "input.h"

namespace {

using qrt::fuzz::Input;

// A block of exactly the size needed, so that a sanitizer sees the first byte beyond.
std::unique_ptr<uint8_t[]> exactly(const void* bytes, size_t size) {
  std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
  if (size != 0) memcpy(block.get(), bytes, size);
  return block;
}

constexpr int32_t longestItem = 20;
constexpr uint32_t mostOccurrences = 64;

// A table of entries with lengths and counts in bounds, and what its walk can ask for at most.
struct Tables {
  std::vector<QrtXmlDescriptor> entries = {};
  std::vector<uint8_t> names = {1, 'W'};
  std::vector<int32_t> counts = {};
  size_t storage = 0, image = 0;

  void add(uint8_t level, uint8_t flags, uint32_t value) {
    QrtXmlDescriptor entry = {level, flags, {}};
    memcpy(entry.value, &value, sizeof value);
    entries.push_back(entry);
  }
  void addName(Input& input) {
    const uint8_t length = input.byte() % 8;
    names.push_back(length);
    for (int at = 0; at < length; ++at) names.push_back(input.byte() % 96 + ' ');
  }

  explicit Tables(Input& input) {
    uint32_t occurrences = 1;
    for (int count = input.byte() % 24; count > 0; --count) {
      const auto level = static_cast<uint8_t>(entries.empty() ? 1 : 2 + input.byte() % 8);
      const uint8_t flags = input.byte();
      const uint32_t length = input.byte() % longestItem;
      if ((flags & QRT_XGF_OCCURS) == QRT_XGF_OCCURS) {
        const uint32_t times = length % 5;
        if (occurrences * (times + 1) > mostOccurrences) continue;
        occurrences *= times + 1;
        const bool depends = flags & 0x20;
        add(level, flags, depends ? static_cast<uint32_t>(counts.size()) : times);
        if (depends) counts.push_back(static_cast<int32_t>(times));
        continue;
      }
      const bool isNumeric = flags & QRT_XGF_NUMERIC, isSkipped = (flags & 0xF0) == QRT_XGF_SKIPPED;
      add(level, flags, flags == 0 ? 0 : isNumeric ? length | (length / 2) << 16 : length);
      if (!isSkipped) addName(input);
      storage += length;
      if (isNumeric) image += length;
    }
    add(0, 0, 0);
    storage *= occurrences;
    image *= occurrences;
  }
};

// As much as a walk takes, from the input and its last bytes again and again.
std::unique_ptr<uint8_t[]> itemsOf(Input& input, size_t size) {
  std::vector<uint8_t> bytes(size);
  uint8_t seed = 0;
  for (uint8_t& byte : bytes) byte = input.size != 0 ? input.byte() : static_cast<uint8_t>(seed += 37);
  return exactly(bytes.data(), size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input{data, size};
  const uint8_t kind = input.byte() % 3 + QRT_XGF_ASCII, choice = input.byte();
  const size_t room = input.byte() * (choice & 1 ? 64u : 1u);
  constexpr const char* encodings[] = {nullptr, nullptr, "UTF-8", "819", "QMC-500"};
  uint8_t option[16];
  for (uint8_t& byte : option) byte = input.byte();
  const auto text = exactly(option, sizeof option);
  QrtXmlOptions options = {};
  options.warnings = choice >> 1 & 1;
  options.flags = input.byte() & 0xC0;
  options.encoding = encodings[choice / 4 % 5];
  options.namespaceFlags = input.byte();
  options.namespaceLength = input.byte() % 11;
  options.namespaceName = text.get() + 6;
  options.prefixFlags = input.byte();
  options.prefixLength = input.byte() % 7;
  options.prefix = text.get();

  const Tables tables(input);
  const auto entries = exactly(tables.entries.data(), tables.entries.size() * sizeof(QrtXmlDescriptor));
  const auto names = exactly(tables.names.data(), tables.names.size());
  const auto counts = exactly(tables.counts.data(), tables.counts.size() * sizeof(int32_t));
  const auto items = itemsOf(input, tables.storage), image = itemsOf(input, tables.image);
  const auto output = itemsOf(input, room);
  char locale[22], ebcdicPage[18];
  qrtGetLocaleCP(locale, ebcdicPage);
  const QrtXmlProgram program = {locale};
  int32_t count = -1;
  _qrtcXGF(200, output.get(), static_cast<uint32_t>(room), kind, items.get(), &program, image.get(),
           reinterpret_cast<const int32_t*>(counts.get()), 0, longestItem,
           reinterpret_cast<const QrtXmlDescriptor*>(entries.get()), names.get(), &options, 0, &count);
  if (count < 0 || static_cast<size_t>(count) > room / (kind == QRT_XGF_UTF16 ? 2 : 1)) abort();
  return 0;
}
