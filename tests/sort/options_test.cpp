// Option texts: the message each mistake gives, and what valid ones come to.
#include <sstream>

#include "fixture.h"
#include "sort/engine/option_file.h"

namespace {

using namespace qrt::sort;
using namespace std::string_literals;
using qrt::test::Folder;
using qrt::test::noExit;
using qrt::test::Prepared;

std::string rangeText(const SortKey& range) {
  char text[100];
  snprintf(text, sizeof(text), "%s %d.%d.%d-%d.%d.%d", rowOf(range.type).keyword.data(), range.startField,
           range.startByte, range.startBit, range.endField, range.endByte, range.endBit);
  std::string result = text;
  snprintf(text, sizeof(text), " %02X%02X", range.startMask, range.endMask);
  if (range.startMask != 0xFF || range.endMask != 0xFF) result += text;
  const bool flags[] = {range.blankStart, range.blankEnd, range.dictionary, range.trimEnd, range.fold,
                        range.printable,  range.numeric,  range.date,       range.reverse, range.yearWindow};
  if (std::ranges::count(flags, true) > 0) result += " ";
  for (size_t index = 0; index < sizeof(flags); ++index)
    if (flags[index]) result += "bBdefinqrw"[index];
  return result;
}

TEST(Options, MistakesGiveTheirMessages) {
  const Folder folder;
  Folder::write("loop.par", "-r -p loop.par\n");
  Folder::write("outer.par", "-p loop.par");
  Folder::write("long.par", std::string(8094, ' '));
  Folder::write("quote.par", "-x 'nomsg # gone'\n");

  const struct {
    const char* told;      // of the first mistake; the others have its number
    std::string frame;     // of every option text, around the mistake in place of %
    std::string mistakes;  // with | between them
  } rows[] = {
      {"003 Multiple main functions specified", "%", "-m -c|-s merge -c"},
      {"004 Error in parameter file <loop.par>", "-p %", "loop.par|outer.par"},
      {"005 Parameter file <none.par> could not be opened", "-p %", "none.par|''"},
      {"006 Operand missing from option <-k>", "%", "-r -k"},
      {"007 Operand missing from extended option <skiprec>", "%",
       "-x skiprec|-x 'format '|-x 'format'|-T '' -x locale"},
      {"008 Invalid operand in option <-y>", "-%", "y 0|y 20000000001|z 1|z 65536|s sorted|t ab|t '\\ab'"},
      {"008 Invalid operand in option <-k>", "-k %", "0|1.0|1r2|1,|1,0|1,1.0.3|1.1.2|a"},
      {"008 Invalid operand in option <+1x>", "%", "+1x"},
      {"008 Invalid operand in option <-k>", "-x 'format char 5 int' %",
       "-k 3|-k 1,3|-k 2,1|-k 2.2|-k 1.6|-k 1,1.6|-k 1.1.2|+0.2 -0"},
      {"008 Invalid operand in option <-k>", "-x 'format %",
       "bin 5 bin 5' -k 1.1.2,2.1.3|bin 5 bin 5' -k 1.1.3|rlength2 flength char 5' -k 3.2|"
       "rlength2 int flength char 5' -k 2,4.2|rlength2 char 5' -k 1|null int' -k 1"},
      {"009 Invalid operand in extended option <skiprec>", "-x '%'",
       "skiprec x|stopaft 20000000000001|memlim 1025|null 0|null 256|y2past 123|source UNIX|"
       "outorg record|inorg sequential sequential|nomsg now|filter (1 = 2|reformat 1 rlength2"},
      {"009 Invalid operand in extended option <select>", "-x 'select %'",
       "1 = 2 ) |1 =|1 = 2 and|()|= 1|1 = x|1 = 2*"},
      {"009 Invalid operand in extended option <select>", "-x 'format int char 5' -x 'select %'",
       "3,3 = 2|1,2 = 2"},
      {"010 Invalid option specified: -Q", "%", "-Q|-1|+1 -r -2|+x"},
      {"010 Invalid option specified: -1", "%", "-r1"},
      {"011 Invalid extended option specified: sumup", "%", "-x sumup"},
      {"013 Invalid file name specified: <>", "%", "''|-T ''"},
      {"017 Syntax error in select specification", "-x 'select %'", "1 \"a\"|1 = \"a\" 2"},
      {"018 Invalid constant specified in select", "-x 'select %'",
       "1 = 0*\"a\"|1 = 2*0d5|1 = 0x123|1 = 0b012|1n = 0d1.2.3|1n = 0f1e"},
      {"019 Constant type <decimal> cannot be compared to data type char in select extended option", "-x '%'",
       "select 1 = 0d5|select 1n = \"5\"|format int' -x 'select 1 = NULL"},
      {"020 Data type <numeric char> cannot be compared to data type <date char> in select extended option",
       "-x '%'", "select 1n,1 = 2q,2"},
      {"021 Syntax error in format specification", "-x 'format %'",
       "word|<hex>|char|char 0|bin 4096|int 4|int rlength2|flength char 5|rlength2 flength int|"
       "rlength2 flength|int null|null null int|char 65535 int"},
      {"022 Syntax error in reformat specification", "-x '%'",
       "reformat rlength2|reformat x|reformat 0.1|reformat 1.1.2|format bin 5' -x 'reformat 1.1.2|"
       "format rlength2 flength char 5' -x 'reformat 3"},
      {"023 Invalid constant specified in reformat", "-x 'reformat %'",
       "0*\"a\"|0b1|NULL|3*0d5|1*0d5|0d2147483648|0d1.5"},
      {"024 Syntax error in sum specification", "-x '%'",
       "sum 1|format char 5 int' -x 'sum 1|format rlength2 flength bin 5 int' -x 'sum 3|"
       "format char 5 int' -x 'sum 2' -x 'reformat 1,1"},
      {"024 Syntax error in sum specification", "-x 'format bin 5 int' -x 'sum %'", "1.2,1.3|1,2|2 2"},
      {"025 Flag -c specified multiple times", "%", "-c -c"},
      {"025 Flag nomsg specified multiple times", "-x %",
       "nomsg -x nomsg|'select 1 = \"a\"' -x 'filter 1 = \"a\"'"},
      {"026 Too many outputs specified", "%", "-o out"},
      {"030 Sum is not allowed", "-x 'format %'",
       "bin 5 int' -x 'sum 1' -x 'reformat 1,1.2|char 5 int' -x 'sum 2' -x 'reformat 1,1 2e,2|"
       "rlength2 int' -x 'sum 2' -x 'reformat 2|null int' -x 'sum 2' -x 'reformat 2"},
      {"037 Cannot open message file <none/m>, rc=2", "%", "-x 'msg none/m'"},
      {"050 Parameter file <long.par> too large", "%", "-p long.par"},
      {"051 Non-matching quote", "%", "-x 'nomsg|-p quote.par"},
      {"052 Non-matching double quote", "%", "-x 'select 1 = \"a'"},
      {"053 Conflicting options <-s copy> and <-u> both specified", "%",
       "-s copy -u|-s copy -x ustop|-s copy -x 'sum 1'|-s merge -x 'stopaft 1'|-u -x ustop|"
       "-u -x 'sum 1'|-x 'locale C' -A|-x nomsg -x 'msg m'"},
      {"053 Conflicting options <-m> and <skiprec> both specified", "%", "-m -x 'skiprec 0'"},
      {"053 Conflicting options <-A> and <locale> both specified", "%", "-A -x 'locale C'"},
      {"053 Conflicting options <inorg byte_stream> and <no format> both specified", "%",
       "-x 'inorg byte_stream'"},
      {"061 Locale xx_XX is not known to the system", "%", "-x 'locale xx_XX'"},
  };
  for (const auto& row : rows) {
    const std::string told = "Lumasift: 7351-" + std::string(row.told);
    size_t telling = std::string::npos;
    std::istringstream mistakes(row.mistakes);
    for (std::string mistake; std::getline(mistakes, mistake, '|'); telling = strlen("Lumasift: 7351-000 ")) {
      std::string options = row.frame;
      Prepared prepared(options.replace(options.find('%'), 1, mistake));
      EXPECT_EQ(prepared.code, atoi(row.told)) << options;
      EXPECT_EQ(prepared.session->returnCode, prepared.code) << options;
      EXPECT_FALSE(isRunning(*prepared.session)) << options;
      EXPECT_EQ(prepared.told.substr(0, telling), told.substr(0, telling)) << options;
    }
  }
}

TEST(Options, MistakesOfCallersAndCommandLines) {
  struct Caller {
    bool isProgram, hasInputExit, hasOutputExit;
  };
  // A program has buffers wherever it has no exit.
  constexpr Caller withInputExit{true, true, false}, withExits{true, true, true}, commandLine{};
  const struct {
    const char* options;
    Caller caller;
    int32_t code;
  } rows[] = {
      {"-m", withInputExit, 1014},
      {"-m file", withExits, 0},
      {"-x stdout", withExits, 0},
      {"-o f -x stdout", withExits, 26},
      {"-x notrap", commandLine, 10},
      {"-x stdout", commandLine, 11},
      {"-xinorg\tsequential -", commandLine, 36},
      {"-xoutorg\tindexed -", commandLine, 57},
      {"-r", commandLine, 0},
  };
  const int saved = dup(2);
  ASSERT_NE(freopen("/dev/null", "w", stderr), nullptr);
  for (const auto& [options, caller, code] : rows) {
    std::string copy = options;
    std::vector<const char*> words;
    for (char* word = strtok(copy.data(), " "); word != nullptr; word = strtok(nullptr, " "))
      words.push_back(word);
    EngineArguments arguments;
    arguments.calledByProgram = caller.isProgram;
    arguments.arguments = words;
    if (caller.hasInputExit) arguments.inputExit = noExit;
    if (caller.hasOutputExit) arguments.outputExit = noExit;
    EXPECT_EQ(Prepared(options, arguments).code, code) << options;
  }
  dup2(saved, 2);
  close(saved);

  for (const auto& [text, code] : {std::pair("", 27), std::pair("file", 28), std::pair("-c file", 0)})
    EXPECT_EQ(Prepared(text, {}, true).code, code);
}

// Keys as they come out, over text and over formats.
TEST(Options, Keys) {
  const struct {
    const char* options;
    std::vector<std::string> keys;
  } rows[] = {
      {"", {"char 0.0.0-1.0.0"}},
      {"-r", {"char 0.0.0-1.0.0 r"}},
      {"-k 2", {"char 1.0.0-2.0.0"}},
      {"-k 2,2", {"char 1.0.0-2.0.0"}},
      {"-k2.3,2.5", {"char 1.2.0-1.5.0"}},
      {"-b -k 1.2,3.4 -k2,3", {"char 0.1.0-2.4.0 bB", "char 1.0.0-3.0.0 b"}},
      {"-k 1b,1b -k 1,1.2b", {"char 0.0.0-1.0.0 b", "char 0.0.0-0.2.0 B"}},
      {"-n -k 1 -k 2r", {"<numeric char> 0.0.0-2.0.0 n", "char 1.0.0-2.0.0 r"}},
      {"-w", {"<date char> 0.0.0-1.0.0 qw"}},
      {"-k 1bdiq", {"<date char> 0.0.0-1.0.0 q"}},
      {"-k 70000", {"char 65534.0.0-65535.0.0"}},
      {"+1.2f -2r", {"char 1.2.0-2.0.0 fr"}},
      {"+1 -2.3b +.4", {"char 1.0.0-2.3.0 B", "char 0.4.0-3.0.0"}},
      {"+1 -r -k1", {"char 1.0.0-2.0.0 r", "char 0.0.0-2.0.0 r"}},
      {"-dfi", {"char 0.0.0-1.0.0 dfi"}},

      {"-x 'format char 5 char 5' -k 1.3,1.5", {"char 0.2.0-0.5.0"}},
      {"-x 'format char 5 char 5' -k 1,2", {"char 0.0.0-2.0.0"}},
      {"-x 'format char 5 char 5' -k 1.4,1.9 -k 1.4,1.2", {"char 0.3.0-0.9.0", "char 0.3.0-0.3.0"}},
      {"-x 'format char 5 int int char 2'",
       {"char 0.0.0-1.0.0", "int 1.0.0-2.0.0", "int 2.0.0-3.0.0", "char 3.0.0-4.0.0"}},
      {"-x 'format char 5 int' -k 1.2r", {"char 0.1.0-1.0.0 r", "int 1.0.0-2.0.0 r"}},
      {"-x 'format rlength4 null char 3 null flength bin 5'",
       {"rlength4 0.0.0-1.0.0", "char 2.0.0-3.0.0", "flength 4.0.0-5.0.0", "bin 5.0.0-6.0.0"}},
      {"-x 'format bin 4' -k 1.1.3,1.2.5 -k 1.2.11,1.4.8 +0.0.9 -0.2.7",
       {"bin 0.0.2-0.1.5 3FF8", "bin 0.2.2-0.4.0 3FFF", "bin 0.1.1-0.2.7 7FFE"}},
      {"-x 'format char 5 packed 4' -k1n,1 -k 2,2r",
       {"<numeric char> 0.0.0-1.0.0 n", "packed 1.0.0-2.0.0 r"}},
      {"-x 'format char 2 int bin 4' -k 1,3.1b -k 1,3.1.3 -s sort -s sort",
       {"char 0.0.0-1.0.0", "int 1.0.0-2.0.0", "bin 2.0.0-2.1.0 B", "char 0.0.0-1.0.0", "int 1.0.0-2.0.0",
        "bin 2.0.0-2.0.3 FFE0"}},
      {"-x 'format bin 4 char 5' -k 1.1.3", {"bin 0.0.2-1.0.0 3FFF", "char 1.0.0-2.0.0"}},
      {"-k 1 -x 'format kx70double extended'", {"kx70double 0.0.0-1.0.0", "extended 1.0.0-2.0.0"}},
  };
  for (const auto& row : rows) {
    Prepared prepared(row.options);
    EXPECT_EQ(prepared.code, 0) << row.options << ": " << prepared.told;
    std::vector<std::string> keys;
    for (const SortKey& key : prepared.options().keys) keys.push_back(rangeText(key));
    EXPECT_EQ(keys, row.keys) << row.options;
  }
}

TEST(Options, RecordsAndLists) {
  Prepared text("-z 80 -t'\\t' -k 3,3 -y 12 -T a -T \"b c\" one - two");
  ASSERT_EQ(text.code, 0) << text.told;
  EXPECT_EQ(text.options().recordLength, 80);
  EXPECT_EQ(text.options().separator, '\t');
  EXPECT_STREQ(text.options().tempDirs->next->name, "b c");
  EXPECT_EQ(text.options().tempDirs->next->next, text.options().tempDirs);
  std::string names;
  for (const SortSource& source : text.options().sources) names += std::string(source.name) + " ";
  EXPECT_EQ(names, "one stdin two source_1 ");
}

TEST(Options, ParameterFilesStandInPlaceOfTheirOption) {
  const Folder folder;
  Folder::write("inner.par", "-k 2#x,2\n# all of this\t# is gone\r\n-x 'format char 5\n int' -o");
  Folder::write("outer.par", "-k 1 -p inner.par");
  Folder::write("full.par", std::string("-r ").insert(0, 8090, ' '));
  EngineArguments arguments;
  arguments.outputExit = noExit;
  EXPECT_EQ(Prepared("-p inner.par out", arguments).code, 8);  // "2#x,2": no white space, no comment
  Folder::write("inner.par", "# all of this # is gone\r\n-k 2 #-k 5\n-x 'format char 5\n int' -o");
  Prepared prepared("-p outer.par out -r -p full.par", arguments);
  ASSERT_EQ(prepared.code, 0) << prepared.told;
  EXPECT_STREQ(prepared.options().outputName, "out");
  EXPECT_EQ(prepared.options().format.count, 2);
  EXPECT_EQ(prepared.options().keys.count, 3);
  EXPECT_TRUE(prepared.options().keys[0].reverse);
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
  const auto write = [](uint16_t major, uint16_t patch, int32_t t2, const std::string& text) {
    const OptionFileHeader header = {{major, 0, patch}, static_cast<uint16_t>(text.size()), t2};
    Folder::write("lumasift.ini", std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + text);
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
  const struct {
    uint16_t major, patch;
    std::string text;
  } faulty[] = {{0, 0, "."}, {2, 0, "."}, {1, 0, std::string(261, 'x')}};
  for (const auto& [major, patch, text] : faulty) {
    write(major, patch, 1, text);
    EXPECT_EQ(limits("").first, 233);
  }
  write(1, 0, 1, "abc");
  std::filesystem::resize_file("lumasift.ini", std::filesystem::file_size("lumasift.ini") - 1);
  EXPECT_EQ(limits("").first, 233);
}

}  // namespace
