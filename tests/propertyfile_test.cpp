#include "lumbrel/PropertyFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreTestSupport.h"

using Lumbrel::File;
using Lumbrel::PropertyFile;
using namespace lumbrel_test;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

class PropertyFileTest : public ::testing::Test {
 protected:
  TempDir dir;
  PropertyFile file{dir.name("f")};
};

TEST_F(PropertyFileTest, WhatSurvivesAndTheFirstOfEqualKeysIsFound) {
  // `[` means nothing here; plain key lines come back byte for byte.
  writeFile(dir.native("f"), "[a=b]\n\xEF\xBB\xBFk=v\r\ngrüße=€");
  file.open(kReadWrite);
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[a=b]\n\xEF\xBB\xBFk=v\r\ngrüße=€\n");
  // Key lines keep their order, duplicates included; the other lines are lost.
  writeFile(dir.native("f"), "; c\n# c\n\nstray\n[Net]\n=v\nzebra=z\napple=p\na=1\nA=2\n");
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("A")), W("1"));
  file.setValue(W("A"), W("changed"));  // the first, spelled as it was
  file.createKey(W("a"));
  file.createKey(W("new"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "zebra=z\napple=p\na=changed\nA=2\nnew=\n");
  file.open(kReadWrite);
  EXPECT_EQ(file.enumerateKeys(), Ws({"zebra", "apple", "a", "A", "new"}));
  file.removeKey(W("A"));
  EXPECT_EQ(file.getValue(W("a")), W("2"));
}

TEST_F(PropertyFileTest, TheFirstOfEqualKeysIsFoundAfterEveryChange) {
  // Keys 0-49, each four times in changing case, with the values n, n+50, ...
  std::string content;
  for (int i = 0; i < 200; ++i)
    content += (i % 2 ? "KEY" : "key") + std::to_string(i % 50) + "=" + std::to_string(i) + "\n";
  writeFile(dir.native("f"), content);
  file.open(File::MODE_READ);
  EXPECT_EQ(file.getValue(W("Key7")), W("7"));
  file.removeKey(W("key7"));
  file.removeKey(W("KEY7"));
  // Enough new keys to outgrow the model's size a few times over.
  for (int n = 0; n < 300; ++n) file.setValue(W(("new" + std::to_string(n)).c_str()), W("x"));
  file.setValue(W("key9"), W("changed"));
  for (int k = 0; k < 50; ++k) {
    const std::string expected = k == 7 ? "107" : k == 9 ? "changed" : std::to_string(k);
    EXPECT_EQ(file.getValue(W(("kEy" + std::to_string(k)).c_str())), W(expected.c_str())) << k;
  }
  EXPECT_EQ(file.getValue(W("NEW299")), W("x"));
  EXPECT_EQ(file.enumerateKeys().size(), 498U);
}

TEST_F(PropertyFileTest, FailuresKeepTheModelOrTheDamagedFile) {
  writeFile(dir.native("f"), "old=1\n");
  StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  file.open(kReadWrite);
  file.setValue(W("new"), W("2"));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  faults.heal();
  file.close();  // the model was kept for this
  faults.redirectOpens(dir.path(), std::ios_base::in);  // opens, but cannot be read
  EXPECT_THROW_MSG(file.open(kReadWrite), std::runtime_error, "failed to read from file");
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "old=1\nnew=2\n");
}

TEST_F(PropertyFileTest, SharedByThreadsWithoutLosingASetting) {
  const auto text = [](int n) { return W(std::to_string(n).c_str()); };
  file.open(File::MODE_WRITE);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int k = t; k < 600; k += 4) {
        file.setValue(text(k), W("first"));
        file.setValue(text(k), text(k + 1));
        if (k % 100 == t) file.synchronize();
      }
    });
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i)
      file.getValue(text(static_cast<int>(file.enumerateKeys().size())));
  });
  for (std::thread& thread : threads) thread.join();
  // With the write bit alone, synchronize writes the model and keeps it.
  file.synchronize();
  PropertyFile written(dir.name("f"));
  written.open(File::MODE_READ);
  EXPECT_EQ(written.enumerateKeys().size(), 600U);
  for (int k = 0; k < 600; ++k) EXPECT_EQ(written.getValue(text(k)), text(k + 1));
}

}  // namespace
