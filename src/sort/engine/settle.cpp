// The end of parsing: what only the whole option text tells, in its order.
#include <algorithm>

#include "sort/engine/lists.h"
#include "sort/engine/messages.h"
#include "sort/engine/parser.h"

namespace qrt::sort {
namespace {

int32_t checkConflicts(const Parser& parser) {
  const SortOptions& options = parser.options;
  const bool sums = parser.sumRanges.count > 0;
  const char* const unique = options.unique ? "-u" : nullptr;
  const char* const ustop = options.stopAtUniqueViolation ? "ustop" : nullptr;
  if (options.mainFunction == MainFunction::copy) {
    if (sums) return conflict(parser.mainFunctionName, "sum");
    if (unique != nullptr) return conflict(parser.mainFunctionName, unique);
    if (ustop != nullptr) return conflict(parser.mainFunctionName, ustop);
  }
  if (options.mainFunction == MainFunction::merge) {
    if (wasGiven(parser, "skiprec")) return conflict(parser.mainFunctionName, "skiprec");
    if (wasGiven(parser, "stopaft")) return conflict(parser.mainFunctionName, "stopaft");
  }
  if (sums && unique != nullptr) return conflict("sum", unique);
  if (sums && ustop != nullptr) return conflict("sum", ustop);
  if (unique != nullptr && ustop != nullptr) return conflict(ustop, unique);
  return 0;
}

// The number of the record's end in the table of a record's fields.
void settleLargestField(Parser& parser) {
  SortOptions& options = parser.options;
  int32_t largest = options.format.count;
  if (!options.binary) {
    const auto take = [&](const SortKey& range) {
      largest = std::max({largest, range.startField, range.endField});
    };
    for (const SortKey& key : options.keys) take(key);
    for (const SelectCondition& condition : options.conditions) {
      take(condition.left);
      if (condition.rightKind == SelectCondition::RightKind::field) take(condition.rightRange);
    }
    for (const ReformatItem& item : options.reformat)
      if (item.kind == ReformatItem::Kind::range) take(item.range);
    ++largest;
  }
  options.largestField = largest;
}

constexpr bool isRecordOrganization(Organization organization) {
  return organization == Organization::sequential || organization == Organization::direct ||
         organization == Organization::indexed;
}

constexpr bool goesThroughService(const SortRunState& run, Organization organization) {
  return run.fileService != nullptr &&
         (organization == Organization::lineSequential || isRecordOrganization(organization));
}

int32_t settleSources(Parser& parser) {
  SortOptions& options = parser.options;
  if (options.sources.count == 0) {
    if (!options.calledByProgram) {
      if (const int32_t code = addSource(parser, "-"); code != 0) return code;
    } else if (options.inputExit == nullptr) {
      return message(fault::noSource);
    }
  }
  const int32_t given = parser.inputOrganizations.count;
  if (given > 0 && given != options.sources.count) return message(fault::extendedOperand, "inorg");
  for (int32_t index = 0; index < given; ++index) {
    SortSource& source = options.sources[index];
    source.organization = parser.inputOrganizations[index];
    source.throughService =
        source.kind == SortSource::Kind::file && goesThroughService(*parser.session.run, source.organization);
  }
  for (int32_t index = 0; index < options.sources.count; ++index) options.sources[index].serviceIndex = index;
  return 0;
}

bool endsInLineFeed(const SortOptions& options) {
  if (options.reformat.count == 0) return false;
  const ReformatItem& last = options.reformat[options.reformat.count - 1];
  return last.kind == ReformatItem::Kind::constant && last.constant.length > 0 &&
         last.constant.bytes[last.constant.length - 1] == '\n';
}

int32_t settleOutput(Parser& parser) {
  constexpr uint8_t textLines = 4, records = 5;
  SortOptions& options = parser.options;
  if (options.outputKind == OutputKind::none) {
    if (!options.calledByProgram)
      options.outputKind = OutputKind::standardOutput;
    else if (options.outputExit == nullptr && options.mainFunction != MainFunction::check)
      return message(fault::noOutput);
  }
  const Organization organization = options.outputOrganization;
  const bool lines = organization == Organization::lineSequential;
  const bool plainLines = (!options.binary && options.reformat.count == 0) || endsInLineFeed(options);
  options.outputPrefix = lines || isRecordOrganization(organization);
  options.outputTextMode = lines && plainLines ? textLines : records;
  options.outputThroughService =
      options.outputKind == OutputKind::file && goesThroughService(*parser.session.run, organization);
  return 0;
}

int32_t checkOrganizations(const SortOptions& options) {
  for (const SortSource& source : options.sources) {
    if (source.organization == Organization::byteStream && !options.binary)
      return conflict("inorg byte_stream", "no format");
    if (source.kind == SortSource::Kind::standardInput && isRecordOrganization(source.organization))
      return message(fault::inputOpen, "KRDM stdin", 0);
  }
  if (options.outputKind == OutputKind::standardOutput && isRecordOrganization(options.outputOrganization))
    return message(fault::outputOpen, "KRDM stdout", 0);
  return 0;
}

}  // namespace

int32_t settleOptions(Parser& parser) {
  SortSession& session = parser.session;
  SortOptions& options = parser.options;
  if (options.mainFunction == MainFunction::unset) options.mainFunction = MainFunction::sort;
  if (const int32_t code = checkConflicts(parser); code != 0) return code;
  if (options.mainFunction == MainFunction::merge && options.inputExit != nullptr &&
      options.sources.count == 0)
    return internalError(fault::mergeWithoutSources);
  settleRecord(options, parser.textLength);
  settleLargestField(parser);
  if (const int32_t code = settleKeys(session, parser.defaults); code != 0) return code;
  if (const int32_t code = settleConditions(session, parser.selectName); code != 0) return code;
  if (const int32_t code = settleReformat(session); code != 0) return code;
  if (const int32_t code = settleSums(session, parser.sumRanges); code != 0) return code;
  if (const int32_t code = settleSources(parser); code != 0) return code;
  if (const int32_t code = settleOutput(parser); code != 0) return code;
  if (const int32_t code = checkOrganizations(options); code != 0) return code;
  return options.tempDirs != nullptr ? 0 : addTempDir(parser, parser.optionFile.tempDir);
}

int32_t conflict(const char* first, const char* second) {
  return message(fault::conflict, first, second);
}

// Puts a directory in front of the one that the circle starts with, which is its end.
int32_t addTempDir(Parser& parser, const char* name) {
  SortOptions& options = parser.options;
  TempDir* const added = parser.memory().make<TempDir>();
  if (added == nullptr || name == nullptr) return noMemory(sizeof(*added));
  added->name = name;
  if (options.tempDirs == nullptr) {
    options.tempDirs = added->next = added;
  } else {
    TempDir* last = options.tempDirs;
    while (last->next != options.tempDirs) last = last->next;
    added->next = options.tempDirs;
    last->next = added;
  }
  ++options.tempDirCount;
  return 0;
}

}  // namespace qrt::sort
