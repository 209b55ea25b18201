#include "lumbrel/Event.h"

#include <cstdint>

#include "platform/Event.h"

namespace Lumbrel {

Event::Event(bool kind) : handle(platform::createEvent(kind)), autoReset(kind) {}

Event::Event(const Event& other)
    : handle(platform::shareEvent(other.handle)), autoReset(other.autoReset) {}

Event& Event::operator=(const Event& other) {
  if (this == &other) return *this;
  // Share first: both objects may already refer to the same event.
  platform::EventObject* shared = platform::shareEvent(other.handle);
  platform::releaseEvent(handle);
  handle = shared;
  autoReset = other.autoReset;
  return *this;
}

Event::~Event() { platform::releaseEvent(handle); }

void Event::signal() { platform::setEvent(handle); }

void Event::reset() { platform::resetEvent(handle); }

long Event::wait(unsigned long timeout) {
  // The limit is a 32-bit count of milliseconds, as on the platform this
  // interface was first written for.
  const auto seconds = static_cast<std::uint32_t>(timeout);
  if (seconds == platform::kWaitForever) {
    platform::waitEvent(handle, platform::kWaitForever);
    return 0;
  }
  switch (platform::waitEvent(handle, seconds * 1000u)) {
    case platform::EventWait::signalled:
      return 0;
    case platform::EventWait::timedOut:
      return 1;
    case platform::EventWait::failed:
      break;
  }
  return -1;
}

bool Event::test() { return platform::waitEvent(handle, 0) != platform::EventWait::timedOut; }

}  // namespace Lumbrel
