// Generation data groups.
#include "fileio/generation.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string_view>

#include "fileio/generation_catalogue.h"
#include "fileio/generation_files.h"
#include "fileio/generation_name.h"
#include "platform/data_files.h"
#include "platform/file_state.h"

namespace qrt::fileio {
namespace {

constexpr int32_t failed = -1;
constexpr int32_t defaultLimit = 255;
constexpr int64_t secondsOfDay = 86'400;

// What the call in progress works on. Nothing but the closed descriptor goes from one call to the next.
struct WorkArea {
  GenerationCatalogue catalogue;
  int descriptor;      // -1 while closed
  int32_t generation;  // that the name stands for; 0 for the whole group
  MemberSystem system;
  PathText cataloguePath;
  PathText file;  // of the generation; the base name for the whole group
  PathText base;
};

constinit thread_local WorkArea area = {.catalogue = {},
                                        .descriptor = -1,
                                        .generation = 0,
                                        .system = MemberSystem::unknown,
                                        .cataloguePath = {},
                                        .file = {},
                                        .base = {}};

// Whether what is wrong with a name is told.
enum class Reporting : uint8_t { silent, told };

void tell(Reporting reporting, const char* form, const char* name) {
  if (reporting == Reporting::told) fprintf(stderr, form, name);
}

bool has(uint32_t flag) {
  return (area.catalogue.flags & flag) != 0;
}

MemberGroup group() {
  return {area.base.view(), area.system};
}

// --- members ------------------------------------------------------------------------------------------

// Works the type out by one file of the group; the catalogue follows.
void settleSystem(const PathText& file) {
  area.system = workOutSystem(area.system, file);
  const auto stored = static_cast<int32_t>(area.system);
  if (area.catalogue.fileSystem == stored) return;
  area.catalogue.fileSystem = stored;
  area.catalogue.flags |= catalogueChanged;
}

void setMemberFile(PathText& file, int32_t generation) {
  setGenerationFileName(file, area.base.view(), generation);
  if (area.system == MemberSystem::unknown) settleSystem(file);
}

MemberState stateOf(int32_t generation, PathText& file) {
  setMemberFile(file, generation);
  return stateOfMember(group(), file);
}

void tellFailure(const char* call, const PathText& file, int error) {
  fprintf(stderr, "Error: GDG_%s(%s) - %d %s\n", call, file.text, error, strerror(error));
}

// Deletes the file of a generation that leaves the catalogue, if the group is set so.
void scratch(int32_t generation, const char* call, bool tellMissing) {
  if (!has(scratchDropped)) return;
  PathText file;
  setMemberFile(file, generation);
  const int error = deleteMember(group(), file);
  if (error != 0 && (tellMissing || !platform::saysMissing(error))) tellFailure(call, file, error);
}

bool isTooYoung(int32_t generation) {
  if (area.catalogue.days <= 0) return false;
  PathText file;
  const MemberState state = stateOf(generation, file);
  if (state.error != 0) {
    tellFailure("empty:stat", file, state.error);
    return false;
  }
  return state.age < area.catalogue.days * secondsOfDay;
}

// --- entries ------------------------------------------------------------------------------------------

void removeMissing() {
  GenerationCatalogue& catalogue = area.catalogue;
  PathText file;
  const auto isGone = [&](uint32_t entry) { return stateOf(generationOf(entry), file).isMissing; };
  uint32_t* const end = catalogue.entries + catalogue.count;
  uint32_t* const kept = std::remove_if(catalogue.entries, end, isGone);
  if (kept != end) setCount(catalogue, static_cast<int32_t>(kept - catalogue.entries));
}

// Drops generations from the oldest on: `count` of them, as far as their age allows.
void dropOldest(int32_t count) {
  int32_t dropped = 0;
  for (; dropped < count; ++dropped) {
    const int32_t generation = generationOf(area.catalogue.entries[dropped]);
    if (isTooYoung(generation)) break;
    scratch(generation, "empty:unlink", false);
  }
  if (dropped > 0) removeEntries(area.catalogue, 0, dropped);
}

// Makes room for that many more generations within the limit.
void makeRoom(int32_t room) {
  GenerationCatalogue& catalogue = area.catalogue;
  if (has(emptyWhenFull)) return dropOldest(catalogue.count);
  removeMissing();
  const int64_t excess = int64_t{catalogue.count} + room - catalogue.limit;
  dropOldest(static_cast<int32_t>(std::clamp<int64_t>(excess, 0, catalogue.count)));
}

bool addGeneration(int32_t generation) {
  GenerationCatalogue& catalogue = area.catalogue;
  if (catalogue.count >= catalogue.limit) makeRoom(1);
  if (catalogue.count >= mostGenerations) return false;
  enterGeneration(catalogue, generation);
  return true;
}

void removeGeneration(int32_t generation) {
  const int32_t position = positionOf(area.catalogue, generation);
  if (position < 0) return;
  scratch(generation, "remove:unlink", true);
  removeEntries(area.catalogue, position, 1);
}

// --- from a name to its open catalogue ----------------------------------------------------------------

// Takes the name apart and finds the path of the catalogue; the error number tells of a bad name.
bool prepare(const char* name, const char* letters, GenerationName& parsed) {
  if (name == nullptr || !parseGenerationName(name, parsed)) {
    errno = EINVAL;
    return false;
  }
  area.base.set({parsed.base});
  area.file = area.base;
  area.generation = 0;
  area.system = memberSystemNamed(letters);
  if (area.system == MemberSystem::unknown && isBelowServerRoot(parsed.base))
    area.system = MemberSystem::fileServer;
  return true;
}

enum class CatalogueState : uint8_t { present, missing, unusable };

CatalogueState findCatalogue() {
  const platform::FileState state = platform::stateOf(area.cataloguePath.text);
  if (state.isMissing) return CatalogueState::missing;
  if (state.isRegular) return CatalogueState::present;
  const char* const path = area.cataloguePath.text;
  if (state.error != 0)
    fprintf(stderr, "Error: GDG_stat:stat(%s) - %d %s\n", path, state.error, strerror(state.error));
  else
    fprintf(stderr, "Error: GDG catalogue %s is not regular.\n", path);
  return CatalogueState::unusable;
}

// Works out which generation a name stands for; false when there is none.
bool resolveNumber(const GenerationName& name, Reporting reporting) {
  const GenerationCatalogue& catalogue = area.catalogue;
  switch (name.form) {
    case GenerationForm::group:
      return true;
    case GenerationForm::absolute:
      area.generation = name.number;
      return name.number > 0;
    case GenerationForm::direct:
      if (name.number >= catalogue.count) {
        tell(reporting, "Error: Direct access exceeds the entries allocated for GDG %s\n", area.base.text);
        return false;
      }
      break;
    case GenerationForm::relative:
      if (name.number > 0) {
        area.generation = generationAbove(catalogue, name.number);
        return true;
      }
      if (-name.number >= catalogue.count) {
        tell(reporting, "Error: Relative access exceeds the entries allocated for GDG %s\n", area.base.text);
        return false;
      }
      break;
  }
  const int32_t back = std::abs(name.number);
  area.generation = generationOf(catalogue.entries[catalogue.count - 1 - back]);
  return area.generation > 0;
}

// Whether the file of the generation is there; something that is no file isn't, which is told.
bool isMemberThere() {
  const MemberState state = stateOfMember(group(), area.file);
  if (state.error != 0) return false;
  if (!state.isRegular) fprintf(stderr, "Error: GDS file %s is not regular.\n", area.file.text);
  return state.isRegular;
}

// Settles what the name stands for within the catalogue that has been read.
bool resolveInCatalogue(const GenerationName& name, Reporting reporting) {
  area.system = static_cast<MemberSystem>(area.catalogue.fileSystem);
  if (!resolveNumber(name, reporting)) return false;
  if (area.generation != 0) setGenerationFileName(area.file, area.base.view(), area.generation);
  settleSystem(area.file);
  if (area.generation == 0 || reporting == Reporting::silent) return true;
  if (positionOf(area.catalogue, area.generation) >= 0 && isMemberThere()) return true;
  fprintf(stderr, "Error: GDS %s not found.\n", area.base.text);
  return false;
}

bool closeGroup() {
  const bool isClosed = closeCatalogue(area.catalogue, area.cataloguePath.text, area.descriptor);
  area.descriptor = -1;
  return isClosed;
}

// Opens the catalogue of the group that the name belongs to. False, with nothing open, when that can't be, or
// when the name stands for nothing in it.
bool openGroup(const char* name, const char* letters, Reporting reporting) {
  GenerationName parsed;
  if (!prepare(name, letters, parsed)) return false;
  const CatalogueState state =
      setCataloguePath(area.cataloguePath, group()) ? findCatalogue() : CatalogueState::missing;
  if (state == CatalogueState::missing) tell(reporting, "Error: GDG %s not found.\n", area.base.text);
  if (state != CatalogueState::present) return false;
  area.descriptor = openCatalogue(area.catalogue, area.cataloguePath.text);
  if (area.descriptor < 0) return false;
  if (resolveInCatalogue(parsed, reporting)) return true;
  closeGroup();
  return false;
}

// Closes the catalogue as it stands on disk.
void leaveGroup() {
  area.catalogue.flags &= ~catalogueChanged;
  closeGroup();
}

int32_t resultOfClose() {
  return closeGroup() ? 0 : failed;
}

// --- creation and settings ----------------------------------------------------------------------------

int32_t limitOf(int32_t given) {
  return given > 0 ? given : defaultLimit;
}

bool areSettingsValid(const char* name, int32_t limit, const char* call) {
  if (name != nullptr && limit <= mostGenerations) return true;
  fprintf(stderr, "Error: %s name/limit invalid\n", call);
  errno = EINVAL;
  return false;
}

// Only files have an age.
void applyDaysRule() {
  if (area.system <= MemberSystem::withCompanion || area.catalogue.days <= 0) return;
  area.catalogue.days = 0;
  fprintf(stderr, "Warning: File System %s does not support the -D option, forcing a value of 0!\n",
          lettersOf(area.system));
}

// Makes sure that there is a directory for the catalogue.
bool makeCatalogueDirectory(bool isPathKnown) {
  const std::string_view directory = splitAtLast(area.cataloguePath.view()).directory;
  const bool isMade = isPathKnown && (platform::directoryExists(directory) || makeDirectories(directory));
  if (!isMade)
    fprintf(stderr, "Could not create catalogue structure\nTried %.*s\n tune $gdg_home?\n",
            static_cast<int>(directory.size()), directory.data());
  return isMade;
}

bool isGroupMissing(bool isPathKnown) {
  const CatalogueState state = isPathKnown ? findCatalogue() : CatalogueState::missing;
  if (state == CatalogueState::present) fprintf(stderr, "Error: GDG %s already exists.\n", area.base.text);
  return state == CatalogueState::missing;
}

// Opens a new catalogue for the group; nothing is left of it when the caller can't write it.
bool makeGroup(const char* name, const char* letters) {
  GenerationName parsed;
  if (!prepare(name, letters, parsed)) return false;
  if (parsed.form != GenerationForm::group) {
    errno = EINVAL;
    return false;
  }
  area.system = workOutSystem(area.system, area.file);
  const bool isPathKnown = setCataloguePath(area.cataloguePath, group());
  if (!isGroupMissing(isPathKnown) || !makeCatalogueDirectory(isPathKnown)) return false;
  area.descriptor = createCatalogue(area.cataloguePath.text);
  return area.descriptor >= 0;
}

}  // namespace

int32_t createGroup(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters) {
  if (!areSettingsValid(name, limit, "GDG_Create") || !makeGroup(name, letters)) return failed;
  GenerationCatalogue& catalogue = area.catalogue;
  initialise(catalogue);
  catalogue.limit = limitOf(limit);
  catalogue.days = std::max(days, 0);
  catalogue.flags =
      (flags < 0 ? scratchDropped : static_cast<uint32_t>(flags) & settingFlags) | catalogueChanged;
  catalogue.fileSystem = static_cast<int32_t>(area.system);
  applyDaysRule();
  if (closeGroup()) return 0;
  platform::deleteFile(area.cataloguePath.text);
  return failed;
}

int32_t alterGroup(const char* name, int32_t limit, int32_t days, int32_t flags, const char* letters) {
  if (!areSettingsValid(name, limit, "GDG_Alter") || !openGroup(name, letters, Reporting::told))
    return failed;
  GenerationCatalogue& catalogue = area.catalogue;
  if (limit >= 0) catalogue.limit = limitOf(limit);
  if (days >= 0) catalogue.days = days;
  if (flags >= 0)
    catalogue.flags = (catalogue.flags & ~settingFlags) | (static_cast<uint32_t>(flags) & settingFlags);
  if (const MemberSystem given = memberSystemNamed(letters);
      given != MemberSystem::unknown && given != area.system) {
    fprintf(stderr,
            "Warning: Changing File System from %s to %s\n"
            "If this is unintended, please reset it before doinganything else!\n",
            lettersOf(area.system), lettersOf(given));
    area.system = given;
    catalogue.fileSystem = static_cast<int32_t>(given);
  }
  applyDaysRule();
  catalogue.flags |= catalogueChanged;
  if (catalogue.count > catalogue.limit) makeRoom(0);
  return resultOfClose();
}

int32_t cleanUpGroup(const char* name, const char* letters) {
  if (!openGroup(name, letters, Reporting::told)) return failed;
  removeMissing();
  if (area.catalogue.count > area.catalogue.limit) makeRoom(0);
  return resultOfClose();
}

int32_t rebuildGroup(const char*, const char*) {
  return failed;
}

int32_t unlinkGroup(const char* name, const char* letters) {
  if (!openGroup(name, letters, Reporting::told)) return failed;
  const int error = platform::deleteFile(area.cataloguePath.text);
  if (error == 0) {
    area.catalogue.days = 0;
    dropOldest(area.catalogue.count);
  } else {
    tellFailure("unlink:unlink", area.cataloguePath, error);
  }
  leaveGroup();
  return error == 0 ? 0 : failed;
}

int32_t printGroup(const char* name, const char* letters) {
  if (!openGroup(name, letters, Reporting::told)) return failed;
  const GenerationCatalogue& catalogue = area.catalogue;
  printf(
      "GDG: %s\n  Catalogue   = %s\n  Limit       = %d\n  Days        = %d\n  %s\n  %s\n  Entries     = %d\n",
      area.base.text, area.cataloguePath.text, static_cast<int>(catalogue.limit),
      static_cast<int>(catalogue.days), has(emptyWhenFull) ? "Empty" : "NoEmpty",
      has(scratchDropped) ? "Scratch" : "NoScratch", static_cast<int>(catalogue.count));
  if (catalogue.count > 0) printf("  GDS:\n");
  PathText file;
  for (int32_t at = 0; at < catalogue.count; ++at) {
    const uint32_t entry = catalogue.entries[at];
    const bool isMissing = stateOf(generationOf(entry), file).isMissing;
    printf("%-4d  %8u: %s%s\n", static_cast<int>(at + 1), static_cast<unsigned>(wrapCountOf(entry)),
           file.text, isMissing ? " (missing)" : "");
  }
  return resultOfClose();
}

int32_t resolveGeneration(const char* name, PathText& resolved, bool create, const char* letters) {
  if (!openGroup(name, letters, Reporting::silent)) return 0;
  int32_t result = -1;
  if (area.generation != 0) {
    const bool isKnown = positionOf(area.catalogue, area.generation) >= 0;
    const bool isFound = isKnown || ((create || isMemberThere()) && addGeneration(area.generation));
    result = isFound ? 1 : 0;
  }
  if (!closeGroup()) result = 0;
  if (result != 0) resolved = area.file;
  return result;
}

int32_t resolveToNewText(const char* name, char** resolved, int32_t create, const char* letters) {
  PathText file;
  const int32_t result = resolveGeneration(name, file, create != 0, letters);
  *resolved = result != 0 ? strdup(file.text) : nullptr;
  return *resolved != nullptr ? result : 0;
}

int32_t unlinkGeneration(const char* name, const char* letters) {
  if (!openGroup(name, letters, Reporting::silent)) return failed;
  if (area.generation == 0) {
    leaveGroup();
    return unlinkGroup(name, letters);
  }
  removeGeneration(area.generation);
  return resultOfClose();
}

int32_t generationGroups() {
  return 0;
}

}  // namespace qrt::fileio
