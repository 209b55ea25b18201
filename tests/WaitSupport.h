// Helpers for tests that need another thread to be blocked in a wait before
// they go on.
#ifndef LUMBREL_TESTS_WAIT_SUPPORT_H
#define LUMBREL_TESTS_WAIT_SUPPORT_H

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

namespace lumbrel_test {

// True once `condition` holds; false if it does not within ten seconds.
inline bool eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return condition();
}

// True once the thread with kernel id `tid` of this process is seen asleep
// twice in a row, as a thread blocked in a wait is; false after ten seconds.
inline bool becomesBlocked(unsigned long tid) {
  const std::string path = "/proc/self/task/" + std::to_string(tid) + "/stat";
  int asleep = 0;
  return eventually([&] {
    std::ifstream stat(path);
    std::string line;
    std::getline(stat, line);
    // The state follows the command name, which is in parentheses.
    const std::size_t close = line.rfind(')');
    const bool sleeping = close != std::string::npos && close + 2 < line.size() &&
                          line[close + 2] == 'S';
    asleep = sleeping ? asleep + 1 : 0;
    return asleep >= 2;
  });
}

// Waits until `count` reaches `expected`, then checks that it stays there for
// a while, so that a surplus increment would be seen.
inline bool settlesAt(const std::atomic<int>& count, int expected) {
  if (!eventually([&] { return count.load() >= expected; })) return false;
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return count.load() == expected;
}

}  // namespace lumbrel_test

#endif  // LUMBREL_TESTS_WAIT_SUPPORT_H
