// The item table of XML GENERATE, entry by entry.
#pragma once

#include <algorithm>

#include "frame/unaligned.h"
#include "qrtrlib.h"

namespace qrt::xml {

enum class Kind : uint8_t {
  group,
  skipped,
  native,
  ebcdic,
  national,
  doubleByte,
  otherNative,
  none,
  occurs,
  numeric
};

// An entry of the table, as the walk takes it.
struct Item {
  uint8_t level;
  uint8_t flags;
  Kind kind;
  bool isAttribute;
  int32_t length;       // bytes in storage
  int32_t imageLength;  // bytes of the text of a number
  int32_t occurrences;  // of an OCCURS clause
  const uint8_t* name;  // in the table of names

  // Both tags as they are written without digits, "<NAME>" and behind it "</NAME>", in the document's units;
  // null until they are first needed.
  const void* tags;
  uint32_t startTagLength;

  bool isNative() const { return kind == Kind::native || kind == Kind::otherNative; }
  bool hasName() const { return kind != Kind::occurs && kind != Kind::skipped && level != 0; }
};

inline int32_t occurrencesOf(const QrtXmlDescriptor& entry, const int32_t* counts) {
  int32_t count = frame::loadAs<int32_t>(entry.value);
  if ((entry.flags & QRT_XGF_OCCURS_DEPENDING) == QRT_XGF_OCCURS_DEPENDING)
    count = frame::load(counts + count);
  return count < 0 ? 1 : count;
}

inline Item itemOf(const QrtXmlDescriptor& entry, const int32_t* counts) {
  Item item = {.level = entry.level,
               .flags = entry.flags,
               .kind = static_cast<Kind>(entry.flags >> 4 & 7),
               .isAttribute = false,
               .length = 0,
               .imageLength = 0,
               .occurrences = 1,
               .name = nullptr,
               .tags = nullptr,
               .startTagLength = 0};
  if (entry.level == 0) return item;
  if ((entry.flags & QRT_XGF_OCCURS) == QRT_XGF_OCCURS) {
    item.kind = Kind::occurs;
    item.occurrences = occurrencesOf(entry, counts);
    return item;
  }
  if (entry.flags & QRT_XGF_NUMERIC) {
    item.kind = Kind::numeric;
    item.imageLength = std::max<int32_t>(frame::loadAs<int16_t>(entry.value), 0);
    item.length = std::max<int32_t>(frame::loadAs<int16_t>(entry.value + 2), 0);
  } else {
    item.length = std::max(frame::loadAs<int32_t>(entry.value), 0);
  }
  item.isAttribute = (entry.flags & QRT_XGF_ATTRIBUTE) != 0 && item.kind > Kind::skipped;
  return item;
}

// Where a walk stands in the table and in storage.
struct Cursors {
  Item* item;
  const uint8_t* data;
  const uint8_t* image;

  // Beyond the item and its storage, that much of it.
  void pass(uint32_t occurrences) {
    data += static_cast<uint32_t>(item->length) * occurrences;
    image += static_cast<uint32_t>(item->imageLength) * occurrences;
    ++item;
  }
};

}  // namespace qrt::xml
