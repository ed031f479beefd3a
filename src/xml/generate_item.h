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

struct Item {
  uint8_t level;
  uint8_t flags;
  Kind kind;
  int32_t length;       // bytes in storage
  int32_t imageLength;  // bytes of the text of a number

  bool isNative() const { return kind == Kind::native || kind == Kind::otherNative; }
  bool isAttribute() const { return (flags & QRT_XGF_ATTRIBUTE) != 0 && kind > Kind::skipped; }
};

inline Item itemOf(const QrtXmlDescriptor& entry) {
  Item item = {entry.level, entry.flags, static_cast<Kind>(entry.flags >> 4 & 7), 0, 0};
  if ((entry.flags & QRT_XGF_OCCURS) == QRT_XGF_OCCURS) {
    item.kind = Kind::occurs;
  } else if (entry.flags & QRT_XGF_NUMERIC) {
    item.kind = Kind::numeric;
    item.imageLength = std::max<int32_t>(frame::loadAs<int16_t>(entry.value), 0);
    item.length = std::max<int32_t>(frame::loadAs<int16_t>(entry.value + 2), 0);
  } else {
    item.length = std::max(frame::loadAs<int32_t>(entry.value), 0);
  }
  return item;
}

// Where a walk stands in the tables and in storage.
struct Cursors {
  const QrtXmlDescriptor* entry;
  const uint8_t* name;
  const uint8_t* data;
  const uint8_t* image;

  // Beyond the entry of an item and its storage, that much of it.
  void pass(const Item& item, uint32_t occurrences) {
    data += static_cast<uint32_t>(item.length) * occurrences;
    image += static_cast<uint32_t>(item.imageLength) * occurrences;
    if (item.kind != Kind::skipped) name += 1 + *name;
    ++entry;
  }
};

}  // namespace qrt::xml
