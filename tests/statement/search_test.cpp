// SEARCH ALL against linear search: over known numbers in every form, and over random records, whose normal
// forms also tell which entry the search must meet first. And the refresh of segments.
#include <random>

#include "statement/pictures.h"
#include "statement/plain_search.h"

namespace {

using namespace qrt::test;
namespace plain = qrt::statement::plain;

// A SEARCH ALL as a compiler lays it out.
struct Statement {
  struct When {
    QrtSearchKey key;
    std::string whole;
    uint8_t flags;
    size_t kept;  // where in `whole` the compared part starts
  };
  std::vector<When> conditions;
  std::vector<QrtSearchKey> furtherKeys;
  const uint8_t* collating = nullptr;

  // The table's instance lies 14 bytes into it, by two subscripts.
  int32_t operator()(const std::string& table, int32_t entries, int32_t entrySize) const {
    std::string control(8, '\0'), lengths, flags;
    std::vector<QrtSearchArgument> arguments;
    const auto addKey = [&](const QrtSearchKey& key) {
      control.append(reinterpret_cast<const char*>(&key), 4);
    };
    for (const When& when : conditions) {
      addKey(when.key);
      lengths += {static_cast<char>(when.whole.size()), 0, 0, 0};
      flags += static_cast<char>(when.flags);
      arguments.push_back({bytes(when.whole) + when.kept, bytes(when.whole)});
    }
    for (const QrtSearchKey& key : furtherKeys) addKey(key);
    control += lengths + flags;
    control[0] = 2;
    control[2] = static_cast<char>(conditions.size() + furtherKeys.size());
    control[4] = static_cast<char>(conditions.size());
    const int32_t six = 6, eight = 8;
    const int32_t* const subscripts[] = {&six, &eight};
    const void* programContext[8] = {};
    programContext[7] = collating;
    const std::string instances = std::string(14, '\xEE') + table;
    return _qrtcSrchAll(reinterpret_cast<const QrtSearchControl*>(control.data()), bytes(instances), entries,
                        entrySize, arguments.data(), subscripts, programContext);
  }
};

constexpr uint8_t numericTypes[] = {QRT_SEARCH_ZONED,  QRT_SEARCH_HOST_ZONED, QRT_SEARCH_ZONED_PAIRS,
                                    QRT_SEARCH_PACKED, QRT_SEARCH_BINARY,     QRT_SEARCH_HOST_BINARY};

// A number in `size` units: digits, for packed bytes of them, for binary bytes.
std::string encoded(uint8_t type, int64_t value, size_t size, uint8_t flags = 0) {
  const bool negative = value < 0, host = type == QRT_SEARCH_HOST_ZONED;
  uint64_t rest = static_cast<uint64_t>(negative ? -value : value);
  std::string digits;
  if (type == QRT_SEARCH_BINARY || type == QRT_SEARCH_HOST_BINARY) {
    for (size_t at = 0; at < size; ++at) digits += static_cast<char>(value >> std::min<size_t>(at * 8, 63));
    if (type == QRT_SEARCH_HOST_BINARY) std::reverse(digits.begin(), digits.end());
    return digits;
  }
  if (type == QRT_SEARCH_PACKED) {
    uint64_t low = negative ? 0xD : 0xC;
    for (size_t at = 0; at < size; ++at, rest /= 10) {
      digits.insert(digits.begin(), static_cast<char>((rest % 10) << 4 | low));
      rest /= 10;
      low = rest % 10;
    }
    return digits;
  }
  const std::string padding = type == QRT_SEARCH_ZONED_PAIRS ? std::string(1, '\0') : "";
  const char zone = host ? '\xF0' : '0';
  const bool separate = (flags & QRT_SEARCH_SEPARATE_SIGN) != 0,
             leading = (flags & QRT_SEARCH_LEADING_SIGN) != 0;
  for (size_t at = 0; at < size; ++at, rest /= 10) {
    const bool signedDigit = negative && !separate && at == (leading ? size - 1 : 0);
    const char digit =
        static_cast<char>((signedDigit ? (host ? '\xD0' : 'p') : zone) | static_cast<char>(rest % 10));
    digits = digit + padding + digits;
  }
  if (!separate) return digits;
  const std::string sign = (host ? (negative ? '\x60' : '\x4E') : (negative ? '-' : '+')) + padding;
  return leading ? sign + digits : digits + sign;
}

TEST(Search, NumbersAgainstLinearSearch) {
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    const uint8_t type = numericTypes[random() % std::size(numericTypes)];
    const bool ascending = random() % 2 == 0, zoned = plain::isZonedType(type);
    const size_t size = 1 + random() % (zoned ? 18 : type == QRT_SEARCH_PACKED ? 9 : 8);
    const size_t excess = random() % 3;
    const uint8_t flags = zoned ? static_cast<uint8_t>(random() % 4 << 4) : 0;
    int64_t limit = zoned ? 10 : type == QRT_SEARCH_PACKED ? 10 : 128;
    for (size_t at = 1; at < size && limit < 1000000000; ++at) limit *= zoned ? 10 : 100;
    if (random() % 2 == 0) limit = std::min<int64_t>(limit, 40);
    const auto number = [&] { return static_cast<int64_t>(random() % (2 * limit - 1)) - limit + 1; };

    std::vector<int64_t> values(random() % 50);
    for (int64_t& value : values) value = number();
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    if (!ascending) std::reverse(values.begin(), values.end());
    const size_t unit = type == QRT_SEARCH_ZONED_PAIRS ? 2 : 1, keySize = size * unit,
                 entrySize = keySize + 3;
    std::string table;
    for (const int64_t value : values) table += "#" + encoded(type, value, size) + "##";

    for (int search = 0; search < 20; ++search) {
      const bool tooLarge = excess > 0 && random() % 8 == 0 && size < 8;
      int64_t wanted = values.empty() || random() % 2 == 0 ? number() : values[random() % values.size()];
      const auto found = std::find(values.begin(), values.end(), wanted);
      int32_t expected = found == values.end() ? -1 : int32_t((found - values.begin()) * entrySize);
      if (tooLarge) {
        int64_t beyond = 1;
        for (size_t at = 0; at < size; ++at) beyond *= zoned ? 10 : type == QRT_SEARCH_PACKED ? 100 : 256;
        if (type == QRT_SEARCH_PACKED) beyond /= 10;
        wanted += wanted < 0 ? -beyond : beyond;
        expected = -1;
      }
      Statement statement;
      const bool signAhead = (flags & 0x30) == 0x30;
      const size_t kept = type == QRT_SEARCH_BINARY ? 0 : (excess + signAhead) * unit;
      statement.conditions = {{{static_cast<uint8_t>(type | (ascending ? QRT_SEARCH_ASCENDING : 0)),
                                static_cast<uint8_t>(keySize), 1},
                               encoded(type, wanted, size + excess, flags),
                               flags,
                               kept}};
      ASSERT_EQ(statement(table, int32_t(values.size()), int32_t(entrySize)), expected)
          << int(type) << " " << wanted << " in " << size << "+" << excess << " flags " << int(flags);
    }
  }
}

// Any bytes under any types. Sorted tables are searched linearly too; of unsorted ones the oracle takes the
// same halves.
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

    std::vector<QrtSearchKey> keys(1 + random() % 3);
    uint16_t entrySize = 1;
    for (QrtSearchKey& key : keys) {
      key = {static_cast<uint8_t>(types[random() % types.size()]), static_cast<uint8_t>(1 + random() % 11),
             entrySize};
      if (random() % 4 == 0) key.length = 1;
      key.length = static_cast<uint8_t>(key.length * plain::unitOf(key.type));
      entrySize = static_cast<uint16_t>(entrySize + key.length + random() % 2);
    }
    const auto normal = [&](const std::string& entry, size_t count) {
      std::string form;
      for (size_t at = 0; at < count; ++at)
        form += plain::normalEntryKey(keys[at], bytes(entry), statement.collating);
      return form;
    };
    std::vector<std::string> entries(random() % 20, std::string(entrySize, '#'));
    for (std::string& entry : entries)
      for (char& character : entry) character = byte();
    const bool sorted = random() % 2 == 0;
    if (sorted)
      std::sort(entries.begin(), entries.end(), [&](const std::string& one, const std::string& two) {
        return normal(one, keys.size()) < normal(two, keys.size());
      });
    std::string table;
    for (const std::string& entry : entries) table += entry;

    // Half of the arguments are keys of an entry, in a longer field as likely as not.
    const size_t conditions = 1 + random() % keys.size();
    const std::string model =
        entries.empty() || random() % 2 == 0 ? std::string() : entries[random() % entries.size()];
    std::string wanted;
    bool possible = true;
    for (size_t at = 0; at < conditions; ++at) {
      const QrtSearchKey& key = keys[at];
      const bool leads = plain::isNumericType(key.type) && (key.type & 0x7F) != QRT_SEARCH_BINARY;
      const uint8_t flags = static_cast<uint8_t>(random() % 16 << 4);
      const bool isSigned =
          plain::isZonedType(key.type) || (!plain::isNumericType(key.type) && flags >> 6 == 1);
      const size_t unit = plain::unitOf(key.type);
      std::string argument, excess(random() % 3 == 0 ? random() % 4 : 0, '\0');
      for (size_t place = 0; place < key.length; ++place)
        argument += model.empty() ? byte() : model[key.offset + place];
      const char pad = byte();
      for (char& character : excess) character = random() % 8 == 0 ? byte() : pad;
      argument = leads ? excess + argument : argument + excess;
      size_t kept = leads ? excess.size() : 0;
      if (isSigned && argument.size() < unit) argument += argument;
      if (isSigned && (flags & QRT_SEARCH_SEPARATE_SIGN) != 0) {
        const std::string sign{"-+\x60"[random() % 3], '\0'};
        const bool ahead = (flags & QRT_SEARCH_LEADING_SIGN) != 0;
        argument.insert(ahead ? 0 : argument.size(), sign.substr(0, unit));
        if (ahead) kept += unit;
      }
      statement.conditions.push_back({key, argument, flags, kept});
      const std::string form = plain::normalArgument(key, argument, flags, statement.collating);
      possible = possible && !form.empty();
      wanted += form;
    }
    statement.furtherKeys.assign(keys.begin() + static_cast<ptrdiff_t>(conditions), keys.end());

    int32_t expected = -1;
    for (int low = 0, high = int(entries.size()) - 1; possible && low <= high && expected < 0;) {
      const int middle = (low + high) / 2, order = normal(entries[middle], conditions).compare(wanted);
      if (order == 0) expected = middle * entrySize;
      (order < 0 ? low : high) = order < 0 ? middle + 1 : middle - 1;
    }
    ASSERT_EQ(statement(table, int32_t(entries.size()), entrySize), expected)
        << round << " type " << int(keys[0].type) << " length " << int(keys[0].length);
    if (sorted) {
      const bool isThere =
          possible && std::any_of(entries.begin(), entries.end(), [&](const std::string& entry) {
            return normal(entry, conditions) == wanted;
          });
      ASSERT_EQ(expected >= 0, isThere);
    }
  }
}

TEST(Refresh, PutsBackTheSegmentEntered) {
  const std::string segments = "0152252";
  const std::vector<uint32_t> initial{10, 11, 12, 13, 14, 15, 16};
  std::vector<uint32_t> live(initial.size(), 99);
  _qrtcRfshCond('2', 7, '2', live.data(), initial.data(), bytes(segments));
  _qrtcRfshCond('2', 7, '1', live.data(), initial.data(), bytes(segments));
  _qrtcRfshCond('5', 7, '0', live.data(), initial.data(), bytes(segments));
  EXPECT_EQ(live, std::vector<uint32_t>(7, 99));
  _qrtcRfshCond('2', 7, '5', live.data(), initial.data(), bytes(segments));
  EXPECT_EQ(live, (std::vector<uint32_t>{99, 99, 12, 99, 99, 15, 99}));
  _qrtcRfshGoDepend(3, '0', 6, bytes("152"), live.data(), initial.data(), bytes(segments));
  EXPECT_EQ(live, (std::vector<uint32_t>{99, 99, 12, 13, 14, 15, 99}));
  _qrtcRfshUncond('1', 7, live.data(), initial.data(), bytes(segments));
  EXPECT_EQ(live, (std::vector<uint32_t>{99, 11, 12, 13, 14, 15, 99}));
}

}  // namespace
