// COBRTOPT: what each text leaves in the records, whether signals are trapped, and what is reported.
#include <signal.h>

#include <regex>

#include "support/process.h"

using namespace qrt::test;

namespace {

// Shows the options of the process, and those that its run unit has copies of.
Ended withOptions(const char* text, bool hosted = false) {
  return inChild([=] {
    signal(SIGILL, SIG_DFL);
    unsetenv("COBRTOPT");
    if (text != nullptr) setenv("COBRTOPT", text, 1);
    if (hosted) _qrtTraxRunUnit(1, nullptr);
    _qrtPgmInit(nullptr);
    struct sigaction action;
    sigaction(SIGILL, nullptr, &action);
    const QrtRunUnitRecord& unit = *_qrtRuncom;
    printf("%08X %.8s %u %.3s %c %s", unsigned(_qrtProccom->optionFlags), unit.upsi,
           unsigned(unit.errCountLeft), unit.fileSystem[0] != 0 ? unit.fileSystem : "---", unit.fileMode,
           action.sa_handler != SIG_DFL ? "trap" : "no trap");
  });
}

TEST(Options, Texts) {
  constexpr const char* defaults = "0A000000 00000000 0 --- L trap";
  const struct {
    const char* text;
    const char* fields;
    std::string report = "";  // what follows each other there, with no other "Q" between
  } rows[] = {
      {nullptr, defaults},
      {"CHECK(OFF),NODEBUG", "00000000 00000000 0 --- L trap"},
      {"check=off, debug check", "02000000 00000000 0 --- L trap", "QRT171 DEBUGCHECK"},
      {"FS = HDU , TRAP:OFF", "0A000000 00000000 0 HDU L trap", "QRT171 OFF"},
      {"F\tS(kfs)trap=o ff", "0A000000 00000000 0 KFS L no trap"},
      {"trap=off,TRAP(ON)", defaults},
      {"FILESYS=QDB,FILESYS", "0A000000 00000000 0 QDB L no trap"},
      {"UPSI=01010101,FS=RDB", "0A000000 01010101 0 --- L trap", "QRT172 RDB FS"},
      {"UPSI=11111111,UPSI=", defaults},
      {"UPSI=0101", defaults, "QRT173 0101 UPSI 8"},
      {"UPSI=01010102", defaults, "QRT174 01010102 UPSI"},
      {"ERRCOUNT(2147483647)", "0A000000 00000000 2147483647 --- L trap"},
      {"ERRCOUNT=7,ERRCOUNT", defaults},
      {"ERRCOUNT=-1", defaults, "QRT181 -1 ERRCOUNT"},
      {"ERRCOUNT=2147483648", defaults, "QRT182 2147483648 ERRCOUNT 0 2147483647"},
      {"CHECK==ON", defaults, "QRT172 =ON CHECK"},
      {"CHECKS,NODEBUG=1", defaults, "QRT171 CHECKS QRT172 1 NODEBUG"},
      {"CHECK(OFF))FM(S)", "02000000 00000000 0 --- S trap", "QRT171"},
      {"=,ERRCOUNT=3", "0A000000 00000000 3 --- L trap", "QRT171"},
  };
  for (const auto& row : rows) {
    const Ended ended = withOptions(row.text);
    EXPECT_EQ(ended.out, row.fields) << row.text;
    const std::string report = std::regex_replace(row.report, std::regex("^| |$"), "[^Q]*");
    EXPECT_TRUE(std::regex_match(ended.err, std::regex(report))) << row.text << "\n" << ended.err;
  }
  const Ended hosted = withOptions("CHECK=OFF,BAD", true);
  EXPECT_EQ(hosted.out + hosted.err, "0A000000 00000000 0 --- L no trap");
}

}  // namespace
