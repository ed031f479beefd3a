// Tracebacks, with a line-number reader that follows a script, and trapped signals.
#include <signal.h>

#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

void useReader(const char* script) {
  setenv("PATH", QRT_BUILD_DIRECTORY "/tests/modules/dvtdrdr1", 1);
  setenv("READER_SCRIPT", script, 1);
}

const std::vector<CatalogueEntry> entries = {
    usualControl, {40, 1, "0 Told"}, {995, 1, "0 no"}, {995, 2, "3 Signal %s at %08x."}};

}  // namespace

TEST(Traceback, ShowsTheFramesByTheReadersNames) {
  const Catalogue catalogue(entries);
  const char* const names[] = {"", "FIRST.CBL", "SECOND.CBL", "THIRD.CBL"};
  // Frames in the chain, and the lines by the number of the reader's call and the name in it. The last case
  // tells of a fault that is being dispatched.
  for (const auto& [script, count, fault, lines] :
       {std::tuple<const char*, uint32_t, uint32_t, std::vector<int>>{"01234", 5, 0, {1, 1, 2, 2, 3}},
        {"1", 30, 0, std::vector(19, 1)},
        {"11!", 9, 0, {1, 1}},
        {"dd1", 7, 0x5000, {}},
        {"1dd4d41", 7, 0x5000, {0, 0, 0, 0, 0, 3, 1, 1}}}) {
    std::string expected;
    for (size_t at = 0; at < lines.size(); ++at)
      if (lines[at] != 0)
        expected += std::string("      ") + names[lines[at]] + " : " + std::to_string(at + 1) + " \n";
    const Ended ended = inChild([&, count = count] {
      useReader(script);
      uint32_t links[40][2] = {};
      for (uint32_t index = 0; index < count; ++index) {
        links[index][0] = index + 1 < count ? reinterpret_cast<uint32_t>(links[index + 1]) : 0;
        links[index][1] = 0x1000 + index;
      }
      const QrtMachineContext machine = {0x1000, reinterpret_cast<uint32_t>(links[0]), 0};
      char text[200];
      qrtWriteERRmsg2(40, &machine, QRT_MESSAGE_TEXT, text, sizeof(text));  // text mode leaves it out
      _qrtExceptionAddress = reinterpret_cast<void*>(fault);
      qrtWriteERRmsg2(40, &machine, 0);
      qrtWriteERRmsg2(40, &machine, QRT_MESSAGE_NO_TRACEBACK);
      qrtWriteERRmsg2(40, &machine, QRT_MESSAGE_TEXT | QRT_MESSAGE_KEEP_TRACEBACK, text, sizeof(text));
      printf("%s", text);
    });
    EXPECT_EQ(ended.exitCode, 0) << script;
    EXPECT_EQ(ended.err, "QRT040I  Told\n" + expected + "\nQRT040I  Told\n\n") << script;
    if (lines.size() == 19) {
      EXPECT_EQ(ended.out.substr(0, 20), "Told\n      FIRST.CBL");
    }
  }
}

TEST(Traceback, StartsAtTheCallerAndSurvivesABrokenChain) {
  const Catalogue catalogue(entries);
  const Ended ended = inChild([] {
    useReader("1");
    signal(SIGSEGV, SIG_DFL);
    QrtMachineContext here = {};
    context(&here);
    const auto frame = reinterpret_cast<uint32_t>(__builtin_frame_address(0));
    if (here.framePointer != frame || here.stackPointer > frame || here.instructionPointer == 0) _exit(1);
    uint32_t broken[2] = {0x10, 0x2000};
    here.framePointer = reinterpret_cast<uint32_t>(broken);
    qrtWriteERRmsg2(40, &here, 0);
    raise(SIGSEGV);  // the writer has left the signal as it was
  });
  EXPECT_EQ(ended.signal, SIGSEGV);
  EXPECT_EQ(ended.err, "QRT040I  Told\n      FIRST.CBL : 1 \n      FIRST.CBL : 2 \n\n");
}

// The stack is used up, so that nothing could be told from it.
static int deeper(int depth) {
  volatile char frame[4096] = {};
  return depth == 0 ? 0 : deeper(depth + 1) + frame[0];
}

TEST(Signals, AreToldAndEndTheRunOnceTrapped) {
  const Catalogue catalogue(entries);
  struct Case {
    std::function<void()> work;
    int exitCode, signal;  // of the end
    std::string written;   // first bytes
  };
  const auto callWild = [] { reinterpret_cast<void (*)()>(0x1234)(); };
  for (const Case& each :
       {Case{[] { raise(SIGFPE); }, 3, 0, "QRT995C  Signal SIGFPE  at "},
        {[] { raise(SIGINT); }, 3, 0, "QRT995C  Signal SIGINT  at "},
        {[] { deeper(1); }, 3, 0, "QRT995C  Signal SIGSEGV at "},
        {callWild, 3, 0, "QRT995C  Signal SIGSEGV at 00001234.\nQRT901S "},
        {[&] { useReader("!"), callWild(); }, 3, 0, "QRT995C  Signal SIGSEGV at 00001234.\nQRT901S "},
        {[] {  // the writer faults itself
           static QrtProcessRecord process = {};
           process.messageFile = reinterpret_cast<FILE*>(16);
           _qrtProccom = &process;
           raise(SIGSEGV);
         },
         -1, SIGSEGV, ""},
        {[] { _qrtSignalTerminate(), raise(SIGINT); }, -1, SIGINT, ""}}) {
    const Ended ended = inChild([&each] {
      setenv("PATH", "/nowhere", 1);
      _qrtSignalInit();
      each.work();
    });
    EXPECT_EQ(ended.exitCode, each.exitCode) << each.written;
    EXPECT_EQ(ended.signal, each.signal) << each.written;
    EXPECT_EQ(ended.err.substr(0, each.written.size()), each.written);
  }
}
