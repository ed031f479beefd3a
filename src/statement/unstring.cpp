// UNSTRING: a source cut at its delimiters, or into pieces of the receivers' sizes.
#include "nls/code_pages.h"
#include "statement/string_moves.h"
#include "statement/string_search.h"
#include "statement/string_statement.h"

namespace qrt::statement {
namespace {

// What an item is filled up with, as two bytes.
constexpr uint16_t unitOf(char character, uint32_t width) {
  return static_cast<uint16_t>(width == 2 ? character : character * 0x0101);
}

// A move of text: cut, or filled up with a unit, on the right; with `right` on the left.
void moveText(uint8_t* to, uint32_t size, Text text, uint16_t filler, bool right) {
  const auto length = static_cast<uint32_t>(text.size());
  if (length >= size) return copyShort(to, right ? text.data() + (length - size) : text.data(), size);
  const uint32_t gap = size - length;
  copyShort(right ? to + gap : to, text.data(), length);
  fill(right ? to : to + length, gap, filler);
}

bool isNumeric(const QrtUnstringReceiver& receiver) {
  return (receiver.flags & (QRT_RECEIVER_NUMERIC | QRT_RECEIVER_NUMERIC_TWO_BYTE)) != 0;
}

uint32_t bytesOfDigit(const QrtUnstringReceiver& receiver) {
  return (receiver.flags & QRT_RECEIVER_NUMERIC_TWO_BYTE) != 0 ? 2 : 1;
}

// Bytes of a piece of a source without delimiters.
uint32_t sizeOfPiece(const QrtUnstringReceiver& receiver) {
  return isNumeric(receiver) ? count(receiver.digits) * bytesOfDigit(receiver) : count(receiver.length);
}

// The digit positions, then what the item has beyond them; a separate sign ahead of both or behind.
void moveDigits(const QrtUnstringReceiver& receiver, Text field) {
  const uint32_t width = bytesOfDigit(receiver);
  const uint16_t zero = unitOf('0', width);
  uint8_t* item = receiver.data;
  uint32_t size = count(receiver.length);
  if ((receiver.flags & QRT_RECEIVER_SIGN_SEPARATE) != 0) {
    const bool leading = (receiver.flags & QRT_RECEIVER_SIGN_LEADING) != 0;
    const uint32_t signSize = std::min(width, size);
    size -= signSize;
    fill(leading ? item : item + size, signSize, unitOf('+', width));
    if (leading) item += signSize;
  }
  const uint32_t digits = std::min(sizeOfPiece(receiver), size);
  moveText(item, digits, field, zero, true);
  fill(item + digits, size - digits, zero);
}

// The first `length` bytes of `source` are the field.
void moveField(const QrtUnstringReceiver& receiver, Text source, uint32_t length, uint16_t blank) {
  if (isNumeric(receiver)) return moveDigits(receiver, source.first(length));
  const uint32_t size = count(receiver.length);
  const bool right = (receiver.flags & QRT_RECEIVER_RIGHT) != 0;
  if (!right && blank == unitOf(' ', 1) && size >= 8 && size <= 32 && size <= source.size())
    copyAndFill(receiver.data, size, source.data(), std::min(length, size), ' ');
  else
    moveText(receiver.data, size, source.first(length), blank, right);
}

void moveDelimiter(const QrtUnstringReceiver& receiver, Text delimiter, uint16_t blank) {
  if (receiver.delimiter != nullptr)
    moveText(receiver.delimiter, count(receiver.delimiterLength), delimiter, blank,
             (receiver.delimiterFlags & QRT_RECEIVER_RIGHT) != 0);
}

// Where a field ends and the next one begins, and the delimiter between them; empty for none.
struct Cut {
  uint32_t end;
  uint32_t next;
  Text delimiter;
};

Cut cutAtDelimiter(const DelimiterSearch& search, Text source, uint32_t from) {
  const auto [end, delimiter] = search.find(source, from);
  if (delimiter == nullptr) return {end, end, {}};
  const bool all = (delimiter->flags & QRT_DELIMITER_ALL) != 0;
  const uint32_t length = count(delimiter->length);
  uint32_t next = end + length;
  while (all && search.stands(*delimiter, source.subspan(next))) next += length;
  return {end, next, {delimiter->data, length}};
}

}  // namespace

void unstringFields(QrtUnstringBlock* block, QrtUnstringReceiver* receivers,
                    const QrtProgramBlock* programContext, uint32_t* overflow) {
  const uint8_t flags = block->flags;
  const uint32_t width = (flags & (QRT_UNSTRING_DOUBLE_BYTE | QRT_UNSTRING_NATIONAL)) != 0 ? 2 : 1;
  const uint16_t blank =
      (flags & QRT_UNSTRING_DOUBLE_BYTE) != 0 ? load<uint16_t>(nls::doubleByteSpace()) : unitOf(' ', width);
  const bool collating = (flags & QRT_UNSTRING_COLLATING) != 0 && width == 1;
  const std::span delimiters(block->delimiters, count(block->delimiterCount));
  const DelimiterSearch search(delimiters, collating ? programContext->collatingTable : nullptr, width);

  const Text source(block->source, count(block->sourceLength));
  const int32_t pointer = (flags & QRT_UNSTRING_POINTER) != 0 ? block->pointer : 1;
  const auto size = static_cast<uint32_t>(source.size()), start = offsetOf(pointer, size, width);
  uint32_t at = start;
  int32_t filled = 0;
  for (; filled < block->receiverCount && at < size; ++filled) {
    QrtUnstringReceiver& receiver = receivers[filled];
    const uint32_t from = at;
    Cut cut;
    if (delimiters.empty()) {
      const uint32_t end = from + std::min(size - from, sizeOfPiece(receiver));
      cut = {end, end, {}};
    } else {
      cut = cutAtDelimiter(search, source, from);
      moveDelimiter(receiver, cut.delimiter, blank);
    }
    moveField(receiver, source.subspan(from), cut.end - from, blank);
    receiver.count = static_cast<int32_t>(charactersIn(cut.end - from, width));
    at = cut.next;
  }

  const bool leftOver = pointer < 1 ? size > 0 : at < size;
  if (leftOver && *overflow != 0) ++*overflow;
  if ((flags & QRT_UNSTRING_POINTER) != 0)
    block->pointer = pointer + static_cast<int32_t>(charactersIn(at - start, width));
  if ((flags & QRT_UNSTRING_TALLYING) != 0) block->tally += filled;
}

}  // namespace qrt::statement
