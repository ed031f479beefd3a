// Numbers of the messages, and what the message writer shares with the ends of a run.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// Numbers of the messages that more than one place names.
namespace message {
inline constexpr int32_t invalidSign = 39;
inline constexpr int32_t invalidSeparateSign = 40;
inline constexpr int32_t noGenerator = 202;
inline constexpr int32_t exitNotice = 901;
inline constexpr int32_t divisionByZero = 902;
inline constexpr int32_t invalidDigit = 903;
inline constexpr int32_t outOfMemory = 907;
inline constexpr int32_t noSpace = 993;
inline constexpr int32_t notFound = 994;
inline constexpr int32_t signalTrapped = 995;
inline constexpr int32_t controlRecord = 9999;
}  // namespace message

// What the abnormal end of a hosted run tells the host: the exit notice, without its severity; empty without
// a catalogue.
extern char hostAbendText[80];

// Keeps the text proper of a catalogue's exit notice for that.
void keepHostAbendText(const char* catalogued);

// The text proper of a catalogue's text: what stands behind the severity digit and its blank.
const char* textProper(const char* catalogued);

}  // namespace qrt::frame
