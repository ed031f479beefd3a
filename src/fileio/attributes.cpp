// Comparison of two descriptions of one EXTERNAL file.
#include "fileio/attributes.h"

#include <string.h>

#include <iterator>
#include <string_view>

#include "fileio/control.h"

namespace qrt::fileio {
namespace {

constexpr int32_t externalFileDiffers = 75;

// The part of a description that two programs must have alike: from its file system to the end of its name.
constexpr size_t comparedFrom = offsetof(QrtFileDescription, fileSystemCode);
constexpr size_t comparedTo = offsetof(QrtFileDescription, externalName) + 31;

constexpr size_t comparedOfKey = offsetof(QrtFileKey, reserved9);
constexpr size_t relativeKeyLength = offsetof(QrtRelativeKey, reserved34);
constexpr size_t otherBlockLength = 8;
constexpr size_t linageBlockLength = 144;

// A clause of LINAGE: its bit in linageFlags, where its name and value lie, and the texts of its differences.
struct LinageClause {
  uint8_t bit;
  uint8_t name;
  uint8_t value;
  std::string_view presenceDiffers;
  std::string_view contentDiffers;
};
constexpr size_t linageNameLength = 30;
constexpr LinageClause linageClauses[] = {
    {0x80, 2, 32, "", "LINAGE NAME/VALUE, "},
    {0x40, 38, 68, "LINAGE FOOTING, ", "LINAGE FOOTING NAME/VALUE, "},
    {0x20, 74, 104, "LINAGE TOP, ", "LINAGE TOP NAME/VALUE, "},
    {0x10, 110, 140, "LINAGE BOTTOM, ", "LINAGE BOTTOM NAME/VALUE, "},
};

// A block that a description points to by its offset; null when it has none.
const uint8_t* blockAt(const QrtFileDescription& description, uint32_t offset) {
  return offset != 0 ? reinterpret_cast<const uint8_t*>(&description) + offset : nullptr;
}

bool sameBlock(const uint8_t* one, const uint8_t* other, size_t length) {
  if (one == nullptr || other == nullptr) return one == other;
  return memcmp(one, other, length) == 0;
}

bool hasLinage(const QrtFileDescription& description) {
  return (description.linageFlags & 0x80) != 0;
}

const uint8_t* linageOf(const QrtFileDescription& description) {
  return hasLinage(description) ? blockAt(description, description.linageOffset) : nullptr;
}

bool sameKeys(const QrtFileDescription& one, const QrtFileDescription& other) {
  const auto* row = reinterpret_cast<const QrtFileKey*>(blockAt(one, one.keyBlockOffset));
  const auto* otherRow = reinterpret_cast<const QrtFileKey*>(blockAt(other, other.keyBlockOffset));
  if (row == nullptr || otherRow == nullptr) return row == otherRow;
  for (uint32_t key = 0; key < one.keyCount; ++key)
    if (memcmp(&row[key], &otherRow[key], comparedOfKey) != 0) return false;
  return true;
}

bool sameRelativeKey(const QrtFileDescription& one, const QrtFileDescription& other) {
  return sameBlock(blockAt(one, one.relativeKeyOffset), blockAt(other, other.relativeKeyOffset),
                   relativeKeyLength);
}

bool alike(const QrtFileDescription& one, const QrtFileDescription& other) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&one);
  const auto* otherBytes = reinterpret_cast<const uint8_t*>(&other);
  return memcmp(bytes + comparedFrom, otherBytes + comparedFrom, comparedTo - comparedFrom) == 0 &&
         sameBlock(linageOf(one), linageOf(other), linageBlockLength) && sameKeys(one, other) &&
         sameRelativeKey(one, other) &&
         sameBlock(blockAt(one, one.otherBlockOffset), blockAt(other, other.otherBlockOffset),
                   otherBlockLength);
}

// The list of differences, each followed by ", ".
struct Differences {
  char text[400] = "";
  size_t length = 0;

  void add(bool differs, std::string_view what) {
    if (!differs || length + what.size() >= sizeof(text)) return;
    memcpy(text + length, what.data(), what.size());
    length += what.size();
    text[length] = 0;
  }
};

void addLinage(const QrtFileDescription& shared, const QrtFileDescription& entering, Differences& list) {
  if (!hasLinage(entering)) return;
  for (const LinageClause& clause : linageClauses)
    list.add((entering.linageFlags & clause.bit) == 0 && (shared.linageFlags & clause.bit) != 0,
             clause.presenceDiffers);
  const uint8_t* mine = linageOf(entering);
  const uint8_t* other = linageOf(shared);
  if (mine == nullptr || other == nullptr) return;
  for (const LinageClause& clause : linageClauses) {
    const bool both = (entering.linageFlags & shared.linageFlags & clause.bit) != 0;
    list.add(both && (memcmp(mine + clause.name, other + clause.name, linageNameLength) != 0 ||
                      memcmp(mine + clause.value, other + clause.value, 4) != 0),
             clause.contentDiffers);
  }
}

void addKeys(const QrtFileDescription& shared, const QrtFileDescription& entering, Differences& list) {
  const auto both = [&](uint8_t organization) {
    return shared.organization == organization && entering.organization == organization;
  };
  if (both(QRT_ORGANIZATION_INDEXED)) {
    list.add(shared.keyCount != entering.keyCount, "NUMBER OF KEYS, ");
    list.add(shared.keyCount == entering.keyCount && !sameKeys(shared, entering), "INDEXED KEY, ");
  }
  list.add(both(QRT_ORGANIZATION_RELATIVE) && !sameRelativeKey(shared, entering), "RELATIVE KEY, ");
}

bool sameAssignment(const QrtFileDescription& one, const QrtFileDescription& other) {
  return one.assignLength == other.assignLength &&
         memcmp(one.assignName, other.assignName, one.assignLength) == 0;
}

}  // namespace

void checkAttributes(const QrtFileDescription& shared, const QrtFileDescription& entering,
                     const QrtProgramBlock& program) {
  if (alike(shared, entering)) return;
  Differences list;
  list.add(memcmp(shared.fileSystemCode, entering.fileSystemCode, sizeof(shared.fileSystemCode)) != 0,
           "FILE SYSTEM, ");
  list.add(shared.organization != entering.organization, "ORGANIZATION, ");
  list.add(shared.accessMode != entering.accessMode, "ACCESS MODE, ");
  list.add(shared.recordFormat != entering.recordFormat, "RECORD FORMAT, ");
  list.add(shared.maxRecord != entering.maxRecord, "MAXIMUM RECORD LENGTH, ");
  list.add(shared.minRecord != entering.minRecord, "MINIMUM RECORD LENGTH, ");
  list.add(((shared.attributes ^ entering.attributes) & QRT_FILE_OPTIONAL) != 0, "OPTIONAL, ");
  list.add(!sameAssignment(shared, entering), "FILE ASSIGNMENT NAME, ");
  addLinage(shared, entering, list);
  addKeys(shared, entering, list);
  if (list.length == 0) return;
  list.text[list.length - std::string_view(", ").size()] = 0;

  char programName[256];
  terminated(programName, program.name, program.nameLength);
  qrtWriteERRmsg(externalFileDiffers, QRT_MESSAGE_SEVERE, entering.externalName, programName, list.text);
}

}  // namespace qrt::fileio
