#include "lumbrel/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "WaitSupport.h"
#include "lumbrel/Thread.h"
#include "platform/Event.h"

using Lumbrel::Event;
using lumbrel_test::settlesAt;

namespace {

constexpr unsigned long kForever = Event::WAIT_FOREVER;

// Threads that each wait once and count their releases; all are blocked once constructed.
struct Waiters {
  Waiters(Event& event, int count) {
    for (int i = 0; i < count; ++i) {
      std::atomic<unsigned long> tid{0};
      threads.emplace_back([&] {
        tid = Lumbrel::Thread::getCurrentThreadId();
        event.wait(kForever);
        ++released;
      });
      while (tid.load() == 0) std::this_thread::yield();
      EXPECT_TRUE(lumbrel_test::becomesBlocked(tid.load()));
    }
  }
  ~Waiters() { for (auto& thread : threads) thread.join(); }
  std::atomic<int> released{0};
  std::vector<std::thread> threads;
};

// Signals do not add up; a wait or test takes an auto-reset one, and reset clears either kind.
TEST(EventTest, SignalsDoNotAddUpAndAutoResetOnesAreTakenOnce) {
  for (bool autoReset : {true, false}) {
    Event event = autoReset ? Event() : Event(false);  // auto-reset is the default kind
    EXPECT_EQ(event.wait(0), 1);
    event.signal();
    event.signal();
    EXPECT_TRUE(event.test());
    EXPECT_EQ(event.test(), !autoReset);
    event.signal();
    EXPECT_EQ(event.wait(0), 0);
    EXPECT_EQ(event.wait(0), autoReset ? 1 : 0);
    event.signal();
    event.reset();
    // Seconds formed as 32-bit milliseconds: 4294968 s wraps to 704 ms.
    EXPECT_EQ(event.wait(4294968), 1);
  }
}

// Auto-reset releases one waiter per signal, manual-reset all blocked ones even if reset
// follows; a copy shares the event.
TEST(EventTest, SignalReleasesOneWaiterOrAll) {
  for (bool autoReset : {true, false}) {
    Event event(autoReset);
    Waiters waiters(event, 3);
    Event(event).signal();  // through a copy that goes at once
    event.reset();
    EXPECT_TRUE(settlesAt(waiters.released, autoReset ? 1 : 3));
    event.signal();
    event.signal();
    EXPECT_TRUE(settlesAt(waiters.released, 3));
    EXPECT_EQ(event.wait(0), autoReset ? 1 : 0);  // every auto-reset signal went to a waiter
  }
}

// The waiter destroys the event as its wait returns, maybe while signal() still runs.
TEST(EventTest, WaiterMayDestroyTheEventOnceReleased) {
  for (bool autoReset : {true, false}) {
    for (int i = 0; i < 100; ++i) {
      auto event = std::make_unique<Event>(autoReset);
      std::thread signaller([target = event.get()] { target->signal(); });
      EXPECT_EQ(event->wait(kForever), 0);
      event.reset();
      signaller.join();
    }
  }
}

TEST(EventTest, CopiesShareTheEventAndOneWithoutAnEventNeverBlocks) {
  Event a(false), b;
  Event& alsoA = a;
  a = alsoA;  // assignment to itself keeps the event
  Event formerA(a);
  a = b;  // lets go of the manual-reset event and takes b's
  a.signal();
  EXPECT_FALSE(formerA.test());
  EXPECT_TRUE(b.test());

  Lumbrel::platform::failEventCreation(true);
  Event none;
  Lumbrel::platform::failEventCreation(false);
  none.signal();
  none.reset();
  EXPECT_EQ(none.wait(0), -1);
  EXPECT_EQ(none.wait(kForever), 0);
  EXPECT_TRUE(none.test());
  Event copy(none);  // copying and assigning it are safe
  copy = Event();
}

}  // namespace
