// The command line of `lumbrel`: which command, its operands and options, the
// usage and help texts, and how a native file argument becomes a file name of
// the library. Nothing here touches a file.
#ifndef LUMBREL_TOOLS_ARGUMENTS_H
#define LUMBREL_TOOLS_ARGUMENTS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace lumbrel_tool {

// Exit statuses of the tool.
constexpr int kStatusOk = 0;
constexpr int kStatusNotFound = 1;  // a key or section is absent
constexpr int kStatusUsage = 2;      // the command line is wrong
constexpr int kStatusFailure = 3;    // a file could not be read or written

struct Invocation {
  bool help = false;     // show the help of `command` (the tool's when empty)
  bool version = false;  // show the version
  std::string command;   // tour, data, ini, props, uuid, date or host
  std::string verb;      // list, get, ... for data, ini and props
  std::vector<std::string> operands;
  bool escapedKey = false;  // data -e: KEY is written as in a dump
  bool force = false;       // ini/props --force: rewrite a file that is not settings
  unsigned long count = 1;  // uuid -n
};

// A wrong command line: the message says what is wrong, `usage` holds the
// usage line(s) of the command concerned.
class UsageError : public std::runtime_error {
 public:
  UsageError(const std::string& message, std::string usageText)
      : std::runtime_error(message), usage(std::move(usageText)) {}
  std::string usage;
};

// Parses the arguments behind the program name. Options stand before the
// operands (`--` ends them, so that a VALUE may begin with `-`); --help is
// recognised anywhere before `--`. Raises UsageError.
Invocation parseArguments(const std::vector<std::string>& arguments);

// "usage: lumbrel ..." lines of a command's verb, of every verb of a command
// when `verb` is empty, or of the tool when `command` is empty or unknown.
std::string usageText(const std::string& command, const std::string& verb = "");
// The full help of a command, or of the tool when `command` is empty.
std::string helpText(const std::string& command);
// The commands, in the order the help lists them.
std::vector<std::string> commandNames();

// The library's name for a native path given on the command line: relative
// paths are taken from `workingDirectory` (the library itself would anchor
// them at the executable). Where the working directory is a POSIX path, the
// absolute path is written as `Z:` and the path with backslashes, and a path
// (working directory included) holding a backslash, which the library would
// read as a separator, raises UsageError; a Windows path is its own name, with
// backslashes. An empty path raises UsageError.
std::string libraryFileName(const std::string& workingDirectory, const std::string& native);

}  // namespace lumbrel_tool

#endif  // LUMBREL_TOOLS_ARGUMENTS_H
