#include "lumbrel/DataFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "StoreTestSupport.h"
#include "store/DataFileFormat.h"

using Lumbrel::DataFile;
using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_test::readFile;
using lumbrel_test::StreamFaults;
using lumbrel_test::TempDir;
using lumbrel_test::W;
using lumbrel_test::writeFile;

namespace {

using Bytes = std::vector<unsigned char>;
using Keys = std::vector<wstring>;
using Record = DataFile::Record;

constexpr unsigned long RW = File::MODE_READ | File::MODE_WRITE;

std::string encoded(const wstring& key, const std::string& data) {
  const Record record(key, Bytes(data.begin(), data.end()));
  std::string out(Lumbrel::store::encodedSize(record), '\0');
  Lumbrel::store::encodeRecord(record, reinterpret_cast<unsigned char*>(&out[0]));
  return out;
}
std::string encoded(const char* key, const std::string& data) { return encoded(W(key), data); }

Keys keys(DataFile& file) {
  Keys out;
  for (unsigned long i = 0; i < file.size(); ++i) out.push_back(file[i].getKey());
  return out;
}

class DataFileTest : public ::testing::Test {
 protected:
  File::Path path(const std::string& entry) { return File::Path(dir.name(entry)); }
  TempDir dir;
};

TEST_F(DataFileTest, RoundTripsKeepUnitsOrderAndEveryByte) {
  const Keys units = {W("ab"), {0x4E2D, 0x0100, 0xFFFE}, {0x0080, 0x00E9, 0x00FF}, W("empty")};
  DataFile file(path("units"));
  file.open(RW);
  EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
  file.insert(Record(units[0], {1, 2}));
  file.close();
  EXPECT_EQ(readFile(dir.native("units")), std::string("\4\0\0\0\0a\0b\2\0\0\0\1\2", 14));
  file.open(RW);
  for (const wstring& key : {units[1], units[2], units[3]}) file.insert(Record(key, {}));
  file[1].setData({0xFF});
  file.close();  // empty data as the last record
  file.open(File::MODE_READ);
  EXPECT_EQ(keys(file), units);
  EXPECT_EQ(file[1].getData(), Bytes{0xFF});
  EXPECT_THROW_MSG(file[4], std::out_of_range, "object does not exist");

  // Keys equal but for case load as two records, one removed per call, and
  // a store closed unchanged writes back every byte.
  const std::string original = encoded("zeta", "1") + encoded("Key", "2") + encoded("KEY", "3");
  writeFile(dir.native("case"), original);
  DataFile cased(path("case"));
  cased.open(RW);
  cased.close();
  EXPECT_EQ(readFile(dir.native("case")), original);
  cased.open(RW);
  cased.insert(Record(W("key"), {}));  // taken: ignored
  cased.remove(Record(W("kEY"), {}));
  EXPECT_EQ(keys(cased), (Keys{W("zeta"), W("KEY")}));
  cased.remove(Record(W("key"), {}));
  cased.close();
  EXPECT_EQ(readFile(dir.native("case")), encoded("zeta", "1"));
}

TEST_F(DataFileTest, DamagedFilesLoadWhatPrecedesTheDamageAndAreNotRewritten) {
  const std::string good = encoded("one", "1") + encoded("two", "2");
  // The damage, and whether it is a key error.
  const std::pair<std::string, bool> cases[] = {{encoded("three", "333").substr(0, 12), false},
                                                {std::string("\xFF\xFF\xFF\xFF\0a", 6), false},
                                                {std::string("\0\0\0\0\1\0\0\0x", 9), true}};
  for (const auto& c : cases) {
    const std::string bytes = good + c.first + encoded("after", "!");
    writeFile(dir.native("damaged"), bytes);
    DataFile file(path("damaged"));
    if (c.second)
      EXPECT_THROW_MSG(file.open(RW), std::invalid_argument, "zero length key");
    else
      EXPECT_THROW_MSG(file.open(RW), std::runtime_error, "failed to read from file");
    EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
    EXPECT_EQ(keys(file), (Keys{W("one"), W("two")}));
    file.insert(Record(W("more"), {}));
    file.close();
    EXPECT_EQ(readFile(dir.native("damaged")), bytes);
  }
}

TEST_F(DataFileTest, ModesDecideLoadingAndWriting) {
  const std::string original = encoded("kept", "k");
  const std::string added = encoded("new", "");
  struct Case {
    unsigned long mode;
    bool present;
    bool opens;
    std::string written;
  };
  const Case cases[] = {{File::MODE_READ, true, true, original},
                        {File::MODE_READ, false, false, ""},
                        {0, true, false, original},
                        {RW, true, true, original + added},
                        {RW, false, true, added},
                        {File::MODE_WRITE, true, true, added}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.mode << (c.present ? " present" : " missing"));
    std::remove(dir.native("f").c_str());
    if (c.present) writeFile(dir.native("f"), original);
    DataFile file(path("f"));
    file.insert(Record(W("dropped by open"), {}));
    if (!c.opens) {
      EXPECT_THROW_MSG(file.open(c.mode), std::runtime_error, "failed to open file.");
      EXPECT_EQ(File::exists(dir.name("f")), c.present);
      continue;
    }
    file.open(c.mode);
    const bool loads = c.present && (c.mode & File::MODE_READ) != 0;
    EXPECT_EQ(keys(file), loads ? Keys{W("kept")} : Keys{});
    EXPECT_EQ(readFile(dir.native("f")), loads ? original : "");
    file.insert(Record(W("new"), {}));
    file.close();
    EXPECT_EQ(readFile(dir.native("f")), c.written);
  }
}

TEST_F(DataFileTest, SynchronizeWritesTheRecords) {
  for (unsigned long mode : {RW, File::MODE_WRITE}) {
    DataFile file(path("sync"));
    file.open(mode);
    file.insert(Record(W("x"), {9}));
    file.synchronize();  // write alone keeps the records: reopening would empty the file
    EXPECT_EQ(readFile(dir.native("sync")), encoded("x", "\x09"));
    EXPECT_EQ(keys(file), Keys{W("x")});
    file.insert(Record(W("y"), {}));
    file.close();
    EXPECT_EQ(readFile(dir.native("sync")), encoded("x", "\x09") + encoded("y", ""));
  }
}

// Listing the store hands out every record; a key changed through such a
// reference, or through a copy of it, must leave the store's searches right.
TEST_F(DataFileTest, KeysChangedThroughReferencesAreFoundUnderTheNewKeys) {
  writeFile(dir.native("walk"),
            encoded("a", "1") + encoded("b", "2") + encoded("c", "3") + encoded("d", "4"));
  DataFile file(path("walk"));
  file.open(RW);
  file.insert(Record(W("e"), {5}));  // the first search indexes the store
  std::vector<Record*> listed;
  for (unsigned long i = 0; i < file.size(); ++i) listed.push_back(&file[i]);
  listed[0]->setKey(W("x"));
  *listed[2] = Record(W("B"), {});  // now equal to "b", behind it
  listed[3]->setKey(W("D2"));
  listed[4]->setKey(W("E"));
  Record copy = *listed[1];
  copy.setKey(W("copy"));  // a copy belongs to no store

  for (const char* key : {"a", "X", "c", "e", "copy"}) file.insert(Record(W(key), {}));
  EXPECT_EQ(keys(file), (Keys{W("x"), W("b"), W("B"), W("D2"), W("E"), W("a"), W("c"), W("copy")}));
  for (const char* key : {"b", "b", "X", "copy", "d"}) file.remove(Record(W(key), {}));
  EXPECT_EQ(keys(file), (Keys{W("D2"), W("E"), W("a"), W("c")}));
  file.close();
  EXPECT_EQ(readFile(dir.native("walk")),
            encoded("D2", "4") + encoded("E", "\5") + encoded("a", "") + encoded("c", ""));
}

// Random operations against a vector walked with compare: the index, the
// holes left by removal, the records kept as file bytes until needed and the
// keys changed through references must never change what a linear walk does.
TEST_F(DataFileTest, BehavesLikeALinearWalk) {
  std::mt19937 random(12345);
  std::vector<Record> model = {Record(W("a"), {}), Record(W("A"), {}), Record(W("D"), {})};
  writeFile(dir.native("model"), encoded("a", "") + encoded("A", "") + encoded("D", ""));
  DataFile file(path("model"));
  file.open(RW);
  for (int step = 0; step < 2000; ++step) {
    const std::size_t length = 1 + random() % 2;
    const wstring key = W(std::string(length, "aAbBcC"[random() % 6]).c_str());
    auto found = model.begin();
    while (found != model.end() && Lumbrel::compare(found->getKey(), key) != 0) ++found;
    const unsigned long action = random() % 3;
    if (action == 0) {
      file.insert(Record(key, {}));
      if (found == model.end()) model.emplace_back(key, Bytes{});
    } else if (action == 1) {
      file.remove(Record(key, {}));
      if (found != model.end()) model.erase(found);
    } else if (!model.empty()) {  // may make two records with equal keys
      const std::size_t at = random() % model.size();
      file[at].setKey(key);
      model[at].setKey(key);
    }
    ASSERT_EQ(file.size(), model.size()) << step;
    if (step % 200 == 0) {
      file.synchronize();  // written and read back: every record is file bytes again
      std::string expected;
      for (const Record& r : model) expected += encoded(r.getKey(), "");
      ASSERT_EQ(readFile(dir.native("model")), expected) << step;
    }
  }
}

TEST_F(DataFileTest, WriteFailureKeepsTheRecordsForAnotherClose) {
  StreamFaults faults;
  Lumbrel::platform::ScopedPlatform installed(faults);
  DataFile file(path("full"));
  file.open(RW);
  file.insert(Record(W("a"), {1}));
  faults.redirectOpens("/dev/full");
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
  EXPECT_EQ(keys(file), Keys{W("a")});
  faults.heal();
  file.close();
  EXPECT_EQ(readFile(dir.native("full")), encoded("a", "\1"));
}

}  // namespace
