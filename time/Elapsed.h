// The printed form of a Timer, apart from the clock, so that it can be
// checked with readings chosen by hand.
#ifndef LUMBREL_TIME_ELAPSED_H
#define LUMBREL_TIME_ELAPSED_H

#include <ostream>

namespace Lumbrel {
namespace detail {

// Writes (now - then) in seconds, narrowed to single precision, fixed with
// three decimals; the stream keeps those flags.
void printElapsed(std::basic_ostream<char>& out, unsigned int nowSeconds,
                  unsigned int nowMilliseconds, unsigned int thenSeconds,
                  unsigned int thenMilliseconds);

}  // namespace detail
}  // namespace Lumbrel

#endif  // LUMBREL_TIME_ELAPSED_H
