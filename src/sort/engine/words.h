// Option texts into words, and lists of items within them into tokens.
#pragma once

#include <string_view>

#include "sort/engine/memory.h"

namespace qrt::sort {

using WordTable = GrowingTable<std::string_view>;

// Splits a text at blanks and tabs. Single quotes group and aren't kept; double quotes group, also within
// single quotes, and are kept; a double quote starts a word of its own and ends with it. The words are
// terminated and live in the session's memory. Returns 0 or the code of the message given.
int32_t splitWords(SessionMemory& memory, std::string_view text, WordTable& words);

// Splits an item list at blanks and at `symbols`, of which the longest that fits counts; texts in double
// quotes are tokens. The tokens are parts of `text`. Returns 0 or the code of message 52 or 73.
int32_t splitTokens(SessionMemory& memory, std::string_view text, const std::string_view* symbols,
                    size_t symbolCount, WordTable& tokens);

// Bytes of the text in double quotes at the front of `text`, with both quotes; 0 when it doesn't end.
size_t quotedLength(std::string_view text);

// Stores what a text stands for once its escapes are resolved: \n, \t, \r, \v, and \ before any other
// character for that character; returns its length, which is never above that of `text`.
size_t unescape(std::string_view text, char* target);

constexpr bool isBlank(char character) {
  return character == ' ' || character == '\t';
}

}  // namespace qrt::sort
