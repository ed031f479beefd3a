// SEARCH ALL: random records against their normal forms. And the refresh of segments.

#include "statement/pictures.h"
#include "statement/plain_search.h"

namespace {

using namespace qrt::test;
namespace plain = qrt::statement::plain;

// A SEARCH ALL as a compiler lays it out.
struct Statement {
  struct When {
    std::string whole;
    uint8_t flags;
    size_t kept;  // where in `whole` the compared part starts
  };
  std::vector<QrtSearchKey> keys;
  std::vector<When> conditions;
  const uint8_t* collating = nullptr;

  // The table's instance lies 14 bytes into it, by two subscripts.
  int32_t operator()(const std::string& table, size_t entrySize) const {
    Record control(
        2, std::string{static_cast<char>(keys.size()), 0, static_cast<char>(conditions.size()), 0, 0, 0});
    control.content.append(reinterpret_cast<const char*>(keys.data()), keys.size() * sizeof keys[0]);
    std::vector<QrtSearchArgument> arguments;
    for (const When& when : conditions) {
      control.content += {static_cast<char>(when.whole.size()), 0, 0, 0};
      arguments.push_back({bytes(when.whole) + when.kept, bytes(when.whole)});
    }
    for (const When& when : conditions) control.content += static_cast<char>(when.flags);
    const int32_t six = 6, eight = 8;
    const int32_t* const subscripts[] = {&six, &eight};
    const void* const programContext[8] = {0, 0, 0, 0, 0, 0, 0, collating};
    return _qrtcSrchAll(control, bytes(std::string(14, '\xEE') + table), int32_t(table.size() / entrySize),
                        int32_t(entrySize), arguments.data(), subscripts, programContext);
  }
};

// Any bytes under any types, in tables sorted or not: the oracle takes the same halves.
TEST(Search, RandomRecordsAgainstNormalForms) {
  constexpr std::string_view types(
      "\x88\x08\x89\x09\x90\x10\x91\x11\x82\x02\xA0\x20\xC0\x40\xC1\x41\x84\x04"
      "\x60\x61\x06\x86\x32\x33");
  constexpr std::string_view alphabet("01\x39pq\xF0\xF1\xD0\xD1 @\x00\xFF\x0C\x0D\x1B\x1C-\x60\xAA", 20);
  std::mt19937 random(2);
  const auto byte = [&] { return alphabet[random() % alphabet.size()]; };
  uint8_t collating[256];
  for (int round = 0; round < 20000; ++round) {
    Statement statement;
    const bool folds = random() % 2 == 0;
    for (int at = 0; at < 256; ++at) collating[at] = static_cast<uint8_t>(folds ? at % 32 : at * 77 + 5);
    if (random() % 2 == 0) statement.collating = collating;

    auto& keys = statement.keys;
    uint16_t entrySize = 1;
    for (size_t left = 1 + random() % 3; left > 0; --left) {
      const auto type = static_cast<uint8_t>(types[random() % types.size()]);
      const size_t units = random() % 4 == 0 ? 1 : 1 + random() % 11;
      keys.push_back({type, static_cast<uint8_t>(units * plain::unitOf(type)), entrySize});
      entrySize = static_cast<uint16_t>(entrySize + keys.back().length + random() % 2);
    }
    const auto normal = [&](const std::string& entry, size_t count) {
      std::string form;
      for (size_t at = 0; at < count; ++at)
        form += plain::normalEntryKey(keys[at], bytes(entry), statement.collating);
      return form;
    };
    std::vector<std::string> entries(random() % 20, std::string(entrySize, '#'));
    const bool alike = random() % 2 == 0;  // but for one byte
    for (std::string& entry : entries)
      if (alike && entry.data() != entries[0].data())
        entry = entries[0], entry[random() % entrySize] = byte();
      else
        std::ranges::generate(entry, byte);
    if (random() % 2 == 0)
      std::sort(entries.begin(), entries.end(), [&](const auto& one, const auto& two) {
        return normal(one, keys.size()) < normal(two, keys.size());
      });
    std::string table;
    for (const std::string& entry : entries) table += entry;

    // Half of the arguments are keys of an entry, in a longer field as likely as not.
    const size_t conditions = 1 + random() % keys.size();
    const bool modelled = !entries.empty() && random() % 2 == 0;
    const std::string model = modelled ? entries[random() % entries.size()] : "";
    std::string wanted;
    bool possible = true;
    for (size_t at = 0; at < conditions; ++at) {
      const auto& [type, length, offset] = keys[at];
      const bool leads = plain::isNumericType(type) && (type & 0x7F) != QRT_SEARCH_BINARY;
      const auto flags = static_cast<uint8_t>(random() % 16 << 4);
      const bool isSigned = plain::isZonedType(type) || (!plain::isNumericType(type) && flags >> 6 == 1);
      std::string argument = model.substr(std::min<size_t>(offset, model.size()), length);
      while (argument.size() < length) argument += byte();
      std::string excess(random() % 3 == 0 ? random() % 4 : 0, byte());
      if (!excess.empty() && random() % 4 == 0) excess.back() = byte();
      argument = leads ? excess + argument : argument + excess;
      size_t kept = leads ? excess.size() : 0;
      if (isSigned && (flags & QRT_SEARCH_SEPARATE_SIGN) != 0) {
        const size_t unit = plain::unitOf(type);
        const bool ahead = (flags & QRT_SEARCH_LEADING_SIGN) != 0;
        argument.insert(ahead ? 0 : argument.size(), std::string{"-+\x60"[random() % 3], '\0'}, 0, unit);
        if (ahead) kept += unit;
      }
      statement.conditions.push_back({argument, flags, kept});
      const std::string form = plain::normalArgument(keys[at], argument, flags, statement.collating);
      possible = possible && !form.empty();
      wanted += form;
    }

    int32_t expected = -1;
    for (int low = 0, high = int(entries.size()) - 1; possible && low <= high && expected < 0;) {
      const int middle = (low + high) / 2, order = normal(entries[middle], conditions).compare(wanted);
      if (order == 0) expected = middle * entrySize;
      (order < 0 ? low : high) = order < 0 ? middle + 1 : middle - 1;
    }
    ASSERT_EQ(statement(table, entrySize), expected)
        << round << " type " << int(keys[0].type) << " length " << int(keys[0].length);
  }
}

TEST(Refresh, PutsBackTheSegmentEntered) {
  const uint8_t* const segments = bytes("0152252");
  const std::vector<uint32_t> initial{10, 11, 12, 13, 14, 15, 16};
  std::vector<uint32_t> live(initial.size(), 99);
  for (const char* const transfer : {"22", "21", "50"})
    _qrtcRfshCond(transfer[0], 7, transfer[1], live.data(), initial.data(), segments);
  EXPECT_EQ(live, std::vector<uint32_t>(7, 99));
  _qrtcRfshCond('2', 7, '5', live.data(), initial.data(), segments);
  EXPECT_EQ(live, (std::vector<uint32_t>{99, 99, 12, 99, 99, 15, 99}));
  _qrtcRfshGoDepend(3, '0', 6, bytes("152"), live.data(), initial.data(), segments);
  _qrtcRfshUncond('1', 7, live.data(), initial.data(), segments);
  EXPECT_EQ(live, (std::vector<uint32_t>{99, 11, 12, 13, 14, 15, 99}));
}

}  // namespace
