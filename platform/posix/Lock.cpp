// The lock on POSIX: one futex word that holds the holder's kernel thread id
// and three flags, a count of takes beside it, and reference-counted handles.
//
// A holder that ends must not keep its locks. Robust pthread mutexes get that
// from the kernel by keeping each held mutex on a per-thread list that the
// kernel walks at thread exit, at the price of list upkeep and a generic path
// inside every lock and unlock. Here each thread keeps its own list of the
// locks it holds, linked through the locks themselves, and a thread-specific
// destructor, which runs however the thread ends (return, pthread_exit,
// cancellation), marks each lock left on it abandoned and wakes a waiter: the
// next taker learns of it as LockWait::abandoned. A free lock is taken with
// one compare-and-swap, and given back with one exchange.
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/Compiler.h"
#include "platform/Lock.h"
#include "platform/posix/PthreadSupport.h"

namespace Lumbrel {
namespace platform {

namespace {

// The word: the holder's thread id in the low bits (0: nobody), and flags.
constexpr std::uint32_t kWaiters = 1u << 31;    // a thread may sleep on the word
constexpr std::uint32_t kClosed = 1u << 30;     // the last handle went while held
constexpr std::uint32_t kAbandoned = 1u << 29;  // the holder ended while holding it
constexpr std::uint32_t kHolder = kAbandoned - 1;  // thread ids stay below 2^22

}  // namespace

struct LockObject {
  std::atomic<std::uint32_t> word{0};
  // The holder's id again, written by the holder alone with plain stores: a
  // thread asks it whether it holds the lock without loading the word that
  // its last atomic instruction wrote.
  std::atomic<std::uint32_t> holder{0};
  std::atomic<long> handles{1};
  // Used by the holder alone.
  std::uint32_t depth = 0;
  LockObject* previous = nullptr;  // in the holder's list of held locks
  LockObject* next = nullptr;
};

namespace {

// The calling thread's id and the locks it holds. Constant-initialised and
// trivially destroyed, so reaching it needs no guard.
struct ThreadLocks {
  std::uint32_t id;       // the kernel thread id; 0 until the thread first takes a lock
  bool watched;           // the end-of-thread destructor is set for this thread
  LockObject* held;       // most recently taken first
};
LUMBREL_INITIAL_EXEC_TLS thread_local ThreadLocks self{0, false, nullptr};

pthread_key_t endKey;
bool endKeyMade = false;

long futex(std::atomic<std::uint32_t>* word, int operation, std::uint32_t value,
           const timespec* deadline) {
  return syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(word),
                 operation | FUTEX_PRIVATE_FLAG, value, deadline, nullptr,
                 FUTEX_BITSET_MATCH_ANY);
}

void wakeOne(LockObject* lock) { futex(&lock->word, FUTEX_WAKE, 1, nullptr); }

// Runs when a thread that has taken a lock ends: every lock it still holds
// is left abandoned, or destroyed if no handle on it remains.
void threadEnds(void*) {
  for (LockObject* lock = self.held; lock != nullptr;) {
    LockObject* next = lock->next;
    lock->depth = 0;
    lock->holder.store(0, std::memory_order_relaxed);
    lock->previous = lock->next = nullptr;
    std::uint32_t old = lock->word.load(std::memory_order_relaxed);
    for (;;) {
      if ((old & kClosed) != 0) {
        delete lock;
        break;
      }
      if (lock->word.compare_exchange_weak(old, kAbandoned, std::memory_order_release,
                                           std::memory_order_relaxed)) {
        if ((old & kWaiters) != 0) wakeOne(lock);
        break;
      }
    }
    lock = next;
  }
  self.held = nullptr;
  // A lock taken by a later destructor of this thread sets the key again,
  // which runs this once more.
  self.watched = false;
}

// After fork the child's one thread has a new id: the locks it holds move to it.
void childAfterFork() {
  if (self.id == 0) return;
  const auto id = static_cast<std::uint32_t>(syscall(SYS_gettid));
  for (LockObject* lock = self.held; lock != nullptr; lock = lock->next) {
    lock->word.store((lock->word.load(std::memory_order_relaxed) & ~kHolder) | id,
                     std::memory_order_relaxed);
    lock->holder.store(id, std::memory_order_relaxed);
  }
  self.id = id;
}

void setUpOnce() {
  endKeyMade = pthread_key_create(&endKey, threadEnds) == 0;
  pthread_atfork(nullptr, nullptr, childAfterFork);
}

// Deletes the key when the library is unloaded, so that no thread ending
// later calls into code that is gone.
struct KeyOwner {
  ~KeyOwner() {
    if (endKeyMade) pthread_key_delete(endKey);
  }
} keyOwner;

__attribute__((noinline)) std::uint32_t firstId() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, setUpOnce);
  self.id = static_cast<std::uint32_t>(syscall(SYS_gettid));
  return self.id;
}

std::uint32_t selfId() {
  const std::uint32_t id = self.id;
  return id != 0 ? id : firstId();
}

__attribute__((noinline)) void watchThread() {
  if (endKeyMade && pthread_setspecific(endKey, &self) == 0) self.watched = true;
}

// The caller has just taken a free or abandoned lock.
void took(LockObject* lock, std::uint32_t id) {
  lock->holder.store(id, std::memory_order_relaxed);
  lock->depth = 1;
  lock->previous = nullptr;
  lock->next = self.held;
  if (self.held != nullptr) self.held->previous = lock;
  self.held = lock;
  if (!self.watched) watchThread();
}

void forget(LockObject* lock) {
  if (lock->previous != nullptr)
    lock->previous->next = lock->next;
  else
    self.held = lock->next;
  if (lock->next != nullptr) lock->next->previous = lock->previous;
}

// The time left until `end` on the monotonic clock, at most `cap`; zero once
// it has passed.
timespec timeLeft(const timespec& end, const timespec& cap) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  timespec left{end.tv_sec - now.tv_sec, end.tv_nsec - now.tv_nsec};
  if (left.tv_nsec < 0) {
    left.tv_sec -= 1;
    left.tv_nsec += 1000000000L;
  }
  if (left.tv_sec < 0) return timespec{0, 0};
  if (left.tv_sec > cap.tv_sec || (left.tv_sec == cap.tv_sec && left.tv_nsec > cap.tv_nsec))
    return cap;
  return left;
}

// The wait for a lock that another thread holds, kept out of acquireLock so
// that taking a free lock does not pay for its frame.
__attribute__((noinline)) LockWait waitForLock(LockObject* lock, std::uint32_t id,
                                               std::uint32_t milliseconds) {
  // A futex wait is no cancellation point, but a thread blocked here must
  // end when it is aborted: wait in slices and look for a pending
  // cancellation between them. An unlimited wait reads no clock.
  constexpr timespec kSlice{0, 100 * 1000000L};
  const bool forever = milliseconds == kWaitForever;
  timespec end{};
  bool endKnown = false;
  // A thread that has slept takes the lock marked as waited for, since others
  // may be asleep behind it: its release then wakes the next.
  std::uint32_t waited = 0;
  for (;;) {
    std::uint32_t old = lock->word.load(std::memory_order_relaxed);
    if ((old & kHolder) == 0) {
      if (lock->word.compare_exchange_weak(old, id | waited, std::memory_order_acquire,
                                           std::memory_order_relaxed)) {
        took(lock, id);
        return (old & kAbandoned) != 0 ? LockWait::abandoned : LockWait::acquired;
      }
      continue;
    }
    if (milliseconds == 0) return LockWait::timedOut;
    if ((old & kWaiters) == 0 &&
        !lock->word.compare_exchange_weak(old, old | kWaiters, std::memory_order_relaxed))
      continue;
    waited = kWaiters;
    timespec slice = kSlice;
    if (!forever) {
      if (!endKnown) {
        end = monotonicDeadline(milliseconds);
        endKnown = true;
      }
      slice = timeLeft(end, kSlice);
      if (slice.tv_sec == 0 && slice.tv_nsec == 0) return LockWait::timedOut;
    }
    if (futex(&lock->word, FUTEX_WAIT, old | kWaiters, &slice) != 0 && errno == ETIMEDOUT)
      pthread_testcancel();
  }
}

}  // namespace

LockObject* createLock() { return new (std::nothrow) LockObject; }

LockObject* duplicateLock(LockObject* lock) {
  if (lock == nullptr) return nullptr;
  lock->handles.fetch_add(1, std::memory_order_relaxed);
  return lock;
}

bool closeLock(LockObject* lock) {
  if (lock == nullptr) return false;
  if (lock->handles.fetch_sub(1, std::memory_order_acq_rel) != 1) return true;
  // No handle is left, so nobody can wait for the lock any more, but a thread
  // may still hold it: then the holder destroys it when it lets go.
  std::uint32_t old = lock->word.load(std::memory_order_acquire);
  for (;;) {
    if ((old & kHolder) == 0) {
      delete lock;
      return true;
    }
    if (lock->word.compare_exchange_weak(old, old | kClosed, std::memory_order_acq_rel,
                                         std::memory_order_acquire))
      return true;
  }
}

LockWait acquireLock(LockObject* lock, std::uint32_t milliseconds) {
  if (lock == nullptr) return LockWait::failed;
  const std::uint32_t id = selfId();
  // Only this thread can have put its own id there.
  if (lock->holder.load(std::memory_order_relaxed) == id) {
    ++lock->depth;
    return LockWait::acquired;
  }
  std::uint32_t old = 0;
  if (
      lock->word.compare_exchange_strong(old, id, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    took(lock, id);
    return LockWait::acquired;
  }
  return waitForLock(lock, id, milliseconds);
}

bool releaseLock(LockObject* lock) {
  if (lock == nullptr) return false;
  const std::uint32_t id = self.id;
  if (id == 0 || lock->holder.load(std::memory_order_relaxed) != id) return false;
  if (--lock->depth != 0) return true;
  forget(lock);
  lock->holder.store(0, std::memory_order_relaxed);
  const std::uint32_t old = lock->word.exchange(0, std::memory_order_release);
  if ((old & kClosed) != 0)
    delete lock;
  else if ((old & kWaiters) != 0)
    wakeOne(lock);
  return true;
}

}  // namespace platform
}  // namespace Lumbrel
