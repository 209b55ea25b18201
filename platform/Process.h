// Child processes, for the tests that run the library's own programs as a
// user would, and stop them wherever they stand. Built into the tests'
// platform part (testing/ of each platform's folder), not into the library.
#ifndef LUMBREL_PLATFORM_PROCESS_H
#define LUMBREL_PLATFORM_PROCESS_H

#include <string>
#include <vector>

namespace Lumbrel {
namespace platform {

struct ProcessObject;  // opaque; one per started process

// Where a program runs and what its standard streams are, by native paths:
// the input is read from a file, the output and errors go to files that are
// made or emptied. An empty field keeps the starter's.
struct ProcessSetup {
  std::string directory;
  std::string input;
  std::string output;
  std::string errors;
};

// Starts the program `arguments[0]` (a native path) with the rest as its
// arguments. Null when it cannot start.
ProcessObject* startProcess(const std::vector<std::string>& arguments,
                            const ProcessSetup& setup = ProcessSetup());
// Stops the process at once, with no chance to clean up.
void killProcess(ProcessObject* process);
// Waits for the process to end and frees the object: its exit status, or -1
// when it did not end by itself or never started.
int waitProcess(ProcessObject* process);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_PROCESS_H
