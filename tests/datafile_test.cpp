#include "lumbrel/DataFile.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "StoreTestSupport.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

using Bytes = std::vector<unsigned char>;
using Keys = std::vector<wstring>;
using Record = DataFile::Record;

constexpr unsigned long kReadWrite = File::MODE_READ | File::MODE_WRITE;

Keys keys(DataFile& file) {
  Keys out;
  for (unsigned long i = 0; i < file.size(); ++i) out.push_back(file[i].getKey());
  return out;
}

struct DataFileTest : ::testing::Test {
  File::Path path(const std::string& entry) { return File::Path(dir.name(entry)); }
  TempDir dir;
};

// Keys equal but for case are removed one per call; an insert of a key that
// is taken is ignored. (datafile_fuzz holds the loading and writing back of
// any keys and bytes, such as these, against its reference.)
TEST_F(DataFileTest, KeysMatchWithoutCaseOneRecordAtATime) {
  writeFile(dir.native("case"), encoded("zeta", "1") + encoded("Key", "2") + encoded("KEY", "3"));
  DataFile file(path("case"));
  file.open(kReadWrite);
  file.insert(Record(W("key"), {}));
  file.remove(Record(W("kEY"), {}));
  EXPECT_EQ(keys(file), (Keys{W("zeta"), W("KEY")}));
  file[0].setData({'9'});
  EXPECT_THROW_MSG(file[2], std::out_of_range, "object does not exist");
  file.remove(Record(W("key"), {}));
  file.close();
  EXPECT_EQ(readFile(dir.native("case")), encoded("zeta", "9"));
  // A key read with a null unit inside is kept whole and matched up to that
  // unit, blanks in front of it included.
  writeFile(dir.native("case"), std::string("\x08\0\0\0\0a\0 \0\0\0b\0\0\0\0", 16));
  file.open(kReadWrite);
  file.insert(Record({'A', ' ', 0}, {}));
  EXPECT_EQ(keys(file), Keys{wstring({'a', ' ', 0, 'b'})});
}

// A file of many blocks, taken as it arrives: runs of records of one size,
// broken by a key to trim, a longer key and more data. Half the records are
// then built and a fifth removed, so that the bytes the others wait in move
// to a smaller buffer, twice: the references handed out stay good, and the
// file written is the records in their order.
TEST_F(DataFileTest, LargeFilesKeepEveryRecordWhateverIsBuiltOrRemoved) {
  std::string content, expected;
  std::vector<std::string> keys;
  for (int i = 0; i < 40000; ++i) {
    std::string key = "key" + std::to_string(100000 + i) + (i % 1009 == 0 ? "-longer" : "");
    const std::string data(i % 1013 == 0 ? 47 : 40, static_cast<char>('a' + i % 26));
    content += encoded((i % 997 == 0 ? " " + key + "\t" : key).c_str(), data);
    keys.push_back(key);
    if (i % 5 != 0) expected += encoded(key.c_str(), data);
  }
  writeFile(dir.native("large"), content);
  DataFile file(path("large"));
  file.open(kReadWrite);
  ASSERT_EQ(file.size(), keys.size());
  const Record& early = file[2];
  for (unsigned long i = 1; i < file.size(); i += 2)
    ASSERT_EQ(file[i].getKey(), W(keys[i].c_str()));
  for (std::size_t i = 0; i < keys.size(); i += 5) file.remove(Record(W(keys[i].c_str()), {}));
  EXPECT_EQ(early.getKey(), W(keys[2].c_str()));
  EXPECT_EQ(early.getData(), Bytes(40, 'c'));
  file.close();
  EXPECT_EQ(readFile(dir.native("large")), expected);
}

// Random operations against a vector walked with compare: the index, the
// holes left by removal, the records kept as file bytes until needed and keys
// changed through the references operator[] hands out (or through copies of
// them, which belong to no store) must never change what a linear walk does.
// Few keys keep the index's probe runs long, so removals from their middle and
// runs wrapping around the table's end are met too.
TEST_F(DataFileTest, BehavesLikeALinearWalkAlsoAfterKeysChangeThroughReferences) {
  std::mt19937 random(12345);
  std::vector<Record> model;
  DataFile file(path("model"));
  file.open(kReadWrite);
  for (int step = 0; step < 3000; ++step) {
    const std::size_t length = 1 + random() % 2;  // twenty keys, equal in pairs but for case
    const wstring key = W(std::string(length, "aAbBcCdDeE"[random() % 10]).c_str());
    auto found = model.begin();
    while (found != model.end() && compare(found->getKey(), key) != 0) ++found;
    const unsigned long action = random() % 5;
    if (action == 0) {
      file.insert(Record(key, {}));
      if (found == model.end()) model.emplace_back(key, Bytes{});
    } else if (action == 1) {
      file.remove(Record(key, {}));
      if (found != model.end()) model.erase(found);
    } else if (!model.empty()) {  // may make two records with equal keys
      const auto at = static_cast<unsigned long>(random() % model.size());
      if (action == 2) file[at].setKey(key);
      if (action == 3) file[at] = Record(key, {});
      if (action == 4) Record(file[at]).setKey(key);
      if (action != 4) model[at].setKey(key);
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

}  // namespace
