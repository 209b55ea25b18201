#include "lumbrel/PropertyFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreTestSupport.h"

using Lumbrel::File;
using Lumbrel::PropertyFile;
using lumbrel_test::readFile;
using lumbrel_test::W;
using lumbrel_test::writeFile;
using lumbrel_test::Ws;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

class PropertyFileTest : public ::testing::Test {
 protected:
  std::string roundTrip(const std::string& content) {
    writeFile(dir.native("f"), content);
    PropertyFile file(dir.name("f"));
    file.open(kReadWrite);
    file.close();
    return readFile(dir.native("f"));
  }

  lumbrel_test::TempDir dir;
};

TEST_F(PropertyFileTest, WhatSurvivesAReadAndWrite) {
  // Key lines keep the order of the file; `[` has no meaning of its own.
  EXPECT_EQ(
      roundTrip(
          "; a note\nzebra=1\n\n  apple = 2 \t\n[Net]\na=1\nstray\n=no key\n[a=b]\nzebra=dup"),
      "zebra=1\napple = 2\na=1\n[a=b]\nzebra=dup\n");
  // Plain key lines come back byte for byte, UTF-8, CR and BOM included.
  const std::string plain =
      "\xEF\xBB\xBFk=v\r\ngr\xC3\xBC\xC3\x9F"
      "e=\xE2\x82\xAC\nk=v\nx=\n";
  EXPECT_EQ(roundTrip(plain), plain);
  EXPECT_EQ(PropertyFile::MAX_LINE_LENGTH, 4294967295UL);
}

TEST_F(PropertyFileTest, FileOrderDecidesWhichDuplicateIsFound) {
  writeFile(dir.native("f"), "zebra=z\napple=a\na=1\nA=2\n");
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("a")), W("1"));
  EXPECT_EQ(file.getValue(W("ZEBRA")), W("z"));
  EXPECT_EQ(file.getValue(W("absent")), W(""));
  file.setValue(W("A"), W("changed"));  // the first of the two, spelled as it was
  file.setValue(W("mango"), W("m"));
  file.createKey(W("Apple"));
  file.createKey(W("empty"));
  EXPECT_EQ(file.enumerateKeys(), Ws({"zebra", "apple", "a", "A", "mango", "empty"}));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "zebra=z\napple=a\na=changed\nA=2\nmango=m\nempty=\n");

  file.open(kReadWrite);
  EXPECT_EQ(file.enumerateKeys().back(), W("empty"));
  file.removeKey(W("A"));
  EXPECT_EQ(file.getValue(W("a")), W("2"));
}

TEST_F(PropertyFileTest, CallerTextThatDoesNotReadBack) {
  {
    PropertyFile file(dir.name("f"));
    file.open(File::MODE_WRITE);
    for (const char* key : {"", ";semi", "k=ey", " s", "[kept"}) file.setValue(W(key), W("v "));
    file.synchronize();  // written and kept: the file is not emptied again
    EXPECT_EQ(file.enumerateKeys().size(), 5U);
  }
  EXPECT_EQ(readFile(dir.native("f")), "=v \n;semi=v \nk=ey=v \n s=v \n[kept=v \n");
  PropertyFile file(dir.name("f"));
  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateKeys(), Ws({"k", "s", "[kept"}));
  EXPECT_EQ(file.getValue(W("k")), W("ey=v"));
}

TEST_F(PropertyFileTest, FailuresKeepTheModelOrTheDamagedFile) {
  writeFile(dir.native("f"), "old=1\n");
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("new"), W("2"));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_EQ(file.enumerateKeys(), Ws({"old", "new"}));
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "old=1\nnew=2\n");

  faults.redirectOpens(dir.path(), std::ios_base::in);
  EXPECT_THROW_MSG(file.open(kReadWrite), std::runtime_error, "failed to read from file");
  faults.heal();
  file.setValue(W("lost"), W("3"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "old=1\nnew=2\n");
}

TEST_F(PropertyFileTest, SharedByThreadsWithoutLosingASetting) {
  constexpr int kWriters = 4;
  constexpr int kKeys = 150;
  auto key = [](int t, int k) {
    return W(("t" + std::to_string(t) + "k" + std::to_string(k)).c_str());
  };
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&, t] {
      for (int k = 0; k < kKeys; ++k) {
        file.setValue(key(t, k), W("first"));
        file.setValue(key(t, k), W(std::to_string(k).c_str()));
        if (k % 50 == 25) file.synchronize();
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i)
      file.getValue(W(std::to_string(file.enumerateKeys().size()).c_str()));
  });
  for (std::thread& thread : threads) thread.join();
  file.close();

  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateKeys().size(), static_cast<std::size_t>(kWriters * kKeys));
  for (int t = 0; t < kWriters; ++t) {
    for (int k = 0; k < kKeys; ++k)
      EXPECT_EQ(file.getValue(key(t, k)), W(std::to_string(k).c_str()));
  }
}

}  // namespace
