// The host record that both socket libraries fill (`hostent`, the same fields
// on every platform) copied into the library's own HostEntry, so that the
// rules of what is kept live in one place.
#ifndef LUMBREL_PLATFORM_HOST_RECORD_H
#define LUMBREL_PLATFORM_HOST_RECORD_H

#include <array>
#include <cstring>

#include "platform/Platform.h"

namespace Lumbrel {
namespace platform {

// `ipv4Family` is the system's AF_INET. Only IPv4 addresses of four bytes are
// kept, in the record's order, in network byte order.
template <class Hostent>
HostEntry hostEntryOf(const Hostent& found, int ipv4Family) {
  HostEntry entry;
  if (found.h_name != nullptr) {
    entry.hasCanonicalName = true;
    entry.canonicalName = found.h_name;
  }
  if (found.h_addrtype == ipv4Family && found.h_length == 4 && found.h_addr_list != nullptr) {
    for (char** address = found.h_addr_list; *address != nullptr; ++address) {
      std::array<unsigned char, 4> bytes;
      std::memcpy(bytes.data(), *address, 4);
      entry.ipv4Addresses.push_back(bytes);
    }
  }
  return entry;
}

}  // namespace platform
}  // namespace Lumbrel

#endif  // LUMBREL_PLATFORM_HOST_RECORD_H
