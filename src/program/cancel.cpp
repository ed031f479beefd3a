// CANCEL: closes the files of a program and puts it back to its initial state. Its module stays loaded.
#include "program/cancel.h"

#include "frame/guard.h"
#include "program/call_table.h"

namespace qrt::program {
namespace {

// The first entry of a program that is bound in this run unit, or null.
QrtProgramEntry* boundProgram(const ProgramName& name) {
  const auto* plle =
      static_cast<const QrtPlle*>(_qrt_hash_find(_qrtRuncom->programTable, name.text, name.length));
  return plle != nullptr && plle->program != nullptr ? plle->program->entries : nullptr;
}

}  // namespace

int32_t cancel(const QrtCallTable* table, int32_t nameLength, const char* name, QrtProgramBlock* caller) {
  const ProgramName cancelled(name, nameLength, *caller);
  if (cancelled.length == 0) return 0;
  QrtProgramEntry* program =
      _qrtSrchCancall(table, static_cast<int32_t>(cancelled.length), cancelled.text, caller->entries);
  if (program == nullptr) program = boundProgram(cancelled);
  if (program == nullptr) return 0;
  bool active = false;
  frame::underNestedGuard([&] {
    active = program->activeCount != 0;
    if (!active) _qrtCloseReset(program);
  });
  return active ? 1 : 0;
}

}  // namespace qrt::program
