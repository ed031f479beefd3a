// Member files of generation groups.
#include "fileio/generation_files.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "platform/commands.h"
#include "platform/data_files.h"
#include "platform/directories.h"
#include "platform/file_state.h"
#include "platform/paths.h"

namespace qrt::fileio {
namespace {

struct SystemLetters {
  char letters[4];
  MemberSystem system;
};

// The first letters of each type are those that are shown.
constexpr SystemLetters knownLetters[] = {
    {"sys", MemberSystem::plain},         {"nat", MemberSystem::plain},
    {"nsd", MemberSystem::plain},         {"plt", MemberSystem::plain},
    {"hdu", MemberSystem::withCompanion}, {"krd", MemberSystem::withCompanion},
    {"kfs", MemberSystem::fileServer},    {"qdb", MemberSystem::database},
    {"ora", MemberSystem::other},
};

// The variable's value, empty when it isn't set.
std::string_view variable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : std::string_view();
}

bool runDiscarded(const char* const* words) {
  return platform::runCommand(words, platform::CommandOutput::discarded).succeeded();
}

// --- companions ---------------------------------------------------------------------------------------

void setBeside(PathText& path, const PathText& file, std::string_view before, std::string_view behind) {
  const PathParts parts = splitAtLast(file.view());
  path.set({parts.directory, before, parts.last, behind});
}

void setCompanion(PathText& path, const PathText& file) {
  setBeside(path, file, "/.", ".GXMEA");
}

// The words of one command, which owns the copies of those that were added to it.
class CommandWords {
 public:
  CommandWords(const char* program, const char* option) : isComplete(add(program) && add(option)) {}
  ~CommandWords() {
    for (size_t at = 0; at < count; ++at) free(words[at]);
    free(words);
  }
  CommandWords(const CommandWords&) = delete;
  CommandWords& operator=(const CommandWords&) = delete;

  bool add(const char* word) {
    if (!hasRoom()) return false;
    words[count] = strdup(word);
    words[count + 1] = nullptr;
    return words[count] != nullptr && ++count != 0;
  }
  // Sorts the words from that one on, as a shell lists what it has expanded.
  void sortFrom(size_t first) {
    std::sort(words + first, words + count,
              [](const char* one, const char* other) { return strcmp(one, other) < 0; });
  }
  size_t size() const { return count; }
  void run() const {
    if (isComplete) runDiscarded(words);
  }

 private:
  // Room for one more word and the null behind it.
  bool hasRoom() {
    if (count + 1 < capacity) return true;
    const size_t larger = std::max<size_t>(8, 2 * capacity);
    auto** moved = static_cast<char**>(realloc(words, larger * sizeof(char*)));
    if (moved == nullptr) return false;
    words = moved;
    capacity = larger;
    return true;
  }

  char** words = nullptr;
  size_t count = 0;
  size_t capacity = 0;
  bool isComplete;
};

// Adds the files of a directory whose names have that start and end with anything between them; with none,
// the pattern itself, as a shell would.
void addMatching(CommandWords& words, std::string_view directory, std::string_view start,
                 std::string_view end) {
  const size_t before = words.size();
  PathText path;
  platform::DirectoryNames names(directory);
  while (const char* const next = names.next()) {
    const std::string_view name = next;
    if (name.size() < start.size() + end.size() || !name.starts_with(start) || !name.ends_with(end)) continue;
    path.set({directory, "/", name});
    if (path.fits) words.add(path.text);
  }
  words.sortFrom(before);
  path.set({directory, "/", start, "*", end});
  if (words.size() == before) words.add(path.text);
}

// Runs rm on directory/START*END, START being the file's name between two texts.
void removeMatching(const PathText& file, std::string_view before, std::string_view behind,
                    std::string_view end) {
  const PathParts parts = splitAtLast(file.view());
  const platform::NativePath directory(parts.directory);
  PathText start;
  start.set({before, parts.last, behind});
  CommandWords words("rm", "-f");
  addMatching(words, {directory.text, directory.length}, start.view(), end);
  words.run();
}

int deleteWithCompanions(const PathText& file) {
  removeMatching(file, ".", ".@", ".GXMEA");
  removeMatching(file, "", ".@", "");
  struct {
    const char *before, *behind;
  } constexpr belongings[] = {{"/.@", ".GXMEA"}, {"/@", ""}, {"/.", ".GXMMAP"}, {"/.", ".GXMEA"}};
  PathText path;
  for (const auto& belonging : belongings) {
    setBeside(path, file, belonging.before, belonging.behind);
    if (path.fits) platform::deleteFile(path.text);
  }
  return platform::deleteFile(file.text);
}

// --- commands -----------------------------------------------------------------------------------------

// What a command says about a member: that it is there, or that it isn't.
int errorOf(bool succeeded) {
  return succeeded ? 0 : ENOENT;
}

// The file as the server knows it: server and file are two words, parted at the last "/" of the whole.
int runServerCommand(const char* verb, const PathText& file) {
  const std::string_view server = variable("TRAX_TK_KFS_SERVER");
  PathText whole;
  whole.set({});
  if (!file.view().starts_with(server)) whole.append({server, "/"});
  whole.append({file.view()});
  if (!whole.fits) return ENAMETOOLONG;
  char* const cut = strrchr(whole.text, '/');
  if (cut != nullptr) *cut = 0;
  const char* const words[] = {
      "kfsadmin", verb, "file", "-server", whole.text, cut != nullptr ? cut + 1 : nullptr, nullptr};
  return errorOf(runDiscarded(words));
}

// A table is named by its schema, a "." and its own name in quotes. Groups without a schema have no tables.
int runDatabaseCommand(const char* verb, const MemberGroup& group, const PathText& file) {
  if (splitAtLast(group.base).last.find('.') == std::string_view::npos) return ENOENT;
  const std::string_view name = splitAtLast(file.view()).last;
  const size_t dot = name.find('.');
  PathText table;
  table.set({name.substr(0, dot), ".\"", name.substr(dot + 1), "\""});
  if (!table.fits) return ENAMETOOLONG;
  const char* const words[] = {"qdb", verb, "table", table.text, nullptr};
  return errorOf(runDiscarded(words));
}

MemberState stateByCommand(int error) {
  return {.error = error, .isMissing = error != 0, .isRegular = error == 0, .age = 0};
}

MemberState stateOfFile(const char* name) {
  const platform::FileState state = platform::stateOf(name);
  if (state.error != 0 && !state.isMissing)
    fprintf(stderr, "Error: GDG_stat:stat(%s) - %d %s\n", name, state.error, strerror(state.error));
  return {.error = state.error, .isMissing = state.isMissing, .isRegular = state.isRegular, .age = state.age};
}

MemberState stateWithCompanion(const PathText& file) {
  const MemberState state = stateOfFile(file.text);
  if (state.error != 0) return state;
  PathText companion;
  setCompanion(companion, file);
  const MemberState ofCompanion = stateOfFile(companion.text);
  return ofCompanion.error != 0 ? ofCompanion : state;
}

// --- catalogue home -----------------------------------------------------------------------------------

constexpr size_t longestHome = 1023;

bool appendHome(PathText& path) {
  const std::string_view home = variable("gdg_home");
  if (!home.empty() && home.size() <= longestHome) {
    path.append({home});
    return true;
  }
  const std::string_view user = variable("HOME");
  path.append({user, "/gdg/"});
  return !user.empty();
}

bool appendServerPart(PathText& path, std::string_view base) {
  const std::string_view place =
      isBelowServerRoot(base) ? splitAtLast(base).directory : variable("TRAX_TK_KFS_SERVER");
  path.append({splitAtLast(place).last});
  return !place.empty();
}

bool appendDatabasePart(PathText& path) {
  const std::string_view instance = variable("QDBINSTANCE");
  const std::string_view database = variable("QDBDBDFT");
  path.append({instance});
  if (!database.empty()) path.append({"/", database});
  return !instance.empty();
}

}  // namespace

MemberSystem memberSystemNamed(const char* letters) {
  if (letters == nullptr) return MemberSystem::unknown;
  char folded[4] = {};
  for (size_t at = 0; at < 3 && letters[at] != 0; ++at)
    folded[at] =
        letters[at] >= 'A' && letters[at] <= 'Z' ? static_cast<char>(letters[at] + ('a' - 'A')) : letters[at];
  for (const SystemLetters& known : knownLetters)
    if (strcmp(folded, known.letters) == 0) return known.system;
  return MemberSystem::unknown;
}

const char* lettersOf(MemberSystem system) {
  for (const SystemLetters& known : knownLetters)
    if (known.system == system) return known.letters;
  return "";
}

bool isBelowServerRoot(std::string_view name) {
  const std::string_view root = variable("HELVA_CDS_ROOT");
  return !root.empty() && name.starts_with(root);
}

MemberSystem workOutSystem(MemberSystem known, const PathText& file) {
  MemberSystem system = known;
  if (system == MemberSystem::unknown) {
    if (isBelowServerRoot(file.view())) return MemberSystem::fileServer;
    if (platform::isReadableFile(file.text)) system = MemberSystem::plain;
  }
  if (system != MemberSystem::plain) return system;
  PathText companion;
  setCompanion(companion, file);
  return companion.fits && platform::isReadableFile(companion.text) ? MemberSystem::withCompanion : system;
}

MemberState stateOfMember(const MemberGroup& group, const PathText& file) {
  switch (group.system) {
    case MemberSystem::withCompanion:
      return stateWithCompanion(file);
    case MemberSystem::fileServer:
      return stateByCommand(runServerCommand("query", file));
    case MemberSystem::database:
      return stateByCommand(runDatabaseCommand("describe", group, file));
    default:
      return stateOfFile(file.text);
  }
}

int deleteMember(const MemberGroup& group, const PathText& file) {
  switch (group.system) {
    case MemberSystem::plain:
      return platform::deleteFile(file.text);
    case MemberSystem::withCompanion:
      return deleteWithCompanions(file);
    case MemberSystem::fileServer:
      return runServerCommand("destroy", file);
    case MemberSystem::database:
      return runDatabaseCommand("drop", group, file);
    default:
      return 0;  // what such a member is, only its own system knows
  }
}

bool setCataloguePath(PathText& path, const MemberGroup& group) {
  const PathParts parts = splitAtLast(group.base);
  path.set({});
  bool isKnown = true;
  if (group.system == MemberSystem::fileServer || group.system == MemberSystem::database) {
    isKnown = appendHome(path);
    path.append({"/", lettersOf(group.system), "/"});
    isKnown = (group.system == MemberSystem::fileServer ? appendServerPart(path, group.base)
                                                        : appendDatabasePart(path)) &&
              isKnown;
  } else {
    path.append({parts.directory});
  }
  path.append({"/", parts.last, ".catalogue"});
  return isKnown && path.fits;
}

bool makeDirectories(std::string_view directory) {
  const platform::NativePath path(directory);
  const char* const words[] = {"mkdir", "-p", path.text, nullptr};
  return path.fits && runDiscarded(words);
}

}  // namespace qrt::fileio
