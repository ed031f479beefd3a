// Random statements on record files and their plain twin.
#include "adapters/plt/plain_records.h"
#include "indexed_program.h"

using namespace qrt::test;
using namespace qrt::plt::plain;

namespace {

struct RecordFiles : InFolder {};

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
