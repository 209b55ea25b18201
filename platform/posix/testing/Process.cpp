// Child processes on POSIX systems: posix_spawn, SIGKILL, waitpid.
#include "platform/Process.h"

#include <fcntl.h>
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

namespace {

// Undoes posix_spawn_file_actions_init at the end of a scope.
class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

ProcessObject* startProcess(const std::vector<std::string>& arguments,
                            const ProcessSetup& setup) {
  if (arguments.empty()) return nullptr;
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  // The files are opened before the change of folder: relative names are
  // the starter's.
  FileActions actions;
  const auto redirect = [&](const std::string& path, int fd, int flags) {
    return path.empty() ||
           posix_spawn_file_actions_addopen(actions.get(), fd, path.c_str(), flags, 0644) == 0;
  };
  if (!redirect(setup.input, 0, O_RDONLY) ||
      !redirect(setup.output, 1, O_WRONLY | O_CREAT | O_TRUNC) ||
      !redirect(setup.errors, 2, O_WRONLY | O_CREAT | O_TRUNC)) {
    return nullptr;
  }
  if (!setup.directory.empty() &&
      posix_spawn_file_actions_addchdir_np(actions.get(), setup.directory.c_str()) != 0)
    return nullptr;
  pid_t pid = 0;
  if (::posix_spawn(&pid, argv[0], actions.get(), nullptr, argv.data(), environ) != 0)
    return nullptr;
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
