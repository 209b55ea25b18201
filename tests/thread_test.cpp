#include "lumbrel/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

#include "WaitSupport.h"
#include "lumbrel/Mutex.h"
#include "lumbrel/Event.h"
#include "platform/Thread.h"

using Lumbrel::Event;
using Lumbrel::Thread;
using lumbrel_test::becomesBlocked;
using lumbrel_test::eventually;

namespace {

constexpr unsigned long kForever = Event::WAIT_FOREVER;
void* const kAllOnes = reinterpret_cast<void*>(~std::uintptr_t{0});

bool taskExists(unsigned long tid) {
  return std::ifstream("/proc/self/task/" + std::to_string(tid) + "/stat").good();
}

// The thread `tid` has ended, so nothing of it touches the test's objects.
bool ends(unsigned long tid) {
  return eventually([tid] { return !taskExists(tid); });
}

// Signals an event when its scope is left, also by unwinding.
struct SignalOnExit {
  Event& event;
  ~SignalOnExit() { event.signal(); }
};

// Waits for `go`, then returns its argument.
class Worker : public Thread {
 public:
  Event go{false};
  Event done{false};
  std::atomic<int> runs{0};
  std::atomic<unsigned long> idInRun{0};

 protected:
  void* run(void* argument) override {
    idInRun = getCurrentThreadId();
    ++runs;
    go.wait(kForever);
    done.signal();
    return argument;
  }
};

// Blocks in a wait that only abort ends.
class Blocked : public Thread {
 public:
  enum class In { eventWait, sleep, ownAbort, ownJoin };
  explicit Blocked(In where) : where_(where) {}
  Event wakeUp;  // auto-reset
  Event unwound{false};
  std::atomic<bool> carriedOn{false};
  std::atomic<void*> ownJoin{kAllOnes};

 protected:
  void* run(void*) override {
    SignalOnExit guard{unwound};
    switch (where_) {
      case In::eventWait:
        wakeUp.wait(kForever);
        break;
      case In::sleep:
        sleep(3600 * 1000);
        break;
      case In::ownAbort:
        wakeUp.wait(kForever);  // until start has returned and set the flags
        abort();
        break;
      case In::ownJoin:
        wakeUp.wait(kForever);
        ownJoin = join();
        break;
    }
    carriedOn = true;
    return nullptr;
  }

 private:
  In where_;
};

class Thrower : public Thread {
 public:
  explicit Thrower(bool standard) : standard_(standard) {}

 protected:
  void* run(void*) override {
    if (standard_) throw std::runtime_error("out of run");
    throw 42;
  }

 private:
  bool standard_;
};

TEST(ThreadTest, FreshObjectDoesNothingButStart) {
  Worker worker;
  EXPECT_EQ(worker.join(), nullptr);
  worker.abort();
  Lumbrel::platform::failThreadCreation(true);
  EXPECT_FALSE(worker.start(nullptr));
  Lumbrel::platform::failThreadCreation(false);
  EXPECT_EQ(worker.runs.load(), 0);

  // Still Fresh after all that: the thread is made and joinable.
  int value = 0;
  EXPECT_TRUE(worker.start(&value));
  worker.go.signal();
  EXPECT_EQ(worker.join(), &value);
  EXPECT_EQ(worker.runs.load(), 1);

  Thread plain;  // run's default
  EXPECT_TRUE(plain.start());
  EXPECT_EQ(plain.join(), nullptr);
}

TEST(ThreadTest, JoinableThreadJoinsOnce) {
  Worker worker;
  int first = 1;
  int second = 2;
  ASSERT_TRUE(worker.start(&first));
  // start returned with the id in place: the thread is blocked on `go`.
  EXPECT_TRUE(taskExists(worker.getThreadId()));
  EXPECT_NE(worker.getThreadId(), Thread::getCurrentThreadId());
  EXPECT_TRUE(worker.start(&second));  // nothing more is made
  worker.stop();                       // the default has no effect
  ASSERT_TRUE(eventually([&] { return worker.runs.load() == 1; }));
  EXPECT_EQ(worker.idInRun.load(), worker.getThreadId());

  worker.go.signal();
  EXPECT_EQ(worker.join(), &first);  // the first argument, in full
  // Released: nothing reaches the thread any more.
  EXPECT_EQ(worker.join(), nullptr);
  worker.detach();
  worker.abort();
  EXPECT_TRUE(worker.start(&second));
  EXPECT_EQ(worker.runs.load(), 1);
}

TEST(ThreadTest, DetachedThreadRunsOnOutOfReach) {
  // Detached before start: the handle goes as soon as the thread is made.
  Worker early;
  early.detach();
  EXPECT_EQ(early.join(), nullptr);
  early.abort();
  early.detach();
  Lumbrel::platform::failThreadCreation(true);
  EXPECT_FALSE(early.start(nullptr));
  Lumbrel::platform::failThreadCreation(false);
  int value = 0;
  ASSERT_TRUE(early.start(&value));
  EXPECT_EQ(early.join(), nullptr);  // at once, although the thread waits
  early.abort();                     // no effect on a detached thread
  EXPECT_TRUE(early.start(&value));
  early.go.signal();
  EXPECT_EQ(early.done.wait(30), 0);  // it ran on to its end
  EXPECT_TRUE(ends(early.getThreadId()));
  EXPECT_EQ(early.runs.load(), 1);

  // Detached while running.
  Worker late;
  ASSERT_TRUE(late.start(&value));
  late.detach();
  EXPECT_EQ(late.join(), nullptr);
  late.abort();
  late.go.signal();
  EXPECT_EQ(late.done.wait(30), 0);
  EXPECT_TRUE(ends(late.getThreadId()));
}

TEST(ThreadTest, ExceptionOutOfRunGivesAllOnes) {
  Thrower standard(true);
  Thrower other(false);
  ASSERT_TRUE(standard.start());
  ASSERT_TRUE(other.start());
  EXPECT_EQ(standard.join(), kAllOnes);
  EXPECT_EQ(other.join(), kAllOnes);
}

TEST(ThreadTest, AbortEndsThreadsInWaitsAndSleeps) {
  for (Blocked::In where : {Blocked::In::eventWait, Blocked::In::sleep}) {
    Blocked thread(where);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(becomesBlocked(thread.getThreadId()));
    thread.abort();
    // The stack unwound: the guard in run let go, run did not go on.
    EXPECT_EQ(thread.unwound.wait(30), 0);
    EXPECT_TRUE(ends(thread.getThreadId()));
    EXPECT_FALSE(thread.carriedOn.load());
    EXPECT_EQ(thread.join(), nullptr);  // Released
    thread.abort();
    EXPECT_TRUE(thread.start());
    // The aborted waiter took no signal with it.
    thread.wakeUp.signal();
    EXPECT_EQ(thread.wakeUp.wait(0), 0);
  }
}

// Joins another thread.
class Joiner : public Thread {
 public:
  explicit Joiner(Thread& target) : target_(target) {}
  Event unwound{false};
  std::atomic<bool> carriedOn{false};

 protected:
  void* run(void*) override {
    SignalOnExit guard{unwound};
    target_.join();
    carriedOn = true;
    return nullptr;
  }

 private:
  Thread& target_;
};

TEST(ThreadTest, AbortEndsAThreadWaitingInJoin) {
  Worker worker;
  ASSERT_TRUE(worker.start(nullptr));
  Joiner joiner(worker);
  ASSERT_TRUE(joiner.start());
  ASSERT_TRUE(becomesBlocked(joiner.getThreadId()));
  joiner.abort();
  EXPECT_EQ(joiner.unwound.wait(30), 0);
  EXPECT_FALSE(joiner.carriedOn.load());
  // The interrupted join gave the worker's handle up all the same: the worker
  // runs to its end and nothing else can wait for it.
  EXPECT_EQ(worker.join(), nullptr);
  worker.go.signal();
  EXPECT_EQ(worker.done.wait(30), 0);
  EXPECT_TRUE(ends(worker.getThreadId()));
}

// Waits for a Mutex that another thread holds.
class Locker : public Thread {
 public:
  explicit Locker(Lumbrel::Mutex& mutex) : mutex_(mutex) {}
  Event unwound{false};
  std::atomic<bool> carriedOn{false};

 protected:
  void* run(void*) override {
    SignalOnExit guard{unwound};
    Lumbrel::MutexLock lock(mutex_);
    carriedOn = true;
    return nullptr;
  }

 private:
  Lumbrel::Mutex& mutex_;
};

TEST(ThreadTest, AbortEndsAThreadWaitingForAMutex) {
  Lumbrel::Mutex mutex;
  mutex.lock();
  Locker locker(mutex);
  ASSERT_TRUE(locker.start());
  ASSERT_TRUE(becomesBlocked(locker.getThreadId()));
  locker.abort();
  EXPECT_EQ(locker.unwound.wait(30), 0);
  EXPECT_TRUE(ends(locker.getThreadId()));
  EXPECT_FALSE(locker.carriedOn.load());
  mutex.unlock();
  // The aborted waiter never held the lock: it is free for others.
  Locker next(mutex);
  ASSERT_TRUE(next.start());
  EXPECT_EQ(next.unwound.wait(30), 0);
  EXPECT_TRUE(next.carriedOn.load());
  next.join();
}

TEST(ThreadTest, AbortOnOwnObjectEndsTheCaller) {
  Blocked thread(Blocked::In::ownAbort);
  ASSERT_TRUE(thread.start());
  thread.wakeUp.signal();
  EXPECT_EQ(thread.unwound.wait(30), 0);
  EXPECT_TRUE(ends(thread.getThreadId()));
  EXPECT_FALSE(thread.carriedOn.load());
  EXPECT_EQ(thread.join(), nullptr);
}

TEST(ThreadTest, JoinOnOwnObjectGivesUpAtOnce) {
  Blocked thread(Blocked::In::ownJoin);
  ASSERT_TRUE(thread.start());
  thread.wakeUp.signal();
  EXPECT_EQ(thread.unwound.wait(30), 0);
  EXPECT_TRUE(thread.carriedOn.load());
  EXPECT_EQ(thread.ownJoin.load(), nullptr);
  EXPECT_TRUE(ends(thread.getThreadId()));
  EXPECT_EQ(thread.join(), nullptr);
}

TEST(ThreadTest, CopiesAreRecordsOfOneThread) {
  Worker worker;
  Thread fresh(worker);
  int value = 0;
  ASSERT_TRUE(worker.start(&value));
  EXPECT_EQ(fresh.join(), nullptr);  // the copy made before start has no thread

  Thread record(worker);
  Thread assigned;
  assigned = record;
  EXPECT_EQ(record.getThreadId(), worker.getThreadId());
  EXPECT_EQ(assigned.getThreadId(), worker.getThreadId());
  worker.go.signal();
  // Any one record joins the thread that runs the original's run.
  EXPECT_EQ(record.join(), &value);
  EXPECT_EQ(worker.runs.load(), 1);
  // The others find the handle given up and do nothing.
  EXPECT_EQ(worker.join(), nullptr);
  assigned.abort();
  assigned.detach();
  EXPECT_EQ(assigned.join(), nullptr);
}

TEST(ThreadTest, SleepCountsMilliseconds) {
  const auto start = std::chrono::steady_clock::now();
  Thread::sleep(300);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290));
}

}  // namespace
