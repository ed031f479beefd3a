// The table of options, and what each of them does.
#include <string.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

#include "platform/errors.h"
#include "platform/files.h"
#include "platform/locale.h"
#include "sort/engine/lists.h"
#include "sort/engine/messages.h"
#include "sort/engine/parse.h"
#include "sort/engine/parser.h"
#include "sort/engine/ranges.h"

namespace qrt::sort {
namespace {

std::optional<int64_t> numberWithin(std::string_view text, int64_t least, int64_t most) {
  int64_t value;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault != std::errc{} || end != text.data() + text.size() || value < least || value > most)
    return std::nullopt;
  return value;
}

template <bool SortOptions::*flag>
int32_t setFlag(Parser& parser, const char*, Operand) {
  parser.options.*flag = true;
  return 0;
}

int32_t setDefault(Parser& parser, const char* name, Operand) {
  setModifier(parser.defaults, name[1], false);
  if (name[1] == 'b') parser.defaults.blankEnd = true;
  if (name[1] == 'w') parser.defaults.date = true;
  return 0;
}

int32_t setMainFunction(Parser& parser, MainFunction function, const char* name) {
  if (parser.options.mainFunction != MainFunction::unset && parser.options.mainFunction != function)
    return message(fault::mainFunctions);
  parser.options.mainFunction = function;
  parser.mainFunctionName = name;
  return 0;
}

int32_t useCCollation(Parser& parser, const char* name, Operand) {
  if (parser.options.localeCollation) return conflict("locale", name);
  parser.options.useCCollation = true;
  return 0;
}

int32_t readMainFunction(Parser& parser, const char* name, Operand operand) {
  static constexpr struct {
    std::string_view word;
    const char* option;
  } functions[] = {{"sort", "-s sort"}, {"merge", "-s merge"}, {"copy", "-s copy"}, {"check", "-s check"}};
  for (size_t index = 0; index < std::size(functions); ++index)
    if (functions[index].word == operand)
      return setMainFunction(parser, static_cast<MainFunction>(index), functions[index].option);
  return message(fault::operand, name);
}

int32_t showUsage(Parser& parser, const char*, Operand) {
  if (parser.options.calledByProgram) return 0;
  constexpr int32_t standardOutput = 1;
  platform::writeFile(standardOutput, usageText, sizeof(usageText) - 1);
  platform::writeFile(standardOutput, "\n", 1);
  parser.session.running = false;
  return parser.session.returnCode = 1;
}

int32_t addKey(Parser& parser, const char* name, Operand operand) {
  SortKey* const key = parser.options.keys.add(parser.memory());
  if (key == nullptr) return noMemory(sizeof(*key));
  return readRange(operand, *key) ? 0 : message(fault::operand, name);
}

int32_t setOutput(Parser& parser, OutputKind kind) {
  if (parser.options.outputKind != OutputKind::none) return message(fault::outputs);
  parser.options.outputKind = kind;
  return 0;
}

int32_t setOutputFile(Parser& parser, const char*, Operand operand) {
  parser.options.outputName = nameOf(parser, operand);
  if (parser.options.outputName == nullptr) return noMemory(operand.size());
  return setOutput(parser, OutputKind::file);
}

int32_t readParameterFile(Parser& parser, const char*, Operand operand) {
  const char* const name = nameOf(parser, operand);
  return name == nullptr ? noMemory(operand.size()) : openParameterFile(parser, name);
}

int32_t setSeparator(Parser& parser, const char* name, Operand operand) {
  if (operand.size() >= 3 && operand.front() == '"' && operand.back() == '"')
    operand = operand.substr(1, operand.size() - 2);
  if (operand.empty() || operand.size() > 2 || (operand.size() == 2 && operand[0] != '\\'))
    return message(fault::operand, name);
  char character[2];
  unescape(operand, character);
  parser.options.separator = static_cast<uint8_t>(character[0]);
  parser.options.separatorIsDefault = false;
  return 0;
}

int32_t readTempDir(Parser& parser, const char*, Operand operand) {
  return addTempDir(parser, nameOf(parser, operand));
}

int32_t readInputSize(Parser& parser, const char* name, Operand operand) {
  const std::optional<int64_t> size = numberWithin(operand, 1, 20000000000);
  if (!size) return message(fault::operand, name);
  parser.options.inputSizeEstimate = *size;
  return 0;
}

int32_t readTextLength(Parser& parser, const char* name, Operand operand) {
  const std::optional<int64_t> length = numberWithin(operand, 2, 65535);
  if (!length) return message(fault::operand, name);
  parser.textLength = static_cast<int32_t>(*length);
  return 0;
}

// Reads a number into a field of the options.
template <auto field, int64_t least, int64_t most>
int32_t readNumber(Parser& parser, const char* name, Operand operand) {
  const std::optional<int64_t> value = numberWithin(operand, least, most);
  if (!value) return message(fault::extendedOperand, name);
  auto& target = parser.options.*field;
  target = static_cast<std::remove_reference_t<decltype(target)>>(*value);
  return 0;
}

int32_t suppressMessages(Parser& parser, const char* name, Operand) {
  if (wasGiven(parser, "msg")) return conflict("msg", name);
  parser.options.noMessages = true;
  return 0;
}

int32_t openMessageFile(Parser& parser, const char* name, Operand operand) {
  if (wasGiven(parser, "nomsg")) return conflict("nomsg", name);
  const char* const fileName = nameOf(parser, operand);
  if (fileName == nullptr) return noMemory(operand.size());
  const platform::FileHandle file = platform::createFile(fileName);
  if (file == platform::noFile) return message(fault::messageOpen, fileName, platform::lastError());
  parser.options.messageFileName = fileName;
  parser.options.noMessages = false;
  parser.session.run->messageFile = file;
  return 0;
}

int32_t openTraceFile(Parser& parser, const char*, Operand operand) {
  SortSession& session = parser.session;
  const char* const fileName = nameOf(parser, operand);
  if (fileName == nullptr) return noMemory(operand.size());
  const platform::FileHandle file = platform::createFile(fileName);
  if (file == platform::noFile) return message(fault::outputOpen, fileName, platform::lastError());
  parser.options.traceFileName = fileName;
  parser.options.trace = true;
  session.run->traceFile = file;
  const OptionFile& optionFile = parser.optionFile;
  trace(session, "Lumasift version: %d.%d.%d\r\n", versionParts[0], versionParts[1], versionParts[2]);
  trace(session, "\r\nOption file parameters:\r\n");
  trace(session, "   Lumasift Version: %d.%d.%d\r\n", optionFile.version[0], optionFile.version[1],
        optionFile.version[2]);
  trace(session, "   T1=%d\r\n", session.run->limits.t1);
  trace(session, "   T2=%d\r\n", session.run->limits.t2);
  trace(session, "   tdir=<%s>\r\n\r\n", optionFile.tempDir);
  return 0;
}

int32_t readFormatOption(Parser& parser, const char*, Operand operand) {
  return readFormat(parser.session, operand);
}

int32_t readReformatOption(Parser& parser, const char*, Operand operand) {
  return readReformat(parser.session, operand);
}

int32_t readSumOption(Parser& parser, const char*, Operand operand) {
  return readSum(parser.session, operand, parser.sumRanges);
}

int32_t readSelectOption(Parser& parser, const char* name, Operand operand) {
  if (parser.selectName != nullptr) return message(fault::repeated, name);
  parser.selectName = name;
  return readSelect(parser.session, name, operand);
}

int32_t readDataOrigin(Parser& parser, const char* name, Operand operand) {
  static constexpr std::string_view origins[] = {"", "MVS", "AIX", "OS2"};
  const auto found = std::find(std::begin(origins) + 1, std::end(origins), operand);
  if (found == std::end(origins)) return message(fault::extendedOperand, name);
  parser.options.dataOrigin = static_cast<SortOptions::DataOrigin>(found - std::begin(origins));
  return 0;
}

int32_t writeToStandardOutput(Parser& parser, const char* name, Operand) {
  if (!parser.options.calledByProgram) return message(fault::extendedOption, name);
  return setOutput(parser, OutputKind::standardOutput);
}

int32_t leaveSignals(Parser& parser, const char* name, Operand) {
  if (!parser.options.calledByProgram) return message(fault::option, name);
  parser.options.noSignalHandling = true;
  return 0;
}

int32_t readLocale(Parser& parser, const char* name, Operand operand) {
  SortOptions& options = parser.options;
  if (options.useCCollation) return conflict("-A", name);
  if (operand.size() >= sizeof(options.localeName)) return message(fault::extendedOperand, name);
  memcpy(options.localeName, operand.data(), operand.size());
  if (!platform::isKnownLocale(options.localeName)) return message(fault::locale, options.localeName);
  options.localeCollation = true;
  return 0;
}

std::optional<Organization> organizationOf(std::string_view word) {
  static constexpr std::string_view words[] = {"line_sequential", "byte_stream", "sequential", "direct",
                                               "indexed"};
  const auto found = std::find(std::begin(words), std::end(words), word);
  if (found == std::end(words)) return std::nullopt;
  return static_cast<Organization>(found - std::begin(words));
}

int32_t readOutputOrganization(Parser& parser, const char* name, Operand operand) {
  const std::optional<Organization> organization = organizationOf(operand);
  if (!organization) return message(fault::extendedOperand, name);
  parser.options.outputOrganization = *organization;
  return 0;
}

int32_t readInputOrganizations(Parser& parser, const char* name, Operand operand) {
  WordTable words;
  if (const int32_t code = splitTokens(parser.memory(), operand, nullptr, 0, words); code != 0) return code;
  for (const std::string_view word : words) {
    const std::optional<Organization> organization = organizationOf(word);
    if (!organization) return message(fault::extendedOperand, name);
    Organization* const row = parser.inputOrganizations.add(parser.memory());
    if (row == nullptr) return noMemory(sizeof(*row));
    *row = *organization;
  }
  return 0;
}

int32_t readYearWindow(Parser& parser, const char* name, Operand operand) {
  if (operand.size() > 2) return message(fault::extendedOperand, name);
  return readNumber<&SortOptions::yearWindow, 0, 99>(parser, name, operand);
}

int32_t readExtended(Parser& parser, const char* name, Operand operand);

constexpr int64_t mostRecords = 20000000000000;

constexpr OptionRow optionTable[] = {
    {"-A", false, true, useCCollation},
    {"-b", false, true, setDefault},
    {"-c", false, false,
     [](Parser& parser, const char* name, Operand) {
       return setMainFunction(parser, MainFunction::check, name);
     }},
    {"-d", false, true, setDefault},
    {"-e", false, true, setDefault},
    {"-f", false, true, setDefault},
    {"-h", false, false, showUsage},
    {"-i", false, true, setDefault},
    {"-k", true, true, addKey},
    {"-m", false, true,
     [](Parser& parser, const char* name, Operand) {
       return setMainFunction(parser, MainFunction::merge, name);
     }},
    {"-n", false, true, setDefault},
    {"-o", true, false, setOutputFile},
    {"-p", true, true, readParameterFile},
    {"-q", false, true, setDefault},
    {"-r", false, true, setDefault},
    {"-s", true, true, readMainFunction},
    {"-t", true, false, setSeparator},
    {"-T", true, true, readTempDir},
    {"-u", false, true, setFlag<&SortOptions::unique>},
    {"-v", false, true, setFlag<&SortOptions::verboseTotals>},
    {"-w", false, true, setDefault},
    {"-x", true, true, readExtended},
    {"-y", true, false, readInputSize},
    {"-z", true, false, readTextLength},
    {"nomsg", false, false, suppressMessages},
    {"msg", true, false, openMessageFile},
    {"skiprec", true, false, readNumber<&SortOptions::skipCount, 0, mostRecords>},
    {"stopaft", true, false, readNumber<&SortOptions::stopAfter, 0, mostRecords>},
    {"ustop", false, false, setFlag<&SortOptions::stopAtUniqueViolation>},
    {"nullhighest", false, false, setFlag<&SortOptions::nullsHighest>},
    {"format", true, false, readFormatOption},
    {"reformat", true, false, readReformatOption},
    {"select", true, false, readSelectOption},
    {"filter", true, false, readSelectOption},
    {"sum", true, false, readSumOption},
    {"source", true, false, readDataOrigin},
    {"stdout", false, false, writeToStandardOutput},
    {"memlim", true, false, readNumber<&SortOptions::memoryLimit, 1, 1024>},
    {"locale", true, false, readLocale},
    {"notrap", false, false, leaveSignals},
    {"null", true, false, readNumber<&SortOptions::nullIndicator, 1, 255>},
    {"outorg", true, false, readOutputOrganization},
    {"inorg", true, false, readInputOrganizations},
    {"trace", true, false, openTraceFile},
    {"y2past", true, false, readYearWindow},
};
static_assert(std::size(optionTable) <= 64);

int32_t readExtended(Parser& parser, const char*, Operand operand) {
  operand.remove_prefix(std::min(operand.find_first_not_of(" \t"), operand.size()));
  const std::string_view name = operand.substr(0, operand.find_first_of(" \t"));
  std::string_view rest = operand.substr(name.size());
  rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
  rest = rest.substr(0, rest.find_last_not_of(" \t") + 1);

  const OptionRow* const row = findOption(name, true);
  const char* const copies[] = {parser.memory().copy(name), parser.memory().copy(rest)};
  if (copies[0] == nullptr || copies[1] == nullptr) return noMemory(operand.size() + 1);
  if (row == nullptr) return message(fault::extendedOption, copies[0]);
  if (row->hasOperand && rest.empty()) return message(fault::missingExtendedOperand, row->name);
  if (!row->hasOperand && !rest.empty()) return message(fault::extendedOperand, row->name);
  return takeOption(parser, *row, copies[1]);
}

}  // namespace

const OptionRow* findOption(std::string_view name, bool extended) {
  for (const OptionRow& row : optionTable)
    if ((row.name[0] != '-') == extended && name == row.name) return &row;
  return nullptr;
}

bool wasGiven(const Parser& parser, const char* extendedName) {
  return (parser.given >> (findOption(extendedName, true) - optionTable) & 1) != 0;
}

int32_t takeOption(Parser& parser, const OptionRow& row, Operand operand) {
  const uint64_t bit = uint64_t{1} << (&row - optionTable);
  if ((parser.given & bit) != 0 && !row.mayRepeat) return message(fault::repeated, row.name);
  parser.given |= bit;
  return row.handle(parser, row.name, operand);
}

// A name without the double quotes around it.
const char* nameOf(Parser& parser, std::string_view operand) {
  if (operand.size() >= 2 && operand.front() == '"' && operand.back() == '"')
    operand = operand.substr(1, operand.size() - 2);
  return parser.memory().copy(operand);
}

}  // namespace qrt::sort
