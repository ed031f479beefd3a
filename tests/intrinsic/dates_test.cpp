// The intrinsic functions on dates.
#include <time.h>

#include "support/process.h"

using namespace qrt::test;

namespace {

TEST(IntrinsicDates, GoThereAndBackOnEveryDay) {
  constexpr int32_t lilianLess = 6653;
  for (int32_t day = 1; day <= QRT_LAST_LILIAN_DAY - lilianLess; ++day) {
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
  const auto expect = [](auto function, const char* message, std::initializer_list<int32_t> arguments) {
    for (const int32_t argument : arguments) {
      const Ended ended = inChild([&] { function(argument); });
      EXPECT_TRUE(ended.err.starts_with(message)) << argument << ended.err;
    }
  };
  expect(_qrtIntegerOfDate,
         "QRT160S  FUNCTION INTEGER-OF-DATE:", {19000229, 16001231, 20001301, 20000100, -1, 100000101});
  expect(_qrtIntegerOfDay, "QRT161S  FUNCTION INTEGER-OF-DAY:", {1999366, 2000367, 2000000, 1600001});
}

TEST(IntrinsicDates, CenturyWindowEndsOffsetYearsFromNow) {
  const time_t now = time(nullptr);
  const int32_t thisYear = localtime(&now)->tm_year + 1900;
  const auto bytes = [](std::string& text) { return reinterpret_cast<uint8_t*>(text.data()); };
  for (const int32_t end : {1975, 2075, 2099, 2100, 1699, 9999})
    for (int32_t year = 0; year < 100; ++year) {
      const std::string full = std::to_string(end - (end - year) % 100), untouched(11, '#');
      std::string years = untouched, days = untouched, dates = untouched;
      _qrtYearToYYYY(year, end - thisYear, bytes(years), "YEAR-TO-YYYY");
      _qrtDayToYYYYDDD(year * 1000 + 123, end - thisYear, bytes(days));
      _qrtDateToYYYYMMDD(year * 10000 + 9901, end - thisYear, bytes(dates));
      ASSERT_EQ(years + days + dates, full + "#######" + full + "123####" + full + "9901###");
    }
  uint8_t result[8];
  for (const int32_t offset : {1698 - thisYear, 10001 - thisYear, INT32_MAX}) {
    const Ended ended = inChild([&] { _qrtDateToYYYYMMDD(991231, offset, result); });
    EXPECT_TRUE(ended.err.starts_with("QRT160S  FUNCTION DATE-TO-YYYYMMDD:")) << offset << ended.err;
  }
}

TEST(IntrinsicDates, CurrentDateShowsTheLocalOffset) {
  const std::pair<const char*, const char*> rows[] = {{"UTC0", "+0000"},
                                                      {"<+01>-1", "+0100"},
                                                      {"<+0530>-5:30", "+0530"},
                                                      {"<-0330>3:30", "-0330"},
                                                      {"STD0DST-0:30,0/0,365/25", "+0030"}};
  for (const auto& [zone, offset] : rows) {
    const Ended ended = inChild([zone = zone] {
      setenv("TZ", zone, 1);
      char text[24] = "#######################";
      _qrtCurrentDate(reinterpret_cast<uint8_t*>(text));
      const time_t now = time(nullptr);
      char date[16];
      strftime(date, sizeof date, "%Y%m%d%H", localtime(&now));
      printf("%s %s", std::string(text, 0, 10) == date ? "now" : text, text + 16);
    });
    EXPECT_EQ(ended.out, std::string("now ") + offset + "##") << zone;
  }
}

}  // namespace
