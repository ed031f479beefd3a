// Parsing: picture and text are brought into one form, in which case and the width of blanks don't matter;
// then each token takes what it stands for from the text.
#include "datetime/parse.h"

#include <string.h>

#include <algorithm>

#include "datetime/blocks.h"
#include "datetime/condition.h"
#include "platform/clock.h"

namespace qrt::datetime {
namespace {

constexpr std::array<TokenKind, 256> parsedKinds = tokenKinds(false);
constexpr int32_t defaultCenturyWindow = 80;

// Room for a picture and an input: on the stack up to a size, allocated above it.
class NormalisedTexts {
 public:
  explicit NormalisedTexts(size_t bytes)
      : start(bytes <= sizeof own ? own : static_cast<char*>(_qrtCheckMalloc(static_cast<uint32_t>(bytes)))) {
  }
  ~NormalisedTexts() {
    if (start != own) _qrtCheckFree(start);
  }
  NormalisedTexts(const NormalisedTexts&) = delete;
  NormalisedTexts& operator=(const NormalisedTexts&) = delete;

  char* data() { return start; }  // null when memory is short

 private:
  alignas(64) char own[256];  // blocks that lie across cache lines are slow to read back
  char* start;
};

struct Digits {
  int32_t value;
  size_t count;
};

// The value of as many digits as a word has bytes; negative when not all of them are digits.
template <typename Word>
inline int32_t digitWord(const char* at) {
  constexpr auto each = static_cast<Word>(0x01010101);
  Word bytes;
  memcpy(&bytes, at, sizeof bytes);
  const uint32_t values = bytes ^ static_cast<Word>('0' * each);
  if (((values | (values + 6 * each)) & 0xF0 * each) != 0) return -1;
  const uint32_t pairs = values * 10 + (values >> 8);  // in every other byte
  if constexpr (sizeof(Word) == 2) return static_cast<int32_t>(pairs & 0xFF);
  return static_cast<int32_t>((pairs & 0xFF) * 100 + (pairs >> 16 & 0xFF));
}

// The digits at the start, `most` at most.
[[gnu::noinline]] Digits digitsAt(const char* start, const char* end, size_t most) {
  if (most < static_cast<size_t>(end - start)) end = start + most;
  const char* at = start;
  int32_t value = 0;
  for (; at != end && isDigit(*at); ++at) value = value * 10 + (*at - '0');
  return {value, static_cast<size_t>(at - start)};
}

// Up to `most` digits of the input; two or four of them, the usual cases, without a loop.
inline Digits takeDigits(Parsing& from, size_t most) {
  const char* const start = from.input;
  if ((most == 2 || most == 4) && from.inputEnd - start >= static_cast<ptrdiff_t>(most)) {
    const int32_t value = most == 2 ? digitWord<uint16_t>(start) : digitWord<uint32_t>(start);
    if (value >= 0) {
      from.input = start + most;
      return {value, most};
    }
  }
  const Digits digits = digitsAt(start, from.inputEnd, most);
  from.input = start + digits.count;
  return digits;
}

// Inlined for each token, whose rules then are constants.
[[gnu::always_inline]] inline int32_t takeNumber(Parsing& from, const NumberToken& token) {
  const auto [value, count] = takeDigits(from, token.width);
  if (token.needsEveryDigit && count < token.width) return QRT_PICTURE_SHORT_INPUT;
  const bool isChecked = !token.anyWithinEra || from.parts.era_type == QRT_ERA_GREGORIAN;
  if (isChecked && (value < token.least || value > token.most)) return token.fault;
  int32_t& field = from.parts.*token.field;
  if (token.field != &DTSZdate_parts::month || field == 0) field = value;
  return QRT_PICTURE_DONE;
}

// Whether the input goes on with this name.
bool startsWithName(std::string_view input, std::string_view name) {
  return input.size() >= name.size() &&
         std::equal(name.begin(), name.end(), input.begin(),
                    [](char letter, char byte) { return upperLetter(letter) == byte; });
}

// A name, or its abbreviation.
int32_t takeName(Parsing& from, const NameToken& token, bool isFull) {
  for (int32_t index = 0; index < token.count; ++index) {
    const std::string_view name = platform::calendarName(isFull ? token.fullName : token.abbreviation, index);
    if (!startsWithName(from.rest(), name)) continue;
    from.input += name.size();
    int32_t& field = from.parts.*token.field;
    if (token.field != &DTSZdate_parts::month || field == 0) field = index + 1;
    return QRT_PICTURE_DONE;
  }
  return token.fault;
}

int32_t withCentury(int32_t year) {
  const int32_t window = _qrtRuncom != nullptr ? _qrtRuncom->centuryWindow : defaultCenturyWindow;
  const int32_t first = platform::localTime().year - window, last = first + 99;
  return (year >= first % 100 ? first : last) / 100 * 100 + year;
}

bool hasDate(const DTSZdate_parts& parts) {
  return (parts.year | parts.month | parts.day | parts.day_of_year) != 0;
}

// A token that isn't flattened into the loop: on a copy, so that the loop's own cursors have no address.
template <int32_t (*step)(Parsing&)>
int32_t parseApart(Parsing& from) {
  Parsing copy = from;
  const int32_t code = step(copy);
  from.picture = copy.picture;
  from.input = copy.input;
  return code;
}

int32_t parseKind(Parsing& from, TokenKind kind) {
  if (kind == TokenKind::number) return parseNumber(from);  // ahead of the jump through a table
  switch (kind) {
    case TokenKind::year:
      return parseYear(from);
    case TokenKind::month:
      return parseMonth(from);
    case TokenKind::weekday:
      return parseWeekday(from);
    case TokenKind::fraction:
      return parseFraction(from);
    case TokenKind::meridiem:
      return parseMeridiem(from);
    case TokenKind::roman:
      return parseRoman(from);
    case TokenKind::era:
      if (from.picture.ahead(1) == 'J') return parseApart<parseEra<QRT_ERA_JAPANESE>>(from);
      if (from.picture.ahead(1) == 'C') return parseApart<parseEra<QRT_ERA_CHINESE>>(from);
      [[fallthrough]];
    case TokenKind::suppression:
      from.picture.suppressesZeros = true;
      break;
    case TokenKind::number:
    case TokenKind::literal:
      break;
  }
  ++from.picture.at;
  return QRT_PICTURE_DONE;
}

// Flattened, so that the cursors stay in registers.
[[gnu::flatten]] int32_t parse(Parsing from) {
  if (from.picture.at == from.picture.end) return QRT_PICTURE_NO_DATE;
  const char* const start = from.input;
  while (true) {
    const TokenKind kind = parsedKinds[static_cast<uint8_t>(*from.picture.at)];
    if (kind == TokenKind::literal) {
      if (from.input == start) return start == from.inputEnd ? QRT_PICTURE_SHORT_INPUT : QRT_PICTURE_INVALID;
      ++from.picture.at;
      ++from.input;
    } else if (const int32_t code = parseKind(from, kind); code != QRT_PICTURE_DONE) {
      return code;
    }
    if (from.picture.at == from.picture.end) break;
    if (from.input == from.inputEnd) return QRT_PICTURE_SHORT_INPUT;
  }
  return from.seen.year && from.seen.month && from.seen.day ? QRT_PICTURE_DONE : QRT_PICTURE_NO_DATE;
}

char* withoutFinalSlash(char* start, char* end) {
  return end != start && end[-1] == '/' ? end - 1 : end;
}

// normalise, of any text.
[[gnu::noinline]] char* squeeze(std::string_view text, char* to) {
  char* const start = to;
  bool isBlankBefore = true;
  for (const char byte : text) {
    const bool isBlank = byte == ' ';
    if (!isBlank || !isBlankBefore) *to++ = isBlank ? '/' : upperLetter(byte);
    isBlankBefore = isBlank;
  }
  return withoutFinalSlash(start, to);
}

// normalise, where a call would be half of the work.
[[gnu::always_inline]] inline char* normaliseInline(std::string_view text, char* to) {
  if (text.empty()) return to;
  uint32_t blanksBehindBlanks = text[0] == ' ';  // one at the start goes as if there were
  forEachBlock(text, [&](__m128i bytes, size_t at) {
    const __m128i blanks = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(' '));
    const auto blankMask = static_cast<uint32_t>(_mm_movemask_epi8(blanks));
    blanksBehindBlanks |= blankMask & blankMask << 1;
    const __m128i isLower = isLowerLetter(bytes);
    const __m128i upper = _mm_xor_si128(bytes, _mm_and_si128(isLower, _mm_set1_epi8(caseBit)));
    const __m128i slashes = _mm_and_si128(blanks, _mm_set1_epi8(' ' ^ '/'));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), _mm_xor_si128(upper, slashes));
  });
  return blanksBehindBlanks == 0 ? withoutFinalSlash(to, to + text.size()) : squeeze(text, to);
}

}  // namespace

int32_t parseYear(Parsing& from) {
  from.seen.year = true;
  const size_t letters = from.picture.run('Y');
  const bool suppresses = from.picture.takeSuppression();
  const bool isEraDate = from.parts.era_type != QRT_ERA_GREGORIAN;
  from.picture.at += letters;
  const bool isEraYear = suppresses ? letters == 2 : letters == 3;
  if (isEraYear && isEraDate) {
    from.parts.year = takeDigits(from, 3).value;
    return QRT_PICTURE_DONE;
  }
  if (isEraYear || (letters != 2 && letters != 4)) return QRT_PICTURE_INVALID;
  const bool isCut = letters == 2 && !isEraDate;  // the century is missing
  if ((isCut || letters == 4) && from.parts.year != 0) return QRT_PICTURE_INVALID;
  const int32_t year = takeDigits(from, letters).value;
  from.parts.year = isCut ? withCentury(year) : year;
  return QRT_PICTURE_DONE;
}

int32_t parseMonth(Parsing& from) {
  const size_t run = from.picture.run('M');
  const bool suppresses = from.picture.takeSuppression();
  if (run == 1 && !suppresses && from.picture.ahead(1) == 'I') {
    from.picture.at += 2;
    return from.parts.minute != 0 ? QRT_PICTURE_INVALID : takeNumber(from, minuteToken);
  }
  from.seen.month = true;
  const size_t letters = run + (from.picture.ahead(run) == 'Z');
  from.picture.at += letters;
  if (letters == 2 || (letters == 1 && suppresses)) return takeNumber(from, monthToken);
  if (letters == 1 || letters > monthNames.mostParsed) return QRT_PICTURE_INVALID;
  return takeName(from, monthNames, letters > abbreviationWidth);
}

int32_t parseWeekday(Parsing& from) {
  const size_t run = from.picture.run('W');
  const size_t letters = run + (from.picture.ahead(run) == 'Z');
  from.picture.at += letters;
  from.parts.weekday = 0;
  if (letters < abbreviationWidth || letters > weekdayNames.mostParsed) return weekdayNames.fault;
  return takeName(from, weekdayNames, letters > abbreviationWidth);
}

int32_t parseNumber(Parsing& from) {
  const char letter = *from.picture.at;
  const size_t letters = from.picture.run(letter);
  const bool isPair = (letter != 'S' && from.picture.takeSuppression()) || letters == 2;
  from.picture.at += letters;
  if (letter == 'D') {
    if (from.parts.day != 0 || from.parts.day_of_year != 0) return QRT_PICTURE_INVALID;
    from.seen.day = true;
    if (isPair) return takeNumber(from, dayToken);
    from.seen.month = true;
    return letters == 3 ? takeNumber(from, dayOfYearToken) : QRT_PICTURE_INVALID;
  }
  if (!isPair) return QRT_PICTURE_INVALID;
  return letter == 'H' ? takeNumber(from, hourToken) : takeNumber(from, secondToken);
}

int32_t parseFraction(Parsing& from) {
  const size_t letters = from.picture.run('9');
  if (letters > 3) return QRT_PICTURE_INVALID;
  from.picture.at += letters;
  const auto [value, count] = takeDigits(from, letters);
  if (count < letters) return QRT_PICTURE_SHORT_INPUT;
  constexpr int32_t factors[] = {1, 100, 10, 1};
  from.parts.millisecond = value * factors[letters];
  return QRT_PICTURE_DONE;
}

int32_t parseMeridiem(Parsing& from) {
  const bool hasPoints = from.picture.rest().starts_with("A.P");
  if (!hasPoints && !from.picture.rest().starts_with("AP")) return QRT_PICTURE_INVALID;
  from.picture.at += hasPoints ? 3 : 2;
  if (hasPoints && from.picture.ahead(0) == '.') ++from.picture.at;

  const bool isMorning = from.rest().starts_with(hasPoints ? "A.M" : "AM");
  if (!isMorning && !from.rest().starts_with(hasPoints ? "P.M" : "PM")) return QRT_PICTURE_SHORT_INPUT;
  from.input += hasPoints ? 3 : 2;
  if (hasPoints && from.input != from.inputEnd && *from.input == '.') ++from.input;

  int32_t& hour = from.parts.hour;
  const int32_t leastHour = isMorning && !hasPoints ? 0 : 1;
  if (hour < leastHour || hour > 12) return QRT_PICTURE_BAD_HOUR;
  if (isMorning && hasPoints && hour == 12) hour = 0;
  if (!isMorning && hour < 12) hour += 12;
  from.parts.ampm = isMorning ? 0 : 1;
  return QRT_PICTURE_DONE;
}

int32_t parseRoman(Parsing& from) {
  const size_t letters = from.picture.run('R');
  const bool isCut = letters == 3 && from.picture.ahead(3) == 'Z';
  if (letters != 4 && !isCut) return QRT_PICTURE_INVALID;
  from.picture.at += 4;
  from.seen.month = true;
  const std::string_view numeral = from.rest().substr(0, from.rest().find_first_not_of("IVX"));
  if (numeral.empty()) return QRT_PICTURE_SHORT_INPUT;
  const auto* const month = std::find(std::begin(romanMonths), std::end(romanMonths), numeral);
  if (month == std::end(romanMonths)) return QRT_PICTURE_BAD_MONTH;
  from.input += numeral.size();
  if (from.parts.month == 0) from.parts.month = static_cast<int32_t>(month - romanMonths) + 1;
  return QRT_PICTURE_DONE;
}

template <int32_t era>
[[gnu::noinline]] int32_t parseEra(Parsing& from) {
  const EraToken* const token = eraToken(from.picture.rest(), era);
  const DTSZera_table* const table = era == QRT_ERA_JAPANESE ? from.japanese : from.chinese;
  if (token == nullptr || table == nullptr) return QRT_PICTURE_INVALID;
  from.picture.at += token->text.size();
  for (int32_t index = 0; index < table->count; ++index) {
    const char* const field = token->name(*table, index);
    char name[QRT_CHINESE_LONG_NAME + normaliseSlack];
    const char* const end = normalise({field, strnlen(field, token->fieldWidth)}, name);
    const size_t compared = std::min(static_cast<size_t>(end - name), token->letters());
    if (compared == 0 || !from.rest().starts_with(std::string_view(name, compared))) continue;
    if (hasDate(from.parts)) return QRT_PICTURE_LATE_ERA;
    from.input += compared;
    from.parts.*dateFields(era).era = index + 1;
    from.parts.era_type = era;
    return QRT_PICTURE_DONE;
  }
  return QRT_PICTURE_BAD_ERA;
}

template int32_t parseEra<QRT_ERA_JAPANESE>(Parsing& from);
template int32_t parseEra<QRT_ERA_CHINESE>(Parsing& from);

char* normalise(std::string_view text, char* to) {
  return normaliseInline(text, to);
}

bool isTwelveHour(std::string_view picture) {
  picture.remove_prefix(std::min(picture.find('A'), picture.size()));
  return picture.starts_with("AP") || picture.starts_with("A.P");
}

void readByPicture(std::string_view picture, std::string_view input, bool isTime,
                   const DTSZera_table* japanese, const DTSZera_table* chinese, PictureReading& reading) {
  reading.parts = {};
  if (isBlank(picture)) picture = isTime ? defaultTimePicture : defaultDatePicture;
  NormalisedTexts texts(picture.size() + input.size() + normaliseSlack);
  char* const pictureStart = texts.data();
  if (pictureStart == nullptr) {
    reading.code = QRT_PICTURE_NO_STORAGE;
    return;
  }
  char* const inputStart = normaliseInline(picture, pictureStart);
  char* const inputEnd = normaliseInline(input, inputStart);
  const Parsing from = {reading.parts, {pictureStart, inputStart, false}, inputStart, inputEnd, japanese,
                        chinese};
  reading.code = parse(from);
  const bool isNoonOrMidnight = isTime && reading.parts.hour == 12 && reading.parts.ampm == 0;
  reading.isMidnight = isNoonOrMidnight && isTwelveHour(from.picture.rest());
}

int32_t convertFromPicture(const char* input, const char* picture, DTSZdate_parts* parts, int32_t* code,
                           void* /*nameScratch*/, const DTSZera_table* japanese, const DTSZera_table* chinese,
                           const char* pictureEnd, const char* inputEnd, QrtFeedback* feedback,
                           int32_t isTime) {
  PictureReading reading;
  readByPicture({picture, static_cast<size_t>(pictureEnd - picture)},
                {input, static_cast<size_t>(inputEnd - input)}, isTime != 0, japanese, chinese, reading);
  if (reading.code == QRT_PICTURE_NO_STORAGE) *feedback = outOfStorage;
  *parts = reading.parts;
  return *code = reading.code;
}

}  // namespace qrt::datetime
