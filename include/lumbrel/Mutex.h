/// \class Lumbrel::Mutex
/// Mutex: a recursive lock owned by the thread that takes it, with waits
/// limited in seconds. A Mutex object is a handle: copies are further handles
/// on the same lock, and the lock lives until the last handle goes.
///
/// ```text
///   lock(s)    returns holding the lock, or raises runtime_error
///              "failed to obtain mutex within timeout" (also when a holder
///              ended while holding it; the lock is then free again).
///   unlock()   gives back one take; no effect from a thread that holds nothing.
///   isLocked() true only while another thread holds the lock.
/// ```
///
/// Thread safety: lock, unlock and isLocked may be called from any thread on
/// one object or its copies. Assignment and destruction must not race with
/// other use of the same object.
#ifndef LUMBREL_MUTEX_H
#define LUMBREL_MUTEX_H

#include "lumbrel/Export.h"

namespace Lumbrel {

namespace platform {
struct LockObject;
}

class LUMBREL_API Mutex {
 public:
  /// No limit for lock().
  static constexpr unsigned long WAIT_FOREVER = 0xFFFFFFFFUL;

  /// A new lock that nobody holds; raises runtime_error "failed to create mutex".
  Mutex();
  /// A further handle on `other`'s lock; raises "failed to duplicate mutex".
  Mutex(const Mutex& other);
  /// Closes this handle; never gives the lock back.
  ~Mutex();
  /// Closes this handle ("failed to close current mutex"), then takes a handle
  /// on `other`'s lock ("failed to duplicate mutex": this object then has none).
  Mutex& operator=(const Mutex& other);

  /// Waits at most `timeout` seconds (computed modulo 2^32 milliseconds; 0 tries
  /// once; WAIT_FOREVER waits without limit).
  void lock(unsigned long timeout = WAIT_FOREVER);
  /// Gives back one take; no effect from a thread that holds nothing.
  void unlock();
  /// True only while another thread holds the lock.
  bool isLocked() const;

 private:
  platform::LockObject* handle_;
};

/// Holds a Mutex for its own lifetime.
class LUMBREL_API MutexLock {
 public:
  /// Locks `target` without limit; the destructor unlocks it.
  explicit MutexLock(Mutex& target);
  ~MutexLock();
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_MUTEX_H
