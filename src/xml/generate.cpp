// The walk over the item table. A stack of frames follows the levels; a frame whose item repeats takes the
// cursors back to its entry. Text reaches the writer in the form of the document: in place where source and
// document have one code page, else by way of a work buffer.
#include "xml/generate.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>

#include "nls/code_pages.h"
#include "xml/generate_source.h"
#include "xml/generate_target.h"
#include "xml/generate_writer.h"

namespace qrt::xml {
namespace {

constexpr size_t codeSetAt = 6;  // in a locale name ll_CC.code-set
constexpr uint8_t shiftOut = 0x0E, shiftIn = 0x0F;
constexpr uint8_t asciiBlank = 0x20, ebcdicBlank = 0x40;
constexpr char16_t ideographicSpace = 0x3000;
constexpr int32_t leastWorkSize = 256;  // holds any name and the text of any number
constexpr int32_t mostWorkSize = 0x4000000;

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

  bool isAttribute() const { return (flags & QRT_XGF_ATTRIBUTE) != 0 && kind > Kind::skipped; }
};

Item itemOf(const QrtXmlDescriptor& entry) {
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

struct Frame {
  const QrtXmlDescriptor* entry;
  const uint8_t* name;
  int32_t remaining;  // occurrences, this one included
  bool isHexadecimal;
  bool hasTags;     // of its own; not a skipped item, an attribute, or one of no occurrence
  bool startsSkip;  // of a subtree of no occurrence
};

// Levels rise along a stack of them, so that a byte's values bound it.
constexpr int32_t mostLevels = 255;

struct CallArguments {
  const void* data;
  const char* programPage;
  const uint8_t* numericImage;
  const int32_t* counts;
  const QrtXmlDescriptor* descriptors;
  const uint8_t* names;
  const QrtXmlOptions* options;  // never null
  int32_t workSize;
};

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

// What the text of a number says that isn't one.
std::string_view specialNumber(const auto& text) {
  const auto begins = [&](std::string_view with) {
    return static_cast<size_t>(text.length) >= with.size() &&
           std::equal(with.begin(), with.end(), text.units,
                      [](char a, auto b) { return static_cast<uint8_t>(a) == b; });
  };
  if (begins(" INF") || begins("-INF")) return "INF";
  if (begins("N.N") || begins("-N.N")) return "NaN";
  return {};
}

constexpr auto namespaceCharacters = [] {
  std::array<bool, 128> allowed{};
  for (const char character : std::string_view("_:?#/+-.@[]%~!$*'()*,;="))
    allowed[static_cast<uint8_t>(character)] = true;
  for (uint32_t place = 0; place < 26; ++place) allowed['a' + place] = allowed['A' + place] = true;
  for (uint32_t figure = 0; figure < 10; ++figure) allowed['0' + figure] = true;
  return allowed;
}();

template <typename Unit>
class Generator {
 public:
  static constexpr bool isWide = sizeof(Unit) == sizeof(char16_t);

  Generator(const Target& target, const CallArguments& call)
      : target(target),
        call(call),
        native{isWide ? call.programPage : nls::settledLocaleName() + codeSetAt},
        host{nls::settledEbcdicCodePage()} {}

  // Returns the result of the call; `written` is what the document has.
  int32_t run(void* output, uint32_t room, uint32_t& written) {
    written = 0;
    if (!makeBuffers()) return QRT_XGF_MEMORY;
    writer = {.output = static_cast<uint8_t*>(output),
              .room = room,
              .written = 0,
              .result = 0,
              .ascii = {},
              .traits = {}};
    if (!prepareTables()) return QRT_XGF_NOT_EBCDIC;
    if (const int32_t result = takeNamespace(); result != 0) return result;
    if (call.options->flags & QRT_XGF_DECLARATION) putDeclaration();
    walk();
    written = writer.written;
    if (writer.result == 0 && anyHexadecimal && call.options->warnings >= 1) return QRT_XGF_HEXADECIMAL;
    return writer.result;
  }

 private:
  const Target& target;
  const CallArguments& call;
  Source<Unit> native, host;
  Buffers<Unit> buffers = {};
  Writer<Unit> writer = {};
  Text<Unit> namespaceName = {}, prefix = {};
  Cursors at = {};
  bool hasAttributes = false, anyHexadecimal = false;
  bool isSkipping = false;    // a subtree of no occurrence is being passed
  int32_t pendingOccurs = 1;  // of the next item
  int32_t depth = 0;
  Frame frames[mostLevels];

  // ----- preparation

  bool makeBuffers() {
    const int32_t size =
        std::max({leastWorkSize, call.workSize, call.options->namespaceLength, call.options->prefixLength});
    return size <= mostWorkSize && buffers.make(size);
  }

  bool prepareTables() {
    char16_t units[128];
    for (char16_t character = 0; character < 128; ++character) {
      units[character] = character;
      writer.ascii[character] = static_cast<Unit>(character);
    }
    if constexpr (!isWide) {
      UErrorCode status = U_ZERO_ERROR;
      if (target.kind == QRT_XGF_EBCDIC &&
          nls::fromUnicode(target.converter.get(), units, 128, writer.ascii, 128, status) != 128)
        return false;
    }
    const uint8_t* const classes = isWide ? lexClasses.data() : target.block->lexClass;
    for (int unit = 0; unit < 256; ++unit)
      writer.traits[unit] = classes[unit] == illegal ? holdsIllegal : noTraits;
    for (const char character : std::string_view("<>&'\""))
      writer.traits[writer.ascii[static_cast<uint8_t>(character)]] = holdsMarkup;
    return true;
  }

  // Text of the options, without what pads it.
  Text<Unit> optionText(const void* start, int32_t length, uint8_t flags, Unit* to) {
    const auto* const text = static_cast<const uint8_t*>(start);
    if (flags & QRT_XGF_NATIONAL) {
      length = std::max(length, 0) & ~1;
      while (length > 0 && frame::loadAs<char16_t>(text + length - 2) == asciiBlank) length -= 2;
      return fromNational(text, length, to);
    }
    const bool isEbcdic = flags & QRT_XGF_EBCDIC_NAME;
    while (length > 0 && text[length - 1] == (isEbcdic ? ebcdicBlank : asciiBlank)) --length;
    return convert(isEbcdic ? host : native, text, std::max(length, 0), to);
  }

  int32_t takeNamespace() {
    const QrtXmlOptions& options = *call.options;
    namespaceName = optionText(options.namespaceName, options.namespaceLength, options.namespaceFlags,
                               buffers.namespaceName);
    if (isWide && !std::all_of(namespaceName.units, namespaceName.units + namespaceName.length,
                               [](Unit unit) { return unit < 128 && namespaceCharacters[unit]; }))
      return QRT_XGF_NAMESPACE;
    if (namespaceName.length > 0)
      prefix = optionText(options.prefix, options.prefixLength, options.prefixFlags, buffers.prefix);
    if (!isPrefix(prefix)) return QRT_XGF_PREFIX;
    return writer.result;
  }

  uint8_t nameClassOf(Unit unit) const { return isWide ? nameClasses[unit] : target.block->nameClass[unit]; }

  bool isPrefix(Text<Unit> text) const {
    for (int32_t place = 0; place < text.length; ++place) {
      const uint8_t nameClass = nameClassOf(text.units[place]);
      if (nameClass == notInName || nameClass == colon) return false;
      if (place == 0 && !startsName(nameClass)) return false;
    }
    return true;
  }

  // ----- text in the form of the document

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

  // The text of a number, in the ASCII form that is worked on: UTF-16 for a document of that.
  Text<Unit> imageOf(const Item& item, const uint8_t* image) {
    if constexpr (isWide)
      return convert(native, image, item.imageLength, buffers.text);
    else
      return {image, item.imageLength};
  }

  // The same of an item of text, which `text` is in the form of the document.
  Text<Unit> imageOfText(const Item& item, const uint8_t* data, Text<Unit> text) {
    if constexpr (isWide) {
      return text;
    } else {
      if (item.kind == Kind::native || item.kind == Kind::otherNative) return {data, item.length};
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

  // ----- items

  // An item with its text, and whether that must be written as digits.
  struct Content {
    const Item& item;
    const uint8_t* data;
    Text<Unit> text;
    uint8_t traits;
    bool isHexadecimal;
  };

  Content contentOf(const Item& item, const Cursors& place) {
    if (item.kind == Kind::numeric) {
      const Text<Unit> image = imageOf(item, place.image);
      return {item, place.data, image, noTraits, isIllegalImage(image)};
    }
    const Text<Unit> text = textOf(item, place.data);
    const uint8_t traits = writer.traitsOf(text);
    const bool isIllegal = (traits & holdsIllegal) || (item.kind == Kind::national && !isWide &&
                                                       isIllegalNational(place.data, item.length));
    return {item, place.data, text, traits, isIllegal};
  }

  bool isIllegalImage(Text<Unit> image) {
    if (!specialNumber(image).empty()) return false;
    if constexpr (isWide) {
      return writer.traitsOf(image) & holdsIllegal;
    } else {
      // Not in the page of an EBCDIC document yet.
      const uint8_t* const classes =
          (target.kind == QRT_XGF_EBCDIC ? blockOf(latin1Ccsid, Family::ascii) : target.block)->lexClass;
      return std::any_of(image.units, image.units + image.length,
                         [classes](uint8_t byte) { return classes[byte] == illegal; });
    }
  }

  // Surrogates that aren't pairs, and what else no document can hold: a converter would replace them.
  static bool isIllegalNational(const uint8_t* text, int32_t bytes) {
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
  Text<Unit> withoutBlanks(Text<Unit> text, bool leading, bool trailing, Unit blank) const {
    const auto isBlank = [blank](Unit unit) { return unit == blank || (isWide && unit == ideographicSpace); };
    while (trailing && text.length > 1 && isBlank(text.units[text.length - 1])) --text.length;
    while (leading && text.length > 1 && isBlank(text.units[0])) text = {text.units + 1, text.length - 1};
    return text;
  }

  void putContent(const Content& content) {
    const Item& item = content.item;
    if (item.kind == Kind::numeric) return putNumber(content.text, content.isHexadecimal);
    if (item.length == 0 || item.kind <= Kind::skipped || item.kind == Kind::none) return;
    const bool leading = item.flags & QRT_XGF_JUSTIFIED;
    if (item.flags & QRT_XGF_AS_NUMBER) {
      Text<Unit> image = imageOfText(item, content.data, content.text);
      if (!content.isHexadecimal) image = withoutBlanks(image, leading, !leading, asciiBlank);
      return putNumber(image, content.isHexadecimal);
    }
    if (content.isHexadecimal) {
      if (isWide && item.kind == Kind::national)
        return writer.template putHexadecimal<char16_t>(content.data, item.length / 2);
      return writer.template putHexadecimal<uint8_t>(content.data, item.length);
    }
    const Text<Unit> text = withoutBlanks(content.text, leading, !leading, writer.ascii[asciiBlank]);
    if (writer.hasRoom(static_cast<uint32_t>(text.length))) writer.putEscaped(text, content.traits);
  }

  // The text of a number, without blanks around it and without leading zeros ahead of another digit.
  void putNumber(Text<Unit> image, bool isHexadecimal) {
    if (image.length == 0) return;
    if (isHexadecimal) return writer.template putHexadecimal<Unit>(image.units, image.length);
    if (const std::string_view special = specialNumber(image); !special.empty()) return writer.put(special);
    image = withoutBlanks(image, true, true, asciiBlank);
    if (image.units[0] == '-' || image.units[0] == '+') {
      writer.put(image.units[0] == '-' ? "-" : "+");
      image = {image.units + 1, image.length - 1};
    }
    const Unit decimal = call.options->flags & QRT_XGF_DECIMAL_COMMA ? ',' : '.';
    while (image.length >= 2 && image.units[0] == '0' && image.units[1] != decimal)
      image = {image.units + 1, image.length - 1};
    if constexpr (!isWide) image = convert(native, image.units, image.length, buffers.text);
    if (image.length > 0) writer.putEscaped(image, writer.traitsOf(image));
  }

  // ----- names and tags

  // Empty, and writing ended, for one that can't stand in a document.
  Text<Unit> nameOf(const uint8_t* entry) {
    const uint8_t length = entry[0];
    const bool isDoubleByte = length > 0 && entry[1] == shiftOut;
    const Text<Unit> name = convert(isDoubleByte ? host : native, entry + 1, length, buffers.name);
    if (isWide && writer.result == 0) {
      if (std::any_of(name.units, name.units + name.length,
                      [this](Unit unit) { return nameClassOf(unit) == notInName; }))
        writer.fail(QRT_XGF_NAME_CHARACTER);
      else if (name.length > 0 && !startsName(nameClassOf(name.units[0])))
        writer.fail(QRT_XGF_NAME_START);
    }
    return name;
  }

  void putQualifiedName(Text<Unit> name, bool isHexadecimal) {
    if (prefix.length > 0) {
      writer.put(prefix);
      writer.put(":");
    }
    if (isHexadecimal) writer.put("hex.");
    writer.put(name);
  }

  void putEndTag(const Frame& frame) {
    const Text<Unit> name = nameOf(frame.name);
    writer.put("</");
    putQualifiedName(name, frame.isHexadecimal);
    writer.put(">");
  }

  void putStartTag(const Frame& frame, const Item& item) {
    const Text<Unit> name = nameOf(frame.name);
    writer.put("<");
    putQualifiedName(name, frame.isHexadecimal);
    if (depth == 1 && namespaceName.length > 0) putNamespace();
    if (item.flags == 0 && hasAttributes) putAttributes(item);
    writer.put(">");
  }

  void putNamespace() {
    writer.put(" xmlns");
    if (prefix.length > 0) {
      writer.put(":");
      writer.put(prefix);
    }
    writer.put("=");
    writer.put("\"");
    writer.put(namespaceName);
    writer.put("\"");
  }

  void putAttribute(const Item& item, const Cursors& place) {
    Content content = contentOf(item, place);
    if (item.kind == Kind::numeric) content.isHexadecimal = false;
    anyHexadecimal |= content.isHexadecimal;
    const Text<Unit> name = nameOf(place.name);
    writer.put(" ");
    if (content.isHexadecimal) writer.put("hex.");
    writer.put(name);
    writer.put("=");
    writer.put("\"");
    putContent(content);
    writer.put("\"");
  }

  // Those of the group that the cursors stand at. Its tables stand between them, with each item as often as
  // the factor says.
  void putAttributes(const Item& group) {
    struct Factor {
      uint8_t level;
      uint32_t factor;
    } factors[mostLevels];
    int32_t open = 0;
    uint32_t pending = 1;
    Cursors place = at;
    place.pass(group, 0);
    for (;;) {
      const Item item = itemOf(*place.entry);
      if (item.level <= group.level || writer.result != 0) return;
      if (item.kind == Kind::occurs) {
        pending = static_cast<uint32_t>(occurrencesOf(*place.entry++));
        continue;
      }
      while (open > 0 && item.level <= factors[open - 1].level) --open;
      const uint32_t factor = pending * (open > 0 ? factors[open - 1].factor : 1);
      if (pending != 1) factors[open++] = {item.level, factor};
      pending = 1;
      if (item.isAttribute() && item.level == group.level + 1 && factor != 0) putAttribute(item, place);
      place.pass(item, factor);
    }
  }

  void putDeclaration() {
    writer.put("<?xml version=\"1.0\"");
    writer.put(" encoding=\"");
    writer.put(std::string_view(target.encoding));
    writer.put("\"");
    writer.put("?>");
  }

  // ----- the walk

  int32_t occurrencesOf(const QrtXmlDescriptor& entry) const {
    int32_t count = frame::loadAs<int32_t>(entry.value);
    if ((entry.flags & QRT_XGF_OCCURS_DEPENDING) == QRT_XGF_OCCURS_DEPENDING)
      count = frame::load(call.counts + count);
    return count < 0 ? 1 : count;
  }

  void walk() {
    at = {call.descriptors, call.names + 1 + call.names[0], static_cast<const uint8_t*>(call.data),
          call.numericImage};
    for (const QrtXmlDescriptor* entry = call.descriptors; entry->level != 0; ++entry)
      hasAttributes |= itemOf(*entry).isAttribute();
    while (writer.result == 0) {
      const Item item = itemOf(*at.entry);
      if (item.level != 0 && item.kind == Kind::occurs) {
        pendingOccurs = occurrencesOf(*at.entry++);
        continue;
      }
      switch (closeFrames(item.level)) {
        case Closed::root:
          return;
        case Closed::repeats:
          putItem(frames[depth - 1], itemOf(*at.entry));
          break;
        case Closed::all:
          if (item.level == 0) return;
          openFrame(item);
          putItem(frames[depth - 1], item);
      }
    }
  }

  enum class Closed : uint8_t { all, repeats, root };

  // Closes the frames that an entry of this level isn't below, up to one whose item repeats.
  Closed closeFrames(uint8_t level) {
    while (depth > 0 && level <= frames[depth - 1].entry->level) {
      Frame& frame = frames[depth - 1];
      if (frame.startsSkip) isSkipping = false;
      if (frame.hasTags) putEndTag(frame);
      if (frame.remaining > 1) {
        --frame.remaining;
        at.entry = frame.entry;
        at.name = frame.name;
        pendingOccurs = 1;
        return Closed::repeats;
      }
      if (depth == 1) return Closed::root;
      --depth;
    }
    return Closed::all;
  }

  void openFrame(const Item& item) {
    const bool startsSkip = pendingOccurs == 0 && !isSkipping;
    isSkipping |= startsSkip;
    frames[depth++] = {.entry = at.entry,
                       .name = at.name,
                       .remaining = isSkipping ? 1 : pendingOccurs,
                       .isHexadecimal = false,
                       .hasTags = !isSkipping && item.kind != Kind::skipped && !item.isAttribute(),
                       .startsSkip = startsSkip};
    pendingOccurs = 1;
  }

  void putItem(Frame& frame, const Item& item) {
    if (frame.hasTags) {
      const Content content = contentOf(item, at);
      frame.isHexadecimal = content.isHexadecimal;
      anyHexadecimal |= content.isHexadecimal;
      putStartTag(frame, item);
      putContent(content);
    }
    at.pass(item, isSkipping ? 0 : 1);
  }
};

}  // namespace

int32_t generate(int32_t version, void* output, uint32_t outputSize, uint8_t kind, const void* data,
                 const QrtXmlProgram* program, const uint8_t* numericImage, const int32_t* counts, uint32_t,
                 int32_t workSize, const QrtXmlDescriptor* descriptors, const uint8_t* names,
                 const QrtXmlOptions* options, uint32_t, int32_t* countIn) {
  uint32_t written = 0;
  if (countIn != nullptr) frame::store(countIn, written);
  if (kind < QRT_XGF_ASCII || kind > QRT_XGF_UTF16) return QRT_XGF_KIND;
  constexpr QrtXmlOptions noOptions = {};
  if (version < 200) options = nullptr;
  const size_t localeLength = strlen(program->localeName);
  const CallArguments call = {.data = data,
                              .programPage = program->localeName + std::min(localeLength, codeSetAt),
                              .numericImage = numericImage,
                              .counts = counts,
                              .descriptors = descriptors,
                              .names = names,
                              .options = options != nullptr ? options : &noOptions,
                              .workSize = workSize};
  Target target;
  target.kind = kind;
  int32_t result = settleTarget(target, version, call.programPage, options);
  if (result != 0) return result;
  if (kind == QRT_XGF_UTF16)
    result = Generator<char16_t>(target, call).run(output, outputSize / 2, written);
  else
    result = Generator<uint8_t>(target, call).run(output, outputSize, written);
  if (countIn != nullptr) frame::store(countIn, written);
  return result;
}

}  // namespace qrt::xml
