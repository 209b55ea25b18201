// The native platform on POSIX systems (Linux, glibc).
#include <fcntl.h>
#include <netdb.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/HostRecord.h"
#include "platform/Platform.h"
#include "platform/posix/PosixWritableFile.h"

namespace Lumbrel {
namespace platform {
namespace {

// Host records of hosts with very many names or addresses need more room;
// beyond this the lookup counts as failed.
constexpr std::size_t kMaxResolverBuffer = 1 << 20;

bool isAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

class PosixPlatform final : public Platform {
 public:
  // `X:\` or `X:/` names the root, whatever the letter; every other backslash
  // is a separator. Anything else stays relative to the working directory.
  std::string nativeName(const std::string& name) override {
    std::string result;
    std::size_t start = 0;
    if (name.size() >= 3 && isAsciiLetter(name[0]) && name[1] == ':' &&
        (name[2] == '\\' || name[2] == '/')) {
      result = "/";
      start = 3;
    }
    result.reserve(result.size() + name.size() - start);
    for (std::size_t i = start; i < name.size(); ++i) result += name[i] == '\\' ? '/' : name[i];
    return result;
  }

  bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                  std::ios_base::openmode mode) override {
    return buffer.open(nativeName(name), mode) != nullptr;
  }

  bool exists(const std::string& name) override {
    return ::access(nativeName(name).c_str(), F_OK) == 0;
  }

  // unlink ignores the file's own mode, so a read-only file needs no chmod;
  // the directory test keeps `remove` from deleting an empty directory.
  bool removeFile(const std::string& name) override {
    const std::string path = nativeName(name);
    struct stat info;
    if (::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return false;
    return ::unlink(path.c_str()) == 0;
  }

  bool renameNoReplace(const std::string& from, const std::string& to) override {
    const std::string source = nativeName(from);
    const std::string target = nativeName(to);
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
      return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The file system does not know the flag: a hard link refuses an existing
    // target just as well. Directories cannot be linked and are refused.
    if (::link(source.c_str(), target.c_str()) != 0) return false;
    return ::unlink(source.c_str()) == 0;
  }

  bool sameFile(const std::string& a, const std::string& b) override {
    struct stat x;
    struct stat y;
    return ::stat(nativeName(a).c_str(), &x) == 0 && ::stat(nativeName(b).c_str(), &y) == 0 &&
           x.st_dev == y.st_dev && x.st_ino == y.st_ino;
  }

  // A name that cannot be looked at (a folder on the way refuses) counts as
  // missing: opening it will fail the same way.
  FileKind fileKind(const std::string& name) override {
    struct stat info;
    if (::stat(nativeName(name).c_str(), &info) != 0) return FileKind::missing;
    if (S_ISREG(info.st_mode)) return FileKind::regular;
    if (S_ISDIR(info.st_mode)) return FileKind::directory;
    return FileKind::other;
  }

  std::unique_ptr<WritableFile> newWritableFile(const std::string& name) override {
    return newPosixWritableFile(nativeName(name));
  }

  // `/opt/app/bin/agent` is given as `Z:\opt\app\bin\agent`.
  wstring processFileName() override {
    std::string path(4096, '\0');
    const ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size());
    if (n <= 0 || static_cast<std::size_t>(n) >= path.size()) return wstring();
    path.resize(static_cast<std::size_t>(n));
    std::string windowsForm = "Z:";
    for (char c : path) windowsForm += c == '/' ? '\\' : c;
    return make_wstring(windowsForm);
  }

  bool computerName(wstring& name, std::size_t capacity) override {
    char buffer[256] = {};
    if (::gethostname(buffer, sizeof buffer - 1) != 0) return false;
    wstring units = make_wstring(buffer);
    if (units.size() > capacity) return false;
    name = units;
    return true;
  }

  // POSIX sockets need no start or stop.
  bool socketStartup(unsigned short) override { return true; }
  void socketCleanup() override {}

  bool hostName(char* buffer, std::size_t size) override {
    return ::gethostname(buffer, size) == 0 && std::memchr(buffer, '\0', size) != nullptr;
  }

  // gethostbyname_r gives the host record with its addresses in the name
  // service's order; getaddrinfo would sort them by its own preferences, and
  // callers rely on the first address being the service's first.
  bool resolveHost(const std::string& name, HostEntry& entry) override {
    std::vector<char> work(1024);
    hostent record{};
    hostent* found = nullptr;
    int status = 0;
    int result;
    while ((result = ::gethostbyname_r(name.c_str(), &record, work.data(), work.size(), &found,
                                       &status)) == ERANGE &&
           work.size() < kMaxResolverBuffer) {
      work.resize(work.size() * 2);
    }
    if (result != 0 || found == nullptr) return false;
    entry = hostEntryOf(*found, AF_INET);
    return true;
  }
};

}  // namespace

Platform& native() {
  static PosixPlatform instance;
  return instance;
}

const char* textLineEnd() { return "\n"; }

}  // namespace platform
}  // namespace Lumbrel
