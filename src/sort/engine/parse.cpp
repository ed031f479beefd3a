// Words of an option text: options up to the first word that is none, sources behind them.
#include "sort/engine/parse.h"

#include <stdio.h>

#include "platform/files.h"
#include "sort/engine/messages.h"
#include "sort/engine/parser.h"
#include "sort/engine/ranges.h"

namespace qrt::sort {
namespace {

constexpr int32_t mostParameterBytes = 8093;

// Makes one line of a parameter file's text: comments go, line ends become blanks.
void joinLines(char* text, int32_t& length) {
  int32_t kept = 0;
  bool inComment = false, behindSpace = true;
  for (int32_t index = 0; index < length; ++index) {
    const char character = text[index];
    const bool endsLine = character == '\n';
    const bool isReturn = character == '\r' && index + 1 < length && text[index + 1] == '\n';
    if (endsLine) inComment = false;
    inComment = inComment || (character == '#' && behindSpace);
    behindSpace = endsLine || isReturn || isBlank(character);
    if (!inComment) text[kept++] = endsLine || isReturn ? ' ' : character;
  }
  length = kept;
}

// The next word, from the innermost parameter file that has one left.
const std::string_view* nextWord(Parser& parser) {
  while (parser.frames.count > 0) {
    Frame& frame = parser.frames[parser.frames.count - 1];
    if (frame.next < frame.words.count) return &frame.words[frame.next++];
    --parser.frames.count;
  }
  return nullptr;
}

void putBack(Parser& parser) {
  --parser.frames[parser.frames.count - 1].next;
}

constexpr bool isNumberStart(std::string_view word, size_t at) {
  return at < word.size() && ((word[at] >= '0' && word[at] <= '9') || word[at] == '.');
}

// A word of the obsolete form: + opens a key, - closes it.
int32_t takeObsoleteKey(Parser& parser, std::string_view word) {
  const bool opens = word[0] == '+';
  GrowingTable<SortKey>& keys = parser.options.keys;
  if (!opens && !parser.keyOpen) return message(fault::option, word.data());
  parser.keyOpen = opens;
  SortKey* const key = opens ? keys.add(parser.memory()) : &keys[keys.count - 1];
  if (key == nullptr) return noMemory(sizeof(*key));
  const bool valid = opens ? readObsoleteStart(word.substr(1), *key) : readObsoleteEnd(word.substr(1), *key);
  return valid ? 0 : message(fault::operand, word.data());
}

int32_t takeLetters(Parser& parser, std::string_view word) {
  parser.keyOpen = false;
  for (size_t at = 1; at < word.size(); ++at) {
    const char name[] = {'-', word[at], 0};
    const OptionRow* const row = findOption(name, false);
    if (row == nullptr) return message(fault::option, static_cast<const char*>(name));
    if (!row->hasOperand) {
      if (const int32_t code = takeOption(parser, *row, {}); code != 0) return code;
      continue;
    }
    Operand operand = word.substr(at + 1);
    if (operand.empty()) {
      const std::string_view* const next = nextWord(parser);
      if (next == nullptr) return message(fault::missingOperand, row->name);
      operand = *next;
    }
    return takeOption(parser, *row, operand);
  }
  return 0;
}

int32_t readOptions(Parser& parser) {
  while (const std::string_view* const next = nextWord(parser)) {
    const std::string_view word = *next;
    int32_t code;
    if (word == "--") break;
    if (word == "-") {
      parser.keyOpen = false;
      code = addSource(parser, word);
    } else if ((word.starts_with('+') || word.starts_with('-')) && isNumberStart(word, 1)) {
      code = takeObsoleteKey(parser, word);
    } else if (word.starts_with('-')) {
      code = takeLetters(parser, word);
    } else if (word.starts_with('+')) {
      code = message(fault::option, word.data());
    } else {
      putBack(parser);
      break;
    }
    if (code != 0) return code;
  }
  return 0;
}

// The remaining words, then the caller's buffers.
int32_t readSources(Parser& parser) {
  while (const std::string_view* const word = nextWord(parser))
    if (const int32_t code = addSource(parser, *word); code != 0) return code;
  const BufferRow* buffer = parser.options.sourceBuffers;
  for (int32_t number = 1; buffer != nullptr && buffer->address != nullptr; ++number, ++buffer) {
    char name[24];
    snprintf(name, sizeof(name), "source_%d", number);
    if (const int32_t code = addSource(parser, name); code != 0) return code;
    SortSource& source = parser.options.sources[parser.options.sources.count - 1];
    source.kind = SortSource::Kind::buffer;
    source.buffer = buffer;
  }
  return 0;
}

int32_t checkFileNames(const SortOptions& options) {
  const auto isEmpty = [](const char* name) { return *name == 0; };
  for (const SortSource& source : options.sources)
    if (isEmpty(source.name)) return message(fault::fileName, source.name);
  const TempDir* directory = options.tempDirs;
  for (int32_t count = 0; count < options.tempDirCount; ++count, directory = directory->next)
    if (isEmpty(directory->name)) return message(fault::fileName, directory->name);
  if (options.outputKind == OutputKind::file && isEmpty(options.outputName))
    return message(fault::fileName, options.outputName);
  return 0;
}

int32_t openText(Parser& parser, const EngineArguments& arguments) {
  Frame* const frame = parser.frames.add(parser.memory());
  if (frame == nullptr) return noMemory(sizeof(*frame));
  if (arguments.calledByProgram) return splitWords(parser.memory(), arguments.text, frame->words);
  for (const char* const argument : arguments.arguments) {
    std::string_view* const word = frame->words.add(parser.memory());
    if (word == nullptr) return noMemory(sizeof(std::string_view));
    *word = argument;
  }
  return 0;
}

void takeArguments(SortSession& session, const EngineArguments& arguments) {
  SortOptions& options = *session.options;
  SortRunState& run = *session.run;
  options.calledByProgram = options.noMessages = arguments.calledByProgram;
  options.sourceBuffers = arguments.sources;
  options.targetBuffers = arguments.targets;
  if (arguments.targets != nullptr) options.outputKind = OutputKind::targetBuffers;
  options.inputExit = arguments.inputExit;
  options.outputExit = arguments.outputExit;
  options.collatingTable = arguments.collatingTable;
  run.errorCallback = arguments.errorCallback;
  run.callbackContext = arguments.callbackContext;
  run.fileService = offeredFileService();
  if (!arguments.calledByProgram) run.messageFile = platform::standardErrorFile;
}

}  // namespace

int32_t openParameterFile(Parser& parser, const char* name) {
  for (const Frame& frame : parser.frames)
    if (!frame.file.empty() && frame.file == name) return message(fault::parameterFile, name);
  const platform::FileHandle file = platform::openFileForReading(name);
  if (file == platform::noFile) return message(fault::parameterOpen, name);

  char text[mostParameterBytes + 1];
  int32_t length = 0, bytes;
  do {
    bytes = platform::readFile(file, text + length, sizeof(text) - static_cast<size_t>(length));
    length += bytes;
  } while (bytes > 0 && length <= mostParameterBytes);
  platform::closeFile(file);
  if (bytes < 0) return message(fault::parameterFile, name);
  if (length > mostParameterBytes) return message(fault::parameterSize, name);

  joinLines(text, length);
  Frame frame = {{}, 0, name};
  const int32_t code = splitWords(parser.memory(), {text, static_cast<size_t>(length)}, frame.words);
  if (code != 0) return code;
  Frame* const added = parser.frames.add(parser.memory());
  if (added == nullptr) return noMemory(sizeof(frame));
  *added = frame;
  return 0;
}

int32_t addSource(Parser& parser, std::string_view word) {
  SortSource* const source = parser.options.sources.add(parser.memory());
  const char* const name = word == "-" ? "stdin" : nameOf(parser, word);
  if (source == nullptr || name == nullptr) return noMemory(sizeof(*source) + word.size());
  source->kind = word == "-" ? SortSource::Kind::standardInput : SortSource::Kind::file;
  source->name = name;
  source->organization = Organization::notGiven;
  return 0;
}

int32_t prepare(SortSession& session, const EngineArguments& arguments) {
  takeArguments(session, arguments);
  readCatalogue(session);
  Parser parser(session);
  if (const int32_t code = readOptionFile(session, parser.optionFile); code != 0) return code;
  if (const int32_t code = openText(parser, arguments); code != 0) return code;
  if (const int32_t code = readOptions(parser); code != 0) return code;
  if (const int32_t code = readSources(parser); code != 0) return code;
  if (const int32_t code = checkFileNames(*session.options); code != 0) return code;
  if (const int32_t code = settleOptions(parser); code != 0) return code;
  traceOptions(session);
  writeStartLine(session);
  return 0;
}

}  // namespace qrt::sort
