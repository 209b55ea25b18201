#include "lumbrel/PropertyFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreFaults.h"
#include "TestSupport.h"

using Lumbrel::File;
using Lumbrel::PropertyFile;
using Lumbrel::wstring;
using lumbrel_test::readFile;
using lumbrel_test::TempDir;
using lumbrel_test::W;
using lumbrel_test::writeFile;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

std::vector<wstring> Ws(std::initializer_list<const char*> texts) {
  std::vector<wstring> result;
  for (const char* text : texts) result.push_back(W(text));
  return result;
}

class PropertyFileTest : public ::testing::Test {
 protected:
  std::string roundTrip(const std::string& content) {
    writeFile(dir.native("f"), content);
    PropertyFile file(dir.name("f"));
    file.open(kReadWrite);
    file.close();
    return readFile(dir.native("f"));
  }

  TempDir dir;
};

TEST_F(PropertyFileTest, WhatSurvivesAReadAndWrite) {
  EXPECT_EQ(PropertyFile::MAX_LINE_LENGTH, 4294967295UL);
  // Key lines keep the order of the file; everything else goes.
  EXPECT_EQ(roundTrip("; a note\n"
                      "zebra=1\n"
                      "\n"
                      "  apple = 2 \t\n"
                      "[Net]\n"
                      "a=1\n"
                      "stray\n"
                      "=empty key\n"
                      "# c=d\n"
                      "[a=b]\n"
                      "zebra=dup"),
            "zebra=1\napple = 2\na=1\n[a=b]\nzebra=dup\n");
  // Plain key lines come back byte for byte, UTF-8, CR, BOM and all.
  const std::string plain = "\xEF\xBB\xBFk=v\r\ngr\xC3\xBC\xC3\x9F" "e=\xE2\x82\xAC\nk=v\nx=\n";
  EXPECT_EQ(roundTrip(plain), plain);
  EXPECT_EQ(roundTrip(""), "");
  // A NUL ends the value that holds it.
  EXPECT_EQ(roundTrip(std::string("k=a\0b\n", 6)), "k=a\n");
}

TEST_F(PropertyFileTest, OrderAndDuplicatesAreThoseOfTheFile) {
  writeFile(dir.native("f"), "zebra=z\napple=a\na=1\nA=2\n[Net]\n[a=b]\n");
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  EXPECT_EQ(file.enumerateKeys(), Ws({"zebra", "apple", "a", "A", "[a"}));
  EXPECT_EQ(file.getValue(W("a")), W("1"));
  EXPECT_EQ(file.getValue(W("[A")), W("b]"));
  EXPECT_EQ(file.getValue(W("ZEBRA")), W("z"));
  EXPECT_EQ(file.getValue(W("absent")), W(""));
  file.setValue(W("A"), W("changed"));  // the first of the two, spelled as it was
  file.setValue(W("mango"), W("m"));
  file.createKey(W("Apple"));  // exists: nothing
  file.createKey(W("empty"));
  EXPECT_EQ(file.enumerateKeys(), Ws({"zebra", "apple", "a", "A", "[a", "mango", "empty"}));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "zebra=z\napple=a\na=changed\nA=2\n[a=b]\nmango=m\nempty=\n");

  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("empty")), W(""));
  EXPECT_EQ(file.enumerateKeys().back(), W("empty"));
  file.removeKey(W("A"));
  EXPECT_EQ(file.getValue(W("a")), W("2"));
  file.removeKey(W("absent"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "zebra=z\napple=a\nA=2\n[a=b]\nmango=m\nempty=\n");
}

TEST_F(PropertyFileTest, CallerTextThatDoesNotReadBack) {
  {
    PropertyFile file(dir.name("f"));
    file.open(File::MODE_WRITE);
    file.setValue(W(""), W("empty key"));
    file.setValue(W(";semi"), W("1"));
    file.setValue(W("k=ey"), W("v"));
    file.setValue(W("n"), W("one\ntwo=2"));
    file.setValue(W(" s"), W("v "));
    file.setValue(W("[br"), W("kept"));
    file.close();
  }
  EXPECT_EQ(readFile(dir.native("f")), "=empty key\n;semi=1\nk=ey=v\nn=one\ntwo=2\n s=v \n[br=kept\n");
  PropertyFile file(dir.name("f"));
  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateKeys(), Ws({"k", "n", "two", "s", "[br"}));
  EXPECT_EQ(file.getValue(W("k")), W("ey=v"));
  EXPECT_EQ(file.getValue(W("s")), W("v"));
  EXPECT_EQ(file.getValue(W("[br")), W("kept"));
}

TEST_F(PropertyFileTest, ModesAndSynchronize) {
  PropertyFile missing(dir.name("absent"));
  missing.setValue(W("kept"), W("1"));
  EXPECT_THROW_MSG(missing.open(File::MODE_READ), std::runtime_error, "failed to open file.");
  EXPECT_EQ(missing.getValue(W("kept")), W("1"));

  writeFile(dir.native("f"), "k=v\n");
  {
    PropertyFile reader(dir.name("f"));
    reader.open(File::MODE_READ);
    reader.setValue(W("k"), W("changed"));
  }  // no write bit: dropped
  EXPECT_EQ(readFile(dir.native("f")), "k=v\n");

  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("b"), W("2"));
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "k=v\nb=2\n");
  EXPECT_EQ(file.enumerateKeys(), Ws({"k", "b"}));
  file.close();
  file.close();  // the word is 0 now: nothing is written
  EXPECT_EQ(readFile(dir.native("f")), "k=v\nb=2\n");

  PropertyFile writer(dir.name("f"));
  writer.open(File::MODE_WRITE);
  EXPECT_EQ(readFile(dir.native("f")), "");
  writer.setValue(W("z"), W("1"));
  writer.setValue(W("a"), W("2"));
  writer.synchronize();  // written, and the model stays
  EXPECT_EQ(readFile(dir.native("f")), "z=1\na=2\n");
  EXPECT_EQ(writer.enumerateKeys(), Ws({"z", "a"}));
  writer.close();
  EXPECT_EQ(readFile(dir.native("f")), "z=1\na=2\n");
}

TEST_F(PropertyFileTest, FailuresKeepTheModelAndTheDamagedFile) {
  writeFile(dir.native("f"), "old=1\n");
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("new"), W("2"));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.enumerateKeys(), Ws({"old", "new"}));
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "old=1\nnew=2\n");

  faults.redirectOpens(dir.path(), std::ios_base::in);
  EXPECT_THROW_MSG(file.open(kReadWrite), std::runtime_error, "failed to read from file");
  faults.heal();
  file.setValue(W("lost"), W("3"));
  file.close();  // a failed read is never written over the file
  EXPECT_EQ(readFile(dir.native("f")), "old=1\nnew=2\n");
}

TEST_F(PropertyFileTest, SharedByThreadsWithoutLosingASetting) {
  constexpr int kWriters = 4;
  constexpr int kKeys = 150;
  PropertyFile file(dir.name("f"));
  file.open(kReadWrite);
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&file, t] {
      for (int k = 0; k < kKeys; ++k) {
        const wstring key = W(("t" + std::to_string(t) + "k" + std::to_string(k)).c_str());
        file.setValue(key, W("first"));
        file.setValue(key, W(std::to_string(k).c_str()));
        EXPECT_EQ(file.getValue(key), W(std::to_string(k).c_str()));
        if (k % 50 == 25) file.synchronize();
      }
    });
  }
  threads.emplace_back([&file] {
    for (int i = 0; i < 300; ++i) file.getValue(W(std::to_string(file.enumerateKeys().size()).c_str()));
  });
  for (std::thread& thread : threads) thread.join();
  file.close();

  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateKeys().size(), static_cast<std::size_t>(kWriters * kKeys));
  for (int t = 0; t < kWriters; ++t) {
    for (int k = 0; k < kKeys; ++k) {
      EXPECT_EQ(file.getValue(W(("t" + std::to_string(t) + "k" + std::to_string(k)).c_str())),
                W(std::to_string(k).c_str()));
    }
  }
}

}  // namespace
