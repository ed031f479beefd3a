// Folders of modules for the tests of CALL and of the cache.
#pragma once

#include <dlfcn.h>

#include <filesystem>
#include <fstream>

#include "support/process.h"

namespace qrt::test {

inline constexpr int routines = 120;

// The routine of that number in the module of called programs; the number is its result.
inline std::string routineName(int number) {
  return "P" + std::to_string(number) + std::string(number * 37 % 90, 'X');
}

// A folder that is gone with this object.
struct Folder {
  std::string path = std::filesystem::temp_directory_path() / "qrtXXXXXX";

  Folder() { path = mkdtemp(path.data()); }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  // Puts the module of called programs under that name; below, a text that may be run.
  void addModule(const std::string& name) const {
    const std::string module = QRT_BUILD_DIRECTORY "/tests/modules/programs/called_programs.dll";
    create_symlink(std::filesystem::path(module), prepared(name));
  }
  void addText(const std::string& name, const std::string& text = "This is a text.\n") const {
    std::ofstream(prepared(name)) << text;
    permissions(prepared(name), std::filesystem::perms::owner_all);
  }
  std::filesystem::path prepared(const std::string& name) const {
    const std::filesystem::path file = path + "/" + name;
    create_directories(file.parent_path());
    return file;
  }

  bool isLoaded(const std::string& name) const {
    void* module = dlopen((path + "/" + name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    return module != nullptr && dlclose(module) == 0;
  }
};

}  // namespace qrt::test
