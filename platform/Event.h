// The event behind Event: a flag that is signalled or not, of one of two
// kinds, shared by any number of references. An event lives until its last
// reference is released.
//
// An auto-reset event hands each signal to exactly one waiter: a signal that
// finds a blocked waiter releases it without leaving the flag set, so two
// signals release two waiters however the threads are scheduled. A
// manual-reset signal releases every thread blocked at that moment, even if a
// reset follows before they run.
#ifndef LUMBREL_PLATFORM_EVENT_H
#define LUMBREL_PLATFORM_EVENT_H

#include <cstdint>

#include "platform/Lock.h"  // kWaitForever

namespace Lumbrel {
namespace platform {

struct EventObject;  // opaque; one per event, shared by its references

enum class EventWait {
  signalled,  // the caller was released (an auto-reset event is clear again)
  timedOut,   // the limit passed with the event clear
  failed,     // no event, or the call failed
};

// A new clear event with one reference; null on failure.
EventObject* createEvent(bool autoReset);
// A further reference on `event` (null gives null).
EventObject* shareEvent(EventObject* event);
// Drops one reference; the last one destroys the event. Null is ignored.
void releaseEvent(EventObject* event);
// Sets the event, releasing waiters as its kind says. Null is ignored.
void setEvent(EventObject* event);
// Clears the event. Null is ignored.
void resetEvent(EventObject* event);
// Waits at most `milliseconds` against a monotonic clock (kWaitForever: no
// limit; 0: looks without blocking). A cancellation point: a thread
// cancelled here unwinds with the event's state intact.
EventWait waitEvent(EventObject* event, std::uint32_t milliseconds);

// While set, createEvent on the calling thread fails, so that tests can reach
// the object a failed creation leaves.
void failEventCreation(bool fail);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_EVENT_H
