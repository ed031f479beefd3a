// EXTERNAL items, commands of the operating system, and the registry.

#include "program/modules.h"
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
  const std::string show = "\"" + folder.path + "\\with a blank/show\"", longest(510 - show.size(), 'a');
  for (const auto& [line, shown] : {std::pair{show, std::string("[]7")},
                                    {show + " a  \"b  c\"d $HOME;*'`x`", "[a][\"b  c\"d][$HOME;*'`x`]7"},
                                    {folder.path + "/wi\"th a bl\"ank/show x  ", "[x][]7"},
                                    {show + " " + longest, "[" + longest + "]7"},
                                    {"true", "0"},
                                    {folder.path + "/killed", "137"},
                                    {show + " a" + longest, "-1"},
                                    {show + " 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20", "-1"},
                                    {" true", "-1"},
                                    {"", "-1"},
                                    {folder.path + "/none", "-1"},
                                    {folder.path + "/text", "-1"}}) {
    const auto run = [&line = line] { printf("%d", int(_qrtcSystem(line.c_str()))); };
    EXPECT_EQ(inChild(run).out, shown) << line;
  }
}

TEST(Registry, Values) {
  const Folder folder;
  const std::string longest(255, 'v'), user = "HKEY_CURRENT_USER", machine = "HKEY_LOCAL_MACHINE";
  folder.addText(machine + "/Software/sub/Value", "text of it\nmore\n");
  folder.addText("HKEY_USERS/at top", "no line end");
  folder.addText(user + "/k/longest", longest + "\n");
  folder.addText(user + "/k/longer", longest + "v\n");
  folder.addText(user + "/k/huge", std::string(100000, 'v'));
  folder.addText("HKEY_OTHER/k/v", "x");
  folder.addText(".config/qrtrlib/registry/HKEY_USERS/k/v", "at home\n");
  setenv("QRT_REGISTRY", folder.path.c_str(), 1);
  setenv("HOME", folder.path.c_str(), 1);
  const std::string untouched(QRT_REGISTRY_RESULT, '#');
  const auto expect = [&](const std::string& key, const std::string& value) {
    const auto read = [&](uint8_t* result) {
      auto* const text = reinterpret_cast<char*>(result);
      EXPECT_EQ(_qrtcRegistry(key.c_str(), text), value != untouched ? text : nullptr) << key;
    };
    EXPECT_EQ(itemAfter(QRT_REGISTRY_RESULT, read).c_str(), value) << key;
  };
  expect(machine + "#Software\\sub#Value", "text of it");
  expect(machine + "#Software/sub\\#Value", "text of it");
  expect("HKEY_USERS##at top", "no line end");
  expect(user + "#k#longest", longest);
  for (const std::string& key :
       {user + "#k#longer", user + "#k#huge", machine + "#Software#sub", machine + "#Software#value",
        machine + "#Software", machine + "#..\\HKEY_OTHER\\k#v", machine + "#Software#../../HKEY_OTHER/k/v",
        "HKEY_USERS#" + std::string(9000, 'k') + "#v", std::string("HKEY_OTHER#k#v"), std::string()})
    expect(key, untouched);
  unsetenv("QRT_REGISTRY");
  expect("HKEY_USERS#k#v", "at home");
}

}  // namespace
