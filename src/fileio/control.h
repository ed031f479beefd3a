// File control blocks: made and bound at the first entry of a program, found again by each statement.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// Binds the file control blocks of a program: `files` and `descriptions` have `fileCount` elements. The
// element of an EXTERNAL file receives the run unit's block. Out of memory ends the run with message 907.
void initFcbs(int32_t fileCount, QrtFcb** files, QrtFileDescription** descriptions, QrtProgramBlock* program);

// Puts the routines of a closed file into the block.
void setClosedRoutines(QrtFcb& file);

// The description that a statement of the program goes by: for a shared EXTERNAL file its own one.
const QrtFileDescription& descriptionFor(const QrtFcb& file, const QrtProgramEntry* program);

// Takes the file's name away; an allocated one is freed. The assignment text is then the name in use.
void releaseFileName(QrtFcb& file, const QrtFileDescription& description);

// Frees the list of the names of a concatenation or generation, which the name in use may lie in.
void releaseMembers(QrtFcb& file);

// Copies text into `buffer` as far as it fits, terminated; returns the buffer.
template <size_t size>
const char* terminated(char (&buffer)[size], const char* text, size_t length) {
  const size_t kept = length < size ? length : size - 1;
  for (size_t at = 0; at < kept; ++at) buffer[at] = text[at];
  buffer[kept] = 0;
  return buffer;
}

}  // namespace qrt::fileio
