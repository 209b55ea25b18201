#include "lumbrel/Mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "TestSupport.h"

using Lumbrel::Mutex;
using Lumbrel::MutexLock;

namespace {

constexpr const char* kTimeout = "failed to obtain mutex within timeout";

template <typename F>
auto onOtherThread(F body) {
  return std::async(std::launch::async, body).get();
}

bool heldElsewhere(const Mutex& mutex) {
  return onOtherThread([&] { return mutex.isLocked(); });
}

// A thread of its own takes `mutex` `takes` times, and ends holding it at finish().
struct Holder {
  Holder(Mutex& mutex, int takes) : thread([&mutex, takes, this] {
    for (int i = 0; i < takes; ++i) mutex.lock();
    held.set_value();
    end.get_future().wait();
  }) { held.get_future().wait(); }
  void finish() { end.set_value(); thread.join(); }
  std::promise<void> held, end;
  std::thread thread;
};

// Each take needs its own unlock; a timed lock against the holder gives up after the
// seconds it was given.
TEST(MutexTest, OneThreadHoldsRecursivelyAndOthersTimeOut) {
  Mutex mutex;
  mutex.unlock();  // nobody holds it: nothing happens
  EXPECT_FALSE(mutex.isLocked());
  mutex.lock();
  mutex.lock(0);
  EXPECT_FALSE(mutex.isLocked());  // the holder's try gives back what it took
  mutex.unlock();
  EXPECT_TRUE(heldElsewhere(mutex));
  for (unsigned long seconds : {0UL, 2UL}) {
    const auto start = std::chrono::steady_clock::now();
    onOtherThread([&] { EXPECT_THROW_MSG(mutex.lock(seconds), std::runtime_error, kTimeout); });
    EXPECT_GE(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(seconds * 1000) - std::chrono::milliseconds(100));
  }
  mutex.unlock();  // the callers that timed out hold nothing
  EXPECT_FALSE(heldElsewhere(mutex));
}

TEST(MutexTest, AssignmentSharesTheOtherLock) {
  Mutex a, b;
  Mutex& alias = a;
  a.lock();
  a = alias;  // assignment to itself keeps the lock, also while held
  a.unlock();
  Mutex formerA(a);
  a = b;
  b.lock();
  EXPECT_TRUE(heldElsewhere(a));
  EXPECT_FALSE(heldElsewhere(formerA));
  b.unlock();
}

// Neither guards left by unwinding nor a holder that ends keep the lock.
TEST(MutexTest, NothingKeepsTheLockPastItsHolder) {
  Mutex mutex;
  try {
    MutexLock outer(mutex);
    MutexLock inner(mutex);  // guards nest on one thread
    throw std::logic_error("leave");
  } catch (const std::logic_error&) {
  }
  EXPECT_FALSE(heldElsewhere(mutex));
  std::thread([&] { mutex.lock(); }).join();
  EXPECT_THROW_MSG(mutex.lock(0), std::runtime_error, kTimeout);
  mutex.lock(0);  // the failed wait freed the abandoned lock
  mutex.unlock();
  EXPECT_FALSE(heldElsewhere(mutex));

  // A waiter already blocked is woken when the holder ends, twice over.
  Holder holder(mutex, 2);
  auto waiter = std::async(std::launch::async, [&] {
    EXPECT_THROW_MSG(mutex.lock(), std::runtime_error, kTimeout);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  holder.finish();
  waiter.get();
  EXPECT_FALSE(heldElsewhere(mutex));
}

// The last handle may go while a thread holds the lock, through the holder
// or another thread; the lock goes when the holder ends (the sanitizers'
// builds see a leak or a use after free).
TEST(MutexTest, LastHandleMayGoWhileHeld) {
  std::thread([] {
    Mutex own;
    own.lock();
  }).join();
  auto* mutex = new Mutex;
  Holder holder(*mutex, 1);
  delete mutex;
  holder.finish();
}

}  // namespace
