// The picture language as both engines know it: which letter begins which token, the numbers, names and eras
// that tokens stand for, and the result codes.
#pragma once

#include <emmintrin.h>
#include <stddef.h>
#include <stdint.h>

#include <array>
#include <string_view>

#include "datetime/era.h"
#include "platform/calendar_names.h"
#include "qrtrlib.h"

namespace qrt::datetime {

inline constexpr std::string_view defaultDatePicture = "MM/DD/YY";
inline constexpr std::string_view defaultTimePicture = "MM/DD/YY HH:MI:SS AP";

// Whether a picture stands for the default one.
constexpr bool isBlank(std::string_view picture) {
  return picture.find_first_not_of(' ') == std::string_view::npos;
}

inline constexpr char caseBit = 0x20;

// What a change of case changes of each character.
inline constexpr std::array<char, 256> caseBits = [] {
  std::array<char, 256> bits{};
  for (uint8_t letter = 'A'; letter <= 'Z'; ++letter) bits[letter] = bits[letter | caseBit] = caseBit;
  return bits;
}();

// A letter with the case bit of another; other characters as they are.
constexpr char withCaseOf(char letter, char other) {
  return static_cast<char>(letter ^ ((letter ^ other) & caseBits[static_cast<uint8_t>(letter)]));
}

constexpr char upperLetter(char letter) {
  return withCaseOf(letter, 'A');
}

constexpr char lowerLetter(char letter) {
  return withCaseOf(letter, 'a');
}

constexpr bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// What begins at a character of a picture.
enum class TokenKind : uint8_t {
  literal,
  year,
  month,  // minutes too
  weekday,
  number,  // day, hour, second
  fraction,
  meridiem,
  roman,
  suppression,
  era,
};

struct TokenLetter {
  char letter;
  TokenKind kind;
  bool eitherCase;  // rendering takes the lower-case letter too
};

inline constexpr TokenLetter tokenLetters[] = {
    {'Y', TokenKind::year, false},     {'M', TokenKind::month, true},       {'W', TokenKind::weekday, true},
    {'D', TokenKind::number, false},   {'H', TokenKind::number, false},     {'S', TokenKind::number, false},
    {'9', TokenKind::fraction, false}, {'A', TokenKind::meridiem, true},    {'R', TokenKind::roman, false},
    {'<', TokenKind::era, false},      {'Z', TokenKind::suppression, false}};

// The kinds by character; `rendering` adds the lower-case letters.
constexpr std::array<TokenKind, 256> tokenKinds(bool rendering) {
  std::array<TokenKind, 256> kinds{};
  for (const auto& [letter, kind, eitherCase] : tokenLetters) {
    kinds[static_cast<uint8_t>(letter)] = kind;
    if (rendering && eitherCase) kinds[static_cast<uint8_t>(lowerLetter(letter))] = kind;
  }
  return kinds;
}

// Letters whose tokens a "Z" ahead of them shows, or reads, without leading zeros.
constexpr bool isSuppressible(char letter) {
  return letter == 'Y' || letter == 'M' || letter == 'D' || letter == 'H';
}

// A token that stands for a number.
struct NumberToken {
  size_t width;  // digits
  int32_t DTSZdate_parts::*field;
  int32_t least, most;   // what parsing takes
  int32_t fault;         // its code for anything else
  bool anyWithinEra;     // an era date isn't held to the range
  bool needsEveryDigit;  // parsing takes exactly `width` digits
};

inline constexpr NumberToken minuteToken = {
    2, &DTSZdate_parts::minute, 0, 59, QRT_PICTURE_BAD_MINUTE, false, true};
inline constexpr NumberToken monthToken = {2,    &DTSZdate_parts::month, 1, 12, QRT_PICTURE_BAD_MONTH, true,
                                           false};
inline constexpr NumberToken dayToken = {2, &DTSZdate_parts::day, 1, 31, QRT_PICTURE_BAD_DAY, true, false};
inline constexpr NumberToken dayOfYearToken = {
    3, &DTSZdate_parts::day_of_year, 1, 366, QRT_PICTURE_BAD_DAY, false, false};
inline constexpr NumberToken hourToken = {2,    &DTSZdate_parts::hour, 0, 23, QRT_PICTURE_BAD_HOUR, false,
                                          false};
inline constexpr NumberToken secondToken = {
    2, &DTSZdate_parts::second, 0, 59, QRT_PICTURE_BAD_SECOND, false, true};

// The token of a run of D, H or S; null where no such token is.
constexpr const NumberToken* numberToken(char letter, size_t letters) {
  if (letters == 2) return letter == 'D' ? &dayToken : letter == 'H' ? &hourToken : &secondToken;
  return letters == 3 && letter == 'D' ? &dayOfYearToken : nullptr;
}

// Names that a run of three letters abbreviates and a longer one spells out.
struct NameToken {
  char letter;
  platform::CalendarName abbreviation, fullName;
  int32_t count;
  int32_t DTSZdate_parts::*field;   // 1 for the first name
  size_t mostRendered, mostParsed;  // letters, a final "Z" included
  int32_t fault;                    // code for a name that isn't one
};

inline constexpr size_t abbreviationWidth = 3;
inline constexpr NameToken monthNames = {'M',
                                         platform::CalendarName::shortMonth,
                                         platform::CalendarName::month,
                                         12,
                                         &DTSZdate_parts::month,
                                         20,
                                         20,
                                         QRT_PICTURE_BAD_MONTH};
inline constexpr NameToken weekdayNames = {'W',
                                           platform::CalendarName::shortWeekday,
                                           platform::CalendarName::weekday,
                                           7,
                                           &DTSZdate_parts::weekday,
                                           10,
                                           20,
                                           QRT_PICTURE_BAD_DAY};

inline constexpr std::string_view romanMonths[] = {"I",   "II",   "III", "IV", "V",  "VI",
                                                   "VII", "VIII", "IX",  "X",  "XI", "XII"};

// A token for the name of an era, which shows or reads as many bytes as it has letters.
struct EraToken {
  std::string_view text;
  int32_t era;  // QRT_ERA_*
  const char* (*name)(const DTSZera_table& table, int32_t index);
  size_t fieldWidth;

  constexpr size_t letters() const { return text.size() - 2; }
};

inline constexpr EraToken eraTokens[] = {
    {"<JJJJ>", QRT_ERA_JAPANESE, japaneseName, QRT_JAPANESE_NAME},
    {"<CCCC>", QRT_ERA_CHINESE, shortChineseName, QRT_CHINESE_SHORT_NAME},
    {"<CCCCCCCC>", QRT_ERA_CHINESE, longChineseName, QRT_CHINESE_LONG_NAME}};

// The token of that era at the start of the picture; null where none is.
constexpr const EraToken* eraToken(std::string_view picture, int32_t era) {
  for (const EraToken& token : eraTokens)
    if (token.era == era && picture.starts_with(token.text)) return &token;
  return nullptr;
}

// Where the parts hold a date of the kind era_type says.
struct DateFields {
  int32_t DTSZdate_parts::*year, DTSZdate_parts::*month, DTSZdate_parts::*day, DTSZdate_parts::*era;
};

constexpr DateFields dateFields(int32_t eraType) {
  using Parts = DTSZdate_parts;
  if (eraType == QRT_ERA_JAPANESE) return {&Parts::jp_year, &Parts::jp_month, &Parts::jp_day, &Parts::jp_era};
  if (eraType == QRT_ERA_CHINESE) return {&Parts::ch_year, &Parts::ch_month, &Parts::ch_day, &Parts::ch_era};
  return {&Parts::year, &Parts::month, &Parts::day, nullptr};
}

// The table of eras among the last arguments of an exported token.
inline const DTSZera_table* erasIn() {
  return nullptr;
}
inline const DTSZera_table* erasIn(void*) {
  return nullptr;
}
inline const DTSZera_table* erasIn(const DTSZera_table* table) {
  return table;
}

// What is left of a picture, and whether a "Z" waits for its token.
struct PictureCursor {
  const char* at;
  const char* end;
  bool suppressesZeros;

  std::string_view rest() const { return {at, static_cast<size_t>(end - at)}; }
  // Characters from here on that are `letter`.
  size_t run(char letter) const {
    const char* behind = at;
    while (behind != end && *behind == letter) ++behind;
    return static_cast<size_t>(behind - at);
  }
  // The same of a letter in either case; names make long runs.
  size_t runOfCases(char letter) const {
    const char* behind = at;
    for (; end - behind >= 8; behind += 8) {
      const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(behind));
      const __m128i upper = _mm_and_si128(bytes, _mm_set1_epi8(static_cast<char>(~caseBit)));
      const int same = _mm_movemask_epi8(_mm_cmpeq_epi8(upper, _mm_set1_epi8(letter))) & 0xFF;
      if (same != 0xFF) return static_cast<size_t>(behind - at) + static_cast<size_t>(__builtin_ctz(~same));
    }
    while (behind != end && (*behind & ~caseBit) == letter) ++behind;
    return static_cast<size_t>(behind - at);
  }
  // The character `offset` behind this one; 0 past the end.
  char ahead(size_t offset) const { return offset < static_cast<size_t>(end - at) ? at[offset] : '\0'; }
  bool takeSuppression() {
    const bool taken = suppressesZeros;
    suppressesZeros = false;
    return taken;
  }
};

// Whether the hours of a picture are those of a twelve-hour clock: its first "A" is followed by "P", or by
// ".P".
bool isTwelveHour(std::string_view picture);

}  // namespace qrt::datetime
