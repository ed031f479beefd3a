// The hash table of program lists, file lists and EXTERNAL items: fixed bucket count, newest node first.
#include "frame/hash.h"

#include <string.h>

#include "frame/guard.h"
#include "qrtrlib.h"

using Node = QrtHashTable::Node;
using qrt::frame::bucketOf, qrt::frame::findLink, qrt::frame::foldedKey;

namespace {

constexpr int32_t startOfWalk = -1;

}  // namespace

QrtHashTable* _qrt_hash_create(int32_t buckets, int32_t keyMode) {
  constexpr int32_t mostBuckets = (INT32_MAX - static_cast<int32_t>(sizeof(QrtHashTable))) / sizeof(Node*);
  if (buckets < 1 || buckets > mostBuckets) return nullptr;
  auto* table =
      static_cast<QrtHashTable*>(_qrtCheckCalloc(1, sizeof(QrtHashTable) + buckets * sizeof(Node*)));
  if (table == nullptr) return nullptr;
  table->bucketCount = buckets;
  table->keyMode = keyMode;
  table->iterationIndex = startOfWalk;
  return table;
}

void _qrt_hash_terminate(QrtHashTable* table) {
  if (table == nullptr) return;
  for (int32_t bucket = 0; bucket < table->bucketCount; ++bucket)
    for (Node *node = table->buckets()[bucket], *next; node != nullptr; node = next) {
      next = node->next;
      _qrtCheckFree(node);
    }
  _qrtCheckFree(table);
}

void* _qrt_hash_find(QrtHashTable* table, const void* key, uint32_t length) {
  const Node* node = *findLink(table, key, length);
  return node != nullptr ? node->value : nullptr;
}

int32_t _qrt_hash_insert(QrtHashTable* table, const void* key, uint32_t length, void* value) {
  const bool byReference = table->keyMode == QRT_HASH_KEY_BY_REFERENCE;
  const uint32_t tail = byReference ? sizeof(key) : length;
  auto* node = static_cast<Node*>(_qrtCheckMalloc(sizeof(Node) + tail));
  if (node == nullptr) return -1;
  Node** head = &table->buckets()[bucketOf(foldedKey(key, length), table->bucketCount)];
  *node = {*head, value, length};
  memcpy(node + 1, byReference ? static_cast<const void*>(&key) : key, tail);
  *head = node;
  return 0;
}

int32_t _qrt_hash_delete(QrtHashTable* table, const void* key, uint32_t length) {
  Node** link = findLink(table, key, length);
  Node* node = *link;
  if (node == nullptr) return -1;
  *link = node->next;
  _qrtCheckFree(node);
  return 0;
}

void* _qrt_hash_next(QrtHashTable* table, int32_t index) {
  if (table == nullptr) return nullptr;
  if (index <= 0 || index < table->iterationIndex || table->iterationIndex == startOfWalk) {
    table->iterationIndex = 0;
    table->iterationBucket = 0;
    table->iterationNode = table->buckets()[0];
    if (index < 0) return nullptr;
  }
  for (;;) {  // the cursor stands on the node of iterationIndex, or on the null that ends its chain
    while (table->iterationNode == nullptr) {
      if (table->iterationBucket + 1 >= table->bucketCount) return nullptr;
      table->iterationNode = table->buckets()[++table->iterationBucket];
    }
    if (table->iterationIndex == index) return table->iterationNode->value;
    table->iterationNode = table->iterationNode->next;
    ++table->iterationIndex;
  }
}

void _qrtInitHashCreate(QrtHashTable** slot, int32_t buckets, int32_t keyMode) {
  qrt::frame::underNestedGuard([=] {
    if (*slot == nullptr) *slot = _qrt_hash_create(buckets, keyMode);
  });
}
