#include "lumbrel/Mutex.h"

#include <cstdint>
#include <stdexcept>

#include "platform/Compiler.h"
#include "platform/Lock.h"

namespace Lumbrel {

Mutex::Mutex() : handle_(platform::createLock()) {
  if (handle_ == nullptr) throw std::runtime_error("failed to create mutex");
}

Mutex::Mutex(const Mutex& other) : handle_(platform::duplicateLock(other.handle_)) {
  if (handle_ == nullptr) throw std::runtime_error("failed to duplicate mutex");
}

Mutex::~Mutex() {
  if (handle_ != nullptr) platform::closeLock(handle_);
}

Mutex& Mutex::operator=(const Mutex& other) {
  if (this == &other) return *this;
  if (handle_ != nullptr && !platform::closeLock(handle_))
    throw std::runtime_error("failed to close current mutex");
  handle_ = platform::duplicateLock(other.handle_);
  if (handle_ == nullptr) throw std::runtime_error("failed to duplicate mutex");
  return *this;
}

namespace {

// Out of line, so that a lock taken at once saves no registers for it.
[[noreturn]] LUMBREL_NOINLINE void failedToLock(platform::LockObject* handle,
                                                         platform::LockWait wait) {
  if (wait == platform::LockWait::abandoned) {
    // The former holder is gone; we hold it once now. Give it back so that
    // the lock is free, and report the wait as failed.
    platform::releaseLock(handle);
  }
  throw std::runtime_error("failed to obtain mutex within timeout");
}

}  // namespace

void Mutex::lock(unsigned long timeout) {
  // The limit is a 32-bit count of milliseconds, as on the platform this
  // interface was first written for.
  const auto seconds = static_cast<std::uint32_t>(timeout);
  const std::uint32_t limit =
      seconds == platform::kWaitForever ? platform::kWaitForever : seconds * 1000u;
  const platform::LockWait wait = platform::acquireLock(handle_, limit);
  if (wait != platform::LockWait::acquired) failedToLock(handle_, wait);
}

void Mutex::unlock() { platform::releaseLock(handle_); }

bool Mutex::isLocked() const {
  switch (platform::acquireLock(handle_, 0)) {
    case platform::LockWait::acquired:
    case platform::LockWait::abandoned:
      platform::releaseLock(handle_);
      return false;
    case platform::LockWait::timedOut:
    case platform::LockWait::failed:
      break;
  }
  return true;
}

MutexLock::MutexLock(Mutex& target) : mutex_(target) { mutex_.lock(Mutex::WAIT_FOREVER); }

MutexLock::~MutexLock() { mutex_.unlock(); }

}  // namespace Lumbrel
