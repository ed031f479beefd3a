// Ranges: pieces of the record, as they are spelled and as the layout of the record allows them.
#pragma once

#include <string_view>

#include "sort/engine/options.h"

namespace qrt::sort {

// What SortKey::endField holds until the layout is known, for a range that runs to the end of the record.
inline constexpr int32_t toRecordEnd = -1;

// "f[.c[.b]][modifiers][,f[.c[.b]][modifiers]]", counted from 1. False when the text isn't of this form.
bool readRange(std::string_view text, SortKey& range);

// The obsolete form, counted from 0: "f[.c[.b]][modifiers]" behind the + of a start word, which gives a range
// to the end of the record, and the same behind the - of an end word, which closes it.
bool readObsoleteStart(std::string_view text, SortKey& range);
bool readObsoleteEnd(std::string_view text, SortKey& range);

// Sets a modifier by its letter, b for the start or the end; false for other letters.
bool setModifier(SortKey& range, char letter, bool atEnd);
bool hasModifiers(const SortKey& range);

// Resolves the end of the record to `largestField` and checks the range against the format, or without one
// against text. False when it isn't allowed for any purpose.
bool placeRange(const SortOptions& options, SortKey& range);

// Whether a placed range goes on behind the joined fields that it starts in, so that it can't stay one range.
bool leavesBarrier(const SortOptions& options, const SortKey& range);

// Takes the part in front of the barrier off the front of a placed range that leaves it.
SortKey takePiece(const SortOptions& options, SortKey& range);

// Settles type, masks and barrier of a placed range that doesn't leave its barrier. With `converts`, n and q
// make another type of a char range.
void settleRange(const SortOptions& options, SortKey& range, bool converts);

// Whether the range is exactly one field.
bool isWholeField(const SortKey& range);

}  // namespace qrt::sort
