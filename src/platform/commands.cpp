// Other programs.
#include "platform/commands.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/errors.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

// Where the streams of a program go that is about to be started.
struct Redirection {
  posix_spawn_file_actions_t actions;
  bool isMade;

  explicit Redirection(CommandOutput output) : isMade(posix_spawn_file_actions_init(&actions) == 0) {
    if (!isMade || output == CommandOutput::shared) return;
    isMade = posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0) == 0 &&
             posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO) == 0;
  }
  ~Redirection() { posix_spawn_file_actions_destroy(&actions); }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;
};

// While it lives, the end of a child is held back from the process's own handler, which may wait for any.
struct ChildSignalBlocked {
  sigset_t before;

  ChildSignalBlocked() {
    sigset_t child;
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    pthread_sigmask(SIG_BLOCK, &child, &before);
  }
  ~ChildSignalBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
  ChildSignalBlocked(const ChildSignalBlocked&) = delete;
  ChildSignalBlocked& operator=(const ChildSignalBlocked&) = delete;
};

// Returns errno, 0 for success.
int start(const char* const* words, const Redirection& redirection, const sigset_t& signals, pid_t& child) {
  const NativePath program(words[0]);
  if (!program.fits) return ENAMETOOLONG;
  posix_spawnattr_t attributes;
  int error = posix_spawnattr_init(&attributes);
  if (error != 0) return error;
  posix_spawnattr_setsigmask(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  error = posix_spawnp(&child, program.text, &redirection.actions, &attributes,
                       const_cast<char* const*>(words), environ);
  posix_spawnattr_destroy(&attributes);
  return error;
}

CommandEnd waitFor(pid_t child) {
  int status;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return {};
  if (WIFEXITED(status)) return {.hasRun = true, .exitStatus = WEXITSTATUS(status), .signal = 0};
  return {.hasRun = true, .exitStatus = 0, .signal = WTERMSIG(status)};
}

}  // namespace

CommandEnd runCommand(const char* const* words, CommandOutput output) {
  const Redirection redirection(output);
  const ChildSignalBlocked blocked;
  pid_t child;
  const int error = redirection.isMade ? start(words, redirection, blocked.before, child) : ENOMEM;
  if (error == 0) return waitFor(child);
  setLastError(errorNumberOf(error));
  return {};
}

}  // namespace qrt::platform
