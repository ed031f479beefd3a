// DISPLAY as it comes out on the streams.
#include <fcntl.h>
#include <math.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/process.h"

namespace {

using namespace qrt::test;

struct Shown {
  std::vector<QrtDisplayItem> items;
  uint8_t target = QRT_DISPLAY_SYSOUT;
  uint8_t flags = 0;
  char point = '.';
};

void show(Shown shown) {
  const QrtDisplayControl control{static_cast<int32_t>(shown.items.size()), shown.target, shown.flags,
                                  static_cast<uint8_t>(shown.point)};
  _qrtcDisplay(&control, shown.items.data());
}

// What a child writes that brings the process up and then shows.
Ended shownInChild(const Shown& shown) {
  return inChild([&] {
    _qrtPgmInit(nullptr);
    show(shown);
  });
}

template <typename Number>
QrtDisplayItem item(const Number& value, int32_t digits) {
  const bool isFloat = static_cast<Number>(0.5) != 0;
  return {&value, sizeof value, digits, isFloat ? QRT_DISPLAY_FLOAT : QRT_DISPLAY_INTEGER};
}

QrtDisplayItem text(const char* characters, int32_t type = QRT_DISPLAY_TEXT) {
  return {characters, static_cast<uint32_t>(strlen(characters)), 0, type};
}

template <typename Number>
void expectShown(Number value, int32_t digits, const std::string& expected, char point = '.') {
  QrtDisplayItem one = item(value, digits);
  char buffer[512];
  memset(buffer, '?', sizeof buffer);
  _qrtDebugBuf = buffer;
  const QrtDisplayControl control{1, QRT_DISPLAY_SYSOUT, 0, static_cast<uint8_t>(point)};
  _qrtPgmInit(nullptr);
  _qrtcDisplay(&control, &one);
  _qrtDebugBuf = nullptr;
  EXPECT_EQ(std::string(buffer, static_cast<size_t>(_qrtDebugBufLen)), expected) << value << " " << digits;
  EXPECT_EQ(one.digits, static_cast<int32_t>(expected.size()));
  EXPECT_EQ(buffer[expected.size()], '?');
}

TEST(Display, Integers) {
  expectShown<int16_t>(-7, 4, "-0007");
  expectShown<int16_t>(INT16_MIN, 5, "-32768");
  expectShown<int32_t>(-123, 5, "-00123");
  expectShown<int32_t>(123456, 3, "456");
  expectShown<int32_t>(-123456, 3, "-456");
  expectShown<int32_t>(-1000, 3, "-000");
  expectShown<int32_t>(0, 1, "0");
  expectShown<int32_t>(12, 0, "");
  expectShown<int64_t>(42, 20, "00000000000000000042");
  expectShown<int64_t>(-42, 4, "-0042");
  expectShown<int64_t>(INT64_MIN, 19, "-9223372036854775808");
  expectShown<int64_t>(INT64_MIN, 5, "-75808");
  expectShown<int32_t>(0, 100000, std::string(256, '0'));  // the most that is shown
}

TEST(Display, Floats) {
  expectShown(1234.5, 5, " .12345E 04");
  expectShown(1234.5, 5, " ,12345E 04", ',');
  expectShown(-0.00123, 3, "-.123E-02");
  expectShown(0.5, 2, " .50E 00");
  expectShown(0.05, 1, " .5E-01");
  expectShown(0.0, 3, " .000E 00");
  expectShown(-9.996, 3, "-.100E 02");
  expectShown(1e-100, 2, " .10E-99");
  expectShown(1e99, 2, " .10E 100");
  expectShown(2.5f, 9, " .250000000E 01");
  expectShown(-INFINITY, 9, std::string("Infinity", 9));
  expectShown(static_cast<double>(NAN), 9, std::string("NaN", 4));
}

TEST(Display, WritesItemsOneBehindTheOther) {
  const int32_t number = 5;
  const Shown shown{
      {text("A="), item(number, 3), text(" b", QRT_DISPLAY_TEXT_4), text("c", QRT_DISPLAY_TEXT_5)}};
  EXPECT_EQ(shownInChild(shown).out, "A=005 bc\n");
  Shown more = shown;
  more.flags = QRT_DISPLAY_NO_ADVANCING;
  more.target = QRT_DISPLAY_CONSOLE;
  EXPECT_EQ(shownInChild(more).out, "A=005 bc");
}

TEST(Display, ReportsWhatItCannotShow) {
  const int32_t number = 5;
  QrtDisplayItem odd = item(number, 3);
  odd.size = 3;
  const QrtDisplayItem unknown{&number, 4, 1, 6};
  for (const QrtDisplayItem& bad : {odd, unknown}) {
    const Ended ended = shownInChild({{text("ok"), bad, text("lost")}});
    EXPECT_EQ(ended.out, "ok");
    EXPECT_NE(ended.err.find("QRT170"), std::string::npos) << ended.err;
  }
  const Ended target = shownInChild({{text("lost")}, 4});
  EXPECT_EQ(target.out, "");
  EXPECT_NE(target.err.find("QRT169"), std::string::npos) << target.err;

  unsetenv("SYSPUNCH");
  unsetenv("SYSPCH");
  const Ended punch = shownInChild({{text("card")}, QRT_DISPLAY_SYSPUNCH});
  EXPECT_EQ(punch.out, "card\n");
  EXPECT_NE(punch.err.find("QRT168"), std::string::npos) << punch.err;
}

TEST(Display, PunchesIntoItsFile) {
  const std::string path = std::filesystem::temp_directory_path() / "qrtrlib_display_punch";
  setenv("SYSPUNCH", path.c_str(), 1);
  const Ended ended = shownInChild({{text("card")}, QRT_DISPLAY_SYSPUNCH});
  unsetenv("SYSPUNCH");
  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "card\n");
  EXPECT_EQ(ended.out + ended.err, "");
  std::filesystem::remove(path);
}

TEST(Display, GivesADebuggerTheFirstItemOnly) {
  const Ended ended = inChild([] {
    _qrtPgmInit(nullptr);
    char buffer[8] = "???????";
    _qrtDebugBuf = buffer;
    show({{text("one"), text("two")}});
    const bool right = _qrtDebugBufLen == 3 && memcmp(buffer, "one????", 7) == 0;
    fflush(nullptr);
    _exit(right ? 7 : 8);
  });
  EXPECT_EQ(ended.exitCode, 7);
  EXPECT_EQ(ended.out, "");
}

}  // namespace
