// A debugger that shows what it is started with.
#include <stdint.h>
#include <stdio.h>

extern "C" int32_t _debug_start_msg(int32_t first, int32_t second, int32_t third, const char* codeSet,
                                    const char* text) {
  printf("%d %d %d %s [%s]\n", static_cast<int>(first), static_cast<int>(second), static_cast<int>(third),
         codeSet, text);
  return 77;
}
