/// \class Lumbrel::Event
/// Event: lets one thread tell others that something has happened. An event is
/// a flag, signalled or clear, with a wait limited in seconds, of one of two
/// kinds chosen at construction:
///
/// ```text
///   auto-reset    each signal releases one waiter and the event is clear
///                 again; a signal with nobody waiting stays until one wait or
///                 test takes it. Signals do not add up.
///   manual-reset  a signal releases every waiter and the event stays
///                 signalled until reset.
///
///   state       operation        effect                        next state
///   clear       signal           auto: one waiter released     auto with a waiter: clear,
///                                manual: all released          otherwise signalled
///   signalled   signal           nothing                       signalled
///   any         reset            nobody released               clear
///   signalled   wait, test       caller goes on                auto: clear, manual: signalled
///   clear       wait             blocks until signal or limit  as above; unchanged on 1
///   clear       test             false                         clear
/// ```
///
/// An Event object is a handle: copies and assignments refer to the same event,
/// which lives until the last object that refers to it goes. Nothing raises. If
/// the event could not be made, the object has none: signal and reset do
/// nothing, a limited wait returns -1, an unlimited wait returns 0, test
/// returns true.
///
/// Thread safety: signal, reset, wait and test may be called from any thread at
/// any time, on one object or its copies. Assignment and destruction must not
/// race with other use of the same object.
#ifndef LUMBREL_EVENT_H
#define LUMBREL_EVENT_H

#include "lumbrel/Export.h"

namespace Lumbrel {

namespace platform {
struct EventObject;
}

class LUMBREL_API Event {
 public:
  /// No limit for wait().
  static constexpr unsigned long WAIT_FOREVER = 0xFFFFFFFFUL;

  /// A new clear event; a failure to make it is not reported.
  explicit Event(bool autoReset = true);
  /// Refers to `other`'s event.
  Event(const Event& other);
  /// Lets go of the event held so far and refers to `other`'s.
  Event& operator=(const Event& other);
  virtual ~Event();

  /// Signals the event: see the table of the class.
  void signal();
  /// Clears the event; nobody is released.
  void reset();
  /// Waits at most `timeout` seconds, computed as a 32-bit count of
  /// milliseconds (so at most 4294967 s; 0 only looks; WAIT_FOREVER has no
  /// limit). 0: signalled; 1: the limit passed; -1: the wait failed. An
  /// unlimited wait always returns 0. A cancellation point.
  long wait(unsigned long timeout);
  /// Looks without waiting: false only when the event is clear. Takes the
  /// signal of an auto-reset event.
  bool test();

 private:
  platform::EventObject* handle_;
  bool autoReset_;
};

}  // namespace Lumbrel

#endif  // LUMBREL_EVENT_H
