// Record files against a plain model: a list of records that is searched from one end to the other, and
// COBOL's rules of keys, duplicates and position. The model takes relative and sequential files for indexed
// ones whose prime key, the number with its highest byte first, lies ahead of the record.
#include <optional>

#include "indexed_program.h"

using namespace qrt::test;

namespace {

struct RecordFiles : InFolder {};

struct Row {
  std::string record;
  std::vector<uint64_t> order;  // for each key, when the record got it
};

constexpr uint32_t numberLength = 4;

std::string bytesOf(uint32_t number) {
  number = __builtin_bswap32(number);
  return {reinterpret_cast<const char*>(&number), numberLength};
}
uint32_t numberOf(const std::string& record) {
  uint32_t number;
  memcpy(&number, record.data(), numberLength);
  return __builtin_bswap32(number);
}

// What an indexed file does, by the book.
struct Model {
  std::vector<QrtFileKey> keys;
  uint32_t minimum, maximum;
  bool numbered, plain, sequential;  // relative or sequential file; sequential file; sequential access
  std::vector<Row> rows = {};
  uint64_t clock = 0;
  uint16_t mode = 0;
  size_t key = 0;                            // of reference
  bool positioned = false;                   // READ NEXT has where to go on from
  bool inclusive = false;                    // at the record there, else behind it
  std::pair<std::string, uint64_t> at = {};  // key and order
  std::string lastKey = {};                  // prime key of the record read or written last
  bool hasLast = false, hasRead = false;

  std::string part(const std::string& record, size_t number) const {
    return record.substr(keys[number].offset, keys[number].length);
  }
  bool repeats(size_t number) const { return number > 0 && (keys[number].flags & QRT_KEY_DUPLICATES) != 0; }
  std::pair<std::string, uint64_t> place(const Row& row, size_t number) const {
    return {part(row.record, number), repeats(number) ? row.order[number] : 0};
  }
  // The record with the lowest place that `wanted` holds for, or the highest.
  template <typename Wanted>
  Row* extreme(size_t number, bool highest, Wanted&& wanted) {
    Row* best = nullptr;
    for (Row& row : rows)
      if (wanted(place(row, number)) &&
          (best == nullptr || (place(row, number) < place(*best, number)) != highest))
        best = &row;
    return best;
  }
  Row* byKey(size_t number, const std::string& value) {
    return extreme(number, false, [&](const auto& place) { return place.first == value; });
  }

  void open(uint16_t asked) {
    if ((asked & QRT_OPEN_OUTPUT) != 0) rows.clear();
    mode = asked;
    key = 0;
    positioned = inclusive = true;
    at = {};
    hasRead = false;
    hasLast = (asked & QRT_OPEN_EXTEND) != 0 && !rows.empty();
    if (hasLast) lastKey = part(extreme(0, true, [](auto&&) { return true; })->record, 0);
  }

  std::string took(const Row& row, std::string& record) {
    record = row.record;
    lastKey = part(record, 0);
    at = place(row, key);
    positioned = hasRead = true;
    inclusive = false;
    const Row* next = extreme(key, false, [&](const auto& place) { return place > at; });
    return repeats(key) && next != nullptr && part(next->record, key) == at.first ? "02" : "00";
  }
  std::string read(size_t number, bool nextAsked, const std::string& area, std::string& record) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    const bool goesOn = sequential || nextAsked;
    if (goesOn && !positioned) return "46";
    if (!goesOn) key = number;
    const Row* found =
        goesOn ? extreme(key, false, [&](const auto& place) { return inclusive ? place >= at : place > at; })
               : byKey(key, part(area, key));
    positioned = found != nullptr;
    if (!positioned) return goesOn ? "10" : "23";
    return took(*found, record);
  }
  std::string start(size_t number, uint8_t relation, const std::string& area, uint32_t length) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    if (length == 0 || length > keys[number].length) length = keys[number].length;
    const std::string given = part(area, number).substr(0, length);
    const bool down = relation == QRT_START_LESS || relation == QRT_START_NOT_GREATER;
    const Row* found = extreme(number, down, [&](const auto& place) {
      const int order = place.first.substr(0, length).compare(given);
      return relation == QRT_START_EQUAL     ? order == 0
             : relation == QRT_START_GREATER ? order > 0
             : relation == QRT_START_LESS    ? order < 0
             : down                          ? order <= 0
                                             : order >= 0;
    });
    positioned = found != nullptr;
    if (!positioned) return "23";
    key = number;
    at = place(*found, number);
    inclusive = true;
    return "00";
  }

  bool fits(const std::string& record) const {
    uint32_t keyed = 0;
    for (const QrtFileKey& each : keys) keyed = std::max(keyed, each.offset + each.length);
    return record.size() >= std::max(minimum, keyed) && record.size() <= maximum;
  }
  // Stores a record in place of `old`, or as a new one.
  std::string store(const std::string& record, Row* old) {
    std::string status = "00";
    for (size_t number = 0; number < keys.size(); ++number)
      for (Row& row : rows)
        if (&row != old && part(row.record, number) == part(record, number)) {
          if (!repeats(number)) return "22";
          if (old == nullptr || part(old->record, number) != part(record, number)) status = "02";
        }
    if (old == nullptr) old = &rows.emplace_back(Row{"", std::vector<uint64_t>(keys.size())});
    for (size_t number = 0; number < keys.size(); ++number)
      if (old->order[number] == 0 || part(old->record, number) != part(record, number))
        old->order[number] = clock + 1;
    ++clock;
    old->record = record;
    return status;
  }
  // With a number in sequential access the record gets the next one.
  std::string write(std::string& record) {
    hasRead = false;
    if ((mode & QRT_OPEN_IO) != 0 && sequential) return "92";
    if ((mode & QRT_OPEN_CAN_WRITE) == 0) return "48";
    if (!fits(record)) return "44";
    if (numbered && sequential) record.replace(0, numberLength, bytesOf(hasLast ? numberOf(lastKey) + 1 : 1));
    if (numbered && numberOf(record) == 0) return "24";
    if (sequential && hasLast && part(record, 0) <= lastKey) return part(record, 0) < lastKey ? "21" : "22";
    const std::string status = store(record, nullptr);
    if (sequential && status < "10") hasLast = true, lastKey = part(record, 0);
    return status;
  }
  std::string rewrite(std::string record) {
    const bool afterRead = std::exchange(hasRead, false);
    if ((mode & QRT_OPEN_CAN_REWRITE) == 0) return "49";
    if (sequential && !afterRead) return "43";
    if (numbered && sequential) record.replace(0, numberLength, lastKey);
    if (sequential && part(record, 0) != lastKey) return "21";
    Row* const old = byKey(0, part(record, 0));
    if (!fits(record)) return numbered && old == nullptr ? "23" : "44";
    if (plain && old->record.size() != record.size()) return "44";
    return old != nullptr ? store(record, old) : "23";
  }
  std::string remove(const std::string& area) {
    const bool afterRead = std::exchange(hasRead, false);
    if ((mode & QRT_OPEN_CAN_REWRITE) == 0) return "49";
    if (sequential && !afterRead) return "43";
    Row* const row = byKey(0, sequential ? lastKey : part(area, 0));
    if (row == nullptr) return "23";
    rows.erase(rows.begin() + (row - rows.data()));
    return "00";
  }
};

struct Layout {
  std::vector<QrtFileKey> keys;
  uint32_t minimum, maximum;
  uint8_t organization = QRT_ORGANIZATION_INDEXED;
};

const Layout layouts[] = {
    // Keys side by side at the start; the rest in one piece.
    {{{0, 3, 0, {}}, {3, 2, QRT_KEY_DUPLICATES, {}}, {5, 3, 0, {}}}, 12, 12},
    // Keys apart, in another order, the last at the end of the record.
    {{{6, 2, 0, {}}, {1, 2, QRT_KEY_DUPLICATES, {}}, {11, 1, QRT_KEY_DUPLICATES, {}}}, 12, 12},
    // Keys that overlap and contain each other; records of any length, also too short for the keys.
    {{{2, 3, 0, {}}, {4, 3, QRT_KEY_DUPLICATES, {}}, {3, 1, QRT_KEY_DUPLICATES, {}}}, 5, 20},
    {{{0, numberLength, 0, {}}}, 14, 14, QRT_ORGANIZATION_RELATIVE},
    {{{0, numberLength, 0, {}}}, 6, 14, QRT_ORGANIZATION_RELATIVE},
    // Around the size of a page, and of the buffer.
    {{{0, numberLength, 0, {}}}, 5, 5, QRT_ORGANIZATION_SEQUENTIAL},
    {{{0, numberLength, 0, {}}}, 4, 104, QRT_ORGANIZATION_SEQUENTIAL},
    {{{0, numberLength, 0, {}}}, 5004, 5004, QRT_ORGANIZATION_SEQUENTIAL},
    {{{0, numberLength, 0, {}}}, 4, 5004, QRT_ORGANIZATION_SEQUENTIAL},
    {{{0, numberLength, 0, {}}}, 100'004, 100'004, QRT_ORGANIZATION_SEQUENTIAL},
    {{{0, numberLength, 0, {}}}, 4, 100'004, QRT_ORGANIZATION_SEQUENTIAL},
};

// A statement on file and model alike.
class Trial {
 public:
  Trial(const Layout& layout, uint8_t access, uint32_t seed)
      : random_(seed),
        layout_(layout),
        relative_(layout.organization == QRT_ORGANIZATION_RELATIVE),
        ahead_(layout.organization != QRT_ORGANIZATION_INDEXED ? numberLength : 0),
        file_("records", access, layout.maximum - ahead_, layout.keys),
        program_("MAIN", {&file_}),
        model_{layout.keys,
               layout.minimum,
               layout.maximum,
               ahead_ != 0,
               ahead_ != 0 && !relative_,
               access == QRT_ACCESS_SEQUENTIAL} {
    if (ahead_ != 0) file_.makeNumbered(layout.organization);
    if (layout.minimum < layout.maximum) file_.makeVariable(layout.minimum - ahead_);
    dynamic_ = access == QRT_ACCESS_DYNAMIC;
  }

  void go(int statements) {
    run(program_, [&] {
      for (int at = 0; at < statements && !testing::Test::HasFailure(); ++at) perform();
      if (model_.mode != 0) close();
    });
  }

 private:
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

  std::string anyRecord() {
    std::string record(layout_.minimum + below(layout_.maximum - layout_.minimum + 1), ' ');
    for (size_t at = 0; at < record.size(); ++at)
      record[at] = at < 100 ? "\0ab\xFF"[below(4)] : static_cast<char>(at / 100);
    if (ahead_ != 0) record.replace(0, numberLength, bytesOf(below(30)));
    return record;
  }
  void close() {
    EXPECT_EQ(program_.close(), "00");
    if (!model_.plain) return;
    std::string content;
    for (const Row& row : model_.rows) {
      const auto length = static_cast<uint32_t>(row.record.size()) - ahead_;
      if (layout_.minimum < layout_.maximum) content.append(reinterpret_cast<const char*>(&length), 4);
      content += row.record.substr(ahead_);
    }
    EXPECT_TRUE(contentOf("records").substr(128) == content);
  }
  void open() {
    if (model_.mode != 0) close();
    const uint16_t modes[] = {inputOutput, inputOutput, input, output, extend};
    uint16_t mode = made_ ? modes[below(below(6) == 0 ? 5 : 3)] : output;
    if (mode == extend && !model_.sequential) {
      EXPECT_EQ(program_.open(mode), "37");
      mode = inputOutput;
    }
    EXPECT_EQ(program_.open(mode), "00");
    made_ = true;
    model_.open(mode);
  }
  std::string number() { return ahead_ != 0 ? bytesOf(file_.key.value) : ""; }
  // What the area holds, for verbs that look into it.
  std::string area() { return number() + program_.record(); }
  // The record itself, whose number has been set.
  std::string own(const std::string& record) {
    if (ahead_ != 0) file_.key.value = numberOf(record);
    return record.substr(ahead_);
  }
  void read() {
    const bool next = dynamic_ && below(3) > 0;
    const auto key = static_cast<uint8_t>(below(static_cast<uint32_t>(layout_.keys.size())));
    if (below(2) == 0) program_.place(own(anyRecord()));
    std::string expected;
    const std::string before = area();
    const std::string status = model_.read(key, next, before, expected);
    program_.fcb().keyOfReference = key;
    EXPECT_EQ(next ? program_.readNext() : program_.read(), status);
    if (status < "10") {
      if (model_.plain) file_.key.value = numberOf(expected);
      EXPECT_TRUE(number() + program_.taken() == expected);
      length_ = expected.size();
      expected.resize(layout_.maximum, ' ');
      EXPECT_TRUE(area() == expected);
    } else {
      EXPECT_TRUE(area() == before);
      EXPECT_TRUE(status != "10" || file_.extendedArea.text().starts_with("000010 "));
    }
  }
  void start() {
    program_.place(own(anyRecord()));
    const auto key = static_cast<uint8_t>(below(static_cast<uint32_t>(layout_.keys.size())));
    const auto relation = static_cast<uint8_t>(below(5));
    const uint32_t length = relative_ ? 0 : below(5);
    const std::string status = model_.start(key, relation, area(), length);
    EXPECT_EQ(program_.startBy(key, relation, length), status);
  }
  void perform() {
    const uint32_t verb = below(100);
    std::string record = anyRecord();
    // As a program updates what it has read.
    if (verb % 2 == 0 && model_.hasRead)
      record.replace(layout_.keys[0].offset, layout_.keys[0].length, model_.lastKey);
    if (record.size() < layout_.keys[0].offset + layout_.keys[0].length) record = anyRecord();
    if (model_.mode == 0 || verb < 2) return open();
    if (verb < 40) return read();
    if (verb < 48 && !isRandom()) return start();
    if (model_.plain && verb % 2 == 0 && model_.hasRead) record.resize(length_, 'r');
    const std::string given = own(record);
    if (verb < 75) {
      EXPECT_EQ(program_.write(given), model_.write(record));
      EXPECT_TRUE(!relative_ || record.starts_with(number()));
    } else if (verb < 92) {
      EXPECT_EQ(program_.rewrite(given), model_.rewrite(record));
    } else if (!model_.plain) {
      program_.place(given);
      const std::string before = area();
      EXPECT_EQ(program_.remove(), model_.remove(before));
    }
  }
  bool isRandom() const { return !dynamic_ && (!model_.sequential || model_.plain); }

  std::mt19937 random_;
  const Layout& layout_;
  const bool relative_;
  const uint32_t ahead_;  // bytes of the model's record that aren't in the file's
  IndexedFile file_;
  IndexedProgram program_;
  Model model_;
  bool dynamic_, made_ = false;
  size_t length_ = 0;  // of the record read last
};

TEST_F(RecordFiles, DoWhatAPlainModelDoes) {
  uint32_t seed = 1;
  for (const Layout& layout : layouts)
    for (const int access : {QRT_ACCESS_SEQUENTIAL, QRT_ACCESS_RANDOM, QRT_ACCESS_DYNAMIC})
      for (int round = 0; round < 4 && !HasFailure(); ++round, ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        if (layout.organization == QRT_ORGANIZATION_SEQUENTIAL && access != QRT_ACCESS_SEQUENTIAL) continue;
        setenv("QRT_INDEXED_COMMIT", round == 0 ? "7" : "", 1);
        std::filesystem::remove("records");
        Trial(layout, static_cast<uint8_t>(access), seed).go(layout.maximum > 1000 ? 300 : 1500);
        if (layout.organization == QRT_ORGANIZATION_INDEXED) {
          EXPECT_EQ(queryOn("records", "PRAGMA integrity_check"), "ok");
        }
      }
}

}  // namespace
