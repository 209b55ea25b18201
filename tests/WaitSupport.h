// Helpers for tests that need another thread to be blocked in a wait before
// they go on.
#ifndef LUMBREL_TESTS_WAIT_SUPPORT_H
#define LUMBREL_TESTS_WAIT_SUPPORT_H

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "platform/Testing.h"

namespace lumbrel_test {

// True once `condition` holds; false if it does not within ten seconds.
inline bool eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(5)))
    if (condition()) return true;
  return condition();
}

// True once the thread with the id `id` of this process is seen blocked in a
// wait twice in a row; false after ten seconds.
inline bool becomesBlocked(unsigned long id) {
  int blocked = 0;
  return eventually([&] {
    blocked = Lumbrel::platform::threadIsBlocked(id) ? blocked + 1 : 0;
    return blocked >= 2;
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
