// The console on Windows: the C runtime hands `main` its arguments in the
// ANSI code page, so they are read again as UTF-16 from the command line; and
// its standard streams translate line ends unless switched to binary.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>

#include "lumbrel/Text.h"
#include "platform/Console.h"

namespace Lumbrel {
namespace platform {

std::vector<std::string> commandLineArguments(int argc, char** argv) {
  int count = 0;
  LPWSTR* wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    wstring units;
    for (const wchar_t* unit = wide[i]; *unit != L'\0'; ++unit)
      units += static_cast<unsigned short>(*unit);
    arguments.push_back(make_string(units));
  }
  LocalFree(wide);
  return arguments;
}

void useBinaryStandardStreams() {
  for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
}

}  // namespace platform
}  // namespace Lumbrel
