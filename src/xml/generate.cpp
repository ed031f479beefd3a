// The walk over the item table. A stack of frames follows the levels; a frame whose item repeats takes the
// cursors back to its entry. Text reaches the writer in the form of the document: in place where source and
// document have one code page, else by way of a work buffer.
#include "xml/generate.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>

#include "nls/code_pages.h"
#include "xml/generate_content.h"
#include "xml/generate_target.h"

namespace qrt::xml {
namespace {

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

  struct Frame {
    Item* item;
    int32_t remaining;  // occurrences, this one included
    bool isHexadecimal;
    bool hasTags;     // of its own; not a skipped item, an attribute, or one of no occurrence
    bool startsSkip;  // of a subtree of no occurrence
  };

  Generator(const Target& target, const CallArguments& call)
      : target(target),
        call(call),
        form{.target = target,
             .writer = writer,
             .native = {isWide ? call.programPage : nls::settledLocaleName() + codeSetAt},
             .host = {nls::settledEbcdicCodePage()}},
        contents{.form = form, .writer = writer, .decimal = 0, .imageClasses = nullptr} {}

  // Returns the result of the call; `written` is what the document has.
  int32_t run(void* output, uint32_t room, uint32_t& written) {
    written = 0;
    const QrtXmlOptions& options = *call.options;
    if (!form.prepare(std::max({call.workSize, options.namespaceLength, options.prefixLength})))
      return QRT_XGF_MEMORY;
    writer = {.output = static_cast<uint8_t*>(output),
              .room = room,
              .written = 0,
              .result = 0,
              .ascii = {},
              .traits = {}};
    if (!prepareTables()) return QRT_XGF_NOT_EBCDIC;
    if (const int32_t result = takeNamespace(); result != 0) return result;
    if (!readTables()) return QRT_XGF_MEMORY;
    if (options.flags & QRT_XGF_DECLARATION) putDeclaration();
    walk();
    written = writer.written;
    if (writer.result == 0 && anyHexadecimal && options.warnings >= 1) return QRT_XGF_HEXADECIMAL;
    return writer.result;
  }

 private:
  const Target& target;
  const CallArguments& call;
  Writer<Unit> writer = {};
  Form<Unit> form;
  ContentWriter<Unit> contents;
  Text<Unit> namespaceName = {}, prefix = {};
  std::unique_ptr<uint8_t, Freer> itemBlock;  // the items, and room for their tags
  Item* items = nullptr;
  Writer<Unit> tagWriter = {};
  Cursors at = {};
  bool hasAttributes = false, anyHexadecimal = false;
  bool isSkipping = false;    // a subtree of no occurrence is being passed
  int32_t pendingOccurs = 1;  // of the next item
  int32_t depth = 0;
  Frame frames[mostLevels];

  // ----- preparation

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
    contents.decimal = (call.options->flags & QRT_XGF_DECIMAL_COMMA) != 0 ? ',' : '.';
    if (!isWide)  // an image isn't in the page of an EBCDIC document
      contents.imageClasses =
          (target.kind == QRT_XGF_EBCDIC ? blockOf(latin1Ccsid, Family::ascii) : target.block)->lexClass;
    return true;
  }

  // Tags beyond the room for them are made anew each time. A name may grow to three bytes a character.
  bool readTables() {
    constexpr uint64_t mostTagUnits = 1 << 24;
    uint32_t count = 1;
    uint64_t tagsLength = 0;
    const uint8_t* name = call.names + 1 + call.names[0];
    for (const QrtXmlDescriptor* entry = call.descriptors; entry->level != 0; ++entry, ++count) {
      if (!itemOf(*entry, call.counts).hasName()) continue;
      tagsLength += 2 * (*name * (isWide ? 1u : 3u) + static_cast<uint32_t>(prefix.length)) + 7;
      name += 1 + *name;
    }
    const auto tagUnits = static_cast<uint32_t>(std::min(tagsLength, mostTagUnits));
    const size_t itemBytes = count * sizeof(Item);
    itemBlock.reset(
        static_cast<uint8_t*>(_qrtCheckMalloc(static_cast<uint32_t>(itemBytes + tagUnits * sizeof(Unit)))));
    if (itemBlock == nullptr) return false;
    items = reinterpret_cast<Item*>(itemBlock.get());
    name = call.names + 1 + call.names[0];
    for (uint32_t place = 0; place < count; ++place) {
      Item& item = items[place] = itemOf(call.descriptors[place], call.counts);
      hasAttributes |= item.isAttribute;
      if (!item.hasName()) continue;
      item.name = name;
      name += 1 + *name;
    }
    tagWriter = writer;
    tagWriter.output = itemBlock.get() + itemBytes;
    tagWriter.room = tagUnits;
    return true;
  }

  // Text of the options, without what pads it.
  Text<Unit> optionText(const void* start, int32_t length, uint8_t flags, Unit* to) {
    const auto* const text = static_cast<const uint8_t*>(start);
    if (flags & QRT_XGF_NATIONAL) {
      length = std::max(length, 0) & ~1;
      while (length > 0 && frame::loadAs<char16_t>(text + length - 2) == asciiBlank) length -= 2;
      return form.fromNational(text, length, to);
    }
    const bool isEbcdic = flags & QRT_XGF_EBCDIC_NAME;
    while (length > 0 && text[length - 1] == (isEbcdic ? ebcdicBlank : asciiBlank)) --length;
    return form.convert(isEbcdic ? form.host : form.native, text, std::max(length, 0), to);
  }

  int32_t takeNamespace() {
    const QrtXmlOptions& options = *call.options;
    namespaceName = optionText(options.namespaceName, options.namespaceLength, options.namespaceFlags,
                               form.buffers.namespaceName);
    if (isWide && !std::all_of(namespaceName.units, namespaceName.units + namespaceName.length,
                               [](Unit unit) { return unit < 128 && namespaceCharacters[unit]; }))
      return QRT_XGF_NAMESPACE;
    if (namespaceName.length > 0)
      prefix = optionText(options.prefix, options.prefixLength, options.prefixFlags, form.buffers.prefix);
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

  // ----- names and tags

  // Empty, and writing ended, for one that can't stand in a document.
  Text<Unit> nameOf(const uint8_t* entry) {
    const uint8_t length = entry[0];
    const bool isDoubleByte = length > 0 && entry[1] == shiftOut;
    const Text<Unit> name =
        form.convert(isDoubleByte ? form.host : form.native, entry + 1, length, form.buffers.name);
    if (isWide && writer.result == 0) {
      if (std::any_of(name.units, name.units + name.length,
                      [this](Unit unit) { return nameClassOf(unit) == notInName; }))
        writer.fail(QRT_XGF_NAME_CHARACTER);
      else if (name.length > 0 && !startsName(nameClassOf(name.units[0])))
        writer.fail(QRT_XGF_NAME_START);
    }
    return name;
  }

  void putQualifiedName(Writer<Unit>& to, Text<Unit> name, bool isHexadecimal) const {
    if (prefix.length > 0) {
      to.put(prefix);
      to.put(":");
    }
    if (isHexadecimal) to.put("hex.");
    to.put(name);
  }

  // Whether the tags of an item stand ready, in one piece each.
  bool hasTags(Item& item) {
    if (item.tags == nullptr) [[unlikely]]
      makeTags(item);
    return item.tags != nullptr;
  }

  void makeTags(Item& item) {
    const Text<Unit> name = nameOf(item.name);
    const uint32_t before = tagWriter.written;
    tagWriter.put("<");
    putQualifiedName(tagWriter, name, false);
    tagWriter.put(">");
    item.startTagLength = tagWriter.written - before;
    tagWriter.put("</");
    putQualifiedName(tagWriter, name, false);
    tagWriter.put(">");
    if (tagWriter.result == 0 && writer.result == 0) item.tags = tagWriter.output + before * sizeof(Unit);
  }

  void putEndTag(const Frame& frame) {
    Item& item = *frame.item;
    if (hasTags(item) && !frame.isHexadecimal &&
        writer.putIfItFits(static_cast<const Unit*>(item.tags) + item.startTagLength,
                           item.startTagLength + 1))
      return;
    const Text<Unit> name = nameOf(item.name);
    writer.put("</");
    putQualifiedName(writer, name, frame.isHexadecimal);
    writer.put(">");
  }

  void putStartTag(const Frame& frame) {
    Item& item = *frame.item;
    const bool isRoot = depth == 1, isGroup = item.flags == 0;
    const bool isPlain = !frame.isHexadecimal && !isRoot && !(isGroup && hasAttributes);
    if (hasTags(item) && isPlain &&
        writer.putIfItFits(static_cast<const Unit*>(item.tags), item.startTagLength))
      return;
    const Text<Unit> name = nameOf(item.name);
    writer.put("<");
    putQualifiedName(writer, name, frame.isHexadecimal);
    if (isRoot && namespaceName.length > 0) putNamespace();
    if (isGroup && hasAttributes) putAttributes();
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

  void putAttribute(const Cursors& place) {
    const Item& item = *place.item;
    Content<Unit> content = contents.contentOf(item, place);
    if (item.kind == Kind::numeric) content.isHexadecimal = false;
    anyHexadecimal |= content.isHexadecimal;
    const Text<Unit> name = nameOf(item.name);
    writer.put(" ");
    if (content.isHexadecimal) writer.put("hex.");
    writer.put(name);
    writer.put("=");
    writer.put("\"");
    contents.put(item, content);
    writer.put("\"");
  }

  // Those of the group that the cursors stand at. Its tables stand between them, with each item as often as
  // the factor says.
  void putAttributes() {
    struct Factor {
      uint8_t level;
      uint32_t factor;
    } factors[mostLevels];
    int32_t open = 0;
    uint32_t pending = 1;
    Cursors place = at;
    for (place.pass(0); place.item->level > at.item->level && writer.result == 0;) {
      const Item& item = *place.item;
      if (item.kind == Kind::occurs) {
        pending = static_cast<uint32_t>(item.occurrences);
        ++place.item;
        continue;
      }
      while (open > 0 && item.level <= factors[open - 1].level) --open;
      const uint32_t factor = pending * (open > 0 ? factors[open - 1].factor : 1);
      if (pending != 1) factors[open++] = {item.level, factor};
      pending = 1;
      if (item.isAttribute && item.level == at.item->level + 1 && factor != 0) putAttribute(place);
      place.pass(factor);
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

  void walk() {
    at = {items, static_cast<const uint8_t*>(call.data), call.numericImage};
    while (writer.result == 0) {
      const Item& item = *at.item;
      if (item.kind == Kind::occurs) {
        pendingOccurs = item.occurrences;
        ++at.item;
        continue;
      }
      const Closed closed = closeFrames(item.level);
      if (closed == Closed::root || (closed == Closed::all && item.level == 0)) return;
      if (closed == Closed::all) openFrame(item);
      putItem(frames[depth - 1]);
    }
  }

  enum class Closed : uint8_t { all, repeats, root };

  // Closes the frames that an entry of this level isn't below, up to one whose item repeats.
  Closed closeFrames(uint8_t level) {
    while (depth > 0 && level <= frames[depth - 1].item->level) {
      Frame& frame = frames[depth - 1];
      if (frame.startsSkip) isSkipping = false;
      if (frame.hasTags) putEndTag(frame);
      if (frame.remaining > 1) {
        --frame.remaining;
        at.item = frame.item;
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
    frames[depth++] = {.item = at.item,
                       .remaining = isSkipping ? 1 : pendingOccurs,
                       .isHexadecimal = false,
                       .hasTags = !isSkipping && item.kind != Kind::skipped && !item.isAttribute,
                       .startsSkip = startsSkip};
    pendingOccurs = 1;
  }

  void putItem(Frame& frame) {
    if (frame.hasTags) {
      const Content<Unit> content = contents.contentOf(*at.item, at);
      frame.isHexadecimal = content.isHexadecimal;
      anyHexadecimal |= content.isHexadecimal;
      putStartTag(frame);
      contents.put(*at.item, content);
    }
    at.pass(isSkipping ? 0 : 1);
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
