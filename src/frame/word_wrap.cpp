// Word wrap of message texts.
#include "frame/word_wrap.h"

#include <string.h>

#include <algorithm>

namespace qrt::frame {
namespace {

constexpr size_t indentation = 9;
constexpr size_t headColumns = 18;  // a line isn't broken in its first columns

// Opens a gap of `count` bytes at `at`; false, and nothing done, without the room.
bool insertBlanks(MessageText& text, size_t at, size_t count) {
  if (count > text.room()) return false;
  memmove(text.start + at + count, text.start + at, text.length - at + 1);
  memset(text.start + at, ' ', count);
  text.length += count;
  return true;
}

size_t lineEnd(const MessageText& text, size_t line) {
  const void* end = memchr(text.start + line, '\n', text.length - line);
  return end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - text.start) : text.length;
}

// The column behind which a line that is longer than the width is broken.
size_t breakColumn(const char* line, size_t width) {
  size_t column = width - 1;
  if (line[column] != ' ' && line[column + 1] != ' ' && line[column] != '=')
    while (column > 0 && line[column] != ' ' && line[column] != '=') --column;
  return column < headColumns ? width - 2 : column;
}

void breakLines(MessageText& text, size_t width) {
  for (size_t line = 0; line < text.length;) {
    const size_t end = lineEnd(text, line);
    if (end - line <= width) {
      line = end + 1;
      continue;
    }
    const size_t next = line + breakColumn(text.start + line, width) + 1;
    const size_t blanks = std::min(strspn(text.start + next, " "), indentation);
    if (insertBlanks(text, next, 1 + indentation - blanks)) {
      text.start[next] = '\n';
      line = next + 1;
    } else {
      line = end + 1;
    }
  }
}

void joinLines(MessageText& text, size_t width) {
  for (size_t line = 0, end = lineEnd(text, 0); end < text.length; end = lineEnd(text, line)) {
    const size_t columns = end - line;
    const size_t fill = columns < width ? width - columns : 0;
    text.start[end] = ' ';
    if (!insertBlanks(text, end, fill)) return;
    line = end + fill + 1;
  }
}

}  // namespace

void wrap(MessageText& text, int width) {
  const bool join = width < 0;
  size_t columns = join ? 0u - static_cast<unsigned>(width) : static_cast<unsigned>(width);
  if (columns < 18 || columns > 256) columns = 79;
  if (text.length > columns) breakLines(text, columns);
  if (join) joinLines(text, columns);
}

}  // namespace qrt::frame
