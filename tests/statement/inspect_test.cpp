// INSPECT: random statements against the plain rules, messages, and what a statement asks of the heap.

#include <deque>
#include <optional>

#include "statement/pictures.h"
#include "statement/plain_inspect.h"
#include "support/allocation.h"
#include "support/process.h"

namespace {

using namespace qrt::test;

// A block as a compiler lays it out.
struct Block {
  std::vector<uint32_t> words = std::vector<uint32_t>(4);

  explicit Block(const QrtInspectOperand& item) { record()->item = item; }
  QrtInspectBlock* record() { return reinterpret_cast<QrtInspectBlock*>(words.data()); }
  void add(const QrtInspectPhrase& phrase) {
    words.resize(words.size() + sizeof phrase / 4);
    memcpy(&words[words.size() - sizeof phrase / 4], &phrase, sizeof phrase);
    ++record()->phraseCount;
  }
};

// A statement as text. Its phrases stand between "; ": T, R or C; A or C for ALL or CHARACTERS; then
// what is compared behind ":", the replacement behind "=" or a figurative one behind "*", the BEFORE
// delimiter behind "<".
struct Statement {
  std::string item;
  std::deque<std::string> operands;
  std::deque<uint32_t> counters;
  Block block;

  Statement(std::string_view text, std::string_view phrases)
      : item(text), block({0, 0, 0, 0, int32_t(item.size()), item.data()}) {
    for (const std::string& phrase : split(phrases, "; ")) add(phrase);
  }
  void add(const std::string& text) {
    const auto operand = [&](char mark) -> QrtInspectOperand {
      const size_t start = text.find(mark);
      if (start == text.npos) return {};
      const size_t end = std::min(text.find_first_of(":=*<", start + 1), text.size());
      operands.push_back(text.substr(start + 1, end - start - 1));
      return {0, 0, 0, 0, int32_t(operands.back().size()), operands.back().data()};
    };
    const bool figurative = text.find('*') != text.npos;
    QrtInspectPhrase phrase{operand(figurative ? '*' : '='), operand(':'), operand('<'), {}};
    int flags = text[0] == 'T'   ? QRT_INSPECT_TALLYING
                : text[0] == 'R' ? QRT_INSPECT_REPLACING
                                 : QRT_INSPECT_CONVERTING;
    if (text[1] == 'C') flags |= QRT_INSPECT_CHARACTERS;
    if (phrase.before.length != 0) flags |= QRT_INSPECT_HAS_BEFORE;
    phrase.replacement.phraseFlags = static_cast<uint8_t>(flags);
    if (figurative) phrase.replacement.itemFlags = QRT_INSPECT_FIGURATIVE;
    if (text[0] == 'T') phrase.replacement.address = &counters.emplace_back(0);
    block.add(phrase);
  }
  std::string run() { return _qrtcInspect(block.record()), item; }
};

// An area that holds item, operands and counters at random places; operands may lie in the item.
struct Arena {
  std::mt19937& random;
  std::vector<uint8_t> bytes = std::vector<uint8_t>(1024);
  int width, itemAt, itemSize;
  bool simple;  // a short item and phrases that want nothing out of the ordinary

  explicit Arena(std::mt19937& source) : random(source) {
    simple = pick(3) == 0;
    width = !simple && pick(3) == 0 ? 2 : 1;
    itemSize = simple ? 4 + pick(29) : pick(pick(8) == 0 ? 600 : 60);
    itemAt = 300;
    const bool few = pick(4) != 0;  // different bytes, so that operands are found
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(few ? "12Aq"[pick(2 + pick(3))] : pick(256));
  }
  int pick(int choices) { return static_cast<int>(random() % static_cast<unsigned>(choices)); }

  uint8_t* counter() {
    return &bytes[static_cast<size_t>(simple && pick(20) == 0 ? itemAt + pick(itemSize + 1)
                                                              : 1000 + pick(20))];
  }
  QrtInspectOperand operand(int size) {
    const int at = pick(20) == 0 ? itemAt + pick(itemSize + 1) : pick(260);
    QrtInspectOperand made{0, 0, 0, 0, size, &bytes[static_cast<size_t>(at)]};
    if (simple) return made;
    if (pick(4) == 0)
      made.itemFlags = static_cast<uint8_t>(QRT_INSPECT_NUMERIC | pick(8) << 2 | (pick(4) == 0 ? 0x10 : 0));
    if (pick(16) == 0) made.nationalFlags = QRT_INSPECT_NATIONAL_NUMERIC;
    return made;
  }
  QrtInspectOperand item() {
    QrtInspectOperand made = operand(itemSize);
    made.address = &bytes[static_cast<size_t>(itemAt)];
    if (width == 2) made.itemFlags |= static_cast<uint8_t>(pick(2) == 0 ? 0x40 : 0x01);
    return made;
  }
  QrtInspectPhrase simplePhrase() {
    const int length = pick(3) == 0 ? 1 + pick(6) : 1 + pick(2);
    QrtInspectPhrase made{operand(length), operand(length), {}, {}};
    const bool counts = pick(2) == 0;
    if (counts) made.replacement.address = counter();
    made.replacement.phraseFlags = static_cast<uint8_t>(
        (counts ? QRT_INSPECT_TALLYING : QRT_INSPECT_REPLACING) | (pick(4) == 0 ? QRT_INSPECT_FIRST : 0));
    return made;
  }
  QrtInspectPhrase phrase() {
    if (simple && pick(20) != 0) return simplePhrase();
    const bool whole = pick(16) != 0;  // whole characters
    const int unit = whole ? width : 1, size = unit * (pick(4) == 0 ? pick(6) : 1 + pick(2));
    const bool converts = pick(4) == 0, equal = pick(8) != 0;
    const int length = converts ? unit * pick(30) : size;
    QrtInspectPhrase made{operand(equal ? length : pick(6)), operand(length), operand(unit * pick(3)),
                          operand(unit * pick(3))};
    int flags = converts       ? QRT_INSPECT_CONVERTING
                : pick(2) == 0 ? QRT_INSPECT_REPLACING
                               : QRT_INSPECT_TALLYING;
    if (!converts && pick(2) == 0) flags |= 1 << (1 + pick(2)) | (pick(8) == 0 ? 6 : 0);
    if (!converts && pick(4) == 0) flags |= QRT_INSPECT_CHARACTERS;
    if (pick(4) == 0) flags |= QRT_INSPECT_HAS_BEFORE;
    if (flags & QRT_INSPECT_TALLYING) made.replacement = {0, 0, 0, 0, 4, counter()};
    if (equal && !converts && (flags & QRT_INSPECT_CHARACTERS)) made.replacement.length = width;
    made.replacement.phraseFlags = static_cast<uint8_t>(flags);
    if (pick(8) == 0) made.replacement.itemFlags = QRT_INSPECT_FIGURATIVE, made.replacement.nationalFlags = 0;
    if (pick(4) == 0) made.replacement.itemFlags |= QRT_INSPECT_HAS_AFTER;
    // Alphabets: neighbouring codes, turned into others of their own order or of none.
    if (converts && equal && pick(2) == 0)
      for (int at = 0; at < length; ++at) {
        static_cast<uint8_t*>(made.compared.address)[at] = static_cast<uint8_t>('A' + at);
        if (pick(40) != 0)
          static_cast<uint8_t*>(made.replacement.address)[at] = static_cast<uint8_t>('a' + at);
      }
    return made;
  }
};

TEST(Inspect, RandomStatementsAsThePlainRules) {
  setenv("COBMSGS", "/dev/null", 1);
  _qrtPgmInit(nullptr);
  std::mt19937 random(42);
  for (int round = 0; round < 100000; ++round) {
    Arena arena(random);
    Block block(arena.item());
    for (int left = arena.pick(arena.pick(20) == 0 ? 20 : 5); left > 0; --left) block.add(arena.phrase());

    const std::vector<uint8_t> before = arena.bytes;
    qrt::statement::plainInspect(*block.record());
    const std::vector<uint8_t> expected = arena.bytes;
    std::ranges::copy(before, arena.bytes.begin());
    _qrtcInspect(block.record());
    ASSERT_EQ(arena.bytes, expected) << round;
  }
  _qrtCleanUp();
  unsetenv("COBMSGS");
}

TEST(Inspect, MessagesForOperandsOfDifferentLengths) {
  const Ended ended =
      inChild([] { puts(Statement("ABCABC", "RC=xy<B; RA:BC=-; RA:A=; RA:A* ; CA:C=de").run().c_str()); });
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_EQ(ended.out, "x-d -d\n");
  std::string heads;
  for (const std::string& line : split(ended.err, "\n"))
    if (line.starts_with("QRT")) heads += line.substr(0, line.find(':')) + ";";
  EXPECT_EQ(heads,
            "QRT076W  INSPECT CHARACTERS BY;QRT077W  INSPECT REPLACING;QRT077W  INSPECT REPLACING;"
            "QRT077W  INSPECT CONVERTING;");
}

TEST(Inspect, AsksTheHeapForLongStatementsOnly) {
  if (!canFailAllocations) GTEST_SKIP();
  Statement("", "TA:A").run();  // what the guard keeps
  for (const int phrases : {12, 13}) {
    Statement statement("ABC", "TA:A");
    while (statement.block.record()->phraseCount < phrases) statement.add("TA:C");
    const int32_t before = liveBlocks();
    statement.run();
    EXPECT_EQ(liveBlocks(), before);
    EXPECT_EQ(statement.counters[0] + statement.counters[1], 2u);
    const Ended ended = inChild([&] {
      const FailingAllocation failing(1);
      _qrtcInspect(statement.block.record());
    });
    EXPECT_EQ(ended.exitCode, phrases > 12 ? 3 : 0) << ended.err;
  }
}

}  // namespace
