// Arbitrary picture records and sources through the eight moves: whatever a record says, nothing outside the
// item is written and nothing outside record and source is read.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "input.h"

namespace {

// Blocks of exactly the size needed, so that a sanitizer sees the first byte beyond. Both start on the
// boundary that records need.
struct Block {
  explicit Block(size_t size) : bytes(new uint8_t[size]), size(size) {}
  std::unique_ptr<uint8_t[]> bytes;
  size_t size;
};

// An item of `size` bytes that the program ends on if a byte behind it changes.
struct Item {
  static constexpr size_t guard = 32;
  static constexpr uint8_t filler = 0xEE;

  explicit Item(size_t size) : block(guard + size + guard), size(size) {
    memset(block.bytes.get(), filler, block.size);
  }
  ~Item() {
    for (size_t at = 0; at < guard; ++at)
      if (block.bytes[at] != filler || block.bytes[guard + size + at] != filler) abort();
  }
  uint8_t* data() { return block.bytes.get() + guard; }

  Block block;
  size_t size;
};

using qrt::fuzz::Input;

// A record of a 16-bit number, `fixed` bytes from the input and `length` more.
Block record(Input& input, int16_t number, size_t fixed, size_t length) {
  Block block(2 + fixed + length);
  memcpy(block.bytes.get(), &number, 2);
  for (size_t at = 2; at < block.size; ++at) block.bytes[at] = input.byte();
  return block;
}

// Digits more often than not.
Block source(Input& input, size_t length) {
  Block block(length);
  for (size_t at = 0; at < length; ++at) {
    const uint8_t byte = input.byte();
    block.bytes[at] = byte < 0x80 ? static_cast<uint8_t>('0' + byte % 10) : byte;
  }
  return block;
}

// Bytes of the item behind a numeric picture, of which "P" and "V" take none.
size_t printed(const uint8_t* picture, size_t length) {
  size_t count = 0;
  for (size_t at = 0; at < length; ++at) {
    if (picture[at] == 'P' || picture[at] == 'V') continue;
    const bool pair =
        std::string_view("9Z*$+-0/ .,").find(static_cast<char>(picture[at])) == std::string_view::npos;
    count += pair && at + 1 < length ? 2 : 1;
    at += pair;
  }
  return count;
}

template <typename Record>
const Record* as(const Block& block) {
  return reinterpret_cast<const Record*>(block.bytes.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input{data, size};
  const uint8_t entry = input.byte() % 8;
  const bool negative = input.byte() % 2 != 0;
  // Long pictures come as often as short ones, to reach the limit of the currency operations.
  const size_t length = input.byte() * (input.byte() % 4 == 0 ? 3u : 1u) % 600;
  const auto number = static_cast<int16_t>(negative ? -static_cast<int>(length) : static_cast<int>(length));
  const int16_t stringLength = static_cast<int16_t>(input.byte() % 12 - 1);
  const Block string =
      record(input, stringLength, 0, static_cast<size_t>(std::max<int16_t>(stringLength, 1)));
  const size_t stringSize = static_cast<size_t>(std::max<int16_t>(stringLength, 0));

  switch (entry) {
    case 0: {
      const Block picture = record(input, number, 1, length * 2 + 1);
      const Block text = source(input, input.byte());
      Item item(length * 2);
      _qrtcMoveAlphaNumEdit(as<QrtAlphaNumEditPicture>(picture), text.bytes.get(),
                            static_cast<int32_t>(text.size), item.data());
      break;
    }
    case 1: {
      Block picture = record(input, number, 2, length);
      size_t characters = 0;
      for (size_t run = 0; run < length / 4; ++run) {
        picture.bytes[4 + run * 4 + 3] &= 0x81;  // short runs, or none
        const QrtUnicodeEditRun& one = as<QrtUnicodeEditPicture>(picture)->runs[run];
        characters += static_cast<size_t>(std::max<int16_t>(one.count, 0));
      }
      const Block text = source(input, input.byte());
      Item item(characters * 2);
      _qrtcMoveUnicodeEdit(as<QrtUnicodeEditPicture>(picture), text.bytes.get(),
                           static_cast<int32_t>(text.size), item.data());
      break;
    }
    case 2: {
      const Block literal = source(input, 1 + input.byte() % 40);
      Item item(length);
      _qrtcMoveFigConst(item.data(), number, literal.bytes.get(), static_cast<int32_t>(literal.size));
      break;
    }
    case 3:
    case 4: {
      const Block picture = record(input, number, 3, length);
      const Block digits = source(input, 1 + length);
      const size_t text = printed(picture.bytes.get() + 5, length);
      Item item(entry == 3 ? text : std::max<size_t>(text + stringSize, 1) - 1);
      if (entry == 3)
        _qrtcMoveNumToNumEdit(as<QrtNumEditPicture>(picture), digits.bytes.get(), item.data());
      else
        _qrtcMoveNumToNumEdit2(as<QrtNumEditPicture>(picture), digits.bytes.get(), item.data(),
                               as<QrtCurrency>(string));
      break;
    }
    case 5:
    case 6: {
      const Block picture = record(input, number, 0, length);
      const size_t text = printed(picture.bytes.get() + 2, length);
      const Block edited = source(input, text + stringSize + 1);
      Item digits(length + 1);
      if (entry == 5)
        _qrtcMoveNumEditToNum(as<QrtNumDeeditPicture>(picture), edited.bytes.get(), digits.data());
      else
        _qrtcMoveNumEditToNum2(as<QrtNumDeeditPicture>(picture), edited.bytes.get(), digits.data(),
                               as<QrtCurrency>(string));
      break;
    }
    default: {
      const size_t other = input.byte();
      Item item(length + other);
      const size_t at = std::min<size_t>(input.byte(), other), from = std::min<size_t>(input.byte(), length);
      _qrtcMoveVarLenOverlap(item.data() + at, number, item.data() + from,
                             static_cast<int32_t>(negative ? other : -static_cast<int32_t>(other)));
    }
  }
  return 0;
}
