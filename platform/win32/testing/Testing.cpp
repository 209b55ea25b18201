// The tests' view of a Windows system.
#include <stdlib.h>
#include <time.h>

#include <vector>

#include "platform/Testing.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

namespace {

// One argument as the C runtime's parser reads it back: quoted when it is
// empty or holds a blank or a quote, a quote escaped, and the backslashes in
// front of a quote (or of the closing one) doubled.
void appendArgument(std::wstring& line, const std::wstring& argument) {
  if (!line.empty()) line += L' ';
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    line += argument;
    return;
  }
  line += L'"';
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'\\') {
      ++backslashes;
      continue;
    }
    line.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
    backslashes = 0;
    line += c;
  }
  line.append(2 * backslashes, L'\\');
  line += L'"';
}

// A handle that the child inherits, on the file `path`.
HANDLE inheritable(const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
  return CreateFileW(wideName(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     &attributes, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

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

bool textModeTranslatesLineEnds() { return true; }

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

int runProgram(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& directory, const std::string& input, const std::string& output,
               const std::string& errors) {
  std::wstring line;
  appendArgument(line, wideName(program));
  for (const std::string& argument : arguments) appendArgument(line, wideName(argument));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inheritable(input, GENERIC_READ, OPEN_EXISTING);
  startup.hStdOutput = inheritable(output, GENERIC_WRITE, CREATE_ALWAYS);
  startup.hStdError = inheritable(errors, GENERIC_WRITE, CREATE_ALWAYS);
  PROCESS_INFORMATION process{};
  const bool started =
      startup.hStdInput != INVALID_HANDLE_VALUE && startup.hStdOutput != INVALID_HANDLE_VALUE &&
      startup.hStdError != INVALID_HANDLE_VALUE &&
      CreateProcessW(wideName(program).c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                     wideName(directory).c_str(), &startup, &process);
  for (HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError}) {
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
  if (!started) return -1;
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD status = 0;
  const bool known = GetExitCodeProcess(process.hProcess, &status) != 0;
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return known ? static_cast<int>(status) : -1;
}

int runInCopy(int (*)(void*), void*) { return kNoCopies; }

}  // namespace platform
}  // namespace Lumbrel
