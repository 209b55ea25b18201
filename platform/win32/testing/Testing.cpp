// The tests' view of a Windows system.
#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

#include "platform/Testing.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

bool threadHasEnded(unsigned long id) {
  HANDLE thread = OpenThread(SYNCHRONIZE, FALSE, id);
  if (thread == nullptr) return true;
  const bool ended = WaitForSingleObject(thread, 0) == WAIT_OBJECT_0;
  CloseHandle(thread);
  return ended;
}

bool moduleIsLoaded(const std::string& path) {
  return GetModuleHandleW(wideName(path).c_str()) != nullptr;
}

SystemLibrary systemLibrary() { return SystemLibrary{"kernel32.dll", "GetTickCount"}; }

bool sharingIsMandatory() { return true; }

bool argumentsAreBytes() { return false; }

void setTimeZone(const char* rules) {
  _putenv_s("TZ", rules);
  _tzset();
}

std::string executableFile() {
  std::vector<wchar_t> buffer(32768);
  const DWORD size = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  if (size == 0 || size >= buffer.size()) return std::string();
  return make_string(libraryText(buffer.data(), size));
}

// A pipe opens like a file, but has no end to seek to, so a store cannot read
// it as a whole file. Each opening takes one instance of the pipe.
UnreadableFile::UnreadableFile(const std::string&) {
  static long made = 0;
  path_ = "\\\\.\\pipe\\lumbrel-unreadable-" + std::to_string(GetCurrentProcessId()) + "-" +
          std::to_string(++made);
  auto* instances = new std::vector<HANDLE>;
  for (int i = 0; i < 8; ++i) {
    HANDLE pipe = CreateNamedPipeW(wideName(path_).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                   PIPE_UNLIMITED_INSTANCES, 512, 512, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) instances->push_back(pipe);
  }
  hold_ = instances;
}

UnreadableFile::~UnreadableFile() {
  auto* instances = static_cast<std::vector<HANDLE>*>(hold_);
  for (HANDLE pipe : *instances) CloseHandle(pipe);
  delete instances;
}

int runInCopy(int (*)(void*), void*) { return kNoCopies; }

}  // namespace platform
}  // namespace Lumbrel
