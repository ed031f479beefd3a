// Resolving of names and file systems.
#include "fileio/resolve.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "fileio/control.h"
#include "fileio/file_systems.h"
#include "fileio/status.h"

namespace qrt::fileio {
namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr size_t prefixLength = 3;
constexpr uint8_t lastLevelOfSmallFiles = 5;

// Where the name comes from and what its prefix, if any, asks for.
struct Assignment {
  std::string_view name;
  std::string_view prefix;  // three letters, or empty
};

char folded(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

bool isLetter(char character) {
  return letters.find(folded(character)) != letters.npos;
}

// Cuts a prefix such as "PLT-" off. A "-" anywhere else belongs to the name, as in data-2.txt.
Assignment splitPrefix(std::string_view text) {
  const bool prefixed = text.size() > prefixLength + 1 && text[prefixLength] == '-' &&
                        std::all_of(text.begin(), text.begin() + prefixLength, isLetter);
  if (!prefixed) return {text, {}};
  return {text.substr(prefixLength + 1), text.substr(0, prefixLength)};
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  while (text.size() > 1 && text.back() == ' ') text.remove_suffix(1);
  return text;
}

// The variable's value; null when it is unset or empty, which is one and the same to callers.
const char* variable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr && *value != 0 ? value : nullptr;
}

// A name longer than that is taken for a variable which isn't set.
const char* variableNamed(std::string_view text) {
  char name[256];
  if (text.size() >= sizeof(name)) return nullptr;
  return variable(terminated(name, text.data(), text.size()));
}

// Makes the parts, put together, the name in an allocated block; status 34 when memory is short. The parts
// may lie in the present name.
void setAllocatedName(QrtFcb& file, const QrtFileDescription& description,
                      std::initializer_list<std::string_view> parts) {
  size_t length = 0;
  for (std::string_view part : parts) length += part.size();
  auto* block = static_cast<char*>(_qrtCheckMalloc(static_cast<uint32_t>(length + 1)));
  if (block == nullptr) {
    file.status = status::noMemoryForName;
    return;
  }
  char* end = block;
  for (std::string_view part : parts) end = std::copy(part.begin(), part.end(), end);
  *end = 0;
  releaseFileName(file, description);
  file.fileName = block;
  file.flags |= QRT_FCB_NAME_ALLOCATED;
}

// Takes a name that may not be terminated where it ends.
void setName(QrtFcb& file, const QrtFileDescription& description, std::string_view name) {
  if (name.data()[name.size()] == 0)
    file.fileName = name.data();
  else
    setAllocatedName(file, description, {name});
}

// Sets fileName from the assignment; returns the prefix.
std::string_view nameFromAssignment(QrtFcb& file, const QrtFileDescription& description) {
  releaseFileName(file, description);
  file.fileName = nullptr;
  const std::string_view text(description.assignName, description.assignLength);
  if ((description.attributes & QRT_FILE_ASSIGN_AS_IS) != 0) {
    file.fileName = description.assignName;
    return {};
  }
  if ((description.attributes & QRT_FILE_ASSIGN_TEXT) != 0) {
    const Assignment assignment = splitPrefix(withoutTrailingBlanks(text));
    setName(file, description, assignment.name);
    return assignment.prefix;
  }
  if (const char* value = variableNamed(text)) {
    const Assignment assignment = splitPrefix(value);
    file.fileName = assignment.name.data();
    return assignment.prefix;
  }
  setName(file, description, text);
  return {};
}

void setFileSystem(QrtFcb& file, std::string_view name, int32_t code) {
  std::copy(name.begin(), name.end(), file.fileSystemName);
  file.fileSystemChar = static_cast<char>('0' + code);
}

// A prefix decides, known or not; without one the description does, and the default where it names none.
void chooseFileSystem(QrtFcb& file, const QrtFileDescription& description, std::string_view prefix) {
  const std::string_view given =
      prefix.empty() ? std::string_view(description.fileSystemCode + 1, prefixLength) : prefix;
  char upper[prefixLength];
  std::transform(given.begin(), given.end(), upper, folded);
  const std::string_view wanted(upper, prefixLength);
  if (const FileSystemName* known = findFileSystem(wanted))
    setFileSystem(file, known->inUse, known->code);
  else if (!prefix.empty())
    setFileSystem(file, wanted, otherFileSystem);
  else
    setFileSystem(file, {file.defaultName, prefixLength}, file.defaultCode);
}

void chooseFileMode(QrtFcb& file, const QrtProgramEntry& program) {
  file.fileMode = program.block->compilerLevel[0] <= lastLevelOfSmallFiles ? 'S' : _qrtRuncom->fileMode;
}

// Names below the root of the served file system belong to it; its other names need the server in front.
void placeInServedFileSystem(QrtFcb& file, const QrtFileDescription& description) {
  const int32_t code = fileSystemCodeOf(file);
  if (code != servedFileSystem && code != keyedFileSystem) return;
  const char* root = variable("HELVA_CDS_ROOT");
  const bool belowRoot = root != nullptr && std::string_view(file.fileName).starts_with(root);
  if (code == keyedFileSystem) {
    if (belowRoot) setFileSystem(file, "KFS", servedFileSystem);
    return;
  }
  if (belowRoot) return;
  const char* server = root != nullptr ? variable("TRAX_TK_KFS_SERVER") : nullptr;
  if (server == nullptr) {
    file.status = status::attributeConflict;
    return;
  }
  setAllocatedName(file, description, {server, "/", file.fileName});
}

}  // namespace

int32_t fileSystemCodeOf(const QrtFcb& file) {
  return file.fileSystemChar - '0';
}

void resolve(QrtFcb& file, const QrtFileDescription& description, const QrtProgramEntry& program) {
  const std::string_view prefix = nameFromAssignment(file, description);
  chooseFileSystem(file, description, prefix);
  file.flags &= ~QRT_FCB_CONCATENATED;
  chooseFileMode(file, program);
  if (file.status == status::success) placeInServedFileSystem(file, description);
}

}  // namespace qrt::fileio
