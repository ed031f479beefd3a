// STRING and UNSTRING: known statements, and random ones against the plain rules.
#include <random>

#include "statement/pictures.h"
#include "statement/plain_string.h"
#include "support/allocation.h"

namespace {

using namespace qrt::test;
using namespace std::literals;

// A block as words; its flags are the high byte of the first one.
struct Block {
  std::vector<uint32_t> words;

  void add(uint32_t word) { words.push_back(word); }
  void add(const void* address) { add(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address))); }
  void add(const void* text, size_t length) {
    add(text);
    add(static_cast<uint32_t>(length));
  }
  template <typename Kind>
  Kind* as() {
    return reinterpret_cast<Kind*>(words.data());
  }
};

// A STRING of groups "DELIMITER:FIELD:FIELD", separated by "|".
std::string strung(std::string target, int pointer, std::string_view groups, uint8_t flags = 0x80) {
  Block block;
  const auto texts = split(groups, "|");
  block.add(uint32_t{flags} << 24);
  block.add(target.data(), target.size());
  block.add(static_cast<uint32_t>(pointer));
  block.add(static_cast<uint32_t>(texts.size()));
  std::vector<std::vector<std::string>> parts;
  for (const std::string& text : texts) parts.push_back(split(text, ":"));
  for (const auto& group : parts) {
    block.add(group[0].empty() ? nullptr : group[0].data(), group[0].size());
    block.add(static_cast<uint32_t>(group.size() - 1));
    for (size_t field = 1; field < group.size(); ++field) block.add(group[field].data(), group[field].size());
  }
  uint32_t overflow = 5;
  _qrtcString(block.as<QrtStringBlock>(), nullptr, &overflow);
  return target + " " + std::to_string(block.as<QrtStringBlock>()->pointer) + (overflow == 6 ? " over" : "");
}

TEST(String, KnownStatements) {
  EXPECT_EQ(strung("------", 1, " :AB CD"), "AB---- 3");
  EXPECT_EQ(strung("------", 2, ",:,AB:CD"), "-CD--- 4");
  EXPECT_EQ(strung("------", 1, "ABC:AB|:A,|BC:ABC"), "ABA,A- 6");
  EXPECT_EQ(strung("--", 1, ":ABC:D"), "AB 3 over");
  EXPECT_EQ(strung("--", 1, ":ABC:", 0), "AB 3 over");
  EXPECT_EQ(strung("----", 4, ":A", 0), "A--- 2");
  EXPECT_EQ(strung("----", 5, ",:,:"), "---- 5");
  EXPECT_EQ(strung("----", 0, ":A"), "---- 0 over");
  EXPECT_EQ(strung("----", -0x7FFFFFFF, ":"), "---- -2147483647");
  EXPECT_EQ(strung("----", 0x7FFFFFFF, ":A", 0x88), "---- 2147483647 over");
  EXPECT_EQ(strung("--------", 2, "bc:abcdbc", 0xC0), "--abcd-- 4");
  EXPECT_EQ(strung("-----", 1, ":abcdefg", 0x88), "abcde 3 over");
}

// An UNSTRING into `receivers` items of five bytes; behind them the counts and what was DELIMITER IN.
std::string unstrung(std::string source, std::string_view delimiters, int receivers, uint32_t receiverFlags,
                     uint32_t digits = 0, uint32_t itemSize = 5) {
  const auto texts = split(delimiters, "|");
  Block block, records;
  block.add(0x88u << 24);
  block.add(source.data(), source.size());
  for (const int word : {1, 10, delimiters.empty() ? 0 : int(texts.size()), receivers})
    block.add(static_cast<uint32_t>(word));
  for (const std::string& text : texts) {
    const bool all = text.starts_with("ALL ");
    block.add(text.data() + (all ? 4 : 0), text.size() - (all ? 4 : 0));
    block.add(all ? QRT_DELIMITER_ALL : 0);
  }
  std::string items(static_cast<size_t>(receivers) * 16, '#'), result;
  for (int number = 0; number < receivers; ++number) {
    records.add(&items[static_cast<size_t>(number) * 16], itemSize);
    records.add(digits);
    records.add(receiverFlags << 24);
    records.add(&items[static_cast<size_t>(number) * 16 + 8], 2);
    records.add((receiverFlags & 0x10) << 24);
    records.add(77);
  }
  uint32_t overflow = 1;
  _qrtcUnString(block.as<QrtUnstringBlock>(), records.as<QrtUnstringReceiver>(), nullptr, &overflow);
  for (int number = 0; number < receivers; ++number)
    result += items.substr(static_cast<size_t>(number) * 16, itemSize) + "[" +
              items.substr(static_cast<size_t>(number) * 16 + 8, 2) + "]" +
              std::to_string(records.as<QrtUnstringReceiver>()[number].count) + " ";
  return result + "pointer " + std::to_string(block.as<QrtUnstringBlock>()->pointer) + " tally " +
         std::to_string(block.as<QrtUnstringBlock>()->tally) + (overflow == 2 ? " over" : "");
}

TEST(Unstring, KnownStatements) {
  EXPECT_EQ(unstrung("A,B,,C", ",", 4, 0), "A    [, ]1 B    [, ]1      [, ]0 C    [  ]1 pointer 7 tally 14");
  EXPECT_EQ(unstrung("A,,B", "ALL ,", 2, 0), "A    [, ]1 B    [  ]1 pointer 5 tally 12");
  EXPECT_EQ(unstrung("A,", ",", 2, 0), "A    [, ]1 #####[##]77 pointer 3 tally 11");
  EXPECT_EQ(unstrung("ABCDEFG", "", 2, 0), "ABCDE[##]5 FG   [##]2 pointer 8 tally 12");
  EXPECT_EQ(unstrung("1234567", "", 2, 0x80, 3), "12300[##]3 45600[##]3 pointer 7 tally 12 over");
  EXPECT_EQ(unstrung("AB;CDEFGHI,X", ",|;", 2, 0x10), "   AB[ ;]2 EFGHI[ ,]7 pointer 12 tally 12 over");
  EXPECT_EQ(unstrung("A<>B<C", "<|<>|<<>", 2, 0), "A    [< ]1 >B   [< ]2 pointer 6 tally 12 over");
  EXPECT_EQ(unstrung("AxyzB", "|xyz", 1, 0), "A    [xy]1 pointer 5 tally 11 over");
  EXPECT_EQ(unstrung("", ",", 1, 0), "#####[##]77 pointer 1 tally 10");
  EXPECT_EQ(unstrung("123", ",", 1, 0x80, 5), "00123[  ]3 pointer 4 tally 11");
  EXPECT_EQ(unstrung("ABC", ",", 1, 0x80, 5), "00ABC[  ]3 pointer 4 tally 11");
  EXPECT_EQ(unstrung("12345", ",", 1, 0x80, 3, 3), "345[  ]5 pointer 6 tally 11");
  EXPECT_EQ(unstrung("12345", ",", 1, 0xC0, 3), "3450+[  ]5 pointer 6 tally 11");
  EXPECT_EQ(unstrung("12345", ",", 1, 0xE0, 4), "+2345[  ]5 pointer 6 tally 11");
  EXPECT_EQ(unstrung("12345", "", 1, 0x68, 1, 6),
            "+\000"
            "120\000[##]2 pointer 3 tally 11 over"s);
}

// What both statements work on: text of few letters, a collating table, and storage for what they write.
class Random {
 public:
  explicit Random(uint32_t seed) : random_(seed) {
    for (char& letter : text_) letter = "AaB,; \0\xFF"[random_() % 8];
  }

  uint32_t below(uint32_t limit) { return random_() % limit; }
  bool oneIn(uint32_t n) { return below(n) == 0; }

  // Short lengths more often than long ones.
  uint32_t length(uint32_t limit) { return below(1 + below(limit)); }

  // One of `size` bytes of data, or somewhere else.
  uint32_t pointer(uint32_t size) { return oneIn(20) ? random_() : below(2) * below(size + 3) + 1; }

  void addText(Block& block, uint32_t length) {
    block.add(&text_[below(static_cast<uint32_t>(text_.size()) - length)], length);
  }

  // Maps to fewer ranks, or is a permutation, or isn't there.
  const QrtProgramBlock* program() {
    const uint32_t kind = below(4), key = below(256);
    for (uint32_t byte = 0; byte < 256; ++byte)
      table_[byte] = static_cast<uint8_t>(kind == 0 ? byte & 0xDF : kind == 1 ? byte / 16 : byte ^ key);
    program_.collatingTable = kind == 3 ? nullptr : table_;
    return &program_;
  }

 private:
  std::mt19937 random_;
  std::string text_ = std::string(4096, '\0');
  uint8_t table_[256];
  QrtProgramBlock program_ = {};
};

// What a statement leaves behind.
struct Outcome {
  std::vector<uint32_t> block, receivers;
  std::string storage;
  uint32_t overflow;

  bool operator==(const Outcome&) const = default;
};

// Runs both statements on what `block`, `receivers` and `storage` hold; they must leave the same behind.
template <typename First, typename Second>
void expectTheSame(Block& block, Block& receivers, std::string& storage, uint32_t overflow, First&& first,
                   Second&& second) {
  const Outcome before = {block.words, receivers.words, storage, overflow};
  const auto after = [&](auto&& statement) {
    block.words = before.block;
    receivers.words = before.receivers;
    storage.replace(0, storage.size(), before.storage);
    uint32_t word = overflow;
    statement(&word);
    return Outcome{block.words, receivers.words, storage, word};
  };
  const Outcome ours = after(first), plain = after(second);
  ASSERT_EQ(ours.storage, plain.storage);
  ASSERT_TRUE(ours == plain);
}

TEST(String, RandomStatementsAsThePlainRules) {
  Random random(43);
  std::string target(300, '\0');
  Block block, none;
  for (int round = 0; round < 40000 && !HasFatalFailure(); ++round) {
    const uint32_t groups = random.below(4), size = random.length(200);
    target.assign(target.size(), '#');
    block.words = {(random.below(256) & 0xD8) << 24};
    block.add(&target[50], size);
    block.add(random.pointer(size));
    block.add(groups);
    for (uint32_t group = 0; group < groups; ++group) {
      const uint32_t fields = random.below(4);
      random.addText(block, random.oneIn(10) ? random.length(40) : random.below(4));
      block.add(fields);
      for (uint32_t field = 0; field < fields; ++field) random.addText(block, random.length(60));
    }
    const QrtProgramBlock* program = random.program();
    expectTheSame(
        block, none, target, random.below(3),
        [&](uint32_t* overflow) { _qrtcString(block.as<QrtStringBlock>(), program, overflow); },
        [&](uint32_t* overflow) {
          qrt::statement::plainString(*block.as<QrtStringBlock>(), program->collatingTable, *overflow);
        });
  }
}

TEST(Unstring, RandomStatementsAsThePlainRules) {
  constexpr uint32_t slot = 160;  // storage of one receiver, with room around
  Random random(44);
  std::string items(8 * slot, '\0');
  Block block, receivers;
  for (int round = 0; round < 40000 && !HasFatalFailure(); ++round) {
    const uint32_t size = random.oneIn(10) ? random.below(2000) : random.below(100);
    const uint32_t delimiters = random.oneIn(20) ? random.below(300) : random.below(7);
    const uint32_t count = random.below(9);
    items.assign(items.size(), '#');
    block.words = {(random.below(256) & 0xDA) << 24};
    random.addText(block, size);
    for (const uint32_t word : {random.pointer(size), random.below(100), delimiters, count}) block.add(word);
    for (uint32_t delimiter = 0; delimiter < delimiters; ++delimiter) {
      random.addText(block, random.oneIn(10) ? random.length(20) : random.below(4));
      block.add(random.oneIn(2) ? QRT_DELIMITER_ALL : 0);
    }
    receivers.words.clear();
    for (uint32_t at = 0; at < count * slot; at += slot) {
      receivers.add(&items[at + 20], random.length(90));
      receivers.add(random.length(30));
      receivers.add((random.oneIn(2) ? random.below(256) : random.below(256) & 0x10) << 24);
      receivers.add(random.oneIn(2) ? &items[at + 130] : nullptr, random.below(10));
      receivers.add(random.below(256) << 24);
      receivers.add(77);
    }
    const QrtProgramBlock* program = random.program();
    expectTheSame(
        block, receivers, items, random.below(3),
        [&](uint32_t* overflow) {
          _qrtcUnString(block.as<QrtUnstringBlock>(), receivers.as<QrtUnstringReceiver>(), program, overflow);
        },
        [&](uint32_t* overflow) {
          qrt::statement::plainUnstring(*block.as<QrtUnstringBlock>(), receivers.as<QrtUnstringReceiver>(),
                                        program->collatingTable, *overflow, "  ");
        });
  }
}

}  // namespace
