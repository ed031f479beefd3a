// The option file "lumasift.ini": the engine's memory limits and the default directory for temporary files.
#pragma once

#include "sort/engine/session.h"

namespace qrt::sort {

inline constexpr size_t longestTempDirText = 260;

// The file is this header and then `tempDirLength` bytes of text, all in native order.
struct OptionFileHeader {
  uint16_t version[3];  // 0.0.1 to 1.x.x
  uint16_t tempDirLength;
  int32_t t2;
};
static_assert(sizeof(OptionFileHeader) == 12);

struct OptionFile {
  int32_t version[3];
  const char* tempDir;  // in the session's memory
};

// Puts the limits of the file, or the defaults when there is none, into the session. Returns 0 or the code of
// message 233 or 73.
int32_t readOptionFile(SortSession& session, OptionFile& file);

}  // namespace qrt::sort
