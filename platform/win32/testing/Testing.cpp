// The tests' view of a Windows system.
#include <stdlib.h>
#include <time.h>

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

int runInCopy(int (*)(void*), void*) { return kNoCopies; }

}  // namespace platform
}  // namespace Lumbrel
