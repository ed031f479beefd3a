// The system calls of record files.
#include "storage.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace qrt::plt::storage {
namespace {

constexpr mode_t everybody = 0666;
constexpr size_t firstPage = 4096;

template <typename Call>
auto retried(Call&& call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// Closes a descriptor that serves nothing, with the reason.
int refuse(int file, int reason) {
  ::close(file);
  errno = reason;
  return -1;
}

struct flock writerLock() {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  return lock;
}

}  // namespace

int32_t platformNumber(int systemError) {
  switch (systemError) {
    case ENOENT:
      return 2;
    case ENOTDIR:
      return 3;
    case EACCES:
    case EPERM:
    case EROFS:
      return 5;
    case EBADF:
      return 6;
    case ENOMEM:
      return 8;
    case EAGAIN:
    case EBUSY:
    case ETXTBSY:
      return 32;
    case EEXIST:
      return 80;
    case ENOSPC:
    case EDQUOT:
      return 112;
    default:
      return systemError;
  }
}

bool isFull(int systemError) {
  return systemError == ENOSPC || systemError == EDQUOT || systemError == EFBIG;
}

Path::Path(const char* name) {
  const size_t length = name != nullptr ? strlen(name) : 0;
  fits = length < sizeof(text);
  for (size_t at = 0; fits && at < length; ++at) text[at] = name[at] == '\\' ? '/' : name[at];
  text[fits ? length : 0] = 0;
}

int openExisting(const Path& path, Access access) {
  if (!path.fits) {
    errno = ENAMETOOLONG;
    return -1;
  }
  // Without waiting: a pipe would do that.
  const int flags = (access == Access::read ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NONBLOCK;
  const int file = retried([&] { return ::open(path.text, flags); });
  if (file < 0) return -1;
  struct stat about;
  if (fstat(file, &about) != 0) return refuse(file, errno);
  return S_ISREG(about.st_mode) ? file : refuse(file, EISDIR);
}

int makeBeside(const Path& path, Path& made, int likeFile) {
  constexpr int attempts = 1000;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const int length =
        snprintf(made.text, sizeof(made.text), "%s.new%d.%d", path.text, static_cast<int>(getpid()), attempt);
    made.fits = length > 0 && static_cast<size_t>(length) < sizeof(made.text);
    if (!made.fits) {
      errno = ENAMETOOLONG;
      return -1;
    }
    const int file =
        retried([&] { return ::open(made.text, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, everybody); });
    if (file < 0 && errno == EEXIST) continue;
    struct stat about;
    if (file >= 0 && likeFile >= 0 && fstat(likeFile, &about) == 0) fchmod(file, about.st_mode & 07777);
    return file;
  }
  return -1;
}

bool takeName(const Path& made, const Path& path, bool replaces) {
  int result = renameat2(AT_FDCWD, made.text, AT_FDCWD, path.text, replaces ? 0 : RENAME_NOREPLACE);
  // Not every file system can tell that the name is free.
  if (result != 0 && !replaces && errno == EINVAL) {
    result = link(made.text, path.text);
    if (result == 0) unlink(made.text);
  }
  if (result != 0) remove(made);
  return result == 0;
}

void remove(const Path& path) {
  const int reason = errno;
  unlink(path.text);
  errno = reason;
}

Path resolved(const Path& path) {
  Path real = path;
  if (!path.fits || realpath(path.text, real.text) == nullptr) return path;
  return real;
}

bool bears(int file, const Path& path) {
  struct stat opened, named;
  return fstat(file, &opened) == 0 && stat(path.text, &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

void close(int file) {
  ::close(file);
}

int32_t readAt(int file, void* bytes, uint32_t size, uint64_t offset) {
  auto* const to = static_cast<char*>(bytes);
  uint32_t done = 0;
  while (done < size) {
    const ssize_t count =
        retried([&] { return pread(file, to + done, size - done, static_cast<off_t>(offset + done)); });
    if (count < 0) return -1;
    if (count == 0) break;
    done += static_cast<uint32_t>(count);
  }
  return static_cast<int32_t>(done);
}

uint32_t writeAt(int file, const void* bytes, uint32_t size, uint64_t offset) {
  const auto* const from = static_cast<const char*>(bytes);
  uint32_t done = 0;
  while (done < size) {
    const ssize_t count =
        retried([&] { return pwrite(file, from + done, size - done, static_cast<off_t>(offset + done)); });
    if (count == 0) errno = ENOSPC;
    if (count <= 0) break;
    done += static_cast<uint32_t>(count);
  }
  return done;
}

bool truncate(int file, uint64_t size) {
  return retried([&] { return ftruncate(file, static_cast<off_t>(size)); }) == 0;
}

int64_t sizeOf(int file) {
  struct stat about;
  return fstat(file, &about) == 0 ? about.st_size : -1;
}

int64_t nextData(int file, uint64_t offset) {
  return lseek(file, static_cast<off_t>(offset), SEEK_DATA);
}

void* mapFirstPage(int file, Access access) {
  const int protection = access == Access::read ? PROT_READ : PROT_READ | PROT_WRITE;
  const int kind = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  void* const page = mmap(nullptr, firstPage, protection, kind, file, 0);
  return page != MAP_FAILED ? page : nullptr;
}

void unmapFirstPage(void* page) {
  munmap(page, firstPage);
}

void pause() {
  const timespec moment = {0, 100'000};
  nanosleep(&moment, nullptr);
}

bool lockForWriting(int file) {
  struct flock lock = writerLock();
  const bool locked = fcntl(file, F_OFD_SETLK, &lock) == 0;
  if (!locked && errno == EACCES) errno = EAGAIN;
  return locked;
}

bool hasWriter(int file) {
  struct flock lock = writerLock();
  return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace qrt::plt::storage
