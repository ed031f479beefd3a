// Walks the chain of frames and asks the line-number reader for each.
#include "frame/traceback.h"

#include <string.h>

#include <string_view>

#include "platform/exceptions.h"
#include "platform/modules.h"

namespace qrt::frame {

int32_t doingTraceBack = 0;

namespace {

constexpr int mostFrames = 19;
constexpr size_t nameBytes = 260;

// Fills the line number and up to three names; the result selects the name to show.
using Whereis = int32_t(uint32_t address, int32_t* line, char* first, char* second, char* third);

QrtJumpBuffer jBuf;  // where a fault in the walk comes back

// Holds the x87 control word over foreign start-up code.
class FloatingControl {
 public:
  FloatingControl() { __asm__ volatile("fnstcw %0" : "=m"(word)); }
  ~FloatingControl() { __asm__ volatile("fldcw %0" : : "m"(word)); }
  FloatingControl(const FloatingControl&) = delete;
  FloatingControl& operator=(const FloatingControl&) = delete;

 private:
  uint16_t word;
};

// Null when there is no reader; that holds for the rest of the run.
Whereis* lineNumberReader() {
  static Whereis* whereis = nullptr;
  static bool tried = false;
  if (tried) return whereis;
  tried = true;
  const FloatingControl kept;
  if (const platform::Module module = platform::loadModule("dvtdrdr1"))
    whereis = platform::findRoutineAs<Whereis>(module, "whereis");
  return whereis;
}

struct Place {
  int32_t selector;
  int32_t line = 0;
  char first[nameBytes + 1] = "";
  char second[nameBytes + 1] = "";
  char third[nameBytes + 1] = "";

  Place(Whereis* whereis, uint32_t address) { selector = whereis(address, &line, first, second, third); }

  bool inDispatcher() const {
    const char* module = strrchr(second, '\\');
    return module != nullptr && strcmp(module, "\\ntdll.dll") == 0;
  }

  void appendTo(MessageText& text) const {
    std::string_view name = selector == 4 ? third : selector == 2 || selector == 3 ? second : first;
    name.remove_prefix(name.find_last_of("\\/") + 1);
    text.appendPrinted("      %.*s : %i \n", static_cast<int>(name.size()), name.data(), line);
  }
};

void walk(MessageText& text, Whereis* whereis, const QrtMachineContext& start) {
  constexpr int dispatcherDepth = 3;
  uint32_t frame = start.framePointer;
  uint32_t address = start.instructionPointer;
  int dispatcherFrames = 0;
  for (int count = 0; count < mostFrames; ++count) {
    const Place place(whereis, address);
    if (_qrtExceptionAddress == nullptr) {
      place.appendTo(text);
    } else if (place.inDispatcher() && ++dispatcherFrames == dispatcherDepth) {
      const Place fault(whereis, reinterpret_cast<uint32_t>(_qrtExceptionAddress));
      _qrtExceptionAddress = nullptr;
      fault.appendTo(text);
    }
    if (frame == 0) return;
    const auto* link = reinterpret_cast<const uint32_t*>(frame);
    frame = link[0];
    address = link[1];
    if (frame == 0 || address == 0) return;
  }
}

}  // namespace

void appendTraceback(MessageText& text, const QrtMachineContext* machine) {
  Whereis* const whereis = lineNumberReader();
  if (whereis == nullptr) return;
  QrtMachineContext start;
  if (machine != nullptr)
    start = *machine;
  else
    context(&start);
  const platform::FaultWatch watch;
  if (qrtSetJump(&jBuf) == 0) {
    doingTraceBack = 1;
    walk(text, whereis, start);
  } else {
    _qrtExceptionAddress = nullptr;  // the reader's own fault is told nowhere
  }
  doingTraceBack = 0;
}

}  // namespace qrt::frame

int32_t ERRmsgHandler(QrtExceptionRecord*) {
  using namespace qrt::frame;
  if (doingTraceBack == 1) qrtLongJump(&jBuf, 1);
  return 1;
}

void context(QrtMachineContext* record) {
  const auto* frame = static_cast<const uint32_t*>(__builtin_frame_address(0));
  record->framePointer = frame[0];
  record->instructionPointer = frame[1];
  record->stackPointer = reinterpret_cast<uint32_t>(frame + 2);
}
