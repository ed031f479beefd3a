// Programs that are run for a caller who waits for them.
#include "platform/child.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/errors.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

constexpr int32_t notRun = -1;

int32_t statusAtEnd(pid_t child) {
  int status;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return notRun;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int32_t runProgram(char* const words[]) {
  const NativePath program(words[0]);
  pid_t child;
  const int failure =
      program.fits ? posix_spawnp(&child, program.text, nullptr, nullptr, words, environ) : ENAMETOOLONG;
  if (failure == 0) return statusAtEnd(child);
  setLastError(errorNumberOf(failure));
  return notRun;
}

}  // namespace qrt::platform
