// Splitting of option texts. A quote behind a backslash is ordinary; within double quotes backslashes pair up
// with what follows them.
#include "sort/engine/words.h"

#include "sort/engine/messages.h"

namespace qrt::sort {
namespace {

constexpr int32_t openQuote = 51;
constexpr int32_t openDoubleQuote = 52;

// One pass over a text; `target` takes the words, each terminated, in as much room as the text and one byte.
struct Splitter {
  std::string_view text;
  char* target;
  size_t at = 0;

  bool isQuote(char quote) const { return text[at] == quote && (at == 0 || text[at - 1] != '\\'); }

  void take(size_t count) {
    while (count-- > 0) *target++ = text[at++];
  }

  int32_t takeDoubleQuoted() {
    const size_t length = quotedLength(text.substr(at));
    if (length == 0) return message(openDoubleQuote);
    take(length);
    return 0;
  }

  int32_t takeSingleQuoted() {
    ++at;
    while (at < text.size() && !isQuote('\'')) {
      if (!isQuote('"'))
        take(1);
      else if (const int32_t code = takeDoubleQuoted(); code != 0)
        return code;
    }
    if (at == text.size()) return message(openQuote);
    ++at;
    return 0;
  }

  int32_t takeWord() {
    if (isQuote('"')) return takeDoubleQuoted();
    while (at < text.size() && !isBlank(text[at]) && !isQuote('"')) {
      if (!isQuote('\''))
        take(1);
      else if (const int32_t code = takeSingleQuoted(); code != 0)
        return code;
    }
    return 0;
  }
};

}  // namespace

size_t quotedLength(std::string_view text) {
  for (size_t at = 1; at < text.size(); ++at) {
    if (text[at] == '"') return at + 1;
    if (text[at] == '\\') ++at;
  }
  return 0;
}

int32_t splitWords(SessionMemory& memory, std::string_view text, WordTable& words) {
  const size_t room = text.size() * 2 + 1;  // each word brings its terminator
  Splitter splitter{text, static_cast<char*>(memory.allocateBuffer(room))};
  if (splitter.target == nullptr) return noMemory(room);
  for (;;) {
    while (splitter.at < text.size() && isBlank(text[splitter.at])) ++splitter.at;
    if (splitter.at == text.size()) return 0;
    char* const start = splitter.target;
    if (const int32_t code = splitter.takeWord(); code != 0) return code;
    std::string_view* const word = words.add(memory);
    if (word == nullptr) return noMemory(sizeof(std::string_view));
    *word = {start, static_cast<size_t>(splitter.target - start)};
    *splitter.target++ = 0;
  }
}

int32_t splitTokens(SessionMemory& memory, std::string_view text, const std::string_view* symbols,
                    size_t symbolCount, WordTable& tokens) {
  const auto symbolAt = [&](size_t at) {
    std::string_view longest;
    for (size_t index = 0; index < symbolCount; ++index)
      if (symbols[index].size() > longest.size() && text.substr(at).starts_with(symbols[index]))
        longest = symbols[index];
    return longest.size();
  };
  for (size_t at = 0; at < text.size();) {
    if (isBlank(text[at])) {
      ++at;
      continue;
    }
    size_t length = symbolAt(at);
    if (length == 0 && text[at] == '"') {
      length = quotedLength(text.substr(at));
      if (length == 0) return message(openDoubleQuote);
    }
    if (length == 0) do
        ++length;
      while (at + length < text.size() && !isBlank(text[at + length]) && text[at + length] != '"' &&
             symbolAt(at + length) == 0);
    std::string_view* const token = tokens.add(memory);
    if (token == nullptr) return noMemory(sizeof(std::string_view));
    *token = text.substr(at, length);
    at += length;
  }
  return 0;
}

size_t unescape(std::string_view text, char* target) {
  char* const start = target;
  for (size_t at = 0; at < text.size(); ++at) {
    char character = text[at];
    if (character == '\\' && at + 1 < text.size()) {
      character = text[++at];
      switch (character) {
        case 'n':
          character = '\n';
          break;
        case 't':
          character = '\t';
          break;
        case 'r':
          character = '\r';
          break;
        case 'v':
          character = '\v';
          break;
        default:
          break;
      }
    }
    *target++ = character;
  }
  return static_cast<size_t>(target - start);
}

}  // namespace qrt::sort
