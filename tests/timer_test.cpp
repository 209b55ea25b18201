#include "lumbrel/Timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>
#include <thread>

#include "time/Elapsed.h"

using Lumbrel::Timer;

namespace {

TEST(TimerTest, PrintsThreeDecimalsAndLeavesTheFlagsSet) {
  std::ostringstream out;
  out << std::scientific << Timer();
  const std::string printed = out.str();
  EXPECT_EQ(printed.find_first_not_of("0123456789."), std::string::npos) << printed;
  EXPECT_EQ(printed.find('.'), printed.size() - 4) << printed;
  out.str("");
  out << 2.0 << ' ' << 1.23456 << ' ' << std::setprecision(0) << 2.0;  // showpoint stays too
  EXPECT_EQ(out.str(), "2.000 1.235 2.");

  // Single precision: about seven significant digits. A clock set back gives a negative time,
  // and width and fill apply as to any number.
  std::ostringstream chosen;
  Lumbrel::detail::printElapsed(chosen, 100000, 123, 0, 0);
  Lumbrel::detail::printElapsed(chosen << ' ' << std::setw(7) << std::setfill('*'), 10, 0, 11, 500);
  EXPECT_EQ(chosen.str(), "100000.125 *-1.500");
}

TEST(TimerTest, ReadingIsTheWallClockAndCopiesHoldIt) {
  auto reading = [](const Timer& t) { return t.getSeconds() * 1000ULL + t.getMilliseconds(); };
  const long long before = std::time(nullptr);
  Timer timer;
  EXPECT_GE(static_cast<long long>(timer.getSeconds()), before);
  EXPECT_LT(timer.getMilliseconds(), 1000u);
  const unsigned long long first = reading(timer);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(reading(Timer(timer)), first);  // the reading stays, in copies too, until reset
  timer.reset();
  EXPECT_GT(reading(timer), first);  // 20 ms were slept
}

}  // namespace
