// Rendering: a token shows what it stands for, everything else is copied as it is.
#include "datetime/render.h"

#include <string.h>

#include <algorithm>

#include "datetime/blocks.h"
#include "datetime/calendar.h"

namespace qrt::datetime {
namespace {

constexpr std::array<TokenKind, 256> renderedKinds = tokenKinds(true);

int32_t put(Rendering& to, char byte) {
  if (to.output == to.outputEnd) return QRT_PICTURE_SHORT_OUTPUT;
  *to.output++ = byte;
  return QRT_PICTURE_DONE;
}

// As much of the text as fits.
int32_t put(Rendering& to, const char* text, size_t length) {
  const size_t fits = std::min(length, to.room());
  memcpy(to.output, text, fits);
  to.output += fits;
  return fits == length ? QRT_PICTURE_DONE : QRT_PICTURE_SHORT_OUTPUT;
}

int32_t putLiteral(Rendering& to) {
  return put(to, *to.picture.at++);
}

struct DigitPair {
  char digits[2];
};

// The two digits of each number below 100.
constexpr std::array<DigitPair, 100> digitPairs = [] {
  std::array<DigitPair, 100> pairs{};
  for (int value = 0; value < 100; ++value)
    pairs[static_cast<size_t>(value)] = {
        {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)}};
  return pairs;
}();

// Writes the low `width` digits of a value, 1 to 4.
inline void writeDigits(char* to, uint32_t value, size_t width) {
  if (width > 2) {
    const uint32_t hundreds = value / 100 % 100;
    if (width == 4) memcpy(to, &digitPairs[hundreds], sizeof(DigitPair));
    if (width == 3) *to = digitPairs[hundreds].digits[1];
  }
  const uint32_t pair = value < 100 ? value : value % 100;
  if (width > 1)
    memcpy(to + width - 2, &digitPairs[pair], sizeof(DigitPair));
  else
    *to = digitPairs[pair].digits[1];
}

// The same, as far as they fit, without leading zeros if these are suppressed; nothing of a negative value.
int32_t putNumber(Rendering& to, int32_t value, size_t width, bool suppressesZeros) {
  if (value < 0) return QRT_PICTURE_DONE;
  if (suppressesZeros) {
    if (width == 3 && value / 100 % 10 == 0) width = 2;
    if (width == 2 && value / 10 % 10 == 0) width = 1;
  }
  if (to.room() >= width) {
    writeDigits(to.output, static_cast<uint32_t>(value), width);
    to.output += width;
    return QRT_PICTURE_DONE;
  }
  char digits[4];
  writeDigits(digits, static_cast<uint32_t>(value), width);
  return put(to, digits, width);
}

// withCaseOf, of four letters.
inline uint32_t withCasesOf(uint32_t letters, uint32_t others) {
  const __m128i caseBitOfEach = _mm_set1_epi8(caseBit);
  const __m128i lower = _mm_or_si128(_mm_cvtsi32_si128(static_cast<int32_t>(letters)), caseBitOfEach);
  const __m128i bits = _mm_and_si128(isLowerLetter(lower), caseBitOfEach);
  return letters ^ ((letters ^ others) & static_cast<uint32_t>(_mm_cvtsi128_si32(bits)));
}

// Copies `length` letters of a name, in the cases of the picture's letters. From four letters on they go in
// fours, the last of which may overlap.
inline void copyCased(const char* name, const char* cases, char* output, size_t length) {
  constexpr size_t width = sizeof(uint32_t);
  if (length < width) {
    for (size_t at = 0; at < length; ++at) output[at] = withCaseOf(name[at], cases[at]);
    return;
  }
  const auto copyFour = [&](size_t at) {
    uint32_t letters, others;
    memcpy(&letters, name + at, width);
    memcpy(&others, cases + at, width);
    letters = withCasesOf(letters, others);
    memcpy(output + at, &letters, width);
  };
  for (size_t at = 0; at < length - width; at += width) copyFour(at);
  copyFour(length - width);
}

// A name, or an abbreviation of three letters, whose letters take their case from those of the picture: a run
// of `letters`, and a "Z" behind it.
int32_t renderName(Rendering& to, const NameToken& token, size_t letters) {
  const bool isFull = letters > abbreviationWidth;
  const bool isPadded = !isFull || upperLetter(to.picture.ahead(letters)) != 'Z';
  if (!isPadded) ++letters;
  if (letters > token.mostRendered) return QRT_PICTURE_INVALID;
  if (!isFull && to.room() < letters) return QRT_PICTURE_SHORT_OUTPUT;
  const int32_t index = to.parts.*token.field - 1;
  const bool isNamed = index >= 0 && index < token.count;
  const char* const name =
      isNamed ? platform::calendarName(isFull ? token.fullName : token.abbreviation, index) : "";
  size_t length = 0;  // counted here: a predicted loop is known sooner than the result of strnlen
  while (length < letters && name[length] != 0) ++length;
  const size_t shown = isPadded ? letters : length;
  const size_t fits = std::min(shown, to.room());
  const size_t named = std::min(length, fits);
  copyCased(name, to.picture.at, to.output, named);
  for (size_t at = named; at < fits; ++at) to.output[at] = ' ';
  to.output += fits;
  to.picture.at += letters;
  return fits < shown ? QRT_PICTURE_SHORT_OUTPUT : QRT_PICTURE_DONE;
}

// A token that isn't flattened into the loop: on a copy, so that the loop's own cursors have no address.
template <int32_t (*step)(Rendering&)>
int32_t renderApart(Rendering& to) {
  Rendering copy = to;
  const int32_t code = step(copy);
  to.picture = copy.picture;
  to.output = copy.output;
  return code;
}

int32_t renderKind(Rendering& to, TokenKind kind) {
  switch (kind) {
    case TokenKind::year:
      return renderYear(to);
    case TokenKind::month:
      return renderMonth(to);
    case TokenKind::weekday:
      return renderWeekday(to);
    case TokenKind::number:
      return renderNumber(to);
    case TokenKind::fraction:
      return renderFraction(to);
    case TokenKind::meridiem:
      return renderMeridiem(to);
    case TokenKind::roman:
      return renderRoman(to);
    case TokenKind::suppression:
      if (!isSuppressible(to.picture.ahead(1))) return putLiteral(to);
      to.picture.suppressesZeros = true;
      ++to.picture.at;
      return QRT_PICTURE_DONE;
    case TokenKind::era:
      if (to.picture.ahead(1) == 'J') return renderApart<renderEra<QRT_ERA_JAPANESE>>(to);
      if (to.picture.ahead(1) == 'C') return renderApart<renderEra<QRT_ERA_CHINESE>>(to);
      return putLiteral(to);
    case TokenKind::literal:
      break;
  }
  return putLiteral(to);
}

bool isTimeToken(const PictureCursor& picture, TokenKind kind) {
  return *picture.at == 'H' || *picture.at == 'S' || kind == TokenKind::fraction ||
         kind == TokenKind::meridiem || (kind == TokenKind::month && upperLetter(picture.ahead(1)) == 'I');
}

}  // namespace

int32_t renderYear(Rendering& to) {
  const size_t letters = to.picture.run('Y');
  const bool suppresses = to.picture.takeSuppression() && letters == 2;
  const bool isEraDate = to.parts.era_type != QRT_ERA_GREGORIAN;
  const bool isShown = letters <= (isEraDate ? 3 : 4) && !(isEraDate && letters == 1);
  if (!isShown) return putLiteral(to);
  const int32_t year = to.parts.*dateFields(to.parts.era_type).year;
  to.picture.at += letters;
  if (isEraDate) return putNumber(to, year, suppresses ? 3 : letters, suppresses);
  if (suppresses) return QRT_PICTURE_INVALID;
  if (letters == 3) return put(to, "000", 3);
  if (letters == 2 && (year < firstYear || year > lastYear)) return QRT_PICTURE_BAD_YEAR;
  return putNumber(to, year, letters, false);
}

int32_t renderMonth(Rendering& to) {
  const size_t letters = to.picture.runOfCases('M');
  const bool suppresses = to.picture.takeSuppression() && letters == 1;
  if (letters >= abbreviationWidth) return renderName(to, monthNames, letters);
  if (letters == 2 || suppresses) {
    to.picture.at += letters;
    return putNumber(to, to.parts.*dateFields(to.parts.era_type).month, monthToken.width, suppresses);
  }
  if (upperLetter(to.picture.ahead(1)) != 'I') return putLiteral(to);
  to.picture.at += 2;
  return putNumber(to, to.parts.minute, minuteToken.width, false);
}

int32_t renderWeekday(Rendering& to) {
  const size_t letters = to.picture.runOfCases('W');
  if (letters >= abbreviationWidth) return renderName(to, weekdayNames, letters);
  return putLiteral(to);
}

int32_t renderNumber(Rendering& to) {
  const char letter = *to.picture.at;
  const size_t letters = to.picture.run(letter);
  const bool suppresses = to.picture.takeSuppression() && letters == 1 && isSuppressible(letter);
  const NumberToken* const token = numberToken(letter, suppresses ? 2 : letters);
  if (token == nullptr) return putLiteral(to);
  to.picture.at += letters;
  const auto field = token->field == &DTSZdate_parts::day ? dateFields(to.parts.era_type).day : token->field;
  return putNumber(to, to.parts.*field, token->width, suppresses);
}

int32_t renderFraction(Rendering& to) {
  const size_t digits = to.picture.run('9');
  if (digits > 3) return QRT_PICTURE_INVALID;
  to.picture.at += digits;
  constexpr int32_t divisors[] = {1, 100, 10, 1};
  return putNumber(to, to.parts.millisecond / divisors[digits], digits, false);
}

int32_t renderMeridiem(Rendering& to) {
  const std::string_view rest = to.picture.rest();
  const bool isUpper = rest[0] == 'A';
  const bool hasPoints = rest.starts_with(isUpper ? "A.P." : "a.p.");
  if (!hasPoints && !rest.starts_with(isUpper ? "AP" : "ap")) return putLiteral(to);
  const size_t length = hasPoints ? 4 : 2;
  if (to.room() < length) return QRT_PICTURE_SHORT_OUTPUT;
  to.picture.at += length;
  const char letter = to.parts.ampm != 0 ? 'P' : 'A';
  *to.output++ = isUpper ? letter : lowerLetter(letter);
  if (hasPoints) *to.output++ = '.';
  *to.output++ = isUpper ? 'M' : 'm';
  return QRT_PICTURE_DONE;
}

int32_t renderRoman(Rendering& to) {
  const size_t letters = to.picture.run('R');
  const bool isPadded = letters == 4;
  if (!isPadded && !(letters == 3 && to.picture.ahead(3) == 'Z')) return putLiteral(to);
  constexpr size_t width = 4;
  to.picture.at += width;
  const bool isMonth = to.parts.month >= 1 && to.parts.month <= 12;
  const std::string_view numeral = isMonth ? romanMonths[to.parts.month - 1] : "";
  char text[] = "    ";
  const size_t length = isPadded ? width : numeral.size();
  if (to.room() >= length) numeral.copy(text, width);  // a numeral that was cut would show another month
  return put(to, text, length);
}

template <int32_t era>
[[gnu::noinline]] int32_t renderEra(Rendering& to) {
  constexpr int32_t otherEra = era == QRT_ERA_JAPANESE ? QRT_ERA_CHINESE : QRT_ERA_JAPANESE;
  const EraToken* const token = eraToken(to.picture.rest(), era);
  if (token == nullptr || to.parts.era_type == otherEra) return QRT_PICTURE_INVALID;
  const DTSZera_table* const table = era == QRT_ERA_JAPANESE ? to.japanese : to.chinese;
  const int32_t index = to.parts.*dateFields(era).era;
  if (table == nullptr || index < 1 || index > table->count) return QRT_PICTURE_NO_ERA;
  if (to.room() < token->letters()) return QRT_PICTURE_SHORT_OUTPUT;
  to.picture.at += token->text.size();
  const char* const name = token->name(*table, index - 1);
  return put(to, name, strnlen(name, token->letters()));
}

template int32_t renderEra<QRT_ERA_JAPANESE>(Rendering& to);
template int32_t renderEra<QRT_ERA_CHINESE>(Rendering& to);

// Flattened, so that the cursors stay in registers.
[[gnu::flatten]] int32_t render(const DTSZdate_parts& parts, std::string_view picture, char* output,
                                char* outputEnd, const DTSZera_table* japanese, const DTSZera_table* chinese,
                                bool showsTime) {
  Rendering to = {
      parts, {picture.data(), picture.data() + picture.size(), false}, output, outputEnd, japanese, chinese};
  int32_t code = output == outputEnd ? QRT_PICTURE_SHORT_OUTPUT : QRT_PICTURE_DONE;
  while (code == QRT_PICTURE_DONE && to.picture.at != to.picture.end) {
    const TokenKind kind = renderedKinds[static_cast<uint8_t>(*to.picture.at)];
    const bool isLiteral = kind == TokenKind::literal || (!showsTime && isTimeToken(to.picture, kind));
    code = isLiteral ? putLiteral(to) : renderKind(to, kind);
  }
  if (code != QRT_PICTURE_DONE && code != QRT_PICTURE_SHORT_OUTPUT)
    memset(output, ' ', static_cast<size_t>(outputEnd - output));
  return code;
}

int32_t outputDate(char* output, const char* picture, const DTSZdate_parts* parts, int32_t* code,
                   void* /*nameScratch*/, const DTSZera_table* japanese, const DTSZera_table* chinese,
                   const char* pictureEnd, char* outputEnd, int32_t showsTime) {
  return *code = render(*parts, {picture, static_cast<size_t>(pictureEnd - picture)}, output, outputEnd,
                        japanese, chinese, showsTime != 0);
}

}  // namespace qrt::datetime
