// Indexed files.
#include "record_file.h"

namespace qrt::plt {

void openIndexed(QrtFcb* file, QrtProgramEntry* program) {
  finishOpen(Statement(file, program), {status::modeNotSupported});
}

}  // namespace qrt::plt
