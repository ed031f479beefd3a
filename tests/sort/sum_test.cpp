// Sums over sorted random records against a naive addition, as the final output restores them.
#include "extraction.h"
#include "layouts.h"
#include "sort/engine/restore.h"

namespace {

using namespace qrt::test;
using namespace std::string_literals;
namespace sort = qrt::sort;

// Restores entries into blocks of a size, as the output does.
struct Restored {
  std::string written;
  std::vector<uint8_t> block;
  sort::OutputRange range;

  Restored(Extraction& extraction, std::vector<Stored> all, size_t blockSize) : block(blockSize) {
    current = this;
    extraction.session->work->writeBlock = [](sort::SortSession&, sort::OutputRange& output, bool) {
      current->flush(output);
      return 0;
    };
    range = {block.data(), block.data() + block.size()};
    sort::SortEntry* previous = nullptr;
    for (const size_t at : orderOf(all)) {
      auto* const entry = reinterpret_cast<sort::SortEntry*>(all[at].entry.data());
      EXPECT_EQ(RestoreRawRecord(*extraction.session, entry, previous, range), 0);
      previous = entry;
    }
    flush(range);
  }

  void flush(sort::OutputRange& output) {
    written.append(block.data(), output.cursor);
    output.cursor = block.data();
  }
  inline static Restored* current = nullptr;
};

constexpr Kind summable[] = {
    {"int", 0, 4},   {"uint", 0, 4},   {"short", 0, 2},  {"ushort", 0, 2},    {"long", 0, 4},
    {"ulong", 0, 4}, {"float", 0, 4},  {"double", 0, 8}, {"extended", 0, 16}, {"bin", 4, 0},
    {"fixed", 7, 0}, {"packed", 8, 0}, {"zoned", 9, 0},
};

template <typename T>
bool addNative(std::string& held, const std::string& added) {
  const auto sum = static_cast<long double>(native<T>(held)) + native<T>(added);
  if (sum < std::numeric_limits<T>::lowest() || sum > std::numeric_limits<T>::max()) return false;
  const T value = static_cast<T>(sum);
  memcpy(held.data(), &value, std::min(sizeof value, size_t{10}));
  return true;
}

uint64_t unsignedOf(const std::string& bytes) {
  uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<uint8_t>(byte);
  return value;
}

void putBigEndian(std::string& bytes, uint64_t value) {
  for (size_t at = bytes.size(); at-- > 0; value >>= 8) bytes[at] = static_cast<char>(value);
}

bool addDecimal(bool isPacked, std::string& held, const std::string& added) {
  const size_t digits = isPacked ? 2 * held.size() - 1 : held.size();
  const auto valueOf = [&](const std::string& bytes) {
    const Decimal decimal = decodeDecimal(isPacked ? "packed" : "zoned", bytes);
    return atoll(((decimal.negative ? "-" : "") + decimal.digits).c_str());
  };
  const auto signOf = [&](const std::string& bytes) {
    const auto last = static_cast<uint8_t>(bytes.back());
    return static_cast<uint8_t>(isPacked ? last & 0xF : last >> 4);
  };
  const auto isNegative = [&](uint8_t nibble) {
    return isPacked ? nibble == 0xB || nibble == 0xD : isNegativeZone(nibble);
  };
  const uint8_t heldSign = signOf(held), addedSign = signOf(added);
  int64_t value = valueOf(held) + valueOf(added);
  uint8_t nibble = heldSign;
  if (isNegative(heldSign) != isNegative(addedSign) && isNegative(heldSign) != (value < 0))
    nibble = addedSign;
  value = std::abs(value);
  for (size_t digit = 0; digit < digits; ++digit, value /= 10) {
    char& byte = held[held.size() - 1 - (isPacked ? (digit + 1) / 2 : digit)];
    const int low = static_cast<int>(value % 10);
    byte = static_cast<char>(isPacked && digit % 2 == 0 ? (byte & 0xF) | low << 4 : (byte & 0xF0) | low);
  }
  char& last = held.back();
  last = static_cast<char>(isPacked ? (last & 0xF0) | nibble : (last & 0xF) | nibble << 4);
  return value == 0;
}

// Adds `added` to `held`; false for an overflow.
bool add(const std::string& keyword, std::string& held, const std::string& added) {
  bool fits = true;
  if (visitNative(keyword, [&]<typename T>(T) { fits = addNative<T>(held, added); })) return fits;
  if (keyword == "bin") {
    const uint64_t sum = unsignedOf(held) + unsignedOf(added);
    putBigEndian(held, sum);
    return unsignedOf(held) == sum;
  }
  if (keyword == "fixed") {
    const int64_t sum = decodeFixed(held) + decodeFixed(added);
    putBigEndian(held, static_cast<uint64_t>(sum));
    return decodeFixed(held) == sum;
  }
  return addDecimal(keyword == "packed", held, added);
}

// A layout whose first field is the key, and the sum of records of it, field by field.
struct SumCase {
  Layout layout;
  std::vector<Record> records;
  std::string options;

  SumCase(Random& random, bool variable) : layout(random, variable, 2 + below(random, 3), summable) {
    while (layout.format.find("flength") != std::string::npos)
      layout = Layout(random, variable, 2 + below(random, 3), summable);
    for (size_t count = 60; count > 0; --count) records.push_back(layout.record(random));
    options = "-x 'format " + layout.format + "' -k " + layout.fields[0].range() + " -x 'sum";
    for (size_t field = 1; field < layout.fields.size(); ++field)
      options += " " + layout.fields[field].range();
    options += "'";
  }

  // What `held` and `added` become, as the bytes of a record; false for an overflow.
  bool sum(Record& held, const Record& added) const {
    Record result = added.bytes.size() > held.bytes.size() ? added : held;
    for (size_t field = 1; field < layout.fields.size(); ++field) {
      const FieldPlan& plan = layout.fields[field];
      const FieldValue& first = held.fields[field];
      const FieldValue& second = added.fields[field];
      const auto counts = [&](const FieldValue& value) {
        return !value.isNull && !value.isAbsent && value.bytes.size() == plan.length;
      };
      FieldValue& target = result.fields[field];
      if (counts(first) && counts(second)) {
        target.bytes = first.bytes;
        if (!add(plan.kind->keyword, target.bytes, second.bytes)) return false;
      } else if (counts(first) || counts(second)) {
        target.bytes = counts(first) ? first.bytes : second.bytes;
      } else {
        continue;
      }
      target.isNull = false;
    }
    std::string bytes;
    for (size_t field = 0; field < layout.fields.size() && !result.fields[field].isAbsent; ++field) {
      if (layout.fields[field].nullable) bytes += result.fields[field].isNull ? '\1' : '\0';
      bytes += result.fields[field].bytes;
    }
    result.bytes = withLength(layout.lengthField, bytes);
    held = result;
    return true;
  }
};

TEST(Sum, AddsFieldsOfRecordsWithEqualKeys) {
  int32_t overflows = 0;
  for (uint32_t seed = 0; seed < 800; ++seed) {
    Random random(seed);
    const SumCase summed(random, seed % 2);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + summed.options);
    Extraction extraction(summed.options);
    ASSERT_EQ(extraction.code, 0) << extraction.told;
    const std::vector<Stored> all = extraction.extract(blockOf(summed.records));
    ASSERT_EQ(all.size(), summed.records.size());

    std::string expected;
    const Record* before = nullptr;
    Record held;
    for (const size_t at : orderOf(all)) {
      const Record& record = summed.records[at];
      const auto isSame = [&](const FieldValue& left, const FieldValue& right) {
        if (left.isNull || right.isNull) return left.isNull == right.isNull;
        return compareValues(summed.layout.fields[0].kind->keyword, left.bytes, right.bytes) == 0;
      };
      const bool added =
          before != nullptr && isSame(before->fields[0], record.fields[0]) && summed.sum(held, record);
      overflows += before != nullptr && isSame(before->fields[0], record.fields[0]) && !added;
      if (!added) {
        expected += held.bytes;
        held = record;
      }
      before = &record;
    }
    expected += held.bytes;
    const Restored restored(extraction, all, 70 + 40 * below(random, 20));
    ASSERT_EQ(restored.written, expected);
    const sort::RunCounters& counters = extraction.counters();
    EXPECT_EQ(counters.bytesWritten, static_cast<int64_t>(expected.size()));
    EXPECT_EQ(counters.recordsWritten + counters.recordsSummed, static_cast<int64_t>(all.size()));
    EXPECT_EQ(isRunning(*extraction.session), true);
  }
  EXPECT_GT(overflows, 300);
}

// Sum fields are found in each place of a reformatted record, from whichever end they keep their distance.
TEST(Sum, FindsFieldsInReformattedRecords) {
  struct Row {
    const char* reformat;
    std::string written;
  };
  const std::string three = "\3\0"s, four = "\4\0"s;
  const Row rows[] = {
      {"2,2 1,1 2,2", three + "k" + three + four + "l" + four},
      {"rlength2 3e,3 2,2", "\6\0ab"s + three + "\5\0x"s + four},
      {"2,2 3e,3 2,2", three + "ab" + three + four + "x" + four},
      {"3e,3 2,2 3e,3", ""},
  };
  for (const Row& row : rows) {
    Extraction extraction("-x 'format char 1 short char 3' -k 1,1 -x 'sum 2,2' -x 'reformat "s +
                          row.reformat + "'");
    ASSERT_EQ(extraction.code, row.written.empty() ? 30 : 0) << row.reformat << extraction.told;
    if (row.written.empty()) continue;
    const std::vector<Stored> all = extraction.extract("k\1\0ab l\4\0x  k\2\0abc"s);
    EXPECT_EQ(Restored(extraction, all, 40).written, row.written) << row.reformat;
  }
}

TEST(Sum, LowestValuePlusItselfOverflows) {
  Extraction extraction("-x 'format rlength2 char 1 int bin 2' -k 2,2 -x 'sum 3,3 4,4'");
  ASSERT_EQ(extraction.code, 0) << extraction.told;
  const std::string lowest = "\7\0k\0\0\0\x80"s;
  const std::vector<Stored> all = extraction.extract(lowest + lowest + "\7\0k\xFF\xFF\xFF\x7F"s);
  EXPECT_EQ(Restored(extraction, all, 40).written, lowest + "\7\0k\xFF\xFF\xFF\xFF"s);
  EXPECT_TRUE(extraction.session->work->held.overflowTold && extraction.session->work->held.shortTold);
}

}  // namespace
