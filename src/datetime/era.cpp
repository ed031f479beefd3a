// Tables of Japanese and Chinese eras: read from the message catalogue, searched for the era of a date and
// for the era tokens of a picture.
#include "datetime/era.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "datetime/condition.h"
#include "frame/message.h"

using namespace qrt;

namespace {

using namespace qrt::datetime;

constexpr size_t mostText = 399;         // bytes of a text that count
constexpr size_t mostBeforeCount = 79;   // blanks in front of its count
constexpr int32_t mostOfNumber = 10000;  // in the numbers of an era

// How the two tables differ: the variant of the message, and the widths of the names of an era, 0 for none.
struct TableKind {
  uint32_t variant;
  size_t nameWidths[2];

  constexpr size_t bytesOfEra() const {
    size_t bytes = sizeof(DTSZera);
    for (const size_t width : nameWidths) bytes += width == 0 ? 0 : width + 1;
    return bytes;
  }
};
constexpr TableKind japanese = {1, {QRT_JAPANESE_NAME, 0}};
constexpr TableKind chinese = {2, {QRT_CHINESE_SHORT_NAME, QRT_CHINESE_LONG_NAME}};
static_assert(japanese.bytesOfEra() == 23 && chinese.bytesOfEra() == 48);

// What is left of the text to read.
struct EraText {
  std::string_view rest;

  bool atWhiteSpace() const { return rest.empty() || strchr(" \r\n", rest[0]) != nullptr; }
  void skipWhiteSpace() {
    while (!rest.empty() && atWhiteSpace()) rest.remove_prefix(1);
  }
};

// A decimal number of at most `most` behind white space; false when there is none.
bool readNumber(EraText& text, int32_t most, int32_t& number) {
  text.skipWhiteSpace();
  size_t digits = 0;
  for (number = 0; digits < text.rest.size() && text.rest[digits] >= '0' && text.rest[digits] <= '9';
       ++digits) {
    number = number * 10 + (text.rest[digits] - '0');
    if (number > most) return false;
  }
  text.rest.remove_prefix(digits);
  return digits > 0;
}

bool readCount(EraText& text, int32_t& count) {
  return text.rest.find_first_not_of(" \r\n") <= mostBeforeCount && readNumber(text, QRT_MOST_ERAS, count) &&
         text.atWhiteSpace();
}

// A name in braces behind white space, cut or filled up to the width of its field; false when there is none.
bool readName(EraText& text, char* field, size_t width) {
  text.skipWhiteSpace();
  const size_t end = text.rest.find('}');
  if (end == std::string_view::npos || text.rest[0] != '{') return false;
  const std::string_view name = text.rest.substr(1, std::min(end - 1, width));
  memset(field, ' ', width);
  memcpy(field, name.data(), name.size());
  field[width] = 0;
  text.rest.remove_prefix(end + 1);
  return true;
}

// Fills the table, whose count is set.
bool readEras(EraText& text, const TableKind& kind, DTSZera_table& table) {
  const auto count = static_cast<size_t>(table.count);
  char* const names = const_cast<char*>(namesOf(table));
  for (size_t index = 0; index < count; ++index) {
    char* namesOfWidth = names;
    for (const size_t width : kind.nameWidths) {
      if (width > 0 && !readName(text, namesOfWidth + index * (width + 1), width)) return false;
      namesOfWidth += count * (width + 1);
    }
    DTSZera& era = table.eras[index];
    for (int32_t* number : {&era.start_year, &era.start_month, &era.start_day, &era.span_years})
      if (!readNumber(text, mostOfNumber, *number)) return false;
  }
  return true;
}

// A text that is no table, which the programmer should see.
int32_t malformed(const TableKind& kind) {
  if (_qrtDebug != 0)
    printf("at %s:%d: message %d.%u is not a table of eras\n", __FILE_NAME__, __LINE__,
           frame::message::eraTables, kind.variant);
  return 1;
}

int32_t makeTable(const TableKind& kind, DTSZera_table** table, QrtFeedback* feedback) {
  *table = nullptr;
  const char* const catalogued = frame::messageText(frame::message::eraTables, kind.variant);
  if (catalogued == nullptr) {
    constexpr int32_t reason = 2;
    qrtWriteERRmsg(frame::message::noEraTable, QRT_MESSAGE_SEVERE, reason);
    return 1;
  }
  EraText text{{catalogued, strnlen(catalogued, mostText)}};
  int32_t count;
  if (!readCount(text, count)) return malformed(kind);
  const auto bytes = sizeof(count) + static_cast<size_t>(count) * kind.bytesOfEra();
  auto* const made = static_cast<DTSZera_table*>(_qrtCheckMalloc(bytes));
  if (made == nullptr) {
    *feedback = outOfStorage;
    return 1;
  }
  made->count = count;
  if (!readEras(text, kind, *made)) {
    _qrtCheckFree(made);
    return malformed(kind);
  }
  *table = made;
  return 0;
}

// The position of the last era that holds the date, 1 for the first of the table; 0 where none does.
int32_t eraOf(const DTSZdate_parts& parts, const DTSZera_table& table) {
  for (int32_t index = table.count; index > 0; --index) {
    const DTSZera& era = table.eras[index - 1];
    if (parts.year < era.start_year || parts.year >= era.start_year + era.span_years) continue;
    if (parts.year > era.start_year || parts.month > era.start_month ||
        (parts.month == era.start_month && parts.day >= era.start_day))
      return index;
  }
  return 0;
}

}  // namespace

int32_t DTSZGetJapEra(DTSZera_table** table, QrtFeedback* feedback) {
  return makeTable(japanese, table, feedback);
}

int32_t DTSZGetChiEra(DTSZera_table** table, QrtFeedback* feedback) {
  return makeTable(chinese, table, feedback);
}

void DTSZJAP_date(DTSZdate_parts* parts, const DTSZera_table* table) {
  parts->jp_era = eraOf(*parts, *table);
  if (parts->jp_era == 0) return;
  parts->jp_year = parts->year - table->eras[parts->jp_era - 1].start_year + 1;
  parts->jp_month = parts->month;
  parts->jp_day = parts->day;
}

void DTSZCHI_date(DTSZdate_parts* parts, const DTSZera_table* table) {
  parts->ch_era = eraOf(*parts, *table);
  if (parts->ch_era == 0) return;
  parts->ch_year = parts->year - table->eras[parts->ch_era - 1].start_year + 1;
  parts->ch_month = parts->month;
  parts->ch_day = parts->day;
}

int32_t DTSZ_JAPCHI_type(const char* picture, const char* pictureEnd) {
  const std::string_view text(picture, static_cast<size_t>(pictureEnd - picture));
  const auto holds = [&](std::string_view token) { return text.find(token) != std::string_view::npos; };
  const bool japaneseToken = holds("<JJJJ>"), chineseToken = holds("<CCCC>") || holds("<CCCCCCCC>");
  if (japaneseToken && chineseToken) return -1;
  return japaneseToken ? QRT_ERA_JAPANESE : chineseToken ? QRT_ERA_CHINESE : QRT_ERA_GREGORIAN;
}
