// Threads on Windows: the kernel's threads and ids.
//
// A thread is made suspended and resumed once its id is stored, so that the
// id is known before the entry runs. The entry's full result is kept beside
// the handle (an exit code has only 32 bits). Cancelling terminates the
// thread where it stands: nothing of its stack runs, and a lock it holds is
// left to its next taker as abandoned.
#include <atomic>
#include <new>

#include "platform/Testing.h"
#include "platform/Thread.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

struct ThreadObject {
  HANDLE handle = nullptr;
  DWORD id = 0;
  ThreadEntry entry = nullptr;
  void* context = nullptr;
  void* result = nullptr;  // written by the thread before it ends
  std::atomic<bool> open{true};  // the handle has not been given up
  // The records, and the running thread until it has stored its result.
  std::atomic<long> references{2};
  // Whether the running thread's reference is still to be dropped: by the
  // thread as it leaves, or on its behalf when it was terminated.
  std::atomic<bool> runningReference{true};
};

namespace {

thread_local bool creationFails = false;

void dropReference(ThreadObject* thread) {
  if (thread->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete thread;
}

void dropRunningReference(ThreadObject* thread) {
  if (thread->runningReference.exchange(false, std::memory_order_acq_rel)) dropReference(thread);
}

DWORD WINAPI startRoutine(LPVOID parameter) {
  auto* thread = static_cast<ThreadObject*>(parameter);
  thread->result = thread->entry(thread->context);
  dropRunningReference(thread);
  return 0;
}

// The threads blocked in blockingWait or blockingSleep at this moment, by id;
// 0 is a free place. A thread that finds no free place is not recorded.
constexpr std::size_t kBlockedPlaces = 256;
std::atomic<DWORD> blockedThreads[kBlockedPlaces];

class Blocked {
 public:
  Blocked() {
    const DWORD id = GetCurrentThreadId();
    // Ids are multiples of 4; start at a place of the thread's own.
    const std::size_t start = (id >> 2) % kBlockedPlaces;
    for (std::size_t i = 0; i < kBlockedPlaces; ++i) {
      const std::size_t at = (start + i) % kBlockedPlaces;
      DWORD expected = 0;
      if (blockedThreads[at].compare_exchange_strong(expected, id, std::memory_order_relaxed)) {
        place_ = at;
        return;
      }
    }
  }
  ~Blocked() {
    if (place_ != kBlockedPlaces) blockedThreads[place_].store(0, std::memory_order_relaxed);
  }
  Blocked(const Blocked&) = delete;
  Blocked& operator=(const Blocked&) = delete;

 private:
  std::size_t place_ = kBlockedPlaces;
};

}  // namespace

DWORD blockingWait(HANDLE object, DWORD milliseconds) {
  const Blocked blocked;
  return WaitForSingleObject(object, milliseconds);
}

void blockingSleep(DWORD milliseconds) {
  const Blocked blocked;
  Sleep(milliseconds);
}

void forgetBlockedThread(DWORD id) {
  for (std::atomic<DWORD>& place : blockedThreads) {
    DWORD expected = id;
    place.compare_exchange_strong(expected, 0, std::memory_order_relaxed);
  }
}

void failThreadCreation(bool fail) { creationFails = fail; }

ThreadObject* startThread(ThreadEntry entry, void* context, unsigned long* id) {
  if (creationFails) return nullptr;
  auto* thread = new (std::nothrow) ThreadObject;
  if (thread == nullptr) return nullptr;
  thread->entry = entry;
  thread->context = context;
  thread->handle =
      CreateThread(nullptr, 0, startRoutine, thread, CREATE_SUSPENDED, &thread->id);
  if (thread->handle == nullptr) {
    delete thread;
    return nullptr;
  }
  *id = thread->id;
  if (ResumeThread(thread->handle) == static_cast<DWORD>(-1)) {
    TerminateThread(thread->handle, 0);
    CloseHandle(thread->handle);
    delete thread;
    return nullptr;
  }
  return thread;
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
  void* result = nullptr;
  // A thread that joins itself would wait for ever: it gives the handle up.
  if (thread->id != GetCurrentThreadId()) {
    blockingWait(thread->handle, INFINITE);
    result = thread->result;
  }
  CloseHandle(thread->handle);
  return result;
}

void detachThread(ThreadObject* thread) {
  if (thread != nullptr && thread->open.exchange(false)) CloseHandle(thread->handle);
}

void cancelThread(ThreadObject* thread) {
  if (thread == nullptr || !thread->open.exchange(false)) return;
  if (thread->id == GetCurrentThreadId()) {
    CloseHandle(thread->handle);
    dropRunningReference(thread);
    ExitThread(0);
  }
  TerminateThread(thread->handle, 0);
  // Termination completes on its own time: wait for it, so that what the
  // thread left unfinished can be settled for it.
  WaitForSingleObject(thread->handle, INFINITE);
  forgetBlockedThread(thread->id);
  dropRunningReference(thread);
  CloseHandle(thread->handle);
}

unsigned long currentThreadId() { return GetCurrentThreadId(); }

void sleepMilliseconds(unsigned int milliseconds) { blockingSleep(milliseconds); }

void* callCatchingExceptions(ThreadEntry entry, void* context, void* onException) {
  try {
    return entry(context);
  } catch (...) {
    return onException;
  }
}

// Fiber-local storage: unlike a thread-local object, its clean-up runs for
// every thread that ends, however the thread was made.
ThreadSlot* createThreadSlot(SlotCleanup cleanup) {
  const DWORD index = FlsAlloc(cleanup);
  if (index == FLS_OUT_OF_INDEXES) return nullptr;
  // One above the index, so that no slot is null.
  return reinterpret_cast<ThreadSlot*>(static_cast<std::uintptr_t>(index) + 1);
}

void* threadSlotValue(ThreadSlot* slot) {
  return FlsGetValue(static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(slot) - 1));
}

bool setThreadSlotValue(ThreadSlot* slot, void* value) {
  return FlsSetValue(static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(slot) - 1), value) != 0;
}

bool threadIsBlocked(unsigned long id) {
  for (const std::atomic<DWORD>& place : blockedThreads) {
    if (place.load(std::memory_order_relaxed) == id) return true;
  }
  return false;
}

bool cancellationUnwinds() { return false; }

}  // namespace platform
}  // namespace Lumbrel
