// The forms of generation names.
#include "fileio/generation_name.h"

#include <stdio.h>

#include <algorithm>

#include "platform/paths.h"

namespace qrt::fileio {
namespace {

constexpr size_t suffixLength = 9;

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool isNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

bool isSign(char character) {
  return character == '+' || character == '-';
}

// Value of digits, which stops growing above what a generation can be.
int32_t valueOf(std::string_view digits) {
  int32_t value = 0;
  for (char digit : digits) value = std::min(value * 10 + (digit - '0'), highestGeneration + 1);
  return value;
}

// The text between the brackets that end a name, or none when it doesn't end so. A null view has no data.
std::string_view bracketed(std::string_view last) {
  if (last.empty() || last.back() != ')') return {};
  const size_t open = last.rfind('(');
  if (open == last.npos) return {};
  return last.substr(open + 1, last.size() - open - 2);
}

// Whether the name ends like the file of a generation, as in .g0001v00.
bool hasGenerationSuffix(std::string_view last) {
  if (last.size() < suffixLength) return false;
  const std::string_view suffix = last.substr(last.size() - suffixLength);
  return suffix.starts_with(".g") && isNumber(suffix.substr(2, 4)) && suffix.ends_with("v00");
}

bool parseBracketed(std::string_view chosen, GenerationName& parsed) {
  if (chosen == "*") {
    parsed.form = GenerationForm::group;
    return true;
  }
  const bool isSigned = !chosen.empty() && isSign(chosen[0]);
  const std::string_view digits = chosen.substr(isSigned ? 1 : 0);
  if (!isNumber(digits)) return false;
  const int32_t value = valueOf(digits);
  parsed.number = isSigned && chosen[0] == '-' ? -value : value;
  parsed.form = isSigned || value == 0 ? GenerationForm::relative : GenerationForm::direct;
  return true;
}

}  // namespace

bool parseGenerationName(std::string_view name, GenerationName& parsed) {
  parsed = {name, GenerationForm::group, 0};
  const std::string_view last = splitAtLast(name).last;
  const std::string_view chosen = bracketed(last);
  if (chosen.data() != nullptr && parseBracketed(chosen, parsed)) {
    parsed.base = name.substr(0, name.size() - chosen.size() - 2);
  } else if (hasGenerationSuffix(last)) {
    parsed.base = name.substr(0, name.size() - suffixLength);
    parsed.form = GenerationForm::absolute;
    parsed.number = valueOf(last.substr(last.size() - suffixLength + 2, 4));
  }
  const bool isNamed = !splitAtLast(parsed.base).last.empty() && parsed.base.size() <= longestBaseName;
  return isNamed && parsed.number >= -highestGeneration && parsed.number <= highestGeneration;
}

void PathText::append(std::initializer_list<std::string_view> parts) {
  for (std::string_view part : parts) {
    if (length + part.size() >= sizeof(text)) {
      fits = false;
      return;
    }
    std::copy(part.begin(), part.end(), text + length);
    length += part.size();
    text[length] = 0;
  }
}

void setGenerationFileName(PathText& name, std::string_view base, int32_t generation) {
  char suffix[32];
  snprintf(suffix, sizeof(suffix), ".g%4.4dv%2.2d", static_cast<int>(generation), 0);
  name.set({base, suffix});
}

PathParts splitAtLast(std::string_view path) {
  size_t at = path.size();
  while (at > 0 && !platform::isSeparator(path[at - 1])) --at;
  if (at == 0) return {".", path};
  return {at == 1 ? "/" : path.substr(0, at - 1), path.substr(at)};
}

}  // namespace qrt::fileio
