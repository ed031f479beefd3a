// XML GENERATE told over a tree of items that hold their values, instead of tables and cursors: the oracle of
// the generator's tests.
#pragma once

#include <stdint.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qrt::xml::plain {

enum class Kind { group, skipped, native, ebcdic, national, numeric };

// What an item holds in one occurrence. The text of a number is its image.
struct Value {
  std::u16string text;
  std::string storage;
};

struct Item {
  Kind kind = Kind::group;
  std::u16string name = {};
  bool isAttribute = false, isNumber = false, isJustified = false;
  int32_t occurs = 1;
  size_t length = 0;  // characters of each value
  std::vector<Item> children = {};
  std::vector<Value> values = {};  // in the order of storage
  size_t next = 0;                 // the value that comes now
};

struct Document {
  bool isWide;                            // UTF-16
  std::function<bool(char32_t)> canHold;  // its code page
  char16_t decimal = u'.';
  std::u16string prefix = {}, namespaceName = {};
  std::u16string text = {};
  bool anyHexadecimal = false;
};

inline bool isPair(std::u16string_view text, size_t at) {
  return at + 1 < text.size() && (text[at] & 0xFC00) == 0xD800 && (text[at + 1] & 0xFC00) == 0xDC00;
}

inline bool isLegal(const Document& document, std::u16string_view text) {
  for (size_t at = 0; at < text.size(); ++at) {
    char32_t point = text[at];
    if (isPair(text, at))
      point = (point - 0xD800) * 0x400 + text[++at] - 0xDC00 + 0x10000;
    else if ((point >= 0xD800 && point <= 0xDFFF) || point >= 0xFFFE)
      return false;
    if (point < 0x20 && point != '\t' && point != '\n' && point != '\r') return false;
    if (!document.canHold(point)) return false;
  }
  return true;
}

inline std::u16string digitsOf(uint32_t value, int digits) {
  std::u16string text;
  for (int at = digits - 1; at >= 0; --at) text += u"0123456789ABCDEF"[value >> 4 * at & 0xF];
  return text;
}

template <typename Values>
std::u16string hexadecimal(const Values& values, int digits) {
  std::u16string text;
  for (const auto value : values)
    text += digitsOf(static_cast<uint32_t>(value) & (digits == 2 ? 0xFF : 0xFFFF), digits);
  return text;
}

// What converters make of text for a page of Latin letters.
inline std::u16string nativeText(std::u16string text) {
  for (char16_t& unit : text)
    if (unit > 0xFF) unit = 0x1A;
  return text;
}

inline std::u16string escaped(const Document& document, std::u16string_view text) {
  std::u16string all;
  for (size_t at = 0; at < text.size(); ++at) {
    if (document.isWide && isPair(text, at)) {
      const uint32_t point = (text[at] - 0xD800u) * 0x400 + text[at + 1] - 0xDC00u + 0x10000;
      all += u"&#x" + digitsOf(point, point >= 0x100000 ? 6 : 5) + u";";
      ++at;
      continue;
    }
    switch (text[at]) {
      case '<':
        all += u"&lt;";
        break;
      case '>':
        all += u"&gt;";
        break;
      case '&':
        all += u"&amp;";
        break;
      case '\'':
        all += u"&apos;";
        break;
      case '"':
        all += u"&quot;";
        break;
      default:
        all += text[at];
    }
  }
  return all;
}

inline bool isSpecialNumber(std::u16string_view image) {
  return image.starts_with(u" INF") || image.starts_with(u"-INF") || image.starts_with(u"N.N") ||
         image.starts_with(u"-N.N");
}

inline std::u16string number(const Document& document, std::u16string image) {
  if (isSpecialNumber(image)) return image.find(u"INF") == 1 ? u"INF" : u"NaN";
  const size_t first = image.find_first_not_of(u' ');
  if (first == image.npos) return image.substr(0, 1);
  image = image.substr(first, image.find_last_not_of(u' ') - first + 1);
  std::u16string sign;
  if (image[0] == '-' || image[0] == '+') {
    sign = image[0];
    image.erase(0, 1);
  }
  while (image.size() > 1 && image[0] == '0' && image[1] != document.decimal) image.erase(0, 1);
  return sign + escaped(document, image);
}

inline std::u16string trimmed(const Document& document, const Item& item, std::u16string text) {
  const auto isBlank = [&](char16_t unit) { return unit == ' ' || (document.isWide && unit == 0x3000); };
  while (text.size() > 1 && isBlank(item.isJustified ? text.front() : text.back()))
    text.erase(item.isJustified ? 0 : text.size() - 1, 1);
  return text;
}

inline bool isHexadecimal(const Document& document, const Item& item, const Value& value) {
  if (item.kind == Kind::numeric && (item.isAttribute || isSpecialNumber(value.text))) return false;
  return !isLegal(document, value.text);
}

inline std::u16string contentOf(const Document& document, const Item& item, const Value& value) {
  const bool digits = isHexadecimal(document, item, value);
  if (item.kind == Kind::numeric || item.isNumber) {
    if (digits && document.isWide) return hexadecimal(value.text, 4);
    if (digits) return hexadecimal(nativeText(value.text), 2);
    return number(document, item.isNumber ? trimmed(document, item, value.text) : value.text);
  }
  if (!digits) return escaped(document, trimmed(document, item, value.text));
  return document.isWide && item.kind == Kind::national ? hexadecimal(value.text, 4)
                                                        : hexadecimal(value.storage, 2);
}

// Adds the element of an item for each of its occurrences.
inline void generate(Document& document, Item& item, bool isRoot = true) {
  const std::u16string colon = document.prefix.empty() ? u"" : u":";
  for (int32_t occurrence = 0; occurrence < item.occurs; ++occurrence) {
    Value value;
    if (item.next < item.values.size()) value = item.values[item.next++];
    if (item.isAttribute) continue;
    const bool hasTags = item.kind != Kind::skipped, digits = isHexadecimal(document, item, value);
    const std::u16string name = document.prefix + colon + (digits ? u"hex." : u"") + item.name;
    if (hasTags) {
      document.anyHexadecimal |= digits;
      document.text += u"<" + name;
      if (isRoot && !document.namespaceName.empty())
        document.text += u" xmlns" + colon + document.prefix + u"=\"" + document.namespaceName + u"\"";
      for (const Item& child : item.children) {
        if (!child.isAttribute) continue;
        const Value& held = child.values[child.next];
        const bool asDigits = isHexadecimal(document, child, held);
        document.anyHexadecimal |= asDigits;
        document.text +=
            (asDigits ? u" hex." : u" ") + child.name + u"=\"" + contentOf(document, child, held) + u"\"";
      }
      document.text += u">";
      if (!value.text.empty()) document.text += contentOf(document, item, value);
    }
    for (Item& child : item.children) generate(document, child, false);
    if (hasTags) document.text += u"</" + name + u">";
  }
}

}  // namespace qrt::xml::plain
