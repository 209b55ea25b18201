// The event on Windows: a kernel event of either kind, whose release rules are
// those of the interface. One handle per event, shared by reference-counted
// objects, so that sharing never fails.
#include <atomic>
#include <new>

#include "platform/Event.h"
#include "platform/win32/WinSupport.h"

namespace Lumbrel {
namespace platform {

struct EventObject {
  HANDLE handle = nullptr;
  std::atomic<long> references{1};
};

namespace {

thread_local bool creationFails = false;

}  // namespace

void failEventCreation(bool fail) { creationFails = fail; }

EventObject* createEvent(bool autoReset) {
  if (creationFails) return nullptr;
  auto* event = new (std::nothrow) EventObject;
  if (event == nullptr) return nullptr;
  event->handle = CreateEventA(nullptr, autoReset ? FALSE : TRUE, FALSE, nullptr);
  if (event->handle == nullptr) {
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
    CloseHandle(event->handle);
    delete event;
  }
}

void setEvent(EventObject* event) {
  if (event != nullptr) SetEvent(event->handle);
}

void resetEvent(EventObject* event) {
  if (event != nullptr) ResetEvent(event->handle);
}

EventWait waitEvent(EventObject* event, std::uint32_t milliseconds) {
  if (event == nullptr) return EventWait::failed;
  // A look first, so that a thread that finds the event set is never counted
  // as blocked.
  DWORD result = WaitForSingleObject(event->handle, 0);
  if (result == WAIT_TIMEOUT && milliseconds != 0)
    result = blockingWait(event->handle, milliseconds);
  switch (result) {
    case WAIT_OBJECT_0:
      return EventWait::signalled;
    case WAIT_TIMEOUT:
      return EventWait::timedOut;
    default:
      return EventWait::failed;
  }
}

}  // namespace platform
}  // namespace Lumbrel
