// Text of items, names and options in the form of the document: in place where source and document have one
// code page, else by way of a work buffer.
#pragma once

#include <memory>

#include "xml/generate_item.h"
#include "xml/generate_source.h"
#include "xml/generate_writer.h"

namespace qrt::xml {

inline constexpr uint8_t shiftOut = 0x0E, shiftIn = 0x0F, asciiBlank = 0x20, ebcdicBlank = 0x40;
inline constexpr int32_t leastWorkSize = 256;       // holds any name and the text of any number
inline constexpr int32_t mostWorkSize = 0x8000000;  // their room is below four gigabytes

struct Freer {
  void operator()(uint8_t* block) const { _qrtCheckFree(block); }
};

// Work buffers, in one block. Each holds an item of the work size in its form.
template <typename Unit>
struct Buffers {
  std::unique_ptr<uint8_t, Freer> block;
  int32_t unitRoom;  // of `units` and `shifted`
  int32_t textRoom;  // of the others, in units of the document
  char16_t* units;   // on the way to a document of bytes
  Unit *text, *name, *namespaceName, *prefix;
  uint8_t *shifted, *image;

  bool make(int32_t workSize) {
    unitRoom = workSize + 2;  // the shift bytes of double-byte text
    textRoom = sizeof(Unit) == 1 ? 4 * unitRoom : unitRoom;
    const auto unitCount = static_cast<uint32_t>(unitRoom), textCount = static_cast<uint32_t>(textRoom);
    block.reset(static_cast<uint8_t*>(_qrtCheckMalloc(unitCount * 3 + textCount * (4 * sizeof(Unit) + 1))));
    if (block == nullptr) return false;
    units = reinterpret_cast<char16_t*>(block.get());
    text = reinterpret_cast<Unit*>(units + unitCount);
    name = text + textCount;
    namespaceName = name + textCount;
    prefix = namespaceName + textCount;
    image = reinterpret_cast<uint8_t*>(prefix + textCount);
    shifted = image + textCount;
    return true;
  }
};

template <typename Unit>
struct Form {
  static constexpr bool isWide = sizeof(Unit) == sizeof(char16_t);

  const Target& target;
  Writer<Unit>& writer;       // ends when a text can't be converted, which is empty then
  Source<Unit> native, host;  // the native and the EBCDIC side
  Buffers<Unit> buffers = {};

  // False when memory is short. Settles the native side, which every document needs.
  bool prepare(int32_t workSize) {
    settledRoute(native, target);
    return workSize <= mostWorkSize && buffers.make(std::max(workSize, leastWorkSize));
  }

  Text<Unit> failed() {
    writer.fail(QRT_XGF_FULL);
    return {};
  }

  // In place, or at `to`, which has the room of a buffer. Empty, and writing ended, when it can't be
  // converted.
  Text<Unit> convert(Source<Unit>& source, const uint8_t* text, int32_t length, Unit* to) {
    if (length == 0) return {};
    UErrorCode status = U_ZERO_ERROR;
    const Route route = settledRoute(source, target);
    if constexpr (!isWide) {
      if (route == Route::inPlace) return {text, length};
      if (length > buffers.unitRoom) return failed();
      if (route == Route::toUtf8) return {to, encodeUtf8(source.singles, text, length, to)};
    }
    if (route == Route::none || length > buffers.unitRoom) return failed();
    if (route == Route::byTable) {
#pragma GCC unroll 4
      for (int32_t place = 0; place < length; ++place) to[place] = source.table[text[place]];
      return {to, length};
    }
    if constexpr (isWide) {
      const int32_t made = nls::toUnicode(source.converter.get(), text, length, to, buffers.textRoom, status);
      return U_SUCCESS(status) ? Text<Unit>{to, made} : failed();
    } else {
      const int32_t made =
          nls::toUnicode(source.converter.get(), text, length, buffers.units, buffers.unitRoom, status);
      return U_SUCCESS(status) ? fromUnits(target.converter.get(), buffers.units, made, to) : failed();
    }
  }

  Text<uint8_t> fromUnits(UConverter* page, const char16_t* units, int32_t count, uint8_t* to) {
    if (count == 0) return {};
    UErrorCode status = U_ZERO_ERROR;
    const int32_t made = nls::fromUnicode(page, units, count, to, buffers.textRoom, status);
    if (U_SUCCESS(status)) return {to, made};
    writer.fail(QRT_XGF_FULL);
    return {};
  }

  // National text that is aligned; a copy of it otherwise.
  Text<char16_t> aligned(const uint8_t* text, int32_t bytes, char16_t* to) {
    const int32_t count = bytes / 2;
    if (reinterpret_cast<uintptr_t>(text) % alignof(char16_t) == 0)
      return {reinterpret_cast<const char16_t*>(text), count};
    if (count > buffers.unitRoom) {
      writer.fail(QRT_XGF_FULL);
      return {};
    }
    memcpy(to, text, static_cast<size_t>(count) * 2);
    return {to, count};
  }

  Text<Unit> fromNational(const uint8_t* text, int32_t bytes, Unit* to) {
    if constexpr (isWide) {
      return aligned(text, bytes, to);
    } else {
      const Text<char16_t> units = aligned(text, bytes, buffers.units);
      return fromUnits(target.converter.get(), units.units, units.length, to);
    }
  }

  // Double-byte text between shift bytes; null when it is longer than an item can be.
  const uint8_t* shiftedText(const uint8_t* text, int32_t length) {
    if (length > buffers.unitRoom - 2) return nullptr;
    buffers.shifted[0] = shiftOut;
    memcpy(buffers.shifted + 1, text, static_cast<size_t>(length));
    buffers.shifted[length + 1] = shiftIn;
    return buffers.shifted;
  }

  Text<Unit> textOf(const Item& item, const uint8_t* data) {
    if (item.length == 0) return {};
    switch (item.kind) {
      case Kind::native:
      case Kind::otherNative:
        return convert(native, data, item.length, buffers.text);
      case Kind::ebcdic:
        return convert(host, data, item.length, buffers.text);
      case Kind::doubleByte: {
        const uint8_t* const shifted = shiftedText(data, item.length);
        return shifted != nullptr ? convert(host, shifted, item.length + 2, buffers.text) : failed();
      }
      case Kind::national:
        return fromNational(data, item.length, buffers.text);
      default:
        return {};
    }
  }

  // The text of an item that is written as a number in its digits: of native form, or UTF-16.
  Text<Unit> numericImageOf(const Item& item, const uint8_t* data) {
    if constexpr (isWide) {
      return textOf(item, data);
    } else {
      if (item.isNative()) return {data, item.length};
      if (settledRoute(native, target) == Route::none) return failed();
      if (item.kind == Kind::national) {
        const Text<char16_t> units = aligned(data, item.length, buffers.units);
        return fromUnits(native.converter.get(), units.units, units.length, buffers.image);
      }
      if (settledRoute(host, target) == Route::none) return failed();
      const bool isShifted = item.kind == Kind::doubleByte;
      const uint8_t* const bytes = isShifted ? shiftedText(data, item.length) : data;
      if (bytes == nullptr) return failed();
      UErrorCode status = U_ZERO_ERROR;
      const int32_t made = nls::toUnicode(host.converter.get(), bytes, item.length + (isShifted ? 2 : 0),
                                          buffers.units, buffers.unitRoom, status);
      if (U_FAILURE(status)) return failed();
      return fromUnits(native.converter.get(), buffers.units, made, buffers.image);
    }
  }
};

}  // namespace qrt::xml
