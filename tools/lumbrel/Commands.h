// The commands of `lumbrel`, each given a parsed command line and returning
// the exit status. Library failures leave them as exceptions; main reports
// those. Every argument is checked before the first file is touched.
#ifndef LUMBREL_TOOLS_COMMANDS_H
#define LUMBREL_TOOLS_COMMANDS_H

#include <string>

#include "Arguments.h"
#include "Dump.h"

namespace lumbrel_tool {

int runTour(const Invocation& invocation);
int runData(const Invocation& invocation);
int runIni(const Invocation& invocation);
int runProps(const Invocation& invocation);
int runUuid(const Invocation& invocation);
int runDate(const Invocation& invocation);
int runHost(const Invocation& invocation);

// A command's own failure that is not the library's, such as an input that
// cannot be read: reported as "lumbrel: " + message with kStatusFailure.
class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The library's name of a native path argument, from the working directory.
std::string fileNameOf(const std::string& native);
// The bytes of a native file, or of standard input for "-".
Bytes readInput(const std::string& native);

}  // namespace lumbrel_tool

#endif  // LUMBREL_TOOLS_COMMANDS_H
