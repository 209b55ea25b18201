// The lock on POSIX: a recursive, robust pthread mutex with timed waits on the
// monotonic clock, shared by reference-counted handles.
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/Lock.h"

namespace Lumbrel {
namespace platform {

struct LockObject {
  pthread_mutex_t mutex;
  std::atomic<long> handles{1};
  // The holder and its count of takes, kept here so that a thread that holds
  // nothing never calls unlock on the mutex (which sanitizers rightly flag).
  // Only the holder writes them; another thread can never read its own id.
  std::atomic<pthread_t> owner{};
  long depth = 0;
};

namespace {

LockWait finish(LockObject* lock, int result) {
  if (result == 0) {
    lock->owner.store(pthread_self(), std::memory_order_relaxed);
    ++lock->depth;
    return LockWait::acquired;
  }
  if (result == EOWNERDEAD) {
    // The holder ended while holding it: the lock is ours, once. Make it
    // usable again so that it cannot stay held by a thread that is gone.
    pthread_mutex_consistent(&lock->mutex);
    lock->owner.store(pthread_self(), std::memory_order_relaxed);
    lock->depth = 1;
    return LockWait::abandoned;
  }
  if (result == ETIMEDOUT || result == EBUSY) return LockWait::timedOut;
  return LockWait::failed;
}

}  // namespace

LockObject* createLock() {
  auto* lock = new (std::nothrow) LockObject;
  if (lock == nullptr) return nullptr;
  pthread_mutexattr_t attributes;
  bool ok = pthread_mutexattr_init(&attributes) == 0;
  ok = ok && pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
       pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
       pthread_mutex_init(&lock->mutex, &attributes) == 0;
  pthread_mutexattr_destroy(&attributes);
  if (!ok) {
    delete lock;
    return nullptr;
  }
  return lock;
}

LockObject* duplicateLock(LockObject* lock) {
  if (lock == nullptr) return nullptr;
  lock->handles.fetch_add(1, std::memory_order_relaxed);
  return lock;
}

bool closeLock(LockObject* lock) {
  if (lock == nullptr) return false;
  if (lock->handles.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    pthread_mutex_destroy(&lock->mutex);
    delete lock;
  }
  return true;
}

LockWait acquireLock(LockObject* lock, std::uint32_t milliseconds) {
  if (lock == nullptr) return LockWait::failed;
  if (milliseconds == kWaitForever) return finish(lock, pthread_mutex_lock(&lock->mutex));
  if (milliseconds == 0) return finish(lock, pthread_mutex_trylock(&lock->mutex));
  timespec deadline;
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
  deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  return finish(lock, pthread_mutex_clocklock(&lock->mutex, CLOCK_MONOTONIC, &deadline));
}

bool releaseLock(LockObject* lock) {
  if (lock == nullptr ||
      !pthread_equal(lock->owner.load(std::memory_order_relaxed), pthread_self()))
    return false;
  if (--lock->depth == 0) lock->owner.store(pthread_t{}, std::memory_order_relaxed);
  return pthread_mutex_unlock(&lock->mutex) == 0;
}

}  // namespace platform
}  // namespace Lumbrel
