// Option texts: the message each mistake gives, and what valid ones come to.
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "engine.h"
#include "sort/engine/option_file.h"
#include "support/allocation.h"

namespace {

using namespace qrt::sort;
using namespace std::string_literals;
using qrt::test::Prepared;

std::string rangeText(const SortKey& range) {
  char text[100];
  snprintf(text, sizeof(text), "%s %d.%d.%d-%d.%d.%d %02X%02X ", rowOf(range.type).keyword.data(),
           range.startField, range.startByte, range.startBit, range.endField, range.endByte, range.endBit,
           range.startMask, range.endMask);
  std::string result = text;
  const bool flags[] = {range.blankStart, range.blankEnd, range.dictionary, range.trimEnd, range.fold,
                        range.printable,  range.numeric,  range.date,       range.reverse, range.yearWindow};
  for (size_t index = 0; index < sizeof(flags); ++index)
    if (flags[index]) result += "bBdefinqrw"[index];
  return result;
}

// A folder of its own, in which the test runs.
struct Folder {
  std::string path = "/tmp/qrtsortXXXXXX";
  std::string before = std::filesystem::current_path();

  Folder() { std::filesystem::current_path(path = mkdtemp(path.data())); }
  ~Folder() {
    std::filesystem::current_path(before);
    std::filesystem::remove_all(path);
  }

  static void write(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
  }
  static std::string read(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST(Options, MistakesGiveTheirMessages) {
  const Folder folder;
  Folder::write("loop.par", "-r -p loop.par\n");
  Folder::write("outer.par", "-p loop.par");
  Folder::write("long.par", std::string(8094, ' '));
  Folder::write("quote.par", "-x 'nomsg # gone'\n");

  const struct {
    const char* options;
    int32_t code;
    const char* told;
  } cases[] = {
      {"-m -c", 3, "Multiple main functions specified"},
      {"-s merge -c", 3, ""},
      {"-p loop.par", 4, "Error in parameter file <loop.par>"},
      {"-p outer.par", 4, ""},
      {"-p none.par", 5, "Parameter file <none.par> could not be opened"},
      {"-p ''", 5, ""},
      {"-r -k", 6, "Operand missing from option <-k>"},
      {"-x skiprec", 7, "Operand missing from extended option <skiprec>"},
      {"-x 'format '", 7, ""},
      {"-y 0", 8, "Invalid operand in option <-y>"},
      {"-y 20000000001", 8, ""},
      {"-z 1", 8, ""},
      {"-z 65536", 8, ""},
      {"-s sorted", 8, ""},
      {"-t ab", 8, ""},
      {"-t '\\ab'", 8, ""},
      {"-k 0", 8, ""},
      {"-k 1.0", 8, ""},
      {"-k 1r2", 8, ""},
      {"-k 1,", 8, ""},
      {"-k 1,0", 8, ""},
      {"-k 1,1.0.3", 8, ""},
      {"-k 1.1.2", 8, ""},
      {"-k a", 8, ""},
      {"+1x", 8, "Invalid operand in option <+1x>"},
      {"-x 'skiprec x'", 9, "Invalid operand in extended option <skiprec>"},
      {"-x 'stopaft 20000000000001'", 9, ""},
      {"-x 'memlim 1025'", 9, ""},
      {"-x 'null 0'", 9, ""},
      {"-x 'null 256'", 9, ""},
      {"-x 'y2past 123'", 9, ""},
      {"-x 'source UNIX'", 9, ""},
      {"-x 'outorg record'", 9, ""},
      {"-x 'inorg sequential sequential'", 9, ""},
      {"-x 'nomsg now'", 9, ""},
      {"-Q", 10, "Invalid option specified: -Q"},
      {"-r1", 10, "Invalid option specified: -1"},
      {"-1", 10, ""},
      {"+1 -r -2", 10, ""},
      {"+x", 10, ""},
      {"-x sumup", 11, "Invalid extended option specified: sumup"},
      {"''", 13, "Invalid file name specified: <>"},
      {"-T ''", 13, ""},
      {"-T '' -x locale", 7, ""},
      {"-c -c", 25, "Flag -c specified multiple times"},
      {"-x nomsg -x nomsg", 25, "Flag nomsg specified multiple times"},
      {"-x 'select 1 = \"a\"' -x 'filter 1 = \"a\"'", 25, ""},
      {"-o out", 26, "Too many outputs specified"},
      {"-p long.par", 50, "Parameter file <long.par> too large"},
      {"-x 'nomsg", 51, "Non-matching quote"},
      {"-p quote.par", 51, ""},
      {"-x 'select 1 = \"a'", 52, "Non-matching double quote"},
      {"-s copy -u", 53, "Conflicting options <-s copy> and <-u> both specified"},
      {"-s copy -x ustop", 53, ""},
      {"-s copy -x 'sum 1'", 53, ""},
      {"-m -x 'skiprec 0'", 53, "Conflicting options <-m> and <skiprec> both specified"},
      {"-s merge -x 'stopaft 1'", 53, ""},
      {"-u -x ustop", 53, ""},
      {"-u -x 'sum 1'", 53, ""},
      {"-A -x 'locale C'", 53, "Conflicting options <-A> and <locale> both specified"},
      {"-x 'locale C' -A", 53, ""},
      {"-x nomsg -x 'msg m'", 53, ""},
      {"-x 'inorg byte_stream'", 53,
       "Conflicting options <inorg byte_stream> and <no format> both specified"},
      {"-x 'locale xx_XX'", 61, "Locale xx_XX is not known to the system"},
      {"-x 'msg none/m'", 37, "Cannot open message file <none/m>, rc=2"},

      // Formats.
      {"-x 'format'", 7, ""},
      {"-x 'format word'", 21, "Syntax error in format specification"},
      {"-x 'format <hex>'", 21, ""},
      {"-x 'format char'", 21, ""},
      {"-x 'format char 0'", 21, ""},
      {"-x 'format bin 4096'", 21, ""},
      {"-x 'format int 4'", 21, ""},
      {"-x 'format int rlength2'", 21, ""},
      {"-x 'format flength char 5'", 21, ""},
      {"-x 'format rlength2 flength int'", 21, ""},
      {"-x 'format rlength2 flength'", 21, ""},
      {"-x 'format int null'", 21, ""},
      {"-x 'format null null int'", 21, ""},
      {"-x 'format char 65535 int'", 21, ""},

      // Ranges of a format.
      {"-x 'format char 5 int' -k 3", 8, ""},
      {"-x 'format char 5 int' -k 1,3", 8, ""},
      {"-x 'format char 5 int' -k 2,1", 8, ""},
      {"-x 'format char 5 int' -k 2.2", 8, ""},
      {"-x 'format char 5 int' -k 1.6", 8, ""},
      {"-x 'format char 5 int' -k 1,1.6", 8, ""},
      {"-x 'format char 5 int' -k 1.1.2", 8, ""},
      {"-x 'format char 5 int' +0.2 -0", 8, ""},
      {"-x 'format bin 5 bin 5' -k 1.1.2,2.1.3", 8, ""},
      {"-x 'format bin 5 bin 5' -k 1.1.3", 8, ""},
      {"-x 'format rlength2 flength char 5' -k 3.2", 8, ""},
      {"-x 'format rlength2 int flength char 5' -k 2,4.2", 8, ""},
      {"-x 'format rlength2 char 5' -k 1", 8, ""},
      {"-x 'format null int' -k 1", 8, ""},

      // Conditions.
      {"-x 'select 1 \"a\"'", 17, "Syntax error in select specification"},
      {"-x 'select 1 = \"a\" 2'", 17, ""},
      {"-x 'select 1 = 2 ) '", 9, "Invalid operand in extended option <select>"},
      {"-x 'filter (1 = 2'", 9, "Invalid operand in extended option <filter>"},
      {"-x 'select 1 ='", 9, ""},
      {"-x 'select 1 = 2 and'", 9, ""},
      {"-x 'select ()'", 9, ""},
      {"-x 'select = 1'", 9, ""},
      {"-x 'select 1 = x'", 9, ""},
      {"-x 'select 1 = 2*'", 9, ""},
      {"-x 'format int char 5' -x 'select 3,3 = 2'", 9, ""},
      {"-x 'format int char 5' -x 'select 1,2 = 2'", 9, ""},
      {"-x 'select 1 = 0*\"a\"'", 18, "Invalid constant specified in select"},
      {"-x 'select 1 = 2*0d5'", 18, ""},
      {"-x 'select 1 = 0x123'", 18, ""},
      {"-x 'select 1 = 0b012'", 18, ""},
      {"-x 'select 1n = 0d1.2.3'", 18, ""},
      {"-x 'select 1n = 0f1e'", 18, ""},
      {"-x 'select 1 = 0d5'", 19,
       "Constant type <decimal> cannot be compared to data type char in select extended option"},
      {"-x 'select 1n = \"5\"'", 19, ""},
      {"-x 'format int' -x 'select 1 = NULL'", 19, ""},
      {"-x 'select 1n,1 = 2q,2'", 20,
       "Data type <numeric char> cannot be compared to data type <date char> in select extended option"},

      // Reformat and sum.
      {"-x 'reformat 1 rlength2'", 9, "Invalid operand in extended option <reformat>"},
      {"-x 'reformat rlength2'", 22, "Syntax error in reformat specification"},
      {"-x 'reformat x'", 22, ""},
      {"-x 'reformat 0.1'", 22, ""},
      {"-x 'reformat 1.1.2'", 22, ""},
      {"-x 'format bin 5' -x 'reformat 1.1.2'", 22, ""},
      {"-x 'format rlength2 flength char 5' -x 'reformat 3'", 22, ""},
      {"-x 'reformat 0*\"a\"'", 23, "Invalid constant specified in reformat"},
      {"-x 'reformat 0b1'", 23, ""},
      {"-x 'reformat NULL'", 23, ""},
      {"-x 'reformat 3*0d5'", 23, ""},
      {"-x 'reformat 1*0d5'", 23, ""},
      {"-x 'reformat 0d2147483648'", 23, ""},
      {"-x 'reformat 0d1.5'", 23, ""},
      {"-x 'sum 1'", 24, "Syntax error in sum specification"},
      {"-x 'format char 5 int' -x 'sum 1'", 24, ""},
      {"-x 'format bin 5 int' -x 'sum 1.2,1.3'", 24, ""},
      {"-x 'format bin 5 int' -x 'sum 1,2'", 24, ""},
      {"-x 'format bin 5 int' -x 'sum 2 2'", 24, ""},
      {"-x 'format rlength2 flength bin 5 int' -x 'sum 3'", 24, ""},
      {"-x 'format char 5 int' -x 'sum 2' -x 'reformat 1,1'", 24, ""},
      {"-x 'format bin 5 int' -x 'sum 1' -x 'reformat 1,1.2'", 30, "Sum is not allowed"},
      {"-x 'format char 5 int' -x 'sum 2' -x 'reformat 1,1 2e,2'", 30, ""},
      {"-x 'format rlength2 int' -x 'sum 2' -x 'reformat 2'", 30, ""},
      {"-x 'format null int' -x 'sum 2' -x 'reformat 2'", 30, ""},
  };
  for (const auto& each : cases) {
    Prepared prepared(each.options);
    EXPECT_EQ(prepared.code, each.code) << each.options;
    EXPECT_EQ(prepared.session->returnCode, each.code) << each.options;
    EXPECT_FALSE(isRunning(*prepared.session)) << each.options;
    char expected[200];
    snprintf(expected, sizeof(expected), "Lumasift: 7351-%03d %s", each.code, each.told);
    EXPECT_TRUE(prepared.told.starts_with(expected)) << each.options << ": " << prepared.told;
    EXPECT_TRUE(*each.told == 0 || prepared.told == expected) << prepared.told;
  }
}

int32_t anExit(BufferRow*, BufferRow*) {
  return 0;
}

TEST(Options, MistakesOfCallersAndCommandLines) {
  const auto codeOf = [](const char* options, bool program, bool input, bool output) {
    std::vector<const char*> words;
    std::string copy = options;
    for (char* word = strtok(copy.data(), " "); word != nullptr; word = strtok(nullptr, " "))
      words.push_back(word);
    EngineArguments arguments;
    arguments.calledByProgram = program;
    arguments.arguments = words;
    if (input) arguments.inputExit = anExit;
    if (output) arguments.outputExit = anExit;
    return Prepared(options, arguments).code;
  };
  // A program without buffers: the harness gives them wherever there is no exit.
  EXPECT_EQ(codeOf("-m", true, true, false), 1014);
  EXPECT_EQ(codeOf("-m file", true, true, true), 0);
  EXPECT_EQ(codeOf("-x stdout", true, true, true), 0);
  EXPECT_EQ(codeOf("-o f -x stdout", true, true, true), 26);

  const int saved = dup(2);
  ASSERT_NE(freopen("/dev/null", "w", stderr), nullptr);
  EXPECT_EQ(codeOf("-x notrap", false, false, false), 10);
  EXPECT_EQ(codeOf("-x stdout", false, false, false), 11);
  EXPECT_EQ(codeOf("-xinorg\tsequential -", false, false, false), 36);
  EXPECT_EQ(codeOf("-xoutorg\tindexed -", false, false, false), 57);
  EXPECT_EQ(codeOf("-r", false, false, false), 0);
  dup2(saved, 2);
  close(saved);

  EngineArguments bare;
  int32_t code;
  SortSession* session = makeSession(code);
  EXPECT_EQ(prepare(*session, bare), 27);
  freeSession(session);
  for (const auto& [text, wanted] : {std::pair("file", 28), std::pair("-c file", 0)}) {
    session = makeSession(code);
    bare.text = text;
    EXPECT_EQ(prepare(*session, bare), wanted);
    freeSession(session);
  }
}

// Keys as they come out, over text and over formats.
TEST(Options, Keys) {
  const struct {
    const char* options;
    std::vector<const char*> keys;
  } cases[] = {
      {"", {"char 0.0.0-1.0.0 FFFF "}},
      {"-r", {"char 0.0.0-1.0.0 FFFF r"}},
      {"-k 2", {"char 1.0.0-2.0.0 FFFF "}},
      {"-k 2,2", {"char 1.0.0-2.0.0 FFFF "}},
      {"-k2.3,2.5", {"char 1.2.0-1.5.0 FFFF "}},
      {"-b -k 1.2,3.4 -k2,3", {"char 0.1.0-2.4.0 FFFF bB", "char 1.0.0-3.0.0 FFFF b"}},
      {"-k 1b,1b -k 1,1.2b", {"char 0.0.0-1.0.0 FFFF b", "char 0.0.0-0.2.0 FFFF B"}},
      {"-n -k 1 -k 2r", {"<numeric char> 0.0.0-2.0.0 FFFF n", "char 1.0.0-2.0.0 FFFF r"}},
      {"-w", {"<date char> 0.0.0-1.0.0 FFFF qw"}},
      {"-k 1bdiq", {"<date char> 0.0.0-1.0.0 FFFF q"}},
      {"-k 70000", {"char 65534.0.0-65535.0.0 FFFF "}},
      {"+1.2f -2r", {"char 1.2.0-2.0.0 FFFF fr"}},
      {"+1 -2.3b +.4", {"char 1.0.0-2.3.0 FFFF B", "char 0.4.0-3.0.0 FFFF "}},
      {"+1 -r -k1", {"char 1.0.0-2.0.0 FFFF r", "char 0.0.0-2.0.0 FFFF r"}},
      {"-dfi", {"char 0.0.0-1.0.0 FFFF dfi"}},

      {"-x 'format char 5 char 5' -k 1.3,1.5", {"char 0.2.0-0.5.0 FFFF "}},
      {"-x 'format char 5 char 5' -k 1,2", {"char 0.0.0-2.0.0 FFFF "}},
      {"-x 'format char 5 char 5' -k 1.4,1.9 -k 1.4,1.2",
       {"char 0.3.0-0.9.0 FFFF ", "char 0.3.0-0.3.0 FFFF "}},
      {"-x 'format char 5 int int char 2'",
       {"char 0.0.0-1.0.0 FFFF ", "int 1.0.0-2.0.0 FFFF ", "int 2.0.0-3.0.0 FFFF ",
        "char 3.0.0-4.0.0 FFFF "}},
      {"-x 'format char 5 int' -k 1.2r", {"char 0.1.0-1.0.0 FFFF r", "int 1.0.0-2.0.0 FFFF r"}},
      {"-x 'format rlength4 null char 3 null flength bin 5'",
       {"rlength4 0.0.0-1.0.0 FFFF ", "char 2.0.0-3.0.0 FFFF ", "flength 4.0.0-5.0.0 FFFF ",
        "bin 5.0.0-6.0.0 FFFF "}},
      {"-x 'format bin 4' -k 1.1.3,1.2.5 -k 1.2.11,1.4.8 +0.0.9 -0.2.7",
       {"bin 0.0.2-0.1.5 3FF8", "bin 0.2.2-0.4.0 3FFF", "bin 0.1.1-0.2.7 7FFE"}},
      {"-x 'format char 5 packed 4' -k1n,1 -k 2,2r",
       {"<numeric char> 0.0.0-1.0.0 FFFF n", "packed 1.0.0-2.0.0 FFFF r"}},
      {"-x 'format char 2 int bin 4' -k 1,3.1b -k 1,3.1.3 -s sort -s sort",
       {"char 0.0.0-1.0.0 FFFF", "int 1.0.0-2.0.0 FFFF", "bin 2.0.0-2.1.0 FFFF B", "char 0.0.0-1.0.0 FFFF",
        "int 1.0.0-2.0.0 FFFF", "bin 2.0.0-2.0.3 FFE0"}},
      {"-x 'format bin 4 char 5' -k 1.1.3", {"bin 0.0.2-1.0.0 3FFF", "char 1.0.0-2.0.0 FFFF"}},
      {"-k 1 -x 'format kx70double extended'",
       {"kx70double 0.0.0-1.0.0 FFFF ", "extended 1.0.0-2.0.0 FFFF "}},
  };
  for (const auto& each : cases) {
    Prepared prepared(each.options);
    EXPECT_EQ(prepared.code, 0) << each.options << ": " << prepared.told;
    std::vector<std::string> keys;
    for (const SortKey& key : prepared.options().keys) keys.push_back(rangeText(key));
    for (std::string& key : keys) key.resize(key.find_last_not_of(' ') + 1);
    std::vector<std::string> expected(each.keys.begin(), each.keys.end());
    for (std::string& key : expected) key.resize(key.find_last_not_of(' ') + 1);
    EXPECT_EQ(keys, expected) << each.options;
  }
}

TEST(Options, RecordsAndLists) {
  Prepared text("-z 80 -t'\\t' -k 3,3 -y 12 -x 'skiprec 3' -x 'stopaft 0' -T a -T \"b c\" one - two");
  ASSERT_EQ(text.code, 0) << text.told;
  EXPECT_TRUE(text.options().variableLength && !text.options().binary);
  EXPECT_EQ(text.options().recordLength, 80);
  EXPECT_EQ(text.options().largestField, 4);
  EXPECT_EQ(text.options().separator, '\t');
  EXPECT_EQ(text.options().skipCount, 3);
  EXPECT_EQ(text.options().stopAfter, 0);
  EXPECT_STREQ(text.options().tempDirs->next->name, "b c");
  EXPECT_EQ(text.options().tempDirs->next->next, text.options().tempDirs);
  std::string names;
  for (const SortSource& source : text.options().sources) names += std::string(source.name) + " ";
  EXPECT_EQ(names, "one stdin two source_1 ");

  Prepared fixed(
      "-x 'format int null packed 3 char 10 char 2' -x 'reformat rlength2x 1,1 2*\"\\n-\" 0x4142 4.2 0d-2'"
      " -x 'sum 1,1 3'");
  EXPECT_EQ(fixed.code, 30);
  Prepared sum(
      "-x 'format int null packed 3 char 10 char 2' -x 'sum 1,1 3' -x 'outorg line_sequential' -x 'null 7'");
  ASSERT_EQ(sum.code, 0) << sum.told;
  EXPECT_EQ(sum.options().recordLength, 20);
  EXPECT_EQ(sum.options().fixedLength, 20);
  EXPECT_EQ(sum.options().sums[1].field, 2);
  EXPECT_TRUE(sum.options().format[2].nullable);
  EXPECT_EQ(sum.options().format[3].barrier, 5);
  EXPECT_TRUE(sum.options().outputPrefix);
  EXPECT_EQ(sum.options().outputTextMode, 5);

  Prepared reformat(
      "-x 'format rlength4 int char 10' -x 'reformat rlength2x 2 2*\"\\n-\" 0x4142 0d-2 0f0.5 \"\\r\\n\"'"
      " -x 'outorg line_sequential'");
  ASSERT_EQ(reformat.code, 0) << reformat.told;
  EXPECT_EQ(reformat.options().fixedLength, 4);
  EXPECT_EQ(reformat.options().outputTextMode, 4);
  EXPECT_EQ(reformat.options().reformatLengthField, FieldType::rlength2x);
  std::string items;
  for (const ReformatItem& item : reformat.options().reformat)
    items += item.kind == ReformatItem::Kind::range
                 ? std::to_string(item.range.startField) + ":"
                 : std::string(reinterpret_cast<const char*>(item.constant.bytes),
                               static_cast<size_t>(item.constant.length)) +
                       ":";
  EXPECT_EQ(items, "1:2:\n-\n-:AB:\xFE\xFF\xFF\xFF:\0\0\0\0\0\0\xE0\x3F:\r\n:"s);
}

TEST(Options, ParameterFilesStandInPlaceOfTheirOption) {
  const Folder folder;
  Folder::write("inner.par", "-k 2#x,2\n# all of this\t# is gone\r\n-x 'format char 5\n int' -o");
  Folder::write("outer.par", "-k 1 -p inner.par");
  Folder::write("full.par", std::string("-r ").insert(0, 8090, ' '));
  EngineArguments arguments;
  arguments.outputExit = anExit;
  EXPECT_EQ(Prepared("-p inner.par out", arguments).code, 8);  // "2#x,2": no white space, no comment
  Folder::write("inner.par", "# all of this # is gone\r\n-k 2 #-k 5\n-x 'format char 5\n int' -o");
  Prepared prepared("-p outer.par out -r -p full.par", arguments);
  ASSERT_EQ(prepared.code, 0) << prepared.told;
  EXPECT_STREQ(prepared.options().outputName, "out");
  EXPECT_EQ(prepared.options().format.count, 2);
  EXPECT_EQ(prepared.options().keys.count, 3);
  EXPECT_TRUE(prepared.options().keys[0].reverse);
}

TEST(Options, MemoryThatRunsOutIsMessage73OrNoSession) {
  if (!qrt::test::canFailAllocations) GTEST_SKIP();
  const std::string options =
      "-T a -k 1 -x 'format int char 5' -x 'select 1 = 0d5 or 2 = \"x\"' -x 'reformat 1 5*\"a\"' f";
  qrt::test::keepLocale();
  { Prepared warm(options); }
  const int32_t before = qrt::test::liveBlocks();
  for (int32_t n = 1, code = 73; code != 0; ++n) {
    SortSession* session;
    {
      qrt::test::FailingAllocation failing(n);
      session = makeSession(code);
      if (session != nullptr) {
        BufferRow target[2] = {};
        EngineArguments arguments;
        arguments.text = options;
        arguments.targets = target;
        code = prepare(*session, arguments);
        freeSession(session);
      }
      if (!failing.hasFailed()) {
        EXPECT_EQ(code, 0);
        break;
      }
    }
    EXPECT_TRUE(code == 73 || code == 0) << n;  // the catalogue is done without
    if (code == 0) code = 73;
    EXPECT_EQ(qrt::test::liveBlocks(), before) << n;
  }
}

TEST(Options, OptionFileAndTrace) {
  const Folder folder;
  const auto limits = [](const char* options) {
    Prepared prepared(options);
    return std::pair(prepared.code, prepared.session->run->limits);
  };
  EXPECT_EQ(limits("").second.t1, 209715);
  EXPECT_EQ(limits("").second.t2, 4194304);
  Folder::write("lumasift.dll", "");
  const auto write = [](uint16_t major, uint16_t patch, int32_t t2, const std::string& text, size_t cut = 0) {
    const OptionFileHeader header = {{major, 0, patch}, static_cast<uint16_t>(text.size()), t2};
    const std::string bytes(reinterpret_cast<const char*>(&header), sizeof(header));
    Folder::write("lumasift.ini", (bytes + text).substr(0, bytes.size() + text.size() - cut));
  };
  write(0, 1, 100000, "tmp");
  EXPECT_EQ(limits("").second.t1, 65535);
  Prepared traced("-x 'trace t' -k 2,2");
  EXPECT_STREQ(traced.options().tempDirs->name, "tmp");
  const std::string trace = Folder::read("t");
  EXPECT_TRUE(
      trace.starts_with("Lumasift version: 1.2.0\r\n\r\nOption file parameters:\r\n"
                        "   Lumasift Version: 0.0.1\r\n   T1=65535\r\n   T2=100000\r\n"
                        "   tdir=<tmp>\r\n\r\n"))
      << trace;
  EXPECT_NE(trace.find("X/Open Specifications structure"), std::string::npos);
  // The directory that the registry names comes first, where it has the file.
  const std::string key = "HKEY_CURRENT_USER/Software/QMC/Lumasift/1.2.0";
  std::filesystem::create_directories(key);
  std::filesystem::create_directory("named");
  Folder::write(key + "/INIPATH", folder.path + "/named\n");
  setenv("QRT_REGISTRY", folder.path.c_str(), 1);
  EXPECT_EQ(limits("").second.t2, 100000);
  std::filesystem::rename("lumasift.ini", "named/lumasift.ini");
  write(0, 1, 300000, "tmp");
  EXPECT_EQ(limits("").second.t2, 100000);
  unsetenv("QRT_REGISTRY");
  EXPECT_EQ(limits("").second.t2, 300000);
  for (const auto& spoil :
       {+[](decltype(write)& w) { w(0, 0, 1, "."); }, +[](decltype(write)& w) { w(2, 0, 1, "."); },
        +[](decltype(write)& w) { w(1, 0, 1, std::string(261, 'x')); },
        +[](decltype(write)& w) { w(1, 0, 1, "abc", 1); }}) {
    spoil(write);
    EXPECT_EQ(limits("").first, 233);
  }
}

}  // namespace
