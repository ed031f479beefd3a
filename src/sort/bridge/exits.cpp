// The exits by which the engine's records get the length of a fixed-form file.
#include <string.h>

#include <algorithm>

#include "sort/bridge/context.h"

namespace qrt::sort::bridge {
namespace {

constexpr int32_t goOn = 0, failed = 1, atEnd = 2;
constexpr uint8_t carriageReturn = '\r', lineFeed = '\n', endOfText = 0x1A;
constexpr int32_t prefixLength = 4;

// Where a line stands: its bytes, the blanks behind them, a line end that is put in, or that of the input.
enum ScanState : uint8_t { copying, filling, puttingReturn, puttingFeed, takingReturn, takingFeed };

bool isLineEnd(uint8_t byte) {
  return byte == carriageReturn || byte == lineFeed;
}

// Room of an exit's own buffer, and what lies in it.
struct Output {
  uint8_t* start;
  int32_t size;
  int32_t used = 0;

  bool isFull() const { return used == size; }
  void put(uint8_t byte) { start[used++] = byte; }
};

// Takes the scan on by one step: a byte of input or output, or a change of state. `next` is the next byte of
// the input, a line feed at its end. Returns how many bytes of the input are used up.
int32_t step(ExitState& scan, uint8_t next, Output& output) {
  switch (scan.scanState) {
    case copying:
      if (scan.column < scan.recordLength && !isLineEnd(next)) {
        output.put(next);
        ++scan.column;
        return 1;
      }
      scan.scanState = filling;
      return 0;
    case filling:
      if (scan.column < scan.targetLength) {
        output.put(' ');
        ++scan.column;
      } else {
        scan.scanState = isLineEnd(next) ? takingReturn : puttingReturn;
      }
      return 0;
    case puttingReturn:
    case takingReturn:
      output.put(carriageReturn);
      scan.scanState = scan.scanState == puttingReturn ? puttingFeed : takingFeed;
      return scan.scanState == takingFeed && next == carriageReturn ? 1 : 0;
    default:
      output.put(lineFeed);
      const int32_t used = scan.scanState == takingFeed && next == lineFeed ? 1 : 0;
      scan.scanState = copying;
      scan.column = 0;
      return used;
  }
}

void handOver(BufferRow& to, const Output& output) {
  to.address = output.start;
  to.length = output.size;
  to.used = output.used;
}

int32_t recordLengthAt(const uint8_t* prefix) {
  int32_t length;
  memcpy(&length, prefix, sizeof(length));
  return length;
}

}  // namespace

int32_t lineSequentialScan(BufferRow* to, BufferRow* from) {
  ExitState& scan = current->exit;
  Output output{scan.buffer, scanBufferSize};
  const bool ended = from->length == 0;
  if (scan.holdsEndOfText) {
    scan.holdsEndOfText = false;
    if (ended)
      --scan.column;
    else
      output.put(endOfText);
  }
  from->used = 0;
  while (!output.isFull() && from->used < from->length)
    from->used += step(scan, from->address[from->used], output);
  // A last line without an end is finished all the same.
  while (ended && !output.isFull() && (scan.column > 0 || scan.scanState != copying))
    step(scan, lineFeed, output);
  if (output.used > 0 && output.start[output.used - 1] == endOfText) {
    --output.used;
    scan.holdsEndOfText = true;
  }
  handOver(*to, output);
  return ended && output.used == 0 ? atEnd : goOn;
}

int32_t binaryPad(BufferRow* to, BufferRow* from) {
  ExitState& pad = current->exit;
  Output output{pad.buffer, padBufferSize};
  const int32_t target = pad.targetLength;
  if (target > output.size) return failed;
  from->used = 0;
  while (output.size - output.used >= target) {
    const uint8_t* next = from->address + from->used;
    const int32_t left = from->length - from->used;
    // The length is taken by itself: the engine keeps no more of a record than the target length for the next
    // call.
    if (pad.pendingLength < 0) {
      if (left < prefixLength) break;
      pad.pendingLength = recordLengthAt(next) - prefixLength;
      if (pad.pendingLength < 0) return failed;
      from->used += prefixLength;
      continue;
    }
    const int32_t length = pad.pendingLength;
    if (length > left) break;
    const int32_t moved = std::min(length, target);
    memcpy(output.start + output.used, next, static_cast<size_t>(moved));
    memset(output.start + output.used + moved, ' ', static_cast<size_t>(target - moved));
    output.used += target;
    from->used += length;
    pad.pendingLength = -1;
  }
  handOver(*to, output);
  return from->length == 0 ? atEnd : goOn;
}

}  // namespace qrt::sort::bridge
