// What the tests need to see of the system and the library never asks: the
// state of a thread, which modules are loaded, the time zone, the running
// program's file and copies of the process. (Other programs: Process.h.)
// Built into a library of its own that only the tests link; each platform's
// folder has its part in testing/, beside Timeval.h, which gives the tests
// the complete ::timeval.
#ifndef LUMBREL_PLATFORM_TESTING_H
#define LUMBREL_PLATFORM_TESTING_H

#include <string>

namespace Lumbrel {
namespace platform {

// True while the thread with the id `id` of this process is blocked in a
// wait: a sleep, or a wait of an event, a lock or a join. (On Windows it is
// defined beside the library's waits, which keep count of their threads.)
bool threadIsBlocked(unsigned long id);
// True once no thread with the id `id` runs in this process.
bool threadHasEnded(unsigned long id);

// True while the library at the native path `path` is loaded in this process.
bool moduleIsLoaded(const std::string& path);

// A library that every program of the platform can load by its bare name, and
// a function that it exports.
struct SystemLibrary {
  const char* name;
  const char* function;
};
SystemLibrary systemLibrary();

// True where a file that a program holds open for writing cannot be opened,
// removed or replaced by another (Windows' sharing modes); POSIX never
// refuses.
bool sharingIsMandatory();

// True where a program's arguments reach it as the bytes they were given
// (POSIX); on Windows they pass as UTF-16 text, so bytes that are no UTF-8
// cannot reach a program as they are.
bool argumentsAreBytes();

// Sets the time-zone rules of the environment (TZ), for the next conversion.
void setTimeZone(const char* rules);

// The native path of the running program's file; empty on failure.
std::string executableFile();

// A native path that opens for reading but cannot be read as a file, for as
// long as the object lives: `folder` itself where a folder opens as a file
// (POSIX), else a pipe that this object serves (Windows).
class UnreadableFile {
 public:
  explicit UnreadableFile(const std::string& folder);
  ~UnreadableFile();
  UnreadableFile(const UnreadableFile&) = delete;
  UnreadableFile& operator=(const UnreadableFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  [[maybe_unused]] void* hold_ = nullptr;  // what keeps the reads failing, where needed
};

// What runInCopy gives where the platform cannot copy a running process.
constexpr int kNoCopies = -1000;
// Runs body(context) in a copy of this process (fork), which ends with the
// body's result as its exit status; that status, -1 when the copy ends
// otherwise, or kNoCopies.
int runInCopy(int (*body)(void* context), void* context);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_TESTING_H
