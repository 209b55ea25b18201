#include "lumbrel/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "TestSupport.h"

using Lumbrel::Mutex;
using Lumbrel::MutexLock;

namespace {

constexpr const char* kTimeout = "failed to obtain mutex within timeout";

// Runs `body` on another thread and returns its result.
template <typename F>
auto onOtherThread(F body) {
  return std::async(std::launch::async, body).get();
}

TEST(MutexTest, RecursiveHoldNeedsAsManyUnlocks) {
  Mutex mutex;
  mutex.lock();
  mutex.lock();
  std::atomic<bool> acquired{false};
  std::thread other([&] {
    mutex.lock();
    acquired = true;
    mutex.unlock();
  });
  mutex.unlock();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(acquired);  // still held once
  mutex.unlock();
  other.join();
  EXPECT_TRUE(acquired);
}

TEST(MutexTest, TimedLockAgainstAnotherHolder) {
  Mutex mutex;
  mutex.lock(0);  // free: succeeds at once
  EXPECT_TRUE(onOtherThread([&] {
    bool threw = false;
    try {
      mutex.lock(0);
    } catch (const std::runtime_error& e) {
      threw = std::string(e.what()) == kTimeout;
    }
    return threw;
  }));
  const auto start = std::chrono::steady_clock::now();
  const bool threw = onOtherThread([&] {
    try {
      mutex.lock(2);
      return false;
    } catch (const std::runtime_error&) {
      return true;
    }
  });
  EXPECT_TRUE(threw);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
  // The caller that timed out holds nothing: this thread still does.
  EXPECT_FALSE(mutex.isLocked());
  mutex.unlock();
  EXPECT_FALSE(onOtherThread([&] { return mutex.isLocked(); }));
}

TEST(MutexTest, IsLockedMeansAnotherThreadHoldsIt) {
  Mutex mutex;
  EXPECT_FALSE(mutex.isLocked());
  mutex.lock();
  EXPECT_FALSE(mutex.isLocked());  // the holder's try succeeds
  EXPECT_TRUE(onOtherThread([&] { return mutex.isLocked(); }));
  mutex.unlock();
  // isLocked from the holder left the count at one: the lock is free now.
  EXPECT_FALSE(onOtherThread([&] { return mutex.isLocked(); }));
}

TEST(MutexTest, CopiesAndAssignmentShareOneLock) {
  Mutex source;
  {
    Mutex copy(source);
    copy.lock();
    EXPECT_TRUE(onOtherThread([&] { return source.isLocked(); }));
    source.unlock();  // the holder may unlock through any handle
    EXPECT_FALSE(onOtherThread([&] { return copy.isLocked(); }));
  }
  source.lock();  // usable after the copy is gone
  source.unlock();

  Mutex a;
  Mutex b;
  Mutex& alias = a;
  a = alias;  // self-assignment changes nothing, also while held
  a.lock();
  a = alias;
  a.unlock();
  Mutex formerA(a);
  a = b;
  b.lock();
  EXPECT_TRUE(onOtherThread([&] { return a.isLocked(); }));
  EXPECT_FALSE(onOtherThread([&] { return formerA.isLocked(); }));
  b.unlock();
}

TEST(MutexTest, UnlockByNonHolderChangesNothing) {
  Mutex mutex;
  mutex.unlock();  // free lock: nothing happens
  mutex.lock();
  onOtherThread([&] {
    mutex.unlock();
    return 0;
  });
  EXPECT_TRUE(onOtherThread([&] { return mutex.isLocked(); }));
  mutex.unlock();
}

TEST(MutexTest, GuardReleasesOnEveryWayOut) {
  Mutex mutex;
  try {
    MutexLock outer(mutex);
    MutexLock inner(mutex);  // guards nest on one thread
    throw std::logic_error("leave");
  } catch (const std::logic_error&) {
  }
  EXPECT_FALSE(onOtherThread([&] { return mutex.isLocked(); }));
}

TEST(MutexTest, HolderThatEndsDoesNotKeepTheLock) {
  Mutex mutex;
  std::thread([&] { mutex.lock(); }).join();
  EXPECT_THROW_MSG(mutex.lock(0), std::runtime_error, kTimeout);
  // The failed wait released the abandoned lock: it is free now.
  mutex.lock(0);
  mutex.unlock();
  EXPECT_FALSE(onOtherThread([&] { return mutex.isLocked(); }));
}

}  // namespace
