// EXTERNAL items, commands of the operating system, and the registry.
#include <qrtrlib.h>
#include <string.h>

#include "program/modules.h"
#include "support/allocation.h"
#include "support/guards.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// The EXTERNAL items of a program, bound.
struct Items {
  std::vector<QrtExternalItem> rows;
  std::vector<void*> slots;

  Items(const std::vector<std::pair<const char*, uint32_t>>& items) : rows(1), slots(items.size()) {
    rows[0].size = uint32_t(items.size());
    for (const auto& [name, size] : items) {
      rows.push_back({size, ""});
      memcpy(rows.back().name, name, strlen(name));
    }
  }
  void bind() { _qrtExtVarInit(reinterpret_cast<const QrtExternalList*>(rows.data()), slots.data()); }
};

TEST(External, ItemsAreSharedByName) {
  Program main("MAIN");
  Items first({{"A", 100}, {"B", 0}, {"A-NAME-OF-31-BYTES-AND-ITS-END!", 8}}), second({{"B", 0}, {"A", 100}}),
      none({});
  const int32_t before = liveBlocksAfterARun();
  for (const bool hosted : {false, true}) {
    if (hosted) _qrt_cpm_init(nullptr, nullptr);
    run(main, [&] {
      for (Items* items : {&none, &first, &second}) items->bind();
      EXPECT_TRUE(first.slots[0] == second.slots[1] && first.slots[1] == second.slots[0]);
      memset(first.slots[0], 0xEE, 100);
      memset(first.slots[2], 0xEE, 8);
      EXPECT_EQ(static_cast<uint32_t*>(first.slots[0])[-1], 100u);
      second.bind();
      EXPECT_EQ(static_cast<uint8_t*>(second.slots[1])[99], 0xEE);
    });
  }
  EXPECT_EQ(liveBlocks(), before);
}

TEST(External, FailuresEndTheRun) {
  Program main("MAIN");
  Items first({{"SHARED", 100}, {"OTHER", 1}}), second({{"SHARED", 101}}), huge({{"HUGE", UINT32_MAX}});
  const auto failing = [&](Items& items, int32_t n) {
    return inChild([&] {
      run(main, [&] {
        if (&items != &first) first.bind();
        const FailingAllocation failing(n);
        items.bind();
        printf("bound");
      });
    });
  };
  const Ended differ = failing(second, 0);
  EXPECT_TRUE(differ.err.starts_with("QRT066") && differ.exitCode == 3);
  EXPECT_NE(differ.err.find("SHARED"), std::string::npos);
  EXPECT_EQ(failing(huge, 0).err.substr(0, 6), "QRT907");
  for (int32_t n = 1; canFailAllocations; ++n) {
    const Ended ended = failing(first, n);
    if (ended.out == "bound") break;
    EXPECT_TRUE(ended.err.starts_with("QRT907") && ended.exitCode == 3) << n << ended.err;
  }
}

TEST(System, CommandLines) {
  const Folder folder;
  const std::string show = folder.path + "/with a blank/show";
  folder.addText("with a blank/show", "#!/bin/sh\nprintf '[%s]' \"$@\"\nexit 7\n");
  folder.addText("killed", "#!/bin/sh\nkill -9 $$\n");
  folder.addText("text");
  for (const char* name : {"/with a blank/show", "/killed", "/text"})
    std::filesystem::permissions(folder.path + name, std::filesystem::perms::owner_all);
  const std::string quoted = "\"" + show + "\"";
  const size_t room = 511 - quoted.size() - 1;
  std::string nineteen;
  for (int word = 2; word <= 19; ++word) nineteen += " w";
  std::string backslashes = show;
  for (char& letter : backslashes)
    if (letter == '/') letter = '\\';
  const struct {
    std::string line;
    int32_t result;
    std::string out;
  } rows[] = {
      {quoted, 7, "[]"},
      {quoted + " a  \"b  c\"d e", 7, "[a][\"b  c\"d][e]"},
      {quoted + " a ", 7, "[a][]"},
      {quoted + " $HOME;*'`x`", 7, "[$HOME;*'`x`]"},
      {quoted + " \"open a ", 7, "[\"open a ]"},
      {"\"" + backslashes + "\"", 7, "[]"},
      {folder.path + "/wi\"th a bl\"ank/show x", 7, "[x]"},
      {quoted + " " + std::string(room, 'a'), 7, "[" + std::string(room, 'a') + "]"},
      {quoted + " " + std::string(room + 1, 'a'), -1, ""},
      {quoted + std::string(5000, ' '), -1, ""},
      {quoted + nineteen, 7, "[w][w][w][w][w][w][w][w][w][w][w][w][w][w][w][w][w][w]"},
      {quoted + nineteen + " ", -1, ""},
      {"sh -c", 2, ""},
      {"true", 0, ""},
      {" true", -1, ""},
      {"", -1, ""},
      {folder.path + "/no such", -1, ""},
      {folder.path + "/killed", 137, ""},
      {folder.path + "/text", -1, ""},  // no shell takes it
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      const int32_t result = _qrtcSystem(row.line.c_str());
      printf("%d", int(result));
    });
    EXPECT_EQ(ended.out, row.out + std::to_string(row.result)) << row.line;
  }
}

TEST(Registry, Values) {
  const Folder folder;
  const std::string longest(255, 'v');
  folder.addText("HKEY_LOCAL_MACHINE/Software/sub/Value", "text of it\nmore\n");
  folder.addText("HKEY_USERS/at top", "no line end");
  folder.addText("HKEY_USERS/empty", "");
  folder.addText("HKEY_CURRENT_USER/k/longest", longest + "\n");
  folder.addText("HKEY_CURRENT_USER/k/longer", longest + "v\n");
  folder.addText("HKEY_CURRENT_USER/k/huge", std::string(100000, 'v'));
  folder.addText("HKEY_OTHER/k/v", "x");
  setenv("QRT_REGISTRY", folder.path.c_str(), 1);
  const struct {
    std::string key;
    const char* value;  // null for none
  } rows[] = {
      {"HKEY_LOCAL_MACHINE#Software\\sub#Value", "text of it"},
      {"HKEY_LOCAL_MACHINE#Software/sub\\#Value", "text of it"},
      {"HKEY_USERS##at top", "no line end"},
      {"HKEY_USERS##empty", ""},
      {"HKEY_CURRENT_USER#k#longest", longest.c_str()},
      {"HKEY_CURRENT_USER#k#longer", nullptr},
      {"HKEY_CURRENT_USER#k#huge", nullptr},
      {"HKEY_OTHER#k#v", nullptr},
      {"HKEY_LOCAL_MACHINE#Software#sub", nullptr},
      {"HKEY_LOCAL_MACHINE#Software#value", nullptr},
      {"HKEY_LOCAL_MACHINE#Software", nullptr},
      {"HKEY_LOCAL_MACHINE", nullptr},
      {"", nullptr},
      {"HKEY_LOCAL_MACHINE#..\\HKEY_OTHER\\k#v", nullptr},
      {"HKEY_LOCAL_MACHINE#Software#../../HKEY_OTHER/k/v", nullptr},
      {"HKEY_USERS#" + std::string(256, 'k') + "#v", nullptr},
      {"HKEY_USERS#" + std::string(9000, 'k'), nullptr},
  };
  for (const auto& row : rows) {
    std::string result = itemAfter(QRT_REGISTRY_RESULT, [&](uint8_t* buffer) {
      char* item = reinterpret_cast<char*>(buffer);
      EXPECT_EQ(_qrtcRegistry(row.key.c_str(), item), row.value != nullptr ? item : nullptr) << row.key;
    });
    if (row.value == nullptr)
      EXPECT_EQ(result, std::string(QRT_REGISTRY_RESULT, '#')) << row.key;
    else
      EXPECT_STREQ(result.c_str(), row.value);
  }
  unsetenv("QRT_REGISTRY");
  setenv("HOME", folder.path.c_str(), 1);
  folder.addText(".config/qrtrlib/registry/HKEY_USERS/k/v", "at home\n");
  char result[QRT_REGISTRY_RESULT];
  EXPECT_STREQ(_qrtcRegistry("HKEY_USERS#k#v", result), "at home");
}

TEST(MethodName, EndsAtItsFirstBlank) {
  for (const auto& [source, expected] :
       {std::pair{"NAME    ", "NAME"}, {"FULLNAME", "FULLNAME"}, {" A", ""}}) {
    const auto length = uint32_t(strlen(source));
    const std::string name = itemAfter(length + 1, [&, source = source](uint8_t* item) {
      _qrtMoveMethodName(reinterpret_cast<char*>(item), source, length);
    });
    EXPECT_STREQ(name.c_str(), expected);
  }
}

}  // namespace
