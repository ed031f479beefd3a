// From the assignment of a file to its name and file system.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// Works out fileName, fileSystemChar, fileSystemName, fileMode and concatenation of a file that is being
// opened; of a later member of a concatenation, whose name is given, what is its own. A failure is left in
// its status; returns the code for the extended status, 0 for none. A name that had to be made is an
// allocated block, see QRT_FCB_NAME_ALLOCATED.
int32_t resolve(QrtFcb& file, const QrtFileDescription& description, const QrtProgramEntry& program,
                bool isLaterMember);

// Number of the file system in use.
int32_t fileSystemCodeOf(const QrtFcb& file);

}  // namespace qrt::fileio
