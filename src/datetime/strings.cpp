// The small string routines and picture helpers that are exported beside the engines.
#include <string.h>

#include <algorithm>

#include "datetime/condition.h"
#include "datetime/parse.h"

using namespace qrt::datetime;

char* DTS_strcpy(char* target, const char* source) {
  return strcpy(target, source);
}

int32_t DTS_strlen(const char* text) {
  return static_cast<int32_t>(strlen(text));
}

int32_t DTS_strncmp(const char* first, const char* second, int32_t length) {
  const int order = strncmp(first, second, static_cast<size_t>(std::max(length, 0)));
  return (order > 0) - (order < 0);
}

const char* DTS_strstr(const char* text, const char* needle) {
  return strstr(text, needle);
}

const char* DTS_strstrend(const char* text, const char* end, const char* needle) {
  const size_t at = std::string_view(text, static_cast<size_t>(end - text)).find(needle);
  return at == std::string_view::npos ? nullptr : text + at;
}

int32_t DTS_isdigit(int32_t character) {
  return character >= '0' && character <= '9';
}

int32_t DTS_sprintf(char* target, const char* format, int32_t value) {
  const bool isFormat = format[0] == '%' && (format[1] == '0' || format[1] == '-') && format[2] >= '1' &&
                        format[2] <= '9' && format[3] == 'd' && format[4] == 0;
  if (!isFormat || value < 0) return -1;
  const int32_t width = format[2] - '0';
  char digits[9];
  for (int32_t at = width; at > 0; value /= 10) digits[--at] = static_cast<char>('0' + value % 10);
  int32_t first = 0;
  while (format[1] == '-' && first + 1 < width && digits[first] == '0') ++first;
  memcpy(target, digits + first, static_cast<size_t>(width - first));
  target[width - first] = 0;
  return width - first;
}

int32_t DTSZcheck_length(const char* output, const char* outputEnd, int32_t bytes) {
  return outputEnd - output < bytes ? QRT_PICTURE_SHORT_OUTPUT : QRT_PICTURE_DONE;
}

int32_t DTSZprint_number(int32_t value, const char* format, int32_t width, char** output,
                         const char* outputEnd) {
  char text[12];
  const int32_t length = std::max(DTS_sprintf(text, format, value), 0);
  for (int32_t at = std::max(length - width, 0); at < length; ++at) {
    if (*output == outputEnd) return QRT_PICTURE_SHORT_OUTPUT;
    *(*output)++ = text[at];
  }
  return QRT_PICTURE_DONE;
}

int32_t DTSZpm_format(const char* picture, const char* pictureEnd) {
  return isTwelveHour({picture, static_cast<size_t>(pictureEnd - picture)});
}

int32_t DTSZSET_STRING(const char* start, const char* end, char** copy, char** copyEnd,
                       QrtFeedback* feedback) {
  const auto length = static_cast<size_t>(end - start);
  *copy = static_cast<char*>(_qrtCheckMalloc(static_cast<uint32_t>(length + 1 + normaliseSlack)));
  if (*copy == nullptr) {
    *feedback = outOfStorage;
    return QRT_PICTURE_NO_STORAGE;
  }
  *copyEnd = normalise({start, length}, *copy);
  **copyEnd = 0;
  return QRT_PICTURE_DONE;
}

int32_t DTSZDELIMITERS(const char** picture, const char** input, const char* pictureEnd,
                       const char* inputEnd) {
  const char* const start = *picture;
  while (*picture != pictureEnd && *input != inputEnd && **picture == **input) {
    ++*picture;
    ++*input;
  }
  return *picture == start ? QRT_PICTURE_INVALID : QRT_PICTURE_DONE;
}
