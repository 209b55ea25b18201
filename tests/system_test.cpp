#include "lumbrel/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "TestSupport.h"
#include "platform/Platform.h"

using Lumbrel::System;

namespace {

// Scripted computer name, socket layer, host name and name service; counts the
// socket layer's stops.
struct ScriptedHost : Lumbrel::platform::PlatformWrapper {
  bool startupSucceeds = true;
  std::string name = "agent-7";
  bool resolves = true;
  Lumbrel::platform::HostEntry record{
      true, "agent-7.example.net", {{10, 0, 255, 7}, {192, 168, 1, 2}}};
  int cleanups = 0;
  unsigned short version = 0;

  bool socketStartup(unsigned short asked) override {
    version = asked;
    return startupSucceeds;
  }
  void socketCleanup() override { ++cleanups; }
  bool computerName(Lumbrel::wstring& units, std::size_t) override {
    units = Lumbrel::make_wstring(name);
    return true;
  }
  bool hostName(char* buffer, std::size_t size) override {
    return name.size() < size && std::memcpy(buffer, name.c_str(), name.size() + 1) != nullptr;
  }
  bool resolveHost(const std::string&, Lumbrel::platform::HostEntry& entry) override {
    if (resolves) entry = record;
    return resolves;
  }
};

// Both socket queries at once, as "host name|address".
std::string hostQueries() {
  return Lumbrel::make_string(System::getIpHostName()) + "|" +
         Lumbrel::make_string(System::getIpAddress());
}

TEST(SystemTest, QueriesAnswerFromTheSystemAndStopOnlyWhatStarted) {
  ScriptedHost host;
  Lumbrel::platform::ScopedPlatform installed(host);
  EXPECT_EQ(hostQueries(), "agent-7.example.net|10.0.255.7");  // the first of two addresses
  EXPECT_EQ(host.cleanups, 2);
  EXPECT_EQ(host.version, 0x0020);  // low byte 32, not 0x0002 or 0x0202
  host.startupSucceeds = false;     // then nothing is stopped
  EXPECT_EQ(hostQueries(), "|");
  EXPECT_EQ(host.cleanups, 2);

  host.startupSucceeds = true;
  host.resolves = false;
  EXPECT_EQ(hostQueries(), "|");
  EXPECT_EQ(host.cleanups, 4);
  // The host name gets 15 bytes, its terminator included; the computer name 15 units.
  host.resolves = true;
  host.name = std::string(16, 'h');
  EXPECT_EQ(System::getName(), Lumbrel::wstring());
  host.name.pop_back();
  EXPECT_EQ(hostQueries(), "|");
  EXPECT_EQ(System::getName(), lumbrel_test::W(host.name.c_str()));
  host.name.pop_back();
  EXPECT_EQ(hostQueries(), "agent-7.example.net|10.0.255.7");
  host.record.hasCanonicalName = false;
  host.record.ipv4Addresses.clear();
  EXPECT_EQ(hostQueries(), "|");
}

}  // namespace
