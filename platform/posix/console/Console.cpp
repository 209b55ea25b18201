// The console on POSIX: arguments are bytes already, and streams carry bytes.
#include "platform/Console.h"

namespace Lumbrel {
namespace platform {

std::vector<std::string> commandLineArguments(int argc, char** argv) {
  return std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc);
}

void useBinaryStandardStreams() {}

}  // namespace platform
}  // namespace Lumbrel
