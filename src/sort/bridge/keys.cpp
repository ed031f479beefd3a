// The keys of a SORT or MERGE: what each type is to the engine, the checks, and national keys.
#include "sort/bridge/keys.h"

#include "sort/bridge/context.h"

namespace qrt::sort::bridge {
namespace {

constexpr KeyType keyTypes[] = {
    {QRT_SORT_KEY_INT, " int", 4, 4, false},
    {QRT_SORT_KEY_UINT, " uint", 4, 4, false},
    {QRT_SORT_KEY_SHORT, " short", 2, 2, false},
    {QRT_SORT_KEY_USHORT, " ushort", 2, 2, false},
    {QRT_SORT_KEY_LONG, " long", 4, 4, false},
    {QRT_SORT_KEY_ULONG, " ulong", 4, 4, false},
    {QRT_SORT_KEY_FLOAT, " float", 4, 4, false},
    {QRT_SORT_KEY_DOUBLE, " double", 8, 8, false},
    {QRT_SORT_KEY_EXTENDED, " extended", 16, 16, false},
    {QRT_SORT_KEY_CHAR, " char ", 1, 65535, true},
    {QRT_SORT_KEY_BIN, " bin ", 1, 4095, true},
    {QRT_SORT_KEY_PACKED, " packed ", 1, 255, false},
    {QRT_SORT_KEY_ZONED, " zoned ", 1, 255, false},
    {QRT_SORT_KEY_FIXED, " fixed ", 1, 255, false},
    {QRT_SORT_KEY_LEADING_SEPARATE, " extlss ", 1, 255, true},
    {QRT_SORT_KEY_TRAILING_SEPARATE, " exttss ", 1, 255, true},
    {QRT_SORT_KEY_LEADING_OVERPUNCH, " extlns ", 1, 255, true},
    {QRT_SORT_KEY_TRAILING_OVERPUNCH, " exttns ", 1, 255, true},
    {QRT_SORT_KEY_INT8, " scint", 8, 8, false},
    {QRT_SORT_KEY_UINT8, " scuint", 8, 8, false},
    {QRT_SORT_KEY_HEX4, " kx70float", 4, 4, false},
    {QRT_SORT_KEY_HEX8, " kx70double", 8, 8, false},
};

constexpr int32_t offsetLimit = 65536;

int32_t lengthFailure(const QrtSortKeySpec& key, bool textInput) {
  if (key.type == QRT_SORT_KEY_NATIONAL) return badFixedKeyLength;  // an odd length; others were rewritten
  const KeyType* type = findKeyType(key.type);
  if (type == nullptr) return unknownKeyType;
  const bool hexadecimal = key.type < 0;
  if (key.length < type->minLength || key.length > type->maxLength)
    return type->minLength == type->maxLength && !hexadecimal ? badFixedKeyLength : badKeyLength;
  return textInput && !type->withTextInput ? keyTypeNotForText : none;
}

int32_t placeFailure(const QrtSortKeySpec& key, const QrtSortRecordSpec& record) {
  if (key.offset < 0 || key.offset >= offsetLimit) return badKeyLength;
  if (key.offset + key.length > record.minLength) return keyBeyondRecord;
  return key.order == QRT_SORT_ASCENDING || key.order == QRT_SORT_DESCENDING ? none : badKeyOrder;
}

bool overlap(const QrtSortKeySpec& one, const QrtSortKeySpec& other) {
  return one.offset < other.offset + other.length && other.offset < one.offset + one.length;
}

// A spare node, behind the link that keeps it in the run unit's list.
struct SpareNode {
  SpareNode* next;
  QrtSortKeySpec key;
};
static_assert(sizeof(SpareNode) == 24);

bool isNational(const QrtSortKeySpec& key) {
  return key.type == QRT_SORT_KEY_NATIONAL && key.length >= 2 && key.length % 2 == 0;
}

int32_t extraNodesOf(const QrtSortKeyList& keys) {
  int32_t extra = 0;
  for (const QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next)
    if (isNational(*key)) extra += key->length / 2 - 1;
  return extra;
}

// At least `count` spare nodes.
bool reserveNodes(int32_t count) {
  auto* spare = static_cast<SpareNode*>(_qrtRuncom->sortBlocks);
  for (const SpareNode* node = spare; node != nullptr; node = node->next) --count;
  for (; count > 0; --count) {
    auto* made = static_cast<SpareNode*>(_qrtCheckMalloc(sizeof(SpareNode)));
    if (made == nullptr) return false;
    made->next = spare;
    _qrtRuncom->sortBlocks = spare = made;
  }
  return true;
}

QrtSortKeySpec* takeNode() {
  auto* spare = static_cast<SpareNode*>(_qrtRuncom->sortBlocks);
  _qrtRuncom->sortBlocks = spare->next;
  return &spare->key;
}

}  // namespace

const KeyType* findKeyType(int32_t type) {
  for (const KeyType& row : keyTypes)
    if (row.type == type) return &row;
  return nullptr;
}

bool rewriteNationalKeys(QrtSortKeyList& keys) {
  if (const int32_t extra = extraNodesOf(keys); extra > 0 && !reserveNodes(extra)) return false;
  for (QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next) {
    if (!isNational(*key)) continue;
    const int32_t characters = key->length / 2;
    key->type = QRT_SORT_KEY_USHORT;
    key->length = 2;
    for (int32_t character = 1; character < characters; ++character) {
      QrtSortKeySpec* node = takeNode();
      *node = *key;
      node->offset += 2;
      key->next = node;
      key = node;
      ++keys.count;
    }
  }
  return true;
}

int32_t checkKeys(const QrtSortKeyList& keys, const QrtSortRecordSpec& record, bool textInput) {
  if (keys.count == 0) return noKey;
  int32_t count = 0;
  for (const QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next, ++count)
    if (const int32_t failure = lengthFailure(*key, textInput); failure != none) return failure;
  if (count != keys.count) return badKeyCount;
  for (const QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next)
    if (const int32_t failure = placeFailure(*key, record); failure != none) return failure;
  for (const QrtSortKeySpec* key = keys.first; key != nullptr; key = key->next)
    for (const QrtSortKeySpec* other = key->next; other != nullptr; other = other->next)
      if (overlap(*key, *other) && !liesInside(*key, *other) && !liesInside(*other, *key)) return keysOverlap;
  return none;
}

}  // namespace qrt::sort::bridge
