/*
 * The peer of the main job: the same report as a C programmer would write it, with stdio and _Decimal128.
 * Reads the file named by STRIKES, shows the report and writes it to the file named by REPORT.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct Totals {
  long strikes, costly;
  _Decimal128 other, repair, all;
} Totals;

static FILE* report;
static Totals ofYear, ofPeriod, ofRun;
static _Decimal128 yearBefore;
static int haveYearBefore;

static void add(Totals* to, const Totals* from) {
  to->strikes += from->strikes;
  to->costly += from->costly;
  to->other += from->other;
  to->repair += from->repair;
  to->all += from->all;
}

/* "$1,234.50": commas, a floating currency sign, and decimals when asked for. */
static void money(char* text, _Decimal128 value, int decimals) {
  char digits[48];
  if (value < 0) value = -value;
  for (int i = 0; i < decimals; ++i) value *= 10;
  snprintf(digits, sizeof digits, "%0*lld", decimals + 1, (long long)(value + 0.5DL));
  int whole = (int)strlen(digits) - decimals;
  *text++ = '$';
  for (int i = 0; i < whole; ++i) {
    *text++ = digits[i];
    if ((whole - i) % 3 == 1 && i + 1 < whole) *text++ = ',';
  }
  if (decimals > 0) {
    *text++ = '.';
    memcpy(text, digits + whole, (size_t)decimals);
    text += decimals;
  }
  *text = 0;
}

static void count(char* text, long value) {
  if (value >= 1000000)
    sprintf(text, "%ld,%03ld,%03ld", value / 1000000, value / 1000 % 1000, value % 1000);
  else if (value >= 1000)
    sprintf(text, "%ld,%03ld", value / 1000, value % 1000);
  else
    sprintf(text, "%ld", value);
}

static void put(const char* line) {
  printf("%s\n", line);
  fprintf(report, "%s\n", line);
}

static void putTotals(const char* label, const Totals* totals, const _Decimal128* change) {
  char line[512], strikes[16], costly[16], other[48], repair[48], all[48], cents[48];
  count(strikes, totals->strikes);
  count(costly, totals->costly);
  money(other, totals->other, 0);
  money(repair, totals->repair, 0);
  money(all, totals->all, 0);
  int length = sprintf(line, "%-5s%9s%9s %14s     %14s     %14s", label, strikes, costly, other, repair, all);
  if (totals->costly > 0) {
    money(cents, totals->all / totals->costly, 2);
    length += sprintf(line + length, "%*s%17s", 81 - length, "", cents);
  }
  if (change != NULL) {
    money(cents, *change, 2);
    sprintf(line + length, "%*s%17s%s", 101 - length, "", cents, *change < 0 ? "CR" : "");
  }
  put(line);
}

static void endYear(const char* year) {
  _Decimal128 change = ofYear.all - yearBefore;
  putTotals(year, &ofYear, haveYearBefore ? &change : NULL);
  yearBefore = ofYear.all;
  haveYearBefore = 1;
  add(&ofPeriod, &ofYear);
  memset(&ofYear, 0, sizeof ofYear);
}

static void endPeriod(void) {
  putTotals("Sum", &ofPeriod, NULL);
  put("");
  add(&ofRun, &ofPeriod);
  memset(&ofPeriod, 0, sizeof ofPeriod);
}

static const char* behindCommas(const char* at, int commas) {
  while (*at != 0 && commas > 0) commas -= *at++ == ',';
  return at;
}

static _Decimal128 amount(const char** at) {
  char* end;
  _Decimal128 value = strtol(*at, &end, 10);
  *at = *end == ',' ? end + 1 : end;
  return value;
}

int main(void) {
  char line[512], year[5] = "";
  int unbalanced = 0;
  FILE* strikes = fopen(getenv("STRIKES"), "r");
  report = fopen(getenv("REPORT"), "w");
  if (strikes == NULL || report == NULL) return 16;
  put("Year    Strikes   Costly         Other cost        Repair cost         Total cost  Per costly strike"
      "     On the year before");
  if (fgets(line, sizeof line, strikes) == NULL) return 0;
  while (fgets(line, sizeof line, strikes) != NULL) {
    const char* date = behindCommas(line, 3);
    if (memcmp(date, year, 4) != 0) {
      if (year[0] != 0) {
        endYear(year);
        char next[5] = "";
        memcpy(next, date, 4);
        if (atoi(next) / 5 != atoi(year) / 5) endPeriod();
      }
      memcpy(year, date, 4);
    }
    const char* costs = behindCommas(date, 7);
    _Decimal128 other = amount(&costs), repair = amount(&costs), all = amount(&costs);
    if (other + repair != all) ++unbalanced;
    ++ofYear.strikes;
    if (all != 0) {
      ++ofYear.costly;
      ofYear.other += other;
      ofYear.repair += repair;
      ofYear.all += all;
    }
  }
  if (year[0] != 0) {
    endYear(year);
    endPeriod();
  }
  putTotals("All", &ofRun, NULL);
  fclose(strikes);
  if (fclose(report) != 0) return 16;
  return unbalanced > 15 ? 15 : unbalanced;
}
