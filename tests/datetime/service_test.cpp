// The date services: every condition with its twelve bytes, random dates and times there and back, the clock
// in several time zones, the century window, twins for host data, and memory that runs out.
#include <time.h>

#include "datetime/clock.h"
#include "support/program.h"

using namespace qrt::test;

namespace {

// A varying string in storage of exactly its size.
struct Varying {
  std::string bytes;

  template <typename Text>
  Varying(const Text& text) : bytes(2, '\0') {
    bytes += text;
    const auto length = static_cast<int16_t>(bytes.size() - 2);
    memcpy(bytes.data(), &length, sizeof length);
  }
  const QrtVaryingString* operator*() const {
    return reinterpret_cast<const QrtVaryingString*>(bytes.data());
  }
};

// The record of a condition, written out.
std::string record(uint16_t message) {
  std::string bytes(12, '\0');
  if (message == 0) return bytes;
  memcpy(&bytes[2], &message, sizeof message);
  if (message == 1) return bytes;
  const bool warning = message == 2526 || message == 2527;
  bytes[0] = warning ? 2 : 3;
  bytes[4] = warning ? 0x51 : 0x59;
  return bytes.replace(5, 3, "DTS");
}

// A condition to expect, after the service filled a feedback of other content.
struct Feedback {
  QrtFeedback value;
  Feedback() { memset(&value, 0x77, sizeof value); }
  operator QrtFeedback*() { return &value; }
  std::string bytes() const { return {reinterpret_cast<const char*>(&value), sizeof value}; }
};

template <typename Value>
std::string shownBy(int16_t (*service)(const Value*, const QrtVaryingString*, char*, QrtFeedback*),
                    Value value, const Varying& picture, uint16_t condition) {
  std::string output(QRT_DATE_FIELD + 2, '\xEE');
  Feedback feedback;
  EXPECT_EQ(service(&value, *picture, output.data() + 1, feedback), 0);
  EXPECT_EQ(feedback.bytes(), record(condition)) << value << picture.bytes.substr(2);
  EXPECT_EQ(output.front() + output.back(), 2 * '\xEE');
  return output.substr(1, output.find_last_not_of(' ', QRT_DATE_FIELD));
}

std::string shown(int32_t day, const Varying& picture, uint16_t condition = 0) {
  return shownBy(DTSDATE, day, picture, condition);
}

std::string shownSeconds(double seconds, const Varying& picture, uint16_t condition = 0) {
  return shownBy(DTSDATM, seconds, picture, condition);
}

template <typename Value>
Value readBy(int16_t (*service)(const QrtVaryingString*, const QrtVaryingString*, Value*, QrtFeedback*),
             const Varying& input, const Varying& picture, uint16_t condition = 0) {
  Feedback feedback;
  Value value = 77;
  EXPECT_EQ(service(*input, *picture, &value, feedback), 0);
  EXPECT_EQ(feedback.bytes(), record(condition)) << input.bytes.substr(2) << picture.bytes.substr(2);
  EXPECT_TRUE(condition == 0 || value == 0);
  return value;
}

TEST(DateServices, ShowDates) {
  EXPECT_EQ(shown(1, "  "), "10/15/82");
  EXPECT_EQ(shown(1, std::string_view("YYYY\0MM", 7)), "1582");
  EXPECT_EQ(shown(161215, "Wwwwwwwwwz, ZD Mmmmmmmmmz YYYY HH:MI"), "Tuesday, 5 March 2024 00:00");
  EXPECT_EQ(shown(161215, "<JJJJ> YY.MM.DD"), "REIW 06.03.05");
  EXPECT_EQ(shown(161215, "YYY <CCCCCCCC> <CCCC>"), "113 REPUBLIC MING");
  EXPECT_EQ(shown(0, "", 2512), "");
  EXPECT_EQ(shown(3074325, "", 2512), "");
  EXPECT_EQ(shown(1, "YYYY 9999", 2518), "");
  EXPECT_EQ(shown(1, "<JJJJ> <CCCC>", 2518), "");
  EXPECT_EQ(shown(1, "<JJJJ> YY", 2522), "");
  const std::string longText(100, 'x');
  EXPECT_EQ(shown(1, longText, 2526), longText.substr(0, 80));

  EXPECT_EQ(shownSeconds(86400, ""), "10/15/82 12:00:00 AM");
  EXPECT_EQ(shownSeconds(265621679999.999, "YYYY-MM-DD HH:MI:SS.999"), "9999-12-31 23:59:59.999");
  EXPECT_EQ(shownSeconds(265621679999.999, "HH AP HH A.P."), "11 PM 11 P.M");
  EXPECT_EQ(shownSeconds(86400 + 12 * 3600, "HH ap"), "12 am");
  for (const double outside : {86399.999, 265621680000.0, 0.0 / 0.0, -1.0})
    EXPECT_EQ(shownSeconds(outside, "", 2505), "");
  EXPECT_EQ(shownSeconds(86400, "<JJJJ>", 2506), "");
  EXPECT_EQ(shownSeconds(86400, "MMMMMMMMMMMMMMMMMMMMMMM", 2518), "");
  EXPECT_EQ(shownSeconds(86400, longText, 2527), longText.substr(0, 80));
}

TEST(DateServices, ReadTexts) {
  struct Row {
    const char *input, *picture;
    int32_t day, integerDate;
    uint16_t date, time;  // conditions
  };
  constexpr Row rows[] = {{"2024-03-05", "YYYY-MM-DD", 161215, 154562, 0, 0},
                          {"2024065", "YYYYDDD", 161215, 154562, 0, 0},
                          {"REIW 6 3 5", "<JJJJ> YY MM DD", 161215, 154562, 0, 0},
                          {"REIW 1 4 30", "<JJJJ> YY MM DD", 0, 0, 2517, 2517},
                          {"SHOW 65 1 1", "<JJJJ> YY MM DD", 0, 0, 2521, 2521},
                          {"NONE 6 3 5", "<JJJJ> YY MM DD", 0, 0, 2509, 2509},
                          {"6 REIW", "YY <JJJJ>", 0, 0, 1, 1},
                          {"6 REIW MING", "YY <JJJJ> <CCCC>", 0, 0, 2518, 2518},
                          {"2024", "YYYY", 0, 0, 2507, 2507},
                          {"2024-02-30", "YYYY-MM-DD", 0, 0, 2508, 2508},
                          {"1582-10-14", "YYYY-MM-DD", 0, 0, 2513, 2513},
                          {"2024-13-01", "YYYY-MM-DD", 0, 0, 2517, 2517},
                          {"2024-01-01", "-YYYY-MM-DD", 0, 0, 2518, 2518},
                          {"2024-01", "YYYY-MM-DD", 0, 0, 2520, 2525},
                          {"2024-01-01 24", "YYYY-MM-DD HH", 0, 0, 1, 2510},
                          {"2024-01-01 60", "YYYY-MM-DD MI", 0, 0, 1, 2516},
                          {"2024-01-01 60", "YYYY-MM-DD SS", 0, 0, 1, 2519}};
  for (const Row& row : rows) {
    EXPECT_EQ(readBy(DTSDAYS, row.input, row.picture, row.date), row.day) << row.input;
    const int32_t integerDate = readBy(DTSCBLDY, row.input, row.picture, row.date);
    EXPECT_EQ(integerDate, row.integerDate) << row.input;
    EXPECT_EQ(readBy(DTSSECS, row.input, row.picture, row.time), row.day * 86400.0) << row.input;
  }
  const std::string date = "2024-03-05 ", dated = "YYYY-MM-DD ";
  for (const auto& [time, picture, hour] : {std::tuple{"12:30 PM", "HH:MI AP", 12.5},
                                            {"12:30 am", "hh:mi ap", 0.5},
                                            {"12.30 A.M.", "HH.MI A.P.", 0.5},
                                            {"12:30", "HH:MI", 12.5}})
    EXPECT_EQ(readBy(DTSSECS, date + time, dated + picture), (161215 * 24 + hour) * 3600) << time;
  Varying negative("2024");
  negative.bytes[1] = '\x80';
  EXPECT_EQ(readBy(DTSDAYS, negative, "YYYY-MM-DD", 2520), 0);
  const std::string longText = "2024-03-05" + std::string(3000, '.');
  EXPECT_EQ(readBy(DTSDAYS, longText, "YYYY-MM-DD"), 161215);
}

TEST(DateServices, PartsAndWeekday) {
  struct Row {
    int32_t parts[7];
    uint16_t condition;
  };
  constexpr Row rows[] = {{{1582, 10, 15, 0, 0, 0, 0}, 0},        {{9999, 12, 31, 23, 59, 59, 999}, 0},
                          {{1581, 12, 31, 0, 0, 0, 0}, 2514},     {{10000, 1, 1, 0, 0, 0, 0}, 2514},
                          {{2024, 13, 1, 24, 0, 0, 0}, 2517},     {{2023, 4, 31, 24, 0, 0, 0}, 2511},
                          {{1582, 10, 14, 24, 0, 0, 0}, 2513},    {{2024, 1, 1, 24, 60, 60, 1000}, 2510},
                          {{2024, 1, 1, -1, 60, 60, 1000}, 2510}, {{2024, 1, 1, 0, 60, 60, 1000}, 2516},
                          {{2024, 1, 1, 0, 0, 60, 1000}, 2519},   {{2024, 1, 1, 0, 0, 0, 1000}, 2515}};
  for (const auto& [p, condition] : rows) {
    Feedback feedback;
    double seconds = 77;
    DTSISEC(p, p + 1, p + 2, p + 3, p + 4, p + 5, p + 6, &seconds, feedback);
    EXPECT_EQ(feedback.bytes(), record(condition)) << p[0] << " " << p[1] << " " << p[2];
    int32_t back[7] = {7, 7, 7, 7, 7, 7, 7};
    DTSSECI(&seconds, back, back + 1, back + 2, back + 3, back + 4, back + 5, back + 6, feedback);
    EXPECT_EQ(feedback.bytes(), record(condition == 0 ? 0 : 2505));
    constexpr int32_t none[7] = {};
    EXPECT_EQ(memcmp(back, condition == 0 ? p : none, sizeof back), 0);
  }
  for (const auto& [day, weekday, condition] :
       {std::tuple{1, 6, 0}, {161215, 3, 0}, {0, 0, 2512}, {3074325, 0, 2512}}) {
    Feedback feedback;
    int32_t found = 77;
    DTSDYWK(&day, &found, feedback);
    EXPECT_EQ(found, weekday);
    EXPECT_EQ(feedback.bytes(), record(static_cast<uint16_t>(condition)));
  }
}

TEST(DateServices, EveryTimeThereAndBack) {
  std::mt19937 random(613);
  for (int round = 0; round < 20000; ++round) {
    const auto day = static_cast<int32_t>(1 + random() % QRT_LAST_LILIAN_DAY);
    const auto milliseconds = static_cast<int32_t>(random() % 86400000);
    const double seconds = day * 86400.0 + milliseconds / 1000.0;
    const time_t unixSeconds = (day - 141428) * int64_t{86400} + milliseconds / 1000;  // 1970 is day 141428
    tm parts;
    gmtime_r(&unixSeconds, &parts);
    char expected[80], fraction[8];
    strftime(expected, sizeof expected, "%Y-%m-%d %H:%M:%S", &parts);
    snprintf(fraction, sizeof fraction, ".%03d", milliseconds % 1000);
    const std::string text = shownSeconds(seconds, "YYYY-MM-DD HH:MI:SS.999");
    ASSERT_EQ(text, std::string(expected) + fraction);
    ASSERT_EQ(readBy(DTSSECS, text, "YYYY-MM-DD HH:MI:SS.999"), seconds) << text;
    strftime(expected, sizeof expected, "%A, %-d %B %Y (%j)", &parts);
    ASSERT_EQ(shown(day, "Wwwwwwwwwz, ZD Mmmmmmmmmz YYYY (DDD)"), expected);
    ASSERT_EQ(readBy(DTSDAYS, expected, "Wwwwwwwwwz, ZD Mmmmmmmmmz YYYY"), day) << expected;
  }
}

TEST(DateServices, ClockAndZones) {
  constexpr int64_t newYear = 1704067200;  // 2024 in Greenwich
  struct Row {
    const char* zone;
    int64_t now;
    int32_t hours, minutes, seconds;
    const char* local;
  };
  constexpr Row rows[] = {
      {"UTC0", newYear, 0, 0, 0, "20240101000000500"},
      {"IST-5:30", newYear - 60, 5, -30, 19800, "20240101052900500"},
      {"NST3:30", newYear + 60, -3, 30, -12600, "20231231203100500"},
      {"TOT-14", newYear, 14, 0, 50400, "20240101140000500"},
      {"CHAST-12:45CHADT-13:45,M9.5.0/2:45,M4.1.0/3:45", newYear, 13, -45, 49500, "20240101134500500"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1711846799, 1, 0, 3600, "20240331015959500"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1711846800, 2, 0, 7200, "20240331030000500"},
      {"NZST-12NZDT,M9.5.0,M4.1.0/3", 1709208000, 13, 0, 46800, "20240301010000500"}};
  for (const Row& row : rows) {
    const StoppedClock clock(row.now, row.zone);
    Feedback feedback;
    int32_t hours = 77, minutes = 77, day = 77;
    double offset = 77, seconds = 77;
    DTSGMTO(&hours, &minutes, &offset, feedback);
    EXPECT_EQ(std::vector<double>({1.0 * hours, 1.0 * minutes, offset}),
              std::vector<double>({1.0 * row.hours, 1.0 * row.minutes, 1.0 * row.seconds}))
        << row.zone;
    for (const auto service : {DTSGMT, DTSUTC}) {
      service(&day, &seconds, feedback);
      EXPECT_EQ(seconds, static_cast<double>(row.now) + 141428 * 86400.0 + 0.5) << row.zone;
      EXPECT_EQ(day, static_cast<int32_t>(seconds / 86400)) << row.zone;
    }
    std::string text(19, '\xEE'), date(10, '\xEE');
    double local = 77;
    DTSLOCT(&day, &local, text.data() + 1, feedback);
    EXPECT_EQ(text, "\xEE" + std::string(row.local) + "\xEE");
    EXPECT_EQ(local, seconds + row.seconds);
    EXPECT_EQ(day, static_cast<int32_t>(local / 86400));
    KBZEDT4(date.data() + 1, feedback);
    EXPECT_EQ(date, "\xEE" + std::string(row.local, 8) + "\xEE");
    EXPECT_EQ(feedback.bytes(), record(0));
  }
  const StoppedClock unknown(newYear, "UTC0", false);
  Feedback offsetFeedback, feedback;
  int32_t hours = 77, minutes = 77, day = 77;
  double offset = 77, seconds = 77;
  DTSGMTO(&hours, &minutes, &offset, offsetFeedback);
  DTSGMT(&day, &seconds, feedback);
  EXPECT_EQ(offsetFeedback.bytes(), record(2503));
  EXPECT_EQ(feedback.bytes(), record(2502));
  EXPECT_EQ(hours | minutes | day, 0);
  EXPECT_EQ(offset + seconds, 0);
}

TEST(DateServices, CenturyWindow) {
  Program main("MAIN");
  run(main, [] {
    const StoppedClock clock(1704067200 - 3600, "CET-1");  // already 2024 here
    Feedback feedback;
    int32_t window = 77;
    DTSQCEN(&window, feedback);
    EXPECT_EQ(window, 80);
    const auto year = [](int32_t whole) {
      const std::string text = std::to_string(whole).substr(2) + "0101";
      return atoi(shown(readBy(DTSDAYS, text, "YYMMDD"), "YYYY").c_str());
    };
    for (const auto& [asked, low] : {std::pair{80, 1944}, {0, 2024}, {24, 2000}, {100, 1924}}) {
      if (asked != 80) DTSSCEN(&asked, feedback);
      EXPECT_EQ(year(low), low);
      EXPECT_EQ(year(low + 99), low + 99);
    }
    EXPECT_EQ(feedback.bytes(), record(0));
    for (const int32_t outside : {-1, 101}) {
      DTSSCEN(&outside, feedback);
      EXPECT_EQ(feedback.bytes(), record(2533));
      DTSQCEN(&window, feedback);
      EXPECT_EQ(window, 100);
    }
  });
}

TEST(DateServices, NullFeedbackIsAMessage) {
  const Ended ended = inChild([] {
    _qrtIsDebuggerLoaded = 1;  // severe messages come back
    int32_t day = 0, weekday = 77;
    DTSDYWK(&day, &weekday, nullptr);
    fprintf(stderr, "%d %s", weekday, threadStorage()->pendingMessage);
    DTSDAYS_HOST(*Varying(std::string_view("\0\0", 2)), *Varying(std::string_view("\0\0", 2)), &day, nullptr);
    fprintf(stderr, "%s", threadStorage()->pendingMessage);
    threadStorage()->pendingMessage = nullptr;
    DTSDATE(&(day = 1), *Varying("YYYY"), std::string(80, ' ').data(), nullptr);
    _exit(threadStorage()->pendingMessage != nullptr);
  });
  EXPECT_NE(ended.err.find("\n0 QRT2512S"), std::string::npos) << ended.err;
  EXPECT_NE(ended.err.find("QRT2517S"), std::string::npos) << ended.err;
  EXPECT_EQ(ended.exitCode, 0);
}

TEST(DateServices, StorageThatRunsOut) {
  if (!canFailAllocations) return;
  shown(1, "<JJJJ>", 2522);  // opens the catalogue
  const Varying longText("2024-03-05" + std::string(300, '.')), picture("YYYY-MM-DD"), era("<JJJJ>");
  int32_t day;
  char output[QRT_DATE_FIELD];
  const int32_t before = liveBlocks();
  for (int32_t n = 1; n <= 2; ++n) {
    Feedback read, shownEra;
    {
      const FailingAllocation failing(n);
      DTSDAYS(*longText, *picture, &day, read);
    }
    {
      const FailingAllocation failing(n);
      day = 161215;
      DTSDATE(&day, *era, output, shownEra);
    }
    EXPECT_EQ(read.bytes(), record(n == 1 ? 813 : 0));
    EXPECT_EQ(shownEra.bytes(), record(n == 1 ? 813 : 0));
    EXPECT_EQ(liveBlocks(), before);
  }
}

int32_t swapped(int32_t value) {
  return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(value)));
}

double hostDouble(double value) {
  uint64_t hex;
  _qrtcConvIEEE8toHex(value, &hex);
  hex = __builtin_bswap64(hex);
  memcpy(&value, &hex, sizeof value);
  return value;
}

std::string hostText(std::string text) {
  auto length = static_cast<int32_t>(text.size());
  const std::string native = text;
  if (length > 0) qrtConvToEBCDIC(native.data(), length, text.data(), &length);
  return text;
}

Varying hostString(const std::string& text) {
  Varying string(hostText(text));
  std::swap(string.bytes[0], string.bytes[1]);
  return string;
}

// One of each kind of argument, and each width of a text.
TEST(DateServices, HostTwins) {
  Program main("MAIN");
  run(main, [] {
    Feedback feedback;
    std::string output(QRT_DATE_FIELD + 2, '\xEE');
    int32_t value = 77, day = swapped(161215);
    double seconds = hostDouble(161215 * 86400.0 + 0.25), back = 77;
    DTSDAYS_HOST(*hostString("2024-03-05"), *hostString("YYYY-MM-DD"), &value, feedback);
    EXPECT_EQ(value, day);
    DTSDATM_HOST(&seconds, *hostString("Mmm DD, YYYY SS.999"), output.data() + 1, feedback);
    std::string expected = "Mar 05, 2024 00.250";
    expected.resize(QRT_DATE_FIELD, ' ');
    EXPECT_EQ(output, "\xEE" + hostText(expected) + "\xEE");
    DTSSECS_HOST(*hostString("2024-03-05 .25"), *hostString("YYYY-MM-DD .99"), &back, feedback);
    EXPECT_EQ(memcmp(&back, &seconds, sizeof back), 0);
    EXPECT_EQ(feedback.bytes(), record(0));

    const StoppedClock clock(1704067200, "IST-5:30");
    output.assign(output.size(), '\xEE');
    DTSLOCT_HOST(&value, &back, output.data() + 1, feedback);
    EXPECT_EQ(output.substr(0, 19), "\xEE" + hostText("20240101053000500") + "\xEE");
    output.assign(output.size(), '\xEE');
    KBZEDT4_HOST(output.data() + 1, feedback);
    EXPECT_EQ(output.substr(0, 10), "\xEE" + hostText("20240101") + "\xEE");

    value = 0;
    DTSDATE_HOST(&value, *hostString("YYYY"), output.data() + 1, feedback);
    EXPECT_EQ(feedback.bytes(), std::string("\x00\x03\x09\xD0\x59\xC4\xE3\xE2\0\0\0\0", 12));
    EXPECT_EQ(output.substr(1, QRT_DATE_FIELD), std::string(QRT_DATE_FIELD, '\x40'));
  });
}

}  // namespace
