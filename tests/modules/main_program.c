/* A compiled main program that does what its arguments say: "stop CODE", "back CODE" or "call NAME". */
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

static QrtProgramEntry entry;
static QrtProgramBlock block = {
    .entries = &entry, .name = "MAINPROG", .nameLength = 8, .yearWindow = QRT_NO_YEAR_WINDOW};

static int32_t callByName(const char* name) {
  static const QrtCallTable noTable = {0, {{0, 0, 0}}};
  uint32_t exceptions = 0;
  uint64_t address = _qrtDynLd(&noTable, (int32_t)strlen(name), name, &block, NULL, &exceptions);
  return ((int32_t(*)(void))(uintptr_t)address)();
}

int32_t MAINPROG(const QrtMainArguments* arguments);
int32_t MAINPROG(const QrtMainArguments* arguments) {
  _qrtPgmInit(&block);
  printf("%d arguments, COBPATH %s\n", (int)arguments->count, getenv("COBPATH"));
  if (arguments->count == 2) {
    const char *what = arguments->texts[0], *value = arguments->texts[1];
    if (strcmp(what, "stop") == 0) _qrtRunUnitTerm(atoi(value));
    if (strcmp(what, "call") == 0) _qrtRunUnitTerm(callByName(value));
    _qrtPgmTerm(&block);
    return atoi(value);
  }
  _qrtPgmTerm(&block);
  return 0;
}
