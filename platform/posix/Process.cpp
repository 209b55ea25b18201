// Child processes on POSIX systems: posix_spawn, SIGKILL, waitpid.
#include "platform/Process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>

extern char** environ;

namespace Lumbrel {
namespace platform {

struct ProcessObject {
  pid_t pid;
};

ProcessObject* startProcess(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return nullptr;
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return nullptr;
  return new ProcessObject{pid};
}

void killProcess(ProcessObject* process) {
  if (process != nullptr) ::kill(process->pid, SIGKILL);
}

int waitProcess(ProcessObject* process) {
  if (process == nullptr) return -1;
  int status = 0;
  pid_t result;
  do {
    result = ::waitpid(process->pid, &status, 0);
  } while (result < 0 && errno == EINTR);
  delete process;
  if (result < 0 || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace platform
}  // namespace Lumbrel
