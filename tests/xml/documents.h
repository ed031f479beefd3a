// Documents in the widths of text that the parser reads, and a list of the events that a parse tells.
#pragma once

#include <gtest/gtest.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/allocation.h"

namespace qrt::test {

// The results of work whose n-th request for memory fails, for every n, and of one that lacks nothing.
template <typename Work>
std::vector<int32_t> resultsShortOfMemory(Work&& work) {
  std::vector<int32_t> results;
  results.reserve(1000);
  const int32_t before = liveBlocks();
  for (bool failed = true; failed && results.size() < 1000;) {
    const FailingAllocation failing(static_cast<int32_t>(results.size()) + 1);
    results.push_back(work());
    failed = failing.hasFailed();
  }
  EXPECT_EQ(liveBlocks(), before);
  return results;
}

struct Encoding {
  const char* name;      // a converter's
  const char* declared;  // what stands in a declaration
  int32_t ccsid;
  int32_t unit;
};
inline constexpr Encoding singleByte = {"ISO-8859-1", "ISO-8859-1", 819, 1};
inline constexpr Encoding ebcdic = {"QMC-1140", "QMC-1140", 1140, 1};
inline constexpr Encoding utf8 = {"UTF-8", "UTF-8", 1208, 1};
inline constexpr Encoding utf16 = {"UTF-16LE", "UTF-16", 1202, 2};
inline constexpr Encoding encodings[] = {singleByte, ebcdic, utf8, utf16};

inline std::u16string toUnits(std::string_view bytes, const char* encoding) {
  std::u16string units(bytes.size() + 1, 0);
  auto length = static_cast<int32_t>(units.size() * 2);
  EXPECT_EQ(qrtConvToUnicode(bytes.data(), static_cast<int32_t>(bytes.size()), units.data(), &length,
                             encoding, static_cast<int32_t>(strlen(encoding))),
            0);
  units.resize(static_cast<size_t>(length) / 2);
  return units;
}

// Text in an encoding, from UTF-16.
inline std::string inEncoding(std::u16string_view units, const char* encoding) {
  if (units.empty()) return {};
  std::string bytes(units.size() * 4 + 4, 0);
  auto length = static_cast<int32_t>(bytes.size());
  EXPECT_EQ(qrtConvFromUnicode(units.data(), static_cast<int32_t>(units.size() * 2), bytes.data(), &length,
                               encoding, static_cast<int32_t>(strlen(encoding))),
            0);
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

// A document of 7-bit text, in which "%E" becomes the encoding's name.
inline std::string inEncoding(std::string text, const Encoding& encoding) {
  if (const size_t at = text.find("%E"); at != text.npos) text.replace(at, 2, encoding.declared);
  if (encoding.unit == 1 && encoding.ccsid != ebcdic.ccsid) return text;
  return inEncoding(std::u16string(text.begin(), text.end()), encoding.name);
}

// The events of a parse, one text each: a letter for the event and what it tells.
struct Events {
  static constexpr std::string_view letters = "{VEST}<@=qr>[]tQRPCuU  !";
  static constexpr size_t never = SIZE_MAX;

  int32_t ccsid = 0;
  size_t stopAt = never;  // number of the event that is answered with 5
  std::function<int32_t(int32_t code)> answer = [](int32_t) { return 0; };  // to an exception
  std::vector<std::string> list{};

  const uint8_t* document = nullptr;
  int32_t bytes = 0;

  bool isWide() const { return ccsid == utf16.ccsid; }

  // Text of an event; it has to lie in the document.
  std::string slice(const void* text, int32_t length) const {
    const auto* const at = static_cast<const uint8_t*>(text);
    const int32_t size = isWide() ? 2 * length : length;
    EXPECT_TRUE(length >= 0 && at >= document && at + size <= document + bytes);
    const std::string raw(reinterpret_cast<const char*>(at), static_cast<size_t>(size));
    if (isWide()) return inEncoding(toUnits(raw, "UTF-16LE"), "UTF-8");
    return ccsid == ebcdic.ccsid ? inEncoding(toUnits(raw, "QMC-1140"), "UTF-8") : raw;
  }

  int32_t note(char letter, const std::string& told) {
    list.push_back(letter + told);
    return list.size() - 1 == stopAt ? 5 : 0;
  }

  std::string all() const {
    std::string text;
    for (const std::string& event : list) text += (text.empty() ? "" : " ") + event;
    return text;
  }

  template <size_t slot>
  static int32_t text(void* user, const void* text, int32_t length) {
    auto& events = *static_cast<Events*>(user);
    return events.note(letters[slot], slot == 0 ? "" : events.slice(text, length));
  }
  template <size_t slot>
  static int32_t character(void* user, uint32_t character) {
    auto& events = *static_cast<Events*>(user);
    const char byte = static_cast<char>(character);
    if (events.ccsid == ebcdic.ccsid && (slot == 9 || slot == 15))
      character = toUnits({&byte, 1}, "QMC-1140")[0];
    return events.note(letters[slot], std::to_string(character));
  }
  static int32_t pair(void* user, const void* target, int32_t targetLength, const void* data,
                      int32_t dataLength) {
    auto& events = *static_cast<Events*>(user);
    return events.note('P', events.slice(target, targetLength) + "," + events.slice(data, dataLength));
  }
  static int32_t data(void* user, const void* text, int32_t length) {
    auto& events = *static_cast<Events*>(user);
    return events.note('D', events.slice(text, length));
  }
  static int32_t end(void* user) { return static_cast<Events*>(user)->note('}', ""); }
  static int32_t exception(void* user, const void* start, int32_t place, int32_t code) {
    auto& events = *static_cast<Events*>(user);
    EXPECT_EQ(start, events.document);
    events.note('!', std::to_string(code) + "@" + std::to_string(place));
    return events.answer(code);
  }

  template <typename Handler>
  static void* address(Handler* handler) {
    return reinterpret_cast<void*>(handler);
  }
  template <size_t... slot>
  static void fill(void** handlers, std::index_sequence<slot...>) {
    ((handlers[slot] = address(text<slot>)), ...);
  }
  static std::array<void*, 25> handlers(int32_t tableKind) {
    std::array<void*, 25> table{};
    fill(table.data(), std::make_index_sequence<21>());
    table[5] = address(end);
    table[9] = address(character<9>);
    table[10] = address(character<10>);
    table[15] = address(character<15>);
    table[16] = address(character<16>);
    table[17] = address(pair);
    table[23] = address(exception);
    if (tableKind != QRT_XML_SPLIT_TABLE) return table;
    std::copy_backward(&table[18], &table[24], table.end());
    table[17] = address(text<17>);
    table[18] = address(data);
    return table;
  }

  // Parses a copy of exactly the document's size; returns the code.
  int32_t parse(std::string_view text, int32_t tableKind = QRT_XML_SPLIT_TABLE) {
    const auto copy = std::make_unique<uint8_t[]>(text.size());
    memcpy(copy.get(), text.data(), text.size());
    document = copy.get();
    bytes = static_cast<int32_t>(text.size());
    const std::array<void*, 25> table = handlers(tableKind);
    void* parser;
    int32_t info = 0;
    EXPECT_EQ(PASSXML(this, &parser, 1, &info, table.data(), document, bytes, ccsid, tableKind), 0);
    EXPECT_EQ(info, 3);
    const int32_t code = SAXPARSE(parser);
    EXPECT_EQ(RLSEDOC(parser), 0);
    return code;
  }
};

}  // namespace qrt::test
