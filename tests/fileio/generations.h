// Generation groups in a folder of a test: names as the library resolves them, and catalogues word by word.
#pragma once

#include <array>

#include "file_program.h"

namespace qrt::test {

// What GDS_Name makes of a name, as "1 MYFILE.g0001v00"; "0" for nothing.
inline std::string resolved(const std::string& name, bool create = false, const char* letters = "PLT") {
  char* text = const_cast<char*>("untouched");
  const std::string result = std::to_string(GDS_Name(name.c_str(), &text, create ? 1 : 0, letters));
  if (text == nullptr) return result;
  const std::string both = result + " " + text;
  free(text);
  return both;
}

// Rows of a table that is one text, parted by " | ", each with what stands on both sides of its " = ".
inline std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& table) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (size_t at = 0, end; at < table.size(); at = end + 3) {
    end = std::min(table.find(" | ", at), table.size());
    const size_t middle = table.find(" = ", at);
    rows.emplace_back(table.substr(at, middle - at), table.substr(middle + 3, end - middle - 3));
  }
  return rows;
}

// The catalogue file as its words; the entries start at the 24th.
using Image = std::array<uint32_t, 1024>;
enum Word { magic, byteOrder, version, limit, days, flags, count, latest, wrap, fileSystem, entries = 24 };

inline Image imageOf(const std::string& group) {
  const std::string content = contentOf(group + ".catalogue");
  EXPECT_EQ(content.size(), sizeof(Image));
  Image image{};
  memcpy(image.data(), content.data(), std::min(content.size(), sizeof(image)));
  return image;
}

inline void writeImage(const std::string& group, const Image& image, size_t bytes = sizeof(Image)) {
  makeFile(group + ".catalogue", {reinterpret_cast<const char*>(image.data()), bytes});
}

// Creates a group with those generations and a file for each, from the oldest on.
inline void makeGroup(const std::string& group, std::initializer_list<int> generations, int32_t limit = 0,
                      int32_t flags = QRT_GDG_SCRATCH) {
  EXPECT_EQ(GDG_Create(group.c_str(), limit, 0, flags, "PLT"), 0);
  for (const int generation : generations) {
    char suffix[16];
    snprintf(suffix, sizeof(suffix), ".g%04dv00", generation);
    makeFile(group + suffix, group + std::to_string(generation) + "\n");
    EXPECT_EQ(resolved(group + suffix, true), "1 " + group + suffix);
  }
}

}  // namespace qrt::test
