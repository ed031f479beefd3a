// What the parts of the option parser share: reading of options, their table, settling of their whole.
#pragma once

#include <string_view>

#include "sort/engine/option_file.h"
#include "sort/engine/session.h"
#include "sort/engine/words.h"

namespace qrt::sort {

namespace fault {
constexpr int32_t mainFunctions = 3, parameterFile = 4, parameterOpen = 5, missingOperand = 6,
                  missingExtendedOperand = 7, operand = 8, extendedOperand = 9, option = 10,
                  extendedOption = 11, fileName = 13, repeated = 25, outputs = 26, noSource = 27,
                  noOutput = 28, inputOpen = 36, messageOpen = 37, parameterSize = 50, conflict = 53,
                  outputOpen = 57, locale = 61;
constexpr int32_t mergeWithoutSources = 1014;  // internal
}  // namespace fault

// Words that are being read: the option text's, or those of a parameter file that stands in it.
struct Frame {
  WordTable words;
  int32_t next;
  std::string_view file;  // empty for the option text
};

struct Parser {
  SortSession& session;
  SortOptions& options;
  OptionFile optionFile{};
  GrowingTable<Frame> frames;
  uint64_t given = 0;    // a bit for each row of the table
  bool keyOpen = false;  // the last option was a + word
  SortKey defaults{};
  int32_t textLength = -1;
  const char* mainFunctionName = nullptr;
  const char* selectName = nullptr;
  GrowingTable<SortKey> sumRanges;
  GrowingTable<Organization> inputOrganizations;

  explicit Parser(SortSession& session) : session(session), options(*session.options) {}
  SessionMemory& memory() { return session.memory; }
};

using Operand = std::string_view;  // terminated

// An option by its name: one letter behind a hyphen, or the bare name of an extended option.
struct OptionRow {
  const char* name;
  bool hasOperand;
  bool mayRepeat;
  int32_t (*handle)(Parser& parser, const char* name, Operand operand);
};

const OptionRow* findOption(std::string_view name, bool extended);
bool wasGiven(const Parser& parser, const char* extendedName);

// The functions below return 0 or a run's code after its message.

int32_t takeOption(Parser& parser, const OptionRow& row, Operand operand);

// Opens a parameter file's words as those that come next.
int32_t openParameterFile(Parser& parser, const char* name);

// A source by a word of the option text.
int32_t addSource(Parser& parser, std::string_view word);

// Adds a directory at the end of the circle.
int32_t addTempDir(Parser& parser, const char* name);

// What is left to do when all options are read, in its order.
int32_t settleOptions(Parser& parser);

// Message 53.
int32_t conflict(const char* first, const char* second);

// A copy of a name without the double quotes around it, or null.
const char* nameOf(Parser& parser, std::string_view operand);

}  // namespace qrt::sort
