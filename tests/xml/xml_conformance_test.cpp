// A public suite of documents, well-formed and not. The script `conformance` beside this file fetches it and
// names its folder in QRT_XMLTEST.
#include <dirent.h>
#include <stdlib.h>

#include <algorithm>

#include "xml/documents.h"

using namespace qrt::test;

namespace {

// Numbers of documents whose outcome is another one than the suite's, and why.
struct Exceptions {
  const char *folder, *numbers, *reason;
};
constexpr Exceptions exceptions[] = {
    {"valid/sa", "052", "characters above U+FFFF are refused in UTF-8"},
    {"not-wf/sa", "072 076", "an unknown reference is an event"},
    {"not-wf/sa", "186", "attributes need no white space between them"},
    {"not-wf/sa",
     "054 056 057 058 059 060 061 062 063 064 065 066 067 068 069 071 073 074 075 077 078 079 080 081 082 "
     "083 084 "
     "085 086 087 089 090 091 092 103 107 113 114 115 116 117 119 120 121 122 123 124 125 126 127 128 129 "
     "130 131 "
     "132 133 134 135 136 137 138 139 140 141 149 153 158 159 160 161 162 164 165 175 180 182 183 184 185",
     "what a DTD declares isn't looked at"},
    {"not-wf/not-sa", "001 002 003 004 005 006 007 008", "external parts of a DTD aren't read"},
    {"not-wf/ext-sa", "001 002 003", "external entities aren't read"}};

std::string fileText(const std::string& path) {
  std::string text;
  if (FILE* const file = fopen(path.c_str(), "rb")) {
    for (int byte; (byte = fgetc(file)) != EOF;) text += static_cast<char>(byte);
    fclose(file);
  }
  return text;
}

TEST(Conformance, AgreesWithTheSuite) {
  const char* const suite = getenv("QRT_XMLTEST");
  if (suite == nullptr) GTEST_SKIP() << "QRT_XMLTEST doesn't name the suite's folder";
  size_t documents = 0;
  for (const std::string folder :
       {"valid/sa", "valid/not-sa", "valid/ext-sa", "not-wf/sa", "not-wf/not-sa", "not-wf/ext-sa"}) {
    const std::string path = std::string(suite) + "/" + folder;
    DIR* const directory = opendir(path.c_str());
    ASSERT_NE(directory, nullptr) << path;
    while (const dirent* const entry = readdir(directory)) {
      const std::string name = entry->d_name;
      if (!name.ends_with(".xml")) continue;
      ++documents;
      Events events{utf8.ccsid};
      events.answer = [](int32_t code) { return code < 70 || code > 92 ? code : 0; };
      const std::string text = fileText(path + "/" + name);
      if (text.starts_with("\xFF\xFE")) events.ccsid = utf16.ccsid;
      const bool isOther = std::ranges::any_of(exceptions, [&](const Exceptions& row) {
        return folder == row.folder && strstr(row.numbers, name.substr(0, 3).c_str()) != nullptr;
      });
      EXPECT_EQ(events.parse(text) == 0, folder.starts_with("valid") != isOther) << folder << name;
    }
    closedir(directory);
  }
  EXPECT_EQ(documents, 361u) << "the suite isn't whole";
}

}  // namespace
