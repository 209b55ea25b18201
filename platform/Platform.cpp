// The parts of the seam that are the same on every platform: which platform
// is in use, and the substitutes' installation.
#include "platform/Platform.h"

#include <atomic>

#include "platform/Clock.h"

namespace Lumbrel {
namespace platform {
namespace {

std::atomic<Platform*> installed{nullptr};

}  // namespace

WritableFile::~WritableFile() = default;

Platform::~Platform() = default;

Platform& current() {
  Platform* substitute = installed.load(std::memory_order_acquire);
  return substitute != nullptr ? *substitute : native();
}

ScopedPlatform::ScopedPlatform(Platform& substitute)
    : previous_(installed.exchange(&substitute, std::memory_order_acq_rel)) {}

ScopedPlatform::~ScopedPlatform() { installed.store(previous_, std::memory_order_release); }

bool sameFields(const std::tm& a, const std::tm& b) {
  return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday &&
         a.tm_hour == b.tm_hour && a.tm_min == b.tm_min && a.tm_sec == b.tm_sec;
}

}  // namespace platform
}  // namespace Lumbrel
