// Tracebacks, with a line-number reader that follows a script, and trapped signals.
#include <qrtrlib.h>
#include <signal.h>
#include <string.h>

#include "frame/catalogue_writer.h"
#include "support/process.h"

using namespace qrt::test;

namespace {

// Where frames would stand: a chain of `count`, the last with a zero frame behind it.
struct Frames {
  uint32_t links[40][2];
  QrtMachineContext machine;

  explicit Frames(uint32_t count) {
    for (uint32_t index = 0; index < count; ++index) {
      links[index][0] = index + 1 < count ? reinterpret_cast<uint32_t>(links[index + 1]) : 0;
      links[index][1] = 0x1000 + index;
    }
    machine = {0x1000, reinterpret_cast<uint32_t>(links[0]), 0};
  }
};

void useReader(const char* script) {
  setenv("PATH", QRT_BUILD_DIRECTORY "/tests/modules/dvtdrdr1", 1);
  setenv("READER_SCRIPT", script, 1);
}

std::string line(const std::string& name, int number) {
  return "      " + name + " : " + std::to_string(number) + " \n";
}

const std::vector<CatalogueEntry> entries = {
    usualControl, {40, 1, "0 Told"}, {995, 1, "0 no"}, {995, 2, "3 Signal %s at %08x."}};

}  // namespace

TEST(Traceback, ShowsTheFramesByTheReadersNames) {
  const Catalogue catalogue(entries);
  struct Case {
    const char* script;
    uint32_t frames;
    bool fault;  // tells of an exception that is being dispatched
    std::string lines;
  };
  std::string nineteen;
  for (int number = 1; number <= 19; ++number) nineteen += line("FIRST.CBL", number);
  for (const Case& each :
       {Case{"01234", 5, false,
             line("FIRST.CBL", 1) + line("FIRST.CBL", 2) + line("SECOND.CBL", 3) + line("SECOND.CBL", 4) +
                 line("THIRD.CBL", 5)},
        {"1", 30, false, nineteen},
        {"11!", 9, false, line("FIRST.CBL", 1) + line("FIRST.CBL", 2)},
        {"1dd4d41", 7, true, line("THIRD.CBL", 6) + line("FIRST.CBL", 7) + line("FIRST.CBL", 8)},
        {"dd1", 7, true, ""}}) {
    const Ended ended = inChild([&each] {
      useReader(each.script);
      const Frames frames(each.frames);
      if (each.fault) _qrtExceptionAddress = reinterpret_cast<void*>(0x5000);
      qrtWriteERRmsg2(40, &frames.machine, 0);
      qrtWriteERRmsg2(40, &frames.machine, QRT_MESSAGE_NO_TRACEBACK);
    });
    EXPECT_EQ(ended.exitCode, 0) << each.script;
    EXPECT_EQ(ended.err, "QRT040I  Told\n" + each.lines + "\nQRT040I  Told\n\n") << each.script;
  }
}

TEST(Traceback, TextModeKeepsItOnlyOnDemand) {
  const Catalogue catalogue(entries);
  const Ended ended = inChild([] {
    useReader("1");
    const Frames frames(1);
    char text[200];
    qrtWriteERRmsg2(40, &frames.machine, QRT_MESSAGE_TEXT, text, sizeof(text));
    puts(text);
    qrtWriteERRmsg2(40, &frames.machine, QRT_MESSAGE_TEXT | QRT_MESSAGE_KEEP_TRACEBACK, text, sizeof(text));
    puts(text);
  });
  EXPECT_EQ(ended.out, "Told\nTold\n      FIRST.CBL : 1\n");
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
    qrtWriteERRmsg(40, QRT_MESSAGE_NO_TRACEBACK);
    raise(SIGSEGV);  // the writer has left the signal as it was
  });
  EXPECT_EQ(ended.signal, SIGSEGV);
  EXPECT_EQ(ended.err,
            "QRT040I  Told\n" + line("FIRST.CBL", 1) + line("FIRST.CBL", 2) + "\nQRT040I  Told\n\n");
}

TEST(Signals, AreToldAndEndTheRun) {
  const Catalogue catalogue(entries);
  for (const auto& [signal, name] :
       {std::pair{SIGSEGV, "SIGSEGV"}, {SIGFPE, "SIGFPE "}, {SIGILL, "SIGILL "}, {SIGINT, "SIGINT "}}) {
    const Ended ended = inChild([signal] {
      setenv("PATH", "/nowhere", 1);
      _qrtSignalInit();
      raise(signal);
    });
    EXPECT_EQ(ended.exitCode, 3) << name;
    EXPECT_EQ(ended.err.substr(0, 27), "QRT995C  Signal " + std::string(name) + " at ") << ended.err;
  }
}

// The stack is used up, so that nothing could be told from it.
static int deeper(int depth) {
  volatile char frame[4096] = {};
  return depth == 0 ? 0 : deeper(depth + 1) + frame[0];
}

TEST(Signals, FaultsAreToldWithTheirInstruction) {
  const Catalogue catalogue(entries);
  const Ended wild = inChild([] {
    setenv("PATH", "/nowhere", 1);
    _qrtSignalInit();
    reinterpret_cast<void (*)()>(0x1234)();
  });
  EXPECT_EQ(wild.exitCode, 3);
  EXPECT_EQ(wild.err.substr(0, 36), "QRT995C  Signal SIGSEGV at 00001234.");
  const Ended overflow = inChild([] {
    setenv("PATH", "/nowhere", 1);
    _qrtSignalInit();
    deeper(1);
  });
  EXPECT_EQ(overflow.exitCode, 3);
  EXPECT_EQ(overflow.err.substr(0, 27), "QRT995C  Signal SIGSEGV at ");
}

TEST(Signals, ReaderMayFaultWhileASignalIsTold) {
  const Catalogue catalogue(entries);
  const Ended ended = inChild([] {
    useReader("!");
    _qrtSignalInit();
    reinterpret_cast<void (*)()>(0x1234)();
  });
  EXPECT_EQ(ended.exitCode, 3);
  EXPECT_EQ(
      ended.err,
      "QRT995C  Signal SIGSEGV at 00001234.\nQRT901S Program exits due to severe or critical error.\n\n");
}

TEST(Signals, WriterThatFaultsEndsTheProcess) {
  const Catalogue catalogue(entries);
  const Ended ended = inChild([] {
    static QrtProcessRecord process = {};
    process.messageFile = reinterpret_cast<FILE*>(16);
    _qrtProccom = &process;
    _qrtSignalInit();
    raise(SIGSEGV);
  });
  EXPECT_EQ(ended.signal, SIGSEGV);
}

TEST(Signals, TerminateAndHostedRunsLeaveThemAlone) {
  const Ended removed = inChild([] {
    _qrtSignalInit();
    _qrtSignalTerminate();
    raise(SIGSEGV);
  });
  EXPECT_EQ(removed.signal, SIGSEGV);
  const Ended hosted = inChild([] {
    signal(SIGINT, SIG_DFL);
    _qrtIsTrax = 1;
    _qrtSignalInit();
    raise(SIGINT);
  });
  EXPECT_EQ(hosted.signal, SIGINT);
}
