// The message writer: heads, texts, wrap, ends of the run. Each test that writes does so in a child, where
// the writer starts anew with the catalogue that the test has written.
#include <qrtrlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "frame/catalogue_writer.h"
#include "support/allocation.h"
#include "support/process.h"

using namespace qrt::test;

namespace {

constexpr char builtInExitNotice[] = "QRT901S Program exits due to severe or critical error.\n";

__attribute__((noinline)) std::string letters(size_t count) {
  return std::string(count, 'a');
}

// Forgets the open catalogue, so that the next message looks for one.
void closeCatalogue() {
  qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL | 1);
}

std::string writtenBy(const std::function<void()>& work) {
  const Ended ended = inChild(work);
  EXPECT_EQ(ended.exitCode, 0);
  return ended.err;
}

// What text mode makes of message 40.
template <typename... Values>
std::string formatted(Values... values) {
  char text[400];
  qrtWriteERRmsg(40, QRT_MESSAGE_TEXT, text, sizeof(text), values...);
  return text;
}

// The wrap of a text of several lines, as it is described: line by line, character by character.
std::string wrapped(std::string text, size_t width) {
  if (text.size() <= width) return text;
  std::string done;
  while (true) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (end <= width) {
      done += text.substr(0, end);
      if (end == text.size()) return done;
      done += '\n';
      text.erase(0, end + 1);
      continue;
    }
    size_t last = width - 1;
    const auto breaks = [&](size_t at) { return text[at] == ' ' || text[at] == '='; };
    if (text[last + 1] != ' ')
      while (last > 0 && !breaks(last)) --last;
    if (last < 18) last = width - 2;
    done += text.substr(0, last + 1) + '\n';
    text.erase(0, last + 1);
    const size_t blanks = std::min<size_t>(text.find_first_not_of(' '), 9);
    text.insert(0, 9 - std::min(blanks, text.size()), ' ');
  }
}

}  // namespace

TEST(Message, HeadHoldsPrefixNumberAndLetter) {
  const Catalogue catalogue({{9999, 1, "0 XYZ IWSC 9000"},
                             {7, 1, "0 Seven"},
                             {998, 3, "1 Three digits"},
                             {999, 1, "1 Four digits"},
                             {2519, 1, "0 %d of %s"},
                             {41, 1, "7 Odd digit"},
                             {42, 1, "2"}});
  EXPECT_EQ(writtenBy([] {
              qrtWriteERRmsg(7, 0);
              qrtWriteERRmsg2(998, nullptr, 2);
              qrtWriteERRmsg(999, 0);
              _qrtWriteERRmsg(2519, 0, 3, "four");
              qrtWriteERRmsg(41, QRT_MESSAGE_INFORMATION);
              qrtWriteERRmsg(42, QRT_MESSAGE_INFORMATION);
            }),
            "XYZ007I  Seven\n\n"
            "XYZ998W  Three digits\n\n"
            "XYZ0999W Four digits\n\n"
            "XYZ2519I 3 of four\n\n"
            "XYZ041C  Odd digit\n\n"
            "XYZ042S  \n\n");
}

TEST(Message, TextsTakeOneWordForEachValue) {
  // A text that runs into what can't be read.
  constexpr size_t page = 4096;
  void* const pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_EQ(munmap(static_cast<char*>(pages) + page, page), 0);
  char* const cut = static_cast<char*>(pages) + page - 3;
  memcpy(cut, "end", 3);

  const auto check = [](const char* text, const std::string& expected, auto... values) {
    const Catalogue catalogue({usualControl, {40, 1, text}});
    closeCatalogue();
    EXPECT_EQ(formatted(values...), expected) << text;
  };
  check("0 %d %x %s|", "-1 ff word|", -1, 255, "word");
  check("0 %5d|%-5x|%6s|%-6s|%.2s|", "   -1|ff   |  word|word  |wo|", -1, 255, "word", "word", "word");
  check("0 %3$s %1$d %2$02x%%", "word -1 0f%", -1, 15, "word");
  check("0 %c%c%c|", "ab|", 'a', 0, 'b');
  check("0 %*d|%.*s", "   7|wo", 4, 7, 2, "word");
  check("0 %s %s %s|", " end |", nullptr, cut, 16);
  check("0 %n%f%lld%ln %d %", "%n%f%lld%ln 5 %", 5, 6, 7);
  check("0 %1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s", "xxxxxxxxx%1$s", "x");
  closeCatalogue();
  munmap(pages, page);
}

TEST(Message, TextModeFillsTheCallersBufferAndNoMore) {
  const Catalogue catalogue({usualControl, {40, 1, "3 " + letters(70) + " %s  \n \n"}});
  for (const int32_t length : {0, 1, 79, 80, 81, 100}) {
    std::string buffer(102, '#');
    EXPECT_EQ(qrtWriteERRmsg(40, QRT_MESSAGE_TEXT, buffer.data() + 1, length, "bbbbbbbbbb"), 0);
    const std::string whole = letters(70) + " bbbbbbbbbb";
    std::string expected = whole.substr(0, std::max(length - 1, 0));
    if (length > 0) expected += '\0';
    EXPECT_EQ(buffer, "#" + expected + std::string(101 - expected.size(), '#')) << length;
  }
  closeCatalogue();
}

TEST(Message, LongLinesAreWrapped) {
  const Catalogue catalogue({usualControl, {40, 1, "0 %s"}});
  closeCatalogue();
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    const size_t size = random() % 1500;
    while (text.size() < size)
      text += std::string(random() % (round % 300 + 1), 'x') + " = \n   "[random() % 7];
    std::string expected = wrapped(text + "\n", 255);
    while (!expected.empty() && (expected.back() == ' ' || expected.back() == '\n')) expected.pop_back();
    char buffer[4096];
    qrtWriteERRmsg(40, QRT_MESSAGE_TEXT, buffer, sizeof(buffer), text.c_str());
    ASSERT_EQ(buffer, expected) << text;
  }
  closeCatalogue();
  // On the message stream lines have 79 columns.
  EXPECT_EQ(writtenBy([] {
              qrtWriteERRmsg(40, 0, letters(70).c_str());
              qrtWriteERRmsg(40, 0, letters(71).c_str());
              qrtWriteERRmsg(40, 0, (letters(68) + " bc d").c_str());
            }),
            "QRT040I  " + letters(70) + "\n\nQRT040I  " + letters(69) + "\n         aa\n\n" + "QRT040I  " +
                letters(68) + " \n         bc d\n\n");
  // Where a character may have several bytes, a line may be cut nowhere.
  EXPECT_EQ(writtenBy([] {
              if (setlocale(LC_ALL, "C.UTF-8") == nullptr) _exit(1);
              qrtWriteERRmsg(40, 0, letters(79).c_str());
            }),
            "QRT040I  " + letters(79) + "\n\n");
}

TEST(Message, LosesNoneWhereTheTextIsLost) {
  {
    const Catalogue empty({{40, 1, "0 Text"}});  // has no control record
    const Ended ended = inChild([] { qrtWriteERRmsg(907, 0); });
    EXPECT_EQ(ended.exitCode, 3);
    EXPECT_EQ(ended.err,
              "QRT9942  Cannot find message catalog qrtremsg.cat in NLSPATH. Message number is 907.\n" +
                  std::string(builtInExitNotice) + "\n");
  }
  {
    const Catalogue catalogue({usualControl, {40, 1, ""}});
    for (const int32_t number : {40, 41, 40 + 0x10000}) {
      const Ended ended = inChild([number] { qrtWriteERRmsg(number, 0); });
      EXPECT_EQ(ended.exitCode, 3);
      EXPECT_EQ(ended.err, "QRT994S  Cannot find message " + std::to_string(number) + " in qrtremsg.cat\n" +
                               builtInExitNotice + "\n");
    }
  }
  {
    const Catalogue catalogue({usualControl, {994, 1, "0 %2$s has no %1$d"}, {40, 2, "0 Second"}});
    EXPECT_EQ(writtenBy([] {
                qrtWriteERRmsg(40, 0);
                qrtWriteERRmsg(40, 1);
              }),
              "QRT994I  qrtremsg.cat has no 40\n\nQRT040I  Second\n\n");
  }
}

TEST(Message, ShortageOfMemoryCanStillBeTold) {
  if (!canFailAllocations) GTEST_SKIP();
  const Catalogue catalogue({usualControl, {40, 1, "2 Told"}, {993, 1, "1 No space for message %d"}});
  EXPECT_EQ(writtenBy([] {
              qrtWriteERRmsg(40, QRT_MESSAGE_INFORMATION);
              const FailingAllocation failing(1);
              qrtWriteERRmsg(40, 0);
            }),
            "QRT040S  Told\n\nQRT993W  No space for message 40\n\n");
}

TEST(Message, SeverityAndErrcountEndTheRun) {
  const Catalogue catalogue({usualControl,
                             {1, 1, "0 I"},
                             {2, 1, "1 W"},
                             {3, 1, "2 S"},
                             {901, 1, "2 QRT901S Severe."},
                             {901, 2, "2 QRT901S Count."}});
  struct Case {
    const char* name;
    uint32_t errCount;
    std::function<void()> work;
    bool ends;
    std::string written;
  };
  const std::string severe = "QRT901S Severe.\n\n";
  for (const Case& each :
       {Case{"information", 1, [] { qrtWriteERRmsg(1, 0); }, false, "QRT001I  I\n\n"},
        {"severe", 0, [] { qrtWriteERRmsg(3, 0); }, true, "QRT003S  S\n" + severe},
        {"made severe", 0, [] { qrtWriteERRmsg(2, QRT_MESSAGE_SEVERE); }, true, "QRT002W  W\n" + severe},
        {"made information", 1, [] { qrtWriteERRmsg(3, QRT_MESSAGE_SEVERE | QRT_MESSAGE_INFORMATION); },
         false, "QRT003S  S\n\n"},
        {"no limit", 0,
         [] {
           for (int i = 0; i < 2; ++i) qrtWriteERRmsg(2, 0);
         },
         false, "QRT002W  W\n\nQRT002W  W\n\n"},
        {"limit", 3,
         [] {
           for (int i = 0; i < 5; ++i) qrtWriteERRmsg(i % 2 + 1, 0);
         },
         false, "QRT001I  I\n\nQRT002W  W\n\nQRT001I  I\n\nQRT002W  W\n\nQRT001I  I\n\n"},
        {"third", 3,
         [] {
           for (int i = 0; i < 4; ++i) qrtWriteERRmsg(2, 0);
         },
         true, "QRT002W  W\n\nQRT002W  W\n\nQRT002W  W\nQRT901S Count.\n\n"}}) {
    const Ended ended = inChild([&each] {
      static QrtProcessRecord process = {};
      static QrtRunUnitRecord runUnit = {};
      process.messageFile = stderr;
      process.abendHook = [](QrtProcessRecord* record) { _exit(record->abendHook == nullptr ? 42 : 1); };
      runUnit.errCountLeft = each.errCount;
      _qrtProccom = &process;
      _qrtRuncom = &runUnit;
      each.work();
    });
    EXPECT_EQ(ended.exitCode, each.ends ? 42 : 0) << each.name;
    EXPECT_EQ(ended.err, each.written) << each.name;
  }
}

// What a host receives, in a run that starts with these hosting words.
static std::string toldToHost(int32_t trax, int32_t container, const std::function<void()>& work) {
  const Ended ended = inChild([&] {
    _qrtCOBOLErrorCallbacks(
        [](int32_t flag, const char* tag, const char* text, int32_t length) {
          printf("%d %s [%.*s]\n", int(flag), tag, int(length), text);
          return int32_t{40};
        },
        nullptr);
    _qrtIsTrax = trax;
    _qrtIsApc = container;
    if (qrtSetJump(&_qrtJmpCobStart) != 0) return;
    work();
  });
  EXPECT_EQ(ended.exitCode, 0);
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

TEST(Message, HostGetsLinesOrInAContainerTheWhole) {
  const Catalogue catalogue(
      {usualControl, {40, 1, "0 %s"}, {41, 1, "2 Severe"}, {901, 1, "2 QRT901S Severe."}});
  const auto work = [] {
    qrtWriteERRmsg(40, 0, letters(71).c_str());
    qrtWriteERRmsg(40, 0, (letters(69) + " bc").c_str());
    qrtWriteERRmsg(41, 0);
  };
  EXPECT_EQ(toldToHost(1, 0, work), "0 TCBL [QRT040I  " + letters(71) + "]\n" + "0 TCBL [QRT040I  " +
                                        letters(69) + " ]\n0 TCBL [         bc]\n" +
                                        "0 TCBL [QRT041S  Severe]\n1 TCBL [QRT901S Severe.]\n");
  // The query for the width comes through with length 0, and the lines have 79 columns.
  EXPECT_EQ(toldToHost(1, 1, work),
            "0 TCBL []\n0 TCBL [QRT040I  " + letters(69) + "\n         aa\n\n]\n" +
                "0 TCBL []\n0 TCBL [QRT040I  " + letters(69) + " \n         bc\n\n]\n" +
                "0 TCBL []\n1 TCBL [QRT041S  Severe\n\n]\n1 TCBL [QRT901S Severe.]\n");
}

TEST(Message, CatalogueIsFoundByLanguageAndTemplates) {
  const KeptEnvironment environment;
  const Folder folder;
  for (const char* name : {"ENUS1252/m.cat", "ENUSUTF-8/m.cat", "ESESISO/m.cat", "ZHCNY/m.cat", "Up/%q.cat",
                           "JAJPSJIS/m.cat", "plain/m.cat", "de/m.cat"})
    folder.write(name, "catalogue");
  struct Case {
    const char *locale, *templates;
    bool opens;
  };
  for (const Case& each : {Case{nullptr, "%l/%n", true},
                           {"C", "%L/%N", true},
                           {"POSIX", "%L\\%n", true},
                           {"en_US.UTF-8", "%l/%n", true},
                           {"C.UTF-8", "%l/%n", true},
                           {"es_ES.ISO", "%l/%n", true},
                           {"ja_JP.SJIS@x", "%l/%n", true},
                           {"zh_TW.X.Y", "%l/%n", true},  // what is behind the last dot
                           {"de_DE.UTF-8", "plain/%n", false},
                           {"fr", "plain/%n", false},
                           {nullptr, "", false},
                           {nullptr, "plain/m.cat", false},
                           {nullptr, "plain/%nn", false},
                           {nullptr, "plain/%N.cat", true},
                           {nullptr, "none/%n;;plain/%n", true},
                           {nullptr, "PLAIN/%n", false}}) {
    if (each.locale != nullptr)
      setenv("LC_ALL", each.locale, 1);
    else
      unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    unsetenv("LANG");
    std::string templates = each.templates;
    for (size_t at = 0; !templates.empty() && at != std::string::npos;) {
      templates.insert(at == 0 ? 0 : at + 1, folder.path + "/");
      at = templates.find(';', at + folder.path.size() + 2);
    }
    setenv("NLSPATH", templates.c_str(), 1);
    QrtCatalogue* catalogue = _qrtCatopen("m.cat");
    EXPECT_EQ(catalogue != nullptr, each.opens) << (each.locale ? each.locale : "-") << " " << templates;
    _qrtCatclose(catalogue);
  }
}
