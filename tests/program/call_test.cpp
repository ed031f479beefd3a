// CALL of names and CANCEL: where programs are found, and what becomes of those that aren't.
#include <dlfcn.h>
#include <qrtrlib.h>
#include <string.h>

#include "program/modules.h"
#include "support/allocation.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

constexpr QrtCallTable noTable = {};

// A call table as a compiler lays it out; the names' texts stand one behind the other.
struct Table {
  std::vector<uint32_t> words;

  Table(const std::vector<std::pair<int32_t, std::string>>& rows) : words{uint32_t(rows.size())} {
    std::string texts;
    for (const auto& [index, name] : rows) {
      words.insert(words.end(), {uint32_t(index), 0xEEEEEEEE, uint32_t(texts.size())});
      texts += name;
    }
    const size_t end = words.size();
    words.resize(end + texts.size() / 4 + 1);
    memcpy(&words[end], texts.data(), texts.size());
  }
  const QrtCallTable* record() const { return reinterpret_cast<const QrtCallTable*>(words.data()); }
};

uint64_t callOf(Program& caller, const std::string& name, uint32_t& exceptions,
                const QrtCallTable* table = &noTable, const uint64_t* results = nullptr) {
  return _qrtDynLd(table, int32_t(name.size()), name.data(), &caller.block, results, &exceptions);
}

// What the program at that address returns; -1 for none.
int32_t resultOf(uint64_t address) {
  return address != 0 ? reinterpret_cast<int32_t (*)()>(uintptr_t(address))() : -1;
}

int32_t cancelOf(Program& caller, const std::string& name, const QrtCallTable* table = &noTable) {
  return _qrtCancel(table, int32_t(name.size()), name.data(), &caller.block);
}

// One CALL in a run of its own, in the folder "here", with COBPATH "first;second": a module, a text under a
// module's name and the like lie in them.
TEST(Call, Search) {
  const Folder folder;
  for (const char* part : {"here", "first", "second"})
    std::filesystem::create_directory(folder.path + "/" + part);
  folder.addModule("here/P0.dll");
  folder.addText("first/P0.dll");
  const std::string one = routineName(1), two = routineName(2);
  folder.addModule("second/" + one + ".dll");
  folder.addText("first/" + two + ".dll");
  folder.addModule("second/" + two + ".dll");
  folder.addModule("second/" + two + ".qmccob");
  folder.addText("first/" + one + ".qmccob");
  folder.addModule("first/WITHOUT.dll");
  std::filesystem::create_directory(folder.path + "/first/FOLDER.dll");

  const std::string path = folder.path + "/first;;" + folder.path + "/second/";
  const struct {
    std::string name;
    bool fold, hosted;
    int32_t result;
    std::string message;  // "" for none
  } rows[] = {
      {"P0", false, false, 0, ""},
      {"P0   ", false, false, 0, ""},
      {"p0 ", true, false, 0, ""},
      {"p0", false, false, -1, "file p0.dll is neither"},
      {one, false, false, 1, ""},
      {one, false, true, 1, ""},  // a text as NAME.qmccob gives no module
      {two, false, false, -1,
       "cannot be loaded from " + folder.path + "/first/" + two + ".dll (system error 193)"},
      {two, false, true, 2, ""},
      {"WITHOUT", false, false, -1, "WITHOUT has no entry of that name (system error 127)"},
      {"FOLDER", false, false, -1, "file FOLDER.dll is neither"},
      {"NONE", false, false, -1, "CALL of program NONE: file NONE.dll is neither"},
      {"   ", false, false, -1, "the program name is blank"},
      {"", true, false, -1, "the program name is blank"},
      {std::string(4000, 'A'), false, false, -1, "CALL of program " + std::string(160, 'A')},
  };
  for (const auto& row : rows)
    for (const uint32_t phrase : {0u, 5u}) {
      const Ended ended = inChild([&] {
        setenv("COBPATH", path.c_str(), 1);
        std::filesystem::current_path(folder.path + "/here");
        Program main("MAIN");
        main.block.flags = row.fold ? QRT_PROGRAM_FOLD_NAMES : 0;
        if (row.hosted)
          _qrt_cpm_init(
              +[](int32_t, const char*, const char* text, int32_t length) -> int32_t {
                return int32_t(fwrite(text, 1, size_t(length), stderr));
              },
              nullptr);
        uint32_t exceptions = phrase;
        run(main, [&] {
          const int32_t result = resultOf(callOf(main, row.name, exceptions));
          printf("%d ", result);
          if (result >= 0) unsetenv("COBPATH");
          if (result >= 0) printf("%d ", resultOf(callOf(main, row.name, exceptions)));
        });
        printf("%d", int(exceptions));
      });
      const std::string shown = std::to_string(row.result) + " ";
      if (row.message.empty()) {
        EXPECT_EQ(ended.out + ended.err, shown + shown + std::to_string(phrase)) << row.name;
      } else if (phrase != 0) {
        EXPECT_EQ(ended.out + ended.err, shown + std::to_string(phrase + 1)) << row.name;
      } else {
        std::string text;  // wrapped lines joined again
        for (const char letter : ended.err)
          if (letter != '\n' && (letter != ' ' || !text.ends_with(' ')))
            text += letter;
          else if (!text.ends_with(' '))
            text += ' ';
        EXPECT_NE(text.find(row.message.substr(0, 60)), std::string::npos) << row.name << ended.err;
        EXPECT_TRUE(ended.err.starts_with("QRT096") && ended.exitCode == 3) << ended.err;
      }
    }
  const Ended ended = inChild([] {
    unsetenv("COBPATH");
    Program main("MAIN");
    run(main, [&] {
      uint32_t exceptions = 0;
      callOf(main, "P0", exceptions);
    });
  });
  EXPECT_NE(ended.err.find("P0: COBPATH is not set"), std::string::npos);
}

TEST(Call, NamesThatAreKnown) {
  Program main("MAIN", 2), called("CALLED");
  const uint64_t results[] = {0x100000000, 0, 0x20};
  const Table table({{3, "INNER"}, {2, "CALLED"}, {2, "OTHER"}});
  int entry = 0;
  called.entries[0].entryPoint = &entry;
  run(main, [&] {
    _qrtPgmInit(&called.block);
    _qrtPgmTerm(&called.block);
    uint32_t exceptions = 1;
    const auto call = [&](const std::string& name) {
      return callOf(main, name, exceptions, table.record(), results);
    };
    EXPECT_EQ(call("INNER  "), 0x100000000u);
    EXPECT_EQ(call("OTHER"), 0x20u);
    EXPECT_EQ(call("OTH"), 0x20u);
    EXPECT_EQ(call("CALLED"), reinterpret_cast<uintptr_t>(&entry));  // not resolved in the table
    EXPECT_EQ(call("MAIN"), 0u);                                     // entered by a null address
    EXPECT_EQ(exceptions, 1u);
    EXPECT_EQ(call("OTHERWISE"), 0u);
    EXPECT_EQ(exceptions, 2u);

    // 160 bytes count, and of these the blanks at their end don't.
    const std::string longest(160, 'L'), cut(158, 'C');
    for (const std::string& name : {longest, cut})
      _qrtCreateInsertPLLE(name.data(), uint32_t(name.size()), &entry, nullptr);
    EXPECT_EQ(call(longest + "ZZ"), reinterpret_cast<uintptr_t>(&entry));
    EXPECT_EQ(call(cut + "  ZZ"), reinterpret_cast<uintptr_t>(&entry));

    EXPECT_EQ(_qrtSrchCancall(table.record(), 5, "INNER", main.entries.data()), &main.entries[2]);
    EXPECT_EQ(_qrtSrchCancall(table.record(), 6, "INNER ", main.entries.data()), nullptr);
  });
}

TEST(Cancel, OfProgramsInTableAndRunUnit) {
  Program main("MAIN", 2), called("CALLED", 1);
  const Table table({{3, "INNER"}});
  main.block.flags = QRT_PROGRAM_FOLD_NAMES;
  run(main, [&] {
    _qrtPgmInit(&called.block);
    for (Program* program : {&main, &called})
      for (QrtProgramEntry& entry : program->entries) entry.stateFlags = QRT_ENTRY_NOT_INITIAL | 1;
    _qrtCreateInsertPLLE("UNBOUND", 7, nullptr, nullptr);
    for (const char* unknown : {"UNKNOWN", "UNBOUND", "", "  ", "INNERMOST"})
      EXPECT_EQ(cancelOf(main, unknown, table.record()), 0);
    EXPECT_EQ(cancelOf(main, "called  "), 1);  // active
    EXPECT_EQ(called.entries[1].stateFlags, QRT_ENTRY_NOT_INITIAL | 1);
    _qrtPgmTerm(&called.block);
    called.entries[1].activeCount = 7;
    EXPECT_EQ(cancelOf(main, "called  "), 0);
    for (const QrtProgramEntry& entry : called.entries)
      EXPECT_TRUE(entry.activeCount == 0 && entry.stateFlags == 1);
    EXPECT_EQ(cancelOf(main, "inner", table.record()), 0);
    EXPECT_EQ(main.entries[2].stateFlags, 1u);
    EXPECT_EQ(main.entries[0].stateFlags, QRT_ENTRY_NOT_INITIAL | 1);
  });
}

// A module stays through CANCEL to the end of its run unit; one that memory is short for doesn't stay.
TEST(Call, ModulesAndMemory) {
  const Folder folder;
  folder.addModule("P0.dll");
  setenv("COBPATH", folder.path.c_str(), 1);
  const auto isLoaded = [&] {
    void* module = dlopen((folder.path + "/P0.dll").c_str(), RTLD_NOW | RTLD_NOLOAD);
    return module != nullptr && dlclose(module) == 0;
  };
  for (int32_t n = 0, requests = 0; n <= (canFailAllocations ? requests : 0); ++n) {
    Program main("MAIN");
    run(main, [&] {
      uint32_t exceptions = 1;
      uint64_t address;
      {
        const FailingAllocation failing(n);
        address = callOf(main, "P0", exceptions);
        if (n == 0) requests = failing.requests();
      }
      EXPECT_EQ(exceptions, address != 0 ? 1u : 2u);
      EXPECT_EQ(isLoaded(), address != 0) << n;
      EXPECT_TRUE(n > 0 || address != 0);
      EXPECT_EQ(cancelOf(main, "P0"), 0);
      EXPECT_EQ(isLoaded(), address != 0) << n;
    });
    EXPECT_FALSE(isLoaded());
  }
  unsetenv("COBPATH");
}

}  // namespace
