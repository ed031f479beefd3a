// What an item puts between its tags, or between the quotes of an attribute.
#pragma once

#include "xml/generate_form.h"
#include "xml/generate_plain.h"

namespace qrt::xml {

inline constexpr char16_t ideographicSpace = 0x3000;

// The unit of a character of ASCII in native text; a writer's table is its like for the document.
struct NativeUnits {
  constexpr uint8_t operator[](uint8_t character) const { return character; }
};

// What the text of a number says that isn't one. `ascii` gives the units of characters in that text.
template <typename Unit, typename Ascii>
std::string_view specialNumber(Text<Unit> text, const Ascii& ascii) {
  if (text.length < 3 || (text.units[0] != ascii[asciiBlank] && text.units[0] != ascii[uint8_t{'-'}] &&
                          text.units[0] != ascii[uint8_t{'N'}]))
    return {};
  const auto begins = [&](std::string_view with) {
    return static_cast<size_t>(text.length) >= with.size() &&
           std::equal(with.begin(), with.end(), text.units,
                      [&](char a, Unit b) { return ascii[static_cast<uint8_t>(a)] == b; });
  };
  if (begins(" INF") || begins("-INF")) return "INF";
  if (begins("N.N") || begins("-N.N")) return "NaN";
  return {};
}

// Surrogates that aren't pairs, and what else no document can hold: a converter would replace them.
inline bool isIllegalNational(const uint8_t* text, int32_t bytes) {
  const auto unitAt = [&](int32_t place) { return frame::loadAs<char16_t>(text + place); };
  for (int32_t place = 0; place + 1 < bytes; place += 2) {
    if (lexClasses[unitAt(place)] != illegal) continue;
    const bool pair =
        (unitAt(place) & 0xFC00) == 0xD800 && place + 3 < bytes && (unitAt(place + 2) & 0xFC00) == 0xDC00;
    if (!pair) return true;
    place += 2;
  }
  return false;
}

// Keeps one character.
template <typename Unit>
Text<Unit> withoutBlanks(Text<Unit> text, bool leading, bool trailing, Unit blank, Unit otherBlank) {
  const auto isBlank = [=](Unit unit) { return unit == blank || unit == otherBlank; };
  while (trailing && text.length > 1 && isBlank(text.units[text.length - 1])) --text.length;
  while (leading && text.length > 1 && isBlank(text.units[0])) text = {text.units + 1, text.length - 1};
  return text;
}

// An item with its text, and whether that must be written as digits.
template <typename Unit>
struct Content {
  const uint8_t* source;  // in storage; of a number, its image
  Text<Unit> kept;        // without the blanks that pad it; not of a number
  uint8_t traits;         // of what is kept
  bool isHexadecimal;
};

template <typename Unit>
struct ContentWriter {
  static constexpr bool isWide = sizeof(Unit) == sizeof(char16_t);

  Form<Unit>& form;
  Writer<Unit>& writer;
  uint8_t decimal;              // the decimal character
  const uint8_t* imageClasses;  // LexClass of the bytes of images; null for UTF-16

  // Valid until the next text is asked for.
  Content<Unit> contentOf(const Item& item, const Cursors& at) {
    if (item.kind == Kind::numeric) return {at.image, {}, noTraits, isIllegalImage(imageOf(item, at.image))};
    const bool leading = item.flags & QRT_XGF_JUSTIFIED;
    if (item.isNative() && item.length > 0 && form.native.isAscii)
      return nativeContent({at.data, item.length}, leading);
    const Text<Unit> whole = form.textOf(item, at.data);
    const Unit blank = writer.ascii[asciiBlank];
    const Text<Unit> kept =
        withoutBlanks(whole, leading, !leading, blank, isWide ? static_cast<Unit>(ideographicSpace) : blank);
    const uint8_t traits = writer.traitsOf(kept);
    const bool isIllegal = (traits & holdsIllegal) || (!isWide && item.kind == Kind::national &&
                                                       isIllegalNational(at.data, item.length));
    return {at.data, kept, traits, isIllegal};
  }

  void put(const Item& item, const Content<Unit>& content) {
    if (item.kind == Kind::numeric) return putImage(imageOf(item, content.source), content.isHexadecimal);
    if (item.length == 0 || item.kind <= Kind::skipped || item.kind == Kind::none) return;
    if (item.flags & QRT_XGF_AS_NUMBER) return putTextAsNumber(item, content);
    if (content.isHexadecimal) {
      if (isWide && item.kind == Kind::national)
        return writer.template putHexadecimal<char16_t>(content.source, item.length / 2);
      return writer.template putHexadecimal<uint8_t>(content.source, item.length);
    }
    if (content.traits == noTraits) return writer.put(content.kept);
    if (writer.hasRoom(static_cast<uint32_t>(content.kept.length)))
      writer.putEscaped(content.kept, content.traits);
  }

 private:
  static Text<uint8_t> imageOf(const Item& item, const uint8_t* image) { return {image, item.imageLength}; }

  bool isIllegalImage(Text<uint8_t> image) {
    if (isPlain(image.units, image.length) && (!isWide || form.native.isAscii)) return false;
    if (!specialNumber(image, NativeUnits{}).empty()) return false;
    if constexpr (isWide)
      return writer.traitsOf(convert(image)) & holdsIllegal;
    else
      return std::any_of(image.units, image.units + image.length,
                         [this](uint8_t byte) { return imageClasses[byte] == illegal; });
  }

  Text<Unit> convert(Text<uint8_t> text) {
    return form.convert(form.native, text.units, text.length, form.buffers.text);
  }

  // Blanks of a native text are cut ahead of its conversion.
  Content<Unit> nativeContent(Text<uint8_t> text, bool leading) {
    const bool plain = isPlain(text.units, text.length);
    const Text<uint8_t> source =
        leading ? withoutBlanks<uint8_t>(text, true, false, ' ', ' ')
                : Text<uint8_t>{text.units, lengthWithoutBlanks(text.units, text.length)};
    const Text<Unit> kept = plain ? plainText(source) : convert(source);
    const uint8_t traits = plain ? uint8_t{noTraits} : writer.traitsOf(kept);
    return {text.units, kept, traits, (traits & holdsIllegal) != 0};
  }

  Text<Unit> plainText(Text<uint8_t> text) {
    if constexpr (isWide) {
      if (text.length > form.buffers.unitRoom) return form.failed();
      widen(text.units, text.length, form.buffers.text);
      return {form.buffers.text, text.length};
    } else {
      return form.native.standsInDocument ? text : convert(text);
    }
  }

  void putImage(Text<uint8_t> image, bool isHexadecimal) {
    if (!isHexadecimal) return putNative(numberIn(image, NativeUnits{}));
    if constexpr (isWide) {
      const Text<Unit> values = convert(image);
      writer.template putHexadecimal<Unit>(values.units, values.length);
    } else {
      writer.template putHexadecimal<Unit>(image.units, image.length);
    }
  }

  void putTextAsNumber(const Item& item, const Content<Unit>& content) {
    if (!content.isHexadecimal)
      return writer.putEscaped(numberIn(content.kept, writer.ascii), content.traits);
    const Text<Unit> image = form.numericImageOf(item, content.source);
    writer.template putHexadecimal<Unit>(image.units, image.length);
  }

  // What is left to write of the text of a number: without blanks around it, its sign, which is written, and
  // leading zeros ahead of another digit. Nothing is left of what isn't a number.
  template <typename ImageUnit, typename Ascii>
  Text<ImageUnit> numberIn(Text<ImageUnit> image, const Ascii& ascii) {
    if (image.length == 0) return image;
    if (const std::string_view special = specialNumber(image, ascii); !special.empty()) {
      writer.put(special);
      return {};
    }
    image = withoutBlanks<ImageUnit>(image, true, true, ascii[asciiBlank], ascii[asciiBlank]);
    for (const char sign : {'-', '+'}) {
      if (image.units[0] != ascii[static_cast<uint8_t>(sign)]) continue;
      writer.put(std::string_view(&sign, 1));
      image = {image.units + 1, image.length - 1};
      break;
    }
    while (image.length >= 2 && image.units[0] == ascii[uint8_t{'0'}] && image.units[1] != ascii[decimal])
      image = {image.units + 1, image.length - 1};
    return image;
  }

  void putNative(Text<uint8_t> text) {
    if (isPlain(text.units, text.length) && form.native.isAscii) return writer.put(plainText(text));
    const Text<Unit> converted = convert(text);
    writer.putEscaped(converted, writer.traitsOf(converted));
  }
};

}  // namespace qrt::xml
