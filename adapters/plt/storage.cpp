// The system calls of record files.
#include "storage.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrt::plt::storage {
namespace {

constexpr mode_t everybody = 0666;

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
  const int result = replaces ? rename(made.text, path.text) : link(made.text, path.text);
  const int reason = errno;
  if (!replaces || result != 0) unlink(made.text);
  errno = reason;
  return result == 0;
}

bool bears(int file, const Path& path) {
  struct stat opened, named;
  return fstat(file, &opened) == 0 && stat(path.text, &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

void close(int file) {
  ::close(file);
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
