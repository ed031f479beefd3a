// The calendar arithmetic behind all date services: Lilian days, integer dates, the check of a date in parts.
#include "datetime/calendar.h"

#include "qrtrlib.h"

using namespace qrt::datetime;

namespace {

// The fault of a date of the era at `index`, 1 for the first, whose year is counted within the era; that year
// becomes Gregorian unless it is the fault itself.
int32_t eraFault(DTSZdate_parts* parts, const DTSZera_table* table, int32_t index, bool byDayOfYear) {
  if (table == nullptr || index < 1 || index > table->count) return QRT_DATE_WITHOUT_ERA;
  const DTSZera& era = table->eras[index - 1];
  if (parts->year < 1 || parts->year > era.span_years) return QRT_DATE_BAD_ERA_YEAR;
  parts->year += era.start_year - 1;

  MonthDay date = {parts->month, parts->day};
  if (byDayOfYear && parts->day_of_year != 0) {
    if (parts->day_of_year < 0 || parts->day_of_year > 366) return QRT_DATE_BAD_DAY;
    date = monthDayOf(monthsOf(parts->year), parts->day_of_year);
  }
  if (parts->year == era.start_year && isBefore(date, {era.start_month, era.start_day}))
    return date.month < era.start_month ? QRT_DATE_BAD_MONTH : QRT_DATE_BAD_DAY;
  if (index == table->count || parts->year < era.start_year + era.span_years - 1) return QRT_DATE_VALID;
  const DTSZera& next = table->eras[index];
  return isBefore(date, {next.start_month, next.start_day}) ? QRT_DATE_VALID : QRT_DATE_BAD_DAY;
}

}  // namespace

void DTSZDATE_alg(int32_t lilianDay, DTSZdate_parts* parts) {
  splitDay(lilianDay, *parts);
}

void DTSZDAYS_alg(const DTSZdate_parts* parts, int32_t* lilianDay) {
  *lilianDay = lilianDayOf(*parts);
}

void DTSZLEAP_year(int32_t* flag, const DTSZdate_parts* parts) {
  *flag = isLeapYear(parts->year);
}

int32_t DTSZDATE_chk(DTSZdate_parts* parts, int32_t* code, const DTSZera_table* japanese,
                     const DTSZera_table* chinese) {
  int32_t fault = QRT_DATE_VALID;
  if (parts->era_type == QRT_ERA_JAPANESE) fault = eraFault(parts, japanese, parts->jp_era, true);
  if (parts->era_type == QRT_ERA_CHINESE) fault = eraFault(parts, chinese, parts->ch_era, false);
  if (fault == QRT_DATE_VALID) fault = gregorianFault(*parts);
  *code = fault;
  return fault != QRT_DATE_VALID;
}

void _qrtTKM_DTSDYWK(int32_t lilianDay, int32_t* status, int32_t* weekday) {
  *status = 0;
  const int32_t rest = lilianDay % 7 == 0 ? 7 : lilianDay % 7;  // day 1 is a Friday
  *weekday = rest <= 2 && rest > 0 ? rest + 5 : rest - 2;
}

void _qrtGregorian_to_Julian(int32_t year, int32_t month, int32_t day, int32_t* dayOfYear) {
  *dayOfYear = dayOfYearOf(year, month, day);
}

void _qrtJulian_to_Lilian(int32_t year, int32_t dayOfYear, int32_t* integerDate) {
  *integerDate = integerDateOf(year, dayOfYear);
}
