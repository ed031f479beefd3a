// EXTERNAL items, commands of the operating system, and the registry.
#include <qrtrlib.h>
#include <string.h>

#include "program/modules.h"
#include "support/allocation.h"
#include "support/guards.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// The EXTERNAL items of a program, bound.
struct Items {
  std::vector<QrtExternalItem> rows;
  std::vector<void*> slots;

  Items(const std::vector<std::pair<std::string, uint32_t>>& items) : rows(1), slots(items.size()) {
    rows[0].size = uint32_t(items.size());
    for (const auto& [name, size] : items) {
      rows.push_back({size, ""});
      name.copy(rows.back().name, sizeof rows.back().name);
    }
  }
  void bind() { _qrtExtVarInit(reinterpret_cast<const QrtExternalList*>(rows.data()), slots.data()); }
};

TEST(External, ItemsAreSharedByName) {
  Program main("MAIN");
  Items first({{"A", 100}, {"B", 0}, {std::string(31, 'C'), 8}}), second({{"B", 0}, {"A", 100}}), none({});
  const int32_t before = liveBlocksAfterARun();
  for (const bool hosted : {false, true}) {
    if (hosted) _qrt_cpm_init(nullptr, nullptr);
    run(main, [&] {
      for (Items* items : {&none, &first, &second}) items->bind();
      EXPECT_TRUE(first.slots[0] == second.slots[1] && first.slots[1] == second.slots[0]);
      memset(first.slots[0], 0xEE, 100);
      memset(first.slots[2], 0xEE, 8);
      second.bind();
      EXPECT_EQ(static_cast<uint8_t*>(second.slots[1])[99], 0xEE);
    });
  }
  EXPECT_EQ(liveBlocks(), before);
}

TEST(External, FailuresEndTheRun) {
  Program main("MAIN");
  Items first({{"SHARED", 100}, {"OTHER", 1}}), second({{"SHARED", 101}}), huge({{"HUGE", UINT32_MAX}});
  const auto message = [&](Items& items, int32_t n) {
    const Ended ended = inChild([&] {
      run(main, [&] {
        if (&items != &first) first.bind();
        const FailingAllocation failing(n);
        items.bind();
      });
    });
    EXPECT_EQ(ended.exitCode, ended.err.empty() ? 0 : 3);
    return ended.err.substr(0, 29);
  };
  EXPECT_EQ(message(second, 0), "QRT066S  EXTERNAL item SHARED");
  EXPECT_EQ(message(huge, 0).substr(0, 6), "QRT907");
  for (int32_t n = 1; canFailAllocations && n <= 5; ++n)  // the table, and two for each item
    EXPECT_EQ(message(first, n).substr(0, 6), "QRT907");
  EXPECT_EQ(message(first, 0), "");
}

TEST(System, CommandLines) {
  const Folder folder;
  folder.addText("with a blank/show", "#!/bin/sh\nprintf '[%s]' \"$@\"\nexit 7\n");
  folder.addText("killed", "#!/bin/sh\nkill -9 $$\n");
  folder.addText("text");
  const auto result = [&](const std::string& line) {
    return inChild([&] { printf("%d", int(_qrtcSystem(line.c_str()))); }).out;
  };
  const std::string show = "\"" + folder.path + "\\with a blank/show\"";
  const std::string longest(511 - show.size() - 1, 'a');
  std::string nineteen, shown;
  for (int word = 2; word <= 19; ++word) nineteen += " w", shown += "[w]";
  EXPECT_EQ(result(show), "[]7");
  EXPECT_EQ(result(show + " a  \"b  c\"d $HOME;*'`x`"), "[a][\"b  c\"d][$HOME;*'`x`]7");
  EXPECT_EQ(result(show + " a  "), "[a][]7");
  EXPECT_EQ(result(show + " \"open a "), "[\"open a ]7");
  EXPECT_EQ(result(folder.path + "/wi\"th a bl\"ank/show x"), "[x]7");
  EXPECT_EQ(result(show + nineteen), shown + "7");
  EXPECT_EQ(result(show + " " + longest), "[" + longest + "]7");
  EXPECT_EQ(result("true"), "0");
  EXPECT_EQ(result(folder.path + "/killed"), "137");
  for (const std::string& line :
       {show + " a" + longest, show + std::string(5000, ' '), show + nineteen + " ", std::string(" true"),
        std::string(), folder.path + "/none", folder.path + "/text"})
    EXPECT_EQ(result(line), "-1") << line;
}

TEST(Registry, Values) {
  const Folder folder;
  const std::string longest(255, 'v'), none = "none";
  folder.addText("HKEY_LOCAL_MACHINE/Software/sub/Value", "text of it\nmore\n");
  folder.addText("HKEY_USERS/at top", "no line end");
  folder.addText("HKEY_CURRENT_USER/k/longest", longest + "\n");
  folder.addText("HKEY_CURRENT_USER/k/longer", longest + "v\n");
  folder.addText("HKEY_CURRENT_USER/k/huge", std::string(100000, 'v'));
  folder.addText("HKEY_OTHER/k/v", "x");
  setenv("QRT_REGISTRY", folder.path.c_str(), 1);
  const auto value = [&](const std::string& key) {
    char* found;
    const std::string item = itemAfter(QRT_REGISTRY_RESULT, [&](uint8_t* result) {
      found = _qrtcRegistry(key.c_str(), reinterpret_cast<char*>(result));
      EXPECT_TRUE(found == nullptr || found == reinterpret_cast<char*>(result));
    });
    EXPECT_TRUE(found != nullptr || item == std::string(item.size(), '#')) << key;
    return found != nullptr ? std::string(item.c_str()) : none;
  };
  for (const char* subkey : {"Software\\sub", "Software/sub\\"})
    EXPECT_EQ(value("HKEY_LOCAL_MACHINE#" + std::string(subkey) + "#Value"), "text of it");
  EXPECT_EQ(value("HKEY_USERS##at top"), "no line end");
  EXPECT_EQ(value("HKEY_CURRENT_USER#k#longest"), longest);
  for (const char* key :
       {"HKEY_CURRENT_USER#k#longer", "HKEY_CURRENT_USER#k#huge", "HKEY_OTHER#k#v",
        "HKEY_LOCAL_MACHINE#Software#sub", "HKEY_LOCAL_MACHINE#Software#value", "HKEY_LOCAL_MACHINE#Software",
        "", "HKEY_LOCAL_MACHINE#..\\HKEY_OTHER\\k#v", "HKEY_LOCAL_MACHINE#Software#../../HKEY_OTHER/k/v"})
    EXPECT_EQ(value(key), none) << key;
  EXPECT_EQ(value("HKEY_USERS#" + std::string(9000, 'k') + "#v"), none);
  unsetenv("QRT_REGISTRY");
  setenv("HOME", folder.path.c_str(), 1);
  folder.addText(".config/qrtrlib/registry/HKEY_USERS/k/v", "at home\n");
  EXPECT_EQ(value("HKEY_USERS#k#v"), "at home");
}

TEST(MethodName, EndsAtItsFirstBlank) {
  for (const auto& [source, expected] :
       {std::pair<std::string, std::string>{"NAME    ", "NAME"}, {"FULLNAME", "FULLNAME"}, {" A", ""}}) {
    const std::string name = itemAfter(source.size() + 1, [&, &from = source](uint8_t* item) {
      _qrtMoveMethodName(reinterpret_cast<char*>(item), from.data(), from.size());
    });
    EXPECT_EQ(name.c_str(), expected);
  }
}

}  // namespace
