// DISPLAY, ACCEPT and STOP as they meet the streams, a terminal and the clock.
#include <fcntl.h>
#include <math.h>
#include <time.h>

#include "statement/pictures.h"
#include "support/process.h"

namespace {

using namespace qrt::test;
using namespace std::string_literals;

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

template <typename Number>
QrtDisplayItem item(const Number& value, int32_t digits) {
  const bool isFloat = Number(0.5) != 0;
  return {&value, sizeof value, digits, isFloat ? QRT_DISPLAY_FLOAT : QRT_DISPLAY_INTEGER};
}

QrtDisplayItem text(const char* characters, int32_t type = QRT_DISPLAY_TEXT) {
  return {characters, static_cast<uint32_t>(strlen(characters)), 0, type};
}

// What comes of a DISPLAY: its text, then the start of a message, which may be wrapped.
std::string shown(std::vector<QrtDisplayItem> items, int target = QRT_DISPLAY_SYSOUT, int flags = 0,
                  char point = '.') {
  const Ended ended = answer("", [&] {
    const auto count = static_cast<int32_t>(items.size());
    const QrtDisplayControl control{count, uint8_t(target), uint8_t(flags), uint8_t(point)};
    _qrtcDisplay(&control, items.data());
    return "";
  });
  return ended.out + ended.err.substr(0, 50);
}

TEST(Display, Numbers) {
  const QrtDisplayItem bar = text("|");
  EXPECT_EQ(
      shown({item<int16_t>(INT16_MIN, 5), bar, item(-123, 5), bar, item(-123456, 3), bar, item(-1000, 3), bar,
             item(12, 0), bar, item(int64_t{42}, 20), bar, item(INT64_MIN, 19), bar, item(INT64_MIN, 5)}),
      "-32768|-00123|-456|-000||00000000000000000042|-9223372036854775808|-75808\n");
  EXPECT_EQ(shown({item(1234.5, 5), item(-0.00123, 3), item(0.5, 2), item(0.05, 1), item(0.0, 3),
                   item(-9.996, 3), item(1e-100, 2), item(1e99, 2), item(2.5f, 9)}),
            " .12345E 04-.123E-02 .50E 00 .5E-01 .000E 00-.100E 02 .10E-99 .10E 100 .250000000E 01\n");
  EXPECT_EQ(shown({item(1.5, 2), item(-INFINITY, 9), item(0.0 * INFINITY, 9)}, 1, 0, ','),
            " ,15E 01Infinity\0NaN\0\n"s);
  // The most that is shown.
  EXPECT_EQ(shown({item(0, 100000)}, 1, QRT_DISPLAY_NO_ADVANCING), std::string(256, '0'));
}

TEST(Display, ItemsAndTargets) {
  const int32_t number = 5;
  const std::vector<QrtDisplayItem> items{text("A="), text("b", 4), text("c", 5)};
  EXPECT_EQ(shown(items), "A=bc\n");
  EXPECT_EQ(shown(items, QRT_DISPLAY_CONSOLE, QRT_DISPLAY_NO_ADVANCING), "A=bc");
  EXPECT_EQ(shown(items, 4), "QRT169W  DISPLAY: the device is unknown, nothing i");
  EXPECT_EQ(shown(items, QRT_DISPLAY_SYSPUNCH), "A=bc\nQRT168W  DISPLAY UPON SYSPUNCH: the punch file can");
  setenv("SYSPUNCH", "/dev/null", 1);
  EXPECT_EQ(shown(items, QRT_DISPLAY_SYSPUNCH), "");
  unsetenv("SYSPUNCH");
  for (const int32_t type : {QRT_DISPLAY_INTEGER, QRT_DISPLAY_FLOAT, 0, 6})
    EXPECT_EQ(shown({text("ok"), {&number, 3, 3, type}, text("lost")}),
              "okQRT170W  DISPLAY: an item has an unknown type or s");
}

// The receiver behind an ACCEPT, "#" in what stayed untouched.
std::string accepted(int flags, int32_t length) {
  return itemAfter(length, [&](uint8_t* receiver) { _qrtcAccept(uint8_t(flags), length, receiver); });
}

// The same for _qrtAcceptUnicode; UTF-16 in bytes.
std::string acceptedUnits(int32_t length) {
  return itemAfter(length * 2, [&](uint8_t* receiver) { _qrtAcceptUnicode(0x02, &length, receiver); });
}

std::string unreadable(const std::string& verb, int error) {
  return "QRT200W  " + verb + ": the input cannot be read (system error " + std::to_string(error) + ").\n\n";
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
  ASSERT_EQ(write(terminal, "AB\ntoo long\n\nlast\n", 18), 18);
  setenv("CONSOLE", ptsname(terminal), 1);
  const Ended ended = answer("sysin", four(QRT_ACCEPT_SYSIN | QRT_ACCEPT_CONSOLE, 5));
  unsetenv("CONSOLE");
  EXPECT_EQ(ended.out, "AB   |too l|#####|last |");
  close(line);
  close(terminal);
}

TEST(Accept, WideCharacters) {
  // Bytes and characters of one stream.
  const auto read = [] {
    const std::string first = acceptedUnits(3), byte = accepted(QRT_ACCEPT_SYSIN, 1);
    return first + byte + acceptedUnits(3);
  };
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(answer("\xE9z\n.x", read).out, "\xE9\0z\0.\0x######"s);
  setenv("LC_ALL", "C.UTF-8", 1);
  EXPECT_EQ(answer("a\n\xC3\xA9\xE2\x82\xACx\xF0\x9F\x98\x80\n", read).out,
            "a\0\xE9\0\xAC\x20x\x3D\xD8\0\xDE##"s);
  const Ended bad = answer("\xFFz", read);
  unsetenv("LC_ALL");
  EXPECT_EQ(bad.out, "######z######");
  EXPECT_EQ(bad.err, unreadable("ACCEPT", 84));
}

// A text from the clock lies between what it is before and behind the statement.
TEST(Accept, Clock) {
  _qrtPgmInit(nullptr);
  // The flags that come first win.
  for (const auto& [flags, format] : {std::pair{0x18, "%y%m%d"},
                                      {0x58, "%Y%m%d"},
                                      {0x0C, "%y%j"},
                                      {0x4C, "%Y%j"},
                                      {0x05, "%H%M%S"},
                                      {0x01, "%u"}})
    for (const size_t length : {1, 4, 12}) {
      const auto clock = [&, flags = flags, format = format] {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        char text[32];
        std::string moved(text, strftime(text, sizeof text, format, localtime(&now.tv_sec)));
        if (flags == 0x05) moved += std::to_string(100 + now.tv_nsec / 10'000'000).substr(1);
        moved.resize(length, ' ');
        return moved;
      };
      const std::string before = clock(), text = accepted(flags, int32_t(length)), behind = clock();
      EXPECT_TRUE(before > behind || (before <= text && text <= behind)) << "unless midnight came " << text;
    }
}

TEST(Stop, WaitsForALine) {
  const auto stop = [] { return _qrtcStopLiteral(10, "mount tape"), accepted(QRT_ACCEPT_SYSIN, 4); };
  EXPECT_EQ(answer("go on\nnext", stop).out, "mount tape\nnext");
  const Ended atEnd = answer("", stop);
  EXPECT_EQ(atEnd.out + atEnd.err, "mount tape\n####");
  setenv("SYSIN", "/", 1);  // a directory
  const Ended failed = answer("", stop);
  unsetenv("SYSIN");
  EXPECT_EQ(failed.err, unreadable("STOP", 21) + unreadable("ACCEPT", 21));
}

}  // namespace
