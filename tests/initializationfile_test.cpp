#include "lumbrel/InitializationFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "StoreFaults.h"
#include "TestSupport.h"

using Lumbrel::File;
using Lumbrel::InitializationFile;
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

class InitializationFileTest : public ::testing::Test {
 protected:
  // Writes `content` to the file and rewrites it through a store opened with
  // read and write bits; returns what the store wrote.
  std::string roundTrip(const std::string& content) {
    writeFile(dir.native("f"), content);
    InitializationFile file(dir.name("f"));
    file.open(kReadWrite);
    file.close();
    return readFile(dir.native("f"));
  }

  TempDir dir;
};

TEST_F(InitializationFileTest, ExampleComesBackAsFourLines) {
  EXPECT_EQ(roundTrip("; a note\n[Net]\nport = 80\n\n[Disk]\npath=a=b\n"),
            "[Disk]\npath=a=b\n[Net]\nport = 80\n");
  EXPECT_EQ(InitializationFile::MAX_LINE_LENGTH, 4294967295UL);
}

TEST_F(InitializationFileTest, WhatSurvivesAReadAndWrite) {
  EXPECT_EQ(roundTrip("stray=before any header\n"
                      "[net]\n"
                      "  zeta=1  \n"
                      "# comment\n"
                      "\tAlpha = a \t\n"
                      "no equals sign\n"
                      "[Empty]\n"
                      "[NET]\n"
                      "beta=2\n"
                      "alpha =dup\n"
                      "=no key\n"
                      "[Disk]\n"
                      "path=x\n"),
            // Sorted by section, then key, case ignored; duplicates stay in
            // file order; merged sections take the first spelling.
            "[Disk]\npath=x\n[net]\nAlpha = a\nalpha =dup\nbeta=2\nzeta=1\n");
  // A file without a final newline yields its last line.
  EXPECT_EQ(roundTrip("[S]\nk=v"), "[S]\nk=v\n");
  // An empty file stays empty.
  EXPECT_EQ(roundTrip(""), "");
}

TEST_F(InitializationFileTest, BytesTheReaderMeetsAsText) {
  // A byte order mark makes the first header none, so its keys are dropped.
  EXPECT_EQ(roundTrip("\xEF\xBB\xBF[Net]\nport=80\n[Disk]\npath=a\n"), "[Disk]\npath=a\n");
  // Nothing translates line ends: the CR stays in names and values.
  EXPECT_EQ(roundTrip("[Net]\r\nport=80\r\n"), "[Net]\r]\nport=80\r\n");
  {
    writeFile(dir.native("f"), "[Net]\r\nport=80\r\n");
    InitializationFile file(dir.name("f"));
    file.open(File::MODE_READ);
    EXPECT_EQ(file.enumerateSections(), Ws({"Net]\r"}));
    EXPECT_EQ(file.getValue(W("Net]\r"), W("port")), W("80\r"));
    file.close();
  }
  // A NUL ends the value that holds it.
  EXPECT_EQ(roundTrip(std::string("[S]\nk=a\0b\n", 10)), "[S]\nk=a\n");
  // Non-ASCII UTF-8 keys are matched and written back unit for unit.
  writeFile(dir.native("f"), "[Stra\xC3\x9F" "e]\ngr\xC3\xBC\xC3\x9F" "e=\xE2\x82\xAC\n");
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(wstring{'S', 'T', 'R', 'A', 0xDF, 'E'}, wstring{'g', 'r', 0xFC, 0xDF, 'e'}),
            wstring(1, 0x20AC));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[Stra\xC3\x9F" "e]\ngr\xC3\xBC\xC3\x9F" "e=\xE2\x82\xAC\n");
}

TEST_F(InitializationFileTest, CallerTextThatDoesNotReadBack) {
  {
    InitializationFile file(dir.name("f"));
    file.open(File::MODE_WRITE);
    file.createSection(W("Marker"));
    file.setValue(W("A"), W("#hash"), W("1"));
    file.setValue(W("B"), W("[Inner]"), W("x"));
    file.setValue(W("B"), W("z"), W("1"));
    file.setValue(W("C"), W("k=ey"), W("v"));
    file.setValue(W("D"), W("k"), W("one\ntwo=2"));
    file.setValue(W("E"), W(" k"), W("v "));
    file.setValue(W("[F]"), W("k"), W("v"));
    file.setValue(W(""), W("k"), W("v"));
    file.close();
  }
  EXPECT_EQ(readFile(dir.native("f")),
            // `[` sorts before the letters, which compare as lower case.
            "[]\nk=v\n[[F]]\nk=v\n[A]\n#hash=1\n[B]\n[Inner]=x\nz=1\n[C]\nk=ey=v\n"
            "[D]\nk=one\ntwo=2\n[E]\n k=v \n[Marker]\n=\n");
  InitializationFile file(dir.name("f"));
  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateSections(), Ws({"[", "C", "D", "E", "F", "Inner]=x"}));
  EXPECT_EQ(file.enumerateKeys(W("A")), Ws({}));
  EXPECT_EQ(file.getValue(W("Inner]=x"), W("z")), W("1"));
  EXPECT_EQ(file.getValue(W("C"), W("k")), W("ey=v"));
  EXPECT_EQ(file.enumerateKeys(W("D")), Ws({"k", "two"}));
  EXPECT_EQ(file.getValue(W("E"), W("k")), W("v"));
  EXPECT_EQ(file.getValue(W("["), W("k")), W("v"));
}

TEST_F(InitializationFileTest, LookupsIgnoreCaseAndKeepSpelling) {
  writeFile(dir.native("f"), "[NET]\nPORT=80\n[Disk]\npath=a\npath=b\n");
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  EXPECT_EQ(file.getValue(W("Net"), W("port")), W("80"));
  file.createKey(W("net"), W("Port"));  // exists already
  EXPECT_EQ(file.enumerateKeys(W("NET")), Ws({"PORT"}));
  file.setValue(W("net"), W("port"), W("81"));
  EXPECT_EQ(file.enumerateKeys(W("net")), Ws({"PORT"}));

  // An absent key reads as empty text and creates nothing.
  EXPECT_EQ(file.getValue(W("Net"), W("host")), W(""));
  EXPECT_EQ(file.getValue(W("Nowhere"), W("x")), W(""));
  EXPECT_EQ(file.enumerateKeys(W("Net")), Ws({"PORT"}));
  EXPECT_EQ(file.enumerateSections(), Ws({"Disk", "NET"}));

  // removeKey takes one of two duplicates; the other is found next.
  EXPECT_EQ(file.getValue(W("disk"), W("PATH")), W("a"));
  file.removeKey(W("disk"), W("PATH"));
  EXPECT_EQ(file.getValue(W("disk"), W("PATH")), W("b"));
  file.removeKey(W("disk"), W("missing"));
  EXPECT_EQ(file.enumerateKeys(W("Disk")), Ws({"path"}));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[Disk]\npath=b\n[NET]\nPORT=81\n");
}

TEST_F(InitializationFileTest, AppendedEntriesAndSections) {
  writeFile(dir.native("f"), "[A]\na=1\n[B]\nb=1\n");
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  // New entries are appended, and only neighbours fold into one section.
  file.setValue(W("a"), W("new"), W("2"));
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "B", "a"}));
  file.createKey(W("C"), W("c"));
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "B", "a", "C"}));

  // createSection adds a marker entry with an empty key, once.
  file.createSection(W("M"));
  file.createSection(W("m"));
  file.createSection(W("b"));  // has entries: nothing
  EXPECT_EQ(file.enumerateKeys(W("M")), Ws({""}));
  file.createKey(W("M"), W("k"));
  EXPECT_EQ(file.enumerateKeys(W("M")), Ws({"", "k"}));

  // removeSection takes every entry of the section, wherever it lies.
  file.removeSection(W("A"));
  file.removeSection(W("Nowhere"));
  EXPECT_EQ(file.enumerateSections(), Ws({"B", "C", "M"}));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[B]\nb=1\n[C]\nc=\n[M]\n=\nk=\n");
  EXPECT_EQ(file.getValue(W("B"), W("b")), W(""));  // closed: the model is empty
}

TEST_F(InitializationFileTest, ModesDecideWhatIsReadAndWritten) {
  InitializationFile missing(dir.name("absent"));
  missing.setValue(W("S"), W("kept"), W("1"));
  EXPECT_THROW_MSG(missing.open(File::MODE_READ), std::runtime_error, "failed to open file.");
  EXPECT_FALSE(File::exists(dir.name("absent")));
  EXPECT_EQ(missing.getValue(W("S"), W("kept")), W("1"));  // the model is as before
  missing.open(File::MODE_WRITE);                          // creates it, model dropped
  EXPECT_EQ(missing.enumerateSections(), Ws({}));
  missing.close();
  EXPECT_EQ(readFile(dir.native("absent")), "");

  writeFile(dir.native("f"), "[S]\nk=v\n");
  {
    InitializationFile reader(dir.name("f"));
    reader.open(File::MODE_READ);
    reader.setValue(W("S"), W("k"), W("changed"));
    reader.close();  // without the write bit the changes are dropped
  }
  EXPECT_EQ(readFile(dir.native("f")), "[S]\nk=v\n");

  InitializationFile writer(dir.name("f"));
  writer.open(File::MODE_WRITE);  // empties the file; nothing is read
  EXPECT_EQ(readFile(dir.native("f")), "");
  writer.setValue(W("T"), W("x"), W("1"));
  writer.close();
  EXPECT_EQ(readFile(dir.native("f")), "[T]\nx=1\n");
  // A second close finds the word at 0 and writes nothing.
  writer.setValue(W("T"), W("y"), W("2"));
  writer.close();
  EXPECT_EQ(readFile(dir.native("f")), "[T]\nx=1\n");
  // A write bit set on a closed object makes close write its model.
  writer.setValue(W("U"), W("z"), W("3"));
  writer.setMode(File::MODE_WRITE);
  writer.close();
  EXPECT_EQ(readFile(dir.native("f")), "[U]\nz=3\n");

  // open on an open object throws the unsaved model away and reads again.
  InitializationFile twice(dir.name("f"));
  twice.open(kReadWrite);
  twice.setValue(W("U"), W("z"), W("lost"));
  twice.open(kReadWrite);
  EXPECT_EQ(twice.getValue(W("U"), W("z")), W("3"));
}

TEST_F(InitializationFileTest, SynchronizeWritesAndKeepsTheModel) {
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("B"), W("b"), W("1"));
  file.setValue(W("A"), W("a"), W("1"));
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "[A]\na=1\n[B]\nb=1\n");
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "B"}));  // read back sorted
  EXPECT_EQ(file.getMode(), kReadWrite);
  file.close();

  InitializationFile writer(dir.name("f"));
  writer.open(File::MODE_WRITE);
  writer.setValue(W("Z"), W("z"), W("1"));
  writer.setValue(W("Y"), W("y"), W("1"));
  writer.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "[Y]\ny=1\n[Z]\nz=1\n");
  EXPECT_EQ(writer.getValue(W("Z"), W("z")), W("1"));
  writer.setValue(W("X"), W("x"), W("1"));
  writer.synchronize();
  EXPECT_EQ(readFile(dir.native("f")), "[X]\nx=1\n[Y]\ny=1\n[Z]\nz=1\n");
  EXPECT_EQ(writer.getMode(), File::MODE_WRITE);
}

TEST_F(InitializationFileTest, DestructorWritesThePendingModel) {
  {
    InitializationFile file(dir.name("f"));
    file.open(kReadWrite);
    file.setValue(W("S"), W("k"), W("v"));
  }
  EXPECT_EQ(readFile(dir.native("f")), "[S]\nk=v\n");
}

TEST_F(InitializationFileTest, FailedWriteKeepsTheModelForAnotherClose) {
  writeFile(dir.native("f"), "[S]\nold=1\n");
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  file.setValue(W("A"), W("new"), W("2"));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_TRUE(file.is_open());
  EXPECT_FALSE(File::exists(dir.name("f")));  // the old file is gone
  EXPECT_EQ(file.enumerateSections(), Ws({"A", "S"}));  // whole and sorted
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[A]\nnew=2\n[S]\nold=1\n");

  // The destructor swallows the failure.
  faults.redirectOpens("/dev/full");
  EXPECT_NO_THROW({
    InitializationFile doomed(dir.name("f"));
    doomed.open(File::MODE_WRITE);
    doomed.setValue(W("S"), W("k"), W("v"));
  });
  faults.heal();
}

TEST_F(InitializationFileTest, FailedReopenInsideCloseKeepsTheModelUntilTheNextClose) {
  writeFile(dir.native("f"), "[S]\nk=v\n");
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  faults.failOpens();
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to open file.");
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.getMode(), 0UL);
  EXPECT_FALSE(File::exists(dir.name("f")));
  EXPECT_EQ(file.getValue(W("S"), W("k")), W("v"));
  faults.heal();
  file.close();  // the word is 0: nothing is written, the model goes
  EXPECT_EQ(file.getValue(W("S"), W("k")), W(""));
  EXPECT_FALSE(File::exists(dir.name("f")));
}

TEST_F(InitializationFileTest, FailedReadLeavesTheFileAlone) {
  const std::string content = "[S]\nk=v\n";
  writeFile(dir.native("f"), content);
  lumbrel_test::StreamFaults faults;
  Lumbrel::platform::ScopedPlatform scope(faults);
  InitializationFile file(dir.name("f"));
  // A directory opens for reading but cannot be read.
  faults.redirectOpens(dir.path(), std::ios_base::in);
  EXPECT_THROW_MSG(file.open(kReadWrite), std::runtime_error, "failed to read from file");
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.getMode(), kReadWrite);
  faults.heal();
  file.setValue(W("S"), W("k"), W("changed"));
  file.close();  // no rewrite after a failed read
  EXPECT_EQ(readFile(dir.native("f")), content);
  file.synchronize();

  // The next successful open lifts that.
  file.open(kReadWrite);
  file.setValue(W("S"), W("k"), W("changed"));
  file.close();
  EXPECT_EQ(readFile(dir.native("f")), "[S]\nk=changed\n");
}

TEST_F(InitializationFileTest, SharedByThreadsWithoutLosingASetting) {
  constexpr int kWriters = 4;
  constexpr int kKeys = 150;
  InitializationFile file(dir.name("f"));
  file.open(kReadWrite);
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&file, t] {
      const wstring section = W(("T" + std::to_string(t)).c_str());
      for (int k = 0; k < kKeys; ++k) {
        const wstring key = W(("k" + std::to_string(k)).c_str());
        const wstring value = W(std::to_string(k * 7 + t).c_str());
        file.setValue(section, key, value);
        EXPECT_EQ(file.getValue(section, key), value);
        if (k % 50 == 25) file.synchronize();
      }
    });
  }
  for (int r = 0; r < 2; ++r) {
    threads.emplace_back([&file] {
      for (int i = 0; i < 200; ++i) {
        for (const wstring& section : file.enumerateSections()) file.enumerateKeys(section);
        file.getValue(W("T0"), W("k0"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  file.close();

  file.open(File::MODE_READ);
  EXPECT_EQ(file.enumerateSections(), Ws({"T0", "T1", "T2", "T3"}));
  for (int t = 0; t < kWriters; ++t) {
    const wstring section = W(("T" + std::to_string(t)).c_str());
    EXPECT_EQ(file.enumerateKeys(section).size(), static_cast<std::size_t>(kKeys));
    for (int k = 0; k < kKeys; ++k) {
      EXPECT_EQ(file.getValue(section, W(("k" + std::to_string(k)).c_str())),
                W(std::to_string(k * 7 + t).c_str()));
    }
  }
}

}  // namespace
