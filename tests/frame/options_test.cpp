// COBRTOPT: what each text leaves in the process record, whether signals are trapped, and what is reported.
#include <qrtrlib.h>
#include <signal.h>
#include <stdlib.h>

#include "support/process.h"

using namespace qrt::test;

namespace {

constexpr const char* defaults = "0A000000 00000000 0 --- L trap";

struct Row {
  const char* text;  // null: unset
  const char* fields;
  std::vector<const char*> messages = {};  // texts that follow each other in what is reported
};

void showOptions() {
  struct sigaction action;
  sigaction(SIGILL, nullptr, &action);
  const QrtProcessRecord& process = *_qrtProccom;
  printf("%08X %s %u %s %c %s", unsigned(process.optionFlags), process.upsi, unsigned(process.errCount),
         process.fileSystem[0] != 0 ? process.fileSystem : "---", process.fileMode,
         action.sa_handler != SIG_DFL ? "trap" : "no trap");
}

Ended withOptions(const char* text) {
  return inChild([=] {
    signal(SIGILL, SIG_DFL);
    unsetenv("COBRTOPT");
    if (text != nullptr) setenv("COBRTOPT", text, 1);
    _qrtPgmInit(nullptr);
    showOptions();
  });
}

TEST(Options, Texts) {
  const Row rows[] = {
      {nullptr, defaults},
      {"", defaults},
      {",, :", defaults},
      {"CHECK(OFF),NODEBUG", "00000000 00000000 0 --- L trap"},
      {"check=off, debug check", "02000000 00000000 0 --- L trap", {"QRT171", "DEBUGCHECK"}},
      {"CHECK=OFF:CHECK", defaults},
      {"FS = HDU , TRAP:OFF", "0A000000 00000000 0 HDU L trap", {"QRT171", "OFF"}},
      {"F\tS(kfs)trap=o ff", "0A000000 00000000 0 KFS L no trap"},
      {"trap=off,TRAP(ON)", defaults},
      {"FS=KRD,FILEMODE=SMALL", "0A000000 00000000 0 HDU S trap"},
      {"FS=KRDM,FM(S),FM", "0A000000 00000000 0 HDU L trap"},
      {"FILESYS=QDB,FILESYS", "0A000000 00000000 0 QDB L no trap"},
      {"FS", "0A000000 00000000 0 --- L no trap"},
      {"FS=RDB", defaults, {"QRT172", "RDB", "FS"}},
      {"UPSI=01010101", "0A000000 01010101 0 --- L trap"},
      {"UPSI=11111111,UPSI", defaults},
      {"UPSI=", defaults},
      {"UPSI=0101", defaults, {"QRT173", "0101", "UPSI", "8"}},
      {"UPSI(010101011)", defaults, {"QRT173", "010101011"}},
      {"UPSI=01010102", defaults, {"QRT174", "01010102", "UPSI"}},
      {"ERRCOUNT=5", "0A000000 00000000 5 --- L trap"},
      {"ERRCOUNT(2147483647)", "0A000000 00000000 2147483647 --- L trap"},
      {"ERRCOUNT=7,ERRCOUNT", defaults},
      {"ERRCOUNT=5X", defaults, {"QRT181", "5X", "ERRCOUNT"}},
      {"ERRCOUNT=-1", defaults, {"QRT181", "-1", "ERRCOUNT"}},
      {"ERRCOUNT=2147483648", defaults, {"QRT182", "2147483648", "ERRCOUNT", "0", "2147483647"}},
      {"CHECK=MAYBE", defaults, {"QRT172", "MAYBE", "CHECK"}},
      {"CHECK==ON", defaults, {"QRT172", "=ON", "CHECK"}},
      {"CHECKS,NODEBUG=1", defaults, {"QRT171", "CHECKS", "QRT172", "1", "NODEBUG"}},
      {"CHECKS=ON", defaults, {"QRT171", "CHECKS"}},
      {"A,,B", defaults, {"QRT171", "A", "QRT171", "B"}},
      {"CHECK(OFF))FM(S)", "02000000 00000000 0 --- S trap", {"QRT171"}},
      {"=,ERRCOUNT=3", "0A000000 00000000 3 --- L trap", {"QRT171"}},
  };
  for (const Row& row : rows) {
    const Ended ended = withOptions(row.text);
    const char* const shown = row.text != nullptr ? row.text : "unset";
    EXPECT_EQ(ended.out, row.fields) << shown;
    size_t at = 0;
    for (const char* message : row.messages) {
      at = ended.err.find(message, at);
      ASSERT_NE(at, std::string::npos) << message << " is missing for " << shown << "\n" << ended.err;
      at += strlen(message);
    }
    EXPECT_EQ(ended.err.find("QRT", at), std::string::npos) << shown << "\n" << ended.err;
  }
}

TEST(Options, ManyTokens) {
  std::string text = "ERRCOUNT=1";
  for (int count = 2; count <= 500; ++count) text += ",ERRCOUNT=" + std::to_string(count);
  EXPECT_EQ(withOptions(text.c_str()).out, "0A000000 00000000 500 --- L trap");
}

TEST(Options, AHostedRunHasTheDefaults) {
  const Ended ended = inChild([] {
    signal(SIGILL, SIG_DFL);
    setenv("COBRTOPT", "CHECK=OFF,BAD", 1);
    _qrtTraxRunUnit(1, nullptr);
    _qrtPgmInit(nullptr);
    showOptions();
  });
  EXPECT_EQ(ended.out, "0A000000 00000000 0 --- L no trap");
  EXPECT_EQ(ended.err, "");
}

TEST(Options, TheRunUnitGetsCopies) {
  const Ended ended = inChild([] {
    setenv("COBRTOPT", "UPSI=10000001,ERRCOUNT=4,FS=PLT,FM=S", 1);
    _qrtPgmInit(nullptr);
    printf("%.8s %u %.3s %c", _qrtRuncom->upsi, unsigned(_qrtRuncom->errCountLeft), _qrtRuncom->fileSystem,
           _qrtRuncom->fileMode);
  });
  EXPECT_EQ(ended.out, "10000001 4 PLT S");
}

}  // namespace
