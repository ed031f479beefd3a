// From the assignment of a file to its name and file system.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// Works out fileName, fileSystemChar, fileSystemName and fileMode of a file that is being opened. A failure
// is left in its status. A name that had to be made is an allocated block, see QRT_FCB_NAME_ALLOCATED.
void resolve(QrtFcb& file, const QrtFileDescription& description, const QrtProgramEntry& program);

// Number of the file system in use.
int32_t fileSystemCodeOf(const QrtFcb& file);

}  // namespace qrt::fileio
