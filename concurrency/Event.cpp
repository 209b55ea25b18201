#include "lumbrel/Event.h"

#include <cstdint>

#include "platform/Event.h"

namespace Lumbrel {

Event::Event(bool kind) : handle_(platform::createEvent(kind)), autoReset_(kind) {}

Event::Event(const Event& other)
    : handle_(platform::shareEvent(other.handle_)), autoReset_(other.autoReset_) {}

Event& Event::operator=(const Event& other) {
  if (this == &other) return *this;
  // Share first: both objects may already refer to the same event.
  platform::EventObject* shared = platform::shareEvent(other.handle_);
  platform::releaseEvent(handle_);
  handle_ = shared;
  autoReset_ = other.autoReset_;
  return *this;
}

Event::~Event() { platform::releaseEvent(handle_); }

void Event::signal() { platform::setEvent(handle_); }

void Event::reset() { platform::resetEvent(handle_); }

long Event::wait(unsigned long timeout) {
  // The limit is a 32-bit count of milliseconds, as on the platform this
  // interface was first written for.
  const auto seconds = static_cast<std::uint32_t>(timeout);
  if (seconds == platform::kWaitForever) {
    platform::waitEvent(handle_, platform::kWaitForever);
    return 0;
  }
  switch (platform::waitEvent(handle_, seconds * 1000u)) {
    case platform::EventWait::signalled:
      return 0;
    case platform::EventWait::timedOut:
      return 1;
    case platform::EventWait::failed:
      break;
  }
  return -1;
}

bool Event::test() { return platform::waitEvent(handle_, 0) != platform::EventWait::timedOut; }

}  // namespace Lumbrel
