#include "lumbrel/InitializationFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreTestSupport.h"

using Lumbrel::File;
using Lumbrel::InitializationFile;
using Lumbrel::wstring;
using lumbrel_test::readFile;
using lumbrel_test::W;
using lumbrel_test::writeFile;
using lumbrel_test::Ws;

namespace {

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

class InitializationFileTest : public ::testing::Test {
 protected:
  // What the store writes back after reading `content`, changing nothing.
  std::string roundTrip(const std::string& content) {
    writeFile(dir.native("f"), content);
    InitializationFile file(dir.name("f"));
    file.open(kReadWrite);
    file.close();
    return readFile(dir.native("f"));
  }

  lumbrel_test::TempDir dir;
};

TEST_F(InitializationFileTest, WhatSurvivesAReadAndWrite) {
  EXPECT_EQ(roundTrip("; a note\n[Net]\nport = 80\n\n[Disk]\npath=a=b\n"),
            "[Disk]\npath=a=b\n[Net]\nport = 80\n");
  // Sorted by section, then key, case ignored; duplicates keep file order;
  // merged sections take the first spelling; a section without keys goes.
  EXPECT_EQ(roundTrip("stray=before any header\n[net]\n  zeta=1  \n\tAlpha = a \t\nno equals\n"
                      "[Empty]\n[NET]\nbeta=2\nalpha =dup\n=no key\n[Disk]\npath=x"),
            "[Disk]\npath=x\n[net]\nAlpha = a\nalpha =dup\nbeta=2\nzeta=1\n");
  // A byte order mark spoils the first header; CR stays in names and values.
  EXPECT_EQ(roundTrip("\xEF\xBB\xBF[Net]\nport=80\n[Disk]\r\npath=a\r\n"), "[Disk]\r]\npath=a\r\n");
  EXPECT_EQ(roundTrip(""), "");
  EXPECT_EQ(InitializationFile::MAX_LINE_LENGTH, 4294967295UL);
}

TEST_F(InitializationFileTest, CallerTextThatDoesNotReadBack) {
  {
    InitializationFile file(dir.name("f"));
    file.open(File::MODE_WRITE);
    file.createSection(W("Marker"));
    file.setValue(W("A"), W("#hash"), W("1"));
    file.setValue(W("B"), W("[Inner]"), W("x"));
    file.setValue(W("B"), W("z"), W("1"));
    file.setValue(W("C"), W("k"), W("one\ntwo=2"));
    file.setValue(W("D"), W(" k"), W("v "));
    file.setValue(W("[E]"), W("k"), W("v"));
    file.setValue(W(""), W("k"), W("v"));
    file.close();
  }
  // `[` sorts before the letters, which compare as lower case.
  EXPECT_EQ(readFile(dir.native("f")),
            "[]\nk=v\n[[E]]\nk=v\n[A]\n#hash=1\n[B]\n[Inner]=x\nz=1\n[C]\nk=one\ntwo=2\n"
            "[D]\n k=v \n[Marker]\n=\n");
  InitializationFile file(dir.name("f"));
  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateSections(), Ws({"[", "C", "D", "E", "Inner]=x"}));
  EXPECT_EQ(file.getValue(W("Inner]=x"), W("z")), W("1"));
  EXPECT_EQ(file.enumerateKeys(W("C")), Ws({"k", "two"}));
  EXPECT_EQ(file.getValue(W("D"), W("k")), W("v"));
}

TEST_F(InitializationFileTest, LookupsIgnoreCaseAndKeepSpelling) {
  writeFile(dir.native("f"), "[NET]\nPORT=80\n[Disk]\npath=a\npath=b\n");
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("Net"), W("port")), W("80"));
  file.createKey(W("net"), W("Port"));
  file.setValue(W("net"), W("port"), W("81"));
  EXPECT_EQ(file.enumerateKeys(W("net")), Ws({"PORT"}));
  // An absent key reads as empty text and creates nothing.
  EXPECT_EQ(file.getValue(W("Net"), W("host")), W(""));
  EXPECT_EQ(file.enumerateSections(), Ws({"Disk", "NET"}));
  // removeKey takes one of two duplicates; the other is found next.
  file.removeKey(W("disk"), W("PATH"));
  EXPECT_EQ(file.getValue(W("disk"), W("PATH")), W("b"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[Disk]\npath=b\n[NET]\nPORT=81\n");
}

TEST_F(InitializationFileTest, AppendedEntriesAndSections) {
  writeFile(dir.native("f"), "[A]\na=1\n[B]\nb=1\n");
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  // Entries are appended, and only neighbours fold into one section.
  file.setValue(W("a"), W("new"), W("2"));
  file.createKey(W("C"), W("c"));
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "B", "a", "C"}));
  // createSection adds one marker entry with an empty key.
  file.createSection(W("M"));
  file.createSection(W("m"));
  file.createSection(W("b"));
  EXPECT_EQ(file.enumerateKeys(W("M")), Ws({""}));
  file.createKey(W("M"), W("k"));
  EXPECT_EQ(file.enumerateKeys(W("M")), Ws({"", "k"}));
  // removeSection takes every entry of the section, wherever it lies.
  file.removeSection(W("A"));
  EXPECT_EQ(file.enumerateSections(), Ws({"B", "C", "M"}));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[B]\nb=1\n[C]\nc=\n[M]\n=\nk=\n");
  EXPECT_EQ(file.getValue(W("B"), W("b")), W(""));  // close empties the model
}

TEST_F(InitializationFileTest, ModesDecideWhatIsReadAndWritten) {
  InitializationFile file(dir.name("f"));
  file.setValue(W("S"), W("kept"), W("1"));
  EXPECT_THROW_MSG(file.open(File::MODE_READ), std::runtime_error, "failed to open file.");
  EXPECT_FALSE(File::exists(dir.name("f")));
  EXPECT_EQ(file.getValue(W("S"), W("kept")), W("1"));

  file.open(File::MODE_WRITE);  // creates the file, drops the model
  file.setValue(W("T"), W("x"), W("1"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[T]\nx=1\n");
  file.setValue(W("T"), W("y"), W("2"));
  file.close();  // the word is 0: nothing is written
  EXPECT_EQ(readFile(dir.native("f")), "[T]\nx=1\n");

  file.open(File::MODE_READ);
  file.setValue(W("T"), W("x"), W("dropped"));
  file.open(File::MODE_READ);  // reopening throws the changes away
  EXPECT_EQ(file.getValue(W("T"), W("x")), W("1"));
  file.setMode(kReadWrite);  // now close writes
  file.setValue(W("T"), W("x"), W("3"));
  {
    InitializationFile pending(dir.name("f"));
    pending.open(kReadWrite);
    pending.setValue(W("U"), W("z"), W("4"));
  }  // the destructor writes, and the last writer wins
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[T]\nx=3\n");
}

TEST_F(InitializationFileTest, SynchronizeWritesTheModelAndKeepsIt) {
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("B"), W("b"), W("1"));
  file.setValue(W("A"), W("a"), W("1"));
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "[A]\na=1\n[B]\nb=1\n");
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "B"}));  // read back sorted
  file.close();

  file.open(File::MODE_WRITE);  // synchronize must not empty the file again
  file.setValue(W("Z"), W("z"), W("1"));
  file.synchronize();
  file.setValue(W("Y"), W("y"), W("1"));
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "[Y]\ny=1\n[Z]\nz=1\n");
  EXPECT_EQ(file.getMode(), File::MODE_WRITE);
}

TEST_F(InitializationFileTest, FailuresKeepTheModelOrTheDamagedFile) {
  writeFile(dir.native("f"), "[S]\nold=1\n");
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("A"), W("new"), W("2"));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "S"}));  // whole and sorted
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[A]\nnew=2\n[S]\nold=1\n");

  file.open(kReadWrite);
  faults.failOpens();
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to open file.");
  EXPECT_EQ(file.getMode(), 0UL);
  EXPECT_FALSE(File::exists(dir.name("f")));  // removed before the reopening
  EXPECT_EQ(file.getValue(W("S"), W("old")), W("1"));
  faults.heal();
  file.close();  // empties the model without writing
  EXPECT_FALSE(File::exists(dir.name("f")));

  // A directory opens for reading but cannot be read; the file stays as it is.
  writeFile(dir.native("f"), "[S]\nk=v\n");
  faults.redirectOpens(dir.path(), std::ios_base::in);
  EXPECT_THROW_MSG(file.open(kReadWrite), std::runtime_error, "failed to read from file");
  EXPECT_EQ(file.getMode(), kReadWrite);
  faults.heal();
  file.setValue(W("S"), W("k"), W("lost"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[S]\nk=v\n");

  // A destructor swallows what close raises.
  faults.redirectOpens("/dev/full");
  EXPECT_NO_THROW({
    InitializationFile doomed(dir.name("f"));
    doomed.open(File::MODE_WRITE);
    doomed.setValue(W("S"), W("k"), W("v"));
  });
  faults.heal();
}

TEST_F(InitializationFileTest, SharedByThreadsWithoutLosingASetting) {
  constexpr int kWriters = 4;
  constexpr int kKeys = 150;
  auto name = [](const char* prefix, int n) { return W((prefix + std::to_string(n)).c_str()); };
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&, t] {
      for (int k = 0; k < kKeys; ++k) {
        file.setValue(name("T", t), name("k", k), name("", k + t));
        EXPECT_EQ(file.getValue(name("T", t), name("k", k)), name("", k + t));
        if (k % 50 == 25) file.synchronize();
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i) {
      for (const wstring& section : file.enumerateSections()) file.enumerateKeys(section);
    }
  });
  for (std::thread& thread : threads) thread.join();
  file.close();

  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateSections(), Ws({"T0", "T1", "T2", "T3"}));
  for (int t = 0; t < kWriters; ++t) {
    EXPECT_EQ(file.enumerateKeys(name("T", t)).size(), static_cast<std::size_t>(kKeys));
    for (int k = 0; k < kKeys; ++k)
      EXPECT_EQ(file.getValue(name("T", t), name("k", k)), name("", k + t));
  }
}

}  // namespace
