// Random record layouts and records of them, with what their fields hold.
#pragma once

#include <span>

#include "field_kinds.h"

namespace qrt::test {

struct FieldValue {
  bool isNull = false, isAbsent = false;
  std::string bytes;
};

struct FieldPlan {
  const Kind* kind;
  size_t length;
  bool nullable, flength;
  int number = 0;  // in the format, from 1

  bool isText() const { return std::string_view(kind->keyword) == "char"; }
  bool isBytes() const { return isText() || std::string_view(kind->keyword) == "bin"; }
  // The range of all its bytes.
  std::string range(const std::string& modifiers = "") const {
    return std::to_string(number) + modifiers + "," + std::to_string(number);
  }
};

struct Record {
  std::string bytes;
  std::vector<FieldValue> fields;
};

inline std::string blockOf(const std::vector<Record>& records) {
  std::string block;
  for (const Record& record : records) block += record.bytes;
  return block;
}

// The bytes of a record behind its length field, which may be none.
inline std::string withLength(std::string_view lengthField, const std::string& bytes) {
  const size_t size = lengthField.empty() ? 0 : lengthField.starts_with("rlength2") ? 2 : 4;
  const auto length = static_cast<uint32_t>(bytes.size() + (lengthField.ends_with('x') ? 0 : size));
  return std::string(reinterpret_cast<const char*>(&length), size) + bytes;
}

struct Layout {
  std::string format, lengthField;  // empty for fixed records
  std::vector<FieldPlan> fields;

  // Fields of one type aren't joined: an "int" stands between two of char or bin.
  Layout(Random& random, bool variable, size_t count, std::span<const Kind> from = kinds) {
    static constexpr const char* lengthFields[] = {"rlength2", "rlength2x", "rlength4", "rlength4x"};
    if (variable) format = lengthField = lengthFields[below(random, 4)];
    int number = variable ? 1 : 0;
    for (size_t at = 0; at < count; ++at) {
      FieldPlan field{&from[below(random, from.size())], 0, below(random, 3) == 0, false};
      if (!fields.empty() && field.isBytes() && fields.back().isBytes()) field.kind = &kinds[0];
      field.length = field.kind->longest == 0 ? field.kind->size : 1 + below(random, field.kind->longest);
      field.flength = variable && field.kind->longest != 0 && below(random, 3) == 0;
      if (field.nullable) format += " null", ++number;
      if (field.flength) format += " flength", ++number;
      format += std::string(" ") + field.kind->keyword;
      if (field.kind->longest != 0) format += " " + std::to_string(field.length);
      field.number = ++number;
      fields.push_back(field);
    }
  }

  bool isVariable() const { return !lengthField.empty(); }

  // A variable record may end behind any field, or within one of char or bin.
  Record record(Random& random) const {
    Record record;
    bool ended = false;
    for (const FieldPlan& field : fields) {
      FieldValue value{false, ended, {}};
      if (!ended) {
        value.isNull = field.nullable && below(random, 3) == 0;
        const size_t length = field.flength ? below(random, field.length + 1) : field.length;
        value.bytes = randomValue(random, field.kind->keyword, length);
        if (isVariable() && below(random, 8) == 0) {
          ended = true;
          if (field.isBytes() && !field.flength) value.bytes.resize(1 + below(random, length));
        }
        if (field.nullable) record.bytes += value.isNull ? '\1' : '\0';
        const auto flength = static_cast<uint16_t>(value.bytes.size());
        if (field.flength) record.bytes.append(reinterpret_cast<const char*>(&flength), 2);
        record.bytes += value.bytes;
        value.isAbsent = value.bytes.empty();
      }
      record.fields.push_back(value);
    }
    record.bytes = withLength(lengthField, record.bytes);
    return record;
  }
};

}  // namespace qrt::test
