// A line-number reader that follows the script in READER_SCRIPT: for each call a selector digit, which picks
// the buffer with the name to show, "d" for a frame of the exception dispatcher, or "!" for a fault. Behind
// its end the last character counts. Lines are numbered by the calls.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

extern "C" int32_t whereis(uint32_t, int32_t* line, char* first, char* second, char* third) {
  static size_t calls = 0;
  const char* script = getenv("READER_SCRIPT");
  const char step = script[calls < strlen(script) ? calls : strlen(script) - 1];
  *line = static_cast<int32_t>(++calls);
  if (step == '!') __asm__ volatile("movl $0, 0");
  strcpy(first, "C:\\cobol\\FIRST.CBL");
  strcpy(second, step == 'd' ? "C:\\windows\\ntdll.dll" : "src/SECOND.CBL");
  strcpy(third, "THIRD.CBL");
  return step == 'd' ? 1 : step - '0';
}
