// Faults and signals.
#include "platform/exceptions.h"

#include <ucontext.h>

#include <iterator>

extern "C" {
// Stands beside the jump primitives, which read and restore it.
extern qrt::platform::HandlerLink* qrtExceptionChain;
}

namespace qrt::platform {
namespace {

constexpr int faults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

VectoredHandler vectoredHandler = nullptr;
void (*routines[NSIG])(int signal) = {};

// Handlers run here, so that they can also tell of a stack that is used up.
alignas(16) char alternateStack[64 * 1024];

void offerToHandlers(int signal, const ucontext_t& state) {
  const auto* registers = state.uc_mcontext.gregs;
  QrtMachineContext machine = {.instructionPointer = static_cast<uint32_t>(registers[REG_EIP]),
                               .framePointer = static_cast<uint32_t>(registers[REG_EBP]),
                               .stackPointer = static_cast<uint32_t>(registers[REG_ESP])};
  QrtExceptionRecord record = {.code = static_cast<uint32_t>(signal),
                               .address = reinterpret_cast<void*>(machine.instructionPointer)};
  QrtExceptionPointers exception = {&record, &machine};
  if (vectoredHandler != nullptr) vectoredHandler(&exception);
  for (HandlerLink *link = qrtExceptionChain, *next; link != nullptr; link = next) {
    next = link->next;
    link->handler(&record);
  }
}

// Whether the signal came while another one was being handled.
bool interruptsHandling(const ucontext_t& state) {
  const auto stack = reinterpret_cast<uintptr_t>(state.uc_stack.ss_sp);
  return static_cast<uintptr_t>(state.uc_mcontext.gregs[REG_ESP]) - stack < state.uc_stack.ss_size;
}

void dispatch(int signal, siginfo_t*, void* interrupted) {
  const auto& state = *static_cast<const ucontext_t*>(interrupted);
  const int meant = signal == SIGBUS ? SIGSEGV : signal;
  if (meant != SIGINT) offerToHandlers(meant, state);
  // A routine that has failed itself isn't called again.
  if (routines[meant] != nullptr && !interruptsHandling(state)) routines[meant](meant);
  // Nobody took the fault: it comes again at the same place and meets the default.
  ::signal(signal, SIG_DFL);
}

// Handlers may jump away, so that nothing may stay blocked behind them.
void listenTo(int signal, struct sigaction* replaced) {
  stack_t stack;
  if (sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_DISABLE) != 0) {
    stack = {.ss_sp = alternateStack, .ss_flags = 0, .ss_size = sizeof(alternateStack)};
    sigaltstack(&stack, nullptr);
  }
  struct sigaction action = {};
  action.sa_sigaction = dispatch;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigaction(signal, &action, replaced);
}

}  // namespace

InstalledHandler::InstalledHandler(ExceptionHandler handler) : link{qrtExceptionChain, handler} {
  qrtExceptionChain = &link;
}

InstalledHandler::~InstalledHandler() {
  qrtExceptionChain = link.next;
}

void setVectoredHandler(VectoredHandler handler) {
  vectoredHandler = handler;
}

void setSignalRoutine(int signal, void (*routine)(int signal)) {
  routines[signal] = routine;
  for (int each : {signal, signal == SIGSEGV ? SIGBUS : signal}) {
    if (routine != nullptr)
      listenTo(each, nullptr);
    else
      ::signal(each, SIG_DFL);
  }
}

FaultWatch::FaultWatch() {
  for (size_t index = 0; index < std::size(faults); ++index) listenTo(faults[index], &replaced[index]);
}

FaultWatch::~FaultWatch() {
  for (size_t index = 0; index < std::size(faults); ++index)
    sigaction(faults[index], &replaced[index], nullptr);
}

}  // namespace qrt::platform
