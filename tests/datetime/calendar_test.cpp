// The calendar from its first day to its last ; the check of dates; eras.

#include <time.h>

#include <memory>

#include "support/allocation.h"
#include "support/catalogue_writer.h"

using namespace qrt::test;

namespace {

// Beside the C library's Gregorian calendar.
TEST(Calendar, EveryDayFromTheFirstToTheLast) {
  for (int32_t lilian = 1; lilian <= QRT_LAST_LILIAN_DAY; ++lilian) {
    const time_t seconds = (lilian - 141428) * int64_t{86400};  // 1970 is day 141428
    tm day;
    gmtime_r(&seconds, &day);
    DTSZdate_parts parts;
    memset(&parts, 0xEE, sizeof parts);
    DTSZdate_parts expected = parts;
    const int32_t year = expected.year = day.tm_year + 1900;
    expected.month = day.tm_mon + 1;
    expected.day = day.tm_mday;
    expected.day_of_year = day.tm_yday + 1;
    DTSZDATE_alg(lilian, &parts);
    ASSERT_EQ(memcmp(&parts, &expected, sizeof parts), 0) << lilian;

    int32_t byDayOfYear = 0, byMonth = 0, status = -1, weekday = 0, dayOfYear = 0, leap = -1, counted = 0;
    DTSZDAYS_alg(&parts, &byDayOfYear);
    parts.day_of_year = 0;
    DTSZDAYS_alg(&parts, &byMonth);
    _qrtTKM_DTSDYWK(lilian, &status, &weekday);
    _qrtGregorian_to_Julian(year, expected.month, expected.day, &dayOfYear);
    DTSZLEAP_year(&leap, &parts);
    _qrtJulian_to_Lilian(year, expected.day_of_year, &counted);
    ASSERT_TRUE(byDayOfYear == lilian && byMonth == lilian && status == 0 && weekday == day.tm_wday + 1 &&
                dayOfYear == expected.day_of_year && counted == lilian - 6653 &&
                leap == ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0))
        << lilian;
  }
}

DTSZdate_parts partsOf(int32_t year, int32_t month, int32_t day, int32_t dayOfYear = 0) {
  return {0, year, month, day, dayOfYear, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
}

using EraTable = std::unique_ptr<DTSZera_table, decltype(&_qrtCheckFree)>;

// The table of the installed catalogue, or the one that is set.
EraTable eras(int32_t (*get)(DTSZera_table**, QrtFeedback*), QrtFeedback&& feedback = {}) {
  auto* table = reinterpret_cast<DTSZera_table*>(&feedback);
  const bool failed = get(&table, &feedback) != 0;
  EXPECT_EQ(failed, table == nullptr);
  return {table, _qrtCheckFree};
}

TEST(Calendar, ChecksDatesInOrder) {
  const struct {
    int32_t era, year, month, day, dayOfYear, code;  // era -1 for a Gregorian date, from 100 on Chinese
  } rows[] = {
      {-1, 1582, 10, 15, 0, 0},  {-1, 1582, 10, 14, 0, 16}, {-1, 1582, 9, 30, 0, 16},
      {-1, 9999, 12, 31, 0, 0},  {-1, 10000, 1, 1, 0, 1},   {-1, 1900, 2, 29, 0, 4},
      {-1, 2000, 2, 29, 0, 0},   {-1, 2000, 2, 30, 0, 4},   {-1, 2000, 0, 1, 0, 8},
      {-1, 2000, 1, 0, 0, 4},    {-1, 1999, 0, 0, 366, 4},  {-1, 2000, 0, 0, 367, 4},
      {-1, 1582, 0, 0, 300, 16}, {-1, 1581, 13, 32, 0, 1},  {-1, 2000, 13, 32, 0, 8},
      {-1, 2000, 0, 0, -1, 4},   {0, 1, 1, 1, 0, 26},       {6, 1, 1, 1, 0, 26},
      {4, 32, 1, 1, 0, 2},       {4, 0, 1, 1, 0, 2},        {4, 1, 1, 7, 0, 4},
      {5, 1, 4, 30, 0, 8},       {4, 31, 5, 1, 0, 4},       {4, 31, 6, 1, 0, 4},
      {5, 1, 0, 0, 120, 8},      {5, 1, 0, 0, 121, 0},      {5, 2, 2, 29, 0, 0},
      {5, 3, 2, 29, 0, 4},       {4, 1, 0, 0, 367, 4},      {4, 12, 0, 0, 366, 0},
      {100, 1, 3, 10, 0, 26},    {101, 0, 3, 10, 0, 2},     {101, 21, 3, 10, 0, 2},
      {101, 1, 2, 28, 0, 8},     {101, 1, 3, 9, 0, 4},      {101, 1, 3, 10, 0, 0},
      {101, 20, 5, 5, 0, 0},     {101, 20, 5, 6, 0, 4},     {102, 1, 5, 6, 0, 0},
      {101, 5, 2, 29, 0, 0},     {101, 9, 2, 30, 0, 4},     {102, 81, 12, 31, 0, 0},
      {101, 1, 0, 0, 200, 8},    {101, 20, 0, 0, 200, 0},   {101, 2, 0, 0, 366, 4},
  };
  const EraTable japanese = eras(DTSZGetJapEra);
  const Catalogue catalogue({usualControl, {216, 2, "0 2 {}{} 1900 3 10 20 {}{} 1919 5 6 81"}});
  const EraTable chinese = eras(DTSZGetChiEra);
  for (const auto& row : rows) {
    DTSZdate_parts parts = partsOf(row.year, row.month, row.day, row.dayOfYear);
    parts.era_type = row.era >= 100 ? QRT_ERA_CHINESE : row.era >= 0 ? QRT_ERA_JAPANESE : QRT_ERA_GREGORIAN;
    parts.jp_era = row.era;
    parts.ch_era = row.era - 100;
    int32_t code = -1;
    EXPECT_EQ(DTSZDATE_chk(&parts, &code, japanese.get(), chinese.get()), row.code > 0);
    EXPECT_EQ(code, row.code) << &row - rows;
  }
}

TEST(Eras, HoldTheirDates) {
  const EraTable japanese = eras(DTSZGetJapEra), chinese = eras(DTSZGetChiEra);
  const struct {
    int32_t year, month, day, era, japaneseYear, chineseYear;  // 0 for none
  } rows[] = {
      {1868, 10, 22, 0, 0, 0}, {1868, 10, 23, 1, 1, 0},       {1912, 7, 29, 1, 45, 1},
      {1912, 7, 30, 2, 1, 1},  {1926, 12, 24, 2, 15, 15},     {1926, 12, 25, 3, 1, 15},
      {1989, 1, 7, 3, 64, 78}, {1989, 1, 8, 4, 1, 78},        {2019, 4, 30, 4, 31, 108},
      {2019, 5, 1, 5, 1, 108}, {9999, 12, 31, 5, 7981, 8088}, {1911, 12, 31, 1, 44, 0},
  };
  for (const auto& row : rows) {
    DTSZdate_parts parts = partsOf(row.year, row.month, row.day);
    DTSZJAP_date(&parts, japanese.get());
    DTSZCHI_date(&parts, chinese.get());
    EXPECT_TRUE(parts.jp_era == row.era && parts.jp_year == row.japaneseYear &&
                parts.ch_era == (row.chineseYear > 0) && parts.ch_year == row.chineseYear)
        << &row - rows;
    for (const int32_t type : {QRT_ERA_JAPANESE, QRT_ERA_CHINESE}) {  // and back
      DTSZdate_parts back = parts;
      back.era_type = type;
      back.year = type == QRT_ERA_CHINESE ? parts.ch_year : parts.jp_year;
      int32_t code = -1;
      const bool none = DTSZDATE_chk(&back, &code, japanese.get(), chinese.get()) != 0;
      EXPECT_TRUE(parts.year == back.year ? !none : code == QRT_DATE_WITHOUT_ERA) << &row - rows;
    }
  }
}

TEST(Eras, TextsThatAreATableOrNot) {
  const struct {
    const char* text;
    int32_t count;  // -1 for no table
  } rows[] = {
      {"0", 0},
      {"  2\r\n{ABCDEFGH}1 2 3 4{}5 6 7 8", 2},
      {"", -1},
      {"1x {A} 1 2 3 4", -1},
      {"1 A} 1 2 3 4", -1},
      {"1 {A 1 2 3 4", -1},
      {"1 {A} 1 2 3", -1},
      {"1 {A} 1 2 3 10001", -1},
      {"2 {A} 1 2 3 4", -1},
  };
  for (const auto& row : rows) {
    const Catalogue catalogue({usualControl, {216, 1, std::string("0 ") + row.text}});
    const EraTable table = eras(DTSZGetJapEra);
    ASSERT_EQ(table ? table->count : -1, row.count) << row.text;
    if (row.count <= 0) continue;
    EXPECT_TRUE(table->eras[1].span_years == 8 && memcmp(table->eras + 2, "ABCDEF\0      ", 14) == 0);
  }
  const Ended ended = inChild([] {
    const Catalogue catalogue({usualControl, {206, 1, "2 reason %d"}});
    eras(DTSZGetChiEra);
  });
  EXPECT_NE(ended.err.find("reason 2"), std::string::npos) << ended.err;
  if (!canFailAllocations) return;
  eras(DTSZGetJapEra);  // opens the catalogue
  QrtFeedback feedback{};
  const FailingAllocation failing(1);
  EXPECT_EQ(eras(DTSZGetJapEra, std::move(feedback)), nullptr);
  EXPECT_EQ(feedback.messageNumber, 813);
}

}  // namespace
