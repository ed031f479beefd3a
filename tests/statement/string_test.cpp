// STRING and UNSTRING: random statements against the plain rules.

#include "statement/pictures.h"
#include "statement/plain_string.h"

namespace {

using namespace qrt::test;

// Records as words; flags are the high byte of theirs.
using Words = std::vector<uint32_t>;

void add(Words& words, std::initializer_list<uint32_t> more) {
  words.insert(words.end(), more);
}

uint32_t address(const void* of) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(of));
}

// A statement whose records refer to its own storage, to be used again and again without moving that.
struct Statement {
  Words block, receivers;
  std::string storage;
  uint32_t overflow = 1;

  bool operator==(const Statement&) const = default;
  QrtStringBlock* string() { return reinterpret_cast<QrtStringBlock*>(block.data()); }
  QrtUnstringBlock* unstring() { return reinterpret_cast<QrtUnstringBlock*>(block.data()); }
  QrtUnstringReceiver* items() { return reinterpret_cast<QrtUnstringReceiver*>(receivers.data()); }
};

// Numbers, texts of few letters and programs with a collating table.
struct Random {
  std::mt19937 engine;
  std::string letters = std::string(4096, '\0');
  uint8_t table[256];
  QrtProgramBlock program = {};

  explicit Random(uint32_t seed) : engine(seed) {
    for (char& letter : letters) letter = "AaB,; \0\xFF"[below(8)];
  }
  uint32_t below(uint32_t limit) { return engine() % limit; }
  bool oneIn(uint32_t n) { return below(n) == 0; }
  uint32_t length(uint32_t limit) { return below(1 + below(limit)); }  // short ones more often
  uint32_t pointer(uint32_t size) { return oneIn(20) ? engine() : below(2) * below(size + 3) + 1; }
  void addText(Words& words, uint32_t length) {
    add(words, {address(&letters[below(uint32_t(letters.size()) - length)]), length});
  }

  // Maps to fewer ranks, or is a permutation, or isn't there.
  void newTable() {
    const uint32_t kind = below(4), key = below(256);
    for (uint32_t byte = 0; byte < 256; ++byte)
      table[byte] = static_cast<uint8_t>(kind == 0 ? byte & 0xDF : kind == 1 ? byte / 16 : byte ^ key);
    program.collatingTable = kind == 3 ? nullptr : table;
  }
};

// Both must do the same to the statement; the second one's outcome stays.
template <typename Library, typename Plain>
void expectTheSame(Statement& statement, Library&& library, Plain&& plain) {
  const Statement before = statement;
  library();
  const Statement ours = statement;
  statement = before;
  plain();
  ASSERT_EQ(ours.storage, statement.storage);
  ASSERT_TRUE(ours == statement);
}

TEST(String, RandomStatementsAsThePlainRules) {
  Random random(43);
  Statement now{{}, {}, std::string(300, '#')};
  for (int round = 0; round < 40000 && !HasFatalFailure(); ++round) {
    const uint32_t groups = random.below(4), size = random.length(200);
    now.storage.assign(now.storage.size(), '#');
    now.overflow = random.below(3);
    now.block = {random.below(256) << 24, address(&now.storage[50]), size, random.pointer(size), groups};
    for (uint32_t group = 0; group < groups; ++group) {
      random.addText(now.block, random.oneIn(10) ? random.length(40) : random.below(4));
      const uint32_t fields = random.below(4);
      add(now.block, {fields});
      for (uint32_t field = 0; field < fields; ++field) random.addText(now.block, random.length(60));
    }
    random.newTable();
    expectTheSame(
        now, [&] { _qrtcString(now.string(), &random.program, &now.overflow); },
        [&] { qrt::statement::plainString(*now.string(), random.program.collatingTable, now.overflow); });
  }
}

TEST(Unstring, RandomStatementsAsThePlainRules) {
  constexpr uint32_t slot = 160;  // storage of one receiver, with room around
  Random random(44);
  Statement now{{}, {}, std::string(8 * slot, '#')};
  _qrtPgmInit(nullptr);
  // A locale whose double-byte space isn't two blanks.
  const auto* const row =
      std::find_if(std::begin(LCCP_Tbl), std::end(LCCP_Tbl),
                   [](const QrtLocaleRow& each) { return each.doubleByteSpace[0] != ' '; });
  _qrtProccom->localeCodePageIndex = int32_t(row - LCCP_Tbl);
  const std::string blank(reinterpret_cast<const char*>(row->doubleByteSpace), 2);
  for (int round = 0; round < 40000 && !HasFatalFailure(); ++round) {
    const uint32_t size = random.below(random.oneIn(10) ? 2000 : 100), items = random.below(9);
    const uint32_t delimiters = random.below(random.oneIn(20) ? 300 : 7);
    now.storage.assign(now.storage.size(), '#');
    now.overflow = random.below(3);
    now.block = {random.below(256) << 24};
    random.addText(now.block, size);
    add(now.block, {random.pointer(size), random.below(100), delimiters, items});
    for (uint32_t delimiter = 0; delimiter < delimiters; ++delimiter) {
      random.addText(now.block, random.oneIn(10) ? random.length(20) : random.below(4));
      add(now.block, {random.oneIn(2) ? QRT_DELIMITER_ALL : 0});
    }
    now.receivers.clear();
    for (uint32_t at = 0; at < items * slot; at += slot)
      add(now.receivers,
          {address(&now.storage[at + 20]), random.length(90), random.length(30),
           (random.oneIn(2) ? random.below(256) : random.below(256) & QRT_RECEIVER_RIGHT) << 24,
           random.oneIn(2) ? address(&now.storage[at + 130]) : 0, random.below(10), random.below(256) << 24,
           77});
    random.newTable();
    expectTheSame(
        now, [&] { _qrtcUnString(now.unstring(), now.items(), &random.program, &now.overflow); },
        [&] {
          qrt::statement::plainUnstring(*now.unstring(), now.items(), random.program.collatingTable,
                                        now.overflow, blank);
        });
  }
  _qrtCleanUp();
}

}  // namespace
