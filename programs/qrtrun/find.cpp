// The module of a main program, and the entry in it.
#include "find.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <vector>

#include "platform/file_state.h"
#include "platform/modules.h"
#include "platform/paths.h"
#include "program/program_path.h"

namespace qrt::run {
namespace {

using platform::Module;

bool isBare(const std::string& name) {
  return std::none_of(name.begin(), name.end(), platform::isSeparator);
}

// The file of that name in a directory, as it stands or with the extension of modules; empty for none.
std::string fileIn(std::string_view directory, const std::string& name) {
  for (const char* extension : {"", ".dll"}) {
    const platform::NativePath path = program::programFile(directory, name + extension);
    if (path.fits && platform::isFile(path.text)) return path.text;
  }
  return "";
}

// In the current directory, then in those of COBPATH; a path stands for itself.
std::string findFile(const std::string& name) {
  if (!isBare(name)) {
    const size_t last = name.find_last_of("\\/");
    return fileIn(name.substr(0, last + 1), name.substr(last + 1));
  }
  std::string file = fileIn(".", name);
  if (const char* directories = program::programDirectories())
    for (; file.empty() && *directories != 0; directories = program::nextDirectory(directories))
      file = fileIn(directories, name);
  return file;
}

// A file that isn't found here is left to the search for modules, which goes on along PATH.
Module load(const std::string& name, std::string& path) {
  path = findFile(name);
  const bool known = !path.empty();
  if (!known) path = name;
  Module module = nullptr;
  if (known)
    module = platform::loadModuleFile(path);
  else if (isBare(name))
    module = platform::loadModule(name);
  if (module != nullptr) return module;
  if (const char* reason = platform::loadFailureText())
    throw Failure(cannotBeLoaded,
                  "module " + path + " cannot be loaded: " + reason +
                      "\nA module is a 32-bit shared object, and the libraries that it needs must be found.");
  throw Failure(notFound, "module " + name + " not found" +
                              (isBare(name) ? " in the current directory, in those of COBPATH or of PATH.\n"
                                              "Give its path, or add its directory to COBPATH."
                                            : ".\nCheck the path; the extension .dll may be left out."));
}

std::vector<std::string> entriesToTry(const std::string& path, const std::string& entry) {
  if (!entry.empty()) return {entry};
  const std::string base = std::filesystem::path(path).stem();
  std::string upper = base;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return upper != base ? std::vector{base, upper} : std::vector{base};
}

}  // namespace

MainProgram loadMainProgram(const std::string& module, const std::string& entry) {
  MainProgram program;
  const Module loaded = load(module, program.path);
  std::string tried;
  for (const std::string& name : entriesToTry(program.path, entry)) {
    program.entry = platform::findRoutineAs<int32_t(void*)>(loaded, name.c_str());
    if (program.entry != nullptr) return program;
    tried += (tried.empty() ? "" : " or ") + name;
  }
  throw Failure(notFound, "module " + program.path + " has no entry " + tried +
                              ".\nGive the name of the main program behind the module.");
}

}  // namespace qrt::run
