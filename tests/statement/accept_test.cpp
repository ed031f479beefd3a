// ACCEPT from files, a terminal and the clock; STOP with a literal.
#include <fcntl.h>
#include <locale.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "support/process.h"

namespace {

using namespace qrt::test;

// The receiver of `length` bytes behind an ACCEPT, "?" in what stayed untouched; one guard byte behind it.
std::string accepted(uint8_t flags, size_t length) {
  std::string receiver(length + 1, '?');
  _qrtcAccept(flags, static_cast<int32_t>(length), reinterpret_cast<uint8_t*>(receiver.data()));
  if (receiver.back() != '?') return "overrun";
  receiver.pop_back();
  return receiver;
}

std::string acceptedUnits(uint8_t flags, int32_t length) {
  std::u16string receiver(static_cast<size_t>(length) + 1, u'?');
  _qrtAcceptUnicode(flags, &length, receiver.data());
  std::string shown;
  for (const char16_t unit : receiver) {
    char digits[8];
    snprintf(digits, sizeof digits, "%X ", static_cast<unsigned>(unit));
    shown += digits;
  }
  return shown;
}

// What `work` answers, told on standard output by a child in which the process is up.
Ended answer(const std::function<std::string()>& work, const std::string& input = "") {
  return inChild(
      [&] {
        _qrtPgmInit(nullptr);
        const std::string text = work();
        fwrite(text.data(), 1, text.size(), stdout);
      },
      input);
}

TEST(Accept, LinesOfAFileRunTogether) {
  const auto read = [] {
    std::string all;
    for (int statement = 0; statement < 5; ++statement) all += accepted(QRT_ACCEPT_SYSIN, 3) + "|";
    return all;
  };
  EXPECT_EQ(answer(read, "AB\nCD\n").out, "ABC|D  |???|???|???|");
  EXPECT_EQ(answer(read, "\n\n\n").out, "???|???|???|???|???|");
  EXPECT_EQ(answer(read, "ABCDEFGH").out, "ABC|DEF|GH |???|???|");
  EXPECT_EQ(answer([] { return accepted(QRT_ACCEPT_SYSIN | QRT_ACCEPT_DATE, 0); }, "A").out, "");
}

TEST(Accept, ConsoleGoesBeforeSysin) {
  const std::string path = std::filesystem::temp_directory_path() / "qrtrlib_accept_console";
  std::ofstream(path) << "console";
  setenv("CONSOLE", path.c_str(), 1);
  EXPECT_EQ(answer([] { return accepted(QRT_ACCEPT_SYSIN | QRT_ACCEPT_CONSOLE, 7); }, "sysin").out,
            "console");
  unsetenv("CONSOLE");
  std::filesystem::remove(path);
}

// A terminal whose input is typed ahead, as the CONSOLE of the children made while it lives.
class Terminal {
 public:
  explicit Terminal(const char* typed) : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    grantpt(master_);
    unlockpt(master_);
    const char* name = ptsname(master_);
    slave_ = open(name, O_RDWR | O_NOCTTY);
    setenv("CONSOLE", name, 1);
    const ssize_t written = write(master_, typed, strlen(typed));
    EXPECT_EQ(written, static_cast<ssize_t>(strlen(typed)));
  }
  ~Terminal() {
    unsetenv("CONSOLE");
    close(slave_);
    close(master_);
  }

 private:
  int master_, slave_;
};

TEST(Accept, ALineOfATerminalIsOneInput) {
  const Terminal terminal("AB\ntoo long\n\nlast\n");
  const Ended ended = answer([] {
    std::string all;
    for (int statement = 0; statement < 4; ++statement) all += accepted(QRT_ACCEPT_CONSOLE, 5) + "|";
    return all;
  });
  EXPECT_EQ(ended.out, "AB   |too l|?????|last |");
}

TEST(Accept, ReadErrorIsReported) {
  setenv("SYSIN", "/", 1);
  const Ended ended = answer([] { return accepted(QRT_ACCEPT_SYSIN, 2); });
  unsetenv("SYSIN");
  EXPECT_NE(ended.err.find("QRT200"), std::string::npos) << ended.err;
  EXPECT_NE(ended.err.find("ACCEPT"), std::string::npos) << ended.err;
  EXPECT_NE(ended.err.find("21"), std::string::npos) << ended.err;  // EISDIR
}

TEST(Accept, WideCharacters) {
  const auto read = [](const char* locale) {
    return [=] {
      setlocale(LC_CTYPE, locale);
      std::string all = acceptedUnits(QRT_ACCEPT_SYSIN, 3) + "|";
      all += accepted(QRT_ACCEPT_SYSIN, 1) + "|";  // bytes and characters of one stream
      return all + acceptedUnits(QRT_ACCEPT_SYSIN, 3);
    };
  };
  const std::string input = "a\n\xC3\xA9\xE2\x82\xACx\xF0\x9F\x98\x80\n";
  EXPECT_EQ(answer(read("C.UTF-8"), input).out, "61 E9 20AC 3F |x|D83D DE00 3F 3F ");
  EXPECT_EQ(answer(read("C"), "\xE9z\n.x").out, "E9 7A 2E 3F |x|3F 3F 3F 3F ");
  const Ended bad = answer(read("C.UTF-8"), "\xFFz");
  EXPECT_NE(bad.err.find("QRT200"), std::string::npos) << bad.err;
}

TEST(Accept, Clock) {
  _qrtPgmInit(nullptr);
  setenv("TZ", "UTC", 1);
  const struct {
    uint8_t flags;
    const char* format;
  } sources[] = {
      {QRT_ACCEPT_DATE | QRT_ACCEPT_DAY, "%y%m%d"},
      {QRT_ACCEPT_DATE | QRT_ACCEPT_FOUR_DIGIT_YEAR, "%Y%m%d"},
      {QRT_ACCEPT_DAY | QRT_ACCEPT_TIME, "%y%j"},
      {QRT_ACCEPT_DAY | QRT_ACCEPT_FOUR_DIGIT_YEAR, "%Y%j"},
      {QRT_ACCEPT_TIME | QRT_ACCEPT_DAY_OF_WEEK, "%H%M%S"},
      {QRT_ACCEPT_DAY_OF_WEEK, "%u"},
  };
  for (const auto& source : sources)
    for (const size_t length : {1u, 4u, 12u}) {
      // The second may change between the two looks at the clock.
      std::string expected, got, again;
      const auto clock = [&] {
        const time_t now = time(nullptr);
        char text[32];
        return std::string(text, strftime(text, sizeof text, source.format, gmtime(&now)));
      };
      do {
        expected = clock();
        got = accepted(source.flags, length);
        again = clock();
      } while (expected != again);
      if ((source.flags & QRT_ACCEPT_TIME) != 0 && (source.flags & QRT_ACCEPT_DAY) == 0)
        expected += got.size() >= 8 ? got.substr(6, 2) : "00";  // the hundredths
      expected.resize(length, ' ');
      EXPECT_EQ(got, expected) << source.format;
    }
}

TEST(Stop, WaitsForALine) {
  const auto stop = [](const char* text) {
    _qrtcStopLiteral(static_cast<int32_t>(strlen(text)), text);
    return accepted(QRT_ACCEPT_SYSIN, 4);
  };
  EXPECT_EQ(answer([=] { return stop("mount tape"); }, "go on\nnext").out, "mount tape\nnext");
  EXPECT_EQ(answer([=] { return stop(""); }, "").out, "\n????");
  setenv("SYSIN", "/", 1);
  const Ended ended = answer([=] { return stop("x"); });
  unsetenv("SYSIN");
  EXPECT_NE(ended.err.find("STOP"), std::string::npos) << ended.err;
}

}  // namespace
