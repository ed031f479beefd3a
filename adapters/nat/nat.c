/* The native file system: text files, for which the library has the routines itself. */
#include <qrtrlib.h>

__attribute__((visibility("default"))) void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code);

/* Whether the member that is open has been read to its end. */
static int isAtEndOfMember(FILE* stream) {
  const int character = getc(stream);
  if (character == EOF) return !ferror(stream);
  ungetc(character, stream);
  return 0;
}

/* READ of a concatenated file: goes on with the next member that holds something, so that only the end of the
   last one is an end to the program. */
static void readConcatenated(QrtFcb* file, QrtProgramEntry* program) {
  file->currentOperation = QRT_VERB_READ;
  while ((file->flags & QRT_FCB_AT_END) == 0 && isAtEndOfMember(file->stream)) {
    const int32_t next = _qrtLineSeqNext(file, program);
    if (next == 1) continue;
    if (next == 0) {
      file->record[0] = 0;
      file->readLength = 0;
    }
    file->lastOperation = QRT_VERB_READ;
    return;
  }
  _qrtLineSeqRead(file, program);
}

static void openNative(QrtFcb* file, QrtProgramEntry* program) {
  _qrtLineSeqOpen(file, program);
  if ((file->flags & QRT_FCB_CONCATENATED) != 0 && file->readRoutine == _qrtLineSeqRead)
    file->readRoutine = readConcatenated;
}

void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code) {
  (void)program;
  (void)code;
  file->openRoutine = openNative;
}
