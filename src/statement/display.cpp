// DISPLAY: each item's text to the stream of the target, and the debugger's way to the text of one item.
#include "statement/display.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "frame/guard.h"
#include "frame/unaligned.h"

namespace qrt::statement {
namespace {

constexpr int32_t noPunchFile = 168;
constexpr int32_t unknownTarget = 169;
constexpr int32_t unknownItem = 170;

// Most digits of a number that are shown; an item that asks for more gets these.
constexpr int32_t mostDigits = 256;

// Text of one item: in the buffer for a number, else the item's own bytes.
struct ItemText {
  const char* address;
  size_t length;
};
using Buffer = char[mostDigits + 32];

// The value's last `digits` digits, zeros ahead of them where there are fewer.
ItemText integerText(int64_t value, int32_t digits, Buffer& buffer) {
  char text[24];
  _qrtConv8toStr(text, &value);
  const bool negative = text[0] == '-';
  const std::string_view all = text + negative;
  const auto width = static_cast<size_t>(std::clamp(digits, 0, mostDigits));
  const std::string_view shown = all.substr(all.size() - std::min(all.size(), width));

  char* out = buffer;
  if (negative) *out++ = '-';
  out = std::fill_n(out, width - shown.size(), '0');
  out = std::copy(shown.begin(), shown.end(), out);
  return {buffer, static_cast<size_t>(out - buffer)};
}

// Sign or space, the point, `digits` digits of a fraction, "E", sign or space, exponent.
ItemText floatText(double value, int32_t digits, char decimalPoint, Buffer& buffer) {
  // The terminators of these two go out as well.
  if (std::isinf(value)) return {"Infinity", sizeof "Infinity"};
  if (std::isnan(value)) return {"NaN", sizeof "NaN"};

  const int32_t width = std::clamp(digits, 1, mostDigits);
  Buffer printed;  // sign, digit, the locale's point, width - 1 digits, "E", sign, exponent
  snprintf(printed, sizeof printed, "% .*E", static_cast<int>(width - 1), value);
  const char* e = strchr(printed, 'E');
  char* out = buffer;
  *out++ = printed[0];
  *out++ = decimalPoint;
  *out++ = printed[1];
  out = std::copy(e - (width - 1), e, out);
  *out++ = 'E';

  // The point moved to the left of the first digit, so the exponent goes up by one; that of zero stays.
  const int exponent = value == 0 ? 0 : atoi(e + 1) + 1;
  *out++ = exponent < 0 ? '-' : ' ';
  out += snprintf(out, 8, "%02d", std::abs(exponent));
  return {buffer, static_cast<size_t>(out - buffer)};
}

// The text of an item; none for one of an unknown type or size.
std::optional<ItemText> textOf(const QrtDisplayItem& item, char decimalPoint, Buffer& buffer) {
  switch (item.type) {
    case QRT_DISPLAY_FLOAT:
      if (item.size == sizeof(float))
        return floatText(static_cast<double>(frame::loadAs<float>(item.data)), item.digits, decimalPoint,
                         buffer);
      if (item.size == sizeof(double))
        return floatText(frame::loadAs<double>(item.data), item.digits, decimalPoint, buffer);
      return std::nullopt;
    case QRT_DISPLAY_INTEGER:
      if (item.size == sizeof(int16_t))
        return integerText(frame::loadAs<int16_t>(item.data), item.digits, buffer);
      if (item.size == sizeof(int32_t))
        return integerText(frame::loadAs<int32_t>(item.data), item.digits, buffer);
      if (item.size == sizeof(int64_t))
        return integerText(frame::loadAs<int64_t>(item.data), item.digits, buffer);
      return std::nullopt;
    case QRT_DISPLAY_TEXT:
    case QRT_DISPLAY_TEXT_4:
    case QRT_DISPLAY_TEXT_5:
      return ItemText{static_cast<const char*>(item.data), item.size};
    default:
      return std::nullopt;
  }
}

// The stream of a target; null, with a message, for one that doesn't exist.
FILE* streamOf(uint8_t target) {
  QrtProcessRecord& process = *_qrtProccom;
  switch (target) {
    case QRT_DISPLAY_SYSOUT:
      return process.sysoutFile;
    case QRT_DISPLAY_CONSOLE:
      if (process.consoleOutFile == nullptr) _qrtEnvNameInit('D');
      return process.consoleOutFile;
    case QRT_DISPLAY_SYSPUNCH:
      if (process.syspunchFile == nullptr) _qrtEnvNameInit('P');
      if (process.syspunchFile != nullptr) return process.syspunchFile;
      qrtWriteERRmsg(noPunchFile, 0);
      return stdout;
    default:
      qrtWriteERRmsg(unknownTarget, 0);
      return nullptr;
  }
}

// Writes the items and the end of line; false at an item without a text. Under a debugger that wants the text
// the first item goes to its buffer, and nothing is written.
bool write(const QrtDisplayControl& control, QrtDisplayItem* items, FILE* stream) {
  Buffer buffer;
  for (QrtDisplayItem *item = items, *end = items + std::max(control.itemCount, 0); item != end; ++item) {
    const std::optional<ItemText> text = textOf(*item, static_cast<char>(control.decimalPoint), buffer);
    if (!text) return false;
    item->digits = static_cast<int32_t>(text->length);
    if (_qrtDebugBuf != nullptr) {
      memcpy(_qrtDebugBuf, text->address, text->length);
      _qrtDebugBufLen = item->digits;
      return true;
    }
    fwrite(text->address, 1, text->length, stream);
  }
  if ((control.flags & QRT_DISPLAY_NO_ADVANCING) == 0) putc('\n', stream);
  fflush(stream);
  return true;
}

}  // namespace

void display(const QrtDisplayControl* control, QrtDisplayItem* items) {
  FILE* const stream = streamOf(control->target);
  if (stream == nullptr) return;
  bool complete = false;
  frame::underNestedGuard([&] { complete = write(*control, items, stream); });
  if (!complete) qrtWriteERRmsg(unknownItem, 0);
}

}  // namespace qrt::statement
