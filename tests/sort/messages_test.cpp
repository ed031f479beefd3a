// Messages: what an error does to its session, texts of catalogues, trace, totals, signals, the session
// table.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "engine.h"
#include "support/catalogue_writer.h"
#include "support/process.h"

namespace {

using namespace qrt::sort;
using qrt::test::Ended;
using qrt::test::inChild;
using qrt::test::Prepared;

// What a session writes to its message file while `work` runs in it. The start line is left out.
template <typename Work>
std::string said(const std::string& options, Work&& work) {
  std::string name = "/tmp/qrtmessagesXXXXXX";
  close(mkstemp(name.data()));
  {
    Prepared prepared("-x 'msg " + name + "' " + options);
    EXPECT_EQ(prepared.code, 0) << prepared.told;
    work(*prepared.session);
  }
  std::ifstream file(name, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  unlink(name.c_str());
  const size_t end = text.find('\n') + 1;
  EXPECT_TRUE(text.starts_with("Lumasift: 7351-278 QMC Lumasift -- pid=" + std::to_string(getpid())));
  return text.substr(end);
}

TEST(SortMessages, TheFirstErrorEndsTheRun) {
  EXPECT_EQ(said("",
                 [](SortSession& session) {
                   message(256, "in");
                   EXPECT_TRUE(isRunning(session));
                   EXPECT_EQ(message(32, int64_t{5000000000}, "file"), 32);
                   EXPECT_FALSE(isRunning(session));
                   EXPECT_EQ(message(35, "out", 112), 35);
                   message(257);
                   EXPECT_EQ(session.returnCode, 32);
                 }),
            "Lumasift: 7351-256 EOL assumed on input file <in>\n"
            "Lumasift: 7351-032 Record number 5000000000 within <file> is too long\n");
  EXPECT_EQ(said("",
                 [](SortSession& session) {
                   EXPECT_EQ(message(2), 1);
                   EXPECT_EQ(session.returnCode, 1);
                 }),
            "Lumasift: 7351-002 Equal-keyed records detected\n");
  EXPECT_EQ(said("",
                 [](SortSession& session) {
                   EXPECT_EQ(internalError(1006), 1006);
                   EXPECT_EQ(session.returnCode, 1006);
                 }),
            "Lumasift: 7351-254 Lumasift internal error occurred, error code = 1006\n");

  Prepared quiet("");
  std::string name(5000, 'x');
  message(255, "ReadFile", 6);
  EXPECT_EQ(quiet.told, "Lumasift: 7351-255 System call ReadFile failed with return code 6");
  Prepared warned("");
  message(256, "in");
  EXPECT_EQ(warned.told, "");
  message(4, name.c_str());
  EXPECT_TRUE(warned.told.starts_with("Lumasift: 7351-004 Error in parameter file <xxx"));
  message(77);
  EXPECT_TRUE(warned.told.starts_with("Lumasift: 7351-004"));
}

TEST(SortMessages, Formats) {
  const struct {
    const char* format;
    Insert inserts[2];
    const char* text;
  } cases[] = {
      {"%2$s then %1$d", {7, "x"}, "x then 7"},
      {"%d and %s", {7, "x"}, "7 and x"},
      {"[%1$05d|%1$-5d|%1$5d|%2$-3s|%2$3s|%1$+d]", {-42, "x"}, "[-0042|-42  |  -42|x  |  x|-42]"},
      {"%1$x %2$lld", {255, int64_t{-5000000000}}, "ff -5000000000"},
      {"100%! %% %3$d %1$s%", {"a", 1}, "100%! %  a%"},
      {"%1$d %2$s", {"text", 3}, "text 3"},
      {"%% %d %s", {7, "x"}, "% 7 x"},
  };
  for (const auto& each : cases) {
    char text[80];
    EXPECT_EQ(formatMessage(text, sizeof(text), each.format, each.inserts, 2), strlen(each.text));
    EXPECT_STREQ(text, each.text);
    char cut[5];
    formatMessage(cut, sizeof(cut), each.format, each.inserts, 2);
    EXPECT_EQ(std::string(cut), std::string(each.text).substr(0, 4));
  }
}

// A catalogue in the place of the message writer's.
struct SortCatalogue {
  qrt::test::Catalogue folder{{}};

  explicit SortCatalogue(const std::vector<qrt::test::CatalogueEntry>& entries) {
    std::ofstream(folder.path + "/lumasift.cat", std::ios::binary) << qrt::test::catalogueBytes(entries);
  }
};

TEST(SortMessages, Catalogues) {
  const auto tell = [] {
    Prepared prepared("");
    message(32, int64_t{7}, "f");
    return prepared.told;
  };
  const char builtIn[] = "Lumasift: 7351-032 Record number 7 within <f> is too long";
  const SortCatalogue reversed(
      {{33, 1, "1 not this"}, {32, 2, "1 nor this"}, {32, 1, "2 In %2$s, record %1$d"}});
  EXPECT_EQ(tell(), "Lumasift: 7351-032 In f, record 7");
  setenv("LANG", "fr_FR.UTF-8", 1);
  EXPECT_EQ(tell(), builtIn);
  setenv("LANG", "es_ES.UTF-8", 1);
  setenv("NLSPATH", (reversed.folder.path + "/none;" + reversed.folder.path + "/%l/%n").c_str(), 1);
  EXPECT_EQ(tell(), builtIn);
  const std::string spanish = reversed.folder.path + "/ESESUTF-8";
  std::filesystem::create_directory(spanish);
  std::filesystem::copy(reversed.folder.path + "/lumasift.cat", spanish);
  EXPECT_EQ(tell(), "Lumasift: 7351-032 In f, record 7");
  unsetenv("LANG");
}

// The compiled catalogue says what the built-in texts say, for every number.
TEST(SortMessages, TheOwnCatalogue) {
  const auto tellAll = [] {
    std::vector<std::string> texts;
    for (int32_t number = 1; number < 300; ++number)
      texts.push_back(said("", [&](SortSession&) { message(number, number < 256 ? Insert("x") : 5, 6); }));
    return texts;
  };
  const std::string before = getenv("NLSPATH") != nullptr ? getenv("NLSPATH") : "";
  setenv("NLSPATH", QRT_BUILD_DIRECTORY "/share/qrtrlib/%n", 1);
  ASSERT_TRUE(std::filesystem::exists(QRT_BUILD_DIRECTORY "/share/qrtrlib/lumasift.cat"));
  const std::vector<std::string> catalogued = tellAll();
  setenv("NLSPATH", "", 1);
  EXPECT_EQ(tellAll(), catalogued);
  setenv("NLSPATH", before.c_str(), 1);
}

TEST(SortMessages, Totals) {
  const auto totals = [](const std::string& options) {
    return said(options, [](SortSession& session) {
      session.run->counters = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
      writeTotals(session);
    });
  };
  EXPECT_EQ(totals(""),
            "Lumasift: 7351-258 Total input: 1 bytes, 15 records\n"
            "Lumasift: 7351-262 Total sorted: 6 bytes, 7 records\n"
            "Lumasift: 7351-259 Total output: 12 bytes, 13 records\n");
  EXPECT_EQ(totals("-c -u -x 'skiprec 1' -x 'select 1=\"a\"'"),
            "Lumasift: 7351-258 Total input: 1 bytes, 15 records\n"
            "Lumasift: 7351-260 Total skipped: 2 bytes, 3 records\n"
            "Lumasift: 7351-261 Total filtered: 4 bytes, 5 records\n"
            "Lumasift: 7351-264 Total checked: 6 bytes, 7 records\n");
  EXPECT_EQ(totals("-m -x 'format int' -x 'sum 1'"),
            "Lumasift: 7351-258 Total input: 1 bytes, 15 records\n"
            "Lumasift: 7351-265 Total merged: 6 bytes, 7 records\n"
            "Lumasift: 7351-267 Total summed: 10 bytes, 11 records\n"
            "Lumasift: 7351-259 Total output: 12 bytes, 13 records\n");
  EXPECT_EQ(totals("-u").find("Total non-unqiue: 8 bytes, 9 records\n") != std::string::npos, true);
}

TEST(SortMessages, TraceOfTheOwnThread) {
  std::string name = "/tmp/qrttraceXXXXXX";
  close(mkstemp(name.data()));
  {
    Prepared prepared("-x 'trace " + name + "'");
    SortSession& session = *prepared.session;
    const TracedCall outer(session, "MainSort");
    TracedCall inner(session, "Sort");
    inner.returns(3);
    std::thread([&] { const TracedCall worker(session, "MidWriter"); }).join();
  }
  std::ifstream file(name, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_TRUE(text.ends_with("---( MainSort\n    ---( Sort\n    ---) return(3)\r\n---) return\r\n")) << text;
  unlink(name.c_str());
}

TEST(SortMessages, SignalsEndTheProcess) {
  for (const int number : {SIGTERM, SIGINT, SIGSEGV, SIGABRT}) {
    const Ended ended = inChild([&] {
      EngineArguments arguments;
      arguments.calledByProgram = false;
      Prepared prepared("", arguments);
      const SignalTrap trap(*prepared.session);
      prepared.session->run->removeFiles = [](SortSession&) {
        if (write(1, "removed", 7) != 7) _exit(9);
      };
      prepared.session->run->errorCallback = [](ErrorRecord* record) {
        dprintf(1, "%d %d %d %s ", record->systemCode, record->fileNumber, record->kind, record->name);
      };
      raise(number);
    });
    EXPECT_EQ(ended.exitCode, 255) << number;
    EXPECT_EQ(ended.err, "Lumasift: 7351-255 Unexpected signal trapped by Lumasift\n");
    EXPECT_EQ(ended.out, "255 -1 6 Lumasift: 7351-255 Unexpected signal trapped by Lumasift removed");
  }
  const Ended untrapped = inChild([] {
    Prepared prepared("-x notrap");
    const SignalTrap trap(*prepared.session);
    raise(SIGTERM);
  });
  EXPECT_EQ(untrapped.signal, SIGTERM);
  const Ended restored = inChild([] {
    Prepared prepared("");
    { const SignalTrap trap(*prepared.session); }
    raise(SIGTERM);
  });
  EXPECT_EQ(restored.signal, SIGTERM);
  const Ended afterError = inChild([] {
    Prepared prepared("-Q");
    const SignalTrap trap(*prepared.session);
    raise(SIGTERM);  // ignored
    raise(SIGSEGV);  // would come back for ever
    raise(SIGSEGV);
  });
  EXPECT_EQ(afterError.signal, SIGSEGV);
}

TEST(SortMessages, SessionsOfAProcess) {
  std::vector<SortSession*> sessions;
  int32_t code = 0;
  while (SortSession* const session = makeSession(code)) {
    EXPECT_EQ(sessionOfThread(), session);
    sessions.push_back(session);
  }
  EXPECT_EQ(sessions.size(), 512u);
  EXPECT_EQ(code, 1077);
  int32_t count = 0;
  forEachSession([](SortSession*, void* counted) { ++*static_cast<int32_t*>(counted); }, &count);
  EXPECT_EQ(count, 512);

  // A worker speaks for its session, the session's own thread for the innermost one.
  std::thread([&] {
    EXPECT_EQ(sessionOfThread(), nullptr);
    EXPECT_TRUE(enterThread(sessions[3]));
    EXPECT_EQ(message(34, "midfile", 5), 34);
    leaveThread();
    EXPECT_EQ(sessionOfThread(), nullptr);
  }).join();
  EXPECT_EQ(sessions[3]->returnCode, 34);
  while (!sessions.empty()) {
    freeSession(sessions.back());
    sessions.pop_back();
    EXPECT_EQ(sessionOfThread(), sessions.empty() ? nullptr : sessions.back());
  }
}

}  // namespace
