// The name in a CALL or CANCEL, and the programs that the calling unit itself contains.
#include "program/call_table.h"

#include <string.h>

#include <algorithm>

#include "intrinsic/letters.h"

namespace qrt::program {
namespace {

// Reads no further than to the first difference: a row's text may be shorter than the name.
bool startsWith(const char* text, std::string_view name) {
  for (const char letter : name)
    if (*text++ != letter) return false;
  return true;
}

}  // namespace

ProgramName::ProgramName(const char* name, int32_t nameLength, const QrtProgramBlock& caller)
    : length(lengthInCall(name, nameLength)) {
  memcpy(text, name, length);
  text[length] = 0;
  auto* bytes = reinterpret_cast<uint8_t*>(text);
  if ((caller.flags & QRT_PROGRAM_FOLD_NAMES) != 0)
    intrinsic::toUpper(static_cast<int32_t>(length), bytes, bytes);
}

int32_t findRow(const QrtCallTable& table, std::string_view name) {
  const char* texts = reinterpret_cast<const char*>(&table.rows[table.rowCount]);
  for (int32_t row = 0; row < table.rowCount; ++row)
    if (startsWith(texts + table.rows[row].textOffset, name)) return row;
  return -1;
}

}  // namespace qrt::program

QrtProgramEntry* _qrtSrchCancall(const QrtCallTable* table, int32_t nameLength, const char* name,
                                 QrtProgramEntry* first) {
  const int32_t row = qrt::program::findRow(*table, {name, static_cast<size_t>(std::max(nameLength, 0))});
  return row >= 0 ? &first[table->rows[row].entryIndex - 1] : nullptr;
}
