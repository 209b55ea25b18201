/// \class Lumbrel::Thread
/// Thread: the unit of concurrent work. Derive from it and override run();
/// start() makes a thread that calls run() on this object with the argument
/// given to start(). A Thread object can start one thread in its life, and it
/// must outlive that thread. Nothing raises.
///
/// Two flags, `started` and `detached`, decide what every call does:
///
/// ```text
///   state          started detached
///   Fresh          no      no        no thread
///   FreshDetached  no      yes       no thread; its handle goes at start
///   Joinable       yes     no        a thread was made (running or ended)
///   Released       yes     yes       a thread was made; its handle is gone
///
///   state          start                  join               detach         abort
///   Fresh          made: true, Joinable   null               FreshDetached  nothing
///                  failed: false, Fresh
///   FreshDetached  made: true, Released   null               nothing        nothing
///                  failed: false, stays
///   Joinable       true, nothing else     waits, run's       Released;      cancels the
///                                         result; Released   thread runs    thread; Released
///   Released       true, nothing else     null               nothing        nothing
/// ```
///
/// No state leads back to Fresh. The end of the thread is no transition.
///
/// A run() that lets an exception out ends its thread with the result
/// (void*)-1, all bits set. abort() does not kill the thread where it stands:
/// it cancels it, and the thread ends at its next cancellation point (sleep(),
/// Event::wait(), Mutex::lock(), join(), a blocking read or wait of the C
/// library), unwinding its stack so that destructors run and scope guards let
/// go. A thread that computes without reaching such a point runs on.
///
/// A copy is a second record of the same thread, not a second thread: it has
/// the same id and argument and its own flags. Only one record may join,
/// detach or abort; a call through another record afterwards does nothing.
///
/// Thread safety: the object has no lock. Do not call start, join, detach or
/// abort on one object from two threads at once. The new thread reads only the
/// argument and calls run(); it may be running before start() returns.
#ifndef LUMBREL_THREAD_H
#define LUMBREL_THREAD_H

#include "lumbrel/Export.h"

namespace Lumbrel {

namespace platform {
struct ThreadObject;
}

class LUMBREL_API Thread {
 public:
  /// Fresh: no thread is made.
  Thread();
  /// A second record of `other`'s thread, with its own copy of the flags.
  Thread(const Thread& other);
  /// Takes `other`'s record of its thread: id, argument and flags.
  Thread& operator=(const Thread& other);
  /// Neither stops, joins nor gives up anything: a Joinable thread stays so.
  virtual ~Thread();

  /// Does nothing by default; the library never calls it. A derived class may
  /// use it to ask its run() to finish.
  virtual void stop();

  /// Makes a thread that calls run(argument), unless one was made before
  /// (then `argument` is ignored). True when this object has a thread; returns
  /// once getThreadId() holds its id. A failed start may be tried again.
  bool start(void* argument = nullptr);
  /// Waits for the end and returns what run() returned; null at once unless
  /// Joinable, and on the thread's own object from that thread (which could
  /// never end its wait: the handle is given up instead). A cancellation
  /// point; a joiner cancelled here gives the handle up all the same.
  void* join();
  /// Gives up the handle, now or as soon as the thread is made.
  void detach();
  /// Cancels a Joinable thread and gives up the handle; nothing otherwise.
  void abort();

  /// The kernel's id of the started thread; meaningful after a successful
  /// start, also once the thread has ended.
  unsigned long getThreadId() const;
  /// The id of the calling thread, the same numbers as getThreadId().
  static unsigned long getCurrentThreadId();
  /// Suspends the calling thread for `time` milliseconds (not seconds). A
  /// cancellation point.
  static void sleep(unsigned int time);

 protected:
  /// The thread's body; the default returns null at once.
  virtual void* run(void* argument);

 private:
  static void* entry(void* object);
  static void* runEntry(void* object);

  // Suffixed, so that a derived class may name run's parameter `argument`
  // without -Wshadow complaining.
  platform::ThreadObject* handle_;
  unsigned long threadId_;
  void* argument_;
  bool started_;
  bool detached_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_THREAD_H
