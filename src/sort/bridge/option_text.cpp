#include "sort/bridge/option_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "sort/bridge/keys.h"
#include "sort/engine/words.h"

namespace qrt::sort::bridge {
namespace {

// A key's place in the format.
struct KeySlot {
  const QrtSortKeySpec* key;
  const KeySlot* master;  // the key whose field holds this one; itself when it has a field of its own
  int32_t field = 0;
};

// The table of slots of one key list.
struct SlotTable {
  KeySlot* slots = nullptr;
  int32_t count = 0;

  ~SlotTable() { _qrtCheckFree(slots); }
  KeySlot* begin() { return slots; }
  KeySlot* end() { return slots + count; }
};

bool makeSlots(SlotTable& table, const QrtSortKeyList& keys) {
  table.slots = static_cast<KeySlot*>(_qrtCheckMalloc(static_cast<uint32_t>(keys.count) * sizeof(KeySlot)));
  if (table.slots == nullptr) return false;
  for (const QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next)
    table.slots[table.count++] = {key, nullptr};
  for (KeySlot& slot : table) {
    slot.master = &slot;
    // The longest one around it; of equal ranges the earlier key.
    for (const KeySlot& other : table)
      if (liesInside(*slot.key, *other.key) &&
          (other.key->length > slot.master->key->length ||
           (other.key->length == slot.master->key->length && &other < slot.master)))
        slot.master = &other;
  }
  return true;
}

// The key with the smallest offset at or behind `offset` that has a field of its own; null for none.
KeySlot* nextInRecord(SlotTable& table, int32_t offset) {
  KeySlot* best = nullptr;
  for (KeySlot& slot : table)
    if (slot.master == &slot && slot.key->offset >= offset &&
        (best == nullptr || slot.key->offset < best->key->offset))
      best = &slot;
  return best;
}

void addKeyField(Text& text, const QrtSortKeySpec& key) {
  const KeyType* type = findKeyType(key.type);
  text << type->word;
  if (type->hasLength()) text << key.length;
}

void addKeyRange(Text& text, const KeySlot& slot) {
  const int32_t field = slot.master->field;
  const int32_t start = slot.key->offset - slot.master->key->offset;
  text << " -k " << field;
  if (start != 0) text << "." << start + 1;
  text << (slot.key->order == QRT_SORT_DESCENDING ? "r," : ",") << field;
  if (slot.master != &slot) text << "." << start + slot.key->length;
}

constexpr std::string_view lineEnd = R"( "\r" "\n")";

void addPrefixed(Text& text, int32_t field) {
  text << " -x 'reformat rlength4 " << field << "'";
}

int32_t maxLengthOf(const QrtFcb& file) {
  return static_cast<int32_t>(file.description->maxRecord);
}

}  // namespace

Text& Text::operator<<(std::string_view piece) {
  if (outOfMemory) return *this;
  if (length + piece.size() + 1 > room) {
    const uint32_t wanted = std::max<uint32_t>(2 * room, length + static_cast<uint32_t>(piece.size()) + 256);
    auto* grown = static_cast<char*>(_qrtCheckMalloc(wanted));
    if (grown == nullptr) {
      outOfMemory = true;
      return *this;
    }
    if (length != 0) memcpy(grown, text, length);
    _qrtCheckFree(text);
    text = grown;
    room = wanted;
  }
  memcpy(text + length, piece.data(), piece.size());
  length += static_cast<uint32_t>(piece.size());
  text[length] = 0;
  return *this;
}

Text& Text::operator<<(int32_t number) {
  char digits[12];
  const char* end = std::to_chars(digits, std::end(digits), number).ptr;
  return *this << std::string_view(digits, static_cast<size_t>(end - digits));
}

Text& addName(Text& text, std::string_view name) {
  if (name.starts_with('-')) text << "./";
  for (size_t at = 0; at < name.size(); ++at) {
    const std::string_view character = name.substr(at, 1);
    const bool beforeBlank = at + 1 < name.size() && isBlank(name[at + 1]);
    if (isBlank(name[at]))
      text << "'" << character << "'";
    else if (character == "'" || character == "\"")
      text << "\\" << character;
    else
      text << (character == "\\" && beforeBlank ? "/" : character);
  }
  return text;
}

int32_t addBinFields(Text& text, int32_t length) {
  int32_t fields = 0;
  for (; length > 0; ++fields) {
    const int32_t piece = std::min(length, longestBin);
    text << " bin " << piece;
    length -= piece;
  }
  return fields;
}

bool addFormatAndKeys(Text& text, const QrtSortKeyList& keys, const QrtSortRecordSpec& record) {
  SlotTable table;
  if (!makeSlots(table, keys)) return false;
  const bool prefixed = record.form == QRT_SORT_VARIABLE;
  text << " -x 'format" << (prefixed ? " rlength4" : "");
  int32_t fields = prefixed ? 1 : 0, offset = 0;
  while (KeySlot* slot = nextInRecord(table, offset)) {
    fields += addBinFields(text, slot->key->offset - offset);
    addKeyField(text, *slot->key);
    slot->field = ++fields;
    offset = slot->key->offset + slot->key->length;
  }
  addBinFields(text, record.maxLength - offset);
  text << "'";
  for (const KeySlot& slot : table) addKeyRange(text, slot);
  return true;
}

void addOrganizations(Text& text, std::string_view option, const FileEntry* entries, int32_t count) {
  text << " -x '" << option;
  for (int32_t file = 0; file < count; ++file) text << organizationWord(entries[file]);
  text << "'";
}

void addTraceOptions(Text& text, bool trace) {
  if (trace) text << " -x 'msg errmsg'  -x 'trace sortrace' ";
}

void addFitted(Text& text, int32_t field, int32_t sourceLength, int32_t targetLength, std::string_view ending,
               int32_t fieldLength) {
  text << " -x 'reformat " << field;
  if (targetLength < sourceLength) {
    const int32_t last = targetLength - 1;
    text << ",";
    text << field + last / fieldLength << "." << last % fieldLength + 1;
  } else if (targetLength > sourceLength) {
    text << " " << targetLength - sourceLength << R"(*" ")";
  }
  text << ending << "'";
}

RecordKind addPrimaryReformat(Text& text, const Context& context, bool textInput) {
  const QrtSortRecordSpec& record = context.request.record;
  const QrtFcb* output = context.outputs.count > 0 ? context.outputs.entries[0].file : nullptr;
  if (record.form == QRT_SORT_VARIABLE) {
    if (textInput || output == nullptr || !isLineSequential(*output)) return RecordKind::prefixed;
    text << " -x 'reformat 2" << lineEnd << "'";
    return RecordKind::line;
  }
  const bool larger = output != nullptr && isFixed(*output) && maxLengthOf(*output) > record.maxLength;
  if (output != nullptr && isLineSequential(*output)) {
    if (textInput && !larger) return RecordKind::fixed;
    addFitted(text, 1, record.maxLength, larger ? maxLengthOf(*output) : record.maxLength, lineEnd);
    return RecordKind::line;
  }
  if (output != nullptr && !isFixed(*output)) {
    addPrefixed(text, 1);
    return RecordKind::prefixed;
  }
  if (larger || textInput)
    addFitted(text, 1, record.maxLength, larger ? maxLengthOf(*output) : record.maxLength, "");
  return RecordKind::fixed;
}

Copy copyOf(const QrtFcb& source, const QrtFcb& target, const QrtSortRecordSpec& record) {
  const bool fromText = isLineSequential(source), toText = isLineSequential(target);
  const bool variable = record.form == QRT_SORT_VARIABLE;
  if (variable && isFixed(target)) {
    const CopyExit exit = fromText ? CopyExit::scan : CopyExit::pad;
    return {toText ? RecordKind::line : RecordKind::fixed, exit};
  }
  if (toText) return {RecordKind::line, CopyExit::none};
  if (!isFixed(target)) return {RecordKind::prefixed, CopyExit::none};
  const bool asItIs = !fromText && !isFixed(source) && record.maxLength == maxLengthOf(target);
  return {asItIs ? RecordKind::prefixed : RecordKind::fixed, CopyExit::none};
}

void addCopyReformat(Text& text, const QrtFcb& source, const QrtFcb& target, const QrtSortRecordSpec& record,
                     int32_t field) {
  const bool fromText = isLineSequential(source), toText = isLineSequential(target);
  const std::string_view ending = toText ? lineEnd : "";
  if (record.form == QRT_SORT_FIXED && isFixed(target)) {
    // Records of a variable-form file have the length of the SD, whatever room the file has for them.
    const int32_t sourceLength = isFixed(source) ? maxLengthOf(source) : record.maxLength;
    if (sourceLength != maxLengthOf(target) || fromText != toText)
      addFitted(text, field, sourceLength, maxLengthOf(target), ending, fromText ? sourceLength : longestBin);
    return;
  }
  if (isFixed(target)) {  // an exit brings the records to their length
    if (fromText != toText) addFitted(text, 1, 0, 0, ending);
    return;
  }
  if (toText) {
    if (!fromText) addFitted(text, field, 0, 0, ending);
    return;
  }
  if (fromText || isFixed(source)) addPrefixed(text, field);
}

}  // namespace qrt::sort::bridge
