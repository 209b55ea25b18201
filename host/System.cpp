#include "lumbrel/System.h"

#include <array>
#include <cstddef>
#include <string>

#include "lumbrel/File.h"
#include "platform/Platform.h"

namespace Lumbrel {
namespace {

// The buffers of the queries: a computer name of at most 15 units, a host
// name that fits into 15 bytes with its terminator, and a file name that fits
// into 260 units with its terminator.
constexpr std::size_t kComputerNameUnits = 15;
constexpr std::size_t kHostNameBytes = 15;
constexpr std::size_t kProcessFileNameUnits = 260;

// The socket-layer version the host queries ask for: low byte 32, high byte 0.
constexpr unsigned short kSocketVersion = 0x0020;

// Starts the socket layer for one query and stops it on every way out, exactly
// when the start succeeded.
class SocketSession {
 public:
  explicit SocketSession(platform::Platform& target)
      : system_(target), started_(target.socketStartup(kSocketVersion)) {}
  ~SocketSession() {
    if (started_) system_.socketCleanup();
  }
  SocketSession(const SocketSession&) = delete;
  SocketSession& operator=(const SocketSession&) = delete;

  bool isStarted() const { return started_; }

 private:
  platform::Platform& system_;
  bool started_;
};

// What the name service knows of this host, or false when the socket layer
// does not start, the host name does not fit or the name is not resolved.
template <typename Use>
wstring askNameService(Use use) {
  platform::Platform& system = platform::current();
  SocketSession session(system);
  if (!session.isStarted()) return wstring();
  // One null more than the length handed over, so the name always ends.
  std::array<char, kHostNameBytes + 1> buffer{};
  if (!system.hostName(buffer.data(), kHostNameBytes)) return wstring();
  platform::HostEntry entry;
  if (!system.resolveHost(std::string(buffer.data()), entry)) return wstring();
  return use(entry);
}

wstring dottedDecimal(const std::array<unsigned char, 4>& address) {
  std::string text;
  for (std::size_t i = 0; i < address.size(); ++i) {
    if (i > 0) text += '.';
    text += std::to_string(address[i]);
  }
  return make_wstring(text);
}

}  // namespace

System::System() = default;

System::System(const System&) {}

System::~System() = default;

System& System::operator=(const System&) { return *this; }

unsigned int System::getType() { return 0; }

wstring System::getName() {
  wstring name;
  if (!platform::current().computerName(name, kComputerNameUnits)) return wstring();
  if (name.size() > kComputerNameUnits) return wstring();
  return name.substr(0, static_cast<std::size_t>(length(name)));
}

wstring System::getIpHostName() {
  return askNameService([](const platform::HostEntry& entry) {
    return entry.hasCanonicalName ? make_wstring(entry.canonicalName) : wstring();
  });
}

wstring System::getIpAddress() {
  return askNameService([](const platform::HostEntry& entry) {
    return entry.ipv4Addresses.empty() ? wstring() : dottedDecimal(entry.ipv4Addresses.front());
  });
}

wstring System::getVersion() { return wstring(); }

wstring System::getProcessFileName() {
  wstring name = platform::current().processFileName();
  // A name too long for the buffer is cut so that its terminator still fits.
  const std::size_t kept = static_cast<std::size_t>(length(name));
  name.resize(kept < kProcessFileNameUnits ? kept : kProcessFileNameUnits - 1);
  return name;
}

bool System::createFile(const wstring& name) { return File::create(name); }

bool System::deleteFile(const wstring& name) { return File::remove(name); }

bool System::existsFile(const wstring& name) { return File::exists(name); }

bool System::renameFile(const wstring& from, const wstring& to) { return File::rename(from, to); }

bool System::copyFile(const wstring& from, const wstring& to) { return File::copy(from, to); }

}  // namespace Lumbrel
