// Relative files against a plain model: a map of numbers and records, and COBOL's rules of position.
#include <map>
#include <random>

#include "record_program.h"

using namespace qrt::test;

namespace {

constexpr uint32_t length = 10;

struct Relative : InFolder {};

// What a relative file does, by the book.
struct Model {
  std::map<uint32_t, std::string> records;
  bool sequential, variable;
  uint16_t mode = 0;
  uint64_t next = 1;
  bool positioned = false;  // READ NEXT has where to go on from
  bool hasRead = false;     // the statement before was a READ that found its record
  uint32_t current = 0;

  void open(uint16_t asked) {
    if ((asked & QRT_OPEN_OUTPUT) != 0) records.clear();
    mode = asked;
    next = (asked & QRT_OPEN_EXTEND) != 0 && !records.empty() ? records.rbegin()->first + uint64_t{1} : 1;
    positioned = true;
    hasRead = false;
  }

  std::string read(uint32_t& key, bool nextAsked, std::string& record) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    const bool goesOn = sequential || nextAsked;
    if (goesOn && !positioned) return "46";
    const auto found = goesOn ? records.lower_bound(static_cast<uint32_t>(next)) : records.find(key);
    positioned = hasRead = found != records.end();
    if (!hasRead) return goesOn ? "10" : "23";
    current = found->first;
    if (goesOn) key = current;
    next = current + uint64_t{1};
    record = found->second;
    return "00";
  }

  std::string start(uint8_t relation, uint32_t key) {
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_READ) == 0) return "47";
    auto found = relation == QRT_START_GREATER || relation == QRT_START_NOT_GREATER
                     ? records.upper_bound(key)
                     : records.lower_bound(key);
    if (relation == QRT_START_EQUAL && (found == records.end() || found->first != key)) found = records.end();
    if (relation == QRT_START_LESS || relation == QRT_START_NOT_GREATER)
      found = found == records.begin() ? records.end() : std::prev(found);
    positioned = found != records.end();
    if (positioned) next = found->first;
    return positioned ? "00" : "23";
  }

  bool hasRightLength(const std::string& record) const {
    return !variable || (record.size() >= 2 && record.size() <= length);
  }

  std::string write(uint32_t& key, const std::string& record) {
    hasRead = false;
    if (sequential && (mode & QRT_OPEN_IO) != 0) return "92";
    if ((mode & QRT_OPEN_CAN_WRITE) == 0) return "48";
    if (!hasRightLength(record)) return "44";
    if (!sequential && key == 0) return "24";
    if (!sequential && records.count(key) != 0) return "22";
    if (sequential) key = static_cast<uint32_t>(next++);
    records[key] = record;
    return "00";
  }

  // REWRITE, or DELETE without a record.
  std::string change(uint32_t key, const std::string* record) {
    const bool follows = hasRead;
    hasRead = false;
    if ((mode & QRT_OPEN_CAN_REWRITE) == 0) return "49";
    if (sequential && !follows) return "43";
    const uint32_t number = sequential ? current : key;
    if (records.count(number) == 0) return "23";
    if (record == nullptr) return records.erase(number), "00";
    if (!hasRightLength(*record)) return "44";
    records[number] = *record;
    return "00";
  }
};

// One program that opens the file in turn in every mode, and runs statements of every kind.
void followModel(uint8_t access, bool variable, uint32_t seed) {
  std::mt19937 random(seed);
  RecordFile file("data", QRT_ORGANIZATION_RELATIVE, access, length);
  if (variable) file.makeVariable(2);
  RecordProgram program("MAIN", {&file});
  Model model{{}, access == QRT_ACCESS_SEQUENTIAL, variable};
  uint32_t key = 0;
  const auto someRecord = [&] {
    std::string record(!variable ? length : random() % 8 == 0 ? random() % 14 : 2 + random() % 9, ' ');
    for (char& letter : record) letter = static_cast<char>('a' + random() % 26);
    return record;
  };
  run(program, [&] {
    for (int session = 0; session < 30; ++session) {
      uint16_t mode =
          std::array{output, input, inputOutput, inputOutput, extend}[session == 0 ? 0 : random() % 5];
      if (mode == output && session % 3 != 0) mode = inputOutput;
      if (mode == extend && access != QRT_ACCESS_SEQUENTIAL) {
        ASSERT_EQ(program.open(extend), "37");
        continue;
      }
      ASSERT_EQ(program.open(mode), "00");
      model.open(mode);
      for (int statement = 0; statement < 60; ++statement) {
        if (random() % 2 != 0) key = file.key.value = random() % 40;
        const uint32_t verb = mode == output || mode == extend ? random() % 12 : random() % 8;
        if (verb <= 2) {
          std::string expected;
          const bool next = access == QRT_ACCESS_DYNAMIC && random() % 4 != 0;
          const std::string status = model.read(key, next, expected);
          ASSERT_EQ(next ? program.readNext() : program.read(), status);
          if (status != "00") continue;
          ASSERT_EQ(program.taken(), expected);
          expected.resize(length, ' ');
          ASSERT_EQ(program.record(), expected);
        } else if (verb == 3 && access != QRT_ACCESS_RANDOM) {
          const auto relation = static_cast<uint8_t>(random() % 5);
          ASSERT_EQ(program.start(relation), model.start(relation, key)) << int(relation) << " " << key;
        } else if (verb == 4) {
          const std::string record = someRecord();
          ASSERT_EQ(program.rewrite(record), model.change(key, &record));
        } else if (verb == 5) {
          ASSERT_EQ(program.remove(), model.change(key, nullptr));
        } else {
          const std::string record = someRecord();
          ASSERT_EQ(program.write(record), model.write(key, record));
        }
        ASSERT_EQ(file.key.value, key);
      }
      ASSERT_EQ(program.close(), "00");
    }
  });
  file.record.text();
}

TEST_F(Relative, FollowsTheModel) {
  for (const int access : {QRT_ACCESS_SEQUENTIAL, QRT_ACCESS_RANDOM, QRT_ACCESS_DYNAMIC})
    for (uint32_t seed = 0; seed < 12; ++seed) {
      SCOPED_TRACE(testing::Message() << "access " << access << " seed " << seed);
      followModel(static_cast<uint8_t>(access), seed % 2 != 0, seed);
      if (HasFatalFailure()) return;
    }
}

TEST_F(Relative, LayoutOnDisk) {
  RecordFile file("data", QRT_ORGANIZATION_RELATIVE, QRT_ACCESS_RANDOM, 5);
  file.makeVariable(0);
  RecordProgram program("MAIN", {&file});
  run(program, [&] {
    program.open(output);
    for (const auto& [number, record] : std::map<uint32_t, std::string>{{3, "abc"}, {1, ""}, {4, "four!"}}) {
      file.key.value = number;
      EXPECT_EQ(program.write(record), "00");
    }
    program.close();
    program.open(inputOutput);
    file.key.value = 4;
    EXPECT_EQ(program.remove(), "00");
    program.close();
  });
  std::string expected("QRTRECS\n\1\0\x10\x40\5\0\0\0\0\0\0\0", 20);
  expected.resize(128 + 12);  // number 0 takes images
  expected += std::string("\0\0\0\x80", 4) + std::string(8, '\0') + std::string(12, '\0');
  expected += std::string("\3\0\0\x80", 4) + "abc" + std::string(5, '\0');
  expected += std::string(4, '\0') + "four!";
  std::string content = contentOf("data");
  std::fill_n(&content[20], 108, '\0');
  EXPECT_EQ(content, expected);
}

// Numbers up to the highest, with the hole in between passed over; one more has no place.
TEST_F(Relative, HighestNumber) {
  RecordFile file("data", QRT_ORGANIZATION_RELATIVE, QRT_ACCESS_DYNAMIC, 4);
  RecordFile appending("data", QRT_ORGANIZATION_RELATIVE, QRT_ACCESS_SEQUENTIAL, 4);
  RecordProgram program("MAIN", {&file, &appending});
  run(program, [&] {
    program.open(output);
    for (const uint32_t number : {7u, UINT32_MAX}) {
      file.key.value = number;
      EXPECT_EQ(program.write("last"), "00");
    }
    program.close();
    program.open(input);
    EXPECT_EQ((Texts{program.readNext(), program.readNext(), program.readNext(), program.readNext()}),
              (Texts{"00", "00", "10", "46"}));
    EXPECT_EQ(file.key.value, UINT32_MAX);
    EXPECT_EQ(program.start(QRT_START_GREATER), "23");
    EXPECT_EQ((Texts{program.start(QRT_START_NOT_LESS), program.readNext()}), (Texts{"00", "00"}));
    program.close();
    EXPECT_EQ((Texts{program.open(extend, 1), program.write("more", 1)}), (Texts{"00", "24"}));
    program.close(0, 1);
    std::filesystem::resize_file("data", 128 + (uint64_t{1} << 32) * 8);
    std::ofstream("data", std::ios::binary | std::ios::app) << std::string("\4\0\0\x80more", 8);
    program.open(input);
    file.key.value = UINT32_MAX;
    program.start(QRT_START_EQUAL);
    EXPECT_EQ((Texts{program.readNext(), program.readNext()}), (Texts{"00", "14"}));
    program.close();
  });
}

}  // namespace
