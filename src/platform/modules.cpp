// Loadable modules over the dynamic linker.
#include "platform/modules.h"

#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "platform/errors.h"
#include "platform/file_state.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

std::string_view directoryOf(std::string_view path) {
  return path.substr(0, path.rfind('/') + 1);
}

// Puts directory and name together; true when there is such a file.
bool findIn(std::string_view directory, std::string_view name, NativePath& path) {
  path = NativePath(directory);
  if (path.length > 0 && path.text[path.length - 1] != '/') path.append("/");
  path.append(name);
  return path.fits && isFile(path.text);
}

bool findBesideProgram(std::string_view name, NativePath& path) {
  char program[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", program, sizeof(program));
  return length > 0 && findIn(directoryOf({program, static_cast<size_t>(length)}), name, path);
}

bool findBesideLibrary(std::string_view name, NativePath& path) {
  Dl_info library;
  if (dladdr(reinterpret_cast<const void*>(&loadModule), &library) == 0) return false;
  char resolved[PATH_MAX];
  return realpath(library.dli_fname, resolved) != nullptr && findIn(directoryOf(resolved), name, path);
}

bool findOnPath(std::string_view name, NativePath& path) {
  const char* list = getenv("PATH");
  if (list == nullptr) return false;
  for (std::string_view rest = list;;) {
    const size_t end = rest.find(':');
    const std::string_view directory = rest.substr(0, end);
    if (findIn(directory.empty() ? "." : directory, name, path)) return true;
    if (end == std::string_view::npos) return false;
    rest.remove_prefix(end + 1);
  }
}

bool findModuleFile(std::string_view name, NativePath& path) {
  if (std::any_of(name.begin(), name.end(), isSeparator)) return findIn("", name, path);
  return findBesideProgram(name, path) || findBesideLibrary(name, path) || findIn("./", name, path) ||
         findOnPath(name, path);
}

// Why the linker refused a file that is there.
int32_t refusalOf(const NativePath& path) {
  const int file = open(path.text, O_RDONLY | O_CLOEXEC);
  if (file < 0) return errorNumberOf(errno);
  Elf32_Ehdr header = {};
  const ssize_t length = read(file, &header, sizeof(header));
  close(file);
  const bool loadable = length == sizeof(header) && memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
                        header.e_ident[EI_CLASS] == ELFCLASS32 && header.e_machine == EM_386 &&
                        header.e_type == ET_DYN;
  return loadable ? moduleNotFound : notALoadableModule;
}

Module loadFound(const NativePath& path) {
  const Module module = dlopen(path.text, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) setLastError(refusalOf(path));
  return module;
}

// A look-up in the main module goes on into the libraries behind it.
bool belongsToMainModule(const void* address) {
  Dl_info object;
  void* module = nullptr;
  return dladdr1(address, &object, &module, RTLD_DL_LINKMAP) != 0 && module == mainModule();
}

}  // namespace

bool findModule(std::string_view name, NativePath& path) {
  const auto lastPart = std::find_if(name.rbegin(), name.rend(), isSeparator).base();
  NativePath fileName(name);
  if (std::find(lastPart, name.end(), '.') == name.end()) fileName.append(".dll");
  return lastPart != name.end() && fileName.fits && findModuleFile(fileName.text, path);
}

Module loadModule(std::string_view name) {
  NativePath path;
  if (!findModule(name, path)) {
    setLastError(moduleNotFound);
    return nullptr;
  }
  return loadFound(path);
}

Module loadModuleFile(std::string_view path) {
  // Without a separator the linker would search on its own.
  const bool bare = std::none_of(path.begin(), path.end(), isSeparator);
  NativePath native(bare ? "./" : "");
  native.append(path);
  if (native.fits && isFile(native.text)) return loadFound(native);
  setLastError(moduleNotFound);
  return nullptr;
}

const char* loadFailureText() {
  return dlerror();
}

Module mainModule() {
  static const Module running = dlopen(nullptr, RTLD_NOW | RTLD_NOLOAD);
  return running;
}

Routine findRoutine(Module module, const char* name) {
  if (module == nullptr) {
    setLastError(invalidHandle);
    return nullptr;
  }
  auto routine = reinterpret_cast<Routine>(dlsym(module, name));
  if (module == mainModule() && !belongsToMainModule(reinterpret_cast<void*>(routine))) routine = nullptr;
  if (routine == nullptr) setLastError(routineNotFound);
  return routine;
}

bool unloadModule(Module module) {
  if (module != nullptr && dlclose(module) == 0) return true;
  setLastError(invalidHandle);
  return false;
}

}  // namespace qrt::platform
