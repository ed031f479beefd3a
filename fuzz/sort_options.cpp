// Arbitrary option texts through the sort engine's parser: what comes out of a valid one is consistent, and a
// session frees all that a broken one left. The text goes in as a program's text, and as a parameter file.
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "sort/engine/messages.h"
#include "sort/engine/parse.h"
#include "sort/engine/session.h"

namespace {

using namespace qrt::sort;

void require(bool holds) {
  if (!holds) abort();
}

void checkRange(const SortOptions& options, const SortKey& range) {
  require(range.startField >= 0 && range.startField <= options.largestField);
  require(range.endField >= 0 && range.endField <= options.largestField);
  require(range.startBit < 8 && range.endBit < 8 && (!range.blankEnd || range.endByte != 0));
  if (!options.binary) return;
  const FormatField& start = options.format[range.startField];
  const int32_t offset = start.offset + range.startByte;
  const int32_t end =
      range.endField == options.format.count ? options.recordLength : options.format[range.endField].offset;
  require(offset < options.recordLength && end + range.endByte + (range.endBit != 0) <= options.recordLength);
  require(offset * 8 + range.startBit <= (end + range.endByte) * 8 + range.endBit);
  require(range.endField <= start.barrier);
}

void checkTarget(const SortOptions& options, int32_t from, int32_t target) {
  const bool isEnd = target == SelectCondition::keep || target == SelectCondition::omit;
  require(isEnd || (target > from && target < options.conditions.count));
}

void checkOptions(const SortOptions& options) {
  require(options.keys.count > 0 && options.largestField > 0 && options.tempDirs != nullptr);
  for (const SortKey& key : options.keys) checkRange(options, key);
  for (const ReformatItem& item : options.reformat)
    if (item.kind == ReformatItem::Kind::range) checkRange(options, item.range);
  for (int32_t index = 0; index < options.conditions.count; ++index) {
    const SelectCondition& condition = options.conditions[index];
    checkRange(options, condition.left);
    if (condition.rightKind == SelectCondition::RightKind::field) checkRange(options, condition.rightRange);
    checkTarget(options, index, condition.ifTrue);
    checkTarget(options, index, condition.ifFalse);
  }
  for (const SumField& sum : options.sums) require(sum.field < options.format.count);
}

int32_t run(const std::string& text) {
  int32_t code;
  SortSession* const session = makeSession(code);
  require(session != nullptr);
  uint8_t byte = 0;
  const BufferRow sources[] = {{&byte, 1, 0}, {}};
  BufferRow targets[] = {{&byte, 1, 0}, {}};
  EngineArguments arguments;
  arguments.text = text;
  arguments.sources = sources;
  arguments.targets = targets;
  code = prepare(*session, arguments);
  require((code != 0) == (session->returnCode != 0) && code == session->returnCode);
  if (code == 0) checkOptions(*session->options);
  freeSession(session);
  return code;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  // Texts that name files of the engine's making aren't run as they are.
  if (text.find("msg") != text.npos || text.find("trace") != text.npos) return 0;
  const int32_t code = run(text);

  static const std::string name = "/tmp/qrtfuzz" + std::to_string(getpid());
  const int file = open(name.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  require(file >= 0 && write(file, data, size) == static_cast<ssize_t>(size));
  close(file);
  const int32_t asFile = run("-p " + name);
  unlink(name.c_str());
  // Comments, line ends and names of parameter files read otherwise in a file.
  require(asFile == code || size > 8093 || text.find_first_of("#\n\rp") != text.npos);
  return 0;
}
