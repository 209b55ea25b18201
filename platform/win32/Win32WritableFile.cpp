// Saving a file on Windows: the steps of WritableFile on file handles, with
// every name prepared up front. The read-only, hidden and system attributes
// stand for the POSIX permission bits: the new file gets those of the old.
#include "platform/win32/Win32WritableFile.h"

#include "platform/Random.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {
namespace {

constexpr DWORD kKeptAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
constexpr DWORD kReadOnly = FILE_ATTRIBUTE_READONLY;
// How long a commit waits for another program to let go of the target: a
// reader holds it open for moments, and meanwhile it cannot be replaced.
constexpr int kReplaceAttempts = 200;
constexpr DWORD kReplacePause = 10;

// The folder part of a path, with its final separator; empty for a bare name.
std::wstring folderOf(const std::wstring& path) {
  const std::size_t separator = path.find_last_of(L"\\/:");
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator + 1);
}

// The file a symbolic link leads to, as the system resolves it; `name`
// itself when it is no link or cannot be resolved.
std::wstring followLinks(const std::wstring& name) {
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
    return name;
  HANDLE file = CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return name;
  std::wstring path(32768, L'\0');
  const DWORD size = GetFinalPathNameByHandleW(file, &path[0], static_cast<DWORD>(path.size()),
                                               FILE_NAME_NORMALIZED);
  CloseHandle(file);
  if (size == 0 || size >= path.size()) return name;
  path.resize(size);
  // `\\?\C:\x` is `C:\x`, and `\\?\UNC\host\share` is `\\host\share`.
  if (path.compare(0, 8, L"\\\\?\\UNC\\") == 0) return L"\\\\" + path.substr(8);
  if (path.compare(0, 4, L"\\\\?\\") == 0) return path.substr(4);
  return path;
}

bool gone() {
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

class Win32WritableFile final : public WritableFile {
 public:
  explicit Win32WritableFile(const std::wstring& name) : target_(followLinks(name)) {
    const DWORD attributes = GetFileAttributesW(target_.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      attributes_ = attributes & kKeptAttributes;
    }
    const std::wstring folder = folderOf(target_);
    // `.settings.ini.0123abcd.tmp`: plainly a leftover of that file should a
    // crash ever leave one behind.
    temporary_ = folder + L"." + target_.substr(folder.size()) + L".00000000.tmp";
    digits_ = temporary_.size() - 12;
  }
  ~Win32WritableFile() override { discard(); }
  Win32WritableFile(const Win32WritableFile&) = delete;
  Win32WritableFile& operator=(const Win32WritableFile&) = delete;

  // The system refuses to remove a read-only file: the bit goes first, and
  // comes back if the file stays.
  bool removeTarget() override {
    const DWORD attributes = GetFileAttributesW(target_.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return gone();
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return false;
    const bool readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly) SetFileAttributesW(target_.c_str(), attributes & ~kReadOnly);
    if (DeleteFileW(target_.c_str()) || gone()) return true;
    if (readOnly) SetFileAttributesW(target_.c_str(), attributes);
    return false;
  }

  Creation createTarget() override {
    closeHandle();
    file_ = CreateFileW(target_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                        newAttributes(), nullptr);
    if (file_ != INVALID_HANDLE_VALUE) return Creation::created;
    return GetLastError() == ERROR_FILE_EXISTS ? Creation::exists : Creation::failed;
  }

  bool truncateTarget() override {
    closeHandle();
    file_ = CreateFileW(target_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                        TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return file_ != INVALID_HANDLE_VALUE;
  }

  bool createTemporary() override {
    discard();
    for (int attempt = 0; attempt < 16; ++attempt) {
      drawTemporaryName();
      file_ = CreateFileW(temporary_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                          newAttributes(), nullptr);
      if (file_ != INVALID_HANDLE_VALUE) {
        named_ = true;
        return true;
      }
      if (GetLastError() != ERROR_FILE_EXISTS) return false;
    }
    return false;
  }

  bool append(const unsigned char* bytes, std::size_t size) override {
    while (size > 0) {
      const DWORD part = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
      DWORD written = 0;
      if (!WriteFile(file_, bytes, part, &written, nullptr) || written == 0) return false;
      bytes += written;
      size -= written;
    }
    return true;
  }

  bool sync() override { return file_ != INVALID_HANDLE_VALUE && FlushFileBuffers(file_) != 0; }

  bool close() override {
    if (file_ == INVALID_HANDLE_VALUE) return true;
    const bool closed = CloseHandle(file_) != 0;
    file_ = INVALID_HANDLE_VALUE;
    return closed;
  }

  // A read-only target cannot be replaced: its bit goes first and comes back
  // if the replacement fails. The new file carries the old file's bits.
  bool commit() override {
    if (!named_ || !close()) return false;
    const DWORD attributes = GetFileAttributesW(target_.c_str());
    const bool readOnly =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly) SetFileAttributesW(target_.c_str(), attributes & ~kReadOnly);
    bool replaced = false;
    for (int attempt = 0; attempt < kReplaceAttempts && !replaced; ++attempt) {
      if (attempt > 0) Sleep(kReplacePause);
      replaced = MoveFileExW(temporary_.c_str(), target_.c_str(),
                             MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
      if (!replaced && GetLastError() != ERROR_ACCESS_DENIED &&
          GetLastError() != ERROR_SHARING_VIOLATION)
        break;
    }
    if (!replaced) {
      if (readOnly) SetFileAttributesW(target_.c_str(), attributes);
      return false;
    }
    named_ = false;
    return true;
  }

  void discard() override {
    closeHandle();
    if (named_) {
      SetFileAttributesW(temporary_.c_str(), FILE_ATTRIBUTE_NORMAL);
      DeleteFileW(temporary_.c_str());
    }
    named_ = false;
  }

 private:
  // The old file's kept attributes, or a plain file's when there was none.
  DWORD newAttributes() const {
    return attributes_ != 0 ? attributes_ : static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL);
  }

  void closeHandle() {
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
    file_ = INVALID_HANDLE_VALUE;
  }

  void drawTemporaryName() {
    static const wchar_t kHex[] = L"0123456789abcdef";
    unsigned char random[4] = {};
    if (!randomBytes(random, sizeof random)) {
      const DWORD process = GetCurrentProcessId();
      for (unsigned char& byte : random)
        byte = static_cast<unsigned char>(process * 131u + ++fallback_);
    }
    for (std::size_t i = 0; i < 8; ++i) {
      const unsigned byte = random[i / 2];
      temporary_[digits_ + i] = kHex[(i % 2 == 0 ? byte >> 4 : byte) & 0xFu];
    }
  }

  std::wstring target_;     // the file the name leads to
  std::wstring temporary_;  // a name beside the target
  std::size_t digits_ = 0;  // where the temporary's random digits start
  DWORD attributes_ = 0;    // the old file's kept attributes
  HANDLE file_ = INVALID_HANDLE_VALUE;
  bool named_ = false;  // the temporary is on disk
  unsigned fallback_ = 0;
};

}  // namespace

std::unique_ptr<WritableFile> newWin32WritableFile(const std::string& name) {
  return std::unique_ptr<WritableFile>(new Win32WritableFile(wideName(name)));
}

}  // namespace platform
}  // namespace Lumbrel
