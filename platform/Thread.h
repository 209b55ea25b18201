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
// Asks the thread to end at its next cancellation point, unwinding its stack,
// and gives up the handle. On the calling thread's own handle it ends the
// caller at once.
void cancelThread(ThreadObject* thread);

// The kernel's id of the calling thread, the numbers startThread stores.
unsigned long currentThreadId();
// Suspends the calling thread for `milliseconds`. A cancellation point.
void sleepMilliseconds(unsigned int milliseconds);

// While set, startThread on the calling thread fails, so that tests can reach
// the states of a failed start.
void failThreadCreation(bool fail);

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_THREAD_H
