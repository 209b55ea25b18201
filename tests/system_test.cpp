#include "lumbrel/System.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"

using Lumbrel::System;
using Lumbrel::wstring;
using Lumbrel::platform::HostEntry;
using lumbrel_test::W;

namespace {

// A host whose socket layer, name and name service are scripted, and which
// records what the queries asked of them.
class ScriptedHost : public Lumbrel::platform::PlatformWrapper {
 public:
  bool startupSucceeds = true;
  std::string name = "agent-7";
  bool resolves = true;
  HostEntry record;

  std::vector<unsigned short> startupVersions;
  int cleanups = 0;
  std::vector<std::size_t> hostNameSizes;
  std::vector<std::string> resolvedNames;

  bool socketStartup(unsigned short version) override {
    startupVersions.push_back(version);
    return startupSucceeds;
  }
  void socketCleanup() override { ++cleanups; }
  bool hostName(char* buffer, std::size_t size) override {
    hostNameSizes.push_back(size);
    if (name.size() + 1 > size) return false;
    std::memcpy(buffer, name.c_str(), name.size() + 1);
    return true;
  }
  bool resolveHost(const std::string& host, HostEntry& entry) override {
    resolvedNames.push_back(host);
    if (!resolves) return false;
    entry = record;
    return true;
  }
};

class HostQueryTest : public ::testing::Test {
 protected:
  HostQueryTest() {
    host.record.hasCanonicalName = true;
    host.record.canonicalName = "agent-7.example.net";
    host.record.ipv4Addresses = {{10, 0, 255, 7}, {192, 168, 1, 2}};
  }
  ScriptedHost host;
  Lumbrel::platform::ScopedPlatform installed{host};
};

TEST_F(HostQueryTest, AnswersFromTheFirstRecordAndStopsTheSocketLayerEachTime) {
  EXPECT_EQ(System::getIpHostName(), W("agent-7.example.net"));
  EXPECT_EQ(System::getIpAddress(), W("10.0.255.7"));
  EXPECT_EQ(host.startupVersions, (std::vector<unsigned short>{0x0020, 0x0020}));
  EXPECT_EQ(host.cleanups, 2);
  EXPECT_EQ(host.hostNameSizes, (std::vector<std::size_t>{15, 15}));
  EXPECT_EQ(host.resolvedNames, (std::vector<std::string>{"agent-7", "agent-7"}));

  host.record.ipv4Addresses = {{0, 0, 0, 0}};
  EXPECT_EQ(System::getIpAddress(), W("0.0.0.0"));
}

TEST_F(HostQueryTest, SocketLayerThatDoesNotStartIsNeverStopped) {
  host.startupSucceeds = false;
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.startupVersions.size(), 2U);
  EXPECT_EQ(host.cleanups, 0);
  EXPECT_TRUE(host.hostNameSizes.empty());
}

TEST_F(HostQueryTest, FailedLookupsGiveEmptyTextWithOneCleanupEach) {
  host.resolves = false;
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.cleanups, 2);

  // 15 bytes hold a name of 14 with its terminator, and no more.
  host.resolves = true;
  host.name = std::string(15, 'h');
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.cleanups, 4);
  EXPECT_EQ(host.resolvedNames.size(), 2U);
  host.name = std::string(14, 'h');
  EXPECT_EQ(System::getIpHostName(), W("agent-7.example.net"));
  EXPECT_EQ(host.resolvedNames.back(), host.name);
  EXPECT_EQ(host.cleanups, 5);
}

TEST_F(HostQueryTest, RecordsLackingANameOrAnAddress) {
  host.record.hasCanonicalName = false;
  EXPECT_EQ(System::getIpHostName(), wstring());
  EXPECT_EQ(System::getIpAddress(), W("10.0.255.7"));
  host.record.hasCanonicalName = true;
  host.record.ipv4Addresses.clear();
  EXPECT_EQ(System::getIpHostName(), W("agent-7.example.net"));
  EXPECT_EQ(System::getIpAddress(), wstring());
  EXPECT_EQ(host.cleanups, 4);
}

class NamedMachine : public Lumbrel::platform::PlatformWrapper {
 public:
  bool succeeds = true;
  wstring name;
  wstring processName;
  std::size_t capacity = 0;

  bool computerName(wstring& result, std::size_t room) override {
    capacity = room;
    if (succeeds) result = name;
    return succeeds;
  }
  wstring processFileName() override { return processName; }
};

TEST(SystemTest, ComputerNameOfAtMostFifteenUnits) {
  NamedMachine machine;
  Lumbrel::platform::ScopedPlatform installed(machine);
  machine.name = W("BUILD-SERVER-01");
  EXPECT_EQ(System::getName(), W("BUILD-SERVER-01"));
  EXPECT_EQ(machine.capacity, 15U);
  machine.name = wstring();
  EXPECT_EQ(System::getName(), wstring());
  machine.succeeds = false;
  machine.name = W("IGNORED");
  EXPECT_EQ(System::getName(), wstring());
}

TEST(SystemTest, ProcessFileNameFitsIntoTwoHundredSixtyUnits) {
  NamedMachine machine;
  Lumbrel::platform::ScopedPlatform installed(machine);
  machine.processName = W(("Z:\\" + std::string(300, 'p')).c_str());
  EXPECT_EQ(System::getProcessFileName(), machine.processName.substr(0, 259));
  machine.processName = W(("Z:\\" + std::string(256, 'p')).c_str());
  EXPECT_EQ(System::getProcessFileName().size(), 259U);
  machine.processName = W("Z:\\a");
  machine.processName += static_cast<unsigned short>(0);
  machine.processName += W("b");
  EXPECT_EQ(System::getProcessFileName(), W("Z:\\a"));
  machine.processName = wstring();
  EXPECT_EQ(System::getProcessFileName(), wstring());
}

TEST(SystemTest, FixedAnswers) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(System::getType(), 0U);
    EXPECT_EQ(System::getVersion(), wstring());
  }
  System a;
  System b(a);
  EXPECT_EQ(&(a = b), &a);
}

TEST(RealSystemTest, NamesOfThisMachineAndProcess) {
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string expected = "\\" + self.filename().string();
  const std::string processName = Lumbrel::make_string(System::getProcessFileName());
  ASSERT_GT(processName.size(), expected.size());
  EXPECT_EQ(processName.substr(0, 3), "Z:\\");
  EXPECT_EQ(processName.substr(processName.size() - expected.size()), expected);
  EXPECT_LE(System::getName().size(), 15U);
  // Whatever the name service says, nothing is raised.
  System::getIpHostName();
  System::getIpAddress();
}

TEST(RealSystemTest, FileOperationsAgreeWithFile) {
  lumbrel_test::TempDir dir;
  using Lumbrel::File;
  // Each step is taken once through System and once through File, on twin
  // names, and must give the same result and leave the same files.
  const char* twins[][2] = {{"s", "f"}, {"s2", "f2"}, {"s3", "f3"}};
  auto name = [&](int twin, int side) { return dir.name(twins[twin][side]); };
  EXPECT_EQ(System::existsFile(name(0, 0)), File::exists(name(0, 1)));
  EXPECT_EQ(System::deleteFile(name(0, 0)), File::remove(name(0, 1)));
  EXPECT_EQ(System::copyFile(name(0, 0), name(1, 0)), File::copy(name(0, 1), name(1, 1)));
  EXPECT_EQ(System::createFile(name(0, 0)), File::create(name(0, 1)));
  EXPECT_TRUE(System::existsFile(name(0, 0)));
  EXPECT_EQ(System::copyFile(name(0, 0), name(1, 0)), File::copy(name(0, 1), name(1, 1)));
  EXPECT_TRUE(File::exists(name(1, 1)));
  EXPECT_EQ(System::renameFile(name(0, 0), name(1, 0)), File::rename(name(0, 1), name(1, 1)));
  EXPECT_EQ(System::renameFile(name(0, 0), name(2, 0)), File::rename(name(0, 1), name(2, 1)));
  EXPECT_FALSE(File::exists(name(0, 1)));
  EXPECT_TRUE(System::existsFile(name(2, 0)));
  EXPECT_EQ(System::deleteFile(name(2, 0)), File::remove(name(2, 1)));
  EXPECT_FALSE(File::exists(name(2, 0)));
  EXPECT_EQ(System::createFile(dir.name("none\\x")), File::create(dir.name("none\\y")));
}

}  // namespace
