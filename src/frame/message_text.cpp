// Formatting of message texts. The texts come from a file and the values from anywhere, so neither is
// trusted: this is printf with one word for each value and nothing that writes through a value.
#include "frame/message_text.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "platform/process.h"

namespace qrt::frame {
namespace {

constexpr int mostColumns = 999;  // of a width or precision
constexpr unsigned mostByPosition = 9;

// One conversion as in %-8.3ld: what stands between "%" and its letter, with the numbers taken out.
struct Conversion {
  char flags[8] = "";
  int width = 0;
  int precision = -1;  // -1 for none
  char size[3] = "";
  char letter = 0;
};

// Reads a conversion piece by piece.
struct Scanner {
  const char* at;
  MessageValues& values;
  unsigned& next;  // the value that the next unnumbered conversion takes

  void takeAnyOf(const char* set, char* target, size_t capacity) {
    for (size_t used = 0; *at != 0 && strchr(set, *at) != nullptr && used + 1 < capacity; ++at) {
      target[used++] = *at;
      target[used] = 0;
    }
  }

  // A number of columns, or "*" for a value.
  int takeColumns() {
    if (*at == '*') {
      ++at;
      return std::clamp(static_cast<int>(values[next++]), -mostColumns, mostColumns);
    }
    int columns = 0;
    for (; *at >= '0' && *at <= '9'; ++at) columns = std::min(columns * 10 + (*at - '0'), mostColumns);
    return columns;
  }
};

// Appends at most `limit` bytes of the text at `address`, and no more than can be read.
void appendText(MessageText& text, const char* address, size_t limit) {
  constexpr uintptr_t page = 4096;
  limit = std::min(limit, text.room());
  for (size_t count = 0; count < limit; ++count) {
    const char* byte = address + count;
    const bool entersPage = count == 0 || reinterpret_cast<uintptr_t>(byte) % page == 0;
    if ((entersPage && !platform::isReadable(byte)) || *byte == 0) return;
    text.appendByte(*byte);
  }
}

// Appends what `put` appends, filled with blanks to the width.
template <typename Put>
void appendPadded(MessageText& text, const Conversion& conversion, Put put) {
  const bool left = conversion.width < 0 || strchr(conversion.flags, '-') != nullptr;
  const size_t width = std::min<size_t>(std::abs(conversion.width), text.room());
  const size_t before = text.length;
  put();
  const size_t printed = text.length - before;
  if (printed >= width) return;
  for (size_t fill = printed; fill < width; ++fill) text.appendByte(' ');
  if (!left) std::rotate(text.start + before, text.start + before + printed, text.start + text.length);
}

void appendNumber(MessageText& text, const Conversion& conversion, uint32_t value) {
  char format[24];
  snprintf(format, sizeof(format), "%%%s*.*%s%c", conversion.flags, conversion.size, conversion.letter);
  char printed[2 * mostColumns];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length =
      snprintf(printed, sizeof(printed), format, conversion.width, conversion.precision, value);
#pragma GCC diagnostic pop
  if (length > 0) text.append({printed, std::min(static_cast<size_t>(length), sizeof(printed) - 1)});
}

void appendValue(MessageText& text, const Conversion& conversion, uint32_t value) {
  switch (conversion.letter) {
    case 's': {
      const size_t limit = conversion.precision < 0 ? SIZE_MAX : static_cast<size_t>(conversion.precision);
      appendPadded(text, conversion, [&] { appendText(text, reinterpret_cast<const char*>(value), limit); });
      break;
    }
    case 'c':  // a zero byte would end the text
      appendPadded(text, conversion, [&] {
        if (static_cast<char>(value) != 0) text.appendByte(static_cast<char>(value));
      });
      break;
    default:
      appendNumber(text, conversion, value);
  }
}

bool takesOneWord(const Conversion& conversion) {
  constexpr std::string_view letters = "diouxXpcs";
  return conversion.letter != 0 && letters.find(conversion.letter) != letters.npos &&
         strcmp(conversion.size, "ll") != 0;
}

}  // namespace

void MessageText::append(std::string_view part) {
  const size_t bytes = std::min(part.size(), room());
  memcpy(start + length, part.data(), bytes);
  length += bytes;
  start[length] = 0;
}

void MessageText::appendPrinted(const char* format, ...) {
  va_list list;
  va_start(list, format);
  const int printed = vsnprintf(start + length, room() + 1, format, list);
  va_end(list);
  if (printed > 0) length += std::min(static_cast<size_t>(printed), room());
}

uint32_t MessageValues::operator[](unsigned index) {
  if (index >= most) return 0;
  for (; taken <= index; ++taken) words[taken] = va_arg(*rest, uint32_t);
  return words[index];
}

void appendFormatted(MessageText& text, const char* format, MessageValues& values) {
  const bool byPosition = strchr(format, '$') != nullptr;
  unsigned next = 0;
  unsigned conversions = 0;
  for (const char* at = format; *at != 0;) {
    if (*at != '%') {
      text.appendByte(*at++);
      continue;
    }
    if (at[1] == '%') {
      text.appendByte('%');
      at += 2;
      continue;
    }
    Scanner scanner{at + 1, values, next};
    unsigned position = MessageValues::most;
    if (byPosition && at[1] >= '1' && at[1] <= '9' && at[2] == '$') {
      position = static_cast<unsigned>(at[1] - '1');
      scanner.at += 2;
    }
    Conversion conversion;
    scanner.takeAnyOf("-+ #0", conversion.flags, sizeof(conversion.flags));
    conversion.width = scanner.takeColumns();
    if (*scanner.at == '.') {
      ++scanner.at;
      conversion.precision = scanner.takeColumns();
    }
    scanner.takeAnyOf("hltz", conversion.size, sizeof(conversion.size));
    conversion.letter = *scanner.at;
    if (!takesOneWord(conversion) || (byPosition && ++conversions > mostByPosition)) {
      text.appendByte(*at++);
      continue;
    }
    appendValue(text, conversion, values[position < MessageValues::most ? position : next]);
    ++next;
    at = scanner.at + 1;
  }
}

}  // namespace qrt::frame
