// The system calls of record files. Names are taken as the library takes them: `\` and `/` both separate.
// Functions that can fail leave the reason in errno.
#pragma once

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

namespace qrt::plt::storage {

inline constexpr size_t longestPath = PATH_MAX;

// A system error as the platform numbers it: 5 access denied, 32 sharing violation, 112 disk full...
int32_t platformNumber(int systemError);

// The disk, the quota or the file can't take any more.
bool isFull(int systemError);

// A caller's name in the form that the system takes.
struct Path {
  char text[longestPath];
  bool fits;  // false for a name that is too long; opening such a path fails with ENAMETOOLONG

  explicit Path(const char* name);
};

enum class Access { read, write };

// A descriptor of a regular file that exists, or -1; EISDIR also for anything else that isn't a regular file.
int openExisting(const Path& path, Access access);

// A new empty file beside `path` for reading and writing, or -1. Its name goes to `made`. `likeFile`, unless
// -1, is a file that gives it its permissions.
int makeBeside(const Path& path, Path& made, int likeFile);

// Gives the file `made` the name `path`: instead of the file that has it now, or only when none has it
// (EEXIST otherwise). False when that fails; `made` is then removed.
bool takeName(const Path& made, const Path& path, bool replaces);

void remove(const Path& path);

// The same path with every link in it followed; unchanged when that fails.
Path resolved(const Path& path);

// The file still is the one that bears the name.
bool bears(int file, const Path& path);

void close(int file);

// Bytes read or written, fewer than asked for at the end of the file (reading) or with a reason in errno.
// Reading returns -1 for an error.
int32_t readAt(int file, void* bytes, uint32_t size, uint64_t offset);
uint32_t writeAt(int file, const void* bytes, uint32_t size, uint64_t offset);

bool truncate(int file, uint64_t size);

// Bytes of the file, or -1.
int64_t sizeOf(int file);

// Offset of the first byte from `offset` on that isn't in a hole, or -1 when only a hole follows.
int64_t nextData(int file, uint64_t offset);

// The first page of a file that isn't empty, shared with every process that maps it; for reading only unless
// `access` is write. With -1 as file a page of zeros of one's own. Null for an error.
void* mapFirstPage(int file, Access access);
void unmapFirstPage(void* page);

// Lets others run for a moment, about a tenth of a millisecond.
void pause();

// The writer's lock, an open-file-description lock on the first byte of the file: at most one descriptor
// holds it, and it goes with it. False with EAGAIN when another one has it. Never waits.
bool lockForWriting(int file);

// A writer has the file now, other than through this descriptor.
bool hasWriter(int file);

}  // namespace qrt::plt::storage
