// The operating-system seam of the library, for what tests must be able to
// replace: the file system by name, the writing of a store's file, the
// process's own file name and the host queries. (Locks, threads, clocks and
// modules have their own headers in this folder; nothing needs to substitute
// them.)
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
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
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

// What a name leads to on disk, through any symbolic links.
enum class FileKind {
  missing,    // nothing, or a link that leads nowhere
  regular,    // a plain file
  directory,
  other,      // a FIFO, a device or a socket
};

// How a WritableFile's creation went.
enum class Creation {
  created,
  exists,  // something of that name is there already; nothing was touched
  failed,
};

// One save of a file's whole content, prepared by Platform::newWritableFile
// before anything on disk changes. It knows the file that the name leads to
// (the target of a symbolic link, not the link) and the permission bits,
// owner and group of the file that was there, and it holds every name its
// steps need: once prepared, no step allocates, so a save can remove the old
// file knowing that memory cannot fail it afterwards.
//
// A save in place is removeTarget, createTarget (truncateTarget when the old
// file cannot be removed), append..., close. A crash-safe save is
// createTemporary, append..., sync, commit, and discard on every way out that
// does not commit. Steps report failure by their result and never raise.
class WritableFile {
 public:
  virtual ~WritableFile();

  // Removes the file the name leads to; true when nothing is there
  // afterwards. Never removes a directory.
  virtual bool removeTarget() = 0;
  // Creates the target, refusing one that exists, with the old file's
  // attributes (owner and group where the process may set them).
  virtual Creation createTarget() = 0;
  // Opens the existing target for writing and empties it.
  virtual bool truncateTarget() = 0;
  // Creates a new file beside the target, with the old file's attributes.
  virtual bool createTemporary() = 0;
  // Writes all `size` bytes to the file created last; false when fewer were
  // written (those stay written).
  virtual bool append(const unsigned char* bytes, std::size_t size) = 0;
  // Forces what was written onto stable storage.
  virtual bool sync() = 0;
  // Closes the file; false when the system reports a failed write only now.
  virtual bool close() = 0;
  // Closes the temporary and puts it in the target's place in one step, then
  // forces that onto stable storage; the old file stays whole until then.
  virtual bool commit() = 0;
  // Closes and removes a temporary that was not committed.
  virtual void discard() = 0;
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
  // What `name` leads to.
  virtual FileKind fileKind(const std::string& name) = 0;
  // Prepares a save to `name` (see WritableFile); touches nothing on disk.
  // Raises std::bad_alloc when memory runs out; never gives null.
  virtual std::unique_ptr<WritableFile> newWritableFile(const std::string& name) = 0;

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
// The line end of the platform's text files, which a stream opened without
// the binary flag writes for "\n" and reads back as "\n": "\r\n" on Windows.
const char* textLineEnd();

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
  FileKind fileKind(const std::string& name) override { return target_.fileKind(name); }
  std::unique_ptr<WritableFile> newWritableFile(const std::string& name) override {
    return target_.newWritableFile(name);
  }
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
