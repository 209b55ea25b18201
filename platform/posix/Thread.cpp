// Threads on POSIX: pthreads, with the kernel's thread ids.
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/Thread.h"

namespace Lumbrel {
namespace platform {

struct ThreadObject {
  pthread_t thread;
  std::atomic<bool> open{true};  // the handle has not been given up
  std::atomic<long> records{1};
};

namespace {

thread_local bool creationFails = false;

// What a new thread needs before it runs, on the starter's stack: the starter
// waits until the new thread has copied it and stored its id.
struct Startup {
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
  *startup->id = static_cast<unsigned long>(gettid());
  pthread_mutex_lock(&startup->mutex);
  startup->idStored = true;
  pthread_cond_signal(&startup->ready);
  pthread_mutex_unlock(&startup->mutex);
  // `startup` may be gone from here on.
  return entry(context);
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

}  // namespace

void failThreadCreation(bool fail) { creationFails = fail; }

ThreadObject* startThread(ThreadEntry entry, void* context, unsigned long* id) {
  if (creationFails) return nullptr;
  auto* object = new (std::nothrow) ThreadObject;
  if (object == nullptr) return nullptr;
  Startup startup{entry, context, id, PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, false};
  {
    // The new thread uses `startup` until it signals: a cancelled starter
    // must not unwind this frame before then.
    NoCancellation guard;
    if (pthread_create(&object->thread, nullptr, startRoutine, &startup) != 0) {
      delete object;
      return nullptr;
    }
    pthread_mutex_lock(&startup.mutex);
    while (!startup.idStored) pthread_cond_wait(&startup.ready, &startup.mutex);
    pthread_mutex_unlock(&startup.mutex);
  }
  pthread_cond_destroy(&startup.ready);
  pthread_mutex_destroy(&startup.mutex);
  return object;
}

ThreadObject* shareThread(ThreadObject* thread) {
  if (thread != nullptr) thread->records.fetch_add(1, std::memory_order_relaxed);
  return thread;
}

void releaseThread(ThreadObject* thread) {
  if (thread != nullptr && thread->records.fetch_sub(1, std::memory_order_acq_rel) == 1)
    delete thread;
}

void* joinThread(ThreadObject* thread) {
  if (thread == nullptr || !thread->open.exchange(false)) return nullptr;
  // A caller cancelled in the wait leaves the thread joinable; detach it then,
  // so that its resources still go when it ends.
  struct DetachUnlessJoined {
    pthread_t target;
    bool joined = false;
    ~DetachUnlessJoined() {
      if (!joined) pthread_detach(target);
    }
  } guard{thread->thread};
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

}  // namespace platform
}  // namespace Lumbrel
