// The tests' view of a Linux system: /proc, the environment and fork.
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>

#include "platform/Testing.h"

namespace Lumbrel {
namespace platform {

namespace {

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

int statusOf(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The kernel's line on a thread of this process; empty once it has ended.
std::string taskStatus(unsigned long id) {
  std::ifstream status("/proc/self/task/" + std::to_string(id) + "/stat");
  std::string line;
  std::getline(status, line);
  return line;
}

}  // namespace

bool threadIsBlocked(unsigned long id) {
  // The state follows the command name, which is in parentheses.
  const std::string line = taskStatus(id);
  const std::size_t close = line.rfind(')');
  return close != std::string::npos && close + 2 < line.size() && line[close + 2] == 'S';
}

bool threadHasEnded(unsigned long id) { return taskStatus(id).empty(); }

bool moduleIsLoaded(const std::string& path) {
  return readAll("/proc/self/maps").find(path) != std::string::npos;
}

SystemLibrary systemLibrary() { return SystemLibrary{"libm.so.6", "cos"}; }

bool sharingIsMandatory() { return false; }

bool argumentsAreBytes() { return true; }

void setTimeZone(const char* rules) {
  ::setenv("TZ", rules, 1);
  ::tzset();
}

std::string executableFile() {
  std::string path(4096, '\0');
  const ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size());
  if (n <= 0 || static_cast<std::size_t>(n) >= path.size()) return std::string();
  path.resize(static_cast<std::size_t>(n));
  return path;
}

// A folder opens for reading, and every read of it fails.
UnreadableFile::UnreadableFile(const std::string& folder) : path_(folder) {}

UnreadableFile::~UnreadableFile() = default;

int runInCopy(int (*body)(void* context), void* context) {
  const pid_t child = ::fork();
  if (child < 0) return -1;
  if (child == 0) ::_exit(body(context));
  return statusOf(child);
}

}  // namespace platform
}  // namespace Lumbrel
