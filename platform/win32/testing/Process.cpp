// Child processes on Windows: CreateProcessW with inherited handles,
// TerminateProcess, and the exit code.
#include "platform/Process.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

struct ProcessObject {
  HANDLE process;
  bool terminated;
};

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

// A handle for a standard stream of the child: inheritable, on the file
// `path`, or a copy of the starter's own stream when `path` is empty.
HANDLE streamHandle(const std::string& path, DWORD own, bool input) {
  if (path.empty()) {
    HANDLE copy = nullptr;
    HANDLE process = GetCurrentProcess();
    if (!DuplicateHandle(process, GetStdHandle(own), process, &copy, 0, TRUE,
                         DUPLICATE_SAME_ACCESS))
      return INVALID_HANDLE_VALUE;
    return copy;
  }
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
  return CreateFileW(wideName(path).c_str(), input ? GENERIC_READ : GENERIC_WRITE,
                     FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                     input ? OPEN_EXISTING : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

ProcessObject* startProcess(const std::vector<std::string>& arguments,
                            const ProcessSetup& setup) {
  if (arguments.empty()) return nullptr;
  std::wstring line;
  for (const std::string& argument : arguments) appendArgument(line, wideName(argument));
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = streamHandle(setup.input, STD_INPUT_HANDLE, true);
  startup.hStdOutput = streamHandle(setup.output, STD_OUTPUT_HANDLE, false);
  startup.hStdError = streamHandle(setup.errors, STD_ERROR_HANDLE, false);
  const std::wstring directory = wideName(setup.directory);
  PROCESS_INFORMATION started{};
  const bool made =
      startup.hStdInput != INVALID_HANDLE_VALUE && startup.hStdOutput != INVALID_HANDLE_VALUE &&
      startup.hStdError != INVALID_HANDLE_VALUE &&
      CreateProcessW(wideName(arguments[0]).c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                     nullptr, directory.empty() ? nullptr : directory.c_str(), &startup,
                     &started);
  for (HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError}) {
    if (handle != INVALID_HANDLE_VALUE && handle != nullptr) CloseHandle(handle);
  }
  if (!made) return nullptr;
  CloseHandle(started.hThread);
  return new ProcessObject{started.hProcess, false};
}

void killProcess(ProcessObject* process) {
  // Fails, and changes nothing, for a process that has ended by itself.
  if (process != nullptr && TerminateProcess(process->process, 1)) process->terminated = true;
}

int waitProcess(ProcessObject* process) {
  if (process == nullptr) return -1;
  WaitForSingleObject(process->process, INFINITE);
  DWORD status = 0;
  const bool known = GetExitCodeProcess(process->process, &status) != 0;
  const bool terminated = process->terminated;
  CloseHandle(process->process);
  delete process;
  return known && !terminated ? static_cast<int>(status) : -1;
}

}  // namespace platform
}  // namespace Lumbrel
