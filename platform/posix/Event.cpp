// The event on POSIX: a flag guarded by a pthread mutex, with a condition
// variable on the monotonic clock, shared by reference-counted handles.
//
// Auto-reset events count their blocked waiters and the releases handed to
// them, so that each signal frees exactly one waiter even when several signals
// arrive before any waiter runs. Manual-reset events count signals, so that a
// waiter blocked at a signal leaves even if a reset follows at once.
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/Event.h"
#include "platform/posix/PthreadSupport.h"

namespace Lumbrel {
namespace platform {

struct EventObject {
  explicit EventObject(bool autoResetKind) : autoReset(autoResetKind) {}

  pthread_mutex_t mutex;
  pthread_cond_t condition;
  std::atomic<long> references{1};
  const bool autoReset;
  // Written under `mutex`, like the fields below; read without it only as a
  // hint by a waiter that spins before it blocks.
  std::atomic<bool> signalled{false};
  // The fields below are guarded by `mutex`.
  unsigned long waiters = 0;     // auto-reset: threads blocked in waitEvent
  unsigned long releases = 0;    // auto-reset: signals handed to blocked waiters
  unsigned long generation = 0;  // manual-reset: signals so far
};

namespace {

thread_local bool creationFails = false;

// Looks of a waiter for a signal before it blocks, each after giving up the
// processor: some microseconds in all.
constexpr int kLooks = 16;

// Counts a blocked auto-reset waiter for a scope. A waiter that leaves without
// its release (it was cancelled) must not take a signal with it: a release no
// remaining waiter can claim goes back into the flag, and the waiters that
// hold releases are woken in case the signal had gone to the one that left.
class Waiting {
 public:
  explicit Waiting(EventObject* event) : event_(event) { ++event_->waiters; }
  ~Waiting() {
    --event_->waiters;
    if (released_) return;
    if (event_->releases > event_->waiters) {
      --event_->releases;
      event_->signalled.store(true, std::memory_order_relaxed);
    }
    if (event_->releases > 0) pthread_cond_broadcast(&event_->condition);
  }
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

  // Claims one release if a signal has handed any out.
  bool claim() {
    if (event_->releases == 0) return false;
    --event_->releases;
    released_ = true;
    return true;
  }

 private:
  EventObject* event_;
  bool released_ = false;
};

int block(EventObject* event, bool limited, const timespec& deadline) {
  return limited ? pthread_cond_timedwait(&event->condition, &event->mutex, &deadline)
                 : pthread_cond_wait(&event->condition, &event->mutex);
}

EventWait waitAutoReset(EventObject* event, bool limited, const timespec& deadline) {
  Waiting waiting(event);
  for (;;) {
    if (waiting.claim()) return EventWait::signalled;
    const int result = block(event, limited, deadline);
    // A signal that came with the timeout still counts.
    if (result == ETIMEDOUT) return waiting.claim() ? EventWait::signalled : EventWait::timedOut;
    if (result != 0) return EventWait::failed;
  }
}

EventWait waitManualReset(EventObject* event, bool limited, const timespec& deadline) {
  const unsigned long seen = event->generation;
  while (!event->signalled.load(std::memory_order_relaxed) && event->generation == seen) {
    const int result = block(event, limited, deadline);
    if (result == ETIMEDOUT) {
      if (event->signalled.load(std::memory_order_relaxed) || event->generation != seen) break;
      return EventWait::timedOut;
    }
    if (result != 0) return EventWait::failed;
  }
  return EventWait::signalled;
}

}  // namespace

void failEventCreation(bool fail) { creationFails = fail; }

EventObject* createEvent(bool autoReset) {
  if (creationFails) return nullptr;
  auto* event = new (std::nothrow) EventObject(autoReset);
  if (event == nullptr) return nullptr;
  pthread_condattr_t attributes;
  if (pthread_condattr_init(&attributes) != 0) {
    delete event;
    return nullptr;
  }
  const bool conditionMade = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                             pthread_cond_init(&event->condition, &attributes) == 0;
  pthread_condattr_destroy(&attributes);
  if (!conditionMade) {
    delete event;
    return nullptr;
  }
  if (pthread_mutex_init(&event->mutex, nullptr) != 0) {
    pthread_cond_destroy(&event->condition);
    delete event;
    return nullptr;
  }
  return event;
}

EventObject* shareEvent(EventObject* event) {
  if (event != nullptr) event->references.fetch_add(1, std::memory_order_relaxed);
  return event;
}

void releaseEvent(EventObject* event) {
  if (event == nullptr) return;
  if (event->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    pthread_cond_destroy(&event->condition);
    pthread_mutex_destroy(&event->mutex);
    delete event;
  }
}

// Holds a reference on an event for a scope.
class Reference {
 public:
  explicit Reference(EventObject* event) : event_(shareEvent(event)) {}
  ~Reference() { releaseEvent(event_); }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;

 private:
  EventObject* event_;
};

// Unlocks the event's mutex at the end of a scope, and only then wakes the
// waiters asked for, so that a woken waiter does not at once block again on the
// mutex that the signalling thread still holds. What a waiter decides on is
// settled under the mutex.
class WakeAfterUnlock {
 public:
  explicit WakeAfterUnlock(EventObject* event) : event_(event) {}
  ~WakeAfterUnlock() {
    pthread_mutex_unlock(&event_->mutex);
    if (all_) pthread_cond_broadcast(&event_->condition);
    if (one_) pthread_cond_signal(&event_->condition);
  }
  WakeAfterUnlock(const WakeAfterUnlock&) = delete;
  WakeAfterUnlock& operator=(const WakeAfterUnlock&) = delete;

  void all() { all_ = true; }
  void one() { one_ = true; }

 private:
  EventObject* event_;
  bool all_ = false;
  bool one_ = false;
};

void setEvent(EventObject* event) {
  if (event == nullptr) return;
  // Once the mutex is unlocked, a waiter that this signal releases may drop
  // every other reference (a waiting thread often owns the event) before the
  // wakes below are done: this reference keeps the event alive until then.
  const Reference keep(event);
  if (pthread_mutex_lock(&event->mutex) != 0) return;
  WakeAfterUnlock wake(event);
  if (!event->autoReset) {
    event->signalled.store(true, std::memory_order_relaxed);
    ++event->generation;
    wake.all();
  } else if (event->waiters > event->releases) {
    ++event->releases;
    wake.one();
  } else {
    event->signalled.store(true, std::memory_order_relaxed);
  }
}

void resetEvent(EventObject* event) {
  if (event == nullptr || pthread_mutex_lock(&event->mutex) != 0) return;
  HeldMutex held(&event->mutex);
  event->signalled.store(false, std::memory_order_relaxed);
}

EventWait waitEvent(EventObject* event, std::uint32_t milliseconds) {
  if (event == nullptr) return EventWait::failed;
  const bool limited = milliseconds != kWaitForever;
  const timespec deadline = limited ? monotonicDeadline(milliseconds) : timespec{};
  // An auto-reset signal often comes within microseconds, as when two
  // threads hand work to and fro: looking for it a little while first saves
  // both the sleep and the signaller's wake-up call, since a signal that finds
  // no blocked waiter only sets the flag. Between looks the waiter yields, so
  // that a signaller waiting for the same processor runs at once, where
  // spinning on would only delay it. The flag is taken under the mutex below,
  // so the looks change nothing else. A manual-reset event is not looked for:
  // a signal and reset between two looks would pass the waiter by.
  if (event->autoReset && milliseconds != 0) {
    for (int look = 0; look < kLooks; ++look) {
      if (event->signalled.load(std::memory_order_relaxed)) break;
      sched_yield();
    }
  }
  if (pthread_mutex_lock(&event->mutex) != 0) return EventWait::failed;
  HeldMutex held(&event->mutex);
  if (event->signalled.load(std::memory_order_relaxed)) {
    if (event->autoReset) event->signalled.store(false, std::memory_order_relaxed);
    return EventWait::signalled;
  }
  if (milliseconds == 0) return EventWait::timedOut;
  return event->autoReset ? waitAutoReset(event, limited, deadline)
                          : waitManualReset(event, limited, deadline);
}

}  // namespace platform
}  // namespace Lumbrel
