// The Gregorian calendar: leap years, days of the year, and the two day counts, Lilian days and integer
// dates.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::datetime {

inline constexpr int32_t firstYear = 1582, lastYear = 9999;
inline constexpr int32_t firstIntegerYear = 1601;  // integer date 1 is its first day
inline constexpr int32_t daysOfFourYears = 4 * 365 + 1, daysOfFourCenturies = 100 * daysOfFourYears - 3;

constexpr bool isLeapYear(int32_t year) {
  return (year & (year % 100 == 0 ? 15 : 3)) == 0;  // by 100 and by 16 is by 400
}

// Days of the year before each month, from January at 0 to the length of the year at 12. Entries that no
// month has are there for indices from outside.
struct MonthTable {
  int32_t daysBefore[16];

  constexpr explicit MonthTable(bool leap) : daysBefore{} {
    constexpr int32_t lengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int month = 1; month <= 12; ++month)
      daysBefore[month] = daysBefore[month - 1] + lengths[month - 1] + (leap && month == 2);
    for (int beyond = 13; beyond < 16; ++beyond) daysBefore[beyond] = daysBefore[12];
  }

  // Of any month; those outside 1 to 12 are given some entry of the table.
  constexpr int32_t before(int32_t month) const { return daysBefore[(month - 1) & 15]; }
  constexpr int32_t length(int32_t month) const { return daysBefore[month & 15] - before(month); }
};

inline constexpr MonthTable monthTables[2] = {MonthTable(false), MonthTable(true)};

constexpr const MonthTable& monthsOf(int32_t year) {
  return monthTables[isLeapYear(year)];
}

struct MonthDay {
  int32_t month, day;
};

constexpr bool isBefore(MonthDay date, MonthDay other) {
  return date.month < other.month || (date.month == other.month && date.day < other.day);
}

// The month and day of a day of the year, 1 to 366.
constexpr MonthDay monthDayOf(const MonthTable& months, int32_t dayOfYear) {
  // No month is longer than 32 days, and the year falls behind by less than a month: one step is enough.
  int32_t month = (dayOfYear + 31) / 32;
  month += dayOfYear > months.daysBefore[month & 15];
  return {month, dayOfYear - months.before(month)};
}

// Sets the year, the month, the day and the day of the year of a Lilian day.
inline void splitDay(int32_t lilianDay, DTSZdate_parts& parts) {
  constexpr uint32_t countingYear = 1201;        // days are counted from its first one,
  constexpr uint32_t daysBeforeLilian = 139444;  // which lies that many days before Lilian day 0
  constexpr uint32_t quartersOfFourCenturies = daysOfFourCenturies, quartersOfYear = daysOfFourYears;
  // A day for each dropped leap day of a century makes the calendar Julian, with one leap year in four.
  const uint32_t days = static_cast<uint32_t>(lilianDay) + daysBeforeLilian;
  const uint32_t centuries = 4 * days / quartersOfFourCenturies;
  const uint32_t julian = days + centuries - centuries / 4;
  const uint32_t years = (4 * julian - 1) / quartersOfYear;
  parts.year = static_cast<int32_t>(countingYear + years);
  parts.day_of_year = static_cast<int32_t>(julian - years * quartersOfYear / 4);
  const auto [month, day] = monthDayOf(monthsOf(parts.year), parts.day_of_year);
  parts.month = month;
  parts.day = day;
}

// The weekday of a Lilian day from 1, 1 for Sunday.
constexpr int32_t weekdayOf(int32_t lilianDay) {
  return static_cast<int32_t>((static_cast<uint32_t>(lilianDay) + 4) % 7) + 1;  // day 1 is a Friday
}

constexpr int32_t dayOfYearOf(int32_t year, int32_t month, int32_t day) {
  return monthsOf(year).before(month) + day;
}

// The Lilian day of a year and a day of it, or a month and a day.
inline int32_t lilianDayOf(const DTSZdate_parts& parts) {
  constexpr int32_t endOf1500 = -29872;  // Lilian day of its last day
  const int32_t dayOfYear =
      parts.day_of_year != 0 ? parts.day_of_year : dayOfYearOf(parts.year, parts.month, parts.day);
  const int32_t years = parts.year - 1501;
  return years * daysOfFourYears / 4 + endOf1500 + dayOfYear - years / 100 + (years + 300) / 400;
}

// What is wrong with a date of the Gregorian calendar (QRT_DATE_*).
inline int32_t gregorianFault(const DTSZdate_parts& parts) {
  if (parts.year < firstYear || parts.year > lastYear) return QRT_DATE_BAD_YEAR;
  const MonthTable& months = monthsOf(parts.year);
  if (parts.day_of_year == 0) {
    if (parts.month < 1 || parts.month > 12) return QRT_DATE_BAD_MONTH;
    if (parts.day < 1 || parts.day > months.length(parts.month)) return QRT_DATE_BAD_DAY;
  }
  if (parts.day_of_year < 0 || parts.day_of_year > months.daysBefore[12]) return QRT_DATE_BAD_DAY;
  constexpr MonthDay firstDay = {10, 15};
  const bool early = parts.year == firstYear && isBefore({parts.month, parts.day}, firstDay);
  return early ? QRT_DATE_BEFORE_CALENDAR : QRT_DATE_VALID;
}

// The integer date of a day of a year, below 1 before 1601.
constexpr int32_t integerDateOf(int32_t year, int32_t dayOfYear) {
  const int32_t years = year - firstIntegerYear;
  const int32_t centuries = years / 100 - (years % 100 < 0);
  // Shifts round down where a division would round years before 1601 up.
  return (years * daysOfFourYears >> 2) + dayOfYear - (centuries - (centuries >> 2));
}

}  // namespace qrt::datetime
