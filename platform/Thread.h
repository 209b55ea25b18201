// Threads behind Thread: start with an id known at once, wait for the end with
// the entry's full result, give up a handle, cancel, and the calling thread's
// id and sleep.
//
// A handle is given up exactly once, by whichever of joinThread, detachThread
// and cancelThread comes first; later calls on it do nothing. Several records
// may share a handle (shareThread), so that a call through one of them after
// another gave the handle up never reaches a thread that is gone.
#ifndef LUMBREL_PLATFORM_THREAD_H
#define LUMBREL_PLATFORM_THREAD_H

namespace Lumbrel {
namespace platform {

struct ThreadObject;  // opaque; one per started thread, shared by its records

using ThreadEntry = void* (*)(void* context);

// Starts a thread running entry(context). The new thread stores its id in
// `*id` before it calls `entry`, and startThread returns only after that. Null
// when no thread could be made; `*id` is then untouched.
ThreadObject* startThread(ThreadEntry entry, void* context, unsigned long* id);
// A further record of `thread` (null gives null).
ThreadObject* shareThread(ThreadObject* thread);
// Drops a record. The last one frees the record but leaves a handle that was
// never given up as it is: the thread is neither stopped nor detached.
void releaseThread(ThreadObject* thread);

// Waits for the end and gives up the handle; the entry's result. Null at once
// when the handle was given up already, and when the caller is the thread
// itself (the handle is given up then too). A cancellation point: a caller
// cancelled here still gives the handle up.
void* joinThread(ThreadObject* thread);
// Gives up the handle; the thread runs on and its resources go when it ends.
void detachThread(ThreadObject* thread);
// Ends the thread as cancellationUnwinds() says and gives up the handle. On
// the calling thread's own handle it ends the caller at once.
void cancelThread(ThreadObject* thread);

// The kernel's id of the calling thread, the numbers startThread stores.
unsigned long currentThreadId();
// Suspends the calling thread for `milliseconds`. A cancellation point.
void sleepMilliseconds(unsigned int milliseconds);

// Calls entry(context) and gives its result, or `onException` when an
// exception leaves it. The unwinding that ends a cancelled thread is no such
// exception: it passes on, so that the thread ends.
void* callCatchingExceptions(ThreadEntry entry, void* context, void* onException);

// A pointer of each thread's own under one key, handed to the key's clean-up
// when its thread ends with a value that is not null, however the thread was
// made. A key lives as long as the process.
struct ThreadSlot;
using SlotCleanup = void (*)(void* value);
// A new key; null when the platform has none left.
ThreadSlot* createThreadSlot(SlotCleanup cleanup);
// The calling thread's value; null until it sets one.
void* threadSlotValue(ThreadSlot* slot);
// Sets the calling thread's value; false on failure.
bool setThreadSlotValue(ThreadSlot* slot, void* value);

// While set, startThread on the calling thread fails, so that tests can reach
// the states of a failed start.
void failThreadCreation(bool fail);

// How cancelThread ends a thread. Where it unwinds, the thread ends at its
// next cancellation point and its destructors run; otherwise it ends at once,
// where it stands, and nothing of its stack runs.
bool cancellationUnwinds();

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_THREAD_H
