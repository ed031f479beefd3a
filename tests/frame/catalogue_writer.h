// Message catalogues for tests, written byte by byte, and a place for them on NLSPATH.
#pragma once

#include <locale.h>
#include <stdint.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace qrt::test {

struct CatalogueEntry {
  uint16_t number;
  uint16_t variant;
  std::string text;
};

inline const CatalogueEntry usualControl = {9999, 1, "0 QRT IWSC 4096"};

inline std::string catalogueBytes(const std::vector<CatalogueEntry>& entries) {
  std::string bytes(30, '\xEE'), texts;
  const auto put = [&](uint32_t value, size_t width) {
    bytes.append(reinterpret_cast<char*>(&value), width);
  };
  put(static_cast<uint32_t>(entries.size()), 2);
  for (const CatalogueEntry& entry : entries) {
    put(entry.number, 2);
    put(entry.variant, 2);
    put(static_cast<uint32_t>(32 + 8 * entries.size() + texts.size()), 4);
    texts += entry.text + '\0';
  }
  return bytes + texts;
}

// A temporary folder, gone with this object.
struct Folder {
  std::string path;

  Folder() {
    char name[] = "/tmp/qrtXXXXXX";
    path = mkdtemp(name);
  }
  ~Folder() { std::filesystem::remove_all(path); }

  void write(const std::string& name, const std::string& bytes) const {
    const auto file = std::filesystem::path(path) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
};

// Environment variables as they were, back at the end of this object's life.
struct KeptEnvironment {
  std::vector<std::pair<std::string, std::string>> values;  // of those that were set
  static constexpr const char* variables[] = {"NLSPATH", "LC_ALL", "LC_MESSAGES", "LANG"};

  KeptEnvironment() {
    for (const char* variable : variables)
      if (const char* value = getenv(variable)) values.emplace_back(variable, value);
  }
  ~KeptEnvironment() {
    for (const char* variable : variables) unsetenv(variable);
    for (const auto& [variable, value] : values) setenv(variable.c_str(), value.c_str(), 1);
  }
};

// A catalogue that the library finds, in the default locale.
struct Catalogue : Folder {
  KeptEnvironment environment;

  explicit Catalogue(const std::vector<CatalogueEntry>& entries) {
    write("qrtremsg.cat", catalogueBytes(entries));
    for (const char* variable : KeptEnvironment::variables) unsetenv(variable);
    setenv("NLSPATH", (path + "/%n").c_str(), 1);
    setlocale(LC_ALL, "C");
  }
};

}  // namespace qrt::test
