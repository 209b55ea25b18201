// Threads on POSIX: pthreads, with the kernel's thread ids.
//
// join waits for a flag that the thread sets as it leaves (also when it is
// cancelled) rather than in pthread_join, and calls pthread_join only once the
// thread is at its end. So a joiner that is cancelled while it waits has not
// started a join, and can simply detach the thread instead.
#include <cxxabi.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>

#include "platform/Thread.h"
#include "platform/posix/PthreadSupport.h"

namespace Lumbrel {
namespace platform {

struct ThreadObject {
  pthread_t thread;
  std::atomic<bool> open{true};  // the handle has not been given up
  // The records, and the running thread until it has set `ended`.
  std::atomic<long> references{2};
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t endedCondition = PTHREAD_COND_INITIALIZER;
  bool ended = false;  // guarded by `mutex`
};

namespace {

thread_local bool creationFails = false;

void dropReference(ThreadObject* thread) {
  if (thread->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    pthread_cond_destroy(&thread->endedCondition);
    pthread_mutex_destroy(&thread->mutex);
    delete thread;
  }
}

// Restores the caller's cancellation state at the end of a scope in which it
// cannot be cancelled.
class NoCancellation {
 public:
  NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_); }
  ~NoCancellation() { pthread_setcancelstate(previous_, nullptr); }
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;

 private:
  int previous_ = PTHREAD_CANCEL_ENABLE;
};

// Marks the end of the running thread however it leaves its entry: by
// returning, or by unwinding when cancelled.
class Ending {
 public:
  explicit Ending(ThreadObject* thread) : thread_(thread) {}
  ~Ending() {
    {
      pthread_mutex_lock(&thread_->mutex);
      HeldMutex held(&thread_->mutex);
      thread_->ended = true;
      pthread_cond_broadcast(&thread_->endedCondition);
    }
    dropReference(thread_);
  }
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

 private:
  ThreadObject* thread_;
};

// What a new thread needs before it runs, on the starter's stack: the starter
// waits until the new thread has copied it and stored its id.
struct Startup {
  ThreadObject* thread;
  ThreadEntry entry;
  void* context;
  unsigned long* id;
  pthread_mutex_t mutex;
  pthread_cond_t ready;
  bool idStored;
};

void* startRoutine(void* parameter) {
  auto* startup = static_cast<Startup*>(parameter);
  const ThreadEntry entry = startup->entry;
  void* const context = startup->context;
  const Ending ending(startup->thread);
  *startup->id = static_cast<unsigned long>(gettid());
  {
    pthread_mutex_lock(&startup->mutex);
    HeldMutex held(&startup->mutex);
    startup->idStored = true;
    pthread_cond_signal(&startup->ready);
  }
  // `startup` may be gone from here on.
  return entry(context);
}

}  // namespace

void failThreadCreation(bool fail) { creationFails = fail; }

ThreadObject* startThread(ThreadEntry entry, void* context, unsigned long* id) {
  if (creationFails) return nullptr;
  auto* object = new (std::nothrow) ThreadObject;
  if (object == nullptr) return nullptr;
  Startup startup{object, entry, context, id, PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER,
                  false};
  {
    // The new thread uses `startup` until it signals: a cancelled starter
    // must not unwind this frame before then.
    NoCancellation guard;
    if (pthread_create(&object->thread, nullptr, startRoutine, &startup) != 0) {
      delete object;
      return nullptr;
    }
    pthread_mutex_lock(&startup.mutex);
    HeldMutex held(&startup.mutex);
    while (!startup.idStored) pthread_cond_wait(&startup.ready, &startup.mutex);
  }
  pthread_cond_destroy(&startup.ready);
  pthread_mutex_destroy(&startup.mutex);
  return object;
}

ThreadObject* shareThread(ThreadObject* thread) {
  if (thread != nullptr) thread->references.fetch_add(1, std::memory_order_relaxed);
  return thread;
}

void releaseThread(ThreadObject* thread) {
  if (thread != nullptr) dropReference(thread);
}

void* joinThread(ThreadObject* thread) {
  if (thread == nullptr || !thread->open.exchange(false)) return nullptr;
  // Unless the join completes, the thread is detached, so that its resources
  // still go when it ends: also when the caller is cancelled while it waits,
  // and when a thread asks to join itself, which could never end.
  struct DetachUnlessJoined {
    pthread_t target;
    bool joined = false;
    ~DetachUnlessJoined() {
      if (!joined) pthread_detach(target);
    }
  } guard{thread->thread};
  if (pthread_equal(thread->thread, pthread_self())) return nullptr;
  {
    pthread_mutex_lock(&thread->mutex);
    HeldMutex held(&thread->mutex);
    while (!thread->ended) pthread_cond_wait(&thread->endedCondition, &thread->mutex);
  }
  NoCancellation atTheEnd;
  void* result = nullptr;
  guard.joined = pthread_join(thread->thread, &result) == 0;
  return guard.joined ? result : nullptr;
}

void detachThread(ThreadObject* thread) {
  if (thread != nullptr && thread->open.exchange(false)) pthread_detach(thread->thread);
}

void cancelThread(ThreadObject* thread) {
  if (thread == nullptr || !thread->open.exchange(false)) return;
  // Cancel before detaching: once detached, the thread may end and its id be
  // reused at any moment.
  pthread_cancel(thread->thread);
  pthread_detach(thread->thread);
  if (pthread_equal(thread->thread, pthread_self())) pthread_testcancel();
}

unsigned long currentThreadId() { return static_cast<unsigned long>(gettid()); }

void sleepMilliseconds(unsigned int milliseconds) {
  timespec remaining{static_cast<time_t>(milliseconds / 1000),
                     static_cast<long>(milliseconds % 1000) * 1000000L};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &remaining, &remaining) == EINTR) {
  }
}

// The cancellation unwind carries no C++ object, so the handler below binds
// its reference to null, which is how that unwind is caught by design; the
// null-reference check of the sanitizers would stop the process there.
__attribute__((no_sanitize("null"))) void* callCatchingExceptions(ThreadEntry entry,
                                                                  void* context,
                                                                  void* onException) {
  try {
    return entry(context);
  } catch (abi::__forced_unwind&) {
    // Cancellation ends the thread by unwinding its stack; that must go on to
    // the end of the thread, or the process is aborted.
    throw;
  } catch (...) {
    return onException;
  }
}

ThreadSlot* createThreadSlot(SlotCleanup cleanup) {
  pthread_key_t key;
  if (pthread_key_create(&key, cleanup) != 0) return nullptr;
  // The key itself is the slot's identity: keys are small numbers, stored
  // one above zero so that no slot is null.
  return reinterpret_cast<ThreadSlot*>(static_cast<std::uintptr_t>(key) + 1);
}

void* threadSlotValue(ThreadSlot* slot) {
  return pthread_getspecific(
      static_cast<pthread_key_t>(reinterpret_cast<std::uintptr_t>(slot) - 1));
}

bool setThreadSlotValue(ThreadSlot* slot, void* value) {
  return pthread_setspecific(
             static_cast<pthread_key_t>(reinterpret_cast<std::uintptr_t>(slot) - 1), value) == 0;
}

bool cancellationUnwinds() { return true; }

}  // namespace platform
}  // namespace Lumbrel
