// CALL of a name: the program's address from the call table, from the run unit's list of programs, or out of
// a module that is looked for and loaded.
#include <stdlib.h>

#include <optional>
#include <string_view>

#include "frame/guard.h"
#include "frame/hash.h"
#include "frame/hosting.h"
#include "platform/directories.h"
#include "platform/errors.h"
#include "platform/file_state.h"
#include "platform/modules.h"
#include "program/call_table.h"
#include "program/program_path.h"

namespace qrt::program {
namespace {

constexpr int32_t callFailed = 96;  // message, in variants: name, detail, system error; no values for one

enum Variant : int32_t {
  notLoadable = 1,
  outOfMemory = 3,
  pathNotSet = 4,
  noEntryPoint = 5,
  blankName = 6,
  fileNotFound = 7,
};

// What became of a load: `variant` is 0 while nothing failed.
struct Outcome {
  int32_t variant = 0;
  platform::NativePath detail;
  int32_t systemError = 0;

  void fail(Variant reason, const char* what, int32_t error = 0) {
    variant = reason;
    detail = platform::NativePath(what);
    systemError = error;
  }
};

// The current directory comes first.
bool findFile(const char* directories, std::string_view fileName, platform::NativePath& path) {
  path = programFile(platform::currentDirectory().text, fileName);
  for (; !path.fits || !platform::isFile(path.text); directories = nextDirectory(directories)) {
    if (*directories == 0) return false;
    path = programFile(directories, fileName);
  }
  return true;
}

platform::Module loadFrom(const char* directories, const ProgramName& name, const char* extension,
                          Outcome& outcome) {
  platform::NativePath fileName(name.text), path;
  fileName.append(extension);
  if (!findFile(directories, fileName.text, path)) {
    outcome.fail(fileNotFound, fileName.text);
    return nullptr;
  }
  const platform::Module module = platform::loadModuleFile(path.text);
  if (module == nullptr) outcome.fail(notLoadable, path.text, platform::lastError());
  return module;
}

platform::Module loadModuleOf(const ProgramName& name, Outcome& outcome) {
  const char* directories = programDirectories();
  if (directories == nullptr) {
    outcome.fail(getenv("COBPATH") == nullptr ? pathNotSet : outOfMemory, "");
    return nullptr;
  }
  platform::Module module = nullptr;
  if (frame::hosted()) module = loadFrom(directories, name, ".qmccob", outcome);
  return module != nullptr ? module : loadFrom(directories, name, ".dll", outcome);
}

void* load(const ProgramName& name, Outcome& outcome) {
  const platform::Module module = loadModuleOf(name, outcome);
  if (module == nullptr) return nullptr;
  void* entry = reinterpret_cast<void*>(platform::findRoutine(module, name.text));
  if (entry == nullptr)
    outcome.fail(noEntryPoint, name.text, platform::lastError());
  else if (_qrtCreateInsertPLLE(name.text, name.length, entry, module) == nullptr)
    outcome.fail(outOfMemory, "");
  else
    return entry;
  platform::unloadModule(module);
  return nullptr;
}

// A caller that has an ON EXCEPTION phrase is told by its counter.
void report(const ProgramName& name, const Outcome& outcome, uint32_t& exceptions) {
  if (exceptions != 0)
    ++exceptions;
  else if (outcome.variant == blankName)
    qrtWriteERRmsg(callFailed, blankName - 1);
  else
    qrtWriteERRmsg(callFailed, static_cast<uint32_t>(outcome.variant - 1), name.text, outcome.detail.text,
                   outcome.systemError);
}

void* loadOrReport(const ProgramName& name, uint32_t& exceptions) {
  Outcome outcome;
  void* entry = nullptr;
  if (name.length == 0)
    outcome.fail(blankName, "");
  else
    entry = load(name, outcome);
  if (entry == nullptr) report(name, outcome, exceptions);
  return entry;
}

uint64_t resultOf(void* entry) {
  return reinterpret_cast<uintptr_t>(entry);
}

// What is known of the program: its element of the call table's results, or its address in the run unit.
[[gnu::always_inline]] inline std::optional<uint64_t> findKnown(std::string_view name,
                                                                const QrtCallTable& table,
                                                                const uint64_t* results) {
  if (name.empty()) return {};
  const int32_t row = table.rowCount > 0 ? findRow(table, name) : -1;
  if (row >= 0 && results[row] != 0) return results[row];
  const auto* known = *frame::findLink(_qrtRuncom->programTable, name.data(), name.size());
  if (known == nullptr) return {};
  return resultOf(static_cast<const QrtPlle*>(known->value)->entry);
}

// The way of names that have to be folded or loaded. Only a load can report, so only it is guarded.
[[gnu::noinline]] uint64_t findOrLoad(const ProgramName& name, const QrtCallTable& table,
                                      const uint64_t* results, uint32_t& exceptions) {
  if (const auto known = findKnown({name.text, name.length}, table, results)) return *known;
  void* entry = nullptr;
  frame::underPlainGuard([&] { entry = loadOrReport(name, exceptions); });
  return resultOf(entry);
}

}  // namespace
}  // namespace qrt::program

uint64_t _qrtDynLd(const QrtCallTable* table, int32_t nameLength, const char* name, QrtProgramBlock* caller,
                   const uint64_t* results, uint32_t* exceptions) {
  using namespace qrt::program;
  if ((caller->flags & QRT_PROGRAM_FOLD_NAMES) == 0)
    if (const auto known = findKnown({name, lengthInCall(name, nameLength)}, *table, results)) return *known;
  return findOrLoad(ProgramName(name, nameLength, *caller), *table, results, *exceptions);
}
