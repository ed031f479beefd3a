// ACCEPT from files, a terminal and the clock; STOP with a literal.
#include <fcntl.h>
#include <locale.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "statement/pictures.h"
#include "support/process.h"

namespace {

using namespace qrt::test;
using namespace std::string_literals;

// The receiver behind an ACCEPT, "#" in what stayed untouched.
std::string accepted(int flags, int32_t length) {
  return itemAfter(static_cast<size_t>(length),
                   [&](uint8_t* receiver) { _qrtcAccept(static_cast<uint8_t>(flags), length, receiver); });
}

// The same for _qrtAcceptUnicode; UTF-16 in bytes.
std::string acceptedUnits(int32_t length) {
  return itemAfter(static_cast<size_t>(length) * 2,
                   [&](uint8_t* receiver) { _qrtAcceptUnicode(QRT_ACCEPT_SYSIN, &length, receiver); });
}

// What `work` answers, told on standard output by a child in which the process is up.
template <typename Work>
Ended answer(const std::string& input, Work work) {
  const auto tell = [&] {
    _qrtPgmInit(nullptr);
    const std::string text = work();
    fwrite(text.data(), 1, text.size(), stdout);
  };
  return inChild(tell, input);
}

// Four ACCEPTs in turn.
auto four(int flags, int32_t length) {
  return [=] {
    std::string all;
    for (int statement = 0; statement < 4; ++statement) all += accepted(flags, length) + "|";
    return all;
  };
}

TEST(Accept, LinesOfAFileRunTogether) {
  const auto read = four(QRT_ACCEPT_SYSIN | QRT_ACCEPT_DATE, 3);
  EXPECT_EQ(answer("AB\nCD\n", read).out, "ABC|D  |###|###|");
  EXPECT_EQ(answer("\n\nABCDEFGH", read).out, "ABC|DEF|GH |###|");
  EXPECT_EQ(answer("A", four(QRT_ACCEPT_SYSIN, 0)).out, "||||");
}

TEST(Accept, ALineOfATerminalIsOneInput) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(terminal) | unlockpt(terminal), 0);
  const int line = open(ptsname(terminal), O_RDWR | O_NOCTTY);  // what is typed stays while this is open
  const std::string typed = "AB\ntoo long\n\nlast\n";
  ASSERT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  setenv("CONSOLE", ptsname(terminal), 1);
  const Ended ended = answer("sysin", four(QRT_ACCEPT_SYSIN | QRT_ACCEPT_CONSOLE, 5));
  unsetenv("CONSOLE");
  EXPECT_EQ(ended.out, "AB   |too l|#####|last |");
  close(line);
  close(terminal);
}

TEST(Accept, WideCharacters) {
  const auto read = [](const char* locale) {
    return [=] {
      setlocale(LC_CTYPE, locale);
      const std::string first = acceptedUnits(3), byte = accepted(QRT_ACCEPT_SYSIN, 1);
      return first + byte + acceptedUnits(3);
    };
  };
  EXPECT_EQ(answer("a\n\xC3\xA9\xE2\x82\xACx\xF0\x9F\x98\x80\n", read("C.UTF-8")).out,
            "a\0\xE9\0\xAC\x20x\x3D\xD8\0\xDE##"s);
  EXPECT_EQ(answer("\xE9z\n.x", read("C")).out, "\xE9\0z\0.\0x######"s);
  const Ended bad = answer("\xFFz", read("C.UTF-8"));
  EXPECT_EQ(bad.out, "######z######");
  EXPECT_EQ(bad.err, "QRT200W  ACCEPT: the input cannot be read (system error 84).\n\n");
}

// A text from the clock lies between what it is before and behind the statement.
TEST(Accept, Clock) {
  _qrtPgmInit(nullptr);
  constexpr int time = QRT_ACCEPT_TIME | QRT_ACCEPT_DAY_OF_WEEK;
  for (const auto& [flags, format] : {std::pair{QRT_ACCEPT_DATE | QRT_ACCEPT_DAY, "%y%m%d"},
                                      {QRT_ACCEPT_DAY | QRT_ACCEPT_TIME, "%y%j"},
                                      {QRT_ACCEPT_DATE | QRT_ACCEPT_FOUR_DIGIT_YEAR, "%Y%m%d"},
                                      {QRT_ACCEPT_DAY | QRT_ACCEPT_FOUR_DIGIT_YEAR, "%Y%j"},
                                      {time, "%H%M%S"},
                                      {QRT_ACCEPT_DAY_OF_WEEK, "%u"}})
    for (const int32_t length : {1, 4, 12}) {
      const auto clock = [&] {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        char text[32];
        std::string moved(text, strftime(text, sizeof text, format, localtime(&now.tv_sec)));
        if (flags == time) moved += std::to_string(100 + now.tv_nsec / 10'000'000).substr(1);
        moved.resize(static_cast<size_t>(length), ' ');
        return moved;
      };
      std::string before, text, behind;
      do {
        before = clock(), text = accepted(flags, length), behind = clock();
      } while (before > behind);  // midnight
      EXPECT_TRUE(before <= text && text <= behind) << format << " " << before << " " << text;
    }
}

TEST(Stop, WaitsForALine) {
  const auto stop = [] {
    _qrtcStopLiteral(10, "mount tape");
    return accepted(QRT_ACCEPT_SYSIN, 4);
  };
  EXPECT_EQ(answer("go on\nnext", stop).out, "mount tape\nnext");
  const Ended atEnd = answer("", stop);
  EXPECT_EQ(atEnd.out + atEnd.err, "mount tape\n####");
  setenv("SYSIN", "/", 1);  // a directory
  const Ended failed = answer("", stop);
  unsetenv("SYSIN");
  EXPECT_EQ(failed.out, "mount tape\n####");
  EXPECT_EQ(failed.err,
            "QRT200W  STOP: the input cannot be read (system error 21).\n\n"
            "QRT200W  ACCEPT: the input cannot be read (system error 21).\n\n");
}

}  // namespace
