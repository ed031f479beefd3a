// Indexed files when things go wrong: writers that are killed, other users of the file, full disks, foreign
// files, memory that runs out.
#include <sys/resource.h>
#include <time.h>

#include <map>

#include "indexed_program.h"

using namespace qrt::test;

namespace {

struct IndexedFaults : InFolder {
  ~IndexedFaults() override { unsetenv("QRT_INDEXED_COMMIT"); }
};

const std::vector<QrtFileKey> twoKeys = {{0, 6, 0, {}}, {6, 2, QRT_KEY_DUPLICATES, {}}};
constexpr uint32_t length = 200;
constexpr uint8_t organizations[] = {QRT_ORGANIZATION_SEQUENTIAL, QRT_ORGANIZATION_RELATIVE,
                                     QRT_ORGANIZATION_INDEXED};

struct Customers : IndexedFile {
  explicit Customers(uint8_t access = QRT_ACCESS_DYNAMIC, const std::string& name = "customers")
      : IndexedFile(name, access, length, twoKeys) {}
};

std::string customer(uint32_t number, uint32_t group, uint32_t version) {
  char key[32];
  snprintf(key, sizeof(key), "%06u%02u", number, group);
  std::string record = key + std::to_string(number * 1000 + version);
  record.resize(length, '.');
  return record;
}

using Customer = std::map<std::string, std::string>;  // records by prime key

// The n-th statement of a run that writes, rewrites and deletes, and what is in the file after it.
std::string performStatement(IndexedProgram& program, uint32_t n) {
  const uint32_t number = n / 3;
  switch (n % 3) {
    case 0:
      return program.write(customer(number, number % 7, 0));
    case 1:
      return program.rewrite(customer(number / 2, n % 5, n));
    default:
      program.place(customer(number * 5 / 8, 0, 0));
      return number % 4 == 3 ? program.remove() : "00";
  }
}
void expectStatement(Customer& records, uint32_t n) {
  const uint32_t number = n / 3;
  const auto key = [](uint32_t of) { return customer(of, 0, 0).substr(0, 6); };
  if (n % 3 == 0) records[key(number)] = customer(number, number % 7, 0);
  if (n % 3 == 1 && records.contains(key(number / 2)))
    records[key(number / 2)] = customer(number / 2, n % 5, n);
  if (n % 3 == 2 && number % 4 == 3) records.erase(key(number * 5 / 8));
}

// What a program finds in the file by one of its keys.
Customer contentBy(uint8_t key) {
  Customer found;
  Customers file;
  IndexedProgram program("MAIN", {&file});
  run(program, [&] {
    EXPECT_EQ(program.open(input), "00");
    memset(program.fcb().record, 0, length);
    program.startBy(key, QRT_START_NOT_LESS);
    while (program.readNext() < "10") found[program.taken().substr(0, 6)] = program.taken();
    EXPECT_EQ(program.close(), "00");
  });
  return found;
}

// Performs statements without end.
void performAll(std::atomic<uint32_t>& done) {
  Customers file;
  IndexedProgram program("MAIN", {&file});
  run(program, [&] {
    program.open(output);
    program.close();
    program.open(inputOutput);
    for (;; ++done) performStatement(program, done);
  });
}

TEST_F(IndexedFaults, AKilledWriterLeavesWholeBursts) {
  for (uint32_t round = 0; round < 100 && !HasFailure(); ++round) {
    const uint32_t burst = round % 2 == 0 ? 1 : 40;
    setenv("QRT_INDEXED_COMMIT", std::to_string(burst).c_str(), 1);
    const Worker worker(performAll);
    worker.await(1 + round * 3);
    usleep(round * 13 % 211);
    const uint32_t done = worker.kill();
    EXPECT_EQ(queryOn("customers", "PRAGMA integrity_check"), "ok");
    const Customer found = contentBy(0);
    EXPECT_EQ(contentBy(1), found);
    // The file is as some statement has left it, a burst, in which not each statement changes it, ahead of
    // the last one at most.
    const uint32_t window = burst == 1 ? 0 : 2 * burst;
    Customer expected;
    bool met = false;
    for (uint32_t n = 0; n <= done + 1 && !met; ++n) {
      met = n + window >= done && expected == found;
      expectStatement(expected, n);
    }
    EXPECT_TRUE(met) << "after " << done << " statements in bursts of " << burst;
  }
}

// Processor time of reading records of one alternate key and rewriting each: a loop that finds its place anew
// with every READ.
clock_t timeOfRewriting(uint32_t records) {
  Customers file;
  IndexedProgram program("MAIN", {&file});
  clock_t start = 0;
  run(program, [&] {
    program.open(output);
    for (uint32_t number = 0; number < records; ++number) program.write(customer(number, 1, 0));
    program.close();
    program.open(inputOutput);
    start = clock();
    program.place("01", 6);
    EXPECT_EQ(program.startBy(1, QRT_START_EQUAL), "00");
    uint32_t number = 0;
    for (; program.readNext() < "10"; ++number) EXPECT_LT(program.rewrite(customer(number, 1, 1)), "10");
    EXPECT_EQ(number, records);
    start = clock() - start;
    program.close();
  });
  return start;
}

TEST_F(IndexedFaults, AmongEqualKeysAPlaceIsSoughtNotWalkedTo) {
  EXPECT_LT(timeOfRewriting(8000), 24 * timeOfRewriting(1000));
}

TEST_F(IndexedFaults, OneWriterAndManyReaders) {
  setenv("QRT_INDEXED_COMMIT", "1", 1);
  Customers writer, reader(QRT_ACCESS_SEQUENTIAL);
  IndexedProgram program("MAIN", {&writer, &reader});
  run(program, [&] {
    EXPECT_EQ(program.open(output), "00");
    EXPECT_EQ(program.write(customer(1, 1, 0)), "00");
    EXPECT_EQ((Texts{program.open(input, 1), program.read(1)}), (Texts{"00", "00"}));
    EXPECT_EQ(program.record(1), customer(1, 1, 0));
    EXPECT_EQ(program.write(customer(2, 1, 0)), "02");
    // Neither lock nor log of the writer is lost when a reader closes.
    EXPECT_EQ(program.close(0, 1), "00");
    EXPECT_EQ(inChild([] {
                Customers file;
                IndexedProgram other("OTHER", {&file});
                run(other, [&] {
                  const bool refused = other.open(inputOutput) == "61";
                  other.open(input);
                  other.place(customer(2, 0, 0));
                  const bool found = other.readBy(0) == "00" && other.record() == customer(2, 1, 0);
                  _exit(refused && found ? 5 : 6);
                });
              }).exitCode,
              5);
    EXPECT_EQ(program.close(), "00");
  });
}

TEST_F(IndexedFaults, EveryOrganizationHasOneWriter) {
  for (const uint8_t organization : organizations) {
    Customers first(QRT_ACCESS_SEQUENTIAL), second(QRT_ACCESS_SEQUENTIAL);
    first.description.organization = second.description.organization = organization;
    IndexedProgram program("MAIN", {&first, &second});
    std::filesystem::remove("customers");
    run(program, [&] {
      for (const uint16_t mode : {output, extend, inputOutput}) {
        program.open(output);
        program.write(customer(1, 1, 0));
        program.close();
        ASSERT_EQ(program.open(mode), "00");
        for (const uint16_t other : {output, extend, inputOutput}) {
          EXPECT_EQ(program.open(other, 1), "61");
          EXPECT_EQ(second.extendedArea.text().substr(0, 7), "000032 ");
        }
        EXPECT_EQ(program.open(input, 1), "00");
        EXPECT_EQ(program.read(1), mode == output ? "10" : "00");
        program.close(0, 1);
        program.close();
        EXPECT_EQ(program.open(extend, 1), "00");
        program.write(customer(2, 1, 0), 1);
        program.close(0, 1);
        // Who reads a plain file keeps the one that is replaced.
        program.open(input, 1);
        program.open(output);
        EXPECT_EQ(program.read(1), organization != QRT_ORGANIZATION_INDEXED ? "00" : "10");
        program.close();
        program.close(QRT_CLOSE_LOCK, 1);
        EXPECT_EQ(program.open(input, 1), "38");
        second.own.lastCloseFlags = second.own.closeFlags = 0;
        second.own.openRoutine = _qrtGenericOpen;
      }
    });
  }
}

// A disk that is full at a WRITE, and one at the commit of CLOSE; what was committed stays.
TEST_F(IndexedFaults, AFullDiskIsAStatus) {
  for (const uint32_t burst : {10u, 1'000'000u}) {
    setenv("QRT_INDEXED_COMMIT", std::to_string(burst).c_str(), 1);
    const Ended ended = inChild([] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit limit = {200'000, 200'000};
      Customers file(QRT_ACCESS_RANDOM);
      IndexedProgram program("MAIN", {&file});
      run(program, [&] {
        program.open(output);
        setrlimit(RLIMIT_FSIZE, &limit);
        std::string status;
        uint32_t number = 0;
        do status = program.write(customer(number, 0, 0));
        while (status < "10" && ++number < 2000);
        const std::string extended = file.extendedArea.text().substr(0, 6);
        printf("%s %s %s %u", status.c_str(), extended.c_str(), program.close().c_str(), number);
        fflush(stdout);
        _exit(0);
      });
    });
    EXPECT_EQ(ended.out.substr(0, 13), burst == 10 ? "24 000112 00 " : "02 000002 34 ");
    EXPECT_EQ(queryOn("customers", "PRAGMA integrity_check"), "ok");
    const auto stored = static_cast<uint32_t>(contentBy(0).size());
    const auto told = static_cast<uint32_t>(atoi(ended.out.substr(13).c_str()));
    EXPECT_GE(stored + burst, told);
    EXPECT_LE(stored, told);
  }
}

// Opens the file anew in the given mode and returns FILE STATUS, with the first of the extended status.
std::string openedAs(uint16_t mode, IndexedFile& file) {
  std::string statuses;
  IndexedProgram program("MAIN", {&file});
  run(program, [&] {
    statuses = program.open(mode);
    statuses += " " + file.extendedArea.text().substr(0, 6);
    if (statuses < "10") program.close();
  });
  return statuses;
}

TEST_F(IndexedFaults, AttributesAreThoseOfTheFile) {
  for (const uint8_t organization : organizations) {
    std::filesystem::remove("customers");
    Customers file(QRT_ACCESS_SEQUENTIAL);
    file.description.organization = organization;
    file.makeVariable(10);
    EXPECT_EQ(openedAs(output, file), "00 000000");
    // One attribute differs at a time.
    const auto expectConflict = [&](auto& attribute, auto value) {
      std::swap(attribute, value);
      for (const uint16_t mode : {input, extend}) EXPECT_EQ(openedAs(mode, file), "39 000039");
      std::swap(attribute, value);
    };
    for (const uint32_t other : {length - 1, length + 1, 0u})
      expectConflict(file.description.maxRecord, other);
    expectConflict(file.description.minRecord, 9u);
    expectConflict(file.description.recordFormat, uint8_t{QRT_RECORD_FIXED});
    for (const uint8_t other : std::initializer_list<uint8_t>{0x00, 0x10, 0x20, 0x30})
      if (other != organization) expectConflict(file.description.organization, other);
    if (organization == QRT_ORGANIZATION_INDEXED) {
      expectConflict(file.description.keyCount, 1u);
      expectConflict(file.keyTable[0].length, 5u);
      expectConflict(file.keyTable[1].offset, 7u);
      expectConflict(file.keyTable[1].flags, uint8_t{0});
      expectConflict(file.keyTable[1].length, length);
    }
    EXPECT_EQ(openedAs(input, file), "00 000000");
    file.description.maxRecord = length - 1;
    EXPECT_EQ(openedAs(output, file), "00 000000") << "OUTPUT makes the file anew";
  }
}

TEST_F(IndexedFaults, OtherFilesAreRefused) {
  Customers file;
  EXPECT_EQ(openedAs(inputOutput, file).substr(0, 2), "35");
  EXPECT_EQ(openedAs(input, file).substr(0, 2), "35");
  file.description.attributes |= QRT_FILE_OPTIONAL;
  EXPECT_EQ(openedAs(input, file).substr(0, 2), "05");
  EXPECT_FALSE(std::filesystem::exists("customers"));
  EXPECT_EQ(openedAs(inputOutput, file).substr(0, 2), "05");
  EXPECT_EQ(openedAs(inputOutput, file).substr(0, 2), "00");
  file.description.attributes &= ~QRT_FILE_OPTIONAL;

  queryOn("customers", "PRAGMA user_version=2");
  for (const uint16_t mode : {input, inputOutput, output}) EXPECT_EQ(openedAs(mode, file), "39 000039");
  makeFile("text", std::string(5000, 'x'));
  makeFile("empty", "");
  EXPECT_EQ(queryOn("foreign", "SELECT 1"), "unable to open database file");
  makeFile("foreign", "");
  queryOn("foreign", "CREATE TABLE t(x)");
  const std::string foreign = contentOf("foreign");
  const struct {
    const char* name;
    std::string readStatus, replaceStatus;
  } others[] = {{"text", "39", "00"}, {"empty", "35", "00"}, {"foreign", "39", "39"}, {".", "37", "37"}};
  for (const auto& other : others) {
    Customers otherFile(QRT_ACCESS_DYNAMIC, other.name);
    EXPECT_EQ(openedAs(input, otherFile).substr(0, 2), other.readStatus) << other.name;
    EXPECT_EQ(openedAs(inputOutput, otherFile).substr(0, 2), other.readStatus) << other.name;
    EXPECT_EQ(openedAs(output, otherFile).substr(0, 2), other.replaceStatus) << other.name;
  }
  EXPECT_EQ(contentOf("foreign"), foreign);
}

// With each request for memory that fails in turn a verb fails, and nothing is left open or lost.
TEST_F(IndexedFaults, MemoryThatRunsOutIsAStatus) {
  if (!canFailAllocations) GTEST_SKIP();
  for (const uint8_t organization : organizations) {
    Customers file(QRT_ACCESS_SEQUENTIAL);
    file.description.organization = organization;
    IndexedProgram program("MAIN", {&file});
    std::filesystem::remove("customers");
    run(program, [&] {
      program.open(output);
      program.write(customer(1, 1, 0));
      program.close();
      QrtFcb& fcb = program.fcb();
      const int32_t before = liveBlocks();
      bool failed = true;
      for (int32_t n = 1; failed && n < 3000; n += n < 200 ? 1 : 7) {
        {
          const FailingAllocation failing(n);
          fcb.openRequest = inputOutput;
          fcb.openRoutine(&fcb, program.entries.data());
          if (fcb.openState != 0)
            for (const QrtFileRoutine verb : {fcb.readRoutine, fcb.rewriteRoutine, fcb.closeRoutine})
              verb(&fcb, program.entries.data());
          failed = failing.hasFailed();
        }
        if (organization != QRT_ORGANIZATION_INDEXED) {
          EXPECT_EQ(fcb.status, failed ? 30 : 0);
          EXPECT_EQ(liveBlocks(), before);
        }
        EXPECT_EQ(fcb.openState, 0) << n;
      }
      EXPECT_FALSE(failed);
      EXPECT_EQ((Texts{program.open(inputOutput), program.read(), program.close()}),
                (Texts{"00", "00", "00"}));
      EXPECT_EQ(program.record(), customer(1, 1, 0));
    });
  }
  EXPECT_EQ(queryOn("customers", "PRAGMA integrity_check"), "ok");
}

}  // namespace
