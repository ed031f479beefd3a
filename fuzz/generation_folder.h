// A folder of its own with a small generation group, as current directory of a fuzz target.
#pragma once

#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace qrt::fuzz {

struct GenerationFolder {
  std::string folder = std::filesystem::exists("/dev/shm") ? "/dev/shm/qrtfuzzXXXXXX" : "/tmp/qrtfuzzXXXXXX";

  GenerationFolder() {
    std::filesystem::current_path(mkdtemp(folder.data()));
    stderr = fopen("/dev/null", "w");  // what the library says about names; reports of sanitizers still show
    GDG_Create("G", 5, 0, 0, "sys");
    for (const char* name : {"G.g9998v00", "G(+1)", "G(+1)"}) resolved(name, 1);
  }
  ~GenerationFolder() {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  // The result of GDS_Name and the text that it gave.
  static std::pair<int32_t, std::string> resolved(const std::string& name, int32_t create = 0) {
    char* text = nullptr;
    const int32_t result = GDS_Name(name.c_str(), &text, create, "PLT");
    if ((result == 0) != (text == nullptr)) abort();
    std::pair<int32_t, std::string> both(result, text != nullptr ? text : "");
    free(text);
    return both;
  }
};

}  // namespace qrt::fuzz
