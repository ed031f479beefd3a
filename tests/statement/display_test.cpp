// DISPLAY as it comes out on the streams.
#include <math.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <type_traits>

#include "support/process.h"

namespace {

using namespace qrt::test;
using namespace std::string_literals;

template <typename Number>
QrtDisplayItem item(const Number& value, int32_t digits) {
  const bool isFloat = std::is_floating_point_v<Number>;
  return {&value, sizeof value, digits, isFloat ? QRT_DISPLAY_FLOAT : QRT_DISPLAY_INTEGER};
}

QrtDisplayItem text(const char* characters, int32_t type = QRT_DISPLAY_TEXT) {
  return {characters, static_cast<uint32_t>(strlen(characters)), 0, type};
}

// What a child writes that brings the process up and shows the items.
Ended shown(std::vector<QrtDisplayItem> items, uint8_t target = QRT_DISPLAY_SYSOUT, uint8_t flags = 0,
            uint8_t point = '.') {
  return inChild([&] {
    _qrtPgmInit(nullptr);
    const QrtDisplayControl control{static_cast<int32_t>(items.size()), target, flags, point};
    _qrtcDisplay(&control, items.data());
  });
}

TEST(Display, Numbers) {
  const QrtDisplayItem bar = text("|");
  EXPECT_EQ(
      shown({item<int16_t>(INT16_MIN, 5), bar, item(-123, 5), bar, item(-123456, 3), bar, item(-1000, 3), bar,
             item(12, 0), bar, item(int64_t{42}, 20), bar, item(INT64_MIN, 19), bar, item(INT64_MIN, 5)})
          .out,
      "-32768|-00123|-456|-000||00000000000000000042|-9223372036854775808|-75808\n");
  EXPECT_EQ(shown({item(1234.5, 5), item(-0.00123, 3), item(0.5, 2), item(0.05, 1), item(0.0, 3),
                   item(-9.996, 3), item(1e-100, 2), item(1e99, 2), item(2.5f, 9)})
                .out,
            " .12345E 04-.123E-02 .50E 00 .5E-01 .000E 00-.100E 02 .10E-99 .10E 100 .250000000E 01\n");
  EXPECT_EQ(
      shown({item(1.5, 2), item(-INFINITY, 9), item(0.0 * INFINITY, 9)}, QRT_DISPLAY_SYSOUT, 0, ',').out,
      " ,15E 01Infinity\0NaN\0\n"s);
  // The most that is shown.
  EXPECT_EQ(shown({item(0, 100000)}, QRT_DISPLAY_SYSOUT, QRT_DISPLAY_NO_ADVANCING).out,
            std::string(256, '0'));
}

TEST(Display, ItemsAndTargets) {
  const std::vector<QrtDisplayItem> items{text("A="), text("b", QRT_DISPLAY_TEXT_4),
                                          text("c", QRT_DISPLAY_TEXT_5)};
  EXPECT_EQ(shown(items).out, "A=bc\n");
  EXPECT_EQ(shown(items, QRT_DISPLAY_CONSOLE, QRT_DISPLAY_NO_ADVANCING).out, "A=bc");

  const std::string path = std::filesystem::temp_directory_path() / "qrtrlib_display_punch";
  setenv("SYSPUNCH", path.c_str(), 1);
  const Ended punched = shown(items, QRT_DISPLAY_SYSPUNCH);
  unsetenv("SYSPUNCH");
  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "A=bc\n");
  EXPECT_EQ(punched.out + punched.err, "");
  std::filesystem::remove(path);
}

TEST(Display, ReportsWhatItCannotShow) {
  // The start of the message: a long one may be wrapped.
  const auto expectReport = [](const Ended& ended, const char* out, const std::string& message) {
    EXPECT_EQ(ended.out, out);
    EXPECT_EQ(ended.err.substr(0, message.size()), message);
  };
  const int32_t number = 5;
  for (const QrtDisplayItem& bad : {QrtDisplayItem{&number, 3, 3, QRT_DISPLAY_INTEGER},
                                    {&number, 3, 3, QRT_DISPLAY_FLOAT},
                                    {&number, 4, 1, 6}})
    expectReport(shown({text("ok"), bad, text("lost")}), "ok",
                 "QRT170W  DISPLAY: an item has an unknown type or size,");
  expectReport(shown({text("lost")}, 4), "", "QRT169W  DISPLAY: the device is unknown,");
  expectReport(shown({text("card")}, QRT_DISPLAY_SYSPUNCH), "card\n",
               "QRT168W  DISPLAY UPON SYSPUNCH: the punch file cannot be opened.");
}

TEST(Display, GivesADebuggerTheFirstItemOnly) {
  const Ended ended = inChild([] {
    _qrtPgmInit(nullptr);
    char buffer[] = "####";
    _qrtDebugBuf = buffer;
    QrtDisplayItem items[] = {text("one"), text("two")};
    const QrtDisplayControl control{2, QRT_DISPLAY_SYSOUT, 0, '.'};
    _qrtcDisplay(&control, items);
    printf("%s %d %d", buffer, _qrtDebugBufLen, items[0].digits);
  });
  EXPECT_EQ(ended.out, "one# 3 3");
}

}  // namespace
