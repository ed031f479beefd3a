// Lists of concatenated files.
#include "fileio/concatenation.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "fileio/generation.h"

namespace qrt::fileio {
namespace {

constexpr int32_t mostNames = 256;
constexpr char separator = ';';
constexpr int32_t walkingGroup = 0x01;
constexpr int32_t wholeGroup = -1;
constexpr int32_t oneGeneration = 1;

// Room in the list for the file name of a generation.
constexpr size_t resolvedSize = (longestBaseName + sizeof(".g99999v00") + 3) & ~size_t{3};

// Cuts the next name off; leading and doubled separators are skipped. Empty behind the last.
std::string_view takeName(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(separator), text.size()));
  const std::string_view name = text.substr(0, text.find(separator));
  text.remove_prefix(name.size());
  return name;
}

int32_t countNames(std::string_view text) {
  int32_t count = 0;
  while (!takeName(text).empty()) ++count;
  return count;
}

// Behind the names stands the buffer for resolved ones, behind that the text.
char* resolvedName(QrtConcatenation& list) {
  return reinterpret_cast<char*>(list.names + std::max(list.entries, 1));
}

QrtConcatenation* makeList(std::string_view text, const char* letters) {
  const int32_t count = countNames(text);
  if (count > mostNames) return nullptr;
  const size_t further = static_cast<size_t>(std::max(count - 1, 0)) * sizeof(char*);
  const size_t textSize = (text.size() + 1 + 3) & ~size_t{3};
  auto* const list = static_cast<QrtConcatenation*>(_qrtCheckCalloc(
      1, static_cast<uint32_t>(sizeof(QrtConcatenation) + further + resolvedSize + textSize)));
  if (list == nullptr) return nullptr;
  list->entries = count;
  if (letters != nullptr)
    for (size_t at = 0; at < 3 && letters[at] != 0; ++at) list->fileSystem[at] = letters[at];
  list->text = resolvedName(*list) + resolvedSize;
  memcpy(list->text, text.data(), text.size());
  std::string_view rest(list->text, text.size());
  for (int32_t at = 0; at < count; ++at) list->names[at] = list->text + (takeName(rest).data() - list->text);
  std::replace(list->text, list->text + text.size(), separator, '\0');
  return list;
}

// Keeps a resolved name, which never is longer than its room.
const char* keepResolved(QrtConcatenation& list, const PathText& name) {
  memcpy(resolvedName(list), name.text, name.length + 1);
  return resolvedName(list);
}

// The file of the generation that the walk through a group has come to; null behind the oldest.
const char* walkedFile(QrtConcatenation& list) {
  char number[16];
  snprintf(number, sizeof(number), "(%d)", static_cast<int>(list.generation));
  PathText name, file;
  name.set({list.names[list.next], number});
  if (resolveGeneration(name.text, file, false, list.fileSystem) == oneGeneration)
    return keepResolved(list, file);
  list.flags &= ~walkingGroup;
  ++list.next;
  return nullptr;
}

// Starts the walk at the newest generation of the group whose name comes next.
const char* enterGroup(QrtConcatenation& list, const PathText& base) {
  memcpy(list.names[list.next], base.text, base.length + 1);
  list.flags |= walkingGroup;
  list.generation = 0;
  return walkedFile(list);
}

}  // namespace

NamedMembers findMembers(const char* name, bool create, const char* letters) {
  if (strchr(name, separator) != nullptr)
    return {.list = makeList(name, letters), .isConcatenation = true, .isGeneration = false};
  PathText resolved;
  const int32_t kind = resolveGeneration(name, resolved, create, letters);
  if (kind == 0) return {.list = nullptr, .isConcatenation = false, .isGeneration = false};
  return {.list = makeList(resolved.view(), letters),
          .isConcatenation = kind == wholeGroup,
          .isGeneration = kind == oneGeneration};
}

QrtConcatenation* checkConcatenation(const char* name, int32_t* isConcatenation, int32_t create,
                                     const char* letters) {
  const NamedMembers members = findMembers(name, create != 0, letters);
  *isConcatenation = members.isConcatenation ? 1 : 0;
  return members.list;
}

const char* nextMember(QrtConcatenation* list) {
  if ((list->flags & walkingGroup) != 0) {
    --list->generation;
    if (const char* const file = walkedFile(*list)) return file;
  }
  while (list->next < list->entries) {
    const char* const name = list->names[list->next];
    PathText resolved;
    const int32_t kind = resolveGeneration(name, resolved, false, list->fileSystem);
    if (kind == wholeGroup) {
      if (const char* const file = enterGroup(*list, resolved)) return file;
      continue;
    }
    ++list->next;
    return kind == oneGeneration ? keepResolved(*list, resolved) : name;
  }
  return nullptr;
}

void freeConcatenation(QrtConcatenation* list) {
  _qrtCheckFree(list);
}

int32_t printConcatenation(const QrtConcatenation* list) {
  printf("Concatenation data:\n  Entries:    %d\n  Next:       %d\n  Generation: %d\n  Flags:      %d\n",
         static_cast<int>(list->entries), static_cast<int>(list->next), static_cast<int>(list->generation),
         static_cast<int>(list->flags));
  if (list->entries > 0) printf("  Names:\n");
  for (int32_t at = 0; at < list->entries; ++at) printf("    %s\n", list->names[at]);
  return 0;
}

}  // namespace qrt::fileio
