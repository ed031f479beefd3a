/*
 * The peer of the main job: the same report as a C programmer would write it, with stdio and _Decimal128.
 * Reads the file named by STRIKES, shows the report and writes it to the file named by REPORT.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

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

enum { NORTHEAST, MIDWEST, SOUTH, WEST, ELSEWHERE, REGIONS };

typedef struct State {
  const char* name;
  int region;
} State;
static const State states[] = {
    {"Alabama", SOUTH},
    {"Alaska", WEST},
    {"Arizona", WEST},
    {"Arkansas", SOUTH},
    {"California", WEST},
    {"Colorado", WEST},
    {"Connecticut", NORTHEAST},
    {"DC", SOUTH},
    {"Delaware", SOUTH},
    {"Florida", SOUTH},
    {"Georgia", SOUTH},
    {"Hawaii", WEST},
    {"Idaho", WEST},
    {"Illinois", MIDWEST},
    {"Indiana", MIDWEST},
    {"Iowa", MIDWEST},
    {"Kansas", MIDWEST},
    {"Kentucky", SOUTH},
    {"Louisiana", SOUTH},
    {"Maine", NORTHEAST},
    {"Maryland", SOUTH},
    {"Massachusetts", NORTHEAST},
    {"Michigan", MIDWEST},
    {"Minnesota", MIDWEST},
    {"Mississippi", SOUTH},
    {"Missouri", MIDWEST},
    {"Montana", WEST},
    {"Nebraska", MIDWEST},
    {"Nevada", WEST},
    {"New Hampshire", NORTHEAST},
    {"New Jersey", NORTHEAST},
    {"New Mexico", WEST},
    {"New York", NORTHEAST},
    {"North Carolina", SOUTH},
    {"North Dakota", MIDWEST},
    {"Ohio", MIDWEST},
    {"Oklahoma", SOUTH},
    {"Oregon", WEST},
    {"Pennsylvania", NORTHEAST},
    {"Rhode Island", NORTHEAST},
    {"South Carolina", SOUTH},
    {"South Dakota", MIDWEST},
    {"Tennessee", SOUTH},
    {"Texas", SOUTH},
    {"Utah", WEST},
    {"Vermont", NORTHEAST},
    {"Virginia", SOUTH},
    {"Washington", WEST},
    {"West Virginia", SOUTH},
    {"Wisconsin", MIDWEST},
    {"Wyoming", WEST},
};

static struct Region {
  const char* name;
  long strikes;
  _Decimal128 cost, highest;
  char costliest[128];
} regions[REGIONS] = {
    {.name = "Northeast"}, {.name = "Midwest"}, {.name = "South"}, {.name = "West"}, {.name = "Elsewhere"}};

static int compareState(const void* name, const void* state) {
  return strcmp(name, ((const State*)state)->name);
}

enum {
  AIRPORT,
  AIRCRAFT,
  DATE = 3,
  AIRLINE,
  STATE,
  SPECIES = 8,
  COST_OTHER = 10,
  COST_REPAIR,
  COST_ALL,
  FIELDS
};

static void addToRegion(char* const* fields, _Decimal128 all) {
  const State* state =
      bsearch(fields[STATE], states, sizeof states / sizeof states[0], sizeof states[0], compareState);
  struct Region* region = &regions[state != NULL ? state->region : ELSEWHERE];
  ++region->strikes;
  region->cost += all;
  if (all <= region->highest) return;
  region->highest = all;
  for (char* mark = fields[AIRLINE]; (mark = strchr(mark, '*')) != NULL;) *mark = 0;
  char* tail = strstr(fields[AIRPORT], " ARPT");
  if (tail != NULL) *tail = 0;
  snprintf(region->costliest, sizeof region->costliest, "%s %s, %s at %s: %s", fields[DATE], fields[AIRLINE],
           fields[AIRCRAFT], fields[AIRPORT], fields[SPECIES]);
}

static struct {
  long strikes;
  _Decimal128 cost;
} weekdays[7];

static void addToWeekday(const char* date, _Decimal128 all) {
  struct tm parts = {0};
  if (strptime(date, "%Y-%m-%d", &parts) == NULL) return;
  ++weekdays[parts.tm_wday].strikes;
  weekdays[parts.tm_wday].cost += all;
}

static void putWeekdays(void) {
  put("");
  put("Day           Strikes       Total cost");
  for (int day = 1; day <= 7; ++day) {
    char line[512], name[32], strikes[16], cost[48];
    const struct tm parts = {.tm_wday = day % 7};
    strftime(name, sizeof name, "%A", &parts);
    count(strikes, weekdays[day % 7].strikes);
    money(cost, weekdays[day % 7].cost, 0);
    snprintf(line, sizeof line, "%-11s%9s  %14s", name, strikes, cost);
    put(line);
  }
}

static void putRegions(void) {
  put("");
  put("Region        Strikes       Total cost  Costliest strike");
  for (int i = 0; i < REGIONS; ++i) {
    char line[512], strikes[16], cost[48];
    if (regions[i].strikes == 0) continue;
    count(strikes, regions[i].strikes);
    money(cost, regions[i].cost, 0);
    snprintf(line, sizeof line, "%-11s%9s  %14s    %s", regions[i].name, strikes, cost, regions[i].costliest);
    put(line);
  }
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
    char *fields[FIELDS], *rest = line;
    for (int i = 0; i < FIELDS; ++i) {
      fields[i] = strsep(&rest, ",");
      if (fields[i] == NULL) fields[i] = "";
    }
    const char* date = fields[DATE];
    if (memcmp(date, year, 4) != 0) {
      if (year[0] != 0) {
        endYear(year);
        char next[5] = "";
        memcpy(next, date, 4);
        if (atoi(next) / 5 != atoi(year) / 5) endPeriod();
      }
      memcpy(year, date, 4);
    }
    const _Decimal128 other = strtold(fields[COST_OTHER], NULL), repair = strtold(fields[COST_REPAIR], NULL),
                      all = strtold(fields[COST_ALL], NULL);
    addToRegion(fields, all);
    addToWeekday(date, all);
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
  putRegions();
  putWeekdays();
  fclose(strikes);
  if (fclose(report) != 0) return 16;
  return unbalanced > 15 ? 15 : unbalanced;
}
