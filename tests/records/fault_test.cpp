// What goes wrong around plain record files: disks that fill up, processes that are killed or run at once.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <chrono>

#include "record_program.h"

using namespace qrt::test;

namespace {

struct Faults : InFolder {};

constexpr uint32_t large = 20'000;  // bytes of a record over several pages
constexpr uint32_t small = 2'000;   // of one that mostly lies in one
constexpr uint32_t numbers = 8;     // records of a file to start from

uint32_t recordLength = large;

std::string uniform(char letter) {
  return std::string(recordLength, letter);
}

// A record is of one piece when all its bytes are the same.
bool isWhole(const std::string& record) {
  return record.find_first_not_of(record.empty() ? ' ' : record[0]) == std::string::npos;
}

// What one kind of file is, and what a process does to it without end.
struct Work {
  const char* what;
  uint8_t organization, access;
  bool variable;
  uint16_t mode;
  void (*once)(RecordProgram& program, uint32_t turn);
  bool keeps;  // all records of the start stay
};

char letterOf(uint32_t turn) {
  return static_cast<char>('a' + turn % 26);
}

constexpr uint8_t relative = QRT_ORGANIZATION_RELATIVE;
constexpr uint8_t sequential = QRT_ORGANIZATION_SEQUENTIAL;

void readAndRewrite(RecordProgram& program, uint32_t turn) {
  if (program.read() == "00") {
    program.rewrite(uniform(letterOf(turn)));
  } else {
    program.close();
    program.open(inputOutput);
  }
}

void writeAndReopen(RecordProgram& program, uint32_t turn) {
  constexpr uint32_t enough = 500;  // a file that a reader can come to the end of
  if (turn >= enough) usleep(100);
  if (turn >= enough) return;
  program.write(uniform(letterOf(turn)));
  if (turn % 16 != 0) return;
  program.close();
  program.open(extend);
}

void makeAgain(RecordProgram& program, uint32_t turn) {
  program.write(uniform(letterOf(turn)));
  program.close();
  program.open(output);
}

void changeByKey(RecordProgram& program, uint32_t turn) {
  QrtRelativeKey& key = static_cast<RecordFile*>(program.described[0])->key;
  key.value = 1 + turn % numbers;
  if (program.remove() == "23") program.write(uniform(letterOf(turn)));
  key.value = 1 + (turn + 3) % numbers;
  program.rewrite(uniform(letterOf(turn)));
}

const Work works[] = {
    {"WRITE", sequential, QRT_ACCESS_SEQUENTIAL, false, extend, writeAndReopen, true},
    {"WRITE variable", sequential, QRT_ACCESS_SEQUENTIAL, true, extend, writeAndReopen, true},
    {"REWRITE", sequential, QRT_ACCESS_SEQUENTIAL, false, inputOutput, readAndRewrite, true},
    {"REWRITE variable", sequential, QRT_ACCESS_SEQUENTIAL, true, inputOutput, readAndRewrite, true},
    {"OPEN OUTPUT", sequential, QRT_ACCESS_SEQUENTIAL, true, output, makeAgain, false},
    {"relative WRITE", relative, QRT_ACCESS_SEQUENTIAL, true, extend, writeAndReopen, true},
    {"relative REWRITE", relative, QRT_ACCESS_SEQUENTIAL, true, inputOutput, readAndRewrite, true},
    {"relative by key", relative, QRT_ACCESS_DYNAMIC, true, inputOutput, changeByKey, false},
};

// A file of `work`'s kind with its start in it, and its program.
struct Scene {
  RecordFile file, reading;
  RecordProgram program;

  explicit Scene(const Work& work)
      : file("data", work.organization, work.access, recordLength),
        reading("data", work.organization, QRT_ACCESS_SEQUENTIAL, recordLength),
        program("MAIN", {&file, &reading}) {
    if (work.variable) file.makeVariable(0), reading.makeVariable(0);
  }
  void begin() {
    program.open(output);
    for (uint32_t number = 1; number <= numbers; ++number) {
      file.key.value = number;
      program.write(uniform('A'));
    }
    program.close();
  }
};

// What a process does without end.
auto endless(Scene& scene, const Work& work) {
  return [&](std::atomic<uint32_t>& turns) {
    scene.program.open(work.mode);
    for (;; ++turns) work.once(scene.program, turns);
  };
}

// Reads the file through; the number of records, or -1 for one that isn't whole or a READ that fails.
int recordsOf(Scene& scene, uint16_t mode) {
  RecordProgram& program = scene.program;
  EXPECT_EQ(program.open(mode, 1), "00");
  std::string status;
  int count = 0;
  while ((status = program.read(1)) == "00" && isWhole(program.taken(1))) ++count;
  EXPECT_EQ(program.close(0, 1), "00");
  return status == "10" ? count : -1;
}

TEST_F(Faults, KilledInTheMiddleOfEachVerb) {
  std::mt19937 random(9);
  for (const Work& work : works)
    for (int time = 0; time < 14; ++time) {
      SCOPED_TRACE(testing::Message() << work.what << " " << time);
      Scene scene(work);
      run(scene.program, [&] {
        scene.begin();
        const Worker worker(endless(scene, work));
        worker.await(1);
        usleep(random() % 3000);
        worker.kill();
        // As a reader finds it; after the next writer has put it in order; and with what that one does.
        const int count = recordsOf(scene, input);
        EXPECT_GE(count, work.keeps ? static_cast<int>(numbers) : 0);
        EXPECT_EQ(recordsOf(scene, inputOutput), count);
        scene.program.open(work.mode);
        for (uint32_t turn = 1; turn < 4; ++turn) work.once(scene.program, turn);
        EXPECT_EQ(scene.program.close(), "00");
        EXPECT_GE(recordsOf(scene, input), work.keeps ? count : 0);
      });
      // One that is killed while it makes a file may leave it under the name that it had until then.
      if (work.mode != output) {
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
      }
      for (const auto& left : std::filesystem::directory_iterator(".")) std::filesystem::remove(left.path());
      if (HasFailure()) return;
    }
}

TEST_F(Faults, ReadersAlwaysSeeWholeRecords) {
  // In memory nothing but the header keeps a read from meeting half of a write.
  if (std::filesystem::exists("/dev/shm")) {
    std::filesystem::remove_all(folder);
    strcpy(folder, "/dev/shm/XXXXXX");
    std::filesystem::current_path(mkdtemp(folder));
  }
  for (const uint32_t length : {large, small})
    for (const Work& work : works) {
      SCOPED_TRACE(testing::Message() << work.what << " of " << length);
      recordLength = length;
      Scene scene(work);
      run(scene.program, [&] {
        scene.begin();
        const Worker worker(endless(scene, work));
        worker.await(1);
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
        while (std::chrono::steady_clock::now() < end) EXPECT_GE(recordsOf(scene, input), 0);
        // Between two of the writer's sessions this one may get the file.
        int tries = 0;
        for (; scene.program.open(extend, 1) != "61" && tries < 100; ++tries)
          scene.program.close(0, 1), usleep(2000);
        EXPECT_LT(tries, 100);
        worker.kill();
      });
    }
  recordLength = large;
}

// The disk that a test may fill: by a limit on the size of files, or a small one of its own where that can be
// had. Call it in a child.
bool fillable(bool own) {
  if (own)
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", ".", "tmpfs", 0, "size=300k") == 0 &&
           chdir(std::filesystem::current_path().c_str()) == 0;
  const rlimit limit = {300'000, RLIM_INFINITY};
  signal(SIGXFSZ, SIG_IGN);
  return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

TEST_F(Faults, FullDisk) {
  for (const bool own : {false, true})
    for (const Work& work : works) {
      if ((work.mode & QRT_OPEN_EXTEND) == 0) continue;
      const Ended ended = inChild([&] {
        if (!fillable(own)) {
          printf("no disk");
          return;
        }
        Scene scene(work);
        RecordProgram& program = scene.program;
        run(program, [&] {
          program.open(output);
          std::string status;
          int written = 0;
          while ((status = program.write(uniform(letterOf(written)))) == "00") ++written;
          const std::string again = program.write(uniform('z'));
          const std::string closed = program.close();
          const int whole = recordsOf(scene, input);
          const bool ordered = program.open(inputOutput) == "00" && program.read() == "00" &&
                               program.rewrite(uniform('R')) != "30" && program.close() == "00";
          printf("%s %s %s %d %d %d", status.c_str(), again.c_str(), closed.c_str(),
                 written >= 13 && written <= 18, whole >= 12 && whole <= written,
                 ordered && recordsOf(scene, input) == whole);
          printf(" %s", scene.file.extendedArea.text().substr(0, 6).c_str());
        });
      });
      const char* const expected =
          work.organization == relative ? "24 24 00 1 1 1 000000" : "34 34 34 1 1 1 000000";
      EXPECT_EQ(ended.out, ended.out == "no disk" ? "no disk" : expected) << work.what << own << ended.err;
    }
}

}  // namespace
