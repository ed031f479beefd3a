// gdg, the command-line program that looks after generation data groups.
#include <errno.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace {

enum ExitCode { done = 0, failed = 1, badUsage = 2 };

constexpr int32_t unchanged = -1;

// What the command line gives, whatever the subcommand.
struct Arguments {
  std::vector<std::string> names;
  std::string letters;
  int32_t limit = unchanged, days = unchanged;
  std::optional<bool> empty, scratch;

  bool hasFlags() const { return empty.has_value() || scratch.has_value(); }
  int32_t flags() const {
    return (empty.value_or(false) ? QRT_GDG_EMPTY : 0) | (scratch.value_or(true) ? QRT_GDG_SCRATCH : 0);
  }
};

// The library has told what it has words for; a wrong name it only marks.
ExitCode resultOf(const char* verb, const std::string& name, int32_t result) {
  if (result == 0) return done;
  const bool isBadName = errno == EINVAL;
  fprintf(stderr, "gdg: %s %s failed%s\n", verb, name.c_str(),
          isBadName ? ": no name or number of a group or generation that can be" : "");
  return failed;
}

int32_t create(const std::string& name, const Arguments& arguments) {
  return GDG_Create(name.c_str(), arguments.limit, arguments.days, arguments.flags(),
                    arguments.letters.c_str());
}

int32_t alter(const std::string& name, const Arguments& arguments) {
  const int32_t flags = arguments.hasFlags() ? arguments.flags() : unchanged;
  return GDG_Alter(name.c_str(), arguments.limit, arguments.days, flags, arguments.letters.c_str());
}

int32_t print(const std::string& name, const Arguments& arguments) {
  return GDG_Print(name.c_str(), arguments.letters.c_str());
}

int32_t cleanUp(const std::string& name, const Arguments& arguments) {
  return GDG_Cleanup(name.c_str(), arguments.letters.c_str());
}

// Deleting is silent about what isn't there; a user wants to know.
int32_t remove(const std::string& name, const Arguments& arguments) {
  char* resolved = nullptr;
  if (GDS_Name(name.c_str(), &resolved, 0, arguments.letters.c_str()) == 0) {
    if (errno != EINVAL) fprintf(stderr, "Error: GDG %s not found.\n", name.c_str());
    return -1;
  }
  const int32_t result = GDS_unlink(resolved, arguments.letters.c_str());
  free(resolved);
  return result;
}

struct Subcommand {
  const char* name;
  int32_t (*call)(const std::string& name, const Arguments& arguments);
  bool hasSettings;
  const char* description;
};

constexpr Subcommand subcommands[] = {
    {"create", create, true, "Make the catalogue of a new group"},
    {"alter", alter, true, "Change the settings that are given, and drop what is above the limit"},
    {"print", print, false, "Show settings and generations"},
    {"cleanup", cleanUp, false, "Drop generations whose files have gone, and what is above the limit"},
    {"delete", remove, false,
     "Delete a generation, as in 'BASE(0)', or a group with its catalogue; with scratch on, their files too"},
};

void addPair(CLI::App& command, const std::string& word, std::optional<bool>& value,
             const char* description) {
  command.add_flag_callback(
      "--" + word, [&value] { value = true; }, description);
  command.add_flag_callback(
      "--no" + word, [&value] { value = false; }, "the contrary");
}

void addSettings(CLI::App& command, Arguments& arguments) {
  command.add_option("--limit", arguments.limit, "most generations (255 for a new group)")
      ->check(CLI::Range(1, 1000));
  command
      .add_option("--days", arguments.days, "age below which no generation is dropped (0 for a new group)")
      ->check(CLI::Range(0, 1'000'000));
  addPair(command, "empty", arguments.empty,
          "drop all generations when the limit is reached (off for a new group)");
  addPair(command, "scratch", arguments.scratch, "delete the files of what is dropped (on for a new group)");
}

ExitCode perform(const Subcommand& subcommand, const Arguments& arguments) {
  ExitCode code = done;
  for (const std::string& name : arguments.names) {
    errno = 0;
    const ExitCode ofName = resultOf(subcommand.name, name, subcommand.call(name, arguments));
    if (ofName != done) code = ofName;
  }
  if (fflush(stdout) == 0) return code;
  fprintf(stderr, "gdg: standard output: %s\n", strerror(errno));
  return failed;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a wrong definition of the options throws past the parse
int main(int count, char** words) {
  CLI::App app("Looks after generation data groups: files of one base name in numbered generations.", "gdg");
  app.set_version_flag("--version", "gdg " QRT_VERSION);
  app.require_subcommand(1);
  app.footer("Exit codes: 0 done, 1 something failed, 2 wrong arguments.");
  Arguments arguments;
  for (const Subcommand& subcommand : subcommands) {
    CLI::App* const command = app.add_subcommand(subcommand.name, subcommand.description);
    command->add_option("NAME", arguments.names, "base names, with their directories")->required();
    command->add_option("--file-system", arguments.letters, "of the member files; else it is worked out")
        ->check(
            CLI::IsMember({"sys", "nat", "nsd", "plt", "hdu", "krd", "kfs", "qdb", "ora"}, CLI::ignore_case));
    if (subcommand.hasSettings) addSettings(*command, arguments);
  }
  try {
    app.parse(count, words);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? done : badUsage;
  }
  if (app.got_subcommand("alter") && arguments.empty.has_value() != arguments.scratch.has_value()) {
    fputs("gdg: alter sets --[no]empty and --[no]scratch together: give both or none\n", stderr);
    return badUsage;
  }
  for (const Subcommand& subcommand : subcommands)
    if (app.got_subcommand(subcommand.name)) return perform(subcommand, arguments);
  return badUsage;
}
