#include "lumbrel/Timer.h"

#include <ios>

#include "platform/Clock.h"
#include "time/Elapsed.h"

namespace Lumbrel {

namespace detail {

void printElapsed(std::basic_ostream<char>& out, unsigned int nowSeconds,
                  unsigned int nowMilliseconds, unsigned int thenSeconds,
                  unsigned int thenMilliseconds) {
  const double now = nowSeconds + nowMilliseconds * 0.001;
  const double then = thenSeconds + thenMilliseconds * 0.001;
  const float elapsed = static_cast<float>(now - then);
  out.setf(std::ios_base::fixed, std::ios_base::floatfield);
  out.setf(std::ios_base::showpoint);
  out.precision(3);
  out << static_cast<double>(elapsed);
}

}  // namespace detail

Timer::Timer() : seconds_(0), milliseconds_(0) { reset(); }

void Timer::reset() {
  const platform::WallClock now = platform::wallClock();
  // Held in 32 bits: the reading's seconds wrap in 2106.
  seconds_ = static_cast<unsigned int>(now.seconds);
  milliseconds_ = now.milliseconds;
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const Timer& timer) {
  const Timer now;
  detail::printElapsed(out, now.getSeconds(), now.getMilliseconds(), timer.getSeconds(),
                       timer.getMilliseconds());
  return out;
}

}  // namespace Lumbrel
