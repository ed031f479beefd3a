// Folders of modules for the tests of CALL and of the cache.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

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

  // Puts the module of called programs under that name.
  void addModule(const std::string& name) const {
    std::filesystem::create_symlink(QRT_BUILD_DIRECTORY "/tests/modules/programs/called_programs.dll",
                                    path + "/" + name);
  }
  void addText(const std::string& name, const std::string& text = "This is a text.\n") const {
    std::filesystem::create_directories(std::filesystem::path(path + "/" + name).parent_path());
    std::ofstream(path + "/" + name) << text;
  }
};

}  // namespace qrt::test
