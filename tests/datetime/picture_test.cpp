// Rendering and parsing by pictures: random pictures beside the plain reading of the language, and the
// helpers.
#include <time.h>

#include "datetime/plain_picture.h"
#include "support/allocation.h"

using namespace qrt::datetime;

namespace {

const PlainEras eras = {{"MEIJI", "Ab", "", "SHOWA"}, {"MINGUO", "X Y"}, {"REPUBLIC OF CHINA", "LONG"}};

struct Tables {
  std::vector<char> japanese = plainTable(eras, true), chinese = plainTable(eras, false);
  const DTSZera_table* ofJapan() const { return reinterpret_cast<const DTSZera_table*>(japanese.data()); }
  const DTSZera_table* ofChina() const { return reinterpret_cast<const DTSZera_table*>(chinese.data()); }
};

// Through the exported engine, between guard bytes; the code stands ahead of what was written.
std::string rendered(const DTSZdate_parts& parts, const std::string& picture, size_t room) {
  static const Tables tables;
  std::string area(room + 2, '\xEE');
  int32_t code = -1;
  char* const output = area.data() + 1;
  const int32_t returned =
      DTSZOUTPUT_date(output, picture.data(), &parts, &code, nullptr, tables.ofJapan(), tables.ofChina(),
                      picture.data() + picture.size(), output + room, 1);
  EXPECT_EQ(returned, code);
  EXPECT_EQ(area.front(), '\xEE');
  EXPECT_EQ(area.back(), '\xEE');
  return std::to_string(code) + " " + area.substr(1, room).substr(0, area.find('\xEE', 1) - 1);
}

std::string text(const DTSZdate_parts& parts) {
  std::string all;
  for (size_t at = 0; at < sizeof parts / sizeof(int32_t); ++at)
    all += std::to_string((&parts.era_type)[at]) + " ";
  return all;
}

std::string parsed(const std::string& picture, const std::string& input, DTSZdate_parts* parts = nullptr) {
  static const Tables tables;
  DTSZdate_parts local;
  if (parts == nullptr) parts = &local;
  memset(parts, 0x55, sizeof *parts);
  QrtFeedback feedback;
  int32_t code = -1;
  DTSZCONVERT_from_picture(input.data(), picture.data(), parts, &code, nullptr, tables.ofJapan(),
                           tables.ofChina(), picture.data() + picture.size(), input.data() + input.size(),
                           &feedback, 0);
  return std::to_string(code) + (code == 0 ? " " + text(*parts) : "");
}

int32_t firstOfWindow() {
  const time_t now = time(nullptr);
  return localtime(&now)->tm_year + 1900 - 80;
}

DTSZdate_parts tuesday() {
  DTSZdate_parts parts = {};
  parts.year = 2024, parts.month = 3, parts.day = 5, parts.day_of_year = 65, parts.weekday = 3;
  parts.hour = 1, parts.minute = 5, parts.second = 7, parts.millisecond = 250, parts.ampm = 1;
  return parts;
}

struct RandomPictures {
  std::mt19937 random{612};

  uint32_t below(uint32_t limit) { return random() % limit; }
  std::string any(const std::vector<std::string>& choices) {
    return choices[below(static_cast<uint32_t>(choices.size()))];
  }
  // Usual tokens with usual delimiters, now and then a run of any length or any other character.
  std::string picture() {
    static const std::vector<std::string> tokens = {
        "YYYY",       "YY",         "YYY",  "ZYY",    "MM",     "ZM",        "MMM",  "Mmm", "Mmmmmmmmmz",
        "MMMMMMMMMM", "DD",         "ZD",   "DDD",    "HH",     "ZH",        "MI",   "SS",  "999",
        "99",         "AP",         "A.P.", "ap",     "a.p.",   "RRRR",      "RRRZ", "Www", "WWW",
        "ww",         "Wwwwwwwwwz", "WWWW", "<JJJJ>", "<CCCC>", "<CCCCCCCC>"};
    std::string made;
    for (uint32_t count = 1 + below(6); count > 0; --count) {
      if (below(8) != 0) made += any(tokens);
      if (below(12) == 0) made += std::string(below(24), "YMmDWwHS9RZAJ<>zI"[below(17)]);
      if (below(30) == 0) made += static_cast<char>(below(128));
      if (count > 1 && below(6) != 0) made += any({"-", "/", " ", ".", ", ", ":", "  "});
    }
    return made;
  }
  // One that parsing can read.
  std::string fullPicture() {
    std::vector<std::string> fields = {any({"YYYY", "YY"}),
                                       any({"MM", "ZM", "MMM", "Mmmmmmmmmz", "MMMMMMMMMM", "RRRR", "RRRZ"}),
                                       any({"DD", "ZD"})};
    if (below(3) == 0) fields.push_back(any({"Www", "Wwwwwwwwwz", "WWWW"}));
    if (below(3) == 0) fields.push_back("HH:MI" + any({"", ":SS", ":SS.999"}) + any({"", " AP", " A.P."}));
    if (below(6) == 0) fields = {"YYYY", "DDD"};
    std::shuffle(fields.begin(), fields.end(), random);
    std::string made = below(6) == 0 ? any({"<JJJJ> ", "<CCCC> ", "<CCCCCCCC> "}) : "";
    for (const std::string& field : fields) made += (made.empty() ? "" : any({"-", "/", " ", ", "})) + field;
    return made;
  }
  DTSZdate_parts parts() {
    DTSZdate_parts made = {};
    const auto from = [&](uint32_t least, uint32_t most) {
      return static_cast<int32_t>(least + below(most - least + 1));
    };
    made.era_type = from(0, 2);
    made.year = from(0, 9) == 0 ? from(1, 20000) : from(1582, 9999);
    for (int32_t* const month : {&made.month, &made.jp_month, &made.ch_month}) *month = from(1, 12);
    for (int32_t* const day : {&made.day, &made.jp_day, &made.ch_day}) *day = from(1, 31);
    for (int32_t* const year : {&made.jp_year, &made.ch_year}) *year = from(1, below(9) == 0 ? 9999 : 99);
    for (int32_t* const era : {&made.jp_era, &made.ch_era}) *era = from(0, 5);
    made.day_of_year = from(1, 366), made.hour = from(0, 23), made.minute = from(0, 59);
    made.second = from(0, 59), made.millisecond = from(0, 999), made.ampm = from(0, 1);
    made.weekday = from(1, 7);
    return made;
  }
};

TEST(Rendering, EveryPictureAsItReads) {
  RandomPictures some;
  for (int round = 0; round < 60000; ++round) {
    const std::string picture = some.picture();
    const size_t room = some.below(4) == 0 ? some.below(12) : 80;
    const DTSZdate_parts parts = some.parts();
    const PlainText plain = plainRender(parts, picture, room, eras);
    const std::string expected = std::to_string(plain.code) + " " + plain.text;
    ASSERT_EQ(rendered(parts, picture, room), expected) << "'" << picture << "' " << text(parts);
  }
}

TEST(Parsing, EveryPictureAsItReads) {
  RandomPictures some;
  const int32_t firstYear = firstOfWindow();
  int32_t read = 0;
  for (int round = 0; round < 60000; ++round) {
    const std::string picture = some.below(2) == 0 ? some.picture() : some.fullPicture();
    // Mostly what the picture shows of some date, which it mostly can read.
    DTSZdate_parts parts = some.parts();
    if (parts.era_type != 0 && picture.find('<') == std::string::npos) parts.era_type = 0;
    std::string input = plainRender(parts, picture, 80, eras).text;
    if (some.below(3) == 0) input.erase(some.below(static_cast<uint32_t>(input.size() + 1)), some.below(9));
    if (some.below(3) == 0)
      input.insert(some.below(static_cast<uint32_t>(input.size() + 1)), some.any({" ", "9", "I", "x", "."}));
    const PlainReading plain = plainParse(picture, input, firstYear, eras);
    const std::string expected =
        std::to_string(plain.code) + (plain.code == 0 ? " " + text(plain.parts) : "");
    ASSERT_EQ(parsed(picture, input), expected) << "'" << picture << "' '" << input << "'";
    read += plain.code == 0;
  }
  EXPECT_GT(read, 3000);
}

TEST(Tokens, MoveTheirCursorsAndTheFlag) {
  char output[8] = {}, *out = output;
  const char *picture = "D-", *input = "24", *const end = picture + 2;
  DTSZdate_parts parts = tuesday();
  int32_t flag = 1;
  EXPECT_EQ(DTSZOUTPUT_day(&parts, &out, &picture, &flag, end, output + 8), 0);
  EXPECT_TRUE(output == std::string("5") && out == output + 1 && picture == end - 1 && flag == 0);
  picture = "YY", flag = 1, parts.era_type = QRT_ERA_JAPANESE;
  EXPECT_EQ(DTSZCONVERT_year(&parts, &input, &picture, &flag, picture + 2, input + 2), 0);
  EXPECT_EQ(std::to_string(parts.year) + "|" + input + "|" + picture + "|" + std::to_string(flag), "24|||0");
}

TEST(Helpers, NumbersAndStrings) {
  constexpr std::tuple<const char*, int32_t, int32_t, const char*> formats[] = {
      {"%03d", 12345, 3, "345"}, {"%-4d", 70, 2, "70"}, {"%-4d", 0, 1, "0"},  {"%d", 1, -1, ""},
      {"%0d", 1, -1, ""},        {"%04x", 1, -1, ""},   {"%04d ", 1, -1, ""}, {"%02d", -1, -1, ""}};
  for (const auto& [format, value, length, expected] : formats) {
    char to[8] = {};
    EXPECT_EQ(DTS_sprintf(to, format, value), length) << format;
    EXPECT_STREQ(to, expected);
  }
  char to[] = "....", *at = to;
  EXPECT_EQ(DTSZprint_number(12345, "%05d", 3, &at, to + 2), 4);
  EXPECT_STREQ(to, "34..");
  EXPECT_EQ(DTS_strncmp("a\xFF", "ab", 2), 1);
  const char* const text = "x<JJJJ";
  EXPECT_EQ(DTS_strstrend(text, text + 6, "<JJ"), text + 1);
  EXPECT_EQ(DTS_strstrend(text, text + 3, "<JJ"), nullptr);
  EXPECT_EQ(DTS_fmod(7.5, 2), 1.5);
  EXPECT_EQ(DTS_fmod(1, 0), -1.0);
  const char *first = "abcd", *second = "abxd";
  EXPECT_EQ(DTSZDELIMITERS(&first, &second, first + 4, second + 4), 0);
  EXPECT_EQ(*first, 'c');
  EXPECT_EQ(DTSZDELIMITERS(&first, &second, first + 2, second + 2), 24);
}

TEST(Helpers, SetString) {
  for (const char* text :
       {"", " ", "  Jan  5, 2024 ", "a/", "a b c d e f g h i j k l m n o p", "abcdefghijklmno  x"}) {
    char *copy = nullptr, *end = nullptr;
    QrtFeedback feedback;
    EXPECT_EQ(DTSZSET_STRING(text, text + strlen(text), &copy, &end, &feedback), 0);
    EXPECT_EQ(std::string(copy, end), plainNormalised(text));
    EXPECT_EQ(*end, 0);
    _qrtCheckFree(copy);
  }
  if (!qrt::test::canFailAllocations) return;
  const char* const text = "a";
  char *copy, *end;
  QrtFeedback feedback = {};
  const qrt::test::FailingAllocation failing(1);
  EXPECT_EQ(DTSZSET_STRING(text, text + 1, &copy, &end, &feedback), 100);
  EXPECT_EQ(feedback.messageNumber, 813);
}

}  // namespace
