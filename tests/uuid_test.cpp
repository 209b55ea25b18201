#include "lumbrel/Uuid.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Lumbrel::Uuid;

namespace {

using Bytes = std::vector<unsigned char>;
constexpr const char* kExample = "00112233-4455-6677-8899-aabbccddeeff";
constexpr const char* kZero = "00000000-0000-0000-0000-000000000000";

const Bytes kExampleBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                             0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

std::string text(const Uuid& value) { return value; }
Bytes bytes(const Uuid& value) { return value; }

TEST(UuidTest, TextAndBytesAreImagesOfEachOther) {
  EXPECT_EQ(text(Uuid(kExampleBytes)), kExample);
  EXPECT_EQ(bytes(Uuid(std::string(kExample))), kExampleBytes);
  EXPECT_EQ(text(Uuid(Bytes(16, 0))), kZero);
  std::ostringstream out;
  out << Uuid(kExampleBytes);
  EXPECT_EQ(out.str(), kExample);
}

TEST(UuidTest, GuidIsLaidOutMostSignificantByteFirst) {
  const _GUID example = {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_EQ(text(Uuid(example)), kExample);
  const _GUID high = {0xDEADBEEF, 0xF00D, 0x8001, {0xFF, 0, 1, 2, 3, 4, 5, 0x80}};
  const Uuid fromGuid(high);
  EXPECT_EQ(text(fromGuid), "deadbeef-f00d-8001-ff00-010203040580");
  EXPECT_EQ(Uuid(text(fromGuid)), fromGuid);
}

TEST(UuidTest, EitherCaseParsesAndPrintsLower) {
  const Uuid upper(std::string("00112233-4455-6677-8899-AABBCCDDEEFF"));
  const Uuid mixed(std::string("00112233-4455-6677-8899-aAbBcCdDeEfF"));
  EXPECT_EQ(upper, Uuid(std::string(kExample)));
  EXPECT_EQ(mixed, upper);
  EXPECT_EQ(text(upper), kExample);
}

TEST(UuidTest, HyphensAreDroppedWhereverTheyStand) {
  EXPECT_EQ(text(Uuid(std::string("0011-22334455-66778899aabb-ccdd-eeff"))), kExample);
  // 36 digits: the first 32 give the value.
  EXPECT_EQ(text(Uuid(std::string("00112233445566778899aabbccddeeff0123"))), kExample);
  EXPECT_EQ(text(Uuid(std::string("-00112233445566778899aabbccddeeff012"))), kExample);
}

TEST(UuidTest, UnusableInputGivesTheAllZeroValue) {
  const Uuid zero(std::string{kZero});
  const std::string good = kExample;
  const std::vector<std::string> refused = {
      "",
      good.substr(0, 35),
      good + "0",
      "{" + good + "}",
      "00112233-4455-6677-8899-aabbccddeefg",
      "00112233-4455-6677-8899-aabbccddeeG0",
      "0x112233-4455-6677-8899-aabbccddeeff",
      "+0112233-4455-6677-8899-aabbccddeeff",
      " 0112233-4455-6677-8899-aabbccddeeff",
      "00112233-4455-6677-8899-aabb-cddeeff",  // five hyphens, 31 digits
      "------------------------------------",
      std::string("00112233-4455-6677-8899-aabbccddee\0f", 36),  // measured to the null
  };
  for (const std::string& input : refused) EXPECT_EQ(text(Uuid(input)), kZero) << input;
  for (std::size_t size : {0u, 15u, 17u}) EXPECT_EQ(Uuid(Bytes(size, 0xAB)), zero) << size;
  EXPECT_EQ(Uuid(std::string("")), zero);
  EXPECT_NE(Uuid(kExampleBytes), zero);
}

TEST(UuidTest, FreshValuesRoundTrip) {
  const Uuid fresh;
  EXPECT_EQ(Uuid(text(fresh)), fresh);
  EXPECT_EQ(Uuid(bytes(fresh)), fresh);
  Uuid copy(kExampleBytes);
  copy = fresh;
  EXPECT_EQ(copy, fresh);
  EXPECT_NE(Uuid(), fresh);
}

// The 16 bytes as two words, which sort quickly.
using Key = std::pair<std::uint64_t, std::uint64_t>;

Key key(const Uuid& value) {
  const Bytes b = value;
  Key k;
  std::memcpy(&k.first, b.data(), 8);
  std::memcpy(&k.second, b.data() + 8, 8);
  return k;
}

// Byte `i` of the value behind `k`.
unsigned char byteOf(const Key& k, std::size_t i) {
  unsigned char b[16];
  std::memcpy(b, &k.first, 8);
  std::memcpy(b + 8, &k.second, 8);
  return b[i];
}

std::size_t countRepeats(std::vector<Key>& keys) {
  std::sort(keys.begin(), keys.end());
  return keys.size() - static_cast<std::size_t>(std::unique(keys.begin(), keys.end()) - keys.begin());
}

TEST(UuidTest, AMillionFreshValuesAreDistinctVersionFourValues) {
  std::vector<Key> keys(1000000);
  bool marked = true;
  for (Key& k : keys) {
    k = key(Uuid());
    marked = marked && (byteOf(k, 7) >> 4) == 4 && (byteOf(k, 8) >> 6) == 2;
  }
  EXPECT_TRUE(marked);
  EXPECT_EQ(countRepeats(keys), 0u);
}

TEST(UuidTest, ThreadsDrawDistinctValues) {
  constexpr int kThreads = 4, kEach = 20000;
  std::vector<std::vector<Key>> drawn(kThreads);
  std::vector<std::thread> threads;
  for (auto& mine : drawn) {
    threads.emplace_back([&mine] {
      for (int i = 0; i < kEach; ++i) mine.push_back(key(Uuid()));
    });
  }
  for (auto& t : threads) t.join();
  std::vector<Key> all;
  for (const auto& mine : drawn) all.insert(all.end(), mine.begin(), mine.end());
  EXPECT_EQ(countRepeats(all), 0u);
}

TEST(UuidTest, ForkedChildNeverRepeatsItsParent) {
  constexpr int kCount = 64;
  const Uuid primed;  // the parent's supply now holds unused bytes
  int channel[2];
  ASSERT_EQ(::pipe(channel), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::close(channel[0]);
    Key mine[kCount];
    for (Key& k : mine) k = key(Uuid());
    const bool sent = ::write(channel[1], mine, sizeof mine) == static_cast<ssize_t>(sizeof mine);
    ::_exit(sent ? 0 : 1);
  }
  ::close(channel[1]);
  std::vector<Key> all(2 * kCount);
  std::size_t got = 0;
  auto* raw = reinterpret_cast<unsigned char*>(all.data());
  const std::size_t expected = kCount * sizeof(Key);
  while (got < expected) {
    const ssize_t n = ::read(channel[0], raw + got, expected - got);
    if (n <= 0) break;
    got += static_cast<std::size_t>(n);
  }
  ::close(channel[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_EQ(got, expected);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  for (int i = 0; i < kCount; ++i) all[kCount + static_cast<std::size_t>(i)] = key(Uuid());
  EXPECT_EQ(countRepeats(all), 0u);
}

}  // namespace
