// Generation data groups: files of one base name in numbered generations, listed in a catalogue. Each call
// opens the catalogue, acts and closes it. Nothing locks a catalogue against another process.
//
// Names are those of groups and generations as documented for the exported entries; letters name a file
// system and may be null. Results are 0 and -1 unless stated; errors are told on standard error.
#pragma once

#include <stdint.h>

#include "fileio/generation_name.h"

namespace qrt::fileio {

int32_t createGroup(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters);
int32_t alterGroup(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters);
int32_t cleanUpGroup(const char* name, const char* letters);
int32_t rebuildGroup(const char* name, const char* letters);
int32_t unlinkGroup(const char* name, const char* letters);
int32_t printGroup(const char* name, const char* letters);

// What a name stands for: -1 a whole group, 1 a generation, 0 neither. `resolved` becomes the base name or
// the name of the file; it stays as it is for 0. With `create` a new number is added to the catalogue.
int32_t resolveGeneration(const char* name, PathText& resolved, bool create, const char* letters);

// The same with a new text, which the caller frees; null for 0, and when memory is short.
int32_t resolveToNewText(const char* name, char** resolved, int32_t create, const char* letters);

int32_t unlinkGeneration(const char* name, const char* letters);

// Holds the place of the family as a whole.
int32_t generationGroups();

}  // namespace qrt::fileio
