// The text form of a record file.
#include "text_form.h"

#include <charconv>
#include <istream>
#include <ostream>
#include <sstream>

namespace qrt::file {
namespace {

constexpr std::string_view hexadecimal = "0123456789ABCDEF";

bool isPlain(char byte) {
  return byte >= ' ' && byte <= '~' && byte != '\\';
}

void appendEscaped(std::string& line, char byte) {
  const auto value = static_cast<uint8_t>(byte);
  if (byte == '\\')
    line += "\\\\";
  else if (byte == '\n')
    line += "\\n";
  else
    (line += "\\x") += {hexadecimal[value / 16], hexadecimal[value % 16]};
}

// The byte of an escape that starts behind its backslash; takes it off the line.
char takeEscape(std::string_view& line) {
  const char kind = line.empty() ? 0 : line[0];
  const size_t length = kind == 'x' ? 3 : 1;
  unsigned value = 0;
  if (kind == 'x' && line.size() >= length) {
    const auto parsed = std::from_chars(line.data() + 1, line.data() + length, value, 16);
    if (parsed.ptr != line.data() + length) throw Failure("a \\x wants two hexadecimal digits");
  } else if (kind != '\\' && kind != 'n') {
    throw Failure("a backslash wants \\, n or x and two hexadecimal digits behind it");
  }
  line.remove_prefix(length);
  return kind == 'x' ? static_cast<char>(value) : kind == 'n' ? '\n' : '\\';
}

uint8_t organizationNamed(const std::string& name) {
  for (const int organization :
       {QRT_ORGANIZATION_SEQUENTIAL, QRT_ORGANIZATION_RELATIVE, QRT_ORGANIZATION_INDEXED})
    if (name == nameOf(static_cast<uint8_t>(organization))) return static_cast<uint8_t>(organization);
  throw Failure("unknown organization " + name);
}

}  // namespace

void writeHeading(std::ostream& text, const Attributes& attributes) {
  text << "#qrtfile 1 " << nameOf(attributes.organization) << (attributes.variable ? " variable " : " fixed ")
       << attributes.shortest << ' ' << attributes.longest << '\n';
  for (const QrtFileKey& key : attributes.keys)
    text << "#key " << key.offset << ' ' << key.length
         << ((key.flags & QRT_KEY_DUPLICATES) != 0 ? " duplicates\n" : "\n");
}

std::string lineOf(std::string_view record, uint32_t number) {
  std::string line = number != 0 ? std::to_string(number) + " " : "";
  line.reserve(line.size() + record.size() + 8);
  for (size_t at = 0; at < record.size(); ++at) {
    const bool misread =
        (record[at] == '#' && line.empty()) || (record[at] == ' ' && at + 1 == record.size());
    if (isPlain(record[at]) && !misread)
      line += record[at];
    else
      appendEscaped(line, record[at]);
  }
  return line;
}

std::string recordOf(std::string_view line, uint32_t* number) {
  if (number != nullptr) {
    const auto parsed = std::from_chars(line.data(), line.data() + line.size(), *number);
    const auto digits = static_cast<size_t>(parsed.ptr - line.data());
    if (parsed.ec != std::errc() || digits == line.size() || line[digits] != ' ')
      throw Failure("a record number and a blank are missing");
    line.remove_prefix(digits + 1);
  }
  std::string record;
  record.reserve(line.size());
  while (!line.empty()) {
    const char first = line[0];
    line.remove_prefix(1);
    record += first == '\\' ? takeEscape(line) : first;
  }
  return record;
}

bool LineReader::advance() {
  if (!std::getline(text_, line_)) return false;
  ++count_;
  return true;
}

void LineReader::fail(const std::string& reason) const {
  throw Failure(name_ + ":" + std::to_string(count_) + ": " + reason);
}

Attributes LineReader::heading() {
  Attributes attributes;
  std::string word, organization, format;
  uint32_t version = 0;
  if (advance())
    std::istringstream(line_) >> word >> version >> organization >> format >> attributes.shortest >>
        attributes.longest;
  if (word != "#qrtfile") fail("the heading \"#qrtfile 1 ORGANIZATION FORMAT SHORTEST LONGEST\" is missing");
  if (version != 1) fail("written by a later version");
  if ((format != "fixed" && format != "variable") || attributes.longest == 0)
    fail("a heading of another form");
  attributes.organization = organizationNamed(organization);
  attributes.variable = format == "variable";
  while ((pending_ = advance()) && line_.starts_with("#")) {
    QrtFileKey key = {};
    std::string duplicates;
    std::istringstream words(line_);
    if (!(words >> word >> key.offset >> key.length) || word != "#key") fail("a key has another form");
    words >> duplicates;
    key.flags = duplicates == "duplicates" ? QRT_KEY_DUPLICATES : 0;
    attributes.keys.push_back(key);
  }
  if ((attributes.organization == QRT_ORGANIZATION_INDEXED) == attributes.keys.empty())
    fail("keys belong to indexed files, and to each of them");
  return attributes;
}

bool LineReader::next(std::string_view& line) {
  if (!pending_ && !advance()) return false;
  pending_ = false;
  line = line_;
  return true;
}

}  // namespace qrt::file
