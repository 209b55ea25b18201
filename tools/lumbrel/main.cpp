// lumbrel: a tour of lumbrelcommon, and a tool to inspect and edit the files
// of its three stores. See `lumbrel --help`.
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "platform/Console.h"

#ifndef LUMBREL_VERSION
#define LUMBREL_VERSION "unknown"
#endif

namespace {

int run(const lumbrel_tool::Invocation& invocation) {
  using namespace lumbrel_tool;
  const std::string& command = invocation.command;
  if (command == "tour") return runTour(invocation);
  if (command == "data") return runData(invocation);
  if (command == "ini") return runIni(invocation);
  if (command == "props") return runProps(invocation);
  if (command == "uuid") return runUuid(invocation);
  if (command == "date") return runDate(invocation);
  return runHost(invocation);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace lumbrel_tool;
  // Data and dumps pass through the standard streams byte for byte.
  Lumbrel::platform::useBinaryStandardStreams();
  const std::vector<std::string> arguments = Lumbrel::platform::commandLineArguments(argc, argv);
  int status = kStatusOk;
  try {
    const Invocation invocation = parseArguments(arguments);
    if (invocation.version) {
      std::cout << "lumbrel " LUMBREL_VERSION "\n";
    } else if (invocation.help) {
      std::cout << helpText(invocation.command);
    } else {
      status = run(invocation);
    }
  } catch (const UsageError& error) {
    std::cerr << "lumbrel: " << error.what() << '\n' << error.usage;
    status = kStatusUsage;
  } catch (const std::bad_alloc&) {
    std::cerr << "lumbrel: out of memory\n";
    status = kStatusFailure;
  } catch (const std::exception& error) {
    // The library's own message, or the tool's for an input it cannot read.
    std::cerr << "lumbrel: " << error.what() << '\n';
    status = kStatusFailure;
  }
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "lumbrel: cannot write to standard output\n";
    if (status == kStatusOk) status = kStatusFailure;
  }
  return status;
}
