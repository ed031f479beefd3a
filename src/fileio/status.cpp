// File status and its consequences.
#include "fileio/status.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "fileio/control.h"
#include "fileio/file_systems.h"
#include "fileio/resolve.h"
#include "nls/work_area.h"

namespace qrt::fileio {
namespace {

constexpr int32_t fileError = 200;
constexpr uint32_t detailText = 201;

constexpr uint8_t statusInEbcdic = 0x80;
constexpr uint8_t extendedInEbcdic = 0x40;
constexpr uint8_t statusInWideCharacters = 0x10;
constexpr uint8_t ebcdicBlank = 0x40;

uint8_t* areaAt(uint8_t* const* base, uint32_t offset) {
  return base != nullptr && *base != nullptr ? *base + offset : nullptr;
}

uint8_t* statusArea(const QrtFileDescription& description) {
  return areaAt(description.statusBase, description.statusOffset);
}

std::span<uint8_t> extendedArea(const QrtFileDescription& description) {
  uint8_t* area = areaAt(description.status2Base, description.status2Offset);
  return {area, area != nullptr ? description.status2Length : size_t{0}};
}

bool isSilent(const QrtFcb& file) {
  return (file.closeFlags & QRT_CLOSE_SILENT) != 0;
}

bool hasRoutineFor(const QrtUsePair* table, size_t mode) {
  return table != nullptr && table[mode].routine != nullptr;
}

// Row of the USE table for the mode of the file: that of the OPEN in progress, or of the open file.
size_t useRowOf(const QrtFcb& file) {
  constexpr uint16_t modes[] = {QRT_OPEN_INPUT, QRT_OPEN_OUTPUT, QRT_OPEN_IO, QRT_OPEN_EXTEND};
  const uint16_t state = file.currentOperation == QRT_VERB_OPEN ? file.openRequest : file.openState;
  return static_cast<size_t>(
      std::find_if(std::begin(modes), std::end(modes), [=](uint16_t mode) { return (state & mode) != 0; }) -
      std::begin(modes));
}

const char* verbName(uint8_t operation) {
  switch (operation) {
    case QRT_VERB_OPEN:
      return "OPEN";
    case QRT_VERB_CLOSE:
      return "CLOSE";
    case QRT_VERB_READ:
      return "READ";
    case QRT_VERB_WRITE:
      return "WRITE";
    case QRT_VERB_REWRITE:
      return "REWRITE";
    case QRT_VERB_DELETE:
      return "DELETE";
    case QRT_VERB_START:
      return "START";
    default:
      return "";
  }
}

// The module of the file system in use, or its letters where it has none.
const char* fileSystemText(const QrtFcb& file, char (&letters)[4]) {
  const int32_t code = fileSystemCodeOf(file);
  const char* module = code >= 0 && code < fileSystemCount ? adapterModule(code) : nullptr;
  return module != nullptr ? module : terminated(letters, file.fileSystemName, sizeof(file.fileSystemName));
}

void failRun(const QrtFcb& file, const QrtFileDescription& description, int32_t detail) {
  char detailBuffer[80] = "";
  char letters[4];
  if (detail != 0)
    qrtWriteERRmsg(detailText, QRT_MESSAGE_TEXT | static_cast<uint8_t>(detail - 1), detailBuffer,
                   static_cast<int32_t>(sizeof(detailBuffer)), fileSystemText(file, letters));
  char assignment[256];
  const char* name = file.fileName != nullptr
                         ? file.fileName
                         : terminated(assignment, description.assignName, description.assignLength);
  qrtWriteERRmsg(fileError, QRT_MESSAGE_SEVERE, verbName(file.currentOperation), name,
                 static_cast<int32_t>(file.status), detailBuffer);
}

bool statementHandles(const QrtFcb& file) {
  const int16_t value = file.status;
  return ((file.statementFlags & QRT_STATEMENT_INVALID_KEY) != 0 && value >= 20 && value <= 24) ||
         ((file.statementFlags & QRT_STATEMENT_AT_END) != 0 && value == status::atEnd);
}

// Text that is put into an area as far as it fits.
struct ExtendedText {
  std::span<uint8_t> area;
  size_t length = 0;

  void append(std::string_view text) {
    const size_t kept = std::min(text.size(), area.size() - length);
    std::copy_n(text.begin(), kept, area.begin() + length);
    length += kept;
  }
  // Behind the code, if that fitted.
  void appendListed(std::string_view text) {
    if (length == 0) return;
    append(",");
    append(text);
  }
};

constexpr size_t codeDigits = 6;

ExtendedText startExtended(uint8_t* area, int32_t length, int32_t code) {
  ExtendedText text{{area, static_cast<size_t>(std::max(length, 0))}};
  std::fill(text.area.begin(), text.area.end(), uint8_t{' '});
  char digits[16];
  const int printed = snprintf(digits, sizeof(digits), "%6.6d", static_cast<int>(code));
  if (text.area.size() >= codeDigits) text.append({digits, static_cast<size_t>(printed)});
  return text;
}

void appendName(ExtendedText& text, const QrtFcb& file) {
  if (file.fileName != nullptr) text.appendListed(file.fileName);
}

bool isAboutName(int16_t value) {
  return value == status::unresolved || value == status::absent;
}

// The extended area of a statement that never got to a file system. Blanks and zeros are the same in every
// EBCDIC code page, so that nothing is left to convert.
void fillExtendedWithZeros(const QrtFileDescription& description) {
  const std::span<uint8_t> area = extendedArea(description);
  const bool ebcdic = (description.statusFlags & extendedInEbcdic) != 0;
  const size_t zeros = std::min(area.size(), codeDigits);
  std::fill(area.begin(), area.begin() + zeros, static_cast<uint8_t>(ebcdic ? 0xF0 : '0'));
  std::fill(area.begin() + zeros, area.end(), ebcdic ? ebcdicBlank : uint8_t{' '});
}

// Converts an area to the EBCDIC code page; what it can't hold then is cut. It stays as it is where that
// fails.
void convertToEbcdic(std::span<uint8_t> area) {
  const auto size = static_cast<int32_t>(area.size());
  nls::WorkArea<256> native(size);
  if (native.data() == nullptr) return;
  std::copy(area.begin(), area.end(), native.data());
  int32_t length = size;
  if (qrtConvToEBCDIC(native.data(), size, area.data(), &length) != 0)
    std::copy_n(native.data(), area.size(), area.begin());
  else
    std::fill(area.begin() + length, area.end(), ebcdicBlank);
}

void finishError(QrtFcb& file, QrtProgramEntry* program, uint8_t verb, int16_t value) {
  const QrtFileDescription& description = descriptionFor(file, program);
  file.currentOperation = file.lastOperation = verb;
  file.status = value;
  writeFileStatus(file, description);
  fillExtendedWithZeros(description);
  if (!isSilent(file)) callUseProcedure(&file, 0, program);
}

bool can(const QrtFcb& file, uint16_t capability) {
  return (file.openState & capability) != 0;
}

bool isAbsent(const QrtFcb& file) {
  return (file.flags & QRT_FCB_ABSENT) != 0;
}

bool hasSequentialAccess(const QrtFileDescription& description) {
  return (description.accessMode & 0x80) != 0;
}

// Status of a READ from an OPTIONAL file that isn't there.
int16_t absentReadStatus(const QrtFcb& file, const QrtFileDescription& description) {
  const bool keyed = (description.organization & (QRT_ORGANIZATION_RELATIVE | QRT_ORGANIZATION_INDEXED)) != 0;
  const bool next = (file.statementFlags & QRT_STATEMENT_READ_NEXT) != 0;
  if (keyed && !hasSequentialAccess(description) && !next) return status::noRecord;
  const bool failedStart = file.lastOperation == QRT_VERB_START && (file.flags & QRT_FCB_POSITIONED) == 0;
  const bool failedRead = file.lastOperation == QRT_VERB_READ && (file.flags & QRT_FCB_READ_POSITION) == 0;
  return failedStart || failedRead ? status::noNextRecord : status::atEnd;
}

}  // namespace

void writeFileStatus(const QrtFcb& file, const QrtFileDescription& description) {
  uint8_t* area = statusArea(description);
  if (area == nullptr) return;
  const auto tens = static_cast<uint8_t>(file.status / 10);
  const auto units = static_cast<uint8_t>(file.status % 10);
  if ((description.statusFlags & statusInEbcdic) != 0) {
    area[0] = tens + 0xF0;
    area[1] = units + 0xF0;
  } else if ((description.statusFlags & statusInWideCharacters) != 0) {
    area[0] = tens + '0';
    area[1] = 0;
    area[2] = units + '0';
    area[3] = 0;
  } else {
    area[0] = tens + '0';
    area[1] = units + '0';
  }
}

void reportStatus(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program) {
  writeFileStatus(file, description);
  if (file.status >= status::atEnd) callUseProcedure(&file, 0, program);
}

void callUseProcedure(QrtFcb* file, int32_t detail, QrtProgramEntry* program) {
  if (statementHandles(*file)) return;
  const size_t row = useRowOf(*file);
  if (hasRoutineFor(file->useTable, row)) {
    file->useTable[row].routine(file->useTable[row].argument);
    return;
  }
  const QrtFileDescription& description = descriptionFor(*file, program);
  const bool programSees = statusArea(description) != nullptr || extendedArea(description).data() != nullptr;
  if (!programSees && file->status >= status::permanentError) failRun(*file, description, detail);
}

void fillExtendedStatus(uint8_t* area, int32_t length, int32_t code, const QrtFcb* file, int32_t) {
  ExtendedText text = startExtended(area, length, code);
  if (isAboutName(file->status)) appendName(text, *file);
}

void fillExtendedStatusWithSystem(uint8_t* area, int32_t length, int32_t code, const QrtFcb* file, int32_t) {
  ExtendedText text = startExtended(area, length, code);
  if (file->status == status::noAdapter)
    text.appendListed({file->fileSystemName, sizeof(file->fileSystemName)});
  if (file->status == status::noAdapter || isAboutName(file->status)) appendName(text, *file);
}

void writeExtendedStatus(const QrtFcb& file, const QrtFileDescription& description, int32_t code) {
  const std::span<uint8_t> area = extendedArea(description);
  if (area.empty()) return;
  fillExtendedStatus(area.data(), static_cast<int32_t>(area.size()), code, &file, 0);
  if ((description.statusFlags & extendedInEbcdic) != 0) convertToEbcdic(area);
}

void openError(QrtFcb* file, QrtProgramEntry* program) {
  const bool isOpen = file->openState != 0;
  const bool isLocked = !isOpen && (file->lastCloseFlags & QRT_CLOSE_LOCK) != 0;
  finishError(*file, program, QRT_VERB_OPEN,
              isLocked ? status::locked
              : isOpen ? status::alreadyOpen
                       : status::permanentError);
}

void closeError(QrtFcb* file, QrtProgramEntry* program) {
  if (isAbsent(*file)) {
    file->status = status::success;
    file->flags &= ~QRT_FCB_ABSENT;
  } else {
    file->status = file->openState == 0 ? status::notOpen : status::permanentError;
  }
  file->lastOperation = QRT_VERB_CLOSE;
  fillExtendedWithZeros(descriptionFor(*file, program));
  _qrtGenericClose(file, program, 0);
}

void readError(QrtFcb* file, QrtProgramEntry* program) {
  const int16_t value = !can(*file, QRT_OPEN_CAN_READ) ? status::notOpenForRead
                        : isAbsent(*file) ? absentReadStatus(*file, descriptionFor(*file, program))
                                          : status::permanentError;
  file->flags &= ~QRT_FCB_READ_POSITION;
  finishError(*file, program, QRT_VERB_READ, value);
}

void writeError(QrtFcb* file, QrtProgramEntry* program) {
  const QrtFileDescription& description = descriptionFor(*file, program);
  const bool sequentialIo =
      can(*file, QRT_OPEN_IO) && hasSequentialAccess(description) && (description.organization & 0x80) == 0;
  finishError(*file, program, QRT_VERB_WRITE,
              sequentialIo                      ? status::sequentialWriteInIo
              : !can(*file, QRT_OPEN_CAN_WRITE) ? status::notOpenForWrite
                                                : status::permanentError);
}

void rewriteError(QrtFcb* file, QrtProgramEntry* program) {
  finishError(*file, program, QRT_VERB_REWRITE,
              can(*file, QRT_OPEN_CAN_REWRITE) ? status::permanentError : status::notOpenForRewrite);
}

void startError(QrtFcb* file, QrtProgramEntry* program) {
  const int16_t value = !can(*file, QRT_OPEN_INPUT | QRT_OPEN_IO) ? status::notOpenForRead
                        : isAbsent(*file)                         ? status::noRecord
                                                                  : status::permanentError;
  file->flags &= ~QRT_FCB_POSITIONED;
  finishError(*file, program, QRT_VERB_START, value);
}

void deleteError(QrtFcb* file, QrtProgramEntry* program) {
  finishError(*file, program, QRT_VERB_DELETE,
              can(*file, QRT_OPEN_CAN_REWRITE) ? status::permanentError : status::notOpenForRewrite);
}

}  // namespace qrt::fileio
