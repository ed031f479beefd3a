// STRING: fields, or what stands before a delimiter in them, one behind the other.
#include "statement/string_statement.h"

#include "statement/string_moves.h"
#include "statement/string_search.h"

namespace qrt::statement {
namespace {

// What is left of the target.
struct Target {
  uint8_t* next;
  uint32_t room;
  bool wasShort = false;

  void append(Text text) {
    const uint32_t piece = std::min(static_cast<uint32_t>(text.size()), room);
    wasShort |= piece < text.size();
    copyShort(next, text.data(), piece);
    next += piece;
    room -= piece;
  }
};

void appendGroup(Target& target, const QrtStringGroup& group, const uint8_t* table, uint32_t width) {
  const std::span fields(group.fields, count(group.fieldCount));
  const bool wholeFields = group.delimiter == nullptr || group.delimiterLength <= 0;
  const QrtUnstringDelimiter delimiter = {group.delimiter, wholeFields ? 0 : group.delimiterLength, 0};
  const DelimiterSearch search({&delimiter, 1}, table, width);
  for (const QrtStringField& field : fields) {
    const Text text(field.data, count(field.length));
    target.append(wholeFields ? text : text.first(search.find(text, 0).at));
  }
}

}  // namespace

void stringFields(QrtStringBlock* block, const QrtProgramBlock* programContext, uint32_t* overflow) {
  const uint8_t flags = block->flags;
  const uint32_t width = (flags & (QRT_STRING_DOUBLE_BYTE | QRT_STRING_NATIONAL)) != 0 ? 2 : 1;
  const bool collating = (flags & QRT_STRING_COLLATING) != 0 && width == 1;
  const uint8_t* const table = collating ? programContext->collatingTable : nullptr;
  const uint32_t size = count(block->targetLength);
  const int32_t pointer = (flags & QRT_STRING_POINTER) != 0 ? block->pointer : 1;
  const uint32_t start = offsetOf(pointer, size, width);
  const uint32_t room = start <= size ? size - start : 0;

  Target target = {block->target + (start <= size ? start : 0), room};
  const QrtStringGroup* group = block->groups;
  for (uint32_t left = count(block->groupCount); left > 0; --left) {
    appendGroup(target, *group, table, width);
    group = reinterpret_cast<const QrtStringGroup*>(group->fields + count(group->fieldCount));
  }

  if (target.wasShort && *overflow != 0) ++*overflow;
  block->pointer = pointer + static_cast<int32_t>(charactersIn(room - target.room, width));
}

}  // namespace qrt::statement
