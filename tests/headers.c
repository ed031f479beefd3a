/* The public header alone, as C11 and as C++20, without a warning. */
#include <qrtrlib.h>

int qrtHeaderCompiles(void) { return (int)sizeof(QrtProgramBlock); }
