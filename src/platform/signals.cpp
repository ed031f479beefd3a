// Signals taken over.
#include "platform/signals.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <iterator>

#include "platform/threads.h"

namespace qrt::platform {
namespace {

constexpr int hookable[] = {SIGHUP, SIGINT, SIGTERM, SIGABRT, SIGILL, SIGFPE, SIGSEGV, SIGBUS};

CriticalSection section;
int hooks = 0;
struct sigaction replaced[std::size(hookable)];

}  // namespace

void hookSignals(void (*routine)(int signal)) {
  const CriticalSection::Scope scope(section);
  if (hooks++ > 0) return;
  struct sigaction action = {};
  action.sa_handler = routine;
  action.sa_flags = SA_RESTART | SA_ONSTACK;
  sigfillset(&action.sa_mask);
  for (size_t index = 0; index < std::size(hookable); ++index)
    sigaction(hookable[index], &action, &replaced[index]);
}

void unhookSignals() {
  const CriticalSection::Scope scope(section);
  if (--hooks > 0) return;
  for (size_t index = 0; index < std::size(hookable); ++index)
    sigaction(hookable[index], &replaced[index], nullptr);
}

bool isFault(int signal) {
  return signal == SIGILL || signal == SIGFPE || signal == SIGSEGV || signal == SIGBUS;
}

void letSignalEnd(int number) {
  signal(number, SIG_DFL);
}

void endAtOnce(int exitCode) {
  _exit(exitCode);
}

void sleepMilliseconds(int milliseconds) {
  timespec left = {milliseconds / 1000, milliseconds % 1000 * 1000000};
  while (nanosleep(&left, &left) != 0) {
  }
}

}  // namespace qrt::platform
