// Whole runs of the engine through its entry: sources, exits and outputs of every kind beside a plain stable
// sort, and how runs end that can't be finished.
#include <gtest/gtest.h>
#include <qrtrlib.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "sort/engine/lumasift.h"
#include "sort/engine/session.h"
#include "support/allocation.h"
#include "support/process.h"

namespace {

using namespace qrt::sort;
using namespace qrt::test;
using Records = std::vector<std::string>;

// A folder for sources, output, messages and temporary files; what is left of the latter at its end, or a
// thread, is a failure.
struct Place {
  std::string path = std::filesystem::exists("/dev/shm") ? "/dev/shm/qrtXXXXXX" : "/tmp/qrtXXXXXX";

  Place() {
    path = mkdtemp(path.data());
    std::filesystem::create_directory(temporary());
  }
  ~Place() {
    EXPECT_TRUE(std::filesystem::is_empty(temporary())) << "temporary files are left";
    const std::filesystem::directory_iterator threads("/proc/self/task");
    EXPECT_EQ(std::distance(begin(threads), end(threads)), 1) << "a thread is left";
    std::filesystem::remove_all(path);
  }
  std::string temporary() const { return path + "/temporary"; }
  std::string options() const { return "-T " + temporary() + " -x 'msg " + path + "/messages' "; }
  std::string file(const std::string& name, const std::string& bytes) const {
    std::ofstream(path + "/" + name, std::ios::binary) << bytes;
    return path + "/" + name;
  }
  std::string text(const std::string& name) const {
    std::ifstream file(path + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

std::string joined(const Records& records) {
  std::string all;
  for (const std::string& record : records) all += record;
  return all;
}

int32_t run(const std::string& options, QrtSortExit inputExit = nullptr, QrtSortExit outputExit = nullptr,
            QrtSortBuffer* sources = nullptr, QrtSortBuffer* targets = nullptr) {
  return Lumasift_Lite(options.c_str(), sources, targets, inputExit, outputExit, nullptr, nullptr, nullptr);
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

  static Cutter*& current() {
    static Cutter* cutter;
    return cutter;
  }
  explicit Cutter(uint32_t seed) : random(seed) { current() = this; }

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
    Cutter& self = *current();
    EXPECT_EQ(from->address, nullptr);
    const size_t left = self.data.size() - self.given;
    const size_t count = self.some(std::min(left, static_cast<size_t>(to->length)));
    self.give(*to, self.data.data() + self.given, count);
    self.given += count;
    return self.given < self.data.size() ? 0 : 2 + static_cast<int32_t>(self.random() % 2);
  }
  static int32_t passIn(QrtSortBuffer* to, QrtSortBuffer* from) {
    Cutter& self = *current();
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
    Cutter& self = *current();
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
  std::stable_sort(records.begin(), records.end(), [&](const std::string& left, const std::string& right) {
    return left.compare(keyStarts[form], 4, right, keyStarts[form], 4) < 0;
  });
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
    const Place place;
    Cutter cutter(random());
    cutter.keeps = output == exitAlone;
    std::vector<Records> sources(3);
    Records all;
    for (Records& source : sources) {
      source = makeRecords(form, random() % 2 == 0 ? random() % 4 : random() % 1800, random);
      if (function == 1) sortPlainly(source, form);
      all.insert(all.end(), source.begin(), source.end());
    }
    std::string options = place.options() + formats[form];
    if (function != 2) options += keys[form];
    if (function != 0) options += function == 1 ? " -m" : " -s copy";
    if (output == file || output == exitToFile) options += " -o " + place.path + "/out";
    std::vector<std::string> contents;
    for (const Records& source : sources) contents.push_back(joined(source));
    cutter.data = joined(all);
    if (input == leavingExit)
      cutter.bareBehind = joined(Records(all.begin(), all.begin() + all.size() / 2)).size();
    if (input != buffers && input != generatingExit)
      for (const std::string& content : contents)
        options += " " + place.file(std::to_string(&content - contents.data()), content);
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
        << place.text("messages");
    const std::string result = toTargets             ? taken.used()
                               : output == exitAlone ? cutter.taken
                                                     : place.text("out");
    if (function != 2) sortPlainly(all, form);
    ASSERT_TRUE(result == joined(all)) << result.size() << " bytes of " << cutter.data.size();
  }
}

// Sizes of the input around the run counts at which merges group otherwise. Twenty keys over the whole record
// make the entries large: two fill a sort buffer.
TEST(Engine, SortsAnyNumberOfRuns) {
  std::string options = " -z 5000";
  for (int key = 0; key < 20; ++key) options += " -k 1,1";
  for (const size_t count : {0, 1, 2, 3, 4, 5, 510, 512, 513, 1022, 1024, 2100}) {
    const Place place;
    Records records(count);
    for (size_t at = 0; at < count; ++at)
      records[at] =
          std::to_string(1000000 + at * 7919 % 1009) + std::string(4980, 'x') + std::to_string(at) + "\n";
    const std::string source = place.file("in", joined(records));
    const int32_t code = run(place.options() + options + " -o " + place.path + "/out " + source);
    if (count == 2100) {
      EXPECT_EQ(code, 79) << "more than 1024 runs";
      setenv("COB_SORT_MAX_TMP_FILES", "2000", 1);
      EXPECT_EQ(run(place.options() + options + " -o " + place.path + "/out " + source), 0);
      unsetenv("COB_SORT_MAX_TMP_FILES");
    } else {
      ASSERT_EQ(code, 0) << count << place.text("messages");
    }
    std::sort(records.begin(), records.end());
    EXPECT_TRUE(place.text("out") == joined(records)) << count << " records";
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

TEST(Engine, EndsWithTheMessageOfWhatWentWrong) {
  constexpr int32_t all = 'a';
  const struct {
    std::string options;  // @ stands for the folder
    std::string in;
    int32_t code;
    std::string told, out = "";
    std::vector<ExitCall> inputExit = {}, outputExit = {};
  } rows[] = {
      {"-o @/out @/in", "b\na", 0, "256 EOL assumed on input file <@/in>", "a\r\nb\n"},
      {"-o @/out @/in", "b\na\n\x1A", 0, "259 Total output: 5 bytes, 2 records", "a\nb\n\x1A"},
      {"-o @/out @/in @/in", "b\x1A", 0, "258 Total input: 4 bytes, 2 records", "b\r\nb\r\n\x1A"},
      {"-o @/out -x 'format char 2' @/in", "bbaac", 0,
       "268 Truncated record (1 bytes) ignored at end of file <@/in>", "aabb"},
      {"-o @/out -z 3 @/in", "abc\nabcd\n", 32, "032 Record number 2 within <@/in> is too long"},
      {"-o @/out -z 3 @/in", "abc\nabcdefgh", 32, "032 Record number 2 within <@/in> is too long"},
      {"-o @/out -x 'format rlength2 char 3' @/in",
       "b",
       32,
       "032 Record number 1 within <input> is too long",
       "",
       {{2, 0, 8}}},
      {"-o @/out -x 'format rlength2 char 3' @/in", std::string("\5\0abc\1\0", 7), 31,
       "031 Record number 2 within <@/in> is too short"},
      {"-o @/out @", "", 34, "034 Read error on file <@>, rc=21"},
      {"-o /dev/full @/in", "a\n", 35, "035 Write error on file </dev/full>, rc=112"},
      {"-o @/out @/in @/none", "a\n", 36, "036 Cannot open input file <@/none>, rc=2"},
      {"-m -o @/out @/in @/none", "a\n", 36, "036 Cannot open input file <@/none>, rc=2"},
      {"-o @/out -x 'msg @/none/messages' @/in", "a\n", 37, ""},
      {"-o @/none/out @/in", "a\n", 57, "057 Cannot open output file <@/none/out>, rc=2"},
      {"-o @/out -x ustop @/in", "b\na\nb\nc\n", 1, "002 Equal-keyed records detected", "a\nb\n"},
      {"-o @/out -c @/in", "b\na\n", 1, "001 Record number 2 in <@/in> is not in order"},
      {"-o @/out -x 'skiprec 1' -x 'select 1 ne \"c\"' -u @/in", "q\nb\na\nb\nc\n", 0,
       "258 Total input: 10 bytes, 5 records\n260 Total skipped: 2 bytes, 1 records\n"
       "261 Total filtered: 2 bytes, 1 records\n262 Total sorted: 6 bytes, 3 records\n"
       "266 Total non-unqiue: 2 bytes, 1 records\n259 Total output: 4 bytes, 2 records",
       "a\nb\n"},
      {"-o @/out -m @/in", "a\nb\n", 0, "265 Total merged: 4 bytes, 2 records", "a\nb\n"},
      {"-o @/out -s copy @/in", "b\na\n", 0, "263 Total copied: 4 bytes, 2 records", "b\na\n"},
      {"-c @/in", "a\nb\n", 0, "264 Total checked: 4 bytes, 2 records"},
      {"-o @/out -x 'format char 1 short' -k 1,1 -x 'sum 2' @/in", std::string("a\1\0a\2\0", 6), 0,
       "267 Total summed: 3 bytes, 1 records", std::string("a\3\0", 3)},
      {"-o @/out", "", 0, "259 Total output: 0 bytes, 0 records", "", {{2, 0, 0}}},
      {"-o @/out", "", 0, "256 EOL assumed on input file <input-user-exit data>", "y\r\nz\n", {{3, 0, 3}}},
      {"-o @/out -x 'format char 2'",
       "",
       0,
       "268 Truncated record (1 bytes) ignored at end of file <input-user-exit data>",
       "z\n",
       {{2, 0, 3}}},
      {"-o @/out @/in", "b\nc\n", 0, "262 Total sorted: 8 bytes, 4 records", "b\nc\ny\nz\n", {{3, 0, 4}}},
      {"-o @/out @/in", "b\nc\n", 0, "262 Total sorted: 4 bytes, 2 records", "y\nz\n", {{2, 0, 4}}},
      {"-o @/out -m @/in @/in", "b\nc\n", 0, "265 Total merged: 4 bytes, 2 records", "z\ny\n", {{2, 0, 4}}},
      {"-o @/out @/in", "b\nc\n", 43, "043 UE_ERR returned from input exit", "", {{1, 0, 0}}},
      {"-o @/out @/in",
       "b\nc\n",
       46,
       "046 Invalid bytes used value returned from input exit",
       "",
       {{0, 5, 0}}},
      {"-o @/out @/in", "b\n", 46, "046 Invalid bytes used", "", {{0, 0, 1 << 30}}},
      {"-o @/out @/in", "b\nc\n", 0, "Total output", "z\ny\n", {}, {{2, 2, 4}}},
      {"-o @/out @/in", "b\nc\n", 0, "Total output", "z\ny\nz", {}, {{0, all, 4}, {0, 0, 0}, {7 - 5, 0, 1}}},
      {"-o @/out @/in", "b\nc\n", 44, "044 UE_ERR returned from output exit", "", {}, {{1, 0, 0}}},
      {"-o @/out @/in",
       "b\nc\n",
       47,
       "047 Invalid bytes used value returned from output exit",
       "",
       {},
       {{0, 5, 0}}},
      {"-o @/out @/in", "b\nc\n", 47, "047 Invalid bytes used", "", {}, {{0, 0, 1 << 30}}},
      {"@/in", "b\nc\n", 47, "047 Invalid bytes used", "", {}, {{0, 0, 1}}},
      {"-o @/out -x 'outorg line_sequential' @/in",
       "b\nc\n",
       47,
       "047 Invalid bytes used",
       "",
       {},
       {{0, all, 6}}},
      {"-o @/out -x 'outorg line_sequential' @/in", "b\na\n", 0, "Total output: 4 bytes", "a\nb\n"},
      {"-o @/out -x 'outorg line_sequential' -x 'format char 2' @/in", "b.a.", 0, "Total output", "a.\nb.\n"},
      {"-o @/out @/in", "b\n", 3, "", "", {}, {{3, 0, 0}}},
      {"-o @/out @/in", "b\n", 1234, "", "", {}, {{0, all, 0}, {1234, 0, 0}}},
  };
  for (const auto& row : rows) {
    const Place place;
    const auto expand = [&](std::string pattern) {
      for (size_t at; (at = pattern.find('@')) != std::string::npos;) pattern.replace(at, 1, place.path);
      return pattern;
    };
    place.file("in", row.in);
    const bool ownMessages = row.options.find("msg") != std::string::npos;
    const std::string options =
        (ownMessages ? "-T " + place.temporary() + " " : place.options()) + expand(row.options);
    script = row.inputExit.empty() ? row.outputExit : row.inputExit;
    calls = 0;
    EXPECT_EQ(
        run(options, row.inputExit.empty() ? nullptr : scripted, row.outputExit.empty() ? nullptr : scripted),
        row.code)
        << row.options << row.told;
    std::string told = place.text("messages");
    for (size_t at; (at = told.find("Lumasift: 7351-")) != std::string::npos;) told.erase(at, 15);
    EXPECT_NE(told.find(expand(row.told)), std::string::npos) << row.options << "\n" << told;
    if (row.code != 0) {
      EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), told.empty()       ? 0
                                                            : row.told.empty() ? 1
                                                                               : 2)
          << told;
    }
    EXPECT_EQ(place.text("out"), row.out) << row.options;
  }
}

TEST(Engine, FillsTargetBuffersWithWholeRecords) {
  const struct {
    std::vector<size_t> rooms;
    int32_t code;
    std::string used;  // of each, behind one another; what was there before a failure stays
    bool throughExit;
  } rows[] = {
      {{4}, 0, "a\nb\n", false}, {{3, 1, 2}, 0, "a\nb\n", false}, {{3, 1}, 39, "a\n", false},
      {{}, 39, "", false},       {{1, 1, 2}, 0, "a\nb\n", true},  {{3}, 39, "a\nb", true},
  };
  for (const auto& row : rows) {
    Buffers source({"b\na\n"}), target({});
    std::vector<std::string> rooms;
    for (const size_t size : row.rooms) rooms.emplace_back(size, '.');
    Buffers taken(rooms);
    Cutter cutter(1);
    EXPECT_EQ(run("-z 4", nullptr, row.throughExit ? Cutter::passOut : nullptr, source.rows.data(),
                  taken.rows.data()),
              row.code);
    EXPECT_EQ(taken.used(), row.used);
  }
  // The exit sees each record as it comes, and a sum once it is whole.
  static std::vector<std::string> blocks;
  blocks.clear();
  Buffers source({"a1a2b1c1c3"}), target({std::string(100, '.')});
  const auto note = [](QrtSortBuffer*, QrtSortBuffer* from) -> int32_t {
    blocks.emplace_back(reinterpret_cast<char*>(from->address), static_cast<size_t>(from->length));
    from->used = from->length;
    return from->length == 0 ? 2 : 0;
  };
  EXPECT_EQ(run("-x 'format char 1 zoned 1' -k 1,1 -x 'sum 2'", nullptr, note, source.rows.data(),
                target.rows.data()),
            0);
  EXPECT_EQ(blocks, (std::vector<std::string>{"a3", "b1", "c4", ""}));
  blocks.clear();
  EXPECT_EQ(run("-s copy -x 'format char 2'", nullptr, note, source.rows.data(), target.rows.data()), 0);
  EXPECT_EQ(blocks, (std::vector<std::string>{"a1", "a2", "b1", "c1", "c3", ""}));
}

// Sources of a run behind each other: names, numbers and the rests of records are those of each source.
TEST(Engine, CountsSourcesAndRecordsFromOne) {
  const Place place;
  const std::string file = place.file("in", "aabb");
  for (const char* function : {"", " -m"}) {
    Buffers sources({"ccd", "ee"}), target({std::string(100, '.')});
    EXPECT_EQ(run(place.options() + "-x 'format char 2'" + function + " " + file, nullptr, nullptr,
                  sources.rows.data(), target.rows.data()),
              0);
    EXPECT_EQ(target.used(), "aabbccee");
    EXPECT_NE(place.text("messages")
                  .find("269 Truncated record (1 bytes) ignored at end of source buffer number 1"),
              std::string::npos);
  }
  Buffers sources({"a\n", "b\nlonger\n"}), target({std::string(100, '.')});
  EXPECT_EQ(run(place.options() + "-z 4", nullptr, nullptr, sources.rows.data(), target.rows.data()), 32);
  EXPECT_NE(place.text("messages").find("Record number 2 within <source_2> is too long"), std::string::npos);
}

// Files of a caller's own, record by record, one of which fails at a given routine.
struct Files {
  std::vector<Records> sources;
  Records output;
  std::vector<size_t> next;
  std::string failing;  // routine and file
  std::string log;      // opens and closes

  bool note(const char* routine, int32_t file, Direction direction) {
    const std::string what =
        routine + (direction == Direction::input ? std::to_string(file) : std::string("out"));
    log += what + " ";
    return what != failing;
  }
  static Files& of(void* context) { return *static_cast<Files*>(context); }
  FileService service() {
    next.assign(sources.size(), 0);
    return {this,
            [](void* context, int32_t file, Direction direction) {
              return of(context).note("open", file, direction);
            },
            [](void* context, int32_t file, Direction direction) {
              return of(context).note("close", file, direction);
            },
            [](void* context, int32_t number, std::span<uint8_t> room) -> ServiceRead {
              Files& files = of(context);
              const auto file = static_cast<size_t>(number);
              if (files.failing == "read" + std::to_string(number)) return {ServiceRead::failure, 0};
              if (files.next[file] == files.sources[file].size()) return {ServiceRead::endOfFile, 0};
              const std::string& record = files.sources[file][files.next[file]++];
              EXPECT_LE(record.size(), room.size());
              memcpy(room.data(), record.data(), record.size());
              return {ServiceRead::record, static_cast<uint32_t>(record.size())};
            },
            [](void* context, int32_t, std::span<const uint8_t> record) {
              of(context).output.emplace_back(record.begin(), record.end());
              return of(context).failing != "writeout";
            }};
  }
};

TEST(Engine, ReadsAndWritesThroughAFileService) {
  std::mt19937 random(2);
  for (const char* failing : {"", "open1", "read1", "close0", "openout", "writeout", "closeout"}) {
    for (const Form form : {text, fixed, variable}) {
      for (const char* function : {"", " -m", " -s copy"}) {
        const Place place;
        Files files;
        files.failing = failing;
        Records all;
        for (int source = 0; source < 3; ++source) {
          files.sources.push_back(makeRecords(form, random() % 1500, random));
          if (function == std::string(" -m")) sortPlainly(files.sources.back(), form);
          for (std::string& record : files.sources.back()) {
            all.push_back(record);
            if (form == text) record.pop_back();  // lines come without their end
          }
        }
        const bool copies = std::string(function) == " -s copy";
        const char* const organization = form == text ? "line_sequential" : "sequential";
        std::string options = place.options() + formats[form] + function + (copies ? "" : keys[form]);
        options += std::string(" -x 'inorg ") + organization + " " + organization + " " + organization +
                   "' -x 'outorg " + organization + "' -o out a b c";
        const FileService service = files.service();
        offerFileService(&service);
        const int32_t code = run(options);
        offerFileService(nullptr);
        const std::string routine = failing;
        const int32_t expected = routine.empty()         ? 0
                                 : routine == "open1"    ? 36
                                 : routine == "read1"    ? 34
                                 : routine == "openout"  ? 57
                                 : routine == "writeout" ? 35
                                                         : 255;
        EXPECT_EQ(code, expected) << failing << place.text("messages");
        // Whatever was opened is closed.
        for (const char* file : {"0", "1", "2", "out"}) {
          const bool opened = files.log.find(std::string("open") + file) != std::string::npos &&
                              routine != std::string("open") + file;
          EXPECT_EQ(files.log.find(std::string("close") + file) != std::string::npos, opened)
              << file << " of " << files.log;
        }
        if (code != 0) continue;
        if (!copies) sortPlainly(all, form);
        EXPECT_TRUE(files.output == all);
      }
    }
  }
}

// ---- Runs that are cut short

// Lines that make some runs.
std::string manyLines(size_t bytes) {
  std::mt19937 random(5);
  std::string lines;
  while (lines.size() < bytes) lines += std::to_string(random()) + std::string(80, 'x') + "\n";
  return lines;
}

TEST(Engine, EndsFromAnotherThread) {
  const Place place;
  const std::string source = place.file("in", manyLines(3000000));
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
      static bool first;
      first = calls++ == 0;
      if (first) {
        reached = true;
        while (reached) std::this_thread::yield();
      }
      to->used = 0;
      from->used = from->length;
      return from->length == 0 ? 2 : 0;
    };
    calls = 0;
    const std::string options = place.options() + source;
    EXPECT_EQ(
        Lumasift_Lite(
            options.c_str(), nullptr, nullptr, nullptr, wait, nullptr, [](QrtSortErrorRecord*) {}, &context),
        matches ? 77 : 0);
    other.join();
  }
}

// A caller that ends sessions out of a routine of its own may never come back: files are gone at once.
TEST(Engine, LeavesNoFileWhenEndedFromWithin) {
  const Place place;
  static std::string temporary;
  temporary = place.temporary();
  const auto end = [](QrtSortBuffer*, QrtSortBuffer*) -> int32_t {
    EXPECT_FALSE(std::filesystem::is_empty(temporary));
    endSessions(77, nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    return 0;
  };
  EXPECT_EQ(run(place.options() + place.file("in", manyLines(3000000)), nullptr, end), 77);
}

// The entry's error callback hears of the first failure only, by its kind.
TEST(Engine, TellsTheCallbackOnce) {
  const Place place;
  place.file("in", "a\n");
  const struct {
    std::string options;
    int32_t code, number, kind;
    std::string name;
  } rows[] = {{"-o " + place.path + "/out " + place.path + "/in " + place.path + "/none", 2, 1, 0,
               place.path + "/none"},
              {"-o " + place.path + "/out " + place.path, 21, 0, 4, place.path},
              {"-o /dev/full " + place.path + "/in", 112, 0, 5, "/dev/full"},
              {"-q", 255, -1, 6, "Lumasift: 7351-027 No input source specified"}};
  for (const auto& row : rows) {
    static std::vector<QrtSortErrorRecord> told;
    static std::string name;
    told.clear();
    const auto keep = [](QrtSortErrorRecord* record) {
      told.push_back(*record);
      name = record->name;
    };
    EXPECT_NE(Lumasift_Lite(row.options.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, keep, &told),
              0);
    ASSERT_EQ(told.size(), 1U) << row.options;
    EXPECT_EQ(told[0].systemCode, row.code);
    EXPECT_EQ(told[0].kind, row.kind);
    EXPECT_EQ(name, row.name);
    EXPECT_EQ(told[0].context, &told);
  }
}

TEST(Engine, RefusesMoreSessionsThanItsTableHolds) {
  std::vector<SortSession*> sessions;
  int32_t code;
  for (int32_t count = 0; count < sessionTableSize; ++count) sessions.push_back(makeSession(code));
  EXPECT_EQ(run("-h"), tooManySessions);
  for (; !sessions.empty(); sessions.pop_back()) freeSession(sessions.back());
  EXPECT_EQ(run(""), 27);
}

// Memory that runs out at any request: code 73 (49 for a block index), nothing left behind.
TEST(Engine, SurvivesEveryFailingAllocation) {
  if (!canFailAllocations) GTEST_SKIP();
  keepLocale();
  const Place place;
  const std::string source = place.file("in", manyLines(1000000));
  for (const std::string& function : {std::string("-k 1"), "-m " + source, std::string("-s copy")}) {
    const std::string options =
        "-T " + place.temporary() + " -x notrap -o " + place.path + "/out " + function + " " + source;
    run(options);
    const int32_t before = liveBlocks();
    bool fails = true;
    for (int32_t n = 1; fails; ++n) {
      int32_t code;
      {
        const FailingAllocation failing(n);
        code = run(options);
        fails = failing.hasFailed();
      }
      // Catalogue and option file may stay unread.
      const bool isDue = code == 0 || (fails && (code == 73 || code == 49 || code > 1000));
      EXPECT_TRUE(isDue) << n << ": " << code;
      ASSERT_EQ(liveBlocks(), before) << n;
      EXPECT_TRUE(std::filesystem::is_empty(place.temporary())) << n;
    }
  }
}

// Small file systems that fill up: the runs go to the next directory; message 40 behind the last one.
TEST(Engine, GoesOnWhereADiskIsFull) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
  const Place place;
  const std::string source = place.file("in", manyLines(3000000)), small = place.path + "/small";
  std::filesystem::create_directory(small);
  const struct {
    std::string options, out;
    int32_t code;
    std::string told;
  } rows[] = {
      {"-T " + small, place.path, 40, "040 Not enough temporary disk space"},
      {"-T " + small + " -T " + place.temporary(), place.path, 0, "Total output"},
      {"-T " + place.temporary(), small, 35, "035 Write error on file <" + small + "/out>, rc=112"},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
          mount("none", small.c_str(), "tmpfs", 0, "size=1000k") != 0)
        _exit(200);
      const int32_t code =
          run(row.options + " -x 'msg " + place.path + "/messages' -o " + row.out + "/out " + source);
      for (const auto& entry : std::filesystem::directory_iterator(small))
        if (entry.path().filename() != "out") _exit(201);
      _exit(code);
    });
    if (ended.exitCode == 200) GTEST_SKIP() << "no mounting here";
    EXPECT_EQ(ended.exitCode, row.code) << row.options;
    EXPECT_NE(place.text("messages").find(row.told), std::string::npos) << place.text("messages");
    if (row.code == 0) {
      EXPECT_EQ(std::filesystem::file_size(place.path + "/out"), std::filesystem::file_size(source));
    }
  }
  EXPECT_EQ(run("-T " + place.path + "/none -o " + place.path + "/out " + source), 58);
}

}  // namespace
