// Line sequential files, from OPEN to the bytes on disk and back.
#include <fcntl.h>
#include <unistd.h>

#include <random>

#include "file_program.h"

using namespace qrt::test;

namespace {

class LineSequential : public InFolder {
 protected:
  // Writes records and returns what is on disk then.
  std::string written(const std::vector<std::string>& records, uint32_t length = 10) {
    File file("out", length);
    FileProgram program("WRITER", {&file});
    run(program, [&] {
      EXPECT_EQ(program.open(output), "00");
      for (const std::string& record : records) EXPECT_EQ(program.write(record), "00");
      EXPECT_EQ(program.close(), "00");
    });
    return contentOf("out");
  }

  // Reads a file to its end: each record as the program sees it, then the closing status.
  std::vector<std::string> readBack(const std::string& content, uint32_t length, bool ebcdic = false) {
    makeFile("in", content);
    File file("in", length);
    FileProgram program("READER", {&file});
    if (ebcdic) program.block.flags |= QRT_PROGRAM_EBCDIC;
    std::vector<std::string> records;
    run(program, [&] {
      EXPECT_EQ(program.open(input), "00");
      std::string status;
      while ((status = program.read()) == "00") records.push_back(program.record());
      records.push_back(status);
      program.close();
      EXPECT_TRUE(file.record.guarded());
      EXPECT_TRUE(file.statusArea.guarded());
    });
    return records;
  }
};

// What a file of these records holds, by the plainest means.
std::string model(const std::vector<std::string>& records) {
  std::string content;
  for (std::string record : records) {
    while (!record.empty() && isspace(static_cast<unsigned char>(record.back()))) record.pop_back();
    content += record + "\n";
  }
  return content;
}

// What READs of a file give, one character after the other.
std::vector<std::string> modelRead(const std::string& content, size_t length, char blank) {
  std::vector<std::string> records;
  for (size_t at = 0; at < content.size();) {
    std::string taken;
    while (at < content.size() && taken.size() <= length) {
      taken += content[at++];
      if (taken.back() == '\n') break;
    }
    taken = taken.c_str();
    if (!taken.empty() && taken.back() == '\n') taken.pop_back();
    taken.resize(length, blank);
    records.push_back(taken);
  }
  records.push_back("10");
  return records;
}

TEST_F(LineSequential, StoresRecordsWithoutTrailingWhiteSpace) {
  EXPECT_EQ(written({"A         ", "B", "C "}), "A\nB\nC\n");
  EXPECT_EQ(written({}), "");
  EXPECT_EQ(written({"          "}), "\n");
  EXPECT_EQ(written({" x \t\r\n\v\f  "}), " x\n");
  std::mt19937 random(72);
  for (int round = 0; round < 40; ++round) {
    std::vector<std::string> records(random() % 20);
    for (std::string& record : records)
      for (size_t length = random() % 80; length > 0; --length) record += "     \t\fx@"[random() % 9];
    EXPECT_EQ(written(records, 80), model(records));
  }
}

TEST_F(LineSequential, ReadsLinesAsRecords) {
  using Records = std::vector<std::string>;
  EXPECT_EQ(readBack("A\n\nC\n", 3), (Records{"A  ", "   ", "C  ", "10"}));
  EXPECT_EQ(readBack("abc\ndef", 3), (Records{"abc", "def", "10"}));
  EXPECT_EQ(readBack("abcX\nde", 3), (Records{"abc", "   ", "de ", "10"}))
      << "the character at the seam is lost";
  EXPECT_EQ(readBack("abcXdef\n", 3), (Records{"abc", "def", "10"}));
  EXPECT_EQ(readBack(std::string("a\0b\ncd\n", 7), 3), (Records{"a  ", "cd ", "10"}));
  EXPECT_EQ(readBack(std::string("abc\0de\n", 7), 3), (Records{"abc", "de ", "10"}));
  EXPECT_EQ(readBack("a\n", 3, true), (Records{"a\x40\x40", "10"}));
  std::mt19937 random(73);
  for (int round = 0; round < 200; ++round) {
    std::string content;
    for (size_t length = random() % 200; length > 0; --length)
      content += "ab c\n"[random() % 5 + (random() % 9 == 0)];
    const auto length = static_cast<uint32_t>(1 + random() % 12);
    EXPECT_EQ(readBack(content, length), modelRead(content, length, ' ')) << content << " by " << length;
  }
}

TEST_F(LineSequential, LinesAcrossTheStreamBuffer) {
  std::string content;
  std::mt19937 random(74);
  while (content.size() < 300'000)
    content += std::string(random() % 300, 'a' + static_cast<char>(random() % 26)) + "\n";
  EXPECT_EQ(readBack(content, 150), modelRead(content, 150, ' '));
}

TEST_F(LineSequential, EndsOnceThenRefuses) {
  makeFile("in", "a\n");
  File file("in", 4);
  FileProgram program("READER", {&file});
  run(program, [&] {
    program.open(input);
    EXPECT_EQ(program.read(), "00");
    EXPECT_EQ(program.fcb().readLength, 1u);
    EXPECT_EQ(program.read(), "10");
    EXPECT_EQ(program.record(), std::string("\0   ", 4)) << "only the first byte is touched at end";
    EXPECT_EQ(program.fcb().readLength, 0u);
    program.fcb().record[0] = 'k';
    EXPECT_EQ(program.read(), "46");
    EXPECT_EQ(program.fcb().record[0], 'k');
    EXPECT_EQ(program.write("no"), "48");
    program.close();
    EXPECT_EQ(program.read(), "47");
  });
}

TEST_F(LineSequential, LongLineKeepsItsLength) {
  makeFile("in", "abcXY\n");
  File file("in", 3);
  FileProgram program("READER", {&file});
  run(program, [&] {
    program.open(input);
    program.read();
    EXPECT_EQ(program.fcb().readLength, 4u);
  });
}

TEST_F(LineSequential, AdvancesAheadOfTheRecord) {
  constexpr uint8_t lines = 0x20, page = 0x24;
  struct {
    uint8_t flags;
    uint32_t count;
    const char* first;   // behind the record "x" as the first of the file
    const char* second;  // as the second, behind "w"
  } const table[] = {
      {0, 1, "x\n", "w\nx\n"},        {lines, 0, "x\n", "w\rx\n"},
      {lines, 1, "\nx\n", "w\nx\n"},  {lines, 3, "\n\nx\n", "w\n\n\nx\n"},
      {page, 1, "\fx\n", "w\r\fx\n"},
  };
  for (const auto& row : table)
    for (const bool second : {false, true}) {
      File file("out");
      FileProgram program("WRITER", {&file});
      run(program, [&] {
        program.open(output);
        if (second) program.write("w");
        program.fcb().advanceFlags = row.flags;
        program.fcb().advanceLines = row.count;
        EXPECT_EQ(program.write("x"), "00");
        EXPECT_EQ(program.fcb().advanceLines, 1u);
        program.close();
      });
      EXPECT_EQ(contentOf("out"), second ? row.second : row.first) << int(row.flags) << " " << row.count;
    }
}

TEST_F(LineSequential, RecordLengthOutOfRangeWritesNothing) {
  File file("out", 4);
  file.description.minRecord = 2;
  FileProgram program("WRITER", {&file});
  run(program, [&] {
    program.open(output);
    EXPECT_EQ(program.write("a"), "44");
    program.fcb().recordLength = 5;
    program.fcb().writeRoutine(&program.fcb(), program.entries.data());
    EXPECT_EQ(file.status(), "44");
    EXPECT_EQ(program.fcb().recordState, 4);
    EXPECT_EQ(program.write("ab"), "00");
    EXPECT_EQ(program.fcb().recordState, 0x40);
    program.close();
  });
  EXPECT_EQ(contentOf("out"), "ab\n");
}

TEST_F(LineSequential, OpensByModeAndPresence) {
  constexpr uint8_t optional = QRT_FILE_OPTIONAL;
  struct {
    const char* name;
    uint16_t mode;
    uint8_t attributes;
    const char* status;
    const char* content;  // after one record and CLOSE; null for no file
  } const table[] = {
      {"there", input, 0, "00", "old\n"},         {"there", output, 0, "00", "new\n"},
      {"there", extend, 0, "00", "old\nnew\n"},   {"there", inputOutput, 0, "37", "old\n"},
      {"absent", input, 0, "35", nullptr},        {"absent", output, 0, "00", "new\n"},
      {"absent", extend, 0, "35", nullptr},       {"absent", extend, optional, "05", "new\n"},
      {"absent", input, optional, "05", nullptr}, {"absent", inputOutput, optional, "05", nullptr},
      {"folder", input, 0, "37", nullptr},        {"folder", output, 0, "37", nullptr},
      {"no/where", output, 0, "30", nullptr},
  };
  std::filesystem::create_directory("folder");
  for (const auto& row : table) {
    makeFile("there", "old\n");
    std::filesystem::remove("absent");
    File file(row.name);
    file.description.attributes |= row.attributes;
    FileProgram program("MAIN", {&file});
    run(program, [&] {
      EXPECT_EQ(program.open(row.mode), row.status) << row.name << row.mode;
      if (program.fcb().openState != 0 && (row.mode & QRT_OPEN_CAN_WRITE) != 0) program.write("new");
      if (program.fcb().openState != 0) {
        EXPECT_EQ(program.close(), "00");
      }
      EXPECT_EQ(program.close(), "42");
    });
    if (row.content != nullptr)
      EXPECT_EQ(contentOf(row.name), row.content) << row.name << row.mode;
    else
      EXPECT_FALSE(std::filesystem::is_regular_file(row.name));
  }
}

TEST_F(LineSequential, AbsentOptionalFileIsAtEnd) {
  File file("absent");
  file.description.attributes |= QRT_FILE_OPTIONAL;
  FileProgram program("READER", {&file});
  run(program, [&] {
    EXPECT_EQ(program.open(input), "05");
    EXPECT_EQ(program.read(), "10");
    EXPECT_EQ(program.read(), "46");
    EXPECT_EQ(program.close(), "00");
    EXPECT_EQ(program.fcb().flags, 0u);
    EXPECT_EQ(program.close(), "42");
  });
}

TEST_F(LineSequential, ReelAndUnit) {
  File file("out");
  FileProgram program("WRITER", {&file});
  run(program, [&] {
    program.open(output);
    EXPECT_EQ(program.close(QRT_CLOSE_UNIT), "07");
    EXPECT_EQ(program.write("a"), "00") << "still open";
    EXPECT_EQ(program.close(QRT_CLOSE_REEL), "07");
    EXPECT_EQ(program.fcb().openState, 0);
  });
}

TEST_F(LineSequential, FlushesWhatItIsAskedTo) {
  File file("out", 6);
  file.description.lineFlags = 0x20;
  file.description.flushLength = 3;
  FileProgram program("WRITER", {&file});
  run(program, [&] {
    program.open(output);
    program.write("abcd");
    EXPECT_EQ(contentOf("out"), "");
    program.write("xyz");
    EXPECT_EQ(contentOf("out"), "abcd\nxyz");
  });
  EXPECT_EQ(contentOf("out"), "abcd\nxyz\n") << "closed at the end of the run unit";
}

TEST_F(LineSequential, TerminalIsFlushedAfterEachRecord) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
  File file(ptsname(master));
  FileProgram program("WRITER", {&file});
  run(program, [&] {
    ASSERT_EQ(program.open(output), "00");
    EXPECT_TRUE(program.fcb().flags & QRT_FCB_TERMINAL);
    program.write("hello");
    char seen[16] = {};
    EXPECT_EQ(::read(master, seen, sizeof(seen)), 5);
    EXPECT_STREQ(seen, "hello");
  });
  ::close(master);
}

TEST_F(LineSequential, FullDiskIsNeverSilent) {
  for (const bool flushed : {false, true}) {
    File file("/dev/full", 80);
    if (flushed) file.description.lineFlags = 0x20;
    file.description.flushLength = 80;
    FileProgram program("WRITER", {&file});
    run(program, [&] {
      ASSERT_EQ(program.open(output), "00");
      EXPECT_EQ(program.write(std::string(80, 'x')), flushed ? "30" : "00");
      EXPECT_EQ(program.fcb().recordState, flushed ? 4 : 0x40);
      EXPECT_EQ(program.close(), "30");
      EXPECT_EQ(program.fcb().openState, 0);
      ASSERT_EQ(program.open(output), "00");
      std::string status = "00";
      for (int record = 0; record < 10'000 && status == "00"; ++record)
        status = program.write(std::string(80, 'x'));
      EXPECT_EQ(status, "30") << "a buffer's worth of records must have met the disk";
      EXPECT_EQ(program.close(), "30");
    });
  }
}

TEST_F(LineSequential, UnreadableFile) {
  File file("/proc/self/mem");
  FileProgram program("READER", {&file});
  run(program, [&] {
    ASSERT_EQ(program.open(input), "00");
    EXPECT_EQ(program.read(), "30");
    program.close();
  });
}

}  // namespace
