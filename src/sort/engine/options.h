// What an option text says: the record that the parser fills and every later phase of the engine works from.
#pragma once

#include <stdint.h>

#include <string_view>

#include "qrtrlib.h"
#include "sort/engine/memory.h"

namespace qrt::sort {

// The types of fields, keys and constants.
enum class FieldType : int8_t {
  rlength2,
  rlength2x,
  rlength4,
  rlength4x,
  int32,
  uint32,
  int16,
  uint16,
  long32,
  ulong32,
  float32,
  float64,
  extended,
  numericText,  // a char range with modifier n
  dateText,     // a char range with modifier q
  fixed,
  packed,
  zoned,
  extlss,
  exttss,
  extlns,
  exttns,
  scint,
  scuint,
  bin,
  character,
  flength,
  null,
  charConstant,
  bitConstant,
  hexConstant,
  decimalConstant,
  floatConstant,
  nullConstant,
  kx70float,
  kx70double,
};
inline constexpr int32_t fieldTypeCount = 36;

struct FieldTypeRow {
  std::string_view keyword;  // a type whose name stands in < > has no keyword in an option text
  bool inFormat;
  bool asKey;
  bool hasLength;  // the keyword is followed by a length
  uint16_t least;  // bytes
  uint16_t most;
};

inline constexpr FieldTypeRow fieldTypes[fieldTypeCount] = {
    {"rlength2", true, false, false, 2, 2},     {"rlength2x", true, false, false, 2, 2},
    {"rlength4", true, false, false, 4, 4},     {"rlength4x", true, false, false, 4, 4},
    {"int", true, true, false, 4, 4},           {"uint", true, true, false, 4, 4},
    {"short", true, true, false, 2, 2},         {"ushort", true, true, false, 2, 2},
    {"long", true, true, false, 4, 4},          {"ulong", true, true, false, 4, 4},
    {"float", true, true, false, 4, 4},         {"double", true, true, false, 8, 8},
    {"extended", true, true, false, 16, 16},    {"<numeric char>", false, false, false, 0, 0},
    {"<date char>", false, false, false, 0, 0}, {"fixed", true, true, true, 1, 255},
    {"packed", true, true, true, 1, 255},       {"zoned", true, true, true, 1, 255},
    {"extlss", true, true, true, 1, 255},       {"exttss", true, true, true, 1, 255},
    {"extlns", true, true, true, 1, 255},       {"exttns", true, true, true, 1, 255},
    {"scint", true, true, false, 8, 8},         {"scuint", true, true, false, 8, 8},
    {"bin", true, true, true, 1, 4095},         {"char", true, true, true, 1, 65535},
    {"flength", true, true, false, 2, 2},       {"null", true, false, false, 1, 1},
    {"<char>", false, false, false, 0, 0},      {"<bit>", false, false, false, 0, 0},
    {"<hex>", false, false, false, 0, 0},       {"<decimal>", false, false, false, 0, 0},
    {"<float>", false, false, false, 0, 0},     {"<NULL constant>", false, false, false, 0, 0},
    {"kx70float", true, true, false, 4, 4},     {"kx70double", true, true, false, 8, 8},
};

constexpr const FieldTypeRow& rowOf(FieldType type) {
  return fieldTypes[static_cast<int32_t>(type)];
}

constexpr bool isLengthField(FieldType type) {
  return type <= FieldType::rlength4x;
}

constexpr bool isDecimal(FieldType type) {
  return type >= FieldType::packed && type <= FieldType::exttns;
}

// Bytes that pieces of a field can be named in.
constexpr bool isByteString(FieldType type) {
  return type == FieldType::character || type == FieldType::bin;
}

enum class MainFunction : uint8_t { sort, merge, copy, check, unset };

enum class Organization : uint8_t { lineSequential, byteStream, sequential, direct, indexed, notGiven };

using BufferRow = QrtSortBuffer;
using UserExit = QrtSortExit;

struct SortSource {
  enum class Kind : uint8_t { buffer = 1, standardInput, file };

  Kind kind;
  bool throughService;  // read through the caller's file service, not natively
  Organization organization;
  int32_t serviceIndex;  // of the file in the service: its place among all sources, from 0
  const char* name;      // "source_1" and so on for a buffer, "stdin"
  const BufferRow* buffer;
};

// A piece of the record. Positions are those of the obsolete form of an option text: all numbers count from 0
// and the end is exclusive. The piece starts `startByte` bytes and `startBit` bits behind the start of field
// `startField`; it ends `endByte` bytes and `endBit` bits behind the start of field `endField`, which is
// `SortOptions::largestField` for the end of the record. A range that names a whole field f is f,0,0 to
// f+1,0,0. With a format, a range covers fields of one type only, more than one field only of type char or
// bin; bits are below 8.
struct SortKey {
  FieldType type;
  int32_t startField, startByte, startBit;
  int32_t endField, endByte, endBit;
  uint8_t startMask;  // bits of the first byte that belong to the range
  uint8_t endMask;    // bits of the byte at the end position that do; 0xFF when endBit is 0

  // The modifiers, by their letters.
  bool blankStart;  // b at the start: blanks and tabs there are passed over
  bool blankEnd;    // b at the end; set only where endByte isn't 0
  bool dictionary;  // d
  bool trimEnd;     // e
  bool fold;        // f
  bool printable;   // i
  bool numeric;     // n
  bool date;        // q
  bool reverse;     // r
  bool yearWindow;  // w
  int32_t barrier;  // with a format: the barrier of the start field
};

// One field of the record layout. "null" and "flength" fields count as fields.
struct FormatField {
  FieldType type;
  bool nullable;      // a "null" field stands in front, or in front of the "flength" field in front
  bool hasFlength;    // an "flength" field stands in front
  int32_t length;     // bytes at most
  int32_t offset;     // of its first byte when all fields in front have their full length
  int32_t endOffset;  // offset + length
  int32_t barrier;    // the first field behind it that isn't joined to it: where a range through it must end
  int32_t fieldsBefore;  // fields in front of it whose length varies: their "flength" tells how far it moves
};

// A value that an option text spells out, in the form in which it is compared or written.
struct Constant {
  FieldType type;  // charConstant to nullConstant
  int32_t length;  // bytes
  int32_t bits;    // bitConstant: how many bits of the bytes count, from the left
  const uint8_t* bytes;
  const char* digits;  // a decimal or float constant as it was spelled, behind its 0d or 0f; else null
};

struct ReformatItem {
  enum class Kind : uint8_t { range, constant };

  Kind kind;
  SortKey range;      // type is the type of its start field
  Constant constant;  // all its repetitions; see constants.h for the form
};

enum class Comparison : uint8_t { equal, notEqual, greater, greaterOrEqual, less, lessOrEqual };

struct SelectCondition {
  enum class RightKind : uint8_t { field, constant };
  static constexpr int32_t keep = -1000;
  static constexpr int32_t omit = -999;

  SortKey left;
  Comparison comparison;
  RightKind rightKind;
  SortKey rightRange;
  Constant rightConstant;  // see constants.h for the form
  int32_t ifTrue;          // number of the next condition, or keep, or omit
  int32_t ifFalse;
  int32_t depth;  // of parentheses around it
  int32_t link;   // used while the expression is read
};

struct SumField {
  FieldType type;
  int32_t field;
  int32_t uses;  // how often the field stands in the reformat list; 0 without one
};

// A directory for intermediate files, in a circular list.
struct TempDir {
  TempDir* next;
  const char* name;
};

// Memory limits of the option file and of the entry; they show in the trace.
struct SortLimits {
  int32_t t1;
  int32_t t2;
  int32_t blockSize;    // bytes of an input block
  int32_t bufferCount;  // input buffers
};

enum class OutputKind : uint8_t { none, targetBuffers, standardOutput, file };

// "X/Open Specifications structure"
struct SortOptions {
  bool calledByProgram;
  MainFunction mainFunction;
  bool useCCollation;
  bool unique;
  bool verboseTotals;
  int64_t inputSizeEstimate;  // bytes, -1 for none
  int32_t memoryLimit;        // MiB, -1 for none
  bool stopAtUniqueViolation;
  bool nullsHighest;
  bool noSignalHandling;
  bool trace;
  bool noMessages;
  const char* messageFileName;
  const char* traceFileName;

  GrowingTable<SortSource> sources;
  const BufferRow* sourceBuffers;  // the caller's list, or null
  BufferRow* targetBuffers;        // the caller's list, or null

  OutputKind outputKind;
  const char* outputName;
  Organization outputOrganization;
  bool outputThroughService;
  bool outputPrefix;       // records of the output block carry their length in 4 bytes
  uint8_t outputTextMode;  // with a prefix: 4 for text lines, 5 for records

  bool separatorIsDefault;  // fields are split at blanks and tabs
  uint8_t separator;
  int32_t yearWindow;  // two digits, -1 for none
  uint8_t nullIndicator;
  int64_t stopAfter;  // -1 for no limit
  int64_t skipCount;

  int32_t largestField;  // index of the record's end in the field table of a record
  GrowingTable<SelectCondition> conditions;
  GrowingTable<SortKey> keys;
  TempDir* tempDirs;  // one of a circular list
  int32_t tempDirCount;
  GrowingTable<FormatField> format;
  bool variableLength;    // text lines, or records with their length in front
  bool binary;            // there is a format
  int32_t fixedLength;    // bytes of a fixed record, or of the length field of a variable one
  int32_t recordLength;   // bytes of the longest record
  bool hasFlengthFields;  // of the format: fields move from record to record
  GrowingTable<SumField> sums;
  GrowingTable<ReformatItem> reformat;
  FieldType reformatLengthField;  // the length field that the new record starts with
  bool reformatStartsWithLength;

  char localeName[60];
  bool localeCollation;
  const uint8_t* collatingTable;  // 256 bytes, or null
  UserExit inputExit;
  UserExit outputExit;

  enum class DataOrigin : uint8_t { unset, mvs, aix, os2 };
  DataOrigin dataOrigin;
};

}  // namespace qrt::sort
