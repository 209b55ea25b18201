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

// Runs `body` (by default: waits for `go`) and returns its argument.
struct Probe : Thread {
  using Body = std::function<void(Probe&)>;
  explicit Probe(Body what = [](Probe& self) { self.go.wait(kForever); }) : body(std::move(what)) {}
  void* run(void* argument) override {
    struct SignalOnExit {  // also when run is left by unwinding
      Event& event;
      ~SignalOnExit() { event.signal(); }
    } guard{left};
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
using Body = Probe::Body;

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
// after it, join, detach and abort each release the thread, and then all four do
// nothing. A copy is a second record of the one thread: whichever record gives
// the handle up, calls through the other find it gone.
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
    Thread copy(probe);
    EXPECT_TRUE(copy.start(&second));  // started already: makes no second thread
    EXPECT_EQ(copy.getThreadId(), probe.getThreadId());
    if (path == Path::detach) probe.detach();
    if (path == Path::abort) probe.abort();
    if (path == Path::join) probe.go.signal();
    EXPECT_EQ(copy.join(), path == Path::join ? &first : nullptr);
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

// A run ends when abort reaches it blocked, taking neither a signal nor the lock with it;
// by its own join, which gives up, or its own abort; or by an exception, giving all ones.
TEST(ThreadTest, RunsEndByAbortOwnCallsOrEscapingExceptions) {
  Event wakeUp;  // auto-reset
  Lumbrel::Mutex mutex;
  mutex.lock();
  void* ownJoin = kAllOnes;
  enum End { aborted, returns, abortsItself, throws };
  const std::pair<Body, End> rows[] = {
      {[&](Probe&) { wakeUp.wait(kForever); }, aborted},
      {[](Probe&) { Thread::sleep(3600 * 1000); }, aborted},
      {[&](Probe&) { Lumbrel::MutexLock lock(mutex); }, aborted},
      {[&](Probe& self) { self.go.wait(kForever); ownJoin = self.join(); }, returns},
      {[](Probe& self) { self.go.wait(kForever); self.abort(); }, abortsItself},
      {[](Probe&) { throw std::runtime_error("out of run"); }, throws},
      {[](Probe&) { throw 42; }, throws}};
  for (const auto& [body, end] : rows) {
    Probe probe(body);
    ASSERT_TRUE(probe.start());
    ASSERT_TRUE(end != aborted || lumbrel_test::becomesBlocked(probe.getThreadId()));
    end == aborted ? probe.abort() : probe.go.signal();
    EXPECT_TRUE(ends(probe, end == returns || end == throws || kAbortUnwinds));
    EXPECT_EQ(probe.join(), end == throws ? kAllOnes : nullptr);
    EXPECT_EQ(probe.finished.load(), end == returns);  // only the own join lets the body return
  }
  EXPECT_EQ(ownJoin, nullptr);
  wakeUp.signal();
  EXPECT_EQ(wakeUp.wait(0), 0);
  mutex.unlock();
  EXPECT_NO_THROW(std::async(std::launch::async, [&] { Lumbrel::MutexLock lock(mutex); }).get());
}

TEST(ThreadTest, SleepCountsMilliseconds) {
  const auto start = std::chrono::steady_clock::now();
  Thread::sleep(300);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
}

}  // namespace
