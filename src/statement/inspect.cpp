// INSPECT. Instead of trying every phrase at every position, each phrase looks ahead for the next position at
// which it would match, and the nearest one acts; of several at one position the first in the statement.
#include "statement/inspect.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "frame/guard.h"
#include "frame/message.h"
#include "statement/inspect_bytes.h"
#include "statement/inspect_short.h"

namespace qrt::statement {
namespace {

constexpr int32_t charactersLength = 76;
constexpr int32_t operandLengths = 77;

// Phrases of a statement that take no memory from the heap.
constexpr int32_t fewPhrases = 12;

// Digits of an operand with an overpunched sign; more take no part.
constexpr int32_t mostDigits = 31;
using Scratch = uint8_t[mostDigits];

using Operand = InspectOperand;

// Positions are byte offsets in the item.
struct Phrase {
  uint8_t flags;  // of QRT_INSPECT_TALLYING and on, those that count
  bool figurative;
  int32_t first, last;  // where it may match; never when `last` is negative
  int32_t next;         // where it matches next, if nothing happens before; to be found out when it's passed
  Operand compared;
  SearchWindow window;  // of the search for `compared`
  Operand replacement;  // or the counter
  Scratch digits[2];    // where `compared` and `replacement` lie when their signs had to be taken off
};

// CHARACTERS and CONVERTING match whatever stands there.
constexpr int anyCharacter = QRT_INSPECT_CHARACTERS | QRT_INSPECT_CONVERTING;

// Makes the phrase look for its next match again.
void forget(Phrase& phrase) {
  phrase.next = -1;
  phrase.window = {};
}

bool has(uint8_t flags, int flag) {
  return (flags & flag) != 0;
}

bool isNational(const QrtInspectOperand& written) {
  return has(written.nationalFlags, QRT_INSPECT_NATIONAL_NUMERIC);
}

bool isSignedNumber(const QrtInspectOperand& written) {
  constexpr int signedNumber = QRT_INSPECT_NUMERIC | QRT_INSPECT_SIGNED;
  return (written.itemFlags & signedNumber) == signedNumber;
}

bool isOverpunched(const QrtInspectOperand& written) {
  return !isNational(written) && isSignedNumber(written) &&
         !has(written.itemFlags, QRT_INSPECT_SEPARATE_SIGN);
}

// The byte of a number of `length` digits, at least one, that holds its overpunched sign.
int32_t signPosition(const QrtInspectOperand& written, int32_t length) {
  return has(written.itemFlags, QRT_INSPECT_SIGN_LEADS) ? 0 : length - 1;
}

uint8_t withZone(uint8_t digit, uint8_t zone) {
  return static_cast<uint8_t>((digit & 0x0F) | (zone & 0xF0));
}

// What of a signed operand takes part: its characters without the sign. Those of a number with an overpunched
// sign are copied to `digits`.
void takeOffSign(Operand& operand, const QrtInspectOperand& written, Scratch& digits) {
  if (isOverpunched(written)) {
    operand.length = std::min(operand.length, mostDigits);
    if (operand.length == 0) return;
    memcpy(digits, operand.address, static_cast<size_t>(operand.length));
    operand.address = digits;
    uint8_t& sign = digits[signPosition(written, operand.length)];
    sign = withZone(sign, '0');
    return;
  }
  const int32_t signBytes = isNational(written) ? 2 : isSignedNumber(written) ? 1 : 0;
  operand.length = std::max(operand.length - signBytes, 0);
  if (has(written.itemFlags, QRT_INSPECT_SIGN_LEADS)) operand.address += signBytes;
}

// What of an operand takes part.
inline void take(Operand& operand, const QrtInspectOperand& written, Scratch& digits) {
  operand.address = static_cast<uint8_t*>(written.address);
  operand.length = std::max(written.length, 0);
  if (has(written.itemFlags, QRT_INSPECT_SIGNED)) takeOffSign(operand, written, digits);
}

bool overlap(Operand one, Operand other) {
  return static_cast<uintptr_t>(other.address - one.address) < static_cast<uintptr_t>(one.length) ||
         static_cast<uintptr_t>(one.address - other.address) < static_cast<uintptr_t>(other.length);
}

// Where `delimiter` stands first in the item: `start` is notFound for one that isn't there or has no length.
struct Found {
  int32_t start, end;
};
template <int32_t width>
Found findDelimiter(Operand item, const QrtInspectOperand& delimiter) {
  Scratch digits;
  Operand wanted;
  take(wanted, delimiter, digits);
  if (wanted.length == 0) return {notFound, notFound};
  const int32_t start = findOperand<width>(item.address, 0, item.length - wanted.length, wanted);
  return {start, start + wanted.length};
}

// The flags of a phrase that count: a CONVERTING phrase takes no others but that of its delimiter.
uint8_t phraseFlags(const QrtInspectPhrase& written) {
  const uint8_t flags = written.replacement.phraseFlags;
  return has(flags, QRT_INSPECT_CONVERTING) ? flags & (QRT_INSPECT_CONVERTING | QRT_INSPECT_HAS_BEFORE)
                                            : flags;
}

bool tallies(const QrtInspectPhrase& written) {
  return has(phraseFlags(written), QRT_INSPECT_TALLYING);
}

// Cuts both operands of a phrase that replaces to the shorter one, with a message.
void cutToShorter(Phrase& phrase) {
  if (has(phrase.flags, QRT_INSPECT_CHARACTERS))
    qrtWriteERRmsg(charactersLength, 0, "");
  else
    qrtWriteERRmsg(operandLengths, 0, has(phrase.flags, QRT_INSPECT_CONVERTING) ? "CONVERTING" : "REPLACING");
  phrase.compared.length = phrase.replacement.length =
      std::min(phrase.compared.length, phrase.replacement.length);
}

template <int32_t width>
void setUp(Phrase& phrase, const QrtInspectPhrase& written, Operand item) {
  const uint8_t flags = phraseFlags(written), itemFlags = written.replacement.itemFlags;
  phrase.flags = flags;
  phrase.figurative = has(itemFlags, QRT_INSPECT_FIGURATIVE);
  if (has(flags, QRT_INSPECT_CHARACTERS))
    phrase.compared = {phrase.digits[0], width};
  else
    take(phrase.compared, written.compared, phrase.digits[0]);
  if (has(flags, QRT_INSPECT_TALLYING)) {
    phrase.replacement = {static_cast<uint8_t*>(written.replacement.address), sizeof(uint32_t)};
  } else {
    take(phrase.replacement, written.replacement, phrase.digits[1]);
    if (!phrase.figurative && phrase.compared.length != phrase.replacement.length) cutToShorter(phrase);
  }

  // A character, and what is compared, fits into the rest of the item; an operand of no length stands
  // nowhere.
  int32_t first = 0, last = item.length - width;
  if (!has(flags, QRT_INSPECT_CONVERTING))
    last = phrase.compared.length == 0 ? -1 : std::min(last, item.length - phrase.compared.length);
  if (last >= 0 && has(itemFlags, QRT_INSPECT_HAS_AFTER)) {
    const Found after = findDelimiter<width>(item, written.after);
    if (after.start == notFound)
      last = -1;
    else
      first = after.end;
  }
  if (last >= 0 && has(flags, QRT_INSPECT_HAS_BEFORE)) {
    const Found before = findDelimiter<width>(item, written.before);
    if (before.start != notFound) last = std::min(last, before.start - width);
  }
  phrase.first = first;
  phrase.last = last;
  forget(phrase);
}

// A position that is never reached, whole characters away from `position`.
template <int32_t width>
constexpr int32_t never(int32_t position) {
  return INT32_MAX - (INT32_MAX - position) % width;
}

// The next position from `position` on, by whole characters, at which the phrase matches. `continues` tells
// that it was the one that matched right before `position`.
template <int32_t width>
int32_t nextMatch(Phrase& phrase, Operand item, int32_t position, bool continues) {
  int32_t first = position, last = phrase.last;
  if (has(phrase.flags, QRT_INSPECT_LEADING)) {
    // At its first position and from there without a gap, or not at all.
    if (!continues) first = phrase.first;
    if (first < position || (first - position) % width != 0) return never<width>(position);
    last = std::min(last, first);
  } else if (phrase.first > position) {
    first = phrase.first + (phrase.first - position) % width;
  }
  if (first > last) return never<width>(position);
  if (has(phrase.flags, anyCharacter)) return first;
  const int32_t found = findOperand<width>(item.address, first, last, phrase.compared, phrase.window);
  return found == notFound ? never<width>(position) : found;
}

void count(Operand counter, uint32_t matches) {
  uint32_t value;
  memcpy(&value, counter.address, sizeof value);
  value += matches;
  memcpy(counter.address, &value, sizeof value);
}

// Puts the replacement, or its first character if it's figurative, into `length` bytes over and over.
template <int32_t width>
void replace(uint8_t* target, int32_t length, const Phrase& phrase) {
  const uint8_t* const source = phrase.replacement.address;
  const int32_t unit = std::min(phrase.figurative ? width : phrase.replacement.length, length);
  if (unit <= 2) {
    const uint8_t first = source[0], last = source[unit - 1];
    target[0] = first;
    target[unit - 1] = last;
  } else {
    memmove(target, source, static_cast<size_t>(unit));
  }
  for (int32_t filled = unit, more; filled < length; filled += more) {
    more = std::min(filled, length - filled);
    memcpy(target + filled, target, static_cast<size_t>(more));
  }
}

// Bytes that the phrase takes where it matches. A phrase that matches any character takes all of them up to
// the next match of one ahead of it in the statement, if it `mayRun` that far at once.
template <int32_t width>
int32_t bytesTaken(const Phrase& phrase, std::span<const Phrase> group, bool mayRun) {
  if (!has(phrase.flags, anyCharacter)) return phrase.compared.length;
  const int32_t step = has(phrase.flags, QRT_INSPECT_CONVERTING) ? width : phrase.compared.length;
  if (!mayRun || has(phrase.flags, QRT_INSPECT_FIRST) || step != width) return step;
  int32_t end = phrase.last + 1;
  for (const Phrase* ahead = group.data(); ahead != &phrase; ++ahead) end = std::min(end, ahead->next);
  return (end - phrase.next + width - 1) / width * width;
}

// Does what the phrase says to the bytes at its next match.
template <int32_t width>
void act(const Phrase& phrase, uint8_t* bytes, int32_t length) {
  if (has(phrase.flags, QRT_INSPECT_CONVERTING))
    convertCharacters<width>(bytes, length / width, phrase.compared, phrase.replacement.address,
                             phrase.figurative);
  else if (has(phrase.flags, QRT_INSPECT_TALLYING))
    count(phrase.replacement, static_cast<uint32_t>(length / phrase.compared.length));
  else
    replace<width>(bytes, length, phrase);
}

// Whether a group is the one phrase that takes every byte of one value.
bool takesEveryByte(std::span<const Phrase> group) {
  const Phrase& phrase = group.front();
  return group.size() == 1 && phrase.compared.length == 1 &&
         !has(phrase.flags, anyCharacter | QRT_INSPECT_LEADING | QRT_INSPECT_FIRST);
}

void actOnEveryByte(const Phrase& phrase, Operand item) {
  const int32_t length = phrase.last + 1 - phrase.first;
  if (length <= 0) return;
  const uint8_t wanted = phrase.compared.address[0];
  if (has(phrase.flags, QRT_INSPECT_TALLYING))
    count(phrase.replacement, countByte(item.address + phrase.first, length, wanted));
  else
    replaceByte(item.address + phrase.first, length, wanted, phrase.replacement.address[0]);
}

// Runs the phrases of a group, which are set up, over the item.
template <int32_t width>
void scan(std::span<Phrase> group, Operand item) {
  // Where an operand or counter lies in the item, a match can change what the others would find.
  const bool independent = std::ranges::none_of(group, [&](const Phrase& phrase) {
    return overlap(phrase.compared, item) || overlap(phrase.replacement, item);
  });
  if (width == 1 && independent && takesEveryByte(group)) return actOnEveryByte(group.front(), item);

  const Phrase* continuing = nullptr;
  for (int32_t position = 0; position < item.length;) {
    Phrase* nearest = nullptr;
    for (Phrase& phrase : group) {
      if (phrase.next < position || (phrase.next - position) % width != 0)
        phrase.next = nextMatch<width>(phrase, item, position, continuing == &phrase);
      if (phrase.next < (nearest == nullptr ? item.length : nearest->next)) nearest = &phrase;
    }
    if (nearest == nullptr) return;
    const int32_t length = bytesTaken<width>(*nearest, group, independent);
    act<width>(*nearest, item.address + nearest->next, length);
    if (has(nearest->flags, QRT_INSPECT_FIRST)) nearest->last = -1;
    continuing = has(nearest->flags, QRT_INSPECT_LEADING) ? nearest : nullptr;
    position = nearest->next + length;
    if (!independent)
      for (Phrase& phrase : group) forget(phrase);
  }
}

// A group ends where something else than TALLYING follows TALLYING: all counting is done on the item as it
// was before.
template <int32_t width>
void runGroups(std::span<const QrtInspectPhrase> written, Operand item, Phrase* phrases) {
  for (const QrtInspectPhrase *next = written.data(), *end = next + written.size(); next != end;) {
    Phrase* groupEnd = phrases;
    do {
      setUp<width>(*groupEnd++, *next++, item);
    } while (next != end && (!has(groupEnd[-1].flags, QRT_INSPECT_TALLYING) || tallies(*next)));
    scan<width>({phrases, groupEnd}, item);
  }
}

// Runs the statement; `phrases` has room for all of its phrases.
void run(const QrtInspectBlock& block, Phrase* phrases) {
  Scratch digits;
  Operand item;
  take(item, block.item, digits);
  const std::span<const QrtInspectPhrase> written(block.phrases, static_cast<size_t>(block.phraseCount));
  if (has(block.item.itemFlags, QRT_INSPECT_TWO_BYTES))
    runGroups<2>(written, item, phrases);
  else
    runGroups<1>(written, item, phrases);

  if (!isOverpunched(block.item) || item.length == 0 || std::ranges::all_of(written, tallies)) return;
  auto* const original = static_cast<uint8_t*>(block.item.address);
  const int32_t sign = signPosition(block.item, item.length);
  item.address[sign] = withZone(item.address[sign], original[sign]);
  memcpy(original, item.address, static_cast<size_t>(item.length));
}

// Statements of any kind.
[[gnu::noinline]] void inspectByPhrases(const QrtInspectBlock* block) {
  if (block->phraseCount <= fewPhrases) {
    Phrase phrases[fewPhrases];
    if (block->phraseCount > 0) run(*block, phrases);
    return;
  }
  uint32_t size;
  if (__builtin_mul_overflow(static_cast<uint32_t>(block->phraseCount), sizeof(Phrase), &size))
    size = UINT32_MAX;
  auto* const phrases = static_cast<Phrase*>(_qrtMalloc(size, frame::message::outOfMemory, 0));
  if (phrases == nullptr) return;
  frame::underNestedGuard([&] { run(*block, phrases); }, [&] { _qrtCheckFree(phrases); });
  _qrtCheckFree(phrases);
}

}  // namespace

[[gnu::always_inline]] inline void inspect(const QrtInspectBlock* block) {
  if (!inspectShortItem(*block)) frame::underPlainGuard([block] { inspectByPhrases(block); });
}

}  // namespace qrt::statement
