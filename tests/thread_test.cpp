#include "lumbrel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <stdexcept>
#include <utility>

#include "WaitSupport.h"
#include "lumbrel/Event.h"
#include "lumbrel/Mutex.h"
#include "platform/Testing.h"
#include "platform/Thread.h"

using Lumbrel::Event;
using Lumbrel::Thread;

namespace {

constexpr unsigned long kForever = Event::WAIT_FOREVER;
void* const kAllOnes = reinterpret_cast<void*>(~std::uintptr_t{0});

// Signals an event when its scope is left, also by unwinding.
struct SignalOnExit {
  Event& event;
  ~SignalOnExit() { event.signal(); }
};

struct Probe;
using Body = std::function<void(Probe&)>;

// Runs `body` (by default: waits for `go`) and returns its argument.
struct Probe : Thread {
  explicit Probe(Body what = [](Probe& self) { self.go.wait(kForever); }) : body(std::move(what)) {}
  void* run(void* argument) override {
    SignalOnExit guard{left};
    ++runs;
    body(*this);
    finished = true;
    return argument;
  }
  const Body body;
  Event go{false};
  Event left{false};  // run was left, by returning or by unwinding
  std::atomic<int> runs{0};
  std::atomic<bool> finished{false};  // the body returned
};

// Whether abort unwinds the thread it ends, or ends it where it stands.
const bool kAbortUnwinds = Lumbrel::platform::cancellationUnwinds();

// The thread has ended, and run was left first (by returning or by unwinding)
// unless `leavesRun` is false.
bool ends(Probe& probe, bool leavesRun = true) {
  const unsigned long id = probe.getThreadId();
  return (!leavesRun || probe.left.wait(30) == 0) &&
         lumbrel_test::eventually([&] { return Lumbrel::platform::threadHasEnded(id); });
}

// Before start, join/abort/detach do nothing and a failed start may be retried;
// after it, join, detach and abort each release the thread, and then all four do nothing.
TEST(ThreadTest, EachCallFollowsTheStateTable) {
  enum class Path { join, detach, abort, detachFirst };
  for (Path path : {Path::join, Path::detach, Path::abort, Path::detachFirst}) {
    Probe probe;
    if (path == Path::detachFirst) probe.detach();
    EXPECT_EQ(probe.join(), nullptr);
    probe.abort();
    if (path == Path::detachFirst) probe.detach();
    Lumbrel::platform::failThreadCreation(true);
    EXPECT_FALSE(probe.start());
    Lumbrel::platform::failThreadCreation(false);
    int first = 0, second = 0;
    ASSERT_TRUE(probe.start(&first));
    EXPECT_TRUE(probe.start(&second));
    ASSERT_TRUE(lumbrel_test::becomesBlocked(probe.getThreadId()));
    if (path == Path::detach) probe.detach();
    if (path == Path::abort) probe.abort();
    if (path == Path::join) probe.go.signal();
    EXPECT_EQ(probe.join(), path == Path::join ? &first : nullptr);
    EXPECT_EQ(probe.join(), nullptr);
    probe.detach();
    probe.abort();
    EXPECT_TRUE(probe.start(&second));
    probe.go.signal();
    EXPECT_TRUE(ends(probe, path != Path::abort || kAbortUnwinds));
    // A detached thread runs on to its end; an aborted one unwinds or just ends.
    EXPECT_EQ(probe.finished.load(), path != Path::abort);
    EXPECT_EQ(probe.runs.load(), 1);
  }
}

// abort ends a blocked thread, which takes neither a signal nor the lock with it.
TEST(ThreadTest, AbortEndsBlockedThreads) {
  Event wakeUp;  // auto-reset
  Lumbrel::Mutex mutex;
  mutex.lock();
  const Body bodies[] = {[&](Probe&) { wakeUp.wait(kForever); },
                         [](Probe&) { Thread::sleep(3600 * 1000); },
                         [&](Probe&) { Lumbrel::MutexLock lock(mutex); }};
  for (const Body& body : bodies) {
    Probe probe(body);
    ASSERT_TRUE(probe.start());
    ASSERT_TRUE(lumbrel_test::becomesBlocked(probe.getThreadId()));
    probe.abort();
    EXPECT_TRUE(ends(probe, kAbortUnwinds));
    EXPECT_FALSE(probe.finished.load());
  }
  wakeUp.signal();
  EXPECT_EQ(wakeUp.wait(0), 0);
  mutex.unlock();
  EXPECT_NO_THROW(std::async(std::launch::async, [&] { Lumbrel::MutexLock lock(mutex); }).get());
}

// Own join gives up, own abort ends the thread; an escaping exception gives all ones.
TEST(ThreadTest, OwnJoinOwnAbortAndEscapingExceptionsEndTheRun) {
  void* ownJoin = kAllOnes;
  const std::pair<Body, void*> rows[] = {
      {[&](Probe& self) { ownJoin = self.join(); }, nullptr},
      {[](Probe& self) { self.abort(); }, nullptr},
      {[](Probe&) { throw std::runtime_error("out of run"); }, kAllOnes},
      {[](Probe&) { throw 42; }, kAllOnes}};
  for (const auto& row : rows) {
    Probe probe([&](Probe& self) { self.go.wait(kForever); row.first(self); });
    ASSERT_TRUE(probe.start());
    probe.go.signal();
    EXPECT_TRUE(ends(probe, &row != &rows[1] || kAbortUnwinds));
    EXPECT_EQ(probe.join(), row.second);
    EXPECT_EQ(probe.finished.load(), &row == &rows[0]);  // only the own join returns
  }
  EXPECT_EQ(ownJoin, nullptr);
}

TEST(ThreadTest, CopiesAreSecondRecordsOfOneThread) {
  Probe original;
  int argument = 0;
  ASSERT_TRUE(original.start(&argument));
  Thread copy(original);  // a record, not a second thread
  EXPECT_TRUE(copy.start(nullptr));  // started already: runs nothing
  original.go.signal();
  EXPECT_EQ(copy.join(), &argument);  // one record joins...
  EXPECT_EQ(original.runs.load(), 1);
  EXPECT_TRUE(ends(original));
  EXPECT_EQ(original.join(), nullptr);  // ...and the handle is gone for the other
}

TEST(ThreadTest, SleepCountsMilliseconds) {
  const auto start = std::chrono::steady_clock::now();
  Thread::sleep(300);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
}

}  // namespace
