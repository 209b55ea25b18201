/// \class Lumbrel::Timer
/// Timer: one reading of the wall clock, taken when the timer is made or
/// reset, that prints how long ago it was taken. The elapsed time exists only
/// in the printed form, which reads the clock again each time.
///
/// Printing writes seconds with exactly three decimals and no unit (12.345),
/// in single precision, so about seven significant digits. It leaves `fixed`,
/// `showpoint` and precision 3 set on the stream for what follows. A wall
/// clock set back between reading and printing gives a negative time.
///
/// Thread safety: a plain value without shared state; printing only reads it.
#ifndef LUMBREL_TIMER_H
#define LUMBREL_TIMER_H

#include <ostream>

#include "lumbrel/Export.h"

namespace Lumbrel {

class LUMBREL_API Timer {
 public:
  /// Reads the clock.
  Timer();
  /// Copies the reading.
  Timer(const Timer& other) = default;
  ~Timer() = default;
  /// Copies the reading.
  Timer& operator=(const Timer& other) = default;

  /// The moment of the reading (seconds since the epoch and its milliseconds,
  /// 0 to 999), not an elapsed time: they do not change as time passes.
  ///@{
  unsigned int getSeconds() const { return seconds_; }
  unsigned int getMilliseconds() const { return milliseconds_; }
  ///@}

  /// Takes a new reading.
  void reset();

 private:
  unsigned int seconds_;
  unsigned int milliseconds_;
};

/// Writes the seconds elapsed since `timer`'s reading, as described above.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out,
                                                 const Timer& timer);

}  // namespace Lumbrel

#endif  // LUMBREL_TIMER_H
