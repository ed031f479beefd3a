// SORT and MERGE as compiled code calls them, over real files, beside a plain stable sort.
#include <signal.h>
#include <sys/resource.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <set>

#include "field_kinds.h"
#include "records/record_program.h"
#include "support/guards.h"

using namespace qrt::test;
using namespace std::string_literals;

namespace {

using Records = std::vector<std::string>;

constexpr char text = 'T', sequential = 'S', relative = 'R';

__attribute__((noinline)) std::string fitted(std::string record, size_t length) {
  record.resize(length, ' ');
  return record;
}

std::string trimmed(const std::string& line) {
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

// ---- The statement as it is compiled

struct SortProgram : RecordProgram {
  std::string prefix = "file";  // of all file names
  std::vector<std::unique_ptr<RecordFile>> own;
  std::vector<QrtSortKeySpec> nodes;
  QrtSortKeyList keys{};
  QrtSortRecordSpec record{};
  std::vector<QrtFcb*> usingBlocks, givingBlocks;
  QrtSortFileList usingFiles{}, givingFiles{};
  int16_t sortReturn = -1;
  QrtSortRegisters registers{&sortReturn, 1, 0, 4711, nullptr};

  SortProgram(int32_t form, int32_t minLength, int32_t maxLength)
      : RecordProgram("SORTER", {}), record{form, minLength, maxLength} {
    registers.program = entries.data();
  }
  // Key lists are static data of a program, with the nodes that the library has linked into them.
  ~SortProgram() {
    static auto& kept = *new std::vector<std::vector<QrtSortKeySpec>>;
    kept.push_back(std::move(nodes));
  }

  // A file of records of fixed form, or with `least` given of variable form; returns its number.
  size_t add(char kind, uint32_t most, int32_t least = -1, uint8_t access = QRT_ACCESS_SEQUENTIAL) {
    const uint8_t organization = kind == text         ? QRT_ORGANIZATION_LINE_SEQUENTIAL
                                 : kind == sequential ? QRT_ORGANIZATION_SEQUENTIAL
                                                      : QRT_ORGANIZATION_RELATIVE;
    auto file = std::make_unique<RecordFile>(prefix + std::to_string(own.size()), organization, access, most);
    if (least >= 0) file->makeVariable(static_cast<uint32_t>(least));
    described.push_back(file.get());
    addFile(&file->own, &file->description);
    own.push_back(std::move(file));
    return own.size() - 1;
  }

  bool isText(size_t index) const {
    return own[index]->description.organization == QRT_ORGANIZATION_LINE_SEQUENTIAL;
  }
  bool isFixed(size_t index) const { return own[index]->description.recordFormat == QRT_RECORD_FIXED; }
  uint32_t most(size_t index) const { return own[index]->description.maxRecord; }

  void setKeys(std::vector<QrtSortKeySpec> wanted) {
    nodes = std::move(wanted);
    for (size_t index = 0; index + 1 < nodes.size(); ++index) nodes[index].next = &nodes[index + 1];
    keys = {static_cast<int32_t>(nodes.size()), nodes.empty() ? nullptr : nodes.data(), 0};
  }

  // Lines may be shorter than the file says.
  void write(size_t index, const Records& records) {
    if (isText(index)) {
      std::string lines;
      for (const std::string& line : records) lines += trimmed(line) + "\n";
      if (lines.size() % 2 == 0 && !lines.ends_with("\n\n") && lines.size() > 1)
        lines.pop_back();  // the last line's end
      return makeFile(own[index]->assignment, lines);
    }
    ASSERT_EQ(open(output, index), "00");
    own[index]->key.value = 0;
    for (const std::string& one : records) {
      own[index]->key.value += 2;  // with gaps, where the access mode allows them
      ASSERT_EQ(RecordProgram::write(one, index), "00");
    }
    ASSERT_EQ(close(0, index), "00");
  }

  // What the file holds; lines without blanks at their ends.
  Records content(size_t index) {
    Records records;
    EXPECT_EQ(open(input, index), "00");
    std::string status;
    while ((status = readNext(index)) == "00" || status == "04")
      records.push_back(isText(index) ? trimmed(taken(index)) : taken(index));
    EXPECT_EQ(status, "10");
    EXPECT_EQ(close(0, index), "00");
    return records;
  }

  // Calls the statement; SORT-RETURN and the number of the failure.
  std::pair<int, int> call(int32_t function, const std::vector<size_t>& from = {},
                           const std::vector<size_t>& to = {}) {
    const auto list = [this](const std::vector<size_t>& indexes, std::vector<QrtFcb*>& blocks) {
      blocks.clear();
      for (const size_t index : indexes) blocks.push_back(&fcb(index));
      return QrtSortFileList{static_cast<int32_t>(blocks.size()), blocks.data()};
    };
    usingFiles = list(from, usingBlocks);
    givingFiles = list(to, givingBlocks);
    return again(function);
  }
  std::pair<int, int> again(int32_t function) {
    _qrtSortMerge(function, &registers, &record, nullptr, "", &usingFiles, &givingFiles, &keys);
    int32_t number = -1;
    qrtGetSortErrno(&number);
    return {sortReturn, number};
  }
  std::pair<int, int> released() {
    _qrtSortMerge(QRT_SORT_RELEASED, &registers, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    int32_t number = -1;
    GETSORTERRNO(&number);
    return {sortReturn, number};
  }

  void releaseAll(const Records& records) {
    int16_t result = 0;
    for (const std::string& one : records)
      _qrtRelease(static_cast<int32_t>(one.size()), reinterpret_cast<const uint8_t*>(one.data()), &result);
    EXPECT_EQ(result, 0);
  }

  Records returnAll() {
    Records records;
    const auto room = static_cast<size_t>(record.maxLength);
    int16_t atEnd = 0;
    for (;;) {
      int32_t length = -7;
      std::string area = itemAfter(room, [&](uint8_t* item) { _qrtReturn(&length, item, &atEnd); });
      if (atEnd != 0) {
        EXPECT_EQ(length, -7);
        break;
      }
      records.push_back(area.substr(0, static_cast<size_t>(length)));
    }
    _qrtReturn(nullptr, nullptr, &atEnd);  // and again
    EXPECT_EQ(atEnd, 1);
    return records;
  }
};

constexpr std::pair<int, int> done{0, 0};

// The keys are bytes in ascending or descending order.
void stableSort(Records& records, const std::vector<QrtSortKeySpec>& keys) {
  std::ranges::stable_sort(records, [&](const std::string& left, const std::string& right) {
    for (const QrtSortKeySpec& key : keys) {
      const auto part = [&key](const std::string& of) {
        return std::string_view(of).substr(static_cast<size_t>(key.offset), static_cast<size_t>(key.length));
      };
      if (const int order = part(left).compare(part(right)); order != 0)
        return key.order == QRT_SORT_ASCENDING ? order < 0 : order > 0;
    }
    return false;
  });
}

struct Statement : InFolder {
  std::mt19937 random{1};

  uint32_t any(uint32_t least, uint32_t most) { return least + random() % (most - least + 1); }
  bool chance(uint32_t in) { return random() % in == 0; }

  // Few different letters in front, so that many keys are equal, and no blank at the end.
  std::string someRecord(uint32_t length) {
    std::string made(length, 'x');
    for (char& letter : made) letter = static_cast<char>("abc \x1A"[random() % 5]);
    if (length > 0) made.back() = static_cast<char>('0' + random() % 10);
    return made;
  }

  // One key, a key inside it, and one behind, in any order.
  std::vector<QrtSortKeySpec> someKeys(int32_t length) {
    const auto pick = [&](int32_t least, int32_t most) {
      return static_cast<int32_t>(any(static_cast<uint32_t>(least), static_cast<uint32_t>(most)));
    };
    const int32_t type = chance(2) ? QRT_SORT_KEY_CHAR : QRT_SORT_KEY_BIN;
    std::vector<QrtSortKeySpec> keys;
    const auto put = [&](int32_t offset, int32_t size, int32_t ofType) {
      keys.insert(keys.begin() + pick(0, static_cast<int32_t>(keys.size())),
                  {nullptr, offset, size, ofType, pick(1, 2)});
    };
    const int32_t size = pick(1, std::min(length, 4)), offset = pick(0, length - size);
    put(offset, size, type);
    if (chance(2)) put(offset + pick(0, size - 1), 1, type);
    if (offset + size < length && chance(2)) put(offset + size, 1, QRT_SORT_KEY_BIN);
    return keys;
  }
};

// ---- What a file routine sees and does

// The routines of a control block behind something that sees each call, by its verb, and may refuse it.
struct Hook {
  QrtFileRoutine own[4]{};
  std::function<bool(char verb)> allows;
};
std::map<QrtFcb*, Hook> hooks;

template <char verb>
void hooked(QrtFcb* file, QrtProgramEntry* program);

constexpr QrtFileRoutine wrappers[] = {hooked<'o'>, hooked<'c'>, hooked<'r'>, hooked<'w'>};
constexpr std::string_view verbs = "ocrw";

std::array<QrtFileRoutine*, 4> routinesOf(QrtFcb& file) {
  return {&file.openRoutine, &file.closeRoutine, &file.readRoutine, &file.writeRoutine};
}

void wrap(QrtFcb& file) {
  for (size_t verb = 0; verb < 4; ++verb)
    hooks[&file].own[verb] = std::exchange(*routinesOf(file)[verb], wrappers[verb]);
}

void unwrap(QrtFcb& file) {
  for (size_t verb = 0; verb < 4; ++verb) *routinesOf(file)[verb] = hooks[&file].own[verb];
}

template <char verb>
void hooked(QrtFcb* file, QrtProgramEntry* program) {
  const bool works = hooks[file].allows(verb);
  if (works || verb != 'o') {
    unwrap(*file);
    (*routinesOf(*file)[verbs.find(verb)])(file, program);
    wrap(*file);
  }
  if (!works) file->status = 34;
}

void setHook(QrtFcb& file, std::function<bool(char)> allows) {
  hooks[&file].allows = std::move(allows);
  wrap(file);
}

void dropHooks() {
  for (auto& [file, hook] : hooks) unwrap(*file);
  hooks.clear();
}

Texts filesHere() {
  Texts names;
  for (const auto& entry : std::filesystem::directory_iterator("."))
    names.push_back(entry.path().filename().string());
  std::ranges::sort(names);
  return names;
}

// ---- Every combination

// What a statement reads and writes, worked out record by record.
struct Model {
  SortProgram& program;

  // What the engine sees of a record that a file holds.
  std::string asRead(size_t index, const std::string& record) const {
    const auto least = static_cast<size_t>(program.record.minLength);
    if (program.isFixed(index)) return fitted(record, program.most(index));
    return program.isText(index) ? fitted(record, std::max(record.size(), least)) : record;
  }
  // The record of a file in the form of the SD.
  std::string asSorted(size_t index, const std::string& record) const {
    std::string seen = asRead(index, record);
    if (program.record.form == QRT_SORT_FIXED)
      return fitted(seen, static_cast<size_t>(program.record.maxLength));
    return seen;
  }
  std::string asWritten(size_t index, const std::string& record) const {
    const std::string all = program.isFixed(index) ? fitted(record, program.most(index)) : record;
    return program.isText(index) ? trimmed(all) : all;
  }
  Records asWritten(size_t index, Records records) const {
    for (std::string& record : records) record = asWritten(index, record);
    return records;
  }
};

TEST_F(Statement, EveryCombination) {
  std::set<int> seen;
  for (uint32_t seed = 0; seed < 200; ++seed) {
    random.seed(seed);
    SCOPED_TRACE(seed);
    const bool fixed = chance(2), merge = chance(4), byRelease = !merge && chance(3), byReturn = chance(3);
    const auto most = static_cast<int32_t>(chance(9) ? any(4090, 9000) : any(4, 60));
    const auto least = fixed ? most : static_cast<int32_t>(any(3, static_cast<uint32_t>(std::min(most, 30))));
    SortProgram program(fixed ? QRT_SORT_FIXED : QRT_SORT_VARIABLE, least, most);
    const Model model{program};
    if (chance(4)) program.prefix = R"(-fi l'e" )";
    const std::vector<QrtSortKeySpec> keys = someKeys(least);
    program.setKeys(keys);
    const auto shortest = static_cast<uint32_t>(least), longest = static_cast<uint32_t>(most);

    std::vector<size_t> from, to;
    const bool withText = chance(3);
    if (!byRelease)
      for (uint32_t count = any(1, 3); count > 0; --count) {
        const char kind = withText && chance(2) ? text : chance(3) ? relative : sequential;
        const uint8_t access = chance(2) && kind == relative ? QRT_ACCESS_DYNAMIC : QRT_ACCESS_SEQUENTIAL;
        const bool variable = chance(2);
        if (kind == text)
          from.push_back(program.add(kind, longest, variable ? static_cast<int32_t>(least) : -1));
        else if (!fixed)
          from.push_back(program.add(kind, any(shortest, longest), -1, access));
        else  // short records are filled where no text is among the files
          from.push_back(program.add(kind, withText ? longest : any(1, longest), -1, access));
        RecordFile& file = *program.own[from.back()];
        if (kind != text && variable)
          file.makeVariable(any(fixed ? (withText ? longest : 1) : shortest, file.description.maxRecord));
      }
    if (!byReturn) {
      for (uint32_t count = any(1, 3); count > 0; --count) {
        const char kind = chance(3) ? text : chance(3) ? relative : sequential;
        // What a copy makes of the first must fit into the others of variable form.
        const uint32_t room = longest + (to.empty() ? any(0, 9) : 9);
        const bool variable = chance(2);
        to.push_back(program.add(kind, variable ? std::max(room, longest + 9) : room));
        RecordFile& file = *program.own[to.back()];
        if (variable) file.makeVariable(1);
        const bool behind = to.size() > 1 && fixed && !variable;
        if (behind && chance(2)) file.description.maxRecord = file.description.minRecord = any(1, longest);
      }
      // A file that is sorted onto itself, if one has the form for it.
      for (const size_t index : from) {
        const QrtFileDescription& file = program.own[index]->description;
        if (file.maxRecord == longest && (fixed || program.isFixed(index) || file.minRecord <= shortest) &&
            chance(2)) {
          to.insert(to.begin() + any(0, static_cast<uint32_t>(to.size())), index);
          break;
        }
      }
    }

    run(program, [&] {
      Records expected;
      for (const size_t index : from) {
        Records records, sorted;
        for (uint32_t count = any(0, 40); count > 0; --count) {
          const QrtFileDescription& file = program.own[index]->description;
          const uint32_t low = program.isText(index) ? 0 : file.minRecord;
          records.push_back(someRecord(
              program.isFixed(index) && !program.isText(index) ? file.maxRecord : any(low, file.maxRecord)));
        }
        if (merge) {  // each file in order by what is sorted
          std::map<std::string, Records> origin;
          for (const std::string& record : records) origin[model.asSorted(index, record)].push_back(record);
          for (const std::string& record : records) sorted.push_back(model.asSorted(index, record));
          stableSort(sorted, keys);
          records.clear();
          for (const std::string& record : sorted) records.push_back(origin[record].front());
        }
        ASSERT_NO_FATAL_FAILURE(program.write(index, records));
        for (const std::string& record : records) expected.push_back(model.asSorted(index, record));
      }
      const int32_t function = merge ? QRT_MERGE_START : QRT_SORT_START;
      ASSERT_EQ(program.call(function, from, to), done);
      if (byRelease) {
        Records records;
        const bool spills = chance(6);
        for (uint32_t count = any(0, 40), bytes = 0; spills ? bytes < 600'000 : count > 0; --count) {
          records.push_back(someRecord(any(1, longest + 3)));
          bytes += static_cast<uint32_t>(records.back().size());
          expected.push_back(records.back().substr(0, longest));
          if (fixed || expected.back().size() < shortest)
            expected.back() = records.back() =
                fitted(records.back().substr(0, longest), fixed ? longest : shortest);
        }
        program.releaseAll(records);
        ASSERT_EQ(program.released(), done);
      }
      stableSort(expected, keys);
      seen.insert(fixed + 2 * byReturn + 4 * (merge ? 2 : byRelease));
      if (byReturn) {
        ASSERT_EQ(program.returnAll(), expected);
      }
      if (!to.empty()) {
        const auto isUsed = [&](size_t index) { return std::ranges::find(from, index) != from.end(); };
        const bool pseudo = std::ranges::any_of(
            to, [&](size_t index) { return isUsed(index) || (!fixed && program.isFixed(index)); });
        Records source = expected;
        if (!pseudo) {
          source.clear();
          for (const std::string& record : model.asWritten(to[0], expected))
            source.push_back(model.asRead(to[0], record));
        }
        // Without a record the sort only creates the first.
        const size_t made = byRelease && expected.empty() ? 1 : to.size();
        for (size_t place = 0; place < made; ++place) {
          SCOPED_TRACE(testing::Message() << "output " << place);
          ASSERT_EQ(program.content(to[place]),
                    model.asWritten(to[place], place == 0 && !pseudo ? expected : source));
        }
      }
    });
    if (HasFatalFailure()) return;
    for (const auto& file : program.own) std::filesystem::remove(file->assignment);
    ASSERT_EQ(filesHere(), Texts{});
  }
  EXPECT_EQ(seen.size(), 12U);
}

// ---- Keys

TEST_F(Statement, KeysOfEveryType) {
  struct Field {
    int32_t type;
    const char* keyword;
    int32_t length;
  };
  const Field fields[] = {{1, "int", 4},        {2, "uint", 4},       {3, "short", 2},   {4, "ushort", 2},
                          {5, "long", 4},       {6, "ulong", 4},      {7, "float", 4},   {8, "double", 8},
                          {9, "extended", 16},  {10, "char", 5},      {11, "bin", 5},    {12, "packed", 3},
                          {13, "zoned", 4},     {14, "fixed", 3},     {15, "extlss", 3}, {16, "exttss", 3},
                          {17, "extlns", 3},    {18, "exttns", 3},    {19, "scint", 8},  {20, "scuint", 8},
                          {-7, "kx70float", 4}, {-8, "kx70double", 8}};
  for (const auto& [type, keyword, length] : fields)
    for (const int32_t order : {QRT_SORT_ASCENDING, QRT_SORT_DESCENDING}) {
      SCOPED_TRACE(testing::Message() << keyword << " in order " << order);
      const auto size = static_cast<size_t>(length);
      Records records;
      for (char number = 'A'; number <= 'Z'; ++number)
        records.push_back("ab" + randomValue(random, keyword, size) + number);
      SortProgram program(QRT_SORT_FIXED, length + 3, length + 3);
      program.setKeys({{nullptr, 2, length, type, order}});
      run(program, [&] {
        ASSERT_EQ(program.call(QRT_SORT_START), done);
        program.releaseAll(records);
        ASSERT_EQ(program.released(), done);
        // Hexadecimal numbers ascend in any case.
        const bool ascends = order == QRT_SORT_ASCENDING || type < 0;
        std::ranges::stable_sort(records, [&](const std::string& left, const std::string& right) {
          const int sign = compareValues(keyword, left.substr(2, size), right.substr(2, size));
          return ascends ? sign < 0 : sign > 0;
        });
        EXPECT_EQ(program.returnAll(), records);
      });
    }
}

TEST_F(Statement, NationalKeysAreRewrittenOnceAndWholly) {
  SortProgram program(QRT_SORT_FIXED, 12, 12);
  program.setKeys({{nullptr, 6, 6, QRT_SORT_KEY_NATIONAL, QRT_SORT_DESCENDING},
                   {nullptr, 2, 4, QRT_SORT_KEY_NATIONAL, QRT_SORT_ASCENDING}});
  const auto listed = [&] {
    std::string text = std::to_string(program.keys.count) + ":";
    for (const QrtSortKeySpec* key = program.keys.first; key != nullptr; key = key->next)
      for (const int32_t word : {key->offset, key->length, key->type, key->order})
        text += " " + std::to_string(word);
    return text;
  };
  run(program, [&] {
    const std::string before = listed();
    for (const int n : canFailAllocations ? std::vector{1, 2, 1} : std::vector<int>{}) {
      std::pair<int, int> ended;
      {
        FailingAllocation failing(n);
        ended = program.call(QRT_SORT_START);
      }
      EXPECT_EQ(ended, std::pair(16, 530));
      EXPECT_EQ(listed(), before);
    }
    for (int times = 0; times < 2; ++times) {
      EXPECT_EQ(program.call(QRT_SORT_START), done);
      EXPECT_EQ(listed(), "5: 6 2 4 2 8 2 4 2 10 2 4 2 2 2 4 1 4 2 4 1");
    }
  });
}

// ---- Failures

TEST_F(Statement, EveryFailureHasItsNumber) {
  using Spoil = std::function<void(SortProgram&)>;
  const auto key = [](int32_t offset, int32_t length, int32_t type, int32_t order = 1) -> Spoil {
    return [=](SortProgram& program) { program.setKeys({{nullptr, offset, length, type, order}}); };
  };
  const auto twoKeys = [](int32_t offset, int32_t length, int32_t type, int32_t other) -> Spoil {
    return [=](SortProgram& program) {
      program.setKeys({{nullptr, 2, 4, type, 1}, {nullptr, offset, length, other, 1}});
    };
  };
  const auto records = [](int32_t form, int32_t least, int32_t most) -> Spoil {
    return [=](SortProgram& program) { program.record = {form, least, most}; };
  };
  const auto lengths = [](size_t file, uint32_t least, uint32_t most) -> Spoil {
    return [=](SortProgram& program) {
      program.own[file]->description.minRecord = least;
      program.own[file]->description.maxRecord = most;
    };
  };
  const auto reads = [](size_t file) -> Spoil {
    return [=](SortProgram& program) { program.usingBlocks[0] = &program.fcb(file); };
  };
  const auto fails = [](size_t file, char verb) -> Spoil {  // the second time
    return [=](SortProgram& program) {
      setHook(program.fcb(file), [verb, left = 2](char called) mutable {
        EXPECT_FALSE(verb == 'o' && left == 0 && called == 'c') << "closes what it couldn't open";
        return called != verb || --left != 0;
      });
    };
  };
  const auto all = [](auto... spoils) -> Spoil {
    return [=](SortProgram& program) { (spoils(program), ...); };
  };
  const auto writesItsInput = [](SortProgram& program) { program.givingBlocks[1] = &program.fcb(0); };
  const auto inDirectory = [](const char* directory) -> Spoil {
    return [=](SortProgram&) { _qrtRuncom->tempDirectory = const_cast<char*>(directory); };
  };
  const struct {
    int number;
    std::vector<Spoil> spoils;
  } rows[] = {
      {502, {records(3, 10, 10)}},
      {503,
       {records(QRT_SORT_FIXED, 9, 10), records(QRT_SORT_VARIABLE, 11, 10),
        records(QRT_SORT_VARIABLE, 0, 0)}},
      {504, {key(0, 3, QRT_SORT_KEY_INT), key(0, 9, QRT_SORT_KEY_DOUBLE), key(0, 5, QRT_SORT_KEY_NATIONAL)}},
      {505, {key(0, 4, 22), key(0, 4, 0)}},
      {506, {[](SortProgram& program) { program.keys.count = 2; }}},
      {507,
       {key(0, 0, QRT_SORT_KEY_CHAR), key(0, 65536, QRT_SORT_KEY_CHAR), key(65536, 1, QRT_SORT_KEY_CHAR),
        key(0, 4096, QRT_SORT_KEY_BIN), key(0, 256, QRT_SORT_KEY_PACKED), key(0, 3, QRT_SORT_KEY_HEX4)}},
      {508, {key(7, 4, QRT_SORT_KEY_INT), key(10, 1, QRT_SORT_KEY_BIN)}},
      {509, {key(0, 4, QRT_SORT_KEY_INT, 3)}},
      {510,
       {twoKeys(5, 2, QRT_SORT_KEY_CHAR, QRT_SORT_KEY_CHAR),
        twoKeys(3, 2, QRT_SORT_KEY_CHAR, QRT_SORT_KEY_BIN),
        twoKeys(2, 4, QRT_SORT_KEY_ZONED, QRT_SORT_KEY_ZONED)}},
      {511, {[](SortProgram& program) { program.setKeys({}); }}},
      {518, {[](SortProgram&) { std::filesystem::remove("file0"); }}},
      {519, {[](SortProgram& program) { program.fcb(1).openRoutine = program.fcb(0).readRoutine; }}},
      {521, {all(key(0, 4, QRT_SORT_KEY_INT), reads(2))}},
      {522,
       {records(QRT_SORT_FIXED, 9, 9), lengths(0, 11, 10), all(records(QRT_SORT_VARIABLE, 4, 10), reads(4))}},
      {523, {lengths(1, 11, 10), all(records(QRT_SORT_VARIABLE, 3, 11), reads(4))}},
      {524,
       {all(inDirectory(nullptr), reads(4)), all(inDirectory(nullptr), reads(2)),
        all(inDirectory(nullptr), writesItsInput),
        all(inDirectory(nullptr), records(QRT_SORT_VARIABLE, 3, 10), reads(4))}},
      {525, {inDirectory("nowhere")}},
      {34, {fails(0, 'r')}},
      {36, {fails(0, 'o')}},
      {57, {fails(1, 'o')}},
      {255, {fails(0, 'c'), fails(1, 'c')}},
      {634, {all(reads(4), fails(4, 'r'))}},
      {834, {fails(1, 'r')}},
      {835, {fails(3, 'w')}},
  };
  for (const auto& [number, spoils] : rows)
    for (const Spoil& spoil : spoils) {
      SCOPED_TRACE(testing::Message() << number << " in case " << &spoil - spoils.data());
      SortProgram program(QRT_SORT_FIXED, 10, 10);
      for (const char kind : {sequential, sequential, text, relative}) program.add(kind, 10);
      program.add(sequential, 10, 3);
      program.setKeys({{nullptr, 0, 4, QRT_SORT_KEY_CHAR, 1}});
      run(program, [&] {
        for (const size_t index : {0U, 2U, 4U})
          program.write(index, {"abcdefghij", "bcdefghijk", "cdefghijkl"});
        ASSERT_EQ(program.call(QRT_SORT_START, {0}, {1, 3}), done);
        char* const directory = _qrtRuncom->tempDirectory;
        spoil(program);
        EXPECT_EQ(program.again(QRT_SORT_START), std::pair(16, number));
        _qrtRuncom->tempDirectory = directory;
        EXPECT_EQ(program.again(QRT_SORT_REFUSED), std::pair(16, 501));
        EXPECT_EQ(program.again(7), done);
        EXPECT_EQ(_qrtRuncom->sortActive, 0);
        for (const QrtFcb* file : program.files)
          EXPECT_EQ(file->openState, 0) << file->description->assignName;
      });
      dropHooks();
      for (const std::string& name : filesHere()) EXPECT_TRUE(name.starts_with("file")) << name;
    }
  SortProgram program(QRT_SORT_FIXED, 10, 10);
  run(program, [&] { EXPECT_EQ(program.released(), std::pair(16, 512)); });
}

// Every request for memory in turn: what ended well is right, what didn't has a number, and nothing stays.
TEST_F(Statement, MemoryEndsAtEveryRequest) {
  if (!canFailAllocations) GTEST_SKIP();
  for (const bool lines : {false, true}) {
    std::set<int> seen;
    bool reached = true;
    for (int n = 1; reached; ++n) {
      SCOPED_TRACE(n);
      SortProgram program(lines ? QRT_SORT_VARIABLE : QRT_SORT_FIXED, lines ? 3 : 10, 10);
      program.add(lines ? text : sequential, 10, 3);
      program.add(sequential, 10);
      if (!lines) program.add(sequential, 11);
      program.setKeys({{nullptr, 0, 1, QRT_SORT_KEY_CHAR, 1}, {nullptr, 1, 1, QRT_SORT_KEY_CHAR, 2}});
      run(program, [&] {
        program.write(0, {"bbb", "abcdefg", "cab"});
        ASSERT_EQ(program.call(QRT_SORT_START, {0}, lines ? std::vector{1U} : std::vector{1U, 2U}), done);
        const int32_t before = liveBlocks();
        std::pair<int, int> ended;
        {
          const FailingAllocation failing(n);
          ended = program.again(QRT_SORT_START);
          reached = failing.hasFailed();
        }
        EXPECT_LE(liveBlocks(), before);
        EXPECT_EQ(ended.first, ended.second == 0 ? 0 : 16);
        seen.insert(ended.second);
        EXPECT_TRUE(ended.second != 0 || program.content(1).size() == 3);
        EXPECT_EQ(program.again(QRT_SORT_START), done);
      });
      EXPECT_EQ(filesHere().size(), 3U);
    }
    for (const int number : {527, lines ? 529 : 528, 530, 531}) EXPECT_EQ(seen.count(number), 1U) << number;
  }
}

// ---- RELEASE and RETURN

// Files can't grow beyond `limit` bytes while this lives.
struct FileSizeLimit {
  rlimit before{};

  explicit FileSizeLimit(rlim_t limit) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit now = {limit, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }
};

TEST_F(Statement, ReleaseWithAFullDiskKeepsWhatItHas) {
  for (const int32_t form : {QRT_SORT_FIXED, QRT_SORT_VARIABLE}) {
    SortProgram program(form, form == QRT_SORT_FIXED ? 1000 : 8, 1000);
    program.setKeys({{nullptr, 0, 8, QRT_SORT_KEY_CHAR, 1}});
    run(program, [&] {
      ASSERT_EQ(program.call(QRT_SORT_START), done);
      Records kept;
      int refused = 0;
      const auto releaseSome = [&](int least) {
        for (int number = least; number < least + 800; ++number) {
          const std::string record = std::to_string(90'000'000 - number * 37 % 100) + std::string(991, ' ') +
                                     static_cast<char>('a' + number % 26);
          int16_t result = 0;
          _qrtRelease(1000, reinterpret_cast<const uint8_t*>(record.data()), &result);
          if (result == 0)
            kept.push_back(record);
          else
            ++refused;
        }
      };
      releaseSome(0);
      {
        const FileSizeLimit limit(800'000);
        releaseSome(800);
      }
      releaseSome(1600);
      EXPECT_GT(refused, 300);
      EXPECT_LT(refused, 700);
      ASSERT_EQ(program.released(), done);
      stableSort(kept, program.nodes);
      EXPECT_TRUE(program.returnAll() == kept);
    });
    EXPECT_EQ(filesHere(), Texts{});
  }
}

TEST_F(Statement, AStatementInsideAProcedureLeavesTheOtherAlone) {
  SortProgram program(QRT_SORT_VARIABLE, 1, 10);
  program.add(sequential, 10, 1);
  program.add(sequential, 10, 1);
  program.setKeys({{nullptr, 0, 1, QRT_SORT_KEY_CHAR, 1}});
  SortProgram outer(QRT_SORT_FIXED, 4, 4);
  outer.setKeys({{nullptr, 1, 2, QRT_SORT_KEY_CHAR, 2}});
  run(program, [&] {
    outer.registers.program = program.registers.program;
    program.write(0, {"zz", "a", "m"});
    ASSERT_EQ(outer.call(QRT_SORT_START), done);
    outer.releaseAll({"1ab", "2bc"});
    EXPECT_EQ(program.call(QRT_SORT_START, {0}, {1}), done);
    outer.releaseAll({"3bc", "4cd"});
    ASSERT_EQ(outer.released(), done);
    EXPECT_EQ(program.call(QRT_MERGE_START, {1}, {0}), done);
    EXPECT_EQ(outer.returnAll(), (Records{"4cd ", "2bc ", "3bc ", "1ab "}));
    EXPECT_EQ(program.content(0), (Records{"a", "m", "zz"}));
  });
}

// ---- Files

// 0x1A at the end of a buffer of the scan that copies lines is data as anywhere else.
TEST_F(Statement, LinesAcrossBuffersOfTheScan) {
  SortProgram program(QRT_SORT_VARIABLE, 2, 9000);
  for (const char kind : {text, text, sequential}) program.add(kind, 9000);
  program.setKeys({{nullptr, 0, 1, QRT_SORT_KEY_CHAR, 1}});
  Records lines = {"b\x1A", "d" + std::string(8999, '\x1A'), "a b  c", "c" + std::string(8000, '\x1A') + "x"};
  run(program, [&] {
    program.write(0, lines);
    ASSERT_EQ(program.call(QRT_SORT_START, {0}, {1, 2}), done);
    for (std::string& line : lines) line.resize(9000, ' ');
    stableSort(lines, program.nodes);
    EXPECT_TRUE(program.content(2) == lines);
  });
}

// What the control blocks of a SORT with two outputs see: the words of each call, in turn.
TEST_F(Statement, CallsOfFileRoutines) {
  SortProgram program(QRT_SORT_FIXED, 3, 3);
  program.add(relative, 3, -1, QRT_ACCESS_DYNAMIC);
  program.add(relative, 3, -1, QRT_ACCESS_DYNAMIC);
  program.add(sequential, 3);
  program.setKeys({{nullptr, 0, 3, QRT_SORT_KEY_CHAR, 1}});
  std::string log;
  run(program, [&] {
    program.write(0, {"bcd", "abc"});
    for (size_t index = 0; index < 3; ++index) {
      program.own[index]->key.value = 70;
      QrtFcb& file = program.fcb(index);
      setHook(file, [&, index](char verb) {
        char words[40];
        const unsigned word = verb == 'o'   ? file.openRequest
                              : verb == 'c' ? file.closeFlags
                              : verb == 'r' ? file.statementFlags
                                            : file.recordLength;
        snprintf(words, sizeof(words), "%c%zu %x/%u ", verb, index, word, program.own[index]->key.value);
        log += words;
        return true;
      });
    }
    ASSERT_EQ(program.call(QRT_SORT_START, {0}, {1, 2}), done);
  });
  dropHooks();
  EXPECT_EQ(log,
            "o0 8080/70 c0 8000/70 o1 4040/70 c1 0/70 o2 4040/70 c2 0/70 "
            "o0 8080/70 r0 22/1 r0 22/2 r0 22/3 c0 8000/3 o1 4040/70 w1 3/1 w1 3/2 c1 0/2 "
            "o2 4040/70 o1 8080/2 r1 22/1 r1 22/2 r1 22/3 c1 0/3 w2 3/70 w2 3/70 c2 0/70 ");
}

// ---- Ends, messages and trace

// The text with its numbers of processes and threads as #, its lines joined.
std::string plain(const std::string& text) {
  return std::regex_replace(std::regex_replace(text, std::regex("(sortwk[io]\\.|SS)[0-9]+"), "$1#"),
                            std::regex("[ \n]+"), " ");
}

TEST_F(Statement, TraceOfEveryRun) {
  SortProgram program(QRT_SORT_FIXED, 5, 5);
  program.add(sequential, 5, 2);
  program.add(relative, 4);
  program.add(text, 5);
  program.add(sequential, 7);
  program.setKeys({{nullptr, 1, 3, QRT_SORT_KEY_CHAR, 1}, {nullptr, 2, 1, QRT_SORT_KEY_CHAR, 2}});
  SortProgram failing(QRT_SORT_VARIABLE, 1, 5000);
  setenv("COB_SORT_TRACE", "y", 1);
  const Ended ended = inChild([&] {
    run(program, [&] {
      program.write(0, {"cdefg", "ab"});
      program.write(1, {"bcde"});
      program.call(QRT_SORT_START, {0, 1}, {2, 3});
      failing.registers.program = program.registers.program;
      failing.call(QRT_MERGE_START, {}, {});
      failing.releaseAll({"x"});
      failing.released();
      program.again(QRT_SORT_CLEAN_UP);
    });
  });
  unsetenv("COB_SORT_TRACE");
  EXPECT_EQ(
      plain(ended.out),
      "*** sortmerge trace (version 2.1) *** function=SORT SD minreclen=5 maxreclen=5 type=FIXED "
      "--> Pad copy file=0 Lumasift parameters= -s copy -x notrap -o .\\SS#.000 -x 'outorg byte_stream' "
      "-x 'inorg sequential' -x 'format rlength4 bin 5' -x 'msg errmsg' -x 'trace sortrace' file0 "
      "outputexit=binaryvlrpad Lumasift lite rc=0 --> Done "
      "--> Pad copy file=1 Lumasift parameters= -s copy -x notrap -o .\\SS#.001 -x 'outorg byte_stream' "
      "-x 'inorg direct' -x 'format bin 4' -x 'reformat 1 1*\" \"' -x 'msg errmsg' -x 'trace sortrace' file1 "
      "outputexit=NULL Lumasift lite rc=0 --> Done "
      "--> Primary SORT Lumasift parameters= -s sort -T . -o file2 -x 'outorg line_sequential' "
      "-x 'inorg byte_stream byte_stream' -x notrap -x 'reformat 1 \"\\r\" \"\\n\"' "
      "-x 'format bin 1 char 3 bin 1' -k 2,2 -k 2.2r,2.2 -x 'msg errmsg' -x 'trace sortrace' "
      ".\\SS#.000 .\\SS#.001 outputformat=NORMAL Lumasift lite rc=0 --> Done "
      "--> Multiple Output Lumasift parameters= -s copy -o file3 -x 'reformat 1 2*\" \"' "
      "-x 'outorg sequential' -x 'inorg line_sequential' -x 'msg errmsg' -x 'trace sortrace' file2 "
      "inputexit=NULL Lumasift lite rc=0 --> Done Lumasift return to caller with rc=0 "
      "*** sortmerge trace (version 2.1) *** function=SORT SD minreclen=1 maxreclen=5000 type=VARIABLE "
      "Returned from Lumasift_Lite with rc=511 "
      "*** sortmerge trace (version 2.1) *** function=CLEANUP ");
  EXPECT_EQ(ended.exitCode, 0);
}

TEST_F(Statement, MessageUnlessTheProgramLooksItself) {
  for (const int32_t messageOff : {1, 0}) {
    SortProgram program(QRT_SORT_FIXED, 5, 5);
    program.registers.messageOff = messageOff;
    const Ended ended = inChild([&] {
      run(program, [&] {
        program.again(QRT_SORT_CLEAN_UP);
        program.call(QRT_SORT_REFUSED);
      });
    });
    const std::string message =
        "SORT or MERGE in program SORTER, statement 4711, failed with sort error 501. SORT-RETURN is 16.";
    EXPECT_EQ(plain(ended.err).find(message) != std::string::npos, messageOff == 0) << ended.err;
    EXPECT_EQ(ended.exitCode == 0, messageOff != 0);
  }
}

// What a file routine does in the middle of the primary run, of a pad copy and of a further output.
void inTheMiddle(SortProgram& program, const std::function<void()>& act,
                 const std::function<void()>& behind) {
  program.setKeys({{nullptr, 0, 5, QRT_SORT_KEY_CHAR, 1}});
  const struct {
    size_t file;
    char verb;
  } places[] = {{0, 'r'}, {1, 'w'}, {2, 'w'}};
  for (const auto& place : places) {
    SCOPED_TRACE(testing::Message() << place.verb << place.file);
    run(program, [&] {
      Records records;
      for (int number = 0; number < 3000; ++number)
        records.push_back(std::to_string(1000 + number * 7 % 3000) + std::string(496, ' '));
      program.write(0, records);
      int calls = 0;
      setHook(program.fcb(place.file), [&, verb = place.verb](char called) {
        if (called == verb && ++calls == 2000) act();
        return true;
      });
      program.call(QRT_SORT_START, {0}, {1, 2});
      dropHooks();
      behind();
    });
    dropHooks();
    for (const std::string& name : filesHere()) EXPECT_TRUE(name.starts_with("file")) << name;
  }
}

struct EndedSort : Statement {
  SortProgram program{QRT_SORT_FIXED, 501, 501};
  EndedSort() {
    program.add(sequential, 500);
    for (int output = 0; output < 2; ++output) program.add(sequential, 502);
  }
};

TEST_F(EndedSort, ByTheCleanUpFromAFileRoutine) {
  const int32_t before = liveBlocksAfterARun();
  inTheMiddle(
      program,
      [&] {
        qrtSortMerge(QRT_SORT_CLEAN_UP, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        for (const std::string& name : filesHere()) EXPECT_TRUE(name.starts_with("file")) << name;
      },
      [&] {
        int32_t number;
        GetSortErrno(&number);
        EXPECT_EQ(program.sortReturn, 16);
        EXPECT_EQ(number, 77);
        EXPECT_EQ(program.call(QRT_SORT_START, {0}, {1}), done);
      });
  EXPECT_LE(liveBlocksAfterARun(), before + 40);
}

TEST_F(EndedSort, ByStopRunFromAFileRoutine) {
  const Ended ended = inChild([&] {
    inTheMiddle(
        program, [] { _qrtRunUnitTerm(3); }, [] { ADD_FAILURE(); });
    if (testing::Test::HasFailure()) _exit(9);
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.err;
}

TEST_F(EndedSort, ByASortInsideIt) {
  const Ended ended = inChild([&] {
    SortProgram inner(QRT_SORT_FIXED, 5, 5);
    inTheMiddle(
        program, [&] { inner.call(QRT_SORT_START, {}, {}), inner.releaseAll({"a"}), inner.released(); },
        [] {});
  });
  EXPECT_NE(ended.err.find("while another one is active"), std::string::npos) << ended.err;
  for (const std::string& name : filesHere()) EXPECT_TRUE(name.starts_with("file")) << name;
}

TEST_F(Statement, TheRunEndsInAProcedure) {
  SortProgram program(QRT_SORT_FIXED, 1000, 1000);
  program.setKeys({{nullptr, 0, 5, QRT_SORT_KEY_CHAR, 1}});
  for (const bool inOutput : {false, true}) {
    run(program, [&] {
      ASSERT_EQ(program.call(QRT_SORT_START), done);
      program.releaseAll(Records(600, "a"));
      if (inOutput) {
        int32_t length;
        int16_t atEnd = 0;
        uint8_t record[1000];
        ASSERT_EQ(program.released(), done);
        for (int count = 0; count < 300; ++count) _qrtReturn(&length, record, &atEnd);
        EXPECT_EQ(atEnd, 0);
      }
      EXPECT_EQ(filesHere().size(), 1U);
      _qrtRunUnitTerm(3);
    });
    EXPECT_EQ(filesHere(), Texts{});
  }
}

}  // namespace
