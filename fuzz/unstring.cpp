// Arbitrary UNSTRING blocks: the statement leaves behind what the plain rules do, writes nothing outside of
// its receivers and reads nothing outside of source and delimiters.
#include <qrtrlib.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "input.h"
#include "statement/plain_string.h"

namespace {

using Storage = std::vector<uint8_t>;  // of exactly the size needed: a sanitizer sees the first byte beyond

struct Input : qrt::fuzz::Input {
  // Now and then below 0.
  int32_t length(int32_t limit) {
    const bool negative = byte() == 1;
    return negative ? -byte() : byte() % (limit + 1);
  }
  Storage text(int32_t length) {
    Storage text(static_cast<size_t>(std::max(length, 0)));
    for (uint8_t& letter : text) letter = byte();
    return text;
  }
};

// A statement with storage of its own: the same input makes the same one again.
struct Statement {
  Storage source;
  std::vector<Storage> delimiters, items;
  std::vector<uint32_t> block;
  std::vector<QrtUnstringReceiver> receivers;
  QrtProgramBlock program = {};
  uint8_t table[256];
  uint32_t overflow;

  explicit Statement(Input input) {
    const uint8_t flags = input.byte(), ranks = input.byte();
    for (uint32_t byte = 0; byte < 256; ++byte) table[byte] = static_cast<uint8_t>(byte | ranks);
    program.collatingTable = ranks == 0 ? nullptr : table;
    overflow = input.byte() % 3;
    const int32_t pointer = static_cast<int8_t>(input.byte()), tally = input.byte();
    const int32_t delimiterCount = input.length(8), receiverCount = input.length(8);
    for (int32_t count = delimiterCount; count > 0; --count)
      delimiters.push_back(input.text(input.length(40)));
    for (int32_t count = receiverCount; count > 0; --count) addReceiver(input);
    for (const Storage& delimiter : delimiters) {
      const auto length = static_cast<uint32_t>(delimiter.size());
      block.insert(block.end(), {address(delimiter), length, input.byte() % 2 * QRT_DELIMITER_ALL});
    }
    source = input.text(static_cast<int32_t>(input.size));
    block.insert(block.begin(),
                 {uint32_t{flags} << 24, address(source), static_cast<uint32_t>(source.size()),
                  static_cast<uint32_t>(pointer), static_cast<uint32_t>(tally),
                  static_cast<uint32_t>(delimiterCount), static_cast<uint32_t>(receiverCount)});
  }

  static uint32_t address(const Storage& storage) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(storage.data()));
  }

  void addReceiver(Input& input) {
    QrtUnstringReceiver receiver = {};
    receiver.length = input.length(40);
    receiver.digits = input.length(40);
    receiver.flags = input.byte();
    receiver.delimiterLength = input.length(10);
    receiver.delimiterFlags = input.byte();
    for (const int32_t length : {receiver.length, receiver.delimiterLength})
      items.emplace_back(static_cast<size_t>(std::max(length, 0)), '#');
    receiver.data = items[items.size() - 2].data();
    receiver.delimiter = items.back().data();
    receivers.push_back(receiver);
  }

  QrtUnstringBlock* record() { return reinterpret_cast<QrtUnstringBlock*>(block.data()); }
};

// What pads double-byte items here: an empty field shows it.
std::string doubleByteBlank() {
  std::string blank(2, '\0');
  QrtUnstringReceiver receiver = {};
  receiver.data = reinterpret_cast<uint8_t*>(blank.data());
  receiver.length = 2;
  const uint8_t comma[] = {',', ','};
  QrtUnstringBlock block = {};
  block.flags = QRT_UNSTRING_DOUBLE_BYTE;
  block.source = comma;
  block.sourceLength = 2;
  block.delimiterCount = block.receiverCount = 1;
  block.delimiters[0] = {comma, 2, 0};
  uint32_t overflow = 0;
  _qrtcUnString(&block, &receiver, nullptr, &overflow);
  return blank;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string blank = doubleByteBlank();
  Statement ours({data, size}), plain({data, size});
  _qrtcUnString(ours.record(), ours.receivers.data(), &ours.program, &ours.overflow);
  qrt::statement::plainUnstring(*plain.record(), plain.receivers.data(), plain.program.collatingTable,
                                plain.overflow, blank);
  if (ours.items != plain.items || ours.overflow != plain.overflow ||
      ours.record()->pointer != plain.record()->pointer || ours.record()->tally != plain.record()->tally)
    abort();
  for (size_t at = 0; at < ours.receivers.size(); ++at)
    if (ours.receivers[at].count != plain.receivers[at].count) abort();
  return 0;
}
