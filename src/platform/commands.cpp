// Other programs.
#include "platform/commands.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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

bool start(const char* const* words, const Redirection& redirection, const sigset_t& signals, pid_t& child) {
  posix_spawnattr_t attributes;
  if (posix_spawnattr_init(&attributes) != 0) return false;
  const bool started = posix_spawnattr_setsigmask(&attributes, &signals) == 0 &&
                       posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK) == 0 &&
                       posix_spawnp(&child, words[0], &redirection.actions, &attributes,
                                    const_cast<char* const*>(words), environ) == 0;
  posix_spawnattr_destroy(&attributes);
  return started;
}

}  // namespace

int32_t runCommand(const char* const* words, CommandOutput output) {
  const Redirection redirection(output);
  if (!redirection.isMade) return -1;
  const ChildSignalBlocked blocked;
  pid_t child;
  if (!start(words, redirection, blocked.before, child)) return -1;
  int status;
  pid_t ended;
  do {
    ended = waitpid(child, &status, 0);
  } while (ended == -1 && errno == EINTR);
  return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace qrt::platform
