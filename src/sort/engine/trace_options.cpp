// The dump of all options in the trace.
#include <stdio.h>

#include "sort/engine/messages.h"
#include "sort/engine/parse.h"

namespace qrt::sort {
namespace {

constexpr char mainFunctions[][6] = {"sort", "merge", "copy", "check", "unset"};
constexpr char organizations[][16] = {"line_sequential", "byte_stream", "sequential",
                                      "direct",          "indexed",     "not given"};
constexpr char outputKinds[][16] = {"none", "target buffers", "standard output", "file"};
constexpr char comparisons[][3] = {"eq", "ne", "gt", "ge", "lt", "le"};

template <typename Names, typename Index>
const char* nameIn(const Names& names, Index index) {
  return names[static_cast<size_t>(index)];
}

const char* orNone(const char* text) {
  return text != nullptr ? text : "";
}

struct RangeText {
  char text[120];

  explicit RangeText(const SortKey& range) {
    const bool flags[] = {range.blankStart, range.blankEnd,  range.dictionary, range.trimEnd,
                          range.fold,       range.printable, range.numeric,    range.date,
                          range.reverse,    range.yearWindow};
    char modifiers[sizeof(flags) + 1];
    size_t count = 0;
    for (size_t index = 0; index < sizeof(flags); ++index)
      if (flags[index]) modifiers[count++] = "bBdefinqrw"[index];
    modifiers[count] = 0;
    snprintf(text, sizeof(text), "%s +%d.%d.%d -%d.%d.%d masks %02X %02X %s",
             rowOf(range.type).keyword.data(), range.startField, range.startByte, range.startBit,
             range.endField, range.endByte, range.endBit, range.startMask, range.endMask, modifiers);
  }
};

struct ConstantText {
  char text[120];

  explicit ConstantText(const Constant& constant) {
    int length =
        snprintf(text, sizeof(text), "%s %d bytes", rowOf(constant.type).keyword.data(), constant.length);
    constexpr int32_t shown = 32;
    for (int32_t index = 0; index < constant.length && index < shown; ++index)
      length += snprintf(text + length, sizeof(text) - static_cast<size_t>(length), "%s%02X",
                         index == 0 ? " " : "", constant.bytes[index]);
  }
};

void traceFiles(SortSession& session) {
  const SortOptions& options = *session.options;
  for (const SortSource& source : options.sources)
    trace(session, "   source: <%s> %s%s\r\n", source.name, nameIn(organizations, source.organization),
          source.throughService ? ", through the service" : "");
  trace(session, "   output: %s <%s> %s%s\r\n", nameIn(outputKinds, options.outputKind),
        orNone(options.outputName), nameIn(organizations, options.outputOrganization),
        options.outputThroughService ? ", through the service" : "");
  const TempDir* directory = options.tempDirs;
  for (int32_t count = 0; count < options.tempDirCount; ++count, directory = directory->next)
    trace(session, "   temporary directory: <%s>\r\n", directory->name);
}

void traceRecord(SortSession& session) {
  const SortOptions& options = *session.options;
  trace(session, "   record form: %s, file format: %s, fixed length: %d, record length: %d\r\n",
        options.variableLength ? "variable" : "fixed", options.binary ? "binary" : "text",
        options.fixedLength, options.recordLength);
  for (const FormatField& field : options.format)
    trace(session, "   field: %s offset %d to %d barrier %d%s%s\r\n", rowOf(field.type).keyword.data(),
          field.offset, field.endOffset, field.barrier, field.nullable ? " nullable" : "",
          field.hasFlength ? " flength" : "");
  trace(session, "   largest field: %d\r\n", options.largestField);
  for (const SortKey& key : options.keys) trace(session, "   key: %s\r\n", RangeText(key).text);
}

void traceLists(SortSession& session) {
  const SortOptions& options = *session.options;
  for (int32_t index = 0; index < options.conditions.count; ++index) {
    const SelectCondition& condition = options.conditions[index];
    trace(session, "   condition %d: %s %s ", index, RangeText(condition.left).text,
          nameIn(comparisons, condition.comparison));
    if (condition.rightKind == SelectCondition::RightKind::field)
      trace(session, "%s", RangeText(condition.rightRange).text);
    else
      trace(session, "%s", ConstantText(condition.rightConstant).text);
    trace(session, " true %d false %d\r\n", condition.ifTrue, condition.ifFalse);
  }
  if (options.reformatStartsWithLength)
    trace(session, "   reformat: %s\r\n", rowOf(options.reformatLengthField).keyword.data());
  for (const ReformatItem& item : options.reformat)
    if (item.kind == ReformatItem::Kind::range)
      trace(session, "   reformat: %s\r\n", RangeText(item.range).text);
    else
      trace(session, "   reformat: %s\r\n", ConstantText(item.constant).text);
  for (const SumField& sum : options.sums)
    trace(session, "   sum: %s field %d uses %d\r\n", rowOf(sum.type).keyword.data(), sum.field, sum.uses);
}

}  // namespace

void traceOptions(SortSession& session) {
  const SortOptions& options = *session.options;
  if (!options.trace) return;
  trace(session, "Built on %s\r\n", __DATE__);
  trace(session, "X/Open Specifications structure\r\n");
  trace(session, "   called by program: %d\r\n   main function: %s\r\n", options.calledByProgram,
        nameIn(mainFunctions, options.mainFunction));
  trace(session, "   C collation: %d, unique: %d, ustop: %d, nullhighest: %d\r\n", options.useCCollation,
        options.unique, options.stopAtUniqueViolation, options.nullsHighest);
  trace(session, "   verbose: %d, notrap: %d, nomsg: %d, msg: <%s>, trace: <%s>\r\n", options.verboseTotals,
        options.noSignalHandling, options.noMessages, orNone(options.messageFileName),
        orNone(options.traceFileName));
  trace(session, "   input size: %lld, memlim: %d, skiprec: %lld, stopaft: %lld\r\n",
        static_cast<long long>(options.inputSizeEstimate), options.memoryLimit,
        static_cast<long long>(options.skipCount), static_cast<long long>(options.stopAfter));
  trace(session, "   default separator: %d, separator: %02X, null indicator: %d, y2past: %d\r\n",
        options.separatorIsDefault, options.separator, options.nullIndicator, options.yearWindow);
  trace(session, "   locale: <%s>, collating table: %p, exits: %d %d, origin: %d\r\n", options.localeName,
        static_cast<const void*>(options.collatingTable), options.inputExit != nullptr,
        options.outputExit != nullptr, static_cast<int32_t>(options.dataOrigin));
  traceFiles(session);
  traceRecord(session);
  traceLists(session);
}

}  // namespace qrt::sort
