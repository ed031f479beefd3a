// What the organizations of record files share: what an OPEN asks for, where a file stands, and the end of
// each verb, with status areas and USE procedure.
//
// The state of a file lies in two places. What COBOL's rules look at is in the control block: the flags
// QRT_FCB_READ_POSITION (the last READ found a record), QRT_FCB_POSITIONED (OPEN or START chose the next
// one), QRT_FCB_AT_END, and lastOperation. The functions here keep them. What the organization needs is a
// block of its own in adapterBlock1, from _qrtCheckMalloc, which _qrtGenericClose frees; it holds nothing
// that needs more than the organization's own CLOSE, which always comes.
#pragma once

#include <qrtrlib.h>

namespace qrt::plt {

// FILE STATUS.
namespace status {
enum : int16_t {
  success = 0,
  duplicateKey = 2,
  recordLengthDiffers = 4,
  optionalAbsent = 5,
  noReel = 7,
  atEnd = 10,
  numberTooLarge = 14,
  sequenceError = 21,
  duplicateRecord = 22,
  noRecord = 23,
  keyBoundary = 24,
  permanentError = 30,
  boundary = 34,
  absent = 35,
  modeNotSupported = 37,
  attributeConflict = 39,
  noPrecedingRead = 43,
  badRecordLength = 44,
  noNextRecord = 46,
  inUse = 61,
};
}

// How a verb ended: FILE STATUS and what the system said, an errno value or 0 for nothing, which the extended
// status shows as the platform's number instead of the status.
struct Outcome {
  int16_t status = status::success;
  int systemError = 0;

  // From 10 on the verb has failed.
  bool failed() const { return status >= status::atEnd; }
};

// The outcome of a failed system call: 34 for a full disk or file, 37 for a file that may not be opened so,
// 61 for one that is in use, else 30.
Outcome failureOf(int systemError);

// The same for WRITE, REWRITE and DELETE where records have keys or numbers: 24 for a full disk or file.
Outcome failureToChange(int systemError);

// One statement on a file, as its routine gets it.
struct Statement {
  QrtFcb& file;
  QrtProgramEntry* program;
  const QrtFileDescription& description;  // the program's own, also of an EXTERNAL file

  Statement(QrtFcb* fcb, QrtProgramEntry* entry);
};

// --- What the file and the OPEN are -----------------------------------------------------------------------

inline bool isOptional(const QrtFileDescription& description) {
  return (description.attributes & QRT_FILE_OPTIONAL) != 0;
}

inline bool isVariable(const QrtFileDescription& description) {
  return (description.recordFormat & QRT_RECORD_VARIABLE) != 0;
}

inline bool hasSequentialAccess(const QrtFileDescription& description) {
  return (description.accessMode & QRT_ACCESS_SEQUENTIAL) != 0;
}

// Sequential or dynamic access: READ NEXT and START are possible.
inline bool canGoOn(const QrtFileDescription& description) {
  return (description.accessMode & QRT_ACCESS_RANDOM) == 0;
}

// READ in sequential access, or READ NEXT.
inline bool readsNext(const Statement& statement) {
  return hasSequentialAccess(statement.description) ||
         (statement.file.statementFlags & QRT_STATEMENT_READ_NEXT) != 0;
}

enum class OpenMode { none, input, output, inputOutput, extend };

// The mode that the OPEN in progress asks for; none unless it is exactly one.
OpenMode openModeOf(const QrtFcb& file);

// Bytes that a WRITE or REWRITE stores; 44 when a variable record is shorter or longer than described.
inline Outcome lengthToWrite(const Statement& statement, uint32_t& length) {
  const QrtFileDescription& description = statement.description;
  length = isVariable(description) ? statement.file.recordLength : description.maxRecord;
  const bool fits =
      length <= description.maxRecord && (!isVariable(description) || length >= description.minRecord);
  return {fits ? status::success : status::badRecordLength};
}

// Fills the record area behind a record of `length` bytes with blanks of the program's character set.
void padRecord(const Statement& statement, uint32_t length);

// --- Where the file stands
// ----------------------------------------------------------------------------------

// READ NEXT has a record to go on from: neither at end, nor behind a READ or START that failed. Else 46.
inline bool hasNextRecord(const QrtFcb& file) {
  return (file.flags & (QRT_FCB_READ_POSITION | QRT_FCB_POSITIONED)) != 0;
}

// REWRITE and DELETE in sequential access have a record: the statement before was a READ that found it. Else
// 43.
inline bool followsRead(const QrtFcb& file) {
  return file.lastOperation == QRT_VERB_READ && (file.flags & QRT_FCB_READ_POSITION) != 0;
}

// --- The end of a verb
// ----------------------------------------------------------------------------------------

// The end of an adapter's OPEN: status and extended status. The library does the rest (FILE STATUS, USE
// procedure). Install the verbs' routines only when the outcome hasn't failed. OPEN INPUT of an OPTIONAL file
// that is absent is 5 with QRT_FCB_ABSENT set and no routine installed: the library's entries serve such a
// file, CLOSE included.
void finishOpen(const Statement& statement, Outcome outcome);

// The end of READ, START, WRITE, REWRITE and DELETE, by QRT_VERB_*: keeps the flags above, sets lastOperation
// and both status areas, and from status 10 on runs the USE procedure. A USE procedure may close the file:
// what the verb wants of its state comes before this call.
void finishVerb(const Statement& statement, uint8_t verb, Outcome outcome);

// A READ at the end of a member of a concatenation. True when the next member is open, whose READ routine
// then goes on; otherwise the READ is over, with 10, or with 33 and the file closed.
bool enteredNextMember(const Statement& statement);

// CLOSE REEL or UNIT of a sequential file: 07, and the file stays open. True when that was asked for; the
// verb is over then.
bool finishedAsReel(const Statement& statement);

// The end of CLOSE, once the organization has released what its block holds: frees the block and closes the
// control block by _qrtGenericClose.
void finishClose(const Statement& statement, Outcome outcome);

// --- The organizations
// ------------------------------------------------------------------------------------------

// Open routines: each opens the file that the control block names and installs its own routines.
void openSequential(QrtFcb* file, QrtProgramEntry* program);
void openRelative(QrtFcb* file, QrtProgramEntry* program);
void openIndexed(QrtFcb* file, QrtProgramEntry* program);

}  // namespace qrt::plt
