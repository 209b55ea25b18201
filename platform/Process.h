// Child processes, for the tests that run the library's own programs as a
// user would, and stop them wherever they stand.
#ifndef LUMBREL_PLATFORM_PROCESS_H
#define LUMBREL_PLATFORM_PROCESS_H

#include <string>
#include <vector>

namespace Lumbrel {
namespace platform {

struct ProcessObject;  // opaque; one per started process

// Starts the program `arguments[0]` (a native path) with the rest as its
// arguments; it inherits the standard streams and the working directory.
// Null when it cannot start.
ProcessObject* startProcess(const std::vector<std::string>& arguments);
// Stops the process at once, with no chance to clean up.
void killProcess(ProcessObject* process);
// Waits for the process to end and frees the object: its exit status, or -1
// when it did not end by itself.
int waitProcess(ProcessObject* process);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_PROCESS_H
