/*
 * The main job: costs of wildlife strikes by year of flight, with control breaks, then by region with the
 * costliest strike of each.
 *
 * Written as the compiler lays a program out: storage, control blocks and picture records are static, the
 * procedure below holds plain control flow, and all else is a call of the library. Reads the file assigned to
 * STRIKES, shows the report on SYSOUT and writes it to the file assigned to REPORT. Unless the switch UPSI-0
 * is on it also calls OPERATOR, which keeps the operators in the file assigned to OPERATORS, sorts the costly
 * strikes, and writes the totals as XML to the file assigned to TOTALS, which it reads back. The return code
 * is the number of records whose costs don't add up, 16 when a file can't be used or the totals read back
 * aren't those of the report.
 */
#include <qrtrlib.h>
#include <stddef.h>
#include <string.h>

#include "operator.h"

/* ------------------------------------------------------------------------------------- FILE SECTION */

enum { RECORD_PREFIX = 32, RECORD_SUFFIX = 2, STRIKE_LENGTH = 240, LINE_LENGTH = 132 };

static uint8_t* noStatus2 = NULL;

/* Storage and description of a file; behind the length what else its FD says. */
#define DESCRIBED_FILE(name, index, assigned, length, ...)                            \
  static uint8_t name##Buffer[RECORD_PREFIX + length + RECORD_SUFFIX];                \
  static uint8_t* name##Area = name##Buffer;                                          \
  static uint8_t name##Status[2], *name##StatusBase = name##Status;                   \
  static QrtFileDescription name##Description = {.fileIndex = index,                  \
                                                 .fileSystemCode = "9   ",            \
                                                 .accessMode = QRT_ACCESS_SEQUENTIAL, \
                                                 .maxRecord = length,                 \
                                                 .externalName = assigned,            \
                                                 .assignLength = sizeof assigned - 1, \
                                                 .recordAreaSlot = &name##Area,       \
                                                 .assignName = assigned,              \
                                                 .statusBase = &name##StatusBase,     \
                                                 .status2Base = &noStatus2,           \
                                                 __VA_ARGS__}
#define LINE_FILE(name, index, assigned, length) \
  DESCRIBED_FILE(name, index, assigned, length, .organization = QRT_ORGANIZATION_LINE_SEQUENTIAL)

LINE_FILE(strike, 1, "STRIKES", STRIKE_LENGTH);
LINE_FILE(line, 2, "REPORT", LINE_LENGTH);

/* Costly strikes in record files: packed cost, date, operator. */
enum { AMOUNT = 13, AMOUNT_BYTES = AMOUNT / 2 + 1, AT_DATE = AMOUNT_BYTES, AT_AIRLINE = AT_DATE + 10 };
enum { COSTLY_LENGTH = AT_AIRLINE + 44 };
#define COSTLY_FILE(name, index, assigned, options)                                                 \
  DESCRIBED_FILE(name, index, assigned, COSTLY_LENGTH, .organization = QRT_ORGANIZATION_SEQUENTIAL, \
                 .recordFormat = QRT_RECORD_FIXED, .attributes = options, .minRecord = COSTLY_LENGTH)
COSTLY_FILE(costly, 3, "COSTLY", 0);
COSTLY_FILE(older, 4, "OLDER", QRT_FILE_OPTIONAL);
COSTLY_FILE(ranking, 5, "RANKING", 0);

/* The totals as XML, in one line. */
enum { DOCUMENT_LENGTH = 65536 };
LINE_FILE(document, 6, "TOTALS", DOCUMENT_LENGTH);

static QrtFcb strikes, report, costly, older, ranking, document;
static QrtFcb* files[] = {&strikes, &report, &costly, &older, &ranking, &document};
static QrtFileDescription* descriptions[] = {&strikeDescription, &lineDescription,    &costlyDescription,
                                             &olderDescription,  &rankingDescription, &documentDescription};

/* ---------------------------------------------------------------------------------- WORKING-STORAGE */

/* Amounts are packed decimal of 13 digits, in dollars; averages and changes in cents. */
enum { COUNT = 7, COUNT_BYTES = COUNT / 2 + 1 };

typedef struct Totals {
  uint8_t strikes[COUNT_BYTES], costly[COUNT_BYTES];
  uint8_t other[AMOUNT_BYTES], repair[AMOUNT_BYTES], all[AMOUNT_BYTES];
} Totals;

static const uint8_t one[] = {0x1C};
static uint8_t yearBefore[AMOUNT_BYTES];
static Totals ofYear, ofPeriod, ofRun;
static int haveYearBefore;

/* The heading of the report and the columns of a line. */
#define HEADING                                                                                              \
  "Year    Strikes   Costly         Other cost        Repair cost         Total cost  Per costly strike    " \
  " On the year before"
enum {
  AT_LABEL = 0,
  AT_STRIKES = 5,
  AT_COSTLY = 14,
  AT_OTHER = 24,
  AT_REPAIR = 43,
  AT_ALL = 62,
  AT_AVERAGE = 81,
  AT_CHANGE = 101,
};

/* The fields of a record, cut out by UNSTRING; COUNT IN tells their true lengths. */
enum {
  AIRPORT,
  AIRCRAFT,
  DAMAGE,
  DATE,
  OPERATOR,
  STATE,
  PHASE,
  SIZE,
  SPECIES,
  TIME,
  COST_OTHER,
  COST_REPAIR,
  COST_ALL,
  FIELDS
};
enum { STATE_LENGTH = 20, COST_LENGTH = 12 };
static uint8_t airport[44], aircraft[24], damage[16], date[10], airline[44], state[STATE_LENGTH], phase[16],
    size[8], species[44], timeOfDay[8], costs[3][COST_LENGTH];
static QrtUnstringReceiver fields[FIELDS] = {
    {.data = airport, .length = sizeof airport}, {.data = aircraft, .length = sizeof aircraft},
    {.data = damage, .length = sizeof damage},   {.data = date, .length = sizeof date},
    {.data = airline, .length = sizeof airline}, {.data = state, .length = STATE_LENGTH},
    {.data = phase, .length = sizeof phase},     {.data = size, .length = sizeof size},
    {.data = species, .length = sizeof species}, {.data = timeOfDay, .length = sizeof timeOfDay},
    {.data = costs[0], .length = COST_LENGTH},   {.data = costs[1], .length = COST_LENGTH},
    {.data = costs[2], .length = COST_LENGTH},
};
static const uint8_t comma[] = ",", twoSpaces[] = "  ";
static QrtUnstringBlock cutRecord = {.sourceLength = STRIKE_LENGTH,
                                     .delimiterCount = 1,
                                     .receiverCount = FIELDS,
                                     .delimiters = {{comma, 1, 0}}};
static const QrtNumvalControl numberForms = {.currency = '$', .decimalPoint = '.'};

/* States in the order of their names, with the region of the census. */
typedef struct StateEntry {
  char name[STATE_LENGTH], region;
} StateEntry;
enum { NORTHEAST, MIDWEST, SOUTH, WEST, ELSEWHERE, REGIONS };
static const StateEntry states[] = {
    {"Alabama             ", SOUTH},     {"Alaska              ", WEST},
    {"Arizona             ", WEST},      {"Arkansas            ", SOUTH},
    {"California          ", WEST},      {"Colorado            ", WEST},
    {"Connecticut         ", NORTHEAST}, {"DC                  ", SOUTH},
    {"Delaware            ", SOUTH},     {"Florida             ", SOUTH},
    {"Georgia             ", SOUTH},     {"Hawaii              ", WEST},
    {"Idaho               ", WEST},      {"Illinois            ", MIDWEST},
    {"Indiana             ", MIDWEST},   {"Iowa                ", MIDWEST},
    {"Kansas              ", MIDWEST},   {"Kentucky            ", SOUTH},
    {"Louisiana           ", SOUTH},     {"Maine               ", NORTHEAST},
    {"Maryland            ", SOUTH},     {"Massachusetts       ", NORTHEAST},
    {"Michigan            ", MIDWEST},   {"Minnesota           ", MIDWEST},
    {"Mississippi         ", SOUTH},     {"Missouri            ", MIDWEST},
    {"Montana             ", WEST},      {"Nebraska            ", MIDWEST},
    {"Nevada              ", WEST},      {"New Hampshire       ", NORTHEAST},
    {"New Jersey          ", NORTHEAST}, {"New Mexico          ", WEST},
    {"New York            ", NORTHEAST}, {"North Carolina      ", SOUTH},
    {"North Dakota        ", MIDWEST},   {"Ohio                ", MIDWEST},
    {"Oklahoma            ", SOUTH},     {"Oregon              ", WEST},
    {"Pennsylvania        ", NORTHEAST}, {"Rhode Island        ", NORTHEAST},
    {"South Carolina      ", SOUTH},     {"South Dakota        ", MIDWEST},
    {"Tennessee           ", SOUTH},     {"Texas               ", SOUTH},
    {"Utah                ", WEST},      {"Vermont             ", NORTHEAST},
    {"Virginia            ", SOUTH},     {"Washington          ", WEST},
    {"West Virginia       ", SOUTH},     {"Wisconsin           ", MIDWEST},
    {"Wyoming             ", WEST},
};
static const struct {
  uint16_t subscripts, keys, conditions, reserved;
  QrtSearchKey name;
  int32_t argumentLength;
  uint8_t argumentFlags;
} searchState = {0, 1, 1, 0, {QRT_SEARCH_ASCENDING | QRT_SEARCH_PLAIN_TEXT, STATE_LENGTH, 0}, STATE_LENGTH,
                 0};
static const QrtSearchArgument wantedState = {state, state};

typedef struct Region {
  const char* name;
  uint8_t strikes[COUNT_BYTES], cost[AMOUNT_BYTES], highest[AMOUNT_BYTES];
  uint8_t costliest[88];
} Region;
static Region regions[REGIONS] = {
    {.name = "Northeast"}, {.name = "Midwest"}, {.name = "South"}, {.name = "West"}, {.name = "Elsewhere"}};
enum { AT_REGION_STRIKES = 11, AT_REGION_COST = 22, AT_COSTLIEST = 40, FIRST_MONDAY = 4 };

/* INSPECT AIRLINE REPLACING ALL "*" BY " "; INSPECT AIRPORT REPLACING ALL " ARPT" BY SPACES. */
#define REPLACING_ALL(data, old, new)                                                                   \
  {                                                                                                     \
    .phraseCount = 1, .item = {.length = sizeof data, .address = data}, .phrases = {                    \
      {.replacement = {.phraseFlags = QRT_INSPECT_REPLACING, .length = sizeof new - 1, .address = new}, \
       .compared = {.length = sizeof old - 1, .address = old}}                                          \
    }                                                                                                   \
  }
static const QrtInspectBlock cleanAirline = REPLACING_ALL(airline, "*", " ");
static const QrtInspectBlock cleanAirport = REPLACING_ALL(airport, " ARPT", "     ");

/* STRING DATE " " SIZE AIRLINE "  " ... INTO the line of a region. */
typedef struct StringGroup {
  const uint8_t* delimiter;
  int32_t delimiterLength, fieldCount;
  QrtStringField field;
} StringGroup;
#define BY_SIZE(text)                       \
  {                                         \
    NULL, 0, 1, {                           \
      (const uint8_t*)text, sizeof text - 1 \
    }                                       \
  }
#define BY_SPACES(item) \
  {                     \
    twoSpaces, 2, 1, {  \
      item, sizeof item \
    }                   \
  }
static struct {
  uint8_t reserved[3], flags;
  uint8_t* target;
  int32_t targetLength, pointer, groupCount;
  StringGroup groups[9];
} tellStrike = {.targetLength = sizeof regions[0].costliest,
                .groupCount = 9,
                .groups = {{NULL, 0, 1, {date, sizeof date}},
                           BY_SIZE(" "),
                           BY_SPACES(airline),
                           BY_SIZE(", "),
                           BY_SPACES(aircraft),
                           BY_SIZE(" at "),
                           BY_SPACES(airport),
                           BY_SIZE(": "),
                           BY_SPACES(species)}};

/* SORT and MERGE ON DESCENDING KEY the cost, ON ASCENDING KEY the date. */
static int16_t sortReturn;
static QrtSortRegisters sortRegisters = {.sortReturn = &sortReturn, .statement = 1};
static const QrtSortRecordSpec costlyRecord = {QRT_SORT_FIXED, COSTLY_LENGTH, COSTLY_LENGTH};
static QrtSortKeySpec dateKey = {NULL, AT_DATE, 10, QRT_SORT_KEY_CHAR, QRT_SORT_ASCENDING};
static QrtSortKeySpec costKey = {&dateKey, 0, AMOUNT_BYTES, QRT_SORT_KEY_PACKED, QRT_SORT_DESCENDING};
static QrtSortKeyList costlyKeys = {2, &costKey, 0};
static QrtFcb* mergedFiles[] = {&older, &costly};
static const QrtSortFileList noFiles, merged = {2, mergedFiles};
enum { STRIKES_TOLD = 5, AT_COST = 0, AT_COSTLY_DATE = 16, AT_COSTLY_AIRLINE = 28 };

/* CALL "OPERATOR". */
static OperatorLinkage operatorLinkage;
static const QrtCallTable noStaticCalls;
enum { AT_OPERATOR_STRIKES = 45, AT_OPERATOR_COST = 56 };

/* Days of the week, 1 for Sunday, and pictures of dates. */
static struct { uint8_t strikes[COUNT_BYTES], cost[AMOUNT_BYTES]; } weekdays[8];
#define VARYING(name, value) \
  static const struct {      \
    int16_t length;          \
    char text[sizeof value]; \
  } name = {sizeof value - 1, value}
VARYING(datePicture, "YYYY-MM-DD");
VARYING(weekdayPicture, "Wwwwwwwwwz");
VARYING(runPicture, "Wwwwwwwwwz, ZD Mmmmmmmmmz YYYY, HH:MI");
static struct {
  int16_t length;
  char text[sizeof date];
} flightDate = {sizeof date, ""};

/* A national literal. */
#define REGION_HEADING u"Region        Strikes       Total cost  Costliest strike"
static const uint_least16_t regionHeading[] = REGION_HEADING;

/* Picture records: length, decimal point, currency sign, edit kind, picture. */
#define PICTURE(name, kindOfSign, text) \
  static const struct {                 \
    int16_t length;                     \
    char point, currency;               \
    uint8_t kind;                       \
    char picture[sizeof(text) - 1];     \
  } name = {sizeof(text) - 1, '.', '$', kindOfSign, text}

enum { KIND_UNSIGNED = 1, KIND_SIGNED = 3, KIND_CURRENCY = 12, KIND_SIGNED_CURRENCY = 10 };
PICTURE(countPicture, KIND_UNSIGNED, "Z,ZZZ,ZZ9");
PICTURE(amountPicture, KIND_CURRENCY, "$$,$$$,$$$,$$9");
PICTURE(averagePicture, KIND_CURRENCY, "$$,$$$,$$$,$$9.99");
PICTURE(changePicture, KIND_SIGNED_CURRENCY, "$$,$$$,$$$,$$9.99CR");
PICTURE(imagePicture, KIND_SIGNED, "-9999999999999");

/* What XML GENERATE writes:
 *   01 TOTALS.
 *      02 ALL.
 *         03 STRIKES PIC S9(7) PACKED-DECIMAL, ... TOTAL PIC S9(13) PACKED-DECIMAL.
 *      02 YEAR OCCURS 0 TO 200 TIMES DEPENDING ON YEARS.
 *         03 NUMBER PIC X(4), an attribute.
 *         03 STRIKES, ... TOTAL as above.
 */
enum { MOST_YEARS = 200, PARTS = 5, IMAGE_LENGTH = 1 + AMOUNT };
static struct {
  Totals all;
  struct {
    uint8_t number[4];
    Totals totals;
  } years[MOST_YEARS];
} yearTable;
static int32_t years;

/* The numeric items of a group of totals, and the text of an occurrence of each. */
static const struct Part {
  char name[8];
  uint8_t offset, digits;
} parts[PARTS] = {{"strikes ", offsetof(Totals, strikes), COUNT},
                  {"costly  ", offsetof(Totals, costly), COUNT},
                  {"other   ", offsetof(Totals, other), AMOUNT},
                  {"repair  ", offsetof(Totals, repair), AMOUNT},
                  {"total   ", offsetof(Totals, all), AMOUNT}};
static uint8_t images[(1 + MOST_YEARS) * PARTS * IMAGE_LENGTH];

#define NUMERIC_ITEM(bytes)     \
  {                             \
    3, QRT_XGF_NUMERIC, {       \
      IMAGE_LENGTH, 0, bytes, 0 \
    }                           \
  }
#define NUMERIC_ITEMS                                                               \
  NUMERIC_ITEM(COUNT_BYTES), NUMERIC_ITEM(COUNT_BYTES), NUMERIC_ITEM(AMOUNT_BYTES), \
      NUMERIC_ITEM(AMOUNT_BYTES), NUMERIC_ITEM(AMOUNT_BYTES)
#define NUMERIC_NAMES "\7strikes\6costly\5other\6repair\5total"
static const QrtXmlDescriptor documentItems[] = {
    {1, 0, {0}}, /* TOTALS */
    {2, 0, {0}}, /* ALL */
    NUMERIC_ITEMS,
    {2, QRT_XGF_OCCURS_DEPENDING, {0}},
    {2, 0, {0}},                                       /* YEAR */
    {3, QRT_XGF_NATIVE_TEXT | QRT_XGF_ATTRIBUTE, {4}}, /* NUMBER */
    NUMERIC_ITEMS,
    {0, 0, {0}},
};
static const char documentNames[] = "\6TOTALS\6totals\3all" NUMERIC_NAMES "\4year\6number" NUMERIC_NAMES;
static const QrtXmlOptions asUtf8 = {.flags = QRT_XGF_DECLARATION, .encodingLength = 5, .encoding = "UTF-8"};

/* XML PARSE: the special registers, the name of the element, and what its parts are added to. */
static uint8_t xmlEvent[30];
static const void* xmlText = &xmlText;
static int32_t xmlTextLength, xmlNtextLength, xmlCode, xmlReturn;
static void takeEvent(void* argument);
static QrtXmlParseBlock parseDocument = {.ccsid = 1208,
                                         .procedure = takeEvent,
                                         .eventRegister = xmlEvent,
                                         .textRegister = &xmlText,
                                         .textLengthRegister = &xmlTextLength,
                                         .ntextLengthRegister = &xmlNtextLength,
                                         .codeRegister = &xmlCode,
                                         .returnRegister = &xmlReturn};
static char element[8];
static Totals allRead, yearsRead, *reading;

static QrtDisplayControl displayLine = {.itemCount = 1, .target = 1, .decimalPoint = '.'};

/* ----------------------------------------------------------------------------------- the program block */

__attribute__((visibility("default"))) int32_t STRIKES(const QrtMainArguments* arguments);
static QrtProgramBlock program;
static QrtProgramEntry entries[1] = {{.entryPoint = (void*)STRIKES, .files = files, .fileCount = 6}};
static QrtProgramBlock program = {
    .compilerLevel = {6, 1, 0},
    .entries = entries,
    .name = "STRIKES",
    .nameLength = 7,
    .fileDescriptions = descriptions,
    .yearWindow = QRT_NO_YEAR_WINDOW,
};

/* -------------------------------------------------------------------------------------- PROCEDURE DIVISION
 */

static void clear(uint8_t* item, int bytes) {
  memset(item, 0, bytes);
  item[bytes - 1] = 0x0C;
}

static void clearTotals(Totals* totals) {
  clear(totals->strikes, COUNT_BYTES);
  clear(totals->costly, COUNT_BYTES);
  clear(totals->other, AMOUNT_BYTES);
  clear(totals->repair, AMOUNT_BYTES);
  clear(totals->all, AMOUNT_BYTES);
}

static void addAmount(uint8_t* sum, const uint8_t* amount) {
  _qrtcBCD_ADD_Pckd(sum, amount, sum, AMOUNT, AMOUNT, AMOUNT);
}

static void addTotals(Totals* to, const Totals* from) {
  _qrtcBCD_ADD_Pckd(to->strikes, from->strikes, to->strikes, COUNT, COUNT, COUNT);
  _qrtcBCD_ADD_Pckd(to->costly, from->costly, to->costly, COUNT, COUNT, COUNT);
  addAmount(to->other, from->other);
  addAmount(to->repair, from->repair);
  addAmount(to->all, from->all);
}

static void open(QrtFcb* file, uint16_t request) {
  file->openRequest = request;
  file->openRoutine(file, entries);
  if (file->status >= 10) _qrtRunUnitTerm(16);
}

/* READ STRIKES AT END: 1 while there is a record. */
static int readStrike(void) {
  strikes.statementFlags = QRT_STATEMENT_AT_END;
  strikes.readRoutine(&strikes, entries);
  if (strikes.status >= 30) _qrtRunUnitTerm(16);
  return strikes.status < 10;
}

/* WRITE and DISPLAY of the line in the record area, which is blank afterwards. */
static void putLine(void) {
  uint8_t* line = report.record;
  uint32_t length = LINE_LENGTH;
  while (length > 0 && line[length - 1] == ' ') --length;
  QrtDisplayItem item = {.data = line, .size = length, .type = 2};
  _qrtcDisplay(&displayLine, &item);
  report.recordLength = LINE_LENGTH;
  report.writeRoutine(&report, entries);
  if (report.status >= 30) _qrtRunUnitTerm(16);
  memset(line, ' ', LINE_LENGTH);
}

static void putText(int column, const char* text) {
  memcpy(report.record + column, text, strlen(text));
}

/* MOVE of a packed item to a numeric-edited one. */
static void moveEdited(uint8_t* to, const void* picture, const uint8_t* packed, int digits,
                       int editedDigits) {
  uint8_t zoned[1 + AMOUNT + 2];
  _qrtcBCD_CONV_Pckd_To_ZndLS(packed, zoned, editedDigits, digits);
  _qrtcMoveNumToNumEdit(picture, zoned, to);
}

static void edit(int column, const void* picture, const uint8_t* packed, int digits, int editedDigits) {
  moveEdited(report.record + column, picture, packed, digits, editedDigits);
}

/* The last line of a report that can't be finished. */
static void stopWith(const char* text) {
  putText(AT_LABEL, text);
  putLine();
  _qrtRunUnitTerm(16);
}

/* COMPUTE cents ROUNDED = amount / count. */
static void average(const uint8_t* amount, const uint8_t* count, uint8_t* cents) {
  uint8_t thousandths[AMOUNT_BYTES + 2];
  enum { WIDE = AMOUNT + 3 };
  _qrtcBCD_SHFD_Pckd_Left(amount, thousandths, WIDE, AMOUNT, 3);
  _qrtcBCD_DIV_Pckd(thousandths, count, thousandths, WIDE, COUNT, WIDE);
  _qrtcBCD_SHFD_Pckd_RightRnd(thousandths, cents, AMOUNT, WIDE, 1);
}

static void putTotals(const char* label, const Totals* totals) {
  putText(AT_LABEL, label);
  edit(AT_STRIKES, &countPicture, totals->strikes, COUNT, COUNT);
  edit(AT_COSTLY, &countPicture, totals->costly, COUNT, COUNT);
  edit(AT_OTHER, &amountPicture, totals->other, AMOUNT, 10);
  edit(AT_REPAIR, &amountPicture, totals->repair, AMOUNT, 10);
  edit(AT_ALL, &amountPicture, totals->all, AMOUNT, 10);
  if (!_qrtcBCD_NOT_Pckd(totals->costly, COUNT)) {
    uint8_t cents[AMOUNT_BYTES];
    average(totals->all, totals->costly, cents);
    edit(AT_AVERAGE, &averagePicture, cents, AMOUNT, 12);
  }
}

static int withFiles(void) {
  return program.upsi[0] == '0';
}

static void keepYear(const uint8_t* year) {
  if (years == MOST_YEARS) stopWith("The table of years is full");
  memcpy(yearTable.years[years].number, year, 4);
  yearTable.years[years++].totals = ofYear;
}

static void endYear(const uint8_t* year) {
  char label[5] = {0};
  memcpy(label, year, 4);
  putTotals(label, &ofYear);
  if (haveYearBefore) {
    uint8_t change[AMOUNT_BYTES];
    _qrtcBCD_SUB_Pckd(ofYear.all, yearBefore, change, AMOUNT, AMOUNT, AMOUNT);
    _qrtcBCD_SHFD_Pckd_Left(change, change, AMOUNT, AMOUNT, 2);
    edit(AT_CHANGE, &changePicture, change, AMOUNT, 12);
  }
  putLine();
  memcpy(yearBefore, ofYear.all, AMOUNT_BYTES);
  haveYearBefore = 1;
  if (withFiles()) keepYear(year);
  addTotals(&ofPeriod, &ofYear);
  clearTotals(&ofYear);
}

static void endPeriod(void) {
  putTotals("Sum", &ofPeriod);
  putLine();
  putLine();
  addTotals(&ofRun, &ofPeriod);
  clearTotals(&ofPeriod);
}

/* The five-year period of a year, as a packed item of 3 digits. */
static void periodOf(const uint8_t* year, uint8_t* period) {
  static const uint8_t five[] = {0x5C};
  uint8_t packed[3];
  _qrtcBCD_CONV_ZndUS_To_Pckd(year, packed, 4, 4);
  _qrtcBCD_DIV_Pckd(packed, five, period, 3, 1, 4);
}

/* MOVE FUNCTION NUMVAL (text) to a packed item of AMOUNT digits. */
static void moveNumval(const uint8_t* text, int length, uint8_t* amount) {
  double value;
  _qrtcNumval(&numberForms, length, text, &value);
  _qrtcBCD_CONV_LFlt_To_Pckd(value, amount, AMOUNT, 0);
}

/* The same of a field; an empty one is 0. */
static void moveAmount(int cost, uint8_t* amount) {
  if (fields[COST_OTHER + cost].count == 0)
    clear(amount, AMOUNT_BYTES);
  else
    moveNumval(costs[cost], COST_LENGTH, amount);
}

static void addToWeekday(const uint8_t* all) {
  int32_t day, weekday = 0;
  QrtFeedback feedback;
  memcpy(flightDate.text, date, sizeof date);
  DTSDAYS((const QrtVaryingString*)&flightDate, (const QrtVaryingString*)&datePicture, &day, &feedback);
  if (feedback.severity == 0) DTSDYWK(&day, &weekday, &feedback);
  _qrtcBCD_ADD_Pckd(weekdays[weekday].strikes, one, weekdays[weekday].strikes, COUNT, 1, COUNT);
  addAmount(weekdays[weekday].cost, all);
}

/* Monday first; what bad dates came to isn't told. */
static void putWeekdays(void) {
  static const char heading[] = "Day           Strikes       Total cost";
  putLine();
  putText(AT_LABEL, heading);
  putLine();
  for (int32_t lilianDay = FIRST_MONDAY; lilianDay < FIRST_MONDAY + 7; ++lilianDay) {
    int32_t weekday;
    char name[QRT_DATE_FIELD];
    QrtFeedback feedback;
    DTSDYWK(&lilianDay, &weekday, &feedback);
    DTSDATE(&lilianDay, (const QrtVaryingString*)&weekdayPicture, name, &feedback);
    memcpy(report.record + AT_LABEL, name, AT_REGION_STRIKES - 1);
    edit(AT_REGION_STRIKES, &countPicture, weekdays[weekday].strikes, COUNT, COUNT);
    edit(AT_REGION_COST, &amountPicture, weekdays[weekday].cost, AMOUNT, 10);
    putLine();
  }
}

static void sort(int32_t function, const QrtSortFileList* using) {
  sortRegisters.program = entries;
  _qrtSortMerge(function, &sortRegisters, &costlyRecord, NULL, "", using, &noFiles, &costlyKeys);
  if (sortReturn != 0) _qrtRunUnitTerm(16);
}

/* RELEASE of a costly strike. */
static void release(const uint8_t* all) {
  uint8_t record[COSTLY_LENGTH];
  int16_t result = 0;
  if (_qrtcBCD_NOT_Pckd(all, AMOUNT)) return;
  memcpy(record, all, AMOUNT_BYTES);
  memcpy(record + AT_DATE, date, sizeof date);
  memcpy(record + AT_AIRLINE, airline, sizeof airline);
  _qrtRelease(COSTLY_LENGTH, record, &result);
  if (result != 0) _qrtRunUnitTerm(16);
}

/* RETURN into the record area of a file, AT END: 1 while there is a record. */
static int returnTo(QrtFcb* file) {
  int32_t length;
  int16_t atEnd = 0;
  _qrtReturn(&length, file->record, &atEnd);
  return atEnd == 0;
}

static void writeTo(QrtFcb* file) {
  file->writeRoutine(file, entries);
  if (file->status >= 10) _qrtRunUnitTerm(16);
}

static void closeFile(QrtFcb* file) {
  file->closeRoutine(file, entries);
  if (file->status >= 10) _qrtRunUnitTerm(16);
}

/* The OUTPUT PROCEDUREs: the costliest strikes of this run are told, and all merged with those of earlier
 * runs. */
static void putCostly(void) {
  putLine();
  putText(AT_LABEL, "Costliest strikes");
  putLine();
  open(&costly, QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
  sort(QRT_SORT_RELEASED, &noFiles);
  for (int told = 0; returnTo(&costly); writeTo(&costly)) {
    if (told++ >= STRIKES_TOLD) continue;
    edit(AT_COST, &amountPicture, costly.record, AMOUNT, 10);
    memcpy(report.record + AT_COSTLY_DATE, costly.record + AT_DATE, sizeof date);
    memcpy(report.record + AT_COSTLY_AIRLINE, costly.record + AT_AIRLINE, sizeof airline);
    putLine();
  }
  closeFile(&costly);
  sort(QRT_MERGE_START, &merged);
  open(&ranking, QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
  while (returnTo(&ranking)) writeTo(&ranking);
  closeFile(&ranking);
}

static void callOperator(char function) {
  uint32_t exceptions = 0;
  const uint64_t address = _qrtDynLd(&noStaticCalls, 8, "OPERATOR", &program, NULL, &exceptions);
  operatorLinkage.function = function;
  ((Operator*)(uintptr_t)address)(&operatorLinkage);
}

static void addToOperator(const uint8_t* all) {
  memcpy(operatorLinkage.name, airline, OPERATOR_NAME);
  memcpy(operatorLinkage.cost, all, AMOUNT_BYTES);
  callOperator(OPERATOR_ADD);
}

/* Operators with many strikes, by their number; then CANCEL "OPERATOR". */
static void putOperators(void) {
  static const uint8_t strikesToTell[] = {0x00, 0x00, 0x30, 0x0C}; /* 300 */
  memcpy(operatorLinkage.strikes, strikesToTell, COUNT_BYTES);
  putLine();
  putText(AT_LABEL, "Operator");
  putText(AT_OPERATOR_STRIKES + 2, "Strikes       Total cost");
  putLine();
  for (callOperator(OPERATOR_LIST); operatorLinkage.found == 'Y'; callOperator(OPERATOR_NEXT)) {
    memcpy(report.record, operatorLinkage.name, OPERATOR_NAME);
    edit(AT_OPERATOR_STRIKES, &countPicture, operatorLinkage.strikes, COUNT, COUNT);
    edit(AT_OPERATOR_COST, &amountPicture, operatorLinkage.cost, AMOUNT, 10);
    putLine();
  }
  callOperator(OPERATOR_CLOSE);
  _qrtCancel(&noStaticCalls, 8, "OPERATOR", &program);
}

/* DISPLAY "Run of ": the report itself is the same whenever it is made. */
static void showRunTime(void) {
  int32_t day;
  double seconds;
  char text[7 + QRT_DATE_FIELD] = "Run of ", now[QRT_LOCAL_TIME_FIELD];
  QrtFeedback feedback;
  DTSLOCT(&day, &seconds, now, &feedback);
  DTSDATM(&seconds, (const QrtVaryingString*)&runPicture, text + 7, &feedback);
  uint32_t length = sizeof text;
  while (text[length - 1] == ' ') --length;
  QrtDisplayItem item = {.data = (uint8_t*)text, .size = length, .type = 2};
  _qrtcDisplay(&displayLine, &item);
}

/* SEARCH ALL STATES: the region of the state in the record. */
static Region* regionOf(void) {
  const int32_t found =
      _qrtcSrchAll((const QrtSearchControl*)&searchState, (const uint8_t*)states,
                   sizeof states / sizeof states[0], sizeof states[0], &wantedState, NULL, &program);
  return &regions[found < 0 ? ELSEWHERE : ((const StateEntry*)((const char*)states + found))->region];
}

static void addToRegion(const uint8_t* all) {
  Region* region = regionOf();
  _qrtcBCD_ADD_Pckd(region->strikes, one, region->strikes, COUNT, 1, COUNT);
  addAmount(region->cost, all);
  if (!_qrtcBCD_GRT_Pckd(all, region->highest, AMOUNT, AMOUNT)) return;
  memcpy(region->highest, all, AMOUNT_BYTES);
  _qrtcInspect(&cleanAirline);
  _qrtcInspect(&cleanAirport);
  memset(region->costliest, ' ', sizeof region->costliest);
  uint32_t overflow = 0;
  tellStrike.target = region->costliest;
  _qrtcString((QrtStringBlock*)&tellStrike, &program, &overflow);
}

static void putRegions(void) {
  int32_t length = LINE_LENGTH;
  putLine();
  _qrtConvFromUnicode(regionHeading, sizeof regionHeading - sizeof regionHeading[0], report.record, &length,
                      NULL, 0);
  putLine();
  for (const Region* region = regions; region < regions + REGIONS; ++region) {
    if (_qrtcBCD_NOT_Pckd(region->strikes, COUNT)) continue;
    putText(AT_LABEL, region->name);
    edit(AT_REGION_STRIKES, &countPicture, region->strikes, COUNT, COUNT);
    edit(AT_REGION_COST, &amountPicture, region->cost, AMOUNT, 10);
    memcpy(report.record + AT_COSTLIEST, region->costliest, sizeof region->costliest);
    putLine();
  }
}

/* Puts the text of the numeric items of a group at `image`; returns the place behind it. */
static uint8_t* putImages(const Totals* totals, uint8_t* image) {
  for (const struct Part* part = parts; part < parts + PARTS; ++part, image += IMAGE_LENGTH)
    moveEdited(image, &imagePicture, (const uint8_t*)totals + part->offset, part->digits, AMOUNT);
  return image;
}

/* XML GENERATE DOCUMENT-RECORD FROM TOTALS COUNT IN its length, WITH XML-DECLARATION; WRITE DOCUMENT-RECORD.
 */
static void writeDocument(void) {
  char locale[22], ebcdicPage[18];
  const QrtXmlProgram codeSet = {locale};
  int32_t length;
  _qrtGetLocaleCP(locale, ebcdicPage);
  yearTable.all = ofRun;
  uint8_t* image = putImages(&yearTable.all, images);
  for (int32_t year = 0; year < years; ++year) image = putImages(&yearTable.years[year].totals, image);
  open(&document, QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
  if (_qrtcXGF(200, document.record, DOCUMENT_LENGTH, QRT_XGF_ASCII, &yearTable, &codeSet, images, &years, 0,
               IMAGE_LENGTH, documentItems, (const uint8_t*)documentNames, &asUtf8, 0, &length) != 0)
    stopWith("The totals can't be written as XML");
  document.recordLength = length;
  writeTo(&document);
  closeFile(&document);
}

static int isEvent(const char* name) {
  return memcmp(xmlEvent, name, strlen(name)) == 0;
}

/* MOVE XML-TEXT TO ELEMENT: of "all" and "year" it says which totals the next parts belong to. */
static void startElement(void) {
  memset(element, ' ', sizeof element);
  memcpy(element, xmlText, (size_t)xmlTextLength < sizeof element ? (size_t)xmlTextLength : sizeof element);
  if (memcmp(element, "all     ", sizeof element) == 0) reading = &allRead;
  if (memcmp(element, "year    ", sizeof element) == 0) reading = &yearsRead;
}

static void addContent(void) {
  uint8_t amount[AMOUNT_BYTES];
  for (const struct Part* part = parts; part < parts + PARTS; ++part) {
    if (memcmp(element, part->name, sizeof element) != 0) continue;
    uint8_t* sum = (uint8_t*)reading + part->offset;
    moveNumval(xmlText, xmlTextLength, amount);
    _qrtcBCD_ADD_Pckd(sum, amount, sum, part->digits, AMOUNT, part->digits);
  }
}

/* The processing procedure. Its exit clears the cell of XML-TEXT. */
static void takeEvent(void* argument) {
  (void)argument;
  if (isEvent("START-OF-ELEMENT "))
    startElement();
  else if (isEvent("CONTENT-CHARACTERS "))
    addContent();
  xmlText = NULL;
}

/* READ of the document; XML PARSE of it. */
static void readDocument(void) {
  clearTotals(&allRead);
  clearTotals(&yearsRead);
  reading = &allRead;
  open(&document, QRT_OPEN_INPUT | QRT_OPEN_CAN_READ);
  document.statementFlags = QRT_STATEMENT_AT_END;
  document.readRoutine(&document, entries);
  parseDocument.document = document.record;
  parseDocument.documentLength = document.status < 10 ? (int32_t)document.readLength : 0;
  _qrtcXML(&parseDocument);
  closeFile(&document);
}

static int isTotal(const Totals* totals) {
  int equal = 1;
  for (const struct Part* part = parts; part < parts + PARTS; ++part)
    if (_qrtcBCD_NEQ_Pckd((const uint8_t*)totals + part->offset, (const uint8_t*)&ofRun + part->offset,
                          part->digits, part->digits))
      equal = 0;
  return equal;
}

/* The line under that of all: the sums of what is read back, which are the same. */
static void putDocument(void) {
  writeDocument();
  readDocument();
  if (xmlCode != 0 || !isTotal(&allRead) || !isTotal(&yearsRead))
    stopWith("The totals read back as XML aren't those of the report");
  putTotals("XML", &yearsRead);
  putLine();
}

int32_t STRIKES(const QrtMainArguments* arguments) {
  (void)arguments;
  _qrtPgmInit(&program);
  open(&strikes, QRT_OPEN_INPUT | QRT_OPEN_CAN_READ);
  open(&report, QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
  clearTotals(&ofYear);
  clearTotals(&ofPeriod);
  clearTotals(&ofRun);
  for (Region* region = regions; region < regions + REGIONS; ++region) {
    clear(region->strikes, COUNT_BYTES);
    clear(region->cost, AMOUNT_BYTES);
    clear(region->highest, AMOUNT_BYTES);
    memset(region->costliest, ' ', sizeof region->costliest);
  }
  for (int day = 0; day < 8; ++day) {
    clear(weekdays[day].strikes, COUNT_BYTES);
    clear(weekdays[day].cost, AMOUNT_BYTES);
  }
  memset(report.record, ' ', LINE_LENGTH);
  putText(AT_LABEL, HEADING);
  putLine();

  if (withFiles()) sort(QRT_SORT_START, &noFiles);
  int unbalanced = 0;
  uint8_t year[4] = {0}, period[2], newPeriod[2];
  int more = readStrike() && readStrike(); /* the first line holds the names of the columns */
  while (more) {
    uint32_t overflow = 0;
    cutRecord.source = strikes.record;
    _qrtcUnString(&cutRecord, fields, &program, &overflow);
    if (memcmp(date, year, 4) != 0) {
      periodOf(date, newPeriod);
      if (year[0] != 0) {
        endYear(year);
        if (_qrtcBCD_NEQ_Pckd(period, newPeriod, 3, 3)) endPeriod();
      }
      memcpy(year, date, 4);
      memcpy(period, newPeriod, 2);
    }
    uint8_t other[AMOUNT_BYTES], repair[AMOUNT_BYTES], all[AMOUNT_BYTES], sum[AMOUNT_BYTES];
    moveAmount(0, other);
    moveAmount(1, repair);
    moveAmount(2, all);
    if (withFiles()) {
      addToOperator(all);
      release(all);
    }
    addToRegion(all);
    addToWeekday(all);
    _qrtcBCD_ADD_Pckd(other, repair, sum, AMOUNT, AMOUNT, AMOUNT);
    if (_qrtcBCD_NEQ_Pckd(sum, all, AMOUNT, AMOUNT)) ++unbalanced;
    _qrtcBCD_ADD_Pckd(ofYear.strikes, one, ofYear.strikes, COUNT, 1, COUNT);
    if (!_qrtcBCD_NOT_Pckd(all, AMOUNT)) {
      _qrtcBCD_ADD_Pckd(ofYear.costly, one, ofYear.costly, COUNT, 1, COUNT);
      addAmount(ofYear.other, other);
      addAmount(ofYear.repair, repair);
      addAmount(ofYear.all, all);
    }
    more = readStrike();
  }
  if (year[0] != 0) {
    endYear(year);
    endPeriod();
  }
  putTotals("All", &ofRun);
  putLine();
  if (withFiles()) putDocument();
  putRegions();
  putWeekdays();
  if (withFiles()) {
    putOperators();
    putCostly();
  }
  showRunTime();
  strikes.closeRoutine(&strikes, entries);
  report.closeRoutine(&report, entries);
  if (report.status >= 30) _qrtRunUnitTerm(16);
  _qrtRunUnitTerm(unbalanced > 15 ? 15 : unbalanced);
  return 0;
}
