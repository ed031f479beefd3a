// Text files behind buffered streams: a line end on disk is one line feed.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <string_view>

namespace qrt::platform {

// Opens a stream over a caller's name, or returns null with errno set. A directory is refused in every mode.
FILE* openTextFile(const char* name, const char* mode);

// What the stream holds of its file already, ahead of any call of the system.
inline std::string_view readAhead(FILE* stream) {
  return {stream->_IO_read_ptr, static_cast<size_t>(stream->_IO_read_end - stream->_IO_read_ptr)};
}

// Takes that many characters of it as read.
inline void skipReadAhead(FILE* stream, size_t count) {
  stream->_IO_read_ptr += count;
}

// What a failed open means to a file statement.
enum class OpenFailure : uint8_t { refused, inUse, other };

OpenFailure openFailureOf(int systemError);

}  // namespace qrt::platform
