// The Gregorian calendar: leap years, days of the year, and the two day counts, Lilian days and integer
// dates.
#pragma once

#include <stdint.h>

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

// The month and day of a day of the year, 1 to 366.
constexpr MonthDay monthDayOf(const MonthTable& months, int32_t dayOfYear) {
  // No month is longer than 32 days, and the year falls behind by less than a month: one step is enough.
  int32_t month = (dayOfYear + 31) / 32;
  month += dayOfYear > months.daysBefore[month & 15];
  return {month, dayOfYear - months.before(month)};
}

constexpr int32_t dayOfYearOf(int32_t year, int32_t month, int32_t day) {
  return monthsOf(year).before(month) + day;
}

// The integer date of a day of a year, below 1 before 1601.
constexpr int32_t integerDateOf(int32_t year, int32_t dayOfYear) {
  const int32_t years = year - firstIntegerYear;
  const int32_t centuries = years / 100 - (years % 100 < 0);
  // Shifts round down where a division would round years before 1601 up.
  return (years * daysOfFourYears >> 2) + dayOfYear - (centuries - (centuries >> 2));
}

}  // namespace qrt::datetime
