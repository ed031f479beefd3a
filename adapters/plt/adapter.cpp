// The adapter for record files: chooses the open routine by organization. The same code serves several file
// systems, each under the module name of its own.
#include "record_file.h"

extern "C" __attribute__((visibility("default"))) void _IO_Init(QrtFcb* file, QrtProgramEntry* program,
                                                                int32_t code);

namespace qrt::plt {
namespace {

void refuseOrganization(QrtFcb* file, QrtProgramEntry* program) {
  finishOpen(Statement(file, program), {status::attributeConflict});
}

QrtFileRoutine openRoutineFor(const QrtFileDescription& description) {
  constexpr uint8_t alsoSequential = 0x80;
  switch (description.organization) {
    case QRT_ORGANIZATION_SEQUENTIAL:
    case alsoSequential:
      return openSequential;
    case QRT_ORGANIZATION_RELATIVE:
      return openRelative;
    case QRT_ORGANIZATION_INDEXED:
      return openIndexed;
    default:
      return refuseOrganization;
  }
}

}  // namespace
}  // namespace qrt::plt

void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t) {
  file->openRoutine = qrt::plt::openRoutineFor(qrt::plt::Statement(file, program).description);
}
