// Reading and checking of ranges.
#include "sort/engine/ranges.h"

#include <algorithm>

namespace qrt::sort {
namespace {

constexpr int32_t largestNumber = 65535;

constexpr bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

struct Position {
  int32_t field = 0;
  int32_t byte = 0;
  int32_t bit = 0;
  bool hasByte = false;
  bool hasBit = false;
};

struct Reader {
  std::string_view rest;

  bool takeNumber(int32_t& number) {
    if (rest.empty() || !isDigit(rest[0])) return false;
    number = 0;
    for (; !rest.empty() && isDigit(rest[0]); rest.remove_prefix(1))
      number = std::min(number * 10 + (rest[0] - '0'), largestNumber);
    return true;
  }

  bool take(char character) {
    if (!rest.starts_with(character)) return false;
    rest.remove_prefix(1);
    return true;
  }

  // The numbers; with `fieldOptional`, ".c" stands for "0.c".
  bool takePosition(Position& position, bool fieldOptional) {
    if (!takeNumber(position.field) && !(fieldOptional && rest.starts_with('.'))) return false;
    position.hasByte = take('.');
    if (position.hasByte && !takeNumber(position.byte)) return false;
    position.hasBit = position.hasByte && take('.');
    return !position.hasBit || takeNumber(position.bit);
  }

  void takeModifiers(SortKey& range, bool atEnd) {
    while (!rest.empty() && setModifier(range, rest[0], atEnd)) rest.remove_prefix(1);
  }
};

void carryBits(int32_t& byte, int32_t& bit) {
  byte += bit / 8;
  bit %= 8;
}

void setStart(SortKey& range, const Position& position) {
  range.startField = position.field;
  range.startByte = position.byte;
  range.startBit = position.bit;
  carryBits(range.startByte, range.startBit);
}

void setEnd(SortKey& range, const Position& position) {
  range.endField = position.field;
  range.endByte = position.byte;
  range.endBit = position.bit;
  carryBits(range.endByte, range.endBit);
}

// A start that counts from 1, made to count from 0; false for a 0.
bool countFromZero(Position& start) {
  --start.field;
  start.byte -= start.hasByte;
  start.bit -= start.hasBit;
  return start.field >= 0 && start.byte >= 0 && start.bit >= 0;
}

// An inclusive end that counts from 1, made exclusive and to count from 0.
bool makeExclusive(Position& end) {
  if (end.field == 0) return false;
  if (end.byte == 0) return end.bit == 0;  // the end of the field
  --end.field;
  if (end.bit > 0) --end.byte;
  return true;
}

// The end offset of the joined fields that field `index` is one of.
int32_t endOfJoined(const SortOptions& options, int32_t index) {
  return options.format[options.format[index].barrier - 1].endOffset;
}

bool allowsOffset(FieldType type, int32_t byte, int32_t bit) {
  if (bit != 0) return type == FieldType::bin;
  return byte == 0 || isByteString(type);
}

bool startFits(const SortOptions& options, const SortKey& range) {
  if (range.startField >= options.format.count) return false;
  const FormatField& field = options.format[range.startField];
  return allowsOffset(field.type, range.startByte, range.startBit) &&
         field.offset + range.startByte < endOfJoined(options, range.startField);
}

bool endFits(const SortOptions& options, const SortKey& range) {
  const bool hasOffset = range.endByte != 0 || range.endBit != 0;
  if (range.endField >= options.format.count) return range.endField == options.format.count && !hasOffset;
  const FormatField& field = options.format[range.endField];
  const int32_t touched = range.endByte + (range.endBit != 0);
  return allowsOffset(field.type, range.endByte, range.endBit) &&
         field.offset + touched <= endOfJoined(options, range.endField);
}

bool isWithinOneField(const SortKey& range) {
  return range.startField == range.endField ||
         (range.endField == range.startField + 1 && range.endByte == 0 && range.endBit == 0);
}

// Whether bits are named only at an end where the range doesn't run through joined fields.
bool bitsStayInOneField(const SortOptions& options, const SortKey& range) {
  if (isWithinOneField(range)) return true;
  const auto joinsNext = [&](int32_t field) { return options.format[field].barrier > field + 1; };
  return (range.startBit == 0 || !joinsNext(range.startField)) &&
         (range.endBit == 0 || !joinsNext(range.endField - 1));
}

bool fitsFormat(const SortOptions& options, const SortKey& range) {
  if (!startFits(options, range) || !endFits(options, range) || range.endField < range.startField)
    return false;
  const bool startsInside = range.startByte != 0 || range.startBit != 0;
  const bool endsInside = range.endByte != 0 || range.endBit != 0;
  if (range.startField == range.endField && !endsInside) return false;
  if (options.format[range.startField].hasFlength && (startsInside || endsInside)) return false;
  if (endsInside && options.format[range.endField].hasFlength) return false;
  return bitsStayInOneField(options, range);
}

// Makes a range whose end lies in front of its start within one field an empty one.
void straighten(SortKey& range) {
  if (range.startField != range.endField) return;
  if (range.endByte * 8 + range.endBit >= range.startByte * 8 + range.startBit) return;
  range.endByte = range.startByte;
  range.endBit = range.startBit;
}

}  // namespace

bool setModifier(SortKey& range, char letter, bool atEnd) {
  switch (letter) {
    case 'b':
      (atEnd ? range.blankEnd : range.blankStart) = true;
      return true;
    case 'd':
      return range.dictionary = true;
    case 'e':
      return range.trimEnd = true;
    case 'f':
      return range.fold = true;
    case 'i':
      return range.printable = true;
    case 'n':
      return range.numeric = true;
    case 'q':
      return range.date = true;
    case 'r':
      return range.reverse = true;
    case 'w':
      return range.yearWindow = true;
    default:
      return false;
  }
}

bool hasModifiers(const SortKey& range) {
  return range.blankStart || range.blankEnd || range.dictionary || range.trimEnd || range.fold ||
         range.printable || range.numeric || range.date || range.reverse || range.yearWindow;
}

bool readRange(std::string_view text, SortKey& range) {
  Reader reader{text};
  Position start, end;
  if (!reader.takePosition(start, false) || !countFromZero(start)) return false;
  setStart(range, start);
  range.endField = toRecordEnd;
  reader.takeModifiers(range, false);
  if (!reader.take(',')) return reader.rest.empty();
  if (!reader.takePosition(end, false) || !makeExclusive(end)) return false;
  setEnd(range, end);
  reader.takeModifiers(range, true);
  return reader.rest.empty();
}

bool readObsoleteStart(std::string_view text, SortKey& range) {
  Reader reader{text};
  Position start;
  if (!reader.takePosition(start, true)) return false;
  setStart(range, start);
  range.endField = toRecordEnd;
  reader.takeModifiers(range, false);
  return reader.rest.empty();
}

bool readObsoleteEnd(std::string_view text, SortKey& range) {
  Reader reader{text};
  Position end;
  if (!reader.takePosition(end, true)) return false;
  setEnd(range, end);
  reader.takeModifiers(range, true);
  return reader.rest.empty();
}

bool placeRange(const SortOptions& options, SortKey& range) {
  if (range.endField == toRecordEnd) range.endField = options.largestField;
  range.blankEnd = range.blankEnd && range.endByte != 0;
  if (!options.binary) return range.startBit == 0 && range.endBit == 0;
  if (!fitsFormat(options, range)) return false;
  straighten(range);
  return true;
}

bool leavesBarrier(const SortOptions& options, const SortKey& range) {
  if (!options.binary) return false;
  const int32_t barrier = options.format[range.startField].barrier;
  return range.endField > barrier || (range.endField == barrier && (range.endByte != 0 || range.endBit != 0));
}

SortKey takePiece(const SortOptions& options, SortKey& range) {
  SortKey piece = range;
  piece.endField = range.startField = options.format[range.startField].barrier;
  piece.endByte = piece.endBit = range.startByte = range.startBit = 0;
  piece.blankEnd = false;
  return piece;
}

void settleRange(const SortOptions& options, SortKey& range, bool converts) {
  range.type = options.binary ? options.format[range.startField].type : FieldType::character;
  range.barrier = options.binary ? options.format[range.startField].barrier : 0;
  range.startMask = static_cast<uint8_t>(0xFF >> range.startBit);
  range.endMask = static_cast<uint8_t>(range.endBit == 0 ? 0xFF : 0xFF << (8 - range.endBit));
  if (!converts || range.type != FieldType::character) return;
  if (range.numeric) {
    range.type = FieldType::numericText;
  } else if (range.date) {
    range.type = FieldType::dateText;
    range.blankStart = range.blankEnd = range.dictionary = range.printable = false;
  }
}

bool isWholeField(const SortKey& range) {
  return range.startByte == 0 && range.startBit == 0 && range.endField == range.startField + 1 &&
         range.endByte == 0 && range.endBit == 0;
}

}  // namespace qrt::sort
