// Loadable modules: adapters, programs, the debugger's parts.
#pragma once

#include <string_view>

#include "platform/paths.h"

namespace qrt::platform {

using Module = void*;
using Routine = void (*)();

// Loads a module, or counts one more use of a loaded one. A name without an extension gets ".dll"; a bare
// name is looked for beside the running program, beside this library, in the current directory, then in the
// directories of PATH, and the first file of that name counts. Null on failure, see lastError().
Module loadModule(std::string_view name);

// The same for exactly that file: no extension is added, and nothing is searched.
Module loadModuleFile(std::string_view path);

// The file that a module of that name loads from, with its extension; false when there is none.
bool findModule(std::string_view name, NativePath& path);

// What the system has to say about the last load that failed; null when it says nothing.
const char* loadFailureText();

// The running program. Only what it exports itself is found in it. The handle isn't to be unloaded.
Module mainModule();

// The routine that the module exports under that name, or null, see lastError().
Routine findRoutine(Module module, const char* name);

template <typename Function>
Function* findRoutineAs(Module module, const char* name) {
  return reinterpret_cast<Function*>(findRoutine(module, name));
}

// Gives one use back; false for a handle that is none.
bool unloadModule(Module module);

}  // namespace qrt::platform
