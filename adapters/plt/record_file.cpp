// What the organizations of record files share.
#include "record_file.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "storage.h"

namespace qrt::plt {
namespace {

constexpr uint8_t statusInEbcdic = 0x80;
constexpr uint8_t extendedInEbcdic = 0x40;
constexpr uint8_t statusInWideCharacters = 0x10;
constexpr uint8_t recordWritten = 0x40;
constexpr uint8_t ebcdicBlank = 0x40;
constexpr uint8_t ebcdicZero = 0xF0;
constexpr uint32_t codeDigits = 6;

const QrtFileDescription& descriptionFor(const QrtFcb& file, const QrtProgramEntry* program) {
  if ((file.flags & QRT_FCB_SHARED) != 0)
    for (int32_t at = 0; at < program->fileCount; ++at)
      if (program->files[at] == &file) return *program->block->fileDescriptions[at];
  return *file.description;
}

uint8_t* areaAt(uint8_t* const* base, uint32_t offset) {
  return base != nullptr && *base != nullptr ? *base + offset : nullptr;
}

void writeFileStatus(int16_t value, const QrtFileDescription& description) {
  uint8_t* const area = areaAt(description.statusBase, description.statusOffset);
  if (area == nullptr) return;
  const bool ebcdic = (description.statusFlags & statusInEbcdic) != 0;
  const bool wide = !ebcdic && (description.statusFlags & statusInWideCharacters) != 0;
  const uint8_t zero = ebcdic ? ebcdicZero : '0';
  const auto tens = static_cast<uint8_t>(zero + value / 10), units = static_cast<uint8_t>(zero + value % 10);
  if (wide) {
    const uint8_t characters[] = {tens, 0, units, 0};
    memcpy(area, characters, sizeof(characters));
  } else {
    area[0] = tens;
    area[1] = units;
  }
}

int32_t extendedCode(Outcome outcome) {
  return outcome.systemError != 0 ? storage::platformNumber(outcome.systemError) : outcome.status;
}

// An area that nothing went wrong for, without the general way over printing and conversion.
void zeroExtended(uint8_t* area, uint32_t length, bool ebcdic) {
  const uint32_t zeros = length >= codeDigits ? codeDigits : 0;
  memset(area, ebcdic ? ebcdicZero : '0', zeros);
  memset(area + zeros, ebcdic ? ebcdicBlank : ' ', length - zeros);
}

void convertToEbcdic(uint8_t* area, uint32_t length) {
  uint8_t native[codeDigits + 1 + storage::longestPath];
  const uint32_t text = std::min<uint32_t>(length, sizeof(native));
  memcpy(native, area, text);
  memset(area, ebcdicBlank, length);
  auto room = static_cast<int32_t>(text);
  _qrtConvToEBCDIC(native, static_cast<int32_t>(text), area, &room);
}

// The extended area in its final form: the library leaves one alone that it hasn't filled itself.
void writeExtendedStatus(const Statement& statement, Outcome outcome) {
  const QrtFileDescription& description = statement.description;
  uint8_t* const area = areaAt(description.status2Base, description.status2Offset);
  if (area == nullptr) return;
  const uint32_t length = description.status2Length;
  const bool ebcdic = (description.statusFlags & extendedInEbcdic) != 0;
  if (outcome.status == status::success) return zeroExtended(area, length, ebcdic);
  _qrt_filestat2(area, static_cast<int32_t>(length), extendedCode(outcome), &statement.file, 0);
  if (ebcdic) convertToEbcdic(area, length);
}

void setFlags(QrtFcb& file, uint32_t set, uint32_t cleared) {
  file.flags = (file.flags & ~cleared) | set;
}

void keepPosition(QrtFcb& file, uint8_t verb, Outcome outcome) {
  constexpr uint32_t position = QRT_FCB_READ_POSITION | QRT_FCB_POSITIONED | QRT_FCB_AT_END;
  switch (verb) {
    case QRT_VERB_READ:
      return setFlags(file,
                      !outcome.failed()                 ? QRT_FCB_READ_POSITION
                      : outcome.status == status::atEnd ? QRT_FCB_AT_END
                                                        : 0,
                      position);
    case QRT_VERB_START:
      return setFlags(file, outcome.failed() ? 0 : QRT_FCB_POSITIONED, position);
    case QRT_VERB_WRITE:
      if (!outcome.failed()) file.recordState = recordWritten;
      break;
    default:
      break;
  }
}

}  // namespace

Outcome failureOf(int systemError) {
  if (storage::isFull(systemError)) return {status::boundary, systemError};
  switch (systemError) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return {status::modeNotSupported, systemError};
    case EBUSY:
    case ETXTBSY:
    case EAGAIN:
      return {status::inUse, systemError};
    default:
      return {status::permanentError, systemError};
  }
}

Outcome failureToChange(int systemError) {
  return storage::isFull(systemError) ? Outcome{status::keyBoundary, systemError} : failureOf(systemError);
}

Statement::Statement(QrtFcb* fcb, QrtProgramEntry* entry)
    : file(*fcb), program(entry), description(descriptionFor(*fcb, entry)) {}

OpenMode openModeOf(const QrtFcb& file) {
  switch (file.openRequest & (QRT_OPEN_INPUT | QRT_OPEN_OUTPUT | QRT_OPEN_IO | QRT_OPEN_EXTEND)) {
    case QRT_OPEN_INPUT:
      return OpenMode::input;
    case QRT_OPEN_OUTPUT:
      return OpenMode::output;
    case QRT_OPEN_IO:
      return OpenMode::inputOutput;
    case QRT_OPEN_EXTEND:
      return OpenMode::extend;
    default:
      return OpenMode::none;
  }
}

void padRecord(const Statement& statement, uint32_t length) {
  const uint32_t full = statement.description.maxRecord;
  if (length >= full) return;
  const bool ebcdic = (statement.program->block->flags & QRT_PROGRAM_EBCDIC) != 0;
  memset(statement.file.record + length, ebcdic ? ebcdicBlank : ' ', full - length);
}

void finishOpen(const Statement& statement, Outcome outcome) {
  statement.file.status = outcome.status;
  writeExtendedStatus(statement, outcome);
}

void finishVerb(const Statement& statement, uint8_t verb, Outcome outcome) {
  QrtFcb& file = statement.file;
  file.currentOperation = file.lastOperation = verb;
  file.status = outcome.status;
  keepPosition(file, verb, outcome);
  writeFileStatus(outcome.status, statement.description);
  writeExtendedStatus(statement, outcome);
  if (outcome.failed()) _qrtCallUseProc(&file, 0, statement.program);
}

bool enteredNextMember(const Statement& statement) {
  constexpr Outcome end = {status::atEnd};
  QrtFcb& file = statement.file;
  // Ahead of the USE procedure that may run, and again for what the OPEN of members that are absent leaves.
  file.lastOperation = QRT_VERB_READ;
  keepPosition(file, QRT_VERB_READ, end);
  writeExtendedStatus(statement, end);
  const int32_t entered = _qrtLineSeqNext(&file, statement.program);
  if (entered == 0 && file.lastOperation == QRT_VERB_READ) writeExtendedStatus(statement, end);
  return entered == 1;
}

bool finishedAsReel(const Statement& statement) {
  // The flags are still those of the last CLOSE when the end of the run adds its own: then the file is closed
  // for good.
  const uint16_t flags = statement.file.closeFlags;
  if ((flags & QRT_CLOSE_SILENT) != 0 || (flags & (QRT_CLOSE_REEL | QRT_CLOSE_UNIT)) == 0) return false;
  finishVerb(statement, QRT_VERB_CLOSE, {status::noReel});
  return true;
}

void finishClose(const Statement& statement, Outcome outcome) {
  statement.file.status = outcome.status;
  if ((statement.file.closeFlags & QRT_CLOSE_MEMBER) == 0) writeExtendedStatus(statement, outcome);
  _qrtGenericClose(&statement.file, statement.program, 0);
}

}  // namespace qrt::plt
