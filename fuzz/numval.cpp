// Arbitrary texts, currency signs and control blocks through NUMVAL and NUMVAL-C in both widths of characters
// and results: each says what the grammar, read piece by piece, says. Messages come back as under a debugger.
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <string_view>

#include "intrinsic/plain_numval.h"

namespace {

using qrt::intrinsic::PlainNumval;

// A copy of exactly the size, so that a sanitizer sees the first byte beyond.
struct Block {
  std::unique_ptr<uint8_t[]> bytes;
  int32_t size;

  Block(std::string_view text, bool wide)
      : bytes(new uint8_t[text.size() * (wide ? 2 : 1)]),
        size(static_cast<int32_t>(text.size() * (wide ? 2 : 1))) {
    for (size_t at = 0; at < text.size(); ++at) {
      bytes[wide ? at * 2 : at] = static_cast<uint8_t>(text[at]);
      if (wide) bytes[at * 2 + 1] = static_cast<uint8_t>(at * 37);
    }
  }
};

// Ends the program unless the text of the last message, if there is one, and the result are as read.
void check(const PlainNumval& read, const uint8_t* area, size_t size) {
  QrtThreadStorage* const storage = threadStorage();
  const char* const told = storage->pendingMessage;
  // Message 97 is a warning; the others are severe, and the first of them leaves the result as it was.
  const bool severe = !read.reports.empty() && read.reports[0].number != 97;
  if ((told != nullptr) != severe) abort();
  if (severe && atoi(told + 3) != read.reports[0].number) abort();
  _qrtCheckFree(storage->pendingMessage);
  storage->pendingMessage = nullptr;

  uint8_t expected[16];
  memset(expected, 0xEE, sizeof expected);
  const long double value = strtold(read.text.c_str(), nullptr);
  const auto rounded = static_cast<double>(value);
  if (!severe) memcpy(expected, size == 8 ? static_cast<const void*>(&rounded) : &value, size);
  if (memcmp(area, expected, sizeof expected) != 0) abort();
}

template <typename Numval, typename NumvalC>
void run(const QrtNumvalControl& control, std::string_view text, std::string_view currency, bool wide,
         size_t size, Numval numval, NumvalC numvalC) {
  const Block argument(text, wide), sign(currency, wide);
  alignas(8) uint8_t area[16];
  auto* const result = reinterpret_cast<double*>(area);
  memset(area, 0xEE, sizeof area);
  numval(&control, argument.size, argument.bytes.get(), result);
  check(qrt::intrinsic::plainNumval(control, text, false, ""), area, size);
  memset(area, 0xEE, sizeof area);
  numvalC(&control, argument.size, argument.bytes.get(), sign.size, sign.bytes.get(), result);
  check(qrt::intrinsic::plainNumval(control, text, true, currency), area, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool quiet = false;
  if (!quiet) stderr = fopen("/dev/null", "w");  // of the library's messages
  quiet = true;
  _qrtIsDebuggerLoaded = 1;

  // A byte for the currency source and the length of the currency string, currency sign, decimal point, the
  // string, the argument.
  if (size < 3) return 0;
  const QrtNumvalControl control = {data[1], data[2], static_cast<int16_t>(data[0] % 4)};
  const std::string_view texts(reinterpret_cast<const char*>(data) + 3, size - 3);
  const std::string_view currency = texts.substr(0, data[0] / 4), text = texts.substr(currency.size());
  run(control, text, currency, false, 8, _qrtcNumval, _qrtcNumvalC);
  run(control, text, currency, false, 10, _qrtcNumval16, _qrtcNumvalC16);
  run(control, text, currency, true, 8, _qrtuNumval, _qrtuNumvalC);
  run(control, text, currency, true, 10, _qrtuNumval16, _qrtuNumvalC16);
  return 0;
}
