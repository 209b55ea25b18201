// The operating-system seam of the library, for what tests must be able to
// replace: the file system by name, the process's own file name and the host
// queries. (Locks, threads, clocks and modules have their own headers in this
// folder; nothing needs to substitute them.)
//
// Names passed in are the library's 8-bit file names, which may have the
// Windows form (`C:\dir\file`); each implementation maps them to its native
// form at the call. Nothing here raises.
//
// Tests replace the platform with ScopedPlatform and a PlatformWrapper that
// overrides just the calls they break. None of this is exported from the
// shared library.
#ifndef LUMBREL_PLATFORM_PLATFORM_H
#define LUMBREL_PLATFORM_PLATFORM_H

#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace platform {

// What the name service knows of a host.
struct HostEntry {
  bool hasCanonicalName = false;
  std::string canonicalName;
  std::vector<std::array<unsigned char, 4>> ipv4Addresses;  // in service order
};

class Platform {
 public:
  virtual ~Platform();

  // ---- Files by name ----

  // The native form of a library file name.
  virtual std::string nativeName(const std::string& name) = 0;
  // Opens `buffer` on `name`; false when the buffer is not open afterwards.
  virtual bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                          std::ios_base::openmode mode) = 0;
  // True when anything of that name exists, a directory too.
  virtual bool exists(const std::string& name) = 0;
  // Removes a file whatever its permission bits; never a directory.
  virtual bool removeFile(const std::string& name) = 0;
  // Renames, refusing an existing target.
  virtual bool renameNoReplace(const std::string& from, const std::string& to) = 0;
  // True when both names exist and are one file.
  virtual bool sameFile(const std::string& a, const std::string& b) = 0;

  // ---- The process and the host ----

  // The executable's full name in the Windows form (`Z:\usr\bin\app`); empty
  // on failure.
  virtual wstring processFileName() = 0;
  // The machine's name if it has at most `capacity` units; false otherwise.
  virtual bool computerName(wstring& name, std::size_t capacity) = 0;
  // Starts the socket layer for one query; false when it cannot start.
  virtual bool socketStartup(unsigned short version) = 0;
  // Stops what one successful socketStartup started.
  virtual void socketCleanup() = 0;
  // The host name with its terminator into `buffer` of `size` bytes; false
  // when it does not fit.
  virtual bool hostName(char* buffer, std::size_t size) = 0;
  // Looks `name` up for IPv4; false when the name service has no answer.
  virtual bool resolveHost(const std::string& name, HostEntry& entry) = 0;
};

// The platform in use: the native one unless a test installed another.
Platform& current();
// The native platform, whatever is installed.
Platform& native();

// Forwards every call to a target, so that a substitute overrides only what
// it changes.
class PlatformWrapper : public Platform {
 public:
  explicit PlatformWrapper(Platform& target = native()) : target_(target) {}

  std::string nativeName(const std::string& name) override { return target_.nativeName(name); }
  bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                  std::ios_base::openmode mode) override {
    return target_.openStream(buffer, name, mode);
  }
  bool exists(const std::string& name) override { return target_.exists(name); }
  bool removeFile(const std::string& name) override { return target_.removeFile(name); }
  bool renameNoReplace(const std::string& from, const std::string& to) override {
    return target_.renameNoReplace(from, to);
  }
  bool sameFile(const std::string& a, const std::string& b) override { return target_.sameFile(a, b); }
  wstring processFileName() override { return target_.processFileName(); }
  bool computerName(wstring& name, std::size_t capacity) override {
    return target_.computerName(name, capacity);
  }
  bool socketStartup(unsigned short version) override { return target_.socketStartup(version); }
  void socketCleanup() override { target_.socketCleanup(); }
  bool hostName(char* buffer, std::size_t size) override { return target_.hostName(buffer, size); }
  bool resolveHost(const std::string& name, HostEntry& entry) override {
    return target_.resolveHost(name, entry);
  }

 private:
  Platform& target_;
};

// Installs a platform for the lifetime of the guard, then restores the one
// before it. Meant for tests; install before the threads that use it start.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform& substitute);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* previous_;
};

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_PLATFORM_H
