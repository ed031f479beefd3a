// CALL of names and CANCEL: where programs are found, and what becomes of those that aren't.

#include <regex>

#include "program/modules.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// A call table as a compiler lays it out; the names' texts stand one behind the other.
struct Table {
  std::vector<uint32_t> words;

  Table(const std::vector<std::pair<uint32_t, std::string>>& rows) : words{uint32_t(rows.size())} {
    std::string texts;
    for (const auto& [index, name] : rows) {
      words.insert(words.end(), {index, 0xEEEEEEEE, uint32_t(texts.size())});
      texts += name;
    }
    const size_t end = words.size();
    words.resize(end + texts.size() / 4 + 1);
    memcpy(&words[end], texts.data(), texts.size());
  }
  const QrtCallTable* record() const { return reinterpret_cast<const QrtCallTable*>(words.data()); }
};

const Table noTable({});

uint64_t callOf(Program& caller, const std::string& name, uint32_t& exceptions, const Table& table = noTable,
                const uint64_t* results = nullptr) {
  const auto length = int32_t(name.size());
  return _qrtDynLd(table.record(), length, name.data(), &caller.block, results, &exceptions);
}

int32_t cancelOf(Program& caller, const std::string& name, const Table& table = noTable) {
  return _qrtCancel(table.record(), int32_t(name.size()), name.data(), &caller.block);
}

// Programs lie in the current directory "here", and in "first" and "second" of COBPATH. Each is called twice,
// the second time without COBPATH.
TEST(Call, FindsProgramsOrTellsWhyNot) {
  const Folder folder;
  const std::string one = routineName(1), two = routineName(2), cut(160, 'A');
  using Names = std::vector<std::string>;
  for (const std::string& name : Names{"here/P0", "second/" + one, "second/" + two, "first/WITHOUT"})
    folder.addModule(name + ".dll");
  for (const std::string& name : Names{"P0.dll", two + ".dll", one + ".qmccob", "DIR.dll/x"})
    folder.addText("first/" + name);
  folder.addModule("second/" + two + ".qmccob");
  const auto noFile = [](const std::string& name) {
    return "QRT096S CALL of program " + name + ": file " + name +
           ".dll is neither in the current directory nor in one of COBPATH.";
  };
  struct {
    std::string name, seen;  // the latter: both results and the exceptions, or how the message starts
    bool hosted = false;
    uint32_t flags = 0, exceptions = 0;
  } const table[] = {
      {"P0", "0 0 0"},
      {"p0   ", "0 0 0", false, QRT_PROGRAM_FOLD_NAMES},
      {one, "1 1 0"},
      {one, "1 1 0", true},  // a text as NAME.qmccob gives no module
      {two, "2 2 0", true},
      {"NONE", "-1 -1 7", false, 0, 5},
      {" ", "-1 -1 3", false, 0, 1},
      {two, "QRT096S CALL: program " + two + " cannot be loaded from " + folder.path + "/first/" + two +
                ".dll (system error 193)."},
      {"WITHOUT",
       "QRT096S CALL: the module of program WITHOUT has no entry of that name (system error 127)."},
      {"p0", noFile("p0")},
      {"DIR", noFile("DIR")},
      {"NONE  ", noFile("NONE")},
      {cut + cut, "QRT096S CALL of program " + cut.substr(0, 16)},
      {"", "QRT096S CALL: the program name is blank."},
      {"   ", "QRT096S CALL: the program name is blank."},
  };
  for (const auto& row : table) {
    const Ended ended = inChild([&] {
      setenv("COBPATH", (folder.path + "/first;;" + folder.path + "/second/").c_str(), 1);
      std::filesystem::current_path(folder.path + "/here");
      if (row.hosted) _qrt_cpm_init(nullptr, nullptr);
      uint32_t exceptions = row.exceptions;
      Program main("MAIN");
      main.block.flags = row.flags;
      run(main, [&] {
        for (int time = 0; time < 2; ++time) {
          const uint64_t address = callOf(main, row.name, exceptions);
          printf("%d ", address != 0 ? reinterpret_cast<int32_t (*)()>(uintptr_t(address))() : -1);
          unsetenv("COBPATH");
        }
      });
      printf("%d", int(exceptions));
    });
    const std::string seen = std::regex_replace(ended.out + ended.err, std::regex("\\s+"), " ");
    EXPECT_EQ(seen.substr(0, row.seen.size()), row.seen) << row.name;
  }
}

TEST(Call, NamesThatAreKnown) {
  Program main("MAIN", 2), called("CALLED");
  const uint64_t results[] = {0x100000000, 0, 0x20};
  const Table table({{3, "INNER"}, {2, "CALLED"}, {2, "OTHER"}});
  int entry = 0;
  const uint64_t address = reinterpret_cast<uintptr_t>(&entry);
  called.entries[0].entryPoint = &entry;
  run(main, [&] {
    _qrtPgmInit(&called.block);
    _qrtPgmTerm(&called.block);
    // 160 bytes count, and of these the blanks at their end don't.
    const std::string longest(160, 'L'), cut(158, 'C');
    for (const std::string& name : {longest, cut})
      _qrtCreateInsertPLLE(name.data(), uint32_t(name.size()), &entry, nullptr);
    uint32_t exceptions = 1;
    // CALLED isn't resolved in the table; MAIN was entered by a null address.
    for (const auto& [name, expected] : {std::pair<std::string, uint64_t>{"INNER  ", 0x100000000},
                                         {"OTHER", 0x20},
                                         {"OTH", 0x20},
                                         {"CALLED", address},
                                         {"MAIN", 0},
                                         {longest + "ZZ", address},
                                         {cut + "  ZZ", address}})
      EXPECT_EQ(callOf(main, name, exceptions, table, results), expected) << name;
    EXPECT_EQ(exceptions, 1u);
    EXPECT_EQ(callOf(main, "OTHERWISE", exceptions, table, results), 0u);  // COBPATH isn't set
    EXPECT_EQ(exceptions, 2u);
    EXPECT_EQ(_qrtSrchCancall(table.record(), 5, "INNER", main.entries.data()), &main.entries[2]);
    EXPECT_EQ(_qrtSrchCancall(table.record(), 6, "INNER ", main.entries.data()), nullptr);
  });
}

TEST(Cancel, OfProgramsInTableAndRunUnit) {
  Program main("MAIN", 2), called("CALLED", 1);
  const Table table({{3, "INNER"}});
  constexpr uint32_t used = QRT_ENTRY_NOT_INITIAL | 1;
  main.block.flags = QRT_PROGRAM_FOLD_NAMES;
  run(main, [&] {
    _qrtPgmInit(&called.block);
    for (Program* program : {&main, &called})
      for (QrtProgramEntry& each : program->entries) each.stateFlags = used;
    _qrtCreateInsertPLLE("UNBOUND", 7, nullptr, nullptr);
    for (const char* unknown : {"UNKNOWN", "UNBOUND", "", "  ", "INNERMOST"})
      EXPECT_EQ(cancelOf(main, unknown, table), 0);
    EXPECT_EQ(cancelOf(main, "called  "), 1);  // active
    EXPECT_EQ(called.entries[1].stateFlags, used);
    _qrtPgmTerm(&called.block);
    called.entries[1].activeCount = 7;
    EXPECT_EQ(cancelOf(main, "called  ") + cancelOf(main, "inner", table), 0);
    for (const QrtProgramEntry& each : called.entries)
      EXPECT_TRUE(each.activeCount == 0 && each.stateFlags == 1);
    EXPECT_TRUE(main.entries[2].stateFlags == 1 && main.entries[0].stateFlags == used);
  });
}

// A module stays through CANCEL to the end of its run unit; one that memory is short for doesn't stay.
TEST(Call, ModulesAndMemory) {
  const Folder folder;
  folder.addModule("P0.dll");
  setenv("COBPATH", folder.path.c_str(), 1);
  for (int32_t n = 0, requests = 0; n <= (canFailAllocations ? requests : 0); ++n) {
    Program main("MAIN");
    run(main, [&] {
      uint32_t exceptions = 1;
      {
        const FailingAllocation failing(n);
        callOf(main, "P0", exceptions);
        if (n == 0) requests = failing.requests();
      }
      EXPECT_TRUE(n > 0 || exceptions == 1);
      EXPECT_EQ(cancelOf(main, "P0"), 0);
      EXPECT_EQ(folder.isLoaded("P0.dll"), exceptions == 1) << n;
    });
    EXPECT_FALSE(folder.isLoaded("P0.dll"));
  }
  unsetenv("COBPATH");
}

}  // namespace
