// The message writer: heads, texts, wrap, ends of the run. Each test that writes does so in a child, where
// the writer starts anew with the catalogue that the test has written.
#include <sys/mman.h>

#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

__attribute__((noinline)) std::string letters(size_t count) {
  return std::string(count, 'a');
}

// What text mode makes of message 40 with the catalogue that is now on NLSPATH.
template <typename... Values>
std::string formatted(Values... values) {
  char text[4096];
  qrtWriteERRmsg(40, QRT_MESSAGE_TEXT, text, sizeof(text), values...);
  return text;
}

}  // namespace

TEST(Message, HeadHoldsPrefixNumberAndLetter) {
  const Catalogue catalogue({{9999, 1, "0 XYZ IWSC 9000"},
                             {998, 3, "1 Three digits"},
                             {999, 1, "1 Four digits"},
                             {2519, 1, "0 %d of %s"},
                             {41, 1, "7 Odd digit"},
                             {42, 1, "2"}});
  EXPECT_EQ(apart([] {
              qrtWriteERRmsg2(998, nullptr, 2);
              qrtWriteERRmsg(999, 0);
              _qrtWriteERRmsg(2519, 0, 3, "four");
              for (const int32_t number : {41, 42}) qrtWriteERRmsg(number, QRT_MESSAGE_INFORMATION);
            }),
            "XYZ998W  Three digits\n\nXYZ0999W Four digits\n\nXYZ2519I 3 of four\n\nXYZ041C  Odd digit\n\n"
            "XYZ042S  \n\n");
}

TEST(Message, TextsTakeOneWordForEachValue) {
  // A text that runs into what can't be read.
  constexpr size_t page = 4096;
  auto* const pages =
      static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_EQ(munmap(pages + page, page), 0);
  memcpy(pages + page - 3, "end", 3);
  const auto check = [](const char* text, const std::string& expected, auto... values) {
    const Catalogue catalogue({usualControl, {40, 1, text}});
    EXPECT_EQ(formatted(values...), expected) << text;
  };
  check("0 %5d|%-5x|%6s|%-6s|%.2s|", "   -1|ff   |  word|word  |wo|", -1, 255, "word", "word", "word");
  check("0 %3$s %1$d %2$02x%%", "word -1 0f%", -1, 15, "word");
  check("0 %c%c%c|", "ab|", 'a', 0, 'b');
  check("0 %*d|%.*s", "   7|wo", 4, 7, 2, "word");
  check("0 %s %s %s|", " end |", nullptr, pages + page - 3, 16);
  check("0 %n%f%lld%ln %d %", "%n%f%lld%ln 5 %", 5, 6, 7);
  check("0 %1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s%1$s", "xxxxxxxxx%1$s", "x");
  munmap(pages, page);
}

TEST(Message, TextModeFillsTheCallersBufferAndNoMore) {
  const std::string whole = letters(70) + " bbbbbbbbbb";
  const Catalogue catalogue({usualControl, {40, 1, "3 %s  \n \n"}});
  for (const int32_t length : {0, 1, 79, 80, 81, 100}) {
    std::string buffer(102, '#'), expected = "#";
    EXPECT_EQ(qrtWriteERRmsg(40, QRT_MESSAGE_TEXT, buffer.data() + 1, length, whole.c_str()), 0);
    if (length > 0) expected += whole.substr(0, length - 1) + '\0';
    EXPECT_EQ(buffer, expected + std::string(102 - expected.size(), '#')) << length;
  }
}

TEST(Message, LongLinesAreWrapped) {
  const Catalogue catalogue({usualControl, {40, 1, "0 %s"}});
  const std::string a = letters(60), gap(9, ' ');
  // Lines have 79 columns on the message stream, 9 of them in front of the text.
  for (const auto& [text, lines] :
       {std::pair{a + "0123456789", a + "0123456789"},
        {a + "0123456789A", a + "012345678\n" + gap + "9A"},   // nowhere to break
        {a + "0123456789 A", a + "0123456789\n" + gap + "A"},  // a blank behind the last column
        {a + "012345678 A", a + "012345678 \n" + gap + "A"},   // and in it
        {a + "012345678=A", a + "012345678=\n" + gap + "A"},
        {a + "0123456=89A bc", a + "0123456=\n" + gap + "89A bc"},
        {a + " 12345678           A",
         a + " 12345678 \n" + gap + " A"},  // blanks in front of a new line count
        {"aaaaaaaa " + letters(70),
         "aaaaaaaa " + letters(60) + "\n" + gap + letters(10)},  // blank in column 17
        {"aaaaaaaaa " + letters(70), "aaaaaaaaa \n" + gap + letters(70)},
        {letters(170), letters(69) + "\n" + gap + letters(69) + "\n" + gap + letters(32)},
        {"b\n" + letters(80), "b\n" + letters(78) + "\n" + gap + "aa"}})
    EXPECT_EQ(apart([&text] { qrtWriteERRmsg(40, 0, text.c_str()); }), "QRT040I  " + lines + "\n\n");
  // Where a character may have several bytes, a line may be cut nowhere.
  EXPECT_EQ(apart([] {
              if (setlocale(LC_ALL, "C.UTF-8") == nullptr) _exit(1);
              qrtWriteERRmsg(40, 0, letters(79).c_str());
            }),
            "QRT040I  " + letters(79) + "\n\n");
  std::mt19937 random(3);
  for (int round = 0; round < 100; ++round) {
    std::string text = "a";
    for (size_t size = random() % 1500; text.size() < size;)
      text += std::string(random() % (round % 70 + 1), 'x') + " = \n   "[random() % 7];
    EXPECT_EQ(formatted((text + "z").c_str()), text + "z");  // for the caller nothing is wrapped
    std::string done = apart([&text] { qrtWriteERRmsg(40, 0, text.c_str()); });
    for (size_t at = 0, end; at < done.size(); at = end + 1)
      ASSERT_LE((end = std::min(done.find('\n', at), done.size())) - at, 79u) << text;
    done.erase(0, strlen("QRT040I  "));
    for (std::string* each : {&text, &done})
      std::erase_if(*each, [](char c) { return c == ' ' || c == '\n'; });
    ASSERT_EQ(done, text);
  }
}

TEST(Message, LosesNoneWhereTheTextIsLost) {
  using Entries = std::vector<CatalogueEntry>;
  const std::string ended = "\nQRT901S Program exits due to severe or critical error.\n\n";
  const std::string noCatalogue =
      "QRT9942  Cannot find message catalog qrtremsg.cat in NLSPATH. Message number";
  const std::string noText = "QRT994S  Cannot find message ";
  for (const auto& [entries, number, written] :
       {std::tuple{Entries{{40, 1, "0 No control"}}, 907, noCatalogue + " is 907." + ended},
        {Entries{usualControl, {40, 1, ""}}, 40, noText + "40 in qrtremsg.cat" + ended},
        {Entries{usualControl, {40, 2, "0 Second"}}, 40, noText + "40 in qrtremsg.cat" + ended},
        {Entries{usualControl, {994, 1, "0 %2$s has no %1$d"}}, 40 + 0x10000,
         "QRT994I  qrtremsg.cat has no 65576\n\n"}}) {
    const Catalogue catalogue(entries);
    const Ended child = inChild([number = number] { qrtWriteERRmsg(number, 0); });
    EXPECT_EQ(child.exitCode, child.err.ends_with(ended) ? 3 : 0);
    EXPECT_EQ(child.err, written);
  }
}

TEST(Message, SeverityAndErrcountEndTheRun) {
  const Catalogue catalogue({usualControl,
                             {1, 1, "0 Told"},
                             {2, 1, "1 Told"},
                             {3, 1, "2 Told"},
                             {901, 1, "2 QRT901S Severe."},
                             {901, 2, "2 QRT901S Count."}});
  // Messages by letter, a small one made severe or, for s, severe and then information. The notice ends the
  // run.
  for (const auto& [errCount, messages, notice] : {std::tuple{1, "I", ""},
                                                   {0, "S", "Severe."},
                                                   {0, "w", "Severe."},
                                                   {1, "s", ""},
                                                   {0, "WWW", ""},
                                                   {3, "IWIWI", ""},
                                                   {3, "WWW", "Count."}}) {
    const std::string_view sequence = messages;
    std::string expected;
    const auto numberOf = [](char letter) { return 1 + int(std::string_view("IiWwSs").find(letter)) / 2; };
    for (const char each : sequence)
      expected += "QRT00" + std::to_string(numberOf(each)) + "IWS"[numberOf(each) - 1] + "  Told\n\n";
    if (*notice != 0) expected.insert(expected.size() - 1, std::string("QRT901S ") + notice + "\n");
    const Ended ended = inChild([&, count = errCount] {
      static QrtProcessRecord process = {};
      static QrtRunUnitRecord runUnit = {};
      process.messageFile = stderr;
      process.abendHook = [](QrtProcessRecord* record) { _exit(record->abendHook == nullptr ? 42 : 1); };
      runUnit.errCountLeft = count;
      _qrtProccom = &process;
      _qrtRuncom = &runUnit;
      for (const char each : sequence)
        qrtWriteERRmsg(numberOf(each), each == 's'   ? QRT_MESSAGE_SEVERE | QRT_MESSAGE_INFORMATION
                                       : each == 'w' ? QRT_MESSAGE_SEVERE
                                                     : 0);
    });
    EXPECT_EQ(ended.exitCode, *notice != 0 ? 42 : 0) << sequence;
    EXPECT_EQ(ended.err, expected) << sequence;
  }
}

TEST(Message, HostGetsLinesOrInAContainerTheWhole) {
  const Catalogue catalogue(
      {usualControl, {40, 1, "0 %s"}, {41, 1, "2 Severe"}, {901, 1, "2 QRT901S Ends."}});
  const std::string tail = "0 TCBL [QRT041S  Severe]\n1 TCBL [QRT901S Ends.]\n";
  // A hosted run has 80 columns. In a container the query for the width comes through with length 0.
  for (const auto& [container, expected] :
       {std::pair{0, "0 TCBL [QRT040I  " + letters(69) + " ]\n0 TCBL [         bc]\n" + tail},
        {1, "0 TCBL []\n0 TCBL [QRT040I  " + letters(69) +
                " \n         bc\n\n]\n0 TCBL []\n"
                "1 TCBL [QRT041S  Severe\n\n]\n1 TCBL [QRT901S Ends.]\n"}}) {
    const Ended ended = inChild([container] {
      _qrtCOBOLErrorCallbacks(
          [](int32_t flag, const char* tag, const char* text, int32_t length) {
            printf("%d %s [%.*s]\n", int(flag), tag, int(length), text);
            return int32_t{40};
          },
          nullptr);
      _qrtIsTrax = 1;
      _qrtIsApc = container;
      QrtJumpBuffer left = {};
      threadStorage()->anchor = &left;  // a guard that the end of the run leaves behind
      if (qrtSetJump(&_qrtJmpCobStart) != 0) _exit(fflush(stdout) == 0 && threadStorage()->anchor == nullptr);
      qrtWriteERRmsg(40, 0, (letters(69) + " bc").c_str());
      qrtWriteERRmsg(41, 0);
    });
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_EQ(ended.out, expected);
  }
}

TEST(Message, CatalogueIsFoundByLanguageAndTemplates) {
  const Catalogue folder({});
  for (const char* language : {"ENUS1252", "ENUSUTF-8", "ESESISO", "ZHCNY", "JAJPSJIS", "plain"}) {
    std::filesystem::create_directory(folder.path + "/" + language);
    std::ofstream(folder.path + "/" + language + "/m.cat") << "catalogue";
  }
  for (const auto& [locale, templates, opens] : {std::tuple{"", "%l/%n", true},
                                                 {"POSIX", "%L\\%N", true},
                                                 {"en_US.UTF-8", "%l/%n.cat", true},
                                                 {"C.UTF-8", "%l/%n", true},
                                                 {"es_ES.ISO", "%l/%n", true},
                                                 {"ja_JP.SJIS@x", "%l/%n", true},
                                                 {"zh_TW.X.Y", "%l/%n", true},  // what is behind the last dot
                                                 {"de_DE.UTF-8", "plain/%n", false},
                                                 {"", "plain/m.cat", false},
                                                 {"", "plain/%nn", false},
                                                 {"", "none/%n;;plain/%N.cat", true},
                                                 {"", "PLAIN/%n", false}}) {
    const Ended ended = inChild([&] {
      if (chdir(folder.path.c_str()) != 0 || setenv("LC_ALL", locale, 1) != 0) return;
      setenv("NLSPATH", templates, 1);
      QrtCatalogue* const catalogue = _qrtCatopen("m.cat");
      _qrtCatclose(catalogue);
      _exit(catalogue != nullptr ? 42 : 43);
    });
    EXPECT_EQ(ended.exitCode, opens ? 42 : 43) << locale << " " << templates;
  }
}
