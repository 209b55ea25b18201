#include "lumbrel/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"
#include "platform/Testing.h"

using Lumbrel::System;
using Lumbrel::wstring;
using lumbrel_test::W;

namespace {

// Scripted socket layer, host name and name service; counts the socket layer's stops.
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
  bool hostName(char* buffer, std::size_t size) override {
    return name.size() < size && std::memcpy(buffer, name.c_str(), name.size() + 1) != nullptr;
  }
  bool resolveHost(const std::string&, Lumbrel::platform::HostEntry& entry) override {
    if (resolves) entry = record;
    return resolves;
  }
};

TEST(HostQueryTest, AnswersFromTheRecordAndStopsOnlyWhatStarted) {
  ScriptedHost host;
  Lumbrel::platform::ScopedPlatform installed(host);
  EXPECT_EQ(System::getIpHostName(), W("agent-7.example.net"));
  EXPECT_EQ(System::getIpAddress(), W("10.0.255.7"));  // the first of several
  EXPECT_EQ(host.cleanups, 2);
  EXPECT_EQ(host.version, 0x0020);  // low byte 32, not 0x0002 or 0x0202
  host.startupSucceeds = false;  // then nothing is stopped
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.cleanups, 2);

  host.startupSucceeds = true;
  host.resolves = false;
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.cleanups, 4);
  host.resolves = true;  // the host name gets 15 bytes, its terminator included
  host.name = std::string(15, 'h');
  EXPECT_EQ(System::getIpAddress(), wstring());
  host.name.pop_back();
  EXPECT_EQ(System::getIpAddress(), W("10.0.255.7"));
  host.record.hasCanonicalName = false;
  host.record.ipv4Addresses.clear();
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
}

TEST(RealSystemTest, NamesOfThisMachineAndProcess) {
  const std::string expected =
      "\\" + lumbrel_test::nativePath(Lumbrel::platform::executableFile()).filename().u8string();
  const std::string processName = Lumbrel::make_string(System::getProcessFileName());
  ASSERT_GT(processName.size(), expected.size());
  EXPECT_EQ(processName.substr(processName.size() - expected.size()), expected);
  EXPECT_LE(System::getName().size(), 15U);
}

TEST(RealSystemTest, FileOperationsAgreeWithFile) {
  lumbrel_test::TempDir dir;
  using Lumbrel::File;
  // Each step through System on s* must give what File gives on f*.
  auto s = [&](const char* entry) { return dir.name(std::string("s") + entry); };
  auto f = [&](const char* entry) { return dir.name(std::string("f") + entry); };
  EXPECT_EQ(System::copyFile(s("1"), s("2")), File::copy(f("1"), f("2")));
  EXPECT_EQ(System::createFile(s("1")), File::create(f("1")));
  EXPECT_EQ(System::existsFile(s("1")), File::exists(f("1")));
  EXPECT_EQ(System::copyFile(s("1"), s("2")), File::copy(f("1"), f("2")));
  EXPECT_EQ(System::renameFile(s("1"), s("2")), File::rename(f("1"), f("2")));
  EXPECT_EQ(System::renameFile(s("1"), s("3")), File::rename(f("1"), f("3")));
  EXPECT_EQ(System::deleteFile(s("3")), File::remove(f("3")));
  EXPECT_TRUE(File::exists(s("2")) && !File::exists(s("1")) && !File::exists(s("3")));
  EXPECT_EQ(System::createFile(s("none\\x")), File::create(f("none\\x")));
}

}  // namespace
