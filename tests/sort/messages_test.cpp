// Messages: what an error does to its session, texts of catalogues, trace, signals, the session table.
#include <signal.h>

#include <optional>
#include <thread>

#include "fixture.h"
#include "support/catalogue_writer.h"
#include "support/process.h"

namespace {

using namespace qrt::sort;
using qrt::test::Ended;
using qrt::test::Folder;
using qrt::test::inChild;
using qrt::test::Prepared;

// What a session writes to its message file while `work` runs in it. The start line is left out.
template <typename Work>
std::string said(Work&& work) {
  {
    Prepared prepared("-x 'msg messages'");
    EXPECT_EQ(prepared.code, 0) << prepared.told;
    work(*prepared.session);
  }
  const std::string text = Folder::read("messages");
  EXPECT_TRUE(text.starts_with("Lumasift: 7351-278 QMC Lumasift -- pid=" + std::to_string(getpid())));
  return text.substr(text.find('\n') + 1);
}

TEST(SortMessages, TheFirstErrorEndsTheRun) {
  const Folder folder;
  const std::string errors = said([](SortSession& session) {
    message(256, "in");
    EXPECT_TRUE(isRunning(session));
    EXPECT_EQ(message(32, int64_t{5000000000}, "file"), 32);
    EXPECT_FALSE(isRunning(session));
    EXPECT_EQ(message(35, "out", 112), 35);
    message(257);
    EXPECT_EQ(session.returnCode, 32);
  });
  EXPECT_EQ(errors,
            "Lumasift: 7351-256 EOL assumed on input file <in>\n"
            "Lumasift: 7351-032 Record number 5000000000 within <file> is too long\n");
  const std::string internal = said([](SortSession& session) {
    EXPECT_EQ(internalError(1006), 1006);
    EXPECT_EQ(session.returnCode, 1006);
  });
  EXPECT_EQ(internal, "Lumasift: 7351-254 Lumasift internal error occurred, error code = 1006\n");

  Prepared quiet("");
  message(255, "ReadFile", 6);
  EXPECT_EQ(quiet.told, "Lumasift: 7351-255 System call ReadFile failed with return code 6");
  Prepared warned("");
  message(256, "in");
  EXPECT_EQ(warned.told, "");
  message(4, std::string(5000, 'x').c_str());
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

TEST(SortMessages, Catalogues) {
  const auto tell = [] {
    Prepared prepared("");
    message(32, int64_t{7}, "f");
    return prepared.told;
  };
  const char builtIn[] = "Lumasift: 7351-032 Record number 7 within <f> is too long";
  const char reversed[] = "Lumasift: 7351-032 In f, record 7";
  const qrt::test::Catalogue folder({});
  Folder::write(folder.path + "/lumasift.cat",
                qrt::test::catalogueBytes(
                    {{33, 1, "1 not this"}, {32, 2, "1 nor this"}, {32, 1, "2 In %2$s, record %1$d"}}));
  EXPECT_EQ(tell(), reversed);
  setenv("LANG", "fr_FR.UTF-8", 1);
  EXPECT_EQ(tell(), builtIn);
  setenv("LANG", "es_ES.UTF-8", 1);
  setenv("NLSPATH", (folder.path + "/none;" + folder.path + "/%l/%n").c_str(), 1);
  EXPECT_EQ(tell(), builtIn);
  std::filesystem::create_directory(folder.path + "/ESESUTF-8");
  std::filesystem::copy(folder.path + "/lumasift.cat", folder.path + "/ESESUTF-8");
  EXPECT_EQ(tell(), reversed);
  unsetenv("LANG");
}

// The compiled catalogue says what the built-in texts say, for every number.
TEST(SortMessages, TheOwnCatalogue) {
  const Folder folder;
  const auto tellAll = [] {
    std::vector<std::string> texts;
    for (int32_t number = 1; number < 300; ++number)
      texts.push_back(said([&](SortSession&) { message(number, number < 256 ? Insert("x") : 5, 6); }));
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

TEST(SortMessages, TraceOfTheOwnThread) {
  const Folder folder;
  {
    Prepared prepared("-x 'trace calls'");
    const TracedCall outer(*prepared.session, "MainSort");
    TracedCall inner(*prepared.session, "Sort");
    inner.returns(3);
    std::thread([&] { const TracedCall worker(*prepared.session, "MidWriter"); }).join();
  }
  const std::string text = Folder::read("calls");
  EXPECT_TRUE(text.ends_with("---( MainSort\n    ---( Sort\n    ---) return(3)\r\n---) return\r\n")) << text;
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
  const struct {
    const char* options;
    bool isOver;  // the life of the trap, when the signals come
    std::vector<int> signals;
    int last;
  } rows[] = {
      {"-x notrap", false, {SIGTERM}, SIGTERM},
      {"", true, {SIGTERM}, SIGTERM},
      // Behind an error the end is near; a fault would come back for ever.
      {"-Q", false, {SIGTERM, SIGSEGV, SIGSEGV}, SIGSEGV},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      Prepared prepared(row.options);
      std::optional<SignalTrap> trap(std::in_place, *prepared.session);
      if (row.isOver) trap.reset();
      for (const int number : row.signals) raise(number);
    });
    EXPECT_EQ(ended.signal, row.last) << row.options;
  }
}

TEST(SortMessages, SessionsOfAProcess) {
  std::vector<SortSession*> sessions;
  int32_t code = 0;
  while (SortSession* const session = makeSession(code)) {
    EXPECT_EQ(sessionOfThread(), session);
    sessions.push_back(session);
  }
  EXPECT_EQ(sessions.size(), 512u);
  EXPECT_EQ(code, tooManySessions);
  EXPECT_EQ(Lumasift_Lite("-h", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), code);
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
