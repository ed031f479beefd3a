// Several files that are read as one: a list of names, and generation groups in it from the newest to the
// oldest.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::fileio {

// What an assigned name turned out to be.
struct NamedMembers {
  QrtConcatenation* list;  // null for a single plain file, and where it couldn't be made
  bool isConcatenation;
  bool isGeneration;  // of a group: the list has its file as the one name
};

// Makes the list of an assigned name. Null behind a true verdict means more than 256 names or no memory.
NamedMembers findMembers(const char* name, bool create, const char* letters);

// The same for callers outside.
QrtConcatenation* checkConcatenation(const char* name, int32_t* isConcatenation, int32_t create,
                                     const char* letters);

// The next name, null behind the last; it is the list's own and good until the next call.
const char* nextMember(QrtConcatenation* list);

void freeConcatenation(QrtConcatenation* list);
int32_t printConcatenation(const QrtConcatenation* list);

}  // namespace qrt::fileio
