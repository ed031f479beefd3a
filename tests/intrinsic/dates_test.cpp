// The intrinsic functions on dates.
#include <qrtrlib.h>
#include <stdlib.h>
#include <time.h>

#include "support/process.h"

using namespace qrt::test;

namespace {

constexpr int32_t lastIntegerDate = 3067671;  // 31 December 9999

TEST(IntrinsicDates, GoThereAndBackOnEveryDay) {
  const int32_t lilianLess = QRT_LAST_LILIAN_DAY - lastIntegerDate;
  for (int32_t day = 1; day <= lastIntegerDate; ++day) {
    DTSZdate_parts parts{};
    DTSZDATE_alg(day + lilianLess, &parts);
    const int32_t date = parts.year * 10000 + parts.month * 100 + parts.day;
    const int32_t dayOfYear = parts.year * 1000 + parts.day_of_year;
    ASSERT_TRUE(_qrtDateOfInteger(day) == date && _qrtDayOfInteger(day) == dayOfYear &&
                _qrtIntegerOfDate(date) == day && _qrtIntegerOfDay(dayOfYear) == day)
        << day;
  }
}

TEST(IntrinsicDates, ReportWhatIsNoDate) {
  const struct {
    int32_t (*function)(int32_t);
    int32_t argument;
    const char* message;
  } rows[] = {
      {_qrtIntegerOfDate, 19000229, "QRT160"}, {_qrtIntegerOfDate, 16001231, "QRT160"},
      {_qrtIntegerOfDate, 20001301, "QRT160"}, {_qrtIntegerOfDate, 20000100, "QRT160"},
      {_qrtIntegerOfDate, -1, "QRT160"},       {_qrtIntegerOfDate, 100000101, "QRT160"},
      {_qrtIntegerOfDay, 1999366, "QRT161"},   {_qrtIntegerOfDay, 2000367, "QRT161"},
      {_qrtIntegerOfDay, 2000000, "QRT161"},   {_qrtIntegerOfDay, 1600001, "QRT161"},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] { row.function(row.argument); });
    EXPECT_EQ(ended.exitCode, 3) << row.argument;
    EXPECT_NE(ended.err.find(row.message), std::string::npos) << row.argument << ended.err;
    EXPECT_NE(ended.err.find(row.message[5] == '0' ? "INTEGER-OF-DATE" : "INTEGER-OF-DAY"),
              std::string::npos);
  }
}

TEST(IntrinsicDates, CenturyWindowEndsOffsetYearsFromNow) {
  const time_t now = time(nullptr);
  const int32_t thisYear = localtime(&now)->tm_year + 1900;
  for (const int32_t end : {1975, 2075, 2099, 2100, 1699, 9999})
    for (int32_t year = 0; year < 100; ++year) {
      int32_t full = end - end % 100 + year;
      if (full > end) full -= 100;
      char expected[32], text[12] = "###########";
      auto* const result = reinterpret_cast<uint8_t*>(text);
      _qrtYearToYYYY(year, end - thisYear, result, "YEAR-TO-YYYY");
      snprintf(expected, sizeof expected, "%04d#######", full);
      ASSERT_STREQ(text, expected);
      _qrtDayToYYYYDDD(year * 1000 + 123, end - thisYear, result);
      snprintf(expected, sizeof expected, "%04d123####", full);
      ASSERT_STREQ(text, expected);
      _qrtDateToYYYYMMDD(year * 10000 + 9901, end - thisYear, result);
      snprintf(expected, sizeof expected, "%04d9901###", full);
      ASSERT_STREQ(text, expected);
    }
  const Ended ended = inChild([&] {
    uint8_t result[8];
    _qrtDateToYYYYMMDD(991231, 1698 - thisYear, result);
  });
  EXPECT_NE(ended.err.find("QRT160"), std::string::npos);
  EXPECT_NE(ended.err.find("DATE-TO-YYYYMMDD"), std::string::npos);
}

TEST(IntrinsicDates, CurrentDateShowsTheLocalOffset) {
  const struct {
    const char *zone, *offset;
  } rows[] = {{"UTC0", "+0000"},
              {"<+01>-1", "+0100"},
              {"<+0530>-5:30", "+0530"},
              {"<-0330>3:30", "-0330"},
              {"STD0DST-0:30,0/0,365/25", "+0030"}};
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      setenv("TZ", row.zone, 1);
      char text[24] = "#######################";
      _qrtCurrentDate(reinterpret_cast<uint8_t*>(text));
      const time_t now = time(nullptr);
      char date[16];
      strftime(date, sizeof date, "%Y%m%d%H", localtime(&now));
      printf("%s %s %d", std::string(text, 0, 10) == date ? "now" : text, text + 16, text[20] != '#');
    });
    EXPECT_EQ(ended.out, std::string("now ") + row.offset + "## 1") << row.zone;
  }
}

}  // namespace
