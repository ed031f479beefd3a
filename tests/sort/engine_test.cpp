// Whole runs of the engine through its entry: sources, exits and outputs of every kind beside a plain stable
// sort, and how runs end that can't be finished.
#include <sched.h>
#include <sys/mount.h>

#include <atomic>
#include <regex>
#include <thread>

#include "fixture.h"
#include "sort/engine/lumasift.h"
#include "support/allocation.h"
#include "support/process.h"

namespace {

using namespace qrt::sort;
using namespace qrt::test;
using namespace std::string_literals;

// Runs the engine; its messages go to a file.
int32_t run(const std::string& options, QrtSortExit inputExit = nullptr, QrtSortExit outputExit = nullptr,
            QrtSortBuffer* sources = nullptr, QrtSortBuffer* targets = nullptr) {
  return Lumasift_Lite(("-x 'msg messages' " + options).c_str(), sources, targets, inputExit, outputExit,
                       nullptr, nullptr, nullptr);
}

// What that file holds, without what stands in front of every number.
std::string told() {
  std::string text = Folder::read("messages");
  for (size_t at; (at = text.find("Lumasift: 7351-")) != std::string::npos;) text.erase(at, 15);
  return text;
}

// Buffers with guard bytes behind each.
struct Buffers {
  std::vector<std::string> bytes;
  std::vector<QrtSortBuffer> rows;

  explicit Buffers(const std::vector<std::string>& contents) : bytes(contents) {
    for (std::string& content : bytes) {
      const auto length = static_cast<int32_t>(content.size());
      content += "guard";
      rows.push_back({reinterpret_cast<uint8_t*>(content.data()), length, -1});
    }
    rows.push_back({});
  }
  std::string used() const {
    std::string all;
    for (size_t at = 0; at < bytes.size(); ++at) {
      EXPECT_TRUE(bytes[at].ends_with("guard"));
      all += bytes[at].substr(0, static_cast<size_t>(std::max(rows[at].used, 0)));
    }
    return all;
  }
};

// Exits that cut what goes through them at random places, now in the engine's buffer, now in their own.
struct Cutter {
  std::mt19937 random;
  std::string data;       // what the input exit gives by itself
  size_t given = 0;       // of it
  size_t bareBehind = 0;  // records' bytes behind which the input exit wants no more calls; 0 for never
  std::string taken;      // what the output exit saw
  bool keeps = false;     // it gives nothing back
  std::string own;

  inline static Cutter* current = nullptr;
  explicit Cutter(uint32_t seed) : random(seed) { current = this; }

  void give(QrtSortBuffer& to, const char* bytes, size_t count) {
    if (random() % 2 == 0) {
      own.assign(bytes, count);
      to = {reinterpret_cast<uint8_t*>(own.data()), static_cast<int32_t>(count), static_cast<int32_t>(count)};
    } else {
      memcpy(to.address, bytes, count);
      to.used = static_cast<int32_t>(count);
    }
  }
  size_t some(size_t most) { return std::min<size_t>(most, 1 + random() % (random() % 4 == 0 ? 9 : 30000)); }

  static int32_t generate(QrtSortBuffer* to, QrtSortBuffer* from) {
    Cutter& self = *current;
    EXPECT_EQ(from->address, nullptr);
    const size_t left = self.data.size() - self.given;
    const size_t count = self.some(std::min(left, static_cast<size_t>(to->length)));
    self.give(*to, self.data.data() + self.given, count);
    self.given += count;
    return self.given < self.data.size() ? 0 : 2 + static_cast<int32_t>(self.random() % 2);
  }
  static int32_t passIn(QrtSortBuffer* to, QrtSortBuffer* from) {
    Cutter& self = *current;
    size_t count = self.some(static_cast<size_t>(std::min(from->length, to->length)));
    bool bare = false;
    if (self.bareBehind != 0 && self.given + count >= self.bareBehind) {
      count = self.bareBehind - self.given;
      bare = true;
    }
    from->used = static_cast<int32_t>(count);
    self.given += count;
    if (count > 0) self.give(*to, reinterpret_cast<char*>(from->address), count);
    return bare ? 3 : 0;
  }
  static int32_t passOut(QrtSortBuffer* to, QrtSortBuffer* from) {
    Cutter& self = *current;
    size_t most = static_cast<size_t>(from->length);
    if (!self.keeps) most = std::min(most, static_cast<size_t>(to->length));
    const size_t count = most == 0 ? 0 : self.some(most);
    self.taken.append(reinterpret_cast<char*>(from->address), count);
    from->used = static_cast<int32_t>(count);
    if (!self.keeps && count > 0) self.give(*to, reinterpret_cast<char*>(from->address), count);
    return from->length == 0 ? 2 : 0;
  }
};

enum Form { text, fixed, variable };
constexpr const char* formats[] = {"-z 200", "-x 'format char 4 char 60'", "-x 'format rlength4 char 250'"};
constexpr const char* keys[] = {" -k 1.1,1.4", " -k 1,1", " -k 2.1,2.4"};
constexpr size_t keyStarts[] = {0, 0, 4};

Records makeRecords(Form form, size_t count, std::mt19937& random) {
  Records records(count);
  for (std::string& record : records) {
    const size_t length = form == fixed ? 60 : random() % 190;
    for (size_t at = 0; at < length + 4; ++at)
      record += static_cast<char>('A' + random() % (at < 2 ? 3 : 26));
    if (form == text) record += "\n";
    if (form != variable) continue;
    const auto prefix = static_cast<uint32_t>(record.size() + 4);
    record.insert(0, reinterpret_cast<const char*>(&prefix), 4);
  }
  return records;
}

void sortPlainly(Records& records, Form form) {
  records = sortedBy(keyStarts[form], 4, std::move(records));
}

enum Input { files, buffers, generatingExit, passingExit, leavingExit, inputs };
enum Output { file, targets, exitToFile, exitToTargets, exitAlone, outputs };

// Every kind of input with every kind of output, for records that cross the ends of blocks.
TEST(Engine, MovesRecordsThroughEverySourceExitAndOutput) {
  std::mt19937 random(1);
  for (int combination = 0; combination < 3 * inputs * outputs * 3; ++combination) {
    const auto form = static_cast<Form>(combination % 3);
    const int input = combination / 3 % inputs, output = combination / (3 * inputs) % outputs;
    const int function = combination / (3 * inputs * outputs);  // sort, merge, copy
    if (function == 1 && (input == generatingExit || input == leavingExit)) continue;
    SCOPED_TRACE(testing::Message() << "form " << form << " input " << input << " output " << output
                                    << " function " << function);
    const Folder folder;
    Cutter cutter(random());
    cutter.keeps = output == exitAlone;
    std::vector<Records> sources(3);
    Records all;
    for (Records& source : sources) {
      source = makeRecords(form, random() % 2 == 0 ? random() % 4 : random() % 1800, random);
      if (function == 1) sortPlainly(source, form);
      all.insert(all.end(), source.begin(), source.end());
    }
    std::string options = std::string("-T temporary ") + formats[form];
    if (function != 2) options += keys[form];
    if (function != 0) options += function == 1 ? " -m" : " -s copy";
    if (output == file || output == exitToFile) options += " -o out";
    std::vector<std::string> contents;
    for (const Records& source : sources) contents.push_back(joined(source));
    cutter.data = joined(all);
    if (input == leavingExit)
      cutter.bareBehind = joined(Records(all.begin(), all.begin() + all.size() / 2)).size();
    for (const char* name : {"0", "1", "2"}) {
      if (input == buffers || input == generatingExit) break;
      Folder::write(name, contents[*name - '0']);
      options += std::string(" ") + name;
    }
    Buffers given(contents);
    std::vector<std::string> rooms;
    for (size_t room = 0; room < cutter.data.size() + 3000; room += rooms.back().size() - 300)
      rooms.emplace_back(301 + random() % 20000, '\xEE');
    Buffers taken(rooms);
    const bool toTargets = output == targets || output == exitToTargets;
    ASSERT_EQ(run(options,
                  input < generatingExit    ? nullptr
                  : input == generatingExit ? Cutter::generate
                                            : Cutter::passIn,
                  output < exitToFile ? nullptr : Cutter::passOut,
                  input == buffers ? given.rows.data() : nullptr, toTargets ? taken.rows.data() : nullptr),
              0)
        << told();
    const std::string result = toTargets             ? taken.used()
                               : output == exitAlone ? cutter.taken
                                                     : Folder::read("out");
    if (function != 2) sortPlainly(all, form);
    ASSERT_TRUE(result == joined(all)) << result.size() << " bytes of " << cutter.data.size();
  }
}

// The return code that comes with a message: 0 for what is only told.
int32_t codeOf(const char* message) {
  const int32_t number = atoi(message);
  return number > 255 ? 0 : number == 2 ? 1 : number;
}

TEST(Engine, EndsWithTheMessageOfWhatWentWrong) {
  const struct {
    std::string options, in;
    const char* told;
    std::string out = "";
  } rows[] = {
      {"-o out in", "b\na", "256 EOL assumed on input file <in>", "a\r\nb\n"},
      {"-o out in", "b\na\n\x1A", "259 Total output: 5 bytes, 2 records", "a\nb\n\x1A"},
      {"-o out in in", "b\x1A", "258 Total input: 4 bytes, 2 records", "b\r\nb\r\n\x1A"},
      {"-o out -x 'format char 2' in", "bbaac", "268 Truncated record (1 bytes) ignored at end of file <in>",
       "aabb"},
      {"-o out -z 3 in", "abc\nabcd\n", "032 Record number 2 within <in> is too long"},
      {"-o out -z 3 in", "abc\nabcdefgh", "032 Record number 2 within <in> is too long"},
      {"-o out -x 'format rlength2 char 3' in", "\5\0abc\1\0"s, "031 Record number 2 within <in>"},
      {"-o out .", "", "034 Read error on file <.>, rc=21"},
      {"-o /dev/full in", "a\n", "035 Write error on file </dev/full>, rc=112"},
      {"-o out in none", "a\n", "036 Cannot open input file <none>, rc=2"},
      {"-m -o out in none", "a\n", "036 Cannot open input file <none>, rc=2"},
      {"-o none/out in", "a\n", "057 Cannot open output file <none/out>, rc=2"},
      {"-o out -x ustop in", "b\na\nb\nc\n", "002 Equal-keyed records detected", "a\nb\n"},
      {"-o out -x 'skiprec 1' -x 'stopaft 3' -x 'select 1 ne \"c\"' in", "q\na\nc\nb\nx\n",
       "262 Total sorted: 4 bytes, 2 records", "a\nb\n"},
      {"-o out -x 'stopaft 0' in", "a\n", "262 Total sorted: 0 bytes, 0 records"},
      {"-o out -c in", "b\na\n", "001 Record number 2 in <in> is not in order"},
      {"-o out -x 'outorg line_sequential' in", "b\na\n", "259 Total output: 4 bytes", "a\nb\n"},
      {"-o out -x 'outorg line_sequential' -x 'format char 2' in", "b.a.", "259 Total", "a.\nb.\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    const Folder folder;
    Folder::write("in", row.in);
    EXPECT_EQ(run(row.options), codeOf(row.told));
    EXPECT_NE(told().find(row.told), std::string::npos) << told();
    EXPECT_TRUE(codeOf(row.told) == 0 || std::ranges::count(told(), '\n') == 2) << told();
    EXPECT_EQ(Folder::read("out"), row.out);
  }
}

TEST(Engine, TellsTotalsOfWhatItDid) {
  const struct {
    std::string options, in, totals;  // these as number, name, bytes/records
  } rows[] = {
      {"-o out", "b\na\n", "258 input 4/2 262 sorted 4/2 259 output 4/2 "},
      {"-o out -x 'skiprec 1' -x 'select 1 ne \"c\"' -u", "q\nb\na\nb\nc\n",
       "258 input 10/5 260 skipped 2/1 261 filtered 2/1 262 sorted 6/3 266 non-unqiue 2/1 259 output 4/2 "},
      {"-o out -m", "a\nb\n", "258 input 4/2 265 merged 4/2 259 output 4/2 "},
      {"-o out -s copy", "b\na\n", "258 input 4/2 263 copied 4/2 259 output 4/2 "},
      {"-c -u -x 'skiprec 1' -x 'select 1 ne \"c\"'", "q\na\nc\nd\n",
       "258 input 8/4 260 skipped 2/1 261 filtered 2/1 264 checked 4/2 "},
      {"-o out -x 'format char 1 zoned 1' -k 1,1 -x 'sum 2'", "a1a2",
       "258 input 4/2 262 sorted 4/2 267 summed 2/1 259 output 2/1 "},
  };
  for (const auto& [options, in, totals] : rows) {
    const Folder folder;
    Folder::write("in", in);
    EXPECT_EQ(run(options + " in"), 0);
    const std::regex total("Total ([a-z-]+): ([0-9]+) bytes, ([0-9]+) records\n");
    const std::string text = std::regex_replace(told(), total, "$1 $2/$3 ");
    EXPECT_EQ(text.substr(text.find('\n') + 1), totals) << options;
  }
}

// What an exit does in each call: result, bytes used of what it was given and of its room; the last row goes
// on.
struct ExitCall {
  int32_t result, from, to;
};
std::vector<ExitCall> script;
size_t calls;
int32_t scripted(QrtSortBuffer* to, QrtSortBuffer* from) {
  const ExitCall& call = script[std::min(calls++, script.size() - 1)];
  from->used = call.from == 'a' ? from->length : call.from;
  to->used = call.to;
  if (call.to > 0 && call.to <= to->length)
    memcpy(to->address, "z\ny\nx\nw\nv", static_cast<size_t>(call.to));
  return call.result;
}

TEST(Engine, ObeysItsExits) {
  constexpr int32_t all = 'a';
  constexpr bool input = true, output = false;
  const struct {
    bool isInput;
    std::vector<ExitCall> script;
    std::string options;  // the file in holds b and c
    const char* told;
    std::string out = "";
  } rows[] = {
      {input, {{2, 0, 8}}, "-o out -x 'format rlength2 char 3'", "032 Record number 1 within <input>"},
      {input, {{2, 0, 0}}, "-o out", "259 Total output: 0 bytes, 0 records"},
      {input, {{3, 0, 3}}, "-o out", "256 EOL assumed on input file <input-user-exit data>", "y\r\nz\n"},
      {input, {{2, 0, 3}}, "-o out -x 'format char 2'", "268 Truncated record (1 bytes)", "z\n"},
      {input, {{3, 0, 4}}, "-o out in", "262 Total sorted: 8 bytes, 4 records", "b\nc\ny\nz\n"},
      {input, {{2, 0, 4}}, "-o out in", "262 Total sorted: 4 bytes, 2 records", "y\nz\n"},
      {input, {{2, 0, 4}}, "-o out -m in in", "265 Total merged: 4 bytes, 2 records", "z\ny\n"},
      {input, {{1, 0, 0}}, "-o out in", "043 UE_ERR returned from input exit"},
      {input, {{0, 5, 0}}, "-o out in", "046 Invalid bytes used value returned from input exit"},
      {input, {{0, 0, 1 << 30}}, "-o out in", "046 Invalid bytes used value returned from input exit"},
      {output, {{2, 2, 4}}, "-o out in", "259 Total", "z\ny\n"},
      {output, {{0, all, 4}, {0, 0, 0}, {2, 0, 1}}, "-o out in", "259 Total", "z\ny\nz"},
      {output, {{1, 0, 0}}, "-o out in", "044 UE_ERR returned from output exit"},
      {output, {{0, 5, 0}}, "-o out in", "047 Invalid bytes used value returned from output exit"},
      {output, {{0, 0, 1 << 30}}, "-o out in", "047 Invalid bytes used"},
      {output, {{0, 0, 1}}, "in", "047 Invalid bytes used"},
      {output, {{0, all, 6}}, "-o out -x 'outorg line_sequential' in", "047 Invalid bytes used"},
      {output, {{3, 0, 0}}, "-o out in", "3"},
      {output, {{0, all, 0}, {1234, 0, 0}}, "-o out in", "1234"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.told);
    const Folder folder;
    Folder::write("in", "b\nc\n");
    script = row.script;
    calls = 0;
    const bool isCodeOfExit = strlen(row.told) < 5;
    const int32_t code = isCodeOfExit ? atoi(row.told) : codeOf(row.told);
    EXPECT_EQ(run(row.options, row.isInput ? scripted : nullptr, row.isInput ? nullptr : scripted), code);
    EXPECT_TRUE(isCodeOfExit || told().find(row.told) != std::string::npos) << told();
    EXPECT_TRUE(code == 0 || std::ranges::count(told(), '\n') == (isCodeOfExit ? 1 : 2)) << told();
    EXPECT_EQ(Folder::read("out"), row.out);
  }
}

TEST(Engine, FillsTargetBuffersWithWholeRecords) {
  const Folder folder;
  const struct {
    Records rooms;
    int32_t code;
    std::string used;  // of each, behind one another; what was there before a failure stays
    QrtSortExit exit;
  } rows[] = {
      {{"...."}, 0, "a\nb\n", nullptr},
      {{"...", ".", ".."}, 0, "a\nb\n", nullptr},
      {{"...", "."}, 39, "a\n", nullptr},
      {{}, 39, "", nullptr},
      {{".", ".", ".."}, 0, "a\nb\n", Cutter::passOut},
      {{"..."}, 39, "a\nb", Cutter::passOut},
  };
  for (const auto& row : rows) {
    Buffers source({"b\na\n"}), target(row.rooms);
    Cutter cutter(1);
    EXPECT_EQ(run("-z 4", nullptr, row.exit, source.rows.data(), target.rows.data()), row.code);
    EXPECT_EQ(target.used(), row.used);
  }
}

TEST(Engine, ShowsItsOutputExitRecordByRecord) {
  const Folder folder;
  static Records blocks;
  const auto note = [](QrtSortBuffer*, QrtSortBuffer* from) -> int32_t {
    blocks.emplace_back(reinterpret_cast<char*>(from->address), static_cast<size_t>(from->length));
    from->used = from->length;
    return from->length == 0 ? 2 : 0;
  };
  const struct {
    std::string options;
    Records blocks;
  } rows[] = {{"-x 'format char 1 zoned 1' -k 1,1 -x 'sum 2'", {"a3", "b1", "c4", ""}},
              {"-s copy -x 'format char 2'", {"a1", "a2", "b1", "c1", "c3", ""}}};
  for (const auto& row : rows) {
    blocks.clear();
    Buffers source({"a1a2b1c1c3"}), target({std::string(100, '.')});
    EXPECT_EQ(run(row.options, nullptr, note, source.rows.data(), target.rows.data()), 0);
    EXPECT_EQ(blocks, row.blocks);
  }
}

// Sources of a run behind each other: names, numbers and the rests of records are those of each source.
TEST(Engine, CountsSourcesAndRecordsFromOne) {
  const Folder folder;
  Folder::write("in", "aabb");
  const struct {
    std::string options;
    Records sources;
    int32_t code;
    std::string out, told;
  } rows[] = {
      {"-x 'format char 2' in", {"ccd", "ee"}, 0, "aabbccee", "ignored at end of source buffer number 1"},
      {"-x 'format char 2' -m in", {"ccd", "ee"}, 0, "aabbccee", "ignored at end of source buffer number 1"},
      {"-z 4", {"a\n", "b\nlonger\n"}, 32, "", "Record number 2 within <source_2> is too long"},
  };
  for (const auto& row : rows) {
    Buffers sources(row.sources), target({std::string(100, '.')});
    EXPECT_EQ(run(row.options, nullptr, nullptr, sources.rows.data(), target.rows.data()), row.code);
    EXPECT_EQ(target.used(), row.out);
    EXPECT_NE(told().find(row.told), std::string::npos) << told();
  }
}

// ---- Runs that are cut short

// Lines that make some runs.
Records manyLines(size_t bytes) {
  std::mt19937 random(5);
  Records lines(bytes / 90);
  for (std::string& line : lines) line = std::to_string(random()) + std::string(80, 'x') + "\n";
  return lines;
}

TEST(Engine, EndsFromAnotherThread) {
  const Folder folder;
  Folder::write("in", joined(manyLines(3000000)));
  static std::atomic<bool> reached;
  static int context, otherContext;
  for (const bool matches : {true, false}) {
    reached = false;
    std::thread other([&] {
      while (!reached) std::this_thread::yield();
      endSessions(77, matches ? &context : &otherContext);
      reached = false;
    });
    // The exit holds the run in the middle of its merge until the other thread has spoken.
    const auto wait = [](QrtSortBuffer* to, QrtSortBuffer* from) -> int32_t {
      if (calls++ == 0) {
        reached = true;
        while (reached) std::this_thread::yield();
      }
      to->used = 0;
      from->used = from->length;
      return from->length == 0 ? 2 : 0;
    };
    calls = 0;
    EXPECT_EQ(Lumasift_Lite(
                  "-T temporary in", nullptr, nullptr, nullptr, wait, nullptr, [](QrtSortErrorRecord*) {},
                  &context),
              matches ? 77 : 0);
    other.join();
  }
}

// A caller that ends sessions out of a routine of its own may never come back: files are gone at once.
TEST(Engine, LeavesNoFileWhenEndedFromWithin) {
  const Folder folder;
  Folder::write("in", joined(manyLines(3000000)));
  const auto end = [](QrtSortBuffer*, QrtSortBuffer*) -> int32_t {
    EXPECT_FALSE(std::filesystem::is_empty("temporary"));
    endSessions(77, nullptr);
    EXPECT_TRUE(std::filesystem::is_empty("temporary"));
    return 0;
  };
  EXPECT_EQ(run("-T temporary in", nullptr, end), 77);
}

// The entry's error callback hears of the first failure only, by its kind.
TEST(Engine, TellsTheCallbackOnce) {
  const Folder folder;
  Folder::write("in", "a\n");
  const struct {
    const char* options;
    int32_t code, kind;
    std::string name;
  } rows[] = {{"-o out in none", 2, 0, "none"},
              {"-o out .", 21, 4, "."},
              {"-o /dev/full in", 112, 5, "/dev/full"},
              {"-q", 255, 6, "Lumasift: 7351-027 No input source specified"}};
  for (const auto& row : rows) {
    static std::vector<QrtSortErrorRecord> heard;
    static std::string name;
    heard.clear();
    const auto keep = [](QrtSortErrorRecord* record) {
      heard.push_back(*record);
      name = record->name;
    };
    EXPECT_NE(Lumasift_Lite(row.options, nullptr, nullptr, nullptr, nullptr, nullptr, keep, &heard), 0);
    ASSERT_EQ(heard.size(), 1U) << row.options;
    EXPECT_EQ(heard[0].systemCode, row.code);
    EXPECT_EQ(heard[0].kind, row.kind);
    EXPECT_EQ(name, row.name);
    EXPECT_EQ(heard[0].context, &heard);
  }
}

// Memory that runs out at any request: code 73 (49 for a block index), nothing left behind.
TEST(Engine, SurvivesEveryFailingAllocation) {
  if (!canFailAllocations) GTEST_SKIP();
  keepLocale();
  const Folder folder;
  Folder::write("in", joined(manyLines(1000000)));
  for (const std::string function :
       {"-k 1 in", "-m in in", "-s copy -x 'reformat 1 5*\"a\"' in",
        "-k 1 -x 'format char 3 char 80' -x 'select 1 = 2 or 2 = \"x\"' in", "-z 1000 none"}) {
    const std::string options = "-T temporary -x notrap -o out " + function;
    const auto runOnce = [&] {
      return Lumasift_Lite(options.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    };
    const int32_t ended = runOnce();
    const std::string result = Folder::read("out");
    const int32_t before = liveBlocks();
    bool fails = true;
    for (int32_t n = 1; fails; ++n) {
      int32_t code;
      {
        const FailingAllocation failing(n);
        code = runOnce();
        fails = failing.hasFailed();
      }
      // Catalogue and option file may stay unread.
      const bool isDue = code == ended || (fails && (code == 73 || code == 49 || code > 1000));
      EXPECT_TRUE(isDue) << n << ": " << code;
      ASSERT_EQ(liveBlocks(), before) << n;
      EXPECT_TRUE(code != 0 || Folder::read("out") == result) << n;
      EXPECT_TRUE(std::filesystem::is_empty("temporary")) << n;
    }
  }
}

// Small file systems that fill up: the runs go to the next directory; message 40 behind the last one.
TEST(Engine, GoesOnWhereADiskIsFull) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  const Folder folder;
  const Records lines = manyLines(3000000);
  Folder::write("in", joined(lines));
  const std::string sorted = joined(sortedBy(0, std::string::npos, lines));
  const struct {
    const char* lastDisk;
    std::string options;
    const char* told;
  } rows[] = {
      {"size=100m", "-T first -T second -T last -o out", "259 Total output"},
      {"size=200k", "-T first -T second -T last -o out", "040 Not enough temporary disk space"},
      {"size=200k", "-T temporary -o last/out", "035 Write error on file <last/out>, rc=112"},
  };
  for (const char* disk : {"first", "second", "last"}) std::filesystem::create_directory(disk);
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      const auto mountDisk = [](const char* disk, const char* size) {
        return mount("none", disk, "tmpfs", 0, size) == 0;
      };
      if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          !mountDisk("first", "size=500k") || !mountDisk("second", "size=300k") ||
          !mountDisk("last", row.lastDisk))
        _exit(200);
      const int32_t code = run(row.options + " in");
      std::filesystem::remove("last/out");
      for (const char* disk : {"first", "second", "last"})
        if (!std::filesystem::is_empty(disk)) _exit(201);
      _exit(code);
    });
    if (ended.exitCode == 200) GTEST_SKIP() << "no mounting here";
    EXPECT_EQ(ended.exitCode, codeOf(row.told)) << row.options;
    EXPECT_NE(told().find(row.told), std::string::npos) << told();
    EXPECT_TRUE(ended.exitCode != 0 || Folder::read("out") == sorted);
  }
  EXPECT_EQ(run("-T none -o out in"), 58);
}

}  // namespace
