// Saving a file on POSIX systems: the steps of WritableFile on file
// descriptors, with every name prepared up front.
#include "platform/posix/PosixWritableFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/Random.h"

namespace Lumbrel {
namespace platform {
namespace {

// Symbolic links followed before the chain counts as a loop, as the kernel
// counts them.
constexpr int kMaxLinks = 40;
// Room for the name part of a temporary beside the target: a file name may
// have 255 bytes, and the temporary adds a dot, a dot and 8 digits, ".tmp".
constexpr std::size_t kMaxBaseName = 240;

// The folder part of a native path, with its final slash; empty for a bare
// name (the working directory).
std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// The file a chain of symbolic links ends at; `path` itself when it is no
// link. A link to nothing gives the name it points at, so that a save makes
// the file there and the link leads to it.
std::string followLinks(std::string path) {
  for (int hop = 0; hop < kMaxLinks; ++hop) {
    struct stat info;
    if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) break;
    std::string link(info.st_size > 0 ? static_cast<std::size_t>(info.st_size) + 1 : 4096, '\0');
    const ssize_t length = ::readlink(path.c_str(), &link[0], link.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= link.size()) break;
    link.resize(static_cast<std::size_t>(length));
    path = link[0] == '/' ? link : folderOf(path) + link;
  }
  return path;
}

int openRetrying(const char* path, int flags, mode_t mode) {
  int fd;
  do {
    fd = ::open(path, flags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

}  // namespace

PosixWritableFile::PosixWritableFile(const std::string& native) : target_(followLinks(native)) {
  struct stat info;
  if (::stat(target_.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
    known_ = true;
    permissions_ = info.st_mode & 07777;
    owner_ = info.st_uid;
    group_ = info.st_gid;
  }
  folder_ = folderOf(target_);
  std::string base = target_.substr(folder_.size());
  if (base.size() > kMaxBaseName) base.resize(kMaxBaseName);
  // `.settings.ini.0123abcd.tmp`: hidden, and plainly a leftover of that file
  // should a crash ever leave one behind.
  temporary_ = folder_ + "." + base + ".00000000.tmp";
  digits_ = temporary_.size() - 12;
  folderForOpen_ = folder_.empty() ? std::string(".") : folder_;
}

PosixWritableFile::~PosixWritableFile() { discard(); }

bool PosixWritableFile::removeTarget() {
  struct stat info;
  if (::lstat(target_.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return false;
  return ::unlink(target_.c_str()) == 0 || errno == ENOENT;
}

Creation PosixWritableFile::createTarget() {
  closeDescriptor();
  // Owner-only until the old file's attributes are in place, so that the
  // file is never more open than the one it replaces.
  fd_ = openRetrying(target_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                     known_ ? S_IRUSR | S_IWUSR : 0666);
  if (fd_ < 0) return errno == EEXIST ? Creation::exists : Creation::failed;
  applyAttributes();
  return Creation::created;
}

bool PosixWritableFile::truncateTarget() {
  closeDescriptor();
  fd_ = openRetrying(target_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC, 0);
  return fd_ >= 0;
}

bool PosixWritableFile::createTemporary() {
  discard();
  const mode_t mode = known_ ? S_IRUSR | S_IWUSR : 0666;
#ifdef O_TMPFILE
  // A file without a name until it is complete: a process killed while it
  // writes leaves nothing behind. Giving it a name goes through /proc.
  if (::access("/proc/self/fd", X_OK) == 0) {
    fd_ = openRetrying(folderForOpen_.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
    if (fd_ >= 0) {
      anonymous_ = true;
      applyAttributes();
      return true;
    }
  }
#endif
  for (int attempt = 0; attempt < 16; ++attempt) {
    drawTemporaryName();
    fd_ = openRetrying(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd_ >= 0) {
      named_ = true;
      applyAttributes();
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

bool PosixWritableFile::append(const unsigned char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd_, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool PosixWritableFile::sync() { return fd_ >= 0 && ::fsync(fd_) == 0; }

bool PosixWritableFile::close() {
  if (fd_ < 0) return true;
  const int result = ::close(fd_);
  fd_ = -1;
  // After EINTR the descriptor is gone all the same on Linux.
  return result == 0 || errno == EINTR;
}

bool PosixWritableFile::commit() {
  if (anonymous_) {
    // The complete file gets its temporary name only now, and keeps it for
    // no longer than the rename below takes.
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", fd_);
    bool linked = false;
    for (int attempt = 0; attempt < 16 && !linked; ++attempt) {
      drawTemporaryName();
      linked = ::linkat(AT_FDCWD, self, AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0;
      if (!linked && errno != EEXIST) break;
    }
    if (!linked) return false;
    anonymous_ = false;
    named_ = true;
  }
  if (!named_ || !close()) return false;
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  named_ = false;
  // The rename is an entry of the folder: it lasts once the folder is on disk.
  const int folder = openRetrying(folderForOpen_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (folder < 0) return false;
  const bool synced = ::fsync(folder) == 0 || errno == EINVAL;
  ::close(folder);
  return synced;
}

void PosixWritableFile::discard() {
  closeDescriptor();
  anonymous_ = false;
  if (named_) ::unlink(temporary_.c_str());
  named_ = false;
}

void PosixWritableFile::closeDescriptor() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

void PosixWritableFile::applyAttributes() {
  if (!known_) return;
  // Owner and group first: changing them may clear the set-id bits, which
  // the mode then puts back. Only root may give a file away; a group the
  // process belongs to is still worth keeping when the owner cannot be.
  if (::fchown(fd_, owner_, group_) != 0) static_cast<void>(::fchown(fd_, static_cast<uid_t>(-1), group_));
  static_cast<void>(::fchmod(fd_, permissions_));
}

void PosixWritableFile::drawTemporaryName() {
  static const char kHex[] = "0123456789abcdef";
  unsigned char random[4] = {};
  if (!randomBytes(random, sizeof random)) {
    const auto pid = static_cast<unsigned>(::getpid());
    for (unsigned char& byte : random) byte = static_cast<unsigned char>(pid * 131u + ++fallback_);
  }
  for (std::size_t i = 0; i < 8; ++i) {
    const unsigned byte = random[i / 2];
    const unsigned nibble = (i % 2 == 0 ? byte >> 4 : byte) & 0xFu;
    temporary_[digits_ + i] = kHex[nibble];
  }
}

std::unique_ptr<WritableFile> newPosixWritableFile(const std::string& native) {
  return std::unique_ptr<WritableFile>(new PosixWritableFile(native));
}

}  // namespace platform
}  // namespace Lumbrel
