// Random bytes on Windows: the system's preferred cryptographic generator.
// There is no fork, so no cache is ever inherited by a child process.
#include "platform/win32/WinSupport.h"  // before the header that needs its types

#include <bcrypt.h>

#include <climits>

#include "platform/Random.h"

namespace Lumbrel {
namespace platform {

bool randomBytes(unsigned char* buffer, std::size_t size) {
  while (size > 0) {
    const ULONG part = size > ULONG_MAX ? ULONG_MAX : static_cast<ULONG>(size);
    if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, buffer, part, BCRYPT_USE_SYSTEM_PREFERRED_RNG)))
      return false;
    buffer += part;
    size -= part;
  }
  return true;
}

std::uint64_t processGeneration() { return 0; }

}  // namespace platform
}  // namespace Lumbrel
