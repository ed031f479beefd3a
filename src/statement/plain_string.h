// The rules of STRING and UNSTRING as they are told, byte by byte: the oracle of their tests.
#pragma once

#include <algorithm>
#include <string>

#include "qrtrlib.h"

namespace qrt::statement {

inline std::string plainText(const uint8_t* data, int64_t length) {
  return length <= 0 ? std::string() : std::string(reinterpret_cast<const char*>(data), size_t(length));
}

// Whether `delimiter` stands in `text` at `at`, by the collating table if there is one.
inline bool plainMatch(const std::string& text, size_t at, const std::string& delimiter,
                       const uint8_t* table) {
  if (delimiter.empty() || at + delimiter.size() > text.size()) return false;
  for (size_t byte = 0; byte < delimiter.size(); ++byte) {
    const auto ours = static_cast<uint8_t>(text[at + byte]), wanted = static_cast<uint8_t>(delimiter[byte]);
    if (table == nullptr ? ours != wanted : table[ours] != table[wanted]) return false;
  }
  return true;
}

inline void plainString(QrtStringBlock& block, const uint8_t* table, uint32_t& overflow) {
  const int width = (block.flags & 0x48) != 0 ? 2 : 1;
  if (width == 2 || (block.flags & 0x10) == 0) table = nullptr;
  const int64_t pointer = (block.flags & 0x80) != 0 ? block.pointer : 1;
  int64_t offset = pointer * width - width;
  const bool outside = offset < 0 || offset > block.targetLength;
  bool overflowed = false;
  const QrtStringGroup* group = block.groups;
  for (int32_t groups = block.groupCount; groups > 0; --groups) {
    const std::string delimiter = plainText(group->delimiter, group->delimiterLength);
    const QrtStringField* field = group->fields;
    for (int32_t fields = group->fieldCount; fields > 0; --fields, ++field) {
      const std::string text = plainText(field->data, field->length);
      size_t end = 0;
      while (end < text.size() && !plainMatch(text, end, delimiter, table)) end += width;
      for (const char byte : text.substr(0, end)) {
        if (outside || offset >= block.targetLength)
          overflowed = true;
        else
          block.target[offset++] = static_cast<uint8_t>(byte);
      }
    }
    group = reinterpret_cast<const QrtStringGroup*>(field);
  }
  if (overflowed && overflow != 0) ++overflow;
  block.pointer = static_cast<int32_t>((offset + width) / width);
}

// `text` as an item of `size` bytes: cut, or padded with `unit` over and over, on the left or the right.
inline std::string plainItem(std::string text, int64_t size, const std::string& unit, bool right) {
  const auto wanted = static_cast<size_t>(std::max<int64_t>(size, 0));
  if (text.size() >= wanted) return right ? text.substr(text.size() - wanted) : text.substr(0, wanted);
  std::string padding;
  while (text.size() + padding.size() < wanted) padding += unit[padding.size() % unit.size()];
  return right ? padding + text : text + padding;
}

inline std::string plainNumber(const QrtUnstringReceiver& receiver, const std::string& field) {
  const std::string unit = (receiver.flags & 0x08) != 0 ? std::string(2, '\0') : std::string(1, '\0');
  std::string zero = unit, plus = unit;
  zero[0] = '0';
  plus[0] = '+';
  if ((receiver.flags & 0x40) == 0) plus.clear();
  const int64_t length = std::max(receiver.length, 0);
  plus = plus.substr(0, static_cast<size_t>(length));
  const int64_t rest = length - static_cast<int64_t>(plus.size());
  const int64_t digits =
      std::min<int64_t>(int64_t{receiver.digits} * static_cast<int64_t>(unit.size()), rest);
  const std::string number = plainItem(plainItem(field, digits, zero, true), rest, zero, false);
  return (receiver.flags & 0x20) != 0 ? plus + number : number + plus;
}

// `blank` is the double-byte space of the code page.
inline void plainUnstring(QrtUnstringBlock& block, QrtUnstringReceiver* receiver, const uint8_t* table,
                          uint32_t& overflow, const std::string& blank) {
  const size_t width = (block.flags & 0x42) != 0 ? 2 : 1;
  const std::string pad = width == 1 ? " " : (block.flags & 0x40) != 0 ? blank : std::string(" \0", 2);
  if (width == 2 || (block.flags & 0x10) == 0) table = nullptr;
  const auto put = [](const std::string& item, uint8_t* to) { std::copy(item.begin(), item.end(), to); };

  std::string rest = plainText(block.source, block.sourceLength);
  const int64_t pointer = (block.flags & 0x80) != 0 ? block.pointer : 1;
  const int64_t start = (pointer - 1) * static_cast<int64_t>(width);
  if (start >= 0) rest.erase(0, static_cast<size_t>(start));
  const size_t remaining = rest.size();
  for (int32_t left = start < 0 ? 0 : block.receiverCount; left > 0 && !rest.empty(); --left, ++receiver) {
    const bool numeric = (receiver->flags & 0x88) != 0;
    size_t end = rest.size(), resume = end;
    std::string delimiter;
    if (block.delimiterCount <= 0) {
      const int64_t size =
          !numeric ? receiver->length : int64_t{receiver->digits} * ((receiver->flags & 0x08) != 0 ? 2 : 1);
      resume = end = std::min(end, static_cast<size_t>(std::max<int64_t>(size, 0)));
    }
    for (size_t at = 0; at < rest.size() && delimiter.empty(); at += width)
      for (int32_t number = 0; number < block.delimiterCount && delimiter.empty(); ++number) {
        const QrtUnstringDelimiter& tried = block.delimiters[number];
        const std::string text = plainText(tried.data, tried.length);
        if (!plainMatch(rest, at, text, table)) continue;
        delimiter = text;
        end = at;
        resume = at + text.size();
        while ((tried.flags >> 31) != 0 && plainMatch(rest, resume, text, table)) resume += text.size();
      }
    if (block.delimiterCount > 0 && receiver->delimiter != nullptr)
      put(plainItem(delimiter, receiver->delimiterLength, pad, (receiver->delimiterFlags & 0x10) != 0),
          receiver->delimiter);
    const std::string field = rest.substr(0, end);
    put(numeric ? plainNumber(*receiver, field)
                : plainItem(field, receiver->length, pad, (receiver->flags & 0x10) != 0),
        receiver->data);
    receiver->count = static_cast<int32_t>(field.size() / width);
    rest.erase(0, resume);
    if ((block.flags & 0x08) != 0) ++block.tally;
  }
  if (!rest.empty() && overflow != 0) ++overflow;
  if ((block.flags & 0x80) != 0) block.pointer += static_cast<int32_t>((remaining - rest.size()) / width);
}

}  // namespace qrt::statement
