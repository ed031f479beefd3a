// Moves of characters. Lengths stay in the units of the entries: bytes, and characters inside the feed.
#include "statement/move.h"

#include <algorithm>
#include <cstring>

namespace qrt::statement {
namespace {

constexpr uint8_t doubleByteBlank[] = {0x81, 0x40};

// The pad byte that a negative source length asks for: the EBCDIC space.
constexpr uint8_t hostSpace = 0x40;

template <typename Character>
constexpr bool isInsertion(Character element) {
  return element == '0' || element == '/' || element == ' ';
}

// Edited text under construction: the characters of a source, which starts again or gives way to spaces when
// it runs out, between inserted ones. No address needs to be aligned.
template <typename Character>
class EditedText {
 public:
  EditedText(const void* source, int32_t characters, bool repeat, void* destination)
      : begin_(static_cast<const uint8_t*>(source)),
        size_(static_cast<uint32_t>(std::max(characters, 0))),
        left_(size_),
        repeat_(repeat && characters > 0),
        out_(static_cast<uint8_t*>(destination)) {}

  void insert(Character character, uint32_t count) {
    for (; count > 0; --count, out_ += sizeof(Character)) memcpy(out_, &character, sizeof(Character));
  }

  void copy(uint32_t count) {
    while (count > 0) {
      if (left_ == 0 && !repeat_) return insert(' ', count);
      if (left_ == 0) left_ = size_;
      const uint32_t piece = std::min(count, left_);
      memcpy(out_, begin_ + (size_ - left_) * sizeof(Character), piece * sizeof(Character));
      out_ += piece * sizeof(Character);
      left_ -= piece;
      count -= piece;
    }
  }

 private:
  const uint8_t* const begin_;
  const uint32_t size_;  // characters of the source
  uint32_t left_;        // of these, not yet used
  const bool repeat_;
  uint8_t* out_;
};

}  // namespace

void repeatFront(uint8_t* area, uint32_t size, uint32_t period) {
  for (uint32_t done = period; done < size;) {
    const uint32_t piece = std::min(done, size - done);
    memcpy(area + done, area, piece);
    done += piece;
  }
}

void moveAlphaNumEdit(const QrtAlphaNumEditPicture* picture, const uint8_t* source, int32_t sourceLength,
                      uint8_t* destination) {
  EditedText<uint8_t> text(source, sourceLength, picture->repeat != 0, destination);
  const uint8_t* element = picture->elements;
  const auto isBlankPair = [](const uint8_t* at) {
    return at[0] == doubleByteBlank[0] && at[1] == doubleByteBlank[1];
  };
  for (int32_t left = picture->elementCount; left > 0;) {
    if (isInsertion(*element)) {
      text.insert(*element++, 1);
      --left;
    } else if (isBlankPair(element)) {
      for (const uint8_t byte : doubleByteBlank) text.insert(byte, 1);
      element += sizeof doubleByteBlank;
      --left;
    } else {
      const uint8_t* const first = element;
      do ++element, --left;
      while (left > 0 && !isInsertion(*element) && !isBlankPair(element));
      text.copy(static_cast<uint32_t>(element - first));
    }
  }
}

void moveUnicodeEdit(const QrtUnicodeEditPicture* picture, const void* source, int32_t sourceLengthInBytes,
                     void* destination) {
  constexpr int32_t characterSize = sizeof(uint16_t);
  EditedText<uint16_t> text(source, sourceLengthInBytes / characterSize, picture->repeat != 0, destination);
  const int32_t runs = picture->size / static_cast<int32_t>(sizeof(QrtUnicodeEditRun));
  for (const QrtUnicodeEditRun *run = picture->runs, *end = run + std::max(runs, 0); run != end; ++run) {
    if (run->count <= 0) continue;
    if (isInsertion(run->character))
      text.insert(run->character, run->count);
    else
      text.copy(run->count);
  }
}

void moveFigConst(uint8_t* destination, int32_t length, const uint8_t* literal, int32_t literalLength) {
  const uint32_t size = magnitude(length);
  if (literalLength < 1 || size == 0) return;
  const auto period = static_cast<uint32_t>(literalLength);
  if (period == 1) {
    memset(destination, *literal, size);
    return;
  }
  const uint32_t cut = length < 0 ? size % period : 0;  // bytes of the partial literal at the front
  memcpy(destination, literal + period - cut, cut);
  memcpy(destination + cut, literal, std::min(period, size - cut));
  repeatFront(destination + cut, size - cut, period);
}

std::span<uint8_t> moveJustified(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                 int32_t sourceLength) {
  const bool right = targetLength < 0;
  const uint32_t targetSize = magnitude(targetLength), sourceSize = magnitude(sourceLength);
  const uint32_t count = std::min(targetSize, sourceSize);
  uint8_t* const to = right ? target + (targetSize - count) : target;
  const uint8_t* const from = right ? source + (sourceSize - count) : source;

  // A block move gives the same as single bytes unless the target starts inside the source.
  if (to > from && to < from + count)
    for (uint32_t at = 0; at < count; ++at) to[at] = from[at];
  else
    memmove(to, from, count);
  return {right ? target : target + count, targetSize - count};
}

void moveVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source, int32_t sourceLength) {
  const std::span<uint8_t> rest = moveJustified(target, targetLength, source, sourceLength);
  memset(rest.data(), sourceLength < 0 ? hostSpace : ' ', rest.size());
}

}  // namespace qrt::statement
