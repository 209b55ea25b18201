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
using Key = std::pair<std::uint64_t, std::uint64_t>;  // the 16 bytes as two words: quick to sort
constexpr const char* kExample = "00112233-4455-6677-8899-aabbccddeeff";
constexpr const char* kZero = "00000000-0000-0000-0000-000000000000";
const Bytes kExampleBytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                             0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

std::string text(const Uuid& value) { return value; }

// A fresh value as a key; clears `marked` unless it carries the version 4 and variant marks.
Key freshKey(bool& marked) {
  const Bytes b = Uuid();
  marked = marked && b[7] >> 4 == 4 && b[8] >> 6 == 2;
  Key k;
  std::memcpy(&k.first, b.data(), 8);
  std::memcpy(&k.second, b.data() + 8, 8);
  return k;
}

std::size_t countRepeats(std::vector<Key>& keys) {
  std::sort(keys.begin(), keys.end());
  return static_cast<std::size_t>(keys.end() - std::unique(keys.begin(), keys.end()));
}

TEST(UuidTest, TextBytesAndGuidAgree) {
  EXPECT_EQ(Bytes(Uuid(std::string(kExample))), kExampleBytes);
  std::ostringstream out;
  out << Uuid(kExampleBytes);
  EXPECT_EQ(out.str(), kExample);
  // Either case; hyphens wherever they stand; of 36 digits the first 32.
  for (const char* same :
       {"00112233-4455-6677-8899-AABBCCDDEEFF", "0011-22334455-66778899aabb-ccdd-eeff",
        "00112233445566778899aabbccddeeff0123"}) {
    EXPECT_EQ(text(Uuid(std::string(same))), kExample) << same;
  }
  const _GUID example = {
      0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_EQ(Uuid(example), Uuid(std::string(kExample)));
}

TEST(UuidTest, UnusableInputGivesTheAllZeroValue) {
  const std::string good = kExample;
  const std::string refused[] = {
      "",
      good.substr(0, 35),
      good + "0",
      "{" + good + "}",
      "00112233-4455-6677-8899-aabbccddeeG0",
      "0x112233-4455-6677-8899-aabbccddeeff",
      "00112233-4455-6677-8899-aabb-cddeeff",                     // five hyphens, 31 digits
      std::string("00112233-4455-6677-8899-aabbccddee\0f", 36)};  // measured to the null
  for (const std::string& input : refused) EXPECT_EQ(text(Uuid(input)), kZero) << input;
  for (std::size_t size : {0u, 15u, 17u}) EXPECT_EQ(text(Uuid(Bytes(size, 0xAB))), kZero) << size;
  EXPECT_EQ(Uuid(std::string("")), Uuid(std::string(kZero)));
}

TEST(UuidTest, FreshValuesRoundTrip) {
  const Uuid fresh;
  EXPECT_EQ(Uuid(text(fresh)), fresh);
  EXPECT_EQ(Uuid(Bytes(fresh)), fresh);
  EXPECT_NE(Uuid(), fresh);
}

// Drawn on four threads at once, as each thread keeps its own supply.
TEST(UuidTest, AMillionFreshValuesAreDistinctVersionFourValues) {
  constexpr std::size_t kThreads = 4, kEach = 250000;
  std::vector<Key> keys(kThreads * kEach);
  bool marked[kThreads] = {true, true, true, true};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&keys, &marked, t] {
      for (std::size_t i = t * kEach; i < (t + 1) * kEach; ++i) keys[i] = freshKey(marked[t]);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(marked[0] && marked[1] && marked[2] && marked[3]);
  EXPECT_EQ(countRepeats(keys), 0u);
}

TEST(UuidTest, ForkedChildNeverRepeatsItsParent) {
  constexpr std::size_t kCount = 64;  // 1 KiB, which the pipe takes in one write
  constexpr auto kSize = static_cast<ssize_t>(kCount * sizeof(Key));
  const Uuid primed;  // the parent's supply now holds unused bytes
  int channel[2];
  ASSERT_EQ(::pipe(channel), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    Key mine[kCount];
    bool marked = true;
    for (Key& k : mine) k = freshKey(marked);
    ::_exit(marked && ::write(channel[1], mine, sizeof mine) == kSize ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  std::vector<Key> all(2 * kCount);
  EXPECT_EQ(::read(channel[0], all.data(), kCount * sizeof(Key)), kSize);
  ::close(channel[0]);
  ::close(channel[1]);
  bool marked = true;
  for (std::size_t i = kCount; i < 2 * kCount; ++i) all[i] = freshKey(marked);
  EXPECT_TRUE(marked);
  EXPECT_EQ(countRepeats(all), 0u);
}

}  // namespace
