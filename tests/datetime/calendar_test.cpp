// The calendar from its first day to its last beside one that counts days; the check of dates; eras.
#include <qrtrlib.h>
#include <string.h>

#include "frame/catalogue_writer.h"
#include "support/allocation.h"
#include "support/process.h"

using namespace qrt::test;

namespace {

// A calendar that only knows how to get from one day to the next.
struct NaiveDay {
  int32_t year = 1582, month = 10, day = 15, dayOfYear = 288, weekday = 6;

  bool leap() const { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }
  int32_t monthLength() const {
    if (month == 2) return leap() ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
  }
  void next() {
    weekday = weekday % 7 + 1;
    ++dayOfYear;
    if (++day <= monthLength()) return;
    day = 1;
    if (++month <= 12) return;
    month = dayOfYear = 1;
    ++year;
  }
};

TEST(Calendar, EveryDayFromTheFirstToTheLast) {
  NaiveDay naive;
  int32_t integerDate = 0;
  for (int32_t lilian = 1; lilian <= QRT_LAST_LILIAN_DAY; ++lilian, naive.next()) {
    DTSZdate_parts parts;
    memset(&parts, 0xEE, sizeof parts);
    DTSZdate_parts expected = parts;
    expected.year = naive.year;
    expected.month = naive.month;
    expected.day = naive.day;
    expected.day_of_year = naive.dayOfYear;
    DTSZDATE_alg(lilian, &parts);
    ASSERT_EQ(memcmp(&parts, &expected, sizeof parts), 0) << lilian;

    int32_t byDayOfYear = 0, byMonth = 0, status = -1, weekday = 0, dayOfYear = 0, leap = -1;
    DTSZDAYS_alg(&parts, &byDayOfYear);
    parts.day_of_year = 0;
    DTSZDAYS_alg(&parts, &byMonth);
    _qrtTKM_DTSDYWK(lilian, &status, &weekday);
    _qrtGregorian_to_Julian(naive.year, naive.month, naive.day, &dayOfYear);
    DTSZLEAP_year(&leap, &parts);
    ASSERT_TRUE(byDayOfYear == lilian && byMonth == lilian && status == 0 && weekday == naive.weekday &&
                dayOfYear == naive.dayOfYear && leap == naive.leap())
        << lilian;
    if (naive.year < 1601) continue;
    int32_t counted = 0;
    _qrtJulian_to_Lilian(naive.year, naive.dayOfYear, &counted);
    ASSERT_EQ(counted, ++integerDate);
  }
  EXPECT_EQ(naive.year * 10000 + naive.month * 100 + naive.day, 100000101);
}
}  // namespace
