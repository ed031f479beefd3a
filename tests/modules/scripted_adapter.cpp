// A file-system adapter that does what a test tells it.
#include <qrtrlib.h>

extern "C" {

void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code);

extern void (*scriptedInit)(QrtFcb* file, QrtProgramEntry* program, int32_t code);
void (*scriptedInit)(QrtFcb* file, QrtProgramEntry* program, int32_t code) = nullptr;

void _IO_Init(QrtFcb* file, QrtProgramEntry* program, int32_t code) {
  scriptedInit(file, program, code);
}
}
