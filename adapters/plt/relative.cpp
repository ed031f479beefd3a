// Relative files.
#include "record_file.h"

namespace qrt::plt {

void openRelative(QrtFcb* file, QrtProgramEntry* program) {
  finishOpen(Statement(file, program), {status::modeNotSupported});
}

}  // namespace qrt::plt
