// The lock on Windows: a kernel mutex, recursive and owned by a thread. Each
// handle on it is a handle of its own (DuplicateHandle), and the kernel ends
// the mutex with its last handle. A holder that ends while holding it leaves
// it abandoned: the next waiter gets it, told so.
#include "platform/Lock.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

namespace {

HANDLE handleOf(LockObject* lock) { return reinterpret_cast<HANDLE>(lock); }

LockObject* lockOf(HANDLE handle) { return reinterpret_cast<LockObject*>(handle); }

LockWait outcome(DWORD result) {
  switch (result) {
    case WAIT_OBJECT_0:
      return LockWait::acquired;
    case WAIT_ABANDONED:
      return LockWait::abandoned;
    case WAIT_TIMEOUT:
      return LockWait::timedOut;
    default:
      return LockWait::failed;
  }
}

}  // namespace

LockObject* createLock() { return lockOf(CreateMutexA(nullptr, FALSE, nullptr)); }

LockObject* duplicateLock(LockObject* lock) {
  if (lock == nullptr) return nullptr;
  HANDLE process = GetCurrentProcess();
  HANDLE duplicate = nullptr;
  if (!DuplicateHandle(process, handleOf(lock), process, &duplicate, 0, FALSE,
                       DUPLICATE_SAME_ACCESS)) {
    return nullptr;
  }
  return lockOf(duplicate);
}

bool closeLock(LockObject* lock) { return lock != nullptr && CloseHandle(handleOf(lock)) != 0; }

LockWait acquireLock(LockObject* lock, std::uint32_t milliseconds) {
  if (lock == nullptr) return LockWait::failed;
  // One try first, so that a thread that takes a free lock is never counted
  // as blocked.
  DWORD result = WaitForSingleObject(handleOf(lock), 0);
  if (result == WAIT_TIMEOUT && milliseconds != 0)
    result = blockingWait(handleOf(lock), milliseconds);
  return outcome(result);
}

bool releaseLock(LockObject* lock) { return lock != nullptr && ReleaseMutex(handleOf(lock)) != 0; }

}  // namespace platform
}  // namespace Lumbrel
