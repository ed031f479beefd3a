// The text of a message while it is put together, and its formatting from a catalogue's text.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace qrt::frame {

// A text in a buffer of fixed size. What doesn't fit is cut; the text is always terminated.
struct MessageText {
  char* start;
  size_t capacity;  // bytes, the terminator's included
  size_t length = 0;

  MessageText(char* buffer, size_t bytes) : start(buffer), capacity(bytes) { start[0] = 0; }

  size_t room() const { return capacity - length - 1; }
  void append(std::string_view part);
  void appendByte(char byte) { append({&byte, 1}); }
  // Appends what snprintf makes of the format.
  void appendPrinted(const char* format, ...) __attribute__((format(printf, 2, 3)));
};

// The values of a message, one word each, taken from the caller's list as they are asked for.
class MessageValues {
 public:
  static constexpr unsigned most = 32;

  explicit MessageValues(va_list* list) : rest(list) {}
  MessageValues(uint32_t first, uint32_t second) : words{first, second}, taken(most) {}

  uint32_t operator[](unsigned index);

  // Takes the next value out of the list; those behind it are then numbered from 0.
  uint32_t takeFirst() { return va_arg(*rest, uint32_t); }

 private:
  va_list* rest = nullptr;
  uint32_t words[most];
  unsigned taken = 0;
};

// Appends `format` with the values put in. Conversions are those of printf that take one word; any other
// stays in the text as it stands. A text that holds "$" names its values by position, as in "%2$s", in at
// most nine conversions. A text value that can't be read is shown as far as it can be.
void appendFormatted(MessageText& text, const char* format, MessageValues& values);

}  // namespace qrt::frame
