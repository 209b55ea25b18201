// The parts of the seam that are the same on every platform: which platform
// is in use, and the substitutes' installation.
#include "platform/Platform.h"

#include <atomic>

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

}  // namespace platform
}  // namespace Lumbrel
