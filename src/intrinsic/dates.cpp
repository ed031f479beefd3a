// CURRENT-DATE, the conversions between dates and integer dates, and the century windows.
#include "intrinsic/dates.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "datetime/calendar.h"
#include "frame/message.h"
#include "platform/clock.h"
#include "qrtrlib.h"

namespace qrt::intrinsic {
namespace {

using namespace datetime;

using frame::message::badDate, frame::message::badDayOfYear;

struct YearDay {
  int32_t year, dayOfYear;
};

// With a day put back for each leap day that a century year dropped, every fourth year is a leap year.
// Integer dates outside of the calendar wrap in silence.
[[gnu::always_inline]] inline YearDay yearDayOf(int32_t integerDate) {
  const auto hundredfold = [](int32_t value) {
    return static_cast<int32_t>(static_cast<uint32_t>(value) * 100);
  };
  const int32_t centuries = hundredfold(integerDate) / 3652425;
  const int32_t days = integerDate + centuries - centuries / 4;
  const int32_t years = static_cast<int32_t>(static_cast<uint32_t>(hundredfold(days)) - 1) / 36525;
  return {years + firstIntegerYear, days - years * daysOfFourYears / 4};
}

bool isIntegerYear(int32_t year) {
  return year >= firstIntegerYear && year <= lastYear;
}

// The year of the hundred that end `offset` years from now.
int32_t yearInWindow(int32_t year, int32_t offset, const char* function) {
  constexpr int32_t lowestEnd = 1699, highestEnd = 10000;
  const int32_t end =
      static_cast<int32_t>(static_cast<uint32_t>(platform::localTime().year) + static_cast<uint32_t>(offset));
  if (end > highestEnd || end < lowestEnd) qrtWriteERRmsg(badDate, 0, function, offset, year);
  const int32_t century = end / 100 * 100;
  return end % 100 < year ? century - 100 + year : century + year;
}

[[gnu::cold, gnu::noinline]] int32_t reportBadDate() {
  _qrtWriteERRmsg(badDate, 0, "INTEGER-OF-DATE");
  return 0;
}

void putDigits(uint8_t* at, int32_t value, int32_t count) {
  for (; count > 0; value /= 10) at[--count] = static_cast<uint8_t>('0' + value % 10);
}

}  // namespace

void currentDate(uint8_t* result) {
  const platform::LocalTime now = platform::localTime();
  const int32_t offset = abs(now.secondsEast / 60);
  char text[64];
  snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d%02d%c%02d%02d", now.year, now.month, now.day,
           now.hour, now.minute, now.second, now.millisecond / 10, now.secondsEast <= -60 ? '-' : '+',
           offset / 60, offset % 60);
  memcpy(result, text, QRT_CURRENT_DATE_LENGTH);
}

// The next two count years that begin in March, so that leap days come last, and divide by multiplication
// (Neri and Schneider, Euclidean affine functions and their application to calendar algorithms, Software:
// Practice and Experience 53, 2023).
constexpr uint32_t daysFromMarch = 584693;  // from 1 March of year 0 to integer date 0

[[gnu::always_inline]] inline int32_t dateOfInteger(int32_t integerDate) {
  const uint32_t quarters = 4 * (static_cast<uint32_t>(integerDate) + daysFromMarch) + 3;
  const uint32_t centuries = quarters / daysOfFourCenturies;
  const uint32_t quartersOfCentury = quarters % daysOfFourCenturies | 3;
  const uint64_t product = uint64_t{2939745} * quartersOfCentury;  // 2 to the 32nd by 1461
  const auto yearOfCentury = static_cast<uint32_t>(product >> 32);
  const uint32_t dayOfYear = static_cast<uint32_t>(product) / 2939745 / 4;
  const uint32_t monthAndDay =
      2141 * dayOfYear + 197913;  // in 65536ths of a month of 30.6 days, from March as 3
  const uint32_t month = monthAndDay >> 16, day = (monthAndDay & 0xFFFF) * 31345 / 67108864 + 1;
  const uint32_t date = (100 * centuries + yearOfCentury) * 10000 + month * 100 + day;
  constexpr uint32_t yearLessMonths = 10000 - 1200;  // months 13 and 14 belong to the next year
  return static_cast<int32_t>(date + (month > 12 ? yearLessMonths : 0));
}

[[gnu::always_inline]] inline int32_t dayOfInteger(int32_t integerDate) {
  const auto [year, dayOfYear] = yearDayOf(integerDate);
  return year * 1000 + dayOfYear;
}

[[gnu::always_inline]] inline int32_t integerOfDate(int32_t date) {
  const auto digits = static_cast<uint32_t>(date);
  const uint32_t year = digits / 10000, monthAndDay = digits % 10000;
  const uint32_t month = monthAndDay * 5243 / 524288, day = monthAndDay - month * 100;  // divided by 100
  if (year - firstIntegerYear > lastYear - firstIntegerYear || monthAndDay - 101 > 1231 - 101) [[unlikely]]
    return reportBadDate();
  if (day - 1 >= (30 | (month ^ month >> 3))) [[unlikely]]  // the length of the month, with 30 for February
    return reportBadDate();
  if (monthAndDay > 228 && monthAndDay < 300 &&
      !(monthAndDay == 229 && isLeapYear(static_cast<int32_t>(year)))) [[unlikely]]
    return reportBadDate();
  const uint32_t early = month <= 2, marchYear = year - early;
  const uint32_t centuries = marchYear * 5243 / 524288;  // divided by 100
  const uint32_t dayOfYear = (979 * month + (12 * 979 & -early) - 2919) / 32 + day - 1;
  return static_cast<int32_t>(marchYear * daysOfFourYears / 4 - centuries + centuries / 4 + dayOfYear -
                              daysFromMarch);
}

[[gnu::always_inline]] inline int32_t integerOfDay(int32_t day) {
  const int32_t year = day / 1000, dayOfYear = day % 1000;
  if (!isIntegerYear(year) || dayOfYear < 1 || dayOfYear > monthsOf(year).daysBefore[12]) [[unlikely]] {
    _qrtWriteERRmsg(badDayOfYear, 0, "INTEGER-OF-DAY");
    return 0;
  }
  return integerDateOf(year, dayOfYear);
}

void yearToYYYY(int32_t year, int32_t offset, uint8_t* result, const char* function) {
  putDigits(result, yearInWindow(year, offset, function), 4);
}

void dayToYYYYDDD(int32_t day, int32_t offset, uint8_t* result) {
  yearToYYYY(day / 1000, offset, result, "DAY-TO-YYYYDDD");
  putDigits(result + 4, day % 1000, 3);
}

void dateToYYYYMMDD(int32_t date, int32_t offset, uint8_t* result) {
  yearToYYYY(date / 10000, offset, result, "DATE-TO-YYYYMMDD");
  putDigits(result + 4, date % 10000, 4);
}

}  // namespace qrt::intrinsic
