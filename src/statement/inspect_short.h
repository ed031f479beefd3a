// INSPECT's short cut: items of a few bytes and phrases that want nothing out of the ordinary, which most
// statements are. It costs no set-up of phrases, and sees the whole item at once.
#pragma once

#include "qrtrlib.h"

namespace qrt::statement {

// Carries the statement out if it's a simple one: an unsigned item of 4 to 32 bytes, a few phrases with ALL
// or FIRST, without delimiters, figurative replacements or operands that have signs, differ in length or
// overlap the item. Returns false, and has done nothing, for any other.
bool inspectShortItem(const QrtInspectBlock& block);

}  // namespace qrt::statement
