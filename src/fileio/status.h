// FILE STATUS: its values, its areas, the USE procedures behind it and the verbs of a file in a wrong state.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// The values that the library sets by itself.
namespace status {
inline constexpr int16_t success = 0;
inline constexpr int16_t optionalAbsent = 5;
inline constexpr int16_t noReel = 7;
inline constexpr int16_t atEnd = 10;
inline constexpr int16_t noRecord = 23;
inline constexpr int16_t permanentError = 30;
inline constexpr int16_t unresolved = 33;
inline constexpr int16_t noMemoryForName = 34;
inline constexpr int16_t absent = 35;
inline constexpr int16_t modeNotSupported = 37;
inline constexpr int16_t locked = 38;
inline constexpr int16_t attributeConflict = 39;
inline constexpr int16_t alreadyOpen = 41;
inline constexpr int16_t notOpen = 42;
inline constexpr int16_t badRecordLength = 44;
inline constexpr int16_t noNextRecord = 46;
inline constexpr int16_t notOpenForRead = 47;
inline constexpr int16_t notOpenForWrite = 48;
inline constexpr int16_t notOpenForRewrite = 49;
inline constexpr int16_t sequentialWriteInIo = 92;
inline constexpr int16_t noAdapter = 96;
}  // namespace status

// Writes the file's status to the FILE STATUS area of the description, in its form.
void writeFileStatus(const QrtFcb& file, const QrtFileDescription& description);

// Ends a statement: writes FILE STATUS and runs the USE procedure of a status of 10 or above.
void reportStatus(QrtFcb& file, const QrtFileDescription& description, QrtProgramEntry* program);

// Runs the USE procedure for the verb in progress, or ends the run with message 200 when a permanent error
// has neither that nor a status area. `detail` is the variant of message 201 that explains it; 0 for none.
void callUseProcedure(QrtFcb* file, int32_t detail, QrtProgramEntry* program);

// Fills an extended status area: blanks, the code in six digits, and behind it the file's name where the
// status is about that. The second form names the file system too when that has no adapter.
void fillExtendedStatus(uint8_t* area, int32_t length, int32_t code, const QrtFcb* file, int32_t unused);
void fillExtendedStatusWithSystem(uint8_t* area, int32_t length, int32_t code, const QrtFcb* file,
                                  int32_t unused);

// Fills the extended status area of the description, if there is one, in its form.
void writeExtendedStatus(const QrtFcb& file, const QrtFileDescription& description, int32_t code);

// The verbs of a file that is in the wrong state for them.
void openError(QrtFcb* file, QrtProgramEntry* program);
void closeError(QrtFcb* file, QrtProgramEntry* program);
void readError(QrtFcb* file, QrtProgramEntry* program);
void writeError(QrtFcb* file, QrtProgramEntry* program);
void rewriteError(QrtFcb* file, QrtProgramEntry* program);
void startError(QrtFcb* file, QrtProgramEntry* program);
void deleteError(QrtFcb* file, QrtProgramEntry* program);

}  // namespace qrt::fileio
