#include "lumbrel/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "WaitSupport.h"
#include "lumbrel/Thread.h"
#include "platform/Event.h"

using Lumbrel::Event;
using lumbrel_test::becomesBlocked;
using lumbrel_test::settlesAt;

namespace {

constexpr unsigned long kForever = Event::WAIT_FOREVER;

// Threads that each wait once on an event without limit and count their
// releases. The constructor returns once every one of them is blocked.
class Waiters {
 public:
  Waiters(Event& event, int count) {
    for (int i = 0; i < count; ++i) {
      auto tid = std::make_shared<std::atomic<unsigned long>>(0);
      threads_.emplace_back([this, &event, tid] {
        tid->store(Lumbrel::Thread::getCurrentThreadId());
        results_ += static_cast<int>(event.wait(kForever));
        ++released_;
      });
      while (tid->load() == 0) std::this_thread::yield();
      EXPECT_TRUE(becomesBlocked(tid->load()));
    }
  }
  ~Waiters() {
    for (auto& thread : threads_) thread.join();
  }
  const std::atomic<int>& released() const { return released_; }
  int resultSum() const { return results_.load(); }

 private:
  std::vector<std::thread> threads_;
  std::atomic<int> released_{0};
  std::atomic<int> results_{0};
};

TEST(EventTest, AutoResetSignalIsUsedUpByOneWaitOrTest) {
  Event event;  // auto-reset by default
  EXPECT_FALSE(event.test());
  EXPECT_EQ(event.wait(0), 1);

  event.signal();
  EXPECT_EQ(event.wait(0), 0);
  EXPECT_EQ(event.wait(0), 1);

  event.signal();
  EXPECT_TRUE(event.test());
  EXPECT_FALSE(event.test());

  // Signals do not add up.
  event.signal();
  event.signal();
  EXPECT_EQ(event.wait(0), 0);
  EXPECT_EQ(event.wait(0), 1);

  event.signal();
  event.reset();
  EXPECT_EQ(event.wait(0), 1);
}

TEST(EventTest, ManualResetStaysSignalledUntilReset) {
  Event event(false);
  EXPECT_FALSE(event.test());
  event.signal();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(event.wait(0), 0);
    EXPECT_TRUE(event.test());
  }
  EXPECT_EQ(event.wait(kForever), 0);
  event.reset();
  EXPECT_EQ(event.wait(0), 1);
  EXPECT_FALSE(event.test());
}

TEST(EventTest, LimitedWaitRunsOutInSeconds) {
  Event event(false);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(event.wait(1), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(950));
  EXPECT_FALSE(event.test());  // a wait that ran out changes nothing
  // The limit is formed in 32 bits: 4294968 s is 4294968000 ms, which wraps
  // to 704 ms, not to seven weeks.
  EXPECT_EQ(event.wait(4294968), 1);
}

TEST(EventTest, AutoResetReleasesOneWaiterPerSignal) {
  Event event;
  Waiters waiters(event, 3);
  event.signal();
  EXPECT_TRUE(settlesAt(waiters.released(), 1));
  // Two signals in a row reach two of the blocked waiters, not one.
  event.signal();
  event.signal();
  EXPECT_TRUE(settlesAt(waiters.released(), 3));
  EXPECT_EQ(event.wait(0), 1);  // every signal went to a waiter
}

TEST(EventTest, ManualResetReleasesEveryWaiter) {
  Event event(false);
  {
    Waiters waiters(event, 3);
    event.signal();
    EXPECT_TRUE(settlesAt(waiters.released(), 3));
    EXPECT_EQ(waiters.resultSum(), 0);
  }
  EXPECT_TRUE(event.test());
  event.reset();
  // A reset right after the signal does not hold back the threads that were
  // blocked when it came.
  Waiters waiters(event, 2);
  event.signal();
  event.reset();
  EXPECT_TRUE(settlesAt(waiters.released(), 2));
  EXPECT_FALSE(event.test());
}

TEST(EventTest, CopiesAndAssignmentShareOneEvent) {
  Event source;
  std::atomic<long> result{-2};
  std::thread waiter([&] { result = source.wait(kForever); });
  {
    Event copy(source);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(result.load(), -2);  // still waiting
    copy.signal();
    waiter.join();
  }
  EXPECT_EQ(result.load(), 0);
  // Usable after the copy is gone, and still auto-reset.
  source.signal();
  EXPECT_EQ(source.wait(0), 0);
  EXPECT_EQ(source.wait(0), 1);

  Event a(false);
  Event b;
  Event& alsoA = a;
  a = alsoA;  // assignment to itself changes nothing
  a.signal();
  a = alsoA;
  EXPECT_TRUE(a.test());
  Event formerA(a);
  a = b;  // a lets go of its manual-reset event and takes b's
  formerA.reset();
  a.signal();
  EXPECT_FALSE(formerA.test());
  EXPECT_TRUE(b.test());
  EXPECT_FALSE(a.test());  // b's test used up the auto-reset signal
}

TEST(EventTest, ObjectWithoutEvent) {
  Lumbrel::platform::failEventCreation(true);
  Event none;
  Lumbrel::platform::failEventCreation(false);
  none.signal();
  none.reset();
  EXPECT_EQ(none.wait(0), -1);
  EXPECT_EQ(none.wait(5), -1);  // at once: there is nothing to wait for
  EXPECT_EQ(none.wait(kForever), 0);
  EXPECT_TRUE(none.test());
  Event copy(none);
  EXPECT_EQ(copy.wait(1), -1);
  Event working;
  copy = working;
  EXPECT_EQ(copy.wait(0), 1);
  working = none;
  EXPECT_TRUE(working.test());
}

}  // namespace
