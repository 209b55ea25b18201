// Random bytes on Linux: getrandom, falling back to /dev/urandom on kernels
// without it. Forks are counted by a pthread_atfork handler in the child.
#include <fcntl.h>
#include <pthread.h>
#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/Random.h"

namespace Lumbrel {
namespace platform {

namespace {

std::atomic<std::uint64_t> generation{0};

void onChild() { generation.fetch_add(1, std::memory_order_relaxed); }

bool readDevice(unsigned char* buffer, std::size_t size) {
  int fd;
  do {
    fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = read(fd, buffer + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  close(fd);
  return done == size;
}

}  // namespace

bool randomBytes(unsigned char* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = getrandom(buffer + done, size - done, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      if (errno == ENOSYS) return readDevice(buffer + done, size - done);
      return false;
    }
    done += static_cast<std::size_t>(got);
  }
  return true;
}

std::uint64_t processGeneration() {
  // Registered on first use, which is enough: a cache asks for its stamp
  // before it fills, so no filled cache predates the handler.
  static const bool registered = pthread_atfork(nullptr, nullptr, &onChild) == 0;
  if (!registered) {
    // Without the handler the process id still tells a child from its parent
    // (at the cost of a system call); the top bit keeps it apart from counts.
    return (std::uint64_t{1} << 63) | static_cast<std::uint64_t>(getpid());
  }
  return generation.load(std::memory_order_relaxed);
}

}  // namespace platform
}  // namespace Lumbrel
