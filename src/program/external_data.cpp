// EXTERNAL data items: one block for each name in the run unit, which all programs that declare it share.
#include "program/external_data.h"

#include <string.h>

#include <string_view>

#include "frame/guard.h"
#include "frame/message.h"

namespace qrt::program {
namespace {

constexpr int32_t itemBuckets = 200;
constexpr int32_t sizesDiffer = 66;  // message: name of the item

// The data follows.
struct ItemBlock {
  uint32_t size;
};

std::string_view nameOf(const QrtExternalItem& item) {
  return {item.name, strnlen(item.name, sizeof(item.name))};
}

ItemBlock* find(std::string_view name) {
  return static_cast<ItemBlock*>(_qrt_hash_find(_qrtRuncom->externalTable, name.data(), name.size()));
}

ItemBlock* make(const QrtExternalItem& item, std::string_view name) {
  uint32_t bytes;
  if (__builtin_add_overflow(item.size, sizeof(ItemBlock), &bytes)) return nullptr;
  auto* block = static_cast<ItemBlock*>(_qrtCheckMalloc(bytes));
  if (block == nullptr) return nullptr;
  if (_qrt_hash_insert(_qrtRuncom->externalTable, name.data(), name.size(), block) != 0) {
    _qrtCheckFree(block);
    return nullptr;
  }
  block->size = item.size;
  return block;
}

ItemBlock* findOrMake(const QrtExternalItem& item) {
  const std::string_view name = nameOf(item);
  ItemBlock* block = find(name);
  if (block != nullptr) return block;
  frame::underNestedGuard([&] {
    block = find(name);
    if (block == nullptr) block = make(item, name);
  });
  return block;
}

}  // namespace

void extVarInit(const QrtExternalList* list, void** slots) {
  _qrtInitHashCreate(&_qrtRuncom->externalTable, itemBuckets, QRT_HASH_KEY_BY_REFERENCE);
  if (_qrtRuncom->externalTable == nullptr) {
    qrtWriteERRmsg(frame::message::outOfMemory, QRT_MESSAGE_SEVERE);
    return;
  }
  for (int32_t at = 0; at < list->count; ++at) {
    const QrtExternalItem& item = list->items[at];
    ItemBlock* block = findOrMake(item);
    if (block == nullptr)
      qrtWriteERRmsg(frame::message::outOfMemory, QRT_MESSAGE_SEVERE);
    else if (block->size != item.size)
      qrtWriteERRmsg(sizesDiffer, QRT_MESSAGE_SEVERE, item.name);
    else
      slots[at] = block + 1;
  }
}

void moveMethodName(char* destination, const char* source, uint32_t length) {
  destination[length] = ' ';
  memmove(destination, source, length);
  *static_cast<char*>(memchr(destination, ' ', length + 1)) = 0;
}

}  // namespace qrt::program
