// The lock on POSIX: one atomic word that holds the holder's kernel thread id
// and three flags, a count of takes beside it, and reference-counted handles.
// A free lock is taken with one compare-and-swap and given back with one
// exchange; a thread that must wait sleeps on a condition variable beside the
// word, which makes the wait a cancellation point (Thread::abort ends a thread
// blocked here) without a timer under every sleep.
//
// A holder that ends must not keep its locks. Robust pthread mutexes get that
// from the kernel by keeping each held mutex on a per-thread list that the
// kernel walks at thread exit, at the price of list upkeep and a generic path
// inside every lock and unlock. Here a thread only counts the locks it holds,
// and every lock is on one list of all locks, kept when a lock is made and
// destroyed. A thread-specific destructor, which runs however the thread ends
// (return, pthread_exit, cancellation), looks through that list when the
// count is not zero, marks each lock the thread still holds abandoned and
// wakes a waiter: the next taker learns of it as LockWait::abandoned.
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
constexpr std::uint32_t kWaiters = 1u << 31;    // a thread may sleep on `parked`
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
  // In the list of all locks, under its mutex.
  LockObject* previous = nullptr;
  LockObject* next = nullptr;
  // Where waiters sleep. A waiter sets kWaiters under `park` and sleeps in
  // the same hold, so a release that finds the flag and signals under `park`
  // cannot miss it.
  pthread_mutex_t park;
  pthread_cond_t parked;
};

namespace {

// The calling thread's id and the locks it holds. Constant-initialised and
// trivially destroyed, so reaching it needs no guard.
//
// Both halves sit in one 64-bit word, so that taking or giving back a lock
// reads the id and writes the new count with one load and one store.
struct ThreadLocks {
  // Low half: the kernel thread id; 0 until the thread first takes a lock,
  // which also sets up the end-of-thread destructor. High half: the locks
  // the thread holds, each counted once however often taken.
  std::uint64_t state;

  std::uint32_t id() const { return static_cast<std::uint32_t>(state); }
  std::uint32_t held() const { return static_cast<std::uint32_t>(state >> 32); }
  void setId(std::uint32_t id) { state = (state & ~std::uint64_t{0xFFFFFFFFu}) | id; }
};
constexpr std::uint64_t kOneHeld = std::uint64_t{1} << 32;
LUMBREL_INITIAL_EXEC_TLS thread_local ThreadLocks self{0};

pthread_key_t endKey;
bool endKeyMade = false;

// Every lock, for the threads that end holding some.
pthread_mutex_t allLocksMutex = PTHREAD_MUTEX_INITIALIZER;
LockObject* allLocks = nullptr;

void unlist(LockObject* lock) {
  if (lock->previous != nullptr)
    lock->previous->next = lock->next;
  else
    allLocks = lock->next;
  if (lock->next != nullptr) lock->next->previous = lock->previous;
}

// Destroys a lock, off the list, that nobody holds and no handle reaches.
// Taking `park` first waits for a thread that ended holding it to finish
// waking waiters.
void destroyUnlisted(LockObject* lock) {
  pthread_mutex_lock(&lock->park);
  pthread_mutex_unlock(&lock->park);
  pthread_cond_destroy(&lock->parked);
  pthread_mutex_destroy(&lock->park);
  delete lock;
}

void destroy(LockObject* lock) {
  pthread_mutex_lock(&allLocksMutex);
  unlist(lock);
  pthread_mutex_unlock(&allLocksMutex);
  destroyUnlisted(lock);
}

// Runs when a thread that has taken a lock ends: every lock it still holds
// is left abandoned, or destroyed if no handle on it remains.
void threadEnds(void*) {
  LockObject* doomed = nullptr;
  if (self.held() != 0) {
    pthread_mutex_lock(&allLocksMutex);
    for (LockObject* lock = allLocks; lock != nullptr && self.held() != 0;) {
      LockObject* next = lock->next;
      if (lock->holder.load(std::memory_order_relaxed) == self.id()) {
        self.state -= kOneHeld;
        lock->depth = 0;
        lock->holder.store(0, std::memory_order_relaxed);
        // Under `park`, taken while the lock is still held and so cannot be
        // destroyed: a waiter woken here may take it, and close the last
        // handle, only after `park` is given back. Acquire: a lock whose last
        // handle went is destroyed after the closer's last use of it.
        pthread_mutex_lock(&lock->park);
        std::uint32_t old = lock->word.load(std::memory_order_acquire);
        while ((old & kClosed) == 0 &&
               !lock->word.compare_exchange_weak(old, kAbandoned, std::memory_order_release,
                                                 std::memory_order_acquire)) {
        }
        if ((old & kWaiters) != 0) pthread_cond_signal(&lock->parked);
        pthread_mutex_unlock(&lock->park);
        if ((old & kClosed) != 0) {
          unlist(lock);
          lock->next = doomed;
          doomed = lock;
        }
      }
      lock = next;
    }
    pthread_mutex_unlock(&allLocksMutex);
  }
  while (doomed != nullptr) {
    LockObject* next = doomed->next;
    destroyUnlisted(doomed);
    doomed = next;
  }
  // A lock taken by a later destructor of this thread finds no id, and sets
  // the key again with it, which runs this once more.
  self.setId(0);
}

// Around fork the list is held, so that the child finds it whole; the
// child's one thread then has a new id, and the locks it holds move to it.
void beforeFork() { pthread_mutex_lock(&allLocksMutex); }
void afterForkInParent() { pthread_mutex_unlock(&allLocksMutex); }
void afterForkInChild() {
  if (self.id() != 0 && self.held() != 0) {
    const auto id = static_cast<std::uint32_t>(syscall(SYS_gettid));
    for (LockObject* lock = allLocks; lock != nullptr; lock = lock->next) {
      if (lock->holder.load(std::memory_order_relaxed) != self.id()) continue;
      lock->word.store((lock->word.load(std::memory_order_relaxed) & ~kHolder) | id,
                       std::memory_order_relaxed);
      lock->holder.store(id, std::memory_order_relaxed);
    }
    self.setId(id);
  } else if (self.id() != 0) {
    self.setId(static_cast<std::uint32_t>(syscall(SYS_gettid)));
  }
  pthread_mutex_unlock(&allLocksMutex);
}

void setUpOnce() {
  endKeyMade = pthread_key_create(&endKey, threadEnds) == 0;
  pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

// Deletes the key when the library is unloaded, so that no thread ending
// later calls into code that is gone.
struct KeyOwner {
  ~KeyOwner() {
    if (endKeyMade) pthread_key_delete(endKey);
  }
} keyOwner;

LUMBREL_NOINLINE std::uint32_t firstId() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, setUpOnce);
  if (endKeyMade) pthread_setspecific(endKey, &self);
  self.setId(static_cast<std::uint32_t>(syscall(SYS_gettid)));
  return self.id();
}

// The caller has just taken a free or abandoned lock.
void took(LockObject* lock, std::uint32_t id) {
  lock->holder.store(id, std::memory_order_relaxed);
  lock->depth = 1;
  self.state += kOneHeld;
}

LockWait acquire(LockObject* lock, std::uint32_t id, std::uint32_t milliseconds);

// A thread's first lock: its id is read and the end-of-thread destructor is
// set up, out of line.
LUMBREL_NOINLINE LockWait acquireFirst(LockObject* lock, std::uint32_t milliseconds) {
  return acquire(lock, firstId(), milliseconds);
}

// Takes the lock if nobody holds it, with the flags in `waited`.
bool tryTake(LockObject* lock, std::uint32_t id, std::uint32_t waited, LockWait& outcome) {
  std::uint32_t old = lock->word.load(std::memory_order_relaxed);
  while ((old & kHolder) == 0) {
    if (lock->word.compare_exchange_weak(old, id | waited, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
      took(lock, id);
      outcome = (old & kAbandoned) != 0 ? LockWait::abandoned : LockWait::acquired;
      return true;
    }
  }
  return false;
}

// Sleeps on `parked` for a scope. A waiter that leaves without the lock (its
// limit passed, or it was cancelled) may have been the one a release woke:
// it wakes another in its place.
class Parking {
 public:
  explicit Parking(LockObject* lock) : lock_(lock) { pthread_mutex_lock(&lock_->park); }
  ~Parking() {
    if (!took_) pthread_cond_signal(&lock_->parked);
    pthread_mutex_unlock(&lock_->park);
  }
  Parking(const Parking&) = delete;
  Parking& operator=(const Parking&) = delete;

  void took() { took_ = true; }

 private:
  LockObject* lock_;
  bool took_ = false;
};

// The wait for a lock that another thread holds, kept out of acquireLock so
// that taking a free lock does not pay for its frame.
LUMBREL_NOINLINE LockWait waitForLock(LockObject* lock, std::uint32_t id,
                                               std::uint32_t milliseconds) {
  LockWait outcome = LockWait::acquired;
  if (tryTake(lock, id, 0, outcome)) return outcome;
  if (milliseconds == 0) return LockWait::timedOut;
  const bool limited = milliseconds != kWaitForever;
  const timespec deadline = limited ? monotonicDeadline(milliseconds) : timespec{};
  Parking parking(lock);
  for (;;) {
    // A thread that has slept takes the lock marked as waited for, since
    // others may sleep behind it: its release then wakes the next.
    if (tryTake(lock, id, kWaiters, outcome)) {
      parking.took();
      return outcome;
    }
    std::uint32_t old = lock->word.load(std::memory_order_relaxed);
    if ((old & kHolder) == 0 ||
        ((old & kWaiters) == 0 &&
         !lock->word.compare_exchange_weak(old, old | kWaiters, std::memory_order_relaxed)))
      continue;
    const int result = limited ? pthread_cond_timedwait(&lock->parked, &lock->park, &deadline)
                               : pthread_cond_wait(&lock->parked, &lock->park);
    if (result == ETIMEDOUT) {
      if (tryTake(lock, id, kWaiters, outcome)) {
        parking.took();
        return outcome;
      }
      return LockWait::timedOut;
    }
    if (result != 0) return LockWait::failed;
  }
}

// The same as acquireLock, once the caller's id is known.
LockWait acquire(LockObject* lock, std::uint32_t id, std::uint32_t milliseconds) {
  std::uint32_t old = 0;
  if (lock->word.compare_exchange_strong(old, id, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    took(lock, id);
    return LockWait::acquired;
  }
  // Only this thread can have put its own id there.
  if ((old & kHolder) == id) {
    ++lock->depth;
    return LockWait::acquired;
  }
  return waitForLock(lock, id, milliseconds);
}

// Wakes a waiter, or destroys the lock whose last handle went, after a
// release that found `old` in the word.
LUMBREL_NOINLINE void afterRelease(LockObject* lock, std::uint32_t old) {
  if ((old & kClosed) != 0) {
    destroy(lock);
    return;
  }
  // The caller's handle keeps the lock alive through this.
  pthread_mutex_lock(&lock->park);
  pthread_cond_signal(&lock->parked);
  pthread_mutex_unlock(&lock->park);
}

}  // namespace

LockObject* createLock() {
  auto* lock = new (std::nothrow) LockObject;
  if (lock == nullptr) return nullptr;
  pthread_condattr_t attributes;
  bool ok = pthread_condattr_init(&attributes) == 0;
  // The monotonic clock, so that a change of the wall clock neither shortens
  // nor stretches a wait.
  const bool conditionMade = ok && pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                             pthread_cond_init(&lock->parked, &attributes) == 0;
  if (ok) pthread_condattr_destroy(&attributes);
  if (conditionMade && pthread_mutex_init(&lock->park, nullptr) == 0) {
    pthread_mutex_lock(&allLocksMutex);
    lock->next = allLocks;
    if (allLocks != nullptr) allLocks->previous = lock;
    allLocks = lock;
    pthread_mutex_unlock(&allLocksMutex);
    return lock;
  }
  if (conditionMade) pthread_cond_destroy(&lock->parked);
  delete lock;
  return nullptr;
}

LockObject* duplicateLock(LockObject* lock) {
  if (lock == nullptr) return nullptr;
  lock->handles.fetch_add(1, std::memory_order_relaxed);
  return lock;
}

bool closeLock(LockObject* lock) {
  if (lock == nullptr) return false;
  if (lock->handles.fetch_sub(1, std::memory_order_acq_rel) != 1) return true;
  // No handle is left, so nobody can wait for the lock any more, but a thread
  // may still hold it: then the holder destroys it when it lets go or ends.
  std::uint32_t old = lock->word.load(std::memory_order_acquire);
  for (;;) {
    if ((old & kHolder) == 0) {
      destroy(lock);
      return true;
    }
    if (lock->word.compare_exchange_weak(old, old | kClosed, std::memory_order_acq_rel,
                                         std::memory_order_acquire))
      return true;
  }
}

LockWait acquireLock(LockObject* lock, std::uint32_t milliseconds) {
  if (lock == nullptr) return LockWait::failed;
  const std::uint64_t state = self.state;
  const auto id = static_cast<std::uint32_t>(state);
  if (id == 0) return acquireFirst(lock, milliseconds);
  std::uint32_t old = 0;
  if (lock->word.compare_exchange_strong(old, id, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    lock->holder.store(id, std::memory_order_relaxed);
    lock->depth = 1;
    self.state = state + kOneHeld;
    return LockWait::acquired;
  }
  // Only this thread can have put its own id there.
  if ((old & kHolder) == id) {
    ++lock->depth;
    return LockWait::acquired;
  }
  return waitForLock(lock, id, milliseconds);
}

bool releaseLock(LockObject* lock) {
  if (lock == nullptr) return false;
  const std::uint64_t state = self.state;
  const auto id = static_cast<std::uint32_t>(state);
  if (id == 0 || lock->holder.load(std::memory_order_relaxed) != id) return false;
  if (--lock->depth != 0) return true;
  self.state = state - kOneHeld;
  lock->holder.store(0, std::memory_order_relaxed);
  // Acquire too: with kClosed, the lock is destroyed after the closer's last use.
  const std::uint32_t old = lock->word.exchange(0, std::memory_order_acq_rel);
  if ((old & (kClosed | kWaiters)) != 0) afterRelease(lock, old);
  return true;
}

}  // namespace platform
}  // namespace Lumbrel
