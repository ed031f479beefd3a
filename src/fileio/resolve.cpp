// Resolving of names and file systems.
#include "fileio/resolve.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "fileio/concatenation.h"
#include "fileio/control.h"
#include "fileio/file_systems.h"
#include "fileio/status.h"

namespace qrt::fileio {
namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr size_t prefixLength = 3;
constexpr uint8_t lastLevelOfSmallFiles = 5;
constexpr int32_t noCode = 0;

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
int32_t placeInServedFileSystem(QrtFcb& file, const QrtFileDescription& description) {
  const int32_t code = fileSystemCodeOf(file);
  if (code != servedFileSystem && code != keyedFileSystem) return noCode;
  const char* root = variable("HELVA_CDS_ROOT");
  const bool belowRoot = root != nullptr && std::string_view(file.fileName).starts_with(root);
  if (code == keyedFileSystem) {
    if (belowRoot) setFileSystem(file, "KFS", servedFileSystem);
    return noCode;
  }
  if (belowRoot) return noCode;
  const char* server = root != nullptr ? variable("TRAX_TK_KFS_SERVER") : nullptr;
  if (server == nullptr) return status::attributeConflict;
  setAllocatedName(file, description, {server, "/", file.fileName});
  return noCode;
}

// --- concatenations -----------------------------------------------------------------------------------

// An OPEN that makes the file may also make the generation.
bool mayMakeGeneration(const QrtFcb& file) {
  const bool willBeMade = (file.flags & QRT_FCB_ABSENT) != 0 && (file.openRequest & QRT_OPEN_CAN_READ) == 0;
  return willBeMade || (file.openRequest & QRT_OPEN_OUTPUT) != 0;
}

bool mayBeConcatenated(const QrtFcb& file, const QrtFileDescription& description) {
  constexpr uint8_t keyedOrganizations = 0x3F;
  return (file.openRequest & QRT_OPEN_CAN_READ) != 0 &&
         (description.organization & keyedOrganizations) == 0 &&
         (description.accessMode & QRT_ACCESS_SEQUENTIAL) != 0;
}

struct Resolved {
  int32_t code = noCode;
  bool isConcatenation = false;
};

// Takes the first name of the list that the assigned name may be.
Resolved takeFirstMember(QrtFcb& file, const QrtFileDescription& description) {
  releaseMembers(file);
  const NamedMembers members = findMembers(file.fileName, mayMakeGeneration(file), file.fileSystemName);
  if (members.list == nullptr) {
    if (members.isGeneration) file.status = status::noMemoryForName;
    return {members.isConcatenation ? status::noMemoryForName : noCode, members.isConcatenation};
  }
  file.concatenation = members.list;
  if (members.isConcatenation) file.flags |= QRT_FCB_CONCATENATED;
  const char* const first = nextMember(members.list);
  if (first == nullptr) return {status::noMemoryForName, true};
  releaseFileName(file, description);
  file.fileName = first;
  const bool refused = members.isConcatenation && !mayBeConcatenated(file, description);
  return {refused ? status::modeNotSupported : noCode, members.isConcatenation};
}

Resolved resolveAssignment(QrtFcb& file, const QrtFileDescription& description,
                           const QrtProgramEntry& program) {
  const std::string_view prefix = nameFromAssignment(file, description);
  chooseFileSystem(file, description, prefix);
  file.flags &= ~QRT_FCB_CONCATENATED;
  const Resolved resolved = file.fileName != nullptr ? takeFirstMember(file, description) : Resolved{};
  chooseFileMode(file, program);
  return resolved;
}

// A later member must be of the file system of the first.
Resolved resolveLaterMember(QrtFcb& file) {
  const Assignment assignment = splitPrefix(file.fileName);
  file.fileName = assignment.name.data();
  const char* const usual =
      fileSystemCodeOf(file) == nativeFileSystem ? file.fileSystemName : file.defaultName;
  const std::string_view letters =
      assignment.prefix.empty() ? std::string_view(usual, prefixLength) : assignment.prefix;
  const bool isSame = std::equal(letters.begin(), letters.end(), file.fileSystemName,
                                 [](char one, char other) { return folded(one) == other; });
  return {isSame ? noCode : status::attributeConflict, true};
}

}  // namespace

int32_t fileSystemCodeOf(const QrtFcb& file) {
  return file.fileSystemChar - '0';
}

int32_t resolve(QrtFcb& file, const QrtFileDescription& description, const QrtProgramEntry& program,
                bool isLaterMember) {
  auto [code, isConcatenation] =
      isLaterMember ? resolveLaterMember(file) : resolveAssignment(file, description, program);
  if (code == noCode && file.status == status::success) code = placeInServedFileSystem(file, description);
  if (file.concatenation != nullptr) {
    memcpy(file.defaultName, file.fileSystemName, sizeof(file.defaultName));
    file.defaultCode = static_cast<uint8_t>(fileSystemCodeOf(file));
  }
  if (isConcatenation) {
    if (code == noCode && file.status > status::atEnd) code = file.status;
    if (code != noCode) file.status = status::unresolved;
    return code;
  }
  if (code != noCode) file.status = static_cast<int16_t>(code);
  return noCode;
}

}  // namespace qrt::fileio
