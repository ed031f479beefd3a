/* The native file system: text files, for which the library has the routines itself. */
#include <qrtrlib.h>

__attribute__((visibility("default"))) void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code);

void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code) {
  (void)program;
  (void)code;
  file->openRoutine = _qrtLineSeqOpen;
}
