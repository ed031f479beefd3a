// The message writer.
#include "frame/message.h"

#include <stdio.h>
#include <stdlib.h>

int32_t qrtWriteERRmsg(int32_t number, uint32_t, ...) {
  fprintf(stderr, "QRT%03d2 Cannot find message catalog qrtremsg.cat in NLSPATH. Message number is %d.\n",
          static_cast<int>(number), static_cast<int>(number));
  abort();
}

int32_t _qrtWriteERRmsg(int32_t number, uint32_t flags, ...) {
  return qrtWriteERRmsg(number, flags);
}
