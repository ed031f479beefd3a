// The member files of generation groups: their file system types, whether one exists, and how it is deleted.
// Types that are administered by commands are served by running those, without a shell.
#pragma once

#include <stdint.h>

#include <string_view>

#include "fileio/generation_name.h"

namespace qrt::fileio {

// As catalogue files hold it.
enum class MemberSystem : int32_t {
  unknown = 0,
  plain = 1,
  withCompanion = 2,  // a file and a hidden one beside it
  fileServer = 3,     // by commands of kfsadmin
  database = 4,       // tables, by commands of qdb
  other = 5,
};

// The type that three letters stand for, in any case; `letters` may be null, or shorter.
MemberSystem memberSystemNamed(const char* letters);

// The letters of a type in messages and paths.
const char* lettersOf(MemberSystem system);

// Whether the name lies below the root of the file server.
bool isBelowServerRoot(std::string_view name);

// The type of a file by what is on disk, where the one that is known leaves it open.
MemberSystem workOutSystem(MemberSystem known, const PathText& file);

// A group as its member files see it.
struct MemberGroup {
  std::string_view base;
  MemberSystem system;
};

struct MemberState {
  int error;  // errno of a test that failed; 0 for a member that exists
  bool isMissing;
  bool isRegular;
  int64_t age;  // seconds since the last change; 0 for a type that knows none
};

// Asks for a member file. A failure other than a missing file is told on standard error.
MemberState stateOfMember(const MemberGroup& group, const PathText& file);

// Deletes a member file, with what belongs to it; returns errno, 0 for success.
int deleteMember(const MemberGroup& group, const PathText& file);

// Makes the path of a group's catalogue file. False when a variable that it needs isn't set or the path is
// too long; it then holds what could be made of it.
bool setCataloguePath(PathText& path, const MemberGroup& group);

// Makes a directory and those above it; false when that fails.
bool makeDirectories(std::string_view directory);

}  // namespace qrt::fileio
