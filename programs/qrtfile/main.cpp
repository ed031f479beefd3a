// qrtfile: shows, unloads, loads and checks record files.
#include <qrtrlib.h>
#include <string.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "open_file.h"
#include "text_form.h"

namespace {

using namespace qrt::file;

enum ExitCode { done = 0, failed = 1, badUsage = 2 };

constexpr const char* footer = R"(
The text of a record file is a heading that tells its attributes, then one line for each record; the number of the
record and a blank go in front of it in a relative file. A record stands as it is, but for \\ for a backslash, \n
for a line feed and \xHH for any other byte that isn't printable. Loading it gives the same records; records with
equal alternate keys are then in the order of their prime keys.

Exit code: 0; 1 when something failed or check found faults; 2 for wrong arguments.)";

struct Arguments {
  std::string file, text = "-";
  bool replace = false;
};

// Counts records, and on a terminal tells the count once a second has passed.
class Progress {
 public:
  explicit Progress(const char* verb) : verb_(verb), shown_(isatty(STDERR_FILENO) != 0) {}
  ~Progress() {
    if (told_) std::cerr << "\r\033[K";
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void step() {
    constexpr uint64_t steps = 1024;
    if (++count_ % steps != 0 || !shown_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < due_) return;
    std::cerr << '\r' << verb_ << ' ' << count_ << " records" << std::flush;
    told_ = true;
    due_ = now + std::chrono::milliseconds(200);
  }
  uint64_t count() const { return count_; }

 private:
  const char* verb_;
  bool shown_, told_ = false;
  uint64_t count_ = 0;
  std::chrono::steady_clock::time_point due_ = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

// What reading a file to its end tells.
struct Totals {
  uint64_t records = 0, bytes = 0, misfits = 0;
  uint32_t highestNumber = 0;
};

Totals totalsOf(OpenFile& file, const char* verb) {
  Totals totals;
  Progress progress(verb);
  for (std::string_view record; file.next(record); progress.step()) {
    totals.bytes += record.size();
    totals.misfits += file.lengthDiffers() ? 1 : 0;
    totals.highestNumber = file.number();
  }
  totals.records = progress.count();
  return totals;
}

ExitCode show(const Arguments& arguments) {
  const Attributes attributes = attributesOf(arguments.file);
  OpenFile file(arguments.file, attributes, Mode::read);
  const Totals totals = totalsOf(file, "counted");
  std::cout << "organization  " << nameOf(attributes.organization) << "\nrecords       "
            << (attributes.variable ? "variable, " + std::to_string(attributes.shortest) + " to " : "fixed, ")
            << attributes.longest << " bytes\n";
  for (const QrtFileKey& key : attributes.keys)
    std::cout << "key           " << key.length << " bytes at " << key.offset
              << (&key == attributes.keys.data()          ? ", prime\n"
                  : (key.flags & QRT_KEY_DUPLICATES) != 0 ? ", with duplicates\n"
                                                          : "\n");
  std::cout << "count         " << totals.records << '\n';
  if (attributes.organization == QRT_ORGANIZATION_RELATIVE)
    std::cout << "last number   " << totals.highestNumber << '\n';
  std::cout << "size          " << std::filesystem::file_size(arguments.file) << " bytes, " << totals.bytes
            << " of them in records\n";
  return done;
}

ExitCode unload(const Arguments& arguments) {
  const Attributes attributes = attributesOf(arguments.file);
  OpenFile file(arguments.file, attributes, Mode::read);
  std::ofstream stream;
  const bool toStandard = arguments.text == "-";
  if (!toStandard) stream.open(arguments.text, std::ios::binary);
  std::ostream& text = toStandard ? std::cout : stream;
  if (!text) throw Failure(arguments.text + ": " + strerror(errno));
  writeHeading(text, attributes);
  const bool numbered = attributes.organization == QRT_ORGANIZATION_RELATIVE;
  Progress progress("unloaded");
  for (std::string_view record; text && file.next(record); progress.step())
    text << lineOf(record, numbered ? file.number() : 0) << '\n';
  if (!text.flush()) throw Failure(arguments.text + ": " + strerror(errno));
  return done;
}

void loadLines(LineReader& lines, const Attributes& attributes, OpenFile& file) {
  const bool numbered = attributes.organization == QRT_ORGANIZATION_RELATIVE;
  Progress progress("loaded");
  try {
    for (std::string_view line; lines.next(line); progress.step()) {
      uint32_t number = 0;
      const std::string record = recordOf(line, numbered ? &number : nullptr);
      if (!attributes.variable && record.size() != attributes.longest)
        throw Failure("a record of " + std::to_string(record.size()) + " bytes, where all have " +
                      std::to_string(attributes.longest));
      file.write(record, number);
    }
    file.close();
  } catch (const Failure& failure) {
    lines.fail(failure.what());
  }
}

// What is there under the name goes only once everything has been loaded.
ExitCode load(const Arguments& arguments) {
  const bool isThere = std::filesystem::exists(arguments.file);
  if (isThere && !arguments.replace)
    throw Failure(arguments.file + ": is there already; --replace replaces it");
  if (isThere && OpenFile::isInUse(arguments.file, attributesOf(arguments.file)))
    throw Failure(arguments.file + ": another program has it open for writing");
  // The log of an indexed file belongs to its name: with the name it would come to the new file.
  if (std::filesystem::exists(arguments.file + "-wal"))
    throw Failure(arguments.file + ": another program has it open");
  std::ifstream stream;
  const bool fromStandard = arguments.text == "-";
  if (!fromStandard) stream.open(arguments.text, std::ios::binary);
  if (!fromStandard && !stream) throw Failure(arguments.text + ": " + strerror(errno));
  LineReader lines(fromStandard ? std::cin : stream, fromStandard ? "standard input" : arguments.text);
  const Attributes attributes = lines.heading();
  const std::string loading = arguments.file + ".loading";
  try {
    OpenFile file(loading, attributes, Mode::write);
    loadLines(lines, attributes, file);
  } catch (const Failure&) {
    std::filesystem::remove(loading);
    throw;
  }
  std::filesystem::rename(loading, arguments.file);
  return done;
}

struct Findings {
  const std::string& file;
  int count = 0;

  void add(const std::string& fault) {
    std::cout << file << ": " << fault << '\n';
    ++count;
  }
};

// Every alternate key must lead to every record, in order.
void checkKeys(OpenFile& file, const Attributes& attributes, uint64_t records, Findings& findings) {
  for (uint8_t at = 0; at < attributes.keys.size(); ++at) {
    const QrtFileKey& key = attributes.keys[at];
    const bool duplicates = (key.flags & QRT_KEY_DUPLICATES) != 0;
    Progress progress("checked");
    std::string last;
    bool ordered = true;
    if (file.goToFirst(at))
      for (std::string_view record; file.next(record); progress.step()) {
        std::string value(record.substr(std::min<size_t>(key.offset, record.size()), key.length));
        if (progress.count() != 0) ordered = ordered && (duplicates ? last <= value : last < value);
        last = std::move(value);
      }
    if (!ordered) findings.add("key " + std::to_string(at) + " is out of order");
    if (progress.count() != records)
      findings.add("key " + std::to_string(at) + " leads to " + std::to_string(progress.count()) + " of " +
                   std::to_string(records) + " records");
  }
}

uint64_t expectedSize(const Attributes& attributes, const Totals& totals) {
  constexpr uint64_t header = 128, prefix = 4;
  return header + totals.bytes + (attributes.variable ? prefix * totals.records : 0);
}

ExitCode check(const Arguments& arguments) {
  const Attributes attributes = attributesOf(arguments.file);
  Findings findings{arguments.file};
  OpenFile file(arguments.file, attributes, Mode::read);
  const Totals totals = totalsOf(file, "checked");
  if (attributes.unsettled)
    findings.add("a writer is at work, or was killed; the next one puts the file in order");
  if (totals.misfits != 0)
    findings.add(std::to_string(totals.misfits) + " records of lengths that the file doesn't allow");
  if (attributes.organization == QRT_ORGANIZATION_SEQUENTIAL && totals.misfits == 0) {
    const uint64_t size = std::filesystem::file_size(arguments.file),
                   expected = expectedSize(attributes, totals);
    if (size > expected)
      findings.add(std::to_string(size - expected) +
                   " bytes behind the last record; the next writer cuts them off");
  }
  if (attributes.organization == QRT_ORGANIZATION_INDEXED)
    checkKeys(file, attributes, totals.records, findings);
  if (findings.count != 0) return failed;
  std::cout << arguments.file << ": " << totals.records << " records, no fault\n";
  return done;
}

struct Subcommand {
  const char* name;
  ExitCode (*perform)(const Arguments& arguments);
  const char* description;
  bool hasText;
};

constexpr Subcommand subcommands[] = {
    {"show", show, "Show organization, record format, keys and counts", false},
    {"unload", unload, "Write the records as text", true},
    {"load", load, "Make a record file from text", true},
    {"check", check, "Read the whole file, by every key, and tell what is wrong with it", false},
};

ExitCode perform(const Subcommand& subcommand, const Arguments& arguments) {
  try {
    return subcommand.perform(arguments);
  } catch (const std::exception& failure) {
    std::cerr << "qrtfile: " << failure.what() << '\n';
    return failed;
  }
}

}  // namespace

int main(int count, char** words) {
  // A failure that ends the run unit comes back here, told by the library.
  if (qrtSetJump(&_qrtJmpCobStart) != 0) return failed;
  CLI::App app("Shows, unloads, loads and checks record files: sequential, relative and indexed.", "qrtfile");
  app.footer(footer);
  app.set_version_flag("-V,--version", "qrtfile " QRT_VERSION);
  app.require_subcommand(1);
  Arguments arguments;
  for (const Subcommand& subcommand : subcommands) {
    CLI::App* const command = app.add_subcommand(subcommand.name, subcommand.description);
    command->add_option("FILE", arguments.file, "the record file")->required();
    if (!subcommand.hasText) continue;
    command->add_option("TEXT", arguments.text, "the text; by default standard input or output");
    if (subcommand.perform == load)
      command->add_flag("-r,--replace", arguments.replace, "replace a file that is there");
  }
  try {
    app.parse(count, words);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? done : badUsage;
  }
  for (const Subcommand& subcommand : subcommands)
    if (app.got_subcommand(subcommand.name)) return perform(subcommand, arguments);
  return badUsage;
}
