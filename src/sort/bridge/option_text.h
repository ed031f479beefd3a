// The option text of an engine run, put together piece by piece.
#pragma once

#include <cstdint>
#include <string_view>

#include "sort/bridge/context.h"

namespace qrt::sort::bridge {

// A text that grows; without memory it stays as it was and `failed` is set.
class Text {
 public:
  Text() = default;
  ~Text() { _qrtCheckFree(text); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  Text& operator<<(std::string_view piece);
  Text& operator<<(int32_t number);
  const char* terminated() const { return text != nullptr ? text : ""; }
  bool failed() const { return outOfMemory; }

 private:
  char* text = nullptr;
  uint32_t length = 0, room = 0;
  bool outOfMemory = false;
};

// A file name as a word of the text: quotes, blanks and a hyphen at its front mean nothing else there.
Text& addName(Text& text, std::string_view name);

// "bin" fields that cover `length` bytes; returns how many.
int32_t addBinFields(Text& text, int32_t length);

// The format with its keys as fields, and the key ranges over it; false without memory.
bool addFormatAndKeys(Text& text, const QrtSortKeyList& keys, const QrtSortRecordSpec& record);

// ` -x 'inorg` or `outorg` with the words of `count` entries.
void addOrganizations(Text& text, std::string_view option, const FileEntry* entries, int32_t count);

void addTraceOptions(Text& text, bool trace);

// `-x 'reformat FIELD` with blanks up to a longer target, an end before a shorter one, and constants behind
// it. Fields are of `fieldLength` bytes.
constexpr int32_t longestBin = 4095;
void addFitted(Text& text, int32_t field, int32_t sourceLength, int32_t targetLength, std::string_view ending,
               int32_t fieldLength = longestBin);

// The reformat of the primary run, and the kind in which records then come out.
RecordKind addPrimaryReformat(Text& text, const Context& context, bool textInput);

// The reformat of a copy from one output to another, the kind of what comes out, and the exit that it needs.
enum class CopyExit : uint8_t { none, scan, pad };
struct Copy {
  RecordKind outputKind;
  CopyExit exit;
};
Copy copyOf(const QrtFcb& source, const QrtFcb& target, const QrtSortRecordSpec& record);
void addCopyReformat(Text& text, const QrtFcb& source, const QrtFcb& target, const QrtSortRecordSpec& record,
                     int32_t field);

}  // namespace qrt::sort::bridge
