// Line sequential files, from OPEN to the bytes on disk and back.
#include <fcntl.h>

#include "file_program.h"

using namespace qrt::test;

namespace {

struct LineSequential : InFolder {
  // Writes records and returns what is on disk then.
  std::string written(const Texts& records) {
    File file("out", 80);
    FileProgram program("WRITER", {&file});
    run(program, [&] {
      EXPECT_EQ(program.open(output), "00");
      for (const std::string& record : records) EXPECT_EQ(program.write(record), "00");
      EXPECT_EQ(program.close(), "00");
    });
    return contentOf("out");
  }

  // Reads a file to its end: each record as the program sees it, with its length; then the closing statuses.
  Texts readBack(const std::string& content, uint32_t length, bool ebcdic = false) {
    makeFile("in", content);
    File file("in", length);
    FileProgram program("READER", {&file});
    if (ebcdic) program.block.flags |= QRT_PROGRAM_EBCDIC;
    Texts records;
    run(program, [&] {
      EXPECT_EQ(program.open(input), "00");
      std::string status;
      while ((status = program.read()) == "00")
        records.push_back(program.record() + std::to_string(file.own.readLength));
      EXPECT_EQ(file.own.record[0], 0);
      file.own.record[0] = 'k';
      records.insert(records.end(), {status, program.read()});
      EXPECT_EQ(file.own.record[0], 'k');
      program.close();
      file.record.text();
    });
    return records;
  }
};

// What READs of a file give, one character after the other.
Texts modelRead(const std::string& content, size_t length) {
  Texts records;
  for (size_t at = 0; at < content.size();) {
    std::string taken;
    while (at < content.size() && taken.size() <= length && (taken.empty() || taken.back() != '\n'))
      taken += content[at++];
    taken = taken.c_str();
    if (!taken.empty() && taken.back() == '\n') taken.pop_back();
    const std::string takenLength = std::to_string(taken.size());
    taken.resize(length, ' ');
    records.push_back(taken + takenLength);
  }
  records.insert(records.end(), {"10", "46"});
  return records;
}

TEST_F(LineSequential, StoresRecordsWithoutTrailingWhiteSpace) {
  EXPECT_EQ(written({"A         ", "", " x \t\r\n\v\f  "}), "A\n\n x\n");
  std::mt19937 random(72);
  for (int round = 0; round < 40; ++round) {
    Texts records(random() % 20);
    std::string content;
    for (std::string& record : records) {
      for (size_t length = random() % 80; length > 0; --length) record += "     \t\fx@"[random() % 9];
      content += record.substr(0, record.find_last_not_of(" \t\f") + 1) + "\n";
    }
    EXPECT_EQ(written(records), content);
  }
}

TEST_F(LineSequential, ReadsLinesAsRecords) {
  // The character at the seam of a long line is lost; a zero byte ends the text of a line.
  EXPECT_EQ(readBack("\nabc\nabcX\nde", 3), (Texts{"   0", "abc3", "abc4", "   0", "de 2", "10", "46"}));
  EXPECT_EQ(readBack({"abc\0de\n", 7}, 3, true), (Texts{"abc3", "de@2", "10", "46"}));
  std::mt19937 random(73);
  for (int round = 0; round < 200; ++round) {
    // Short lines and records, then ones that cross the stream's buffer.
    std::string content;
    const bool large = round % 40 == 0;
    for (size_t lines = random() % (large ? 2000 : 20); lines > 0; --lines)
      content += std::string(random() % (large ? 300 : 14), static_cast<char>(random() % 50)) + "ab c\n";
    if (random() % 2 != 0) content += "last";
    const auto length = static_cast<uint32_t>(1 + random() % (large ? 200 : 12));
    EXPECT_EQ(readBack(content, length), modelRead(content, length)) << "records of " << length;
  }
}

TEST_F(LineSequential, AdvancesAheadOfTheRecord) {
  constexpr uint8_t lines = 0x20, page = 0x24;
  struct {
    uint8_t flags;
    uint32_t count;
    const char *first, *second;  // the file with "x" as its first record, and behind "w"
  } const table[] = {
      {0, 1, "x\n", "w\nx\n"},        {lines, 0, "x\n", "w\rx\n"},
      {lines, 1, "\nx\n", "w\nx\n"},  {lines, 3, "\n\nx\n", "w\n\n\nx\n"},
      {page, 1, "\fx\n", "w\r\fx\n"},
  };
  for (const auto& row : table)
    for (const bool second : {false, true}) {
      File file("out");
      file.description.minRecord = 1;
      FileProgram program("WRITER", {&file});
      run(program, [&] {
        program.open(output);
        if (second) program.write("w");
        for (const char* record : {"", "long record", "x"}) {  // those of a wrong length leave no trace
          file.own.advanceFlags = row.flags;
          file.own.advanceLines = row.count;
          EXPECT_EQ(program.write(record), *record == 'x' ? "00" : "44");
          EXPECT_EQ(file.own.advanceLines, 1u);
        }
        // The flags of the last CLOSE keep neither CANCEL nor the end of the run from closing the file.
        EXPECT_EQ(program.close(QRT_CLOSE_UNIT), "07");
        EXPECT_EQ(file.own.openState, output);
        if (second) _qrtCloseReset(program.entries.data());
        EXPECT_EQ(file.own.openState, second ? 0 : output);
      });
      EXPECT_EQ(contentOf("out"), second ? row.second : row.first) << int(row.flags) << " " << row.count;
    }
}

TEST_F(LineSequential, FlushesWhatItIsAskedTo) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(terminal) | unlockpt(terminal), 0);
  File file("out"), screen(ptsname(terminal));
  file.description.lineFlags = 0x20;
  file.description.flushLength = 3;
  FileProgram program("WRITER", {&file, &screen});
  run(program, [&] {
    for (size_t index : {0, 1}) program.open(output, index);
    for (const char* record : {"abcd", "xyz", "uv"}) program.write(record);
    EXPECT_EQ(contentOf("out"), "abcd\nxyz");
    program.write("hello", 1);
    char seen[16];
    EXPECT_EQ(::read(terminal, seen, sizeof(seen)), 5);
  });
  ::close(terminal);
}

TEST_F(LineSequential, FailuresOfTheSystemAreNeverSilent) {
  File file("/dev/full", 80), unreadable("/proc/self/mem");
  file.description.lineFlags = 0x20;
  FileProgram program("MAIN", {&file, &unreadable});
  const std::string line(80, 'x');
  run(program, [&] {
    for (const bool flushed : {false, true})
      for (const int records : {1, 10'000}) {  // the one waits for CLOSE, a buffer's worth meets the disk
        file.description.flushLength = flushed ? 80 : 0;
        std::string status = program.open(output);
        for (int record = 0; record < records && status == "00"; ++record) status = program.write(line);
        EXPECT_EQ(status, flushed || records > 1 ? "30" : "00");
        EXPECT_EQ(file.own.recordState, flushed ? 4 : 0x40);
        EXPECT_EQ(program.close(), "30");
        EXPECT_EQ(file.own.openState, 0);
      }
    EXPECT_EQ((Texts{program.open(input, 1), program.read(1)}), (Texts{"00", "30"}));
  });
}

}  // namespace
