// Line sequential files over buffered streams. On disk a line feed stands between records, and at CLOSE one
// behind the last; trailing blanks are not stored.
#include "fileio/line_sequential.h"

#include <emmintrin.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "fileio/control.h"
#include "fileio/status.h"
#include "platform/file_state.h"
#include "platform/streams.h"
#include "platform/text_files.h"

namespace qrt::fileio {
namespace {

constexpr uint8_t recordWritten = 0x40;
constexpr uint8_t advancingPage = 0x04;
constexpr uint8_t advancingGiven = 0x20;
constexpr uint8_t flushAtEndOfRecord = 0x20;

constexpr char lineFeed = '\n';
constexpr char formFeed = '\f';
constexpr char carriageReturn = '\r';
constexpr uint8_t ebcdicBlank = 0x40;

constexpr uint32_t streamBufferSize = 64 * 1024;

// The blank of the program's character set.
uint8_t blankOf(const QrtProgramEntry* program) {
  return (program->block->flags & QRT_PROGRAM_EBCDIC) != 0 ? ebcdicBlank : uint8_t{' '};
}

// --- OPEN ---------------------------------------------------------------------------------------------

// The stream mode of the OPEN that is asked for, null for none. Sets the status.
const char* streamModeFor(QrtFcb& file, const QrtFileDescription& description) {
  if ((file.openRequest & QRT_OPEN_OUTPUT) != 0) return "w";
  if (platform::isThere(file.fileName)) {
    if ((file.openRequest & QRT_OPEN_INPUT) != 0) return "r";
    if ((file.openRequest & QRT_OPEN_EXTEND) != 0) return "a";
    file.status = status::modeNotSupported;
    return nullptr;
  }
  if ((description.attributes & QRT_FILE_OPTIONAL) == 0) {
    file.status = status::absent;
    return nullptr;
  }
  file.status = status::optionalAbsent;
  file.flags |= QRT_FCB_ABSENT;
  return (file.openRequest & QRT_OPEN_CAN_READ) != 0 ? nullptr : "w";
}

int16_t openFailureStatus(int systemError) {
  switch (platform::openFailureOf(systemError)) {
    case platform::OpenFailure::refused:
      return status::modeNotSupported;
    case platform::OpenFailure::inUse:
      return status::alreadyOpen;
    default:
      return status::permanentError;
  }
}

// Gives the stream a large buffer, which goes with the control block's adapter blocks behind the stream. An
// adapter may hold a block of its own there, and in a hosted run blocks can go with their run unit ahead of
// the stream: then the stream keeps its usual buffer.
void enlargeBuffer(QrtFcb& file) {
  if (_qrtIsTrax != 0 || file.adapterBlock1 != nullptr) return;
  file.adapterBlock1 = _qrtCheckMalloc(streamBufferSize);
  if (file.adapterBlock1 != nullptr)
    setvbuf(file.stream, static_cast<char*>(file.adapterBlock1), _IOFBF, streamBufferSize);
}

void installRoutines(QrtFcb& file) {
  if ((file.openRequest & (QRT_OPEN_OUTPUT | QRT_OPEN_EXTEND)) != 0) file.writeRoutine = _qrtLineSeqWrite;
  if ((file.openRequest & (QRT_OPEN_INPUT | QRT_OPEN_IO)) != 0) file.readRoutine = _qrtLineSeqRead;
  file.closeRoutine = _qrtLineSeqClose;
}

// --- READ ---------------------------------------------------------------------------------------------

int16_t statusOfNoLine(QrtFcb& file) {
  if (ferror_unlocked(file.stream)) return status::permanentError;
  if ((file.flags & QRT_FCB_AT_END) != 0) return status::noNextRecord;
  file.record[0] = 0;
  file.readLength = 0;
  file.flags |= QRT_FCB_AT_END;
  return status::atEnd;
}

void padRecord(QrtFcb& file, uint32_t length, uint32_t maxRecord, uint8_t blank) {
  if (length < maxRecord) memset(file.record + length, blank, maxRecord - length);
}

// The usual READ in one pass: copies the line while it looks for its end. False, with nothing taken from the
// stream, when the line isn't all in the stream's buffer, is longer than the record or holds a zero byte.
bool readBufferedLine(QrtFcb& file, uint32_t maxRecord, uint8_t blank) {
  const std::string_view ahead = platform::readAhead(file.stream);
  const size_t limit = std::min<size_t>(ahead.size(), maxRecord + 1);
  const __m128i lineFeeds = _mm_set1_epi8(lineFeed);
  size_t at = 0;
  int ends = 0;
  for (; at + 16 <= limit; at += 16) {
    const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ahead.data() + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(file.record + at), sixteen);
    const __m128i isEnd =
        _mm_or_si128(_mm_cmpeq_epi8(sixteen, lineFeeds), _mm_cmpeq_epi8(sixteen, _mm_setzero_si128()));
    ends = _mm_movemask_epi8(isEnd);
    if (ends != 0) break;
  }
  if (ends != 0)
    at += __builtin_ctz(ends);
  else
    for (; at < limit && ahead[at] != lineFeed && ahead[at] != 0; ++at) file.record[at] = ahead[at];
  if (at == limit || ahead[at] == 0) return false;
  platform::skipReadAhead(file.stream, at + 1);
  file.readLength = static_cast<uint32_t>(at);
  padRecord(file, file.readLength, maxRecord, blank);
  return true;
}

// Takes the line that lies in the record area, with its line feed if it has one, for the record.
void takeLine(QrtFcb& file, uint32_t maxRecord, uint8_t blank) {
  uint8_t* const record = file.record;
  // A zero byte ends the text of a line, though not the line.
  auto length = static_cast<uint32_t>(strlen(reinterpret_cast<const char*>(record)));
  if (length > 0 && record[length - 1] == lineFeed) --length;
  file.readLength = length;
  padRecord(file, length, maxRecord, blank);
}

// Reads any line, or finds that there is none.
void readLine(QrtFcb& file, uint32_t maxRecord, uint8_t blank) {
  if (readBufferedLine(file, maxRecord, blank)) return;
  // Room for one character behind the record and for the terminator: the line feed of a full record, or the
  // character that is lost when the line is longer. A last line of exactly the record's length has met the
  // end of the file already, so that nothing is left to be read behind it.
  const auto room = static_cast<int>(maxRecord + 2);
  if (fgets_unlocked(reinterpret_cast<char*>(file.record), room, file.stream) != nullptr)
    takeLine(file, maxRecord, blank);
  else
    file.status = statusOfNoLine(file);
}

// --- WRITE --------------------------------------------------------------------------------------------

bool put(QrtFcb& file, char character) {
  return putc_unlocked(character, file.stream) != EOF;
}

// A record that has been written before is ended by what goes out ahead of the next one.
bool putAfterRecord(QrtFcb& file, char character) {
  return file.recordState != recordWritten || put(file, character);
}

bool putLineFeeds(QrtFcb& file, uint32_t count) {
  for (; count > 0; --count)
    if (!put(file, lineFeed)) return false;
  return true;
}

// Vertical control ahead of a record.
bool advance(QrtFcb& file) {
  if ((file.advanceFlags & advancingPage) != 0)
    return putAfterRecord(file, carriageReturn) && put(file, formFeed);
  if ((file.advanceFlags & advancingGiven) == 0) return putAfterRecord(file, lineFeed);
  switch (file.advanceLines) {
    case 0:
      return putAfterRecord(file, carriageReturn);
    case 1:
      return put(file, lineFeed);
    default:
      return putAfterRecord(file, lineFeed) && putLineFeeds(file, file.advanceLines - 1);
  }
}

bool isDropped(uint8_t character, uint8_t blank) {
  return character == ' ' || (character >= '\t' && character <= '\r') || character == blank;
}

// Length of the record without its trailing white space and blanks.
size_t lengthToStore(const uint8_t* record, size_t length, uint8_t blank) {
  const __m128i blanks = _mm_set1_epi8(static_cast<char>(blank));
  const auto allBlank = [=](const uint8_t* bytes) {
    const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(sixteen, blanks)) == 0xFFFF;
  };
  for (;;) {
    while (length >= 16 && allBlank(record + length - 16)) length -= 16;
    const size_t stop = length > 16 ? length - 16 : 0;
    while (length > stop && isDropped(record[length - 1], blank)) --length;
    if (length > stop || length == 0) return length;
  }
}

bool putRecord(QrtFcb& file, uint8_t blank) {
  const size_t length = lengthToStore(file.record, file.recordLength, blank);
  return fwrite_unlocked(file.record, 1, length, file.stream) == length;
}

bool flushIfAsked(QrtFcb& file, const QrtFileDescription& description) {
  const bool asked =
      (file.flags & QRT_FCB_TERMINAL) != 0 ||
      ((description.lineFlags & flushAtEndOfRecord) != 0 && description.flushLength == file.recordLength);
  return !asked || fflush_unlocked(file.stream) == 0;
}

}  // namespace

void openLineSequential(QrtFcb* file, QrtProgramEntry* program) {
  const QrtFileDescription& description = descriptionFor(*file, program);
  if (description.organization != QRT_ORGANIZATION_SEQUENTIAL &&
      description.organization != QRT_ORGANIZATION_LINE_SEQUENTIAL) {
    file->status = status::attributeConflict;
    return;
  }
  file->stream = nullptr;
  const char* mode = streamModeFor(*file, description);
  if (mode == nullptr) return;
  file->stream = platform::openTextFile(file->fileName, mode);
  if (file->stream == nullptr) {
    file->status = openFailureStatus(errno);
    return;
  }
  if (platform::isInteractive(file->stream)) file->flags |= QRT_FCB_TERMINAL;
  enlargeBuffer(*file);
  installRoutines(*file);
}

void readLineSequential(QrtFcb* file, QrtProgramEntry* program) {
  const QrtFileDescription& description = descriptionFor(*file, program);
  file->status = status::success;
  file->currentOperation = QRT_VERB_READ;
  readLine(*file, description.maxRecord, blankOf(program));
  reportStatus(*file, description, program);
  file->lastOperation = QRT_VERB_READ;
}

void writeLineSequential(QrtFcb* file, QrtProgramEntry* program) {
  const QrtFileDescription& description = descriptionFor(*file, program);
  file->status = status::success;
  file->currentOperation = QRT_VERB_WRITE;
  if (file->recordLength < description.minRecord || file->recordLength > description.maxRecord)
    file->status = status::badRecordLength;
  else if (!advance(*file) || !putRecord(*file, blankOf(program)) || !flushIfAsked(*file, description))
    file->status = status::permanentError;
  reportStatus(*file, description, program);
  if (file->status < status::atEnd) file->recordState = recordWritten;
  file->lastOperation = QRT_VERB_WRITE;
  file->advanceLines = 1;
}

void closeLineSequential(QrtFcb* file, QrtProgramEntry* program) {
  file->currentOperation = QRT_VERB_CLOSE;
  file->status = status::success;
  // The flags are still those of the last CLOSE when the end of the run adds its own: then the file is closed
  // for good.
  if ((file->closeFlags & (QRT_CLOSE_UNIT | QRT_CLOSE_SILENT)) == QRT_CLOSE_UNIT) {
    file->status = status::noReel;
    writeFileStatus(*file, descriptionFor(*file, program));
    file->lastOperation = QRT_VERB_CLOSE;
    return;
  }
  const bool writes = (file->openState & (QRT_OPEN_OUTPUT | QRT_OPEN_EXTEND)) != 0;
  // Once a record has been lost, the file isn't whole, even if the rest of it could be stored.
  const bool ended = !writes || (putAfterRecord(*file, lineFeed) && !ferror_unlocked(file->stream));
  const bool absentInput = file->stream == nullptr;
  const bool closed = absentInput || fclose(file->stream) == 0;
  file->stream = nullptr;
  if (!ended || !closed) file->status = status::permanentError;
  _qrtGenericClose(file, program, 0);
}

}  // namespace qrt::fileio
