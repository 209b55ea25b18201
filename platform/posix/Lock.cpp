// The lock on POSIX: a recursive, robust pthread mutex with timed waits on the
// monotonic clock, shared by reference-counted handles.
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/Lock.h"
#include "platform/posix/PthreadSupport.h"

namespace Lumbrel {
namespace platform {

#if defined(__SANITIZE_THREAD__)
#define LUMBREL_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LUMBREL_TSAN 1
#endif
#endif

#if defined(LUMBREL_TSAN)
// ThreadSanitizer reports an unlock by a thread that does not hold the mutex,
// although the mutex refuses it. Under it the holder and its count of takes
// are kept here, so that such an unlock never reaches the mutex. Only the
// holder writes them; another thread can never read its own id.
class Holder {
 public:
  void took() {
    owner_.store(pthread_self(), std::memory_order_relaxed);
    ++depth_;
  }
  void tookAbandoned() {
    owner_.store(pthread_self(), std::memory_order_relaxed);
    depth_ = 1;
  }
  bool isCaller() const {
    return pthread_equal(owner_.load(std::memory_order_relaxed), pthread_self()) != 0;
  }
  void gave() {
    if (--depth_ == 0) owner_.store(pthread_t{}, std::memory_order_relaxed);
  }

 private:
  std::atomic<pthread_t> owner_{};
  long depth_ = 0;
};
#else
// A recursive and robust mutex knows its holder and refuses an unlock by any
// other thread (EPERM), so nothing needs to be kept beside it.
class Holder {
 public:
  void took() {}
  void tookAbandoned() {}
  bool isCaller() const { return true; }
  void gave() {}
};
#endif

struct LockObject {
  pthread_mutex_t mutex;
  std::atomic<long> handles{1};
  Holder holder;
};

namespace {

LockWait finish(LockObject* lock, int result) {
  if (result == 0) {
    lock->holder.took();
    return LockWait::acquired;
  }
  if (result == EOWNERDEAD) {
    // The holder ended while holding it: the lock is ours, once. Make it
    // usable again so that it cannot stay held by a thread that is gone.
    pthread_mutex_consistent(&lock->mutex);
    lock->holder.tookAbandoned();
    return LockWait::abandoned;
  }
  if (result == ETIMEDOUT || result == EBUSY) return LockWait::timedOut;
  return LockWait::failed;
}

// Waits for the mutex until `deadline` on the monotonic clock.
int lockUntil(pthread_mutex_t* mutex, const timespec& deadline) {
#if defined(LUMBREL_TSAN)
  // ThreadSanitizer does not intercept pthread_mutex_clocklock and would not
  // see the lock taken; under it, wait on the same span of the wall clock.
  timespec now;
  timespec wall;
  clock_gettime(CLOCK_MONOTONIC, &now);
  clock_gettime(CLOCK_REALTIME, &wall);
  long nanoseconds = (deadline.tv_sec - now.tv_sec) * 1000000000L + deadline.tv_nsec - now.tv_nsec;
  if (nanoseconds < 0) nanoseconds = 0;
  wall.tv_sec += nanoseconds / 1000000000L;
  wall.tv_nsec += nanoseconds % 1000000000L;
  if (wall.tv_nsec >= 1000000000L) {
    wall.tv_sec += 1;
    wall.tv_nsec -= 1000000000L;
  }
  return pthread_mutex_timedlock(mutex, &wall);
#else
  return pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &deadline);
#endif
}

// The wait for a lock that another thread holds. Kept out of acquireLock, so
// that taking a free lock does not pay for this frame.
__attribute__((noinline)) LockWait waitForLock(LockObject* lock, std::uint32_t milliseconds) {
  // pthread_mutex_lock is no cancellation point, but a thread blocked here
  // must end when it is aborted: wait in slices and look for a pending
  // cancellation between them.
  constexpr std::uint32_t kSlice = 100;
  const bool forever = milliseconds == kWaitForever;
  const timespec end = forever ? timespec{} : monotonicDeadline(milliseconds);
  for (;;) {
    timespec slice = monotonicDeadline(kSlice);
    const bool last = !forever && (slice.tv_sec > end.tv_sec ||
                                   (slice.tv_sec == end.tv_sec && slice.tv_nsec >= end.tv_nsec));
    if (last) slice = end;
    const int result = lockUntil(&lock->mutex, slice);
    if (result != ETIMEDOUT || last) return finish(lock, result);
    pthread_testcancel();
  }
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
  // One try first: a free lock, or one the caller holds, is taken without
  // reading the clock for a deadline that would not be needed.
  const int tried = pthread_mutex_trylock(&lock->mutex);
  if (tried != EBUSY || milliseconds == 0) return finish(lock, tried);
  return waitForLock(lock, milliseconds);
}

bool releaseLock(LockObject* lock) {
  if (lock == nullptr || !lock->holder.isCaller()) return false;
  // Before the unlock: afterwards another thread may be the holder.
  lock->holder.gave();
  return pthread_mutex_unlock(&lock->mutex) == 0;
}

}  // namespace platform
}  // namespace Lumbrel
