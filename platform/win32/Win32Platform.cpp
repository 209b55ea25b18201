// The native platform on Windows. Names are native as they stand (`C:\...`
// names what it says); the library's 8-bit names are UTF-8, so every call
// that takes a name gets its wide form.
#include <io.h>
#include <sys/stat.h>

#include <cstring>
#include <vector>

#include "platform/HostRecord.h"
#include "platform/Platform.h"
#include "platform/win32/Win32WritableFile.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {
namespace {

// Opened for nothing but its identity: no access asked for, nothing shared
// refused, and folders too.
HANDLE openForIdentity(const std::wstring& name) {
  return CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                     nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

bool identity(const std::wstring& name, BY_HANDLE_FILE_INFORMATION& information) {
  HANDLE file = openForIdentity(name);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool known = GetFileInformationByHandle(file, &information) != 0;
  CloseHandle(file);
  return known;
}

class Win32Platform final : public Platform {
 public:
  std::string nativeName(const std::string& name) override { return name; }

  bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                  std::ios_base::openmode mode) override {
    return buffer.open(wideName(name).c_str(), mode) != nullptr;
  }

  bool exists(const std::string& name) override { return _waccess(wideName(name).c_str(), 0) == 0; }

  // The system refuses to remove a read-only file, so that bit goes first;
  // it comes back if the file stays. Folders are never touched.
  bool removeFile(const std::string& name) override {
    const std::wstring wide = wideName(name);
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
      return false;
    const bool readOnly =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly) _wchmod(wide.c_str(), _S_IREAD | _S_IWRITE);
    if (_wremove(wide.c_str()) == 0) return true;
    if (readOnly) _wchmod(wide.c_str(), _S_IREAD);
    return false;
  }

  // The system's rename never replaces an existing target.
  bool renameNoReplace(const std::string& from, const std::string& to) override {
    return _wrename(wideName(from).c_str(), wideName(to).c_str()) == 0;
  }

  bool sameFile(const std::string& a, const std::string& b) override {
    BY_HANDLE_FILE_INFORMATION x;
    BY_HANDLE_FILE_INFORMATION y;
    return identity(wideName(a), x) && identity(wideName(b), y) &&
           x.dwVolumeSerialNumber == y.dwVolumeSerialNumber &&
           x.nFileIndexHigh == y.nFileIndexHigh && x.nFileIndexLow == y.nFileIndexLow;
  }

  // What the name leads to once the system has followed its links: a disk
  // file is regular; a console, a pipe or another device is not.
  FileKind fileKind(const std::string& name) override {
    const std::wstring wide = wideName(name);
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return FileKind::missing;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return FileKind::directory;
    HANDLE file = openForIdentity(wide);
    if (file == INVALID_HANDLE_VALUE) return FileKind::missing;
    const DWORD type = GetFileType(file);
    CloseHandle(file);
    return type == FILE_TYPE_DISK ? FileKind::regular : FileKind::other;
  }

  std::unique_ptr<WritableFile> newWritableFile(const std::string& name) override {
    return newWin32WritableFile(name);
  }

  wstring processFileName() override {
    // Room for the longest name the system has; the library cuts it.
    std::vector<wchar_t> buffer(32768);
    const DWORD size =
        GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (size == 0 || size >= buffer.size()) return wstring();
    return libraryText(buffer.data(), size);
  }

  bool computerName(wstring& name, std::size_t capacity) override {
    // The size counts the terminator going in and leaves it out coming back.
    std::vector<wchar_t> buffer(capacity + 1);
    DWORD size = static_cast<DWORD>(buffer.size());
    if (GetComputerNameW(buffer.data(), &size) != 1 || size > capacity) return false;
    name = libraryText(buffer.data(), size);
    return true;
  }

  bool socketStartup(unsigned short version) override {
    WSADATA information{};
    return WSAStartup(version, &information) == 0;
  }

  void socketCleanup() override { WSACleanup(); }

  bool hostName(char* buffer, std::size_t size) override {
    return gethostname(buffer, static_cast<int>(size)) == 0 &&
           std::memchr(buffer, '\0', size) != nullptr;
  }

  // The record lives in storage of the calling thread until its next query,
  // and is copied at once.
  bool resolveHost(const std::string& name, HostEntry& entry) override {
    const hostent* found = gethostbyname(name.c_str());
    if (found == nullptr) return false;
    entry = hostEntryOf(*found, AF_INET);
    return true;
  }
};

}  // namespace

Platform& native() {
  static Win32Platform instance;
  return instance;
}

const char* textLineEnd() { return "\r\n"; }

}  // namespace platform
}  // namespace Lumbrel
