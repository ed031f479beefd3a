// The text form of a record file: a heading that tells its attributes, then a line for each record.
//
//     #qrtfile 1 indexed variable 2 80
//     #key 0 5
//     #key 5 10 duplicates
//     00001Smith\x20
//
// The first line names organization, record format, shortest and longest record. A line of a relative file
// starts with the record number and a blank. A record stands as it is, but for `\\` for a backslash, `\n` for
// a line feed, and `\xHH` for every other byte that isn't printable ASCII, for a last blank and for a first
// "#".
#pragma once

#include <iosfwd>
#include <string_view>

#include "attributes.h"

namespace qrt::file {

void writeHeading(std::ostream& text, const Attributes& attributes);

// One line, without its end. `number` counts for a relative file, else it is 0.
std::string lineOf(std::string_view record, uint32_t number);

// The record of a line; with a number in front when `number` isn't null. Throws a Failure.
std::string recordOf(std::string_view line, uint32_t* number);

// Lines of a text in turn, with their number for messages.
class LineReader {
 public:
  LineReader(std::istream& text, std::string name) : text_(text), name_(std::move(name)) {}

  Attributes heading();
  bool next(std::string_view& line);
  [[noreturn]] void fail(const std::string& reason) const;

 private:
  bool advance();

  std::istream& text_;
  std::string name_, line_;
  uint64_t count_ = 0;
  bool pending_ = false;  // the line has been read, but is still to be given
};

}  // namespace qrt::file
