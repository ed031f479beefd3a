// Message catalogues for tests, written byte by byte, and a place for them on NLSPATH.
#pragma once

#include <locale.h>

#include <filesystem>
#include <fstream>

#include "process.h"

namespace qrt::test {

struct CatalogueEntry {
  uint16_t number, variant;
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

// A catalogue in the process's scratch folder, which the library finds in the default locale while this
// object lives; one at a time.
struct Catalogue {
  std::string path = scratchFolder(getpid());
  std::string before = getenv("NLSPATH") != nullptr ? getenv("NLSPATH") : "";

  explicit Catalogue(const std::vector<CatalogueEntry>& entries) {
    std::filesystem::create_directory(path);
    std::ofstream(path + "/qrtremsg.cat", std::ios::binary) << catalogueBytes(entries);
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(variable);
    setenv("NLSPATH", (path + "/%n").c_str(), 1);
    setlocale(LC_ALL, "C");
    forget();
  }
  ~Catalogue() {
    setenv("NLSPATH", before.c_str(), 1);
    std::filesystem::remove_all(path);
    forget();
  }

  // Closes what the writer has open, so that the next message looks for a catalogue.
  static void forget() { qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL | 1); }
};

}  // namespace qrt::test
