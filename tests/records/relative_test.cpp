// Relative files: the bytes on disk, and the ends of their numbers. Their verbs are tested with those of
// indexed files.
#include <map>

#include "record_program.h"

using namespace qrt::test;

namespace {

struct Relative : InFolder {};

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
