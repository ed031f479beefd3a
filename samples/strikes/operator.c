/*
 * OPERATOR, called by name: keeps the operators of aircraft with their strikes and costs in the indexed file
 * assigned to OPERATORS, by name, and by number of strikes as the alternate key. A new file is made at the
 * first call; it stays open from call to call.
 */
#include "operator.h"

#include <string.h>

enum { RECORD_PREFIX = 32, RECORD_LENGTH = OPERATOR_NAME + OPERATOR_STRIKES + OPERATOR_COST, BY_STRIKES = 1 };

static uint8_t buffer[RECORD_PREFIX + RECORD_LENGTH + 2], *area = buffer;
static uint8_t status[2], *statusBase = status, *noStatus2 = NULL;

static struct {
  QrtFileDescription file;
  QrtFileKey keys[2];
} description = {
    .file =
        {
            .fileIndex = 1,
            .fileSystemCode = "9   ",
            .organization = QRT_ORGANIZATION_INDEXED,
            .accessMode = QRT_ACCESS_DYNAMIC,
            .recordFormat = QRT_RECORD_FIXED,
            .maxRecord = RECORD_LENGTH,
            .minRecord = RECORD_LENGTH,
            .keyCount = 2,
            .externalName = "OPERATORS",
            .assignLength = 9,
            .keyBlockOffset = sizeof(QrtFileDescription),
            .recordAreaSlot = &area,
            .assignName = "OPERATORS",
            .statusBase = &statusBase,
            .status2Base = &noStatus2,
        },
    .keys = {{.offset = 0, .length = OPERATOR_NAME},
             {.offset = OPERATOR_NAME, .length = OPERATOR_STRIKES, .flags = QRT_KEY_DUPLICATES}},
};

static struct {
  QrtFcb file;
  void* extension;
} control;
static QrtFcb* const operators = &control.file;
static QrtFcb* files[] = {&control.file};
static QrtFileDescription* descriptions[] = {&description.file};
static QrtProgramBlock program;
static QrtProgramEntry entries[1] = {{.files = files, .fileCount = 1}};
static QrtProgramBlock program = {
    .compilerLevel = {6, 1, 0},
    .entries = entries,
    .name = "OPERATOR",
    .nameLength = 8,
    .fileDescriptions = descriptions,
    .yearWindow = QRT_NO_YEAR_WINDOW,
};

static void check(void) {
  if (operators->status >= 10) _qrtRunUnitTerm(16);
}

static void open(uint16_t request) {
  operators->openRequest = request;
  operators->openRoutine(operators, entries);
  check();
}

static void close(void) {
  operators->closeRoutine(operators, entries);
  check();
}

/* IF the file isn't open: OPEN OUTPUT, CLOSE, OPEN I-O. */
static void openFirst(void) {
  if (operators->openState != 0) return;
  open(QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
  close();
  open(QRT_OPEN_IO | QRT_OPEN_CAN_READ | QRT_OPEN_CAN_WRITE | QRT_OPEN_CAN_REWRITE);
}

/* ADD 1 and the cost to the record in the area. */
static void addTo(uint8_t* record, const uint8_t* cost) {
  static const uint8_t one[] = {0x1C};
  uint8_t *strikes = record + OPERATOR_NAME, *total = strikes + OPERATOR_STRIKES;
  uint8_t packed[OPERATOR_COST / 2 + 1];
  _qrtcBCD_CONV_ZndUS_To_Pckd(strikes, packed, OPERATOR_STRIKES, OPERATOR_STRIKES);
  _qrtcBCD_ADD_Pckd(packed, one, packed, OPERATOR_STRIKES, 1, OPERATOR_STRIKES);
  _qrtcBCD_CONV_Pckd_To_ZndUS(packed, strikes, OPERATOR_STRIKES, OPERATOR_STRIKES);
  _qrtcBCD_CONV_ZndUS_To_Pckd(total, packed, OPERATOR_COST, OPERATOR_COST);
  _qrtcBCD_ADD_Pckd(packed, cost, packed, OPERATOR_COST, OPERATOR_COST, OPERATOR_COST);
  _qrtcBCD_CONV_Pckd_To_ZndUS(packed, total, OPERATOR_COST, OPERATOR_COST);
}

/* READ OPERATORS INVALID KEY: a new one. */
static void add(const OperatorLinkage* linkage) {
  uint8_t* record = operators->record;
  memcpy(record, linkage->name, OPERATOR_NAME);
  operators->statementFlags = QRT_STATEMENT_INVALID_KEY;
  operators->keyOfReference = 0;
  operators->readRoutine(operators, entries);
  const int isNew = operators->status == 23;
  if (isNew)
    memset(record + OPERATOR_NAME, '0', OPERATOR_STRIKES + OPERATOR_COST);
  else
    check();
  addTo(record, linkage->cost);
  operators->statementFlags = 0;
  (isNew ? operators->writeRoutine : operators->rewriteRoutine)(operators, entries);
  check();
}

static void start(const OperatorLinkage* linkage) {
  _qrtcBCD_CONV_Pckd_To_ZndUS(linkage->strikes, operators->record + OPERATOR_NAME, OPERATOR_STRIKES,
                              OPERATOR_STRIKES);
  operators->statementFlags = QRT_STATEMENT_INVALID_KEY;
  operators->keyOfReference = BY_STRIKES;
  operators->startRelation = QRT_START_NOT_LESS;
  operators->startKeyLength = 0;
  operators->startRoutine(operators, entries);
}

static void readNext(OperatorLinkage* linkage) {
  operators->statementFlags = QRT_STATEMENT_AT_END | QRT_STATEMENT_READ_NEXT;
  operators->readRoutine(operators, entries);
  linkage->found = operators->status < 10 ? 'Y' : 'N';
  if (operators->status >= 10) return;
  const uint8_t* record = operators->record;
  memcpy(linkage->name, record, OPERATOR_NAME);
  record += OPERATOR_NAME;
  _qrtcBCD_CONV_ZndUS_To_Pckd(record, linkage->strikes, OPERATOR_STRIKES, OPERATOR_STRIKES);
  _qrtcBCD_CONV_ZndUS_To_Pckd(record + OPERATOR_STRIKES, linkage->cost, OPERATOR_COST, OPERATOR_COST);
}

__attribute__((visibility("default"))) Operator OPERATOR;

int32_t OPERATOR(OperatorLinkage* linkage) {
  _qrtPgmInit(&program);
  switch (linkage->function) {
    case OPERATOR_ADD:
      openFirst();
      add(linkage);
      break;
    case OPERATOR_LIST:
      openFirst();
      start(linkage);
      if (operators->status >= 10)
        linkage->found = 'N';
      else
        readNext(linkage);
      break;
    case OPERATOR_NEXT:
      readNext(linkage);
      break;
    default:
      if (operators->openState != 0) close();
      break;
  }
  _qrtPgmTerm(&program);
  return 0;
}
