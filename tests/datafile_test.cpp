#include "lumbrel/DataFile.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/Platform.h"
#include "store/DataFileFormat.h"

using Lumbrel::DataFile;
using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_test::readFile;
using lumbrel_test::TempDir;
using lumbrel_test::W;
using lumbrel_test::writeFile;

namespace {

using Bytes = std::vector<unsigned char>;
using Record = DataFile::Record;

constexpr unsigned long RW = File::MODE_READ | File::MODE_WRITE;
constexpr const char* kReadFailed = "failed to read from file";

// One record's bytes, for building files by hand.
std::string encoded(const std::string& key, const std::string& data) {
  std::string out;
  auto length = [&out](std::size_t n) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>((n >> (8 * i)) & 0xFF);
  };
  length(2 * key.size());
  for (char c : key) {
    out += '\0';
    out += c;
  }
  length(data.size());
  out += data;
  return out;
}

std::string encodedRecord(const Record& record) {
  std::string out(Lumbrel::store::encodedSize(record), '\0');
  Lumbrel::store::encodeRecord(record, reinterpret_cast<unsigned char*>(out.data()));
  return out;
}

std::vector<wstring> keys(DataFile& file) {
  std::vector<wstring> out;
  for (unsigned long i = 0; i < file.size(); ++i) out.push_back(file[i].getKey());
  return out;
}

class DataFileTest : public ::testing::Test {
 protected:
  Lumbrel::File::Path path(const std::string& entry) { return Lumbrel::File::Path(dir.name(entry)); }
  TempDir dir;
};

TEST(DataFileRecordTest, KeyIsTrimmedOfSpaceTabAndNewlineOnly) {
  Record record(W("  a\t\n"), {1});
  EXPECT_EQ(record.getKey(), W("a"));
  record.setKey(W("   "));
  EXPECT_EQ(record.getKey(), W("   "));
  record.setKey(W("\rb \r"));
  EXPECT_EQ(record.getKey(), W("\rb \r"));

  EXPECT_THROW_MSG(record.setKey(W("")), std::invalid_argument, "zero length key");
  wstring nullFirst(3, 0);
  nullFirst[1] = 'x';
  EXPECT_THROW_MSG(record.setKey(nullFirst), std::invalid_argument, "zero length key");
  // A blank then a null unit: trimmed to the null, whose length is 0.
  wstring blankNull = W(" ");
  blankNull += static_cast<unsigned short>(0);
  EXPECT_THROW_MSG(record.setKey(blankNull), std::invalid_argument, "zero length key");
  EXPECT_EQ(record.getKey(), W("\rb \r"));
  EXPECT_EQ(Record(W(" \t"), {}).getKey(), W(" \t"));
}

TEST(DataFileRecordTest, CopiesAreUntested) {
  Record empty;
  Record copy(empty);
  EXPECT_TRUE(copy.getKey().empty());
  Record assigned(W("k"), {1, 2});
  Record& same = assigned;
  assigned = same;
  EXPECT_EQ(assigned.getKey(), W("k"));
  assigned.setData(assigned.getData());
  EXPECT_EQ(assigned.getData(), (Bytes{1, 2}));
  assigned = empty;
  EXPECT_TRUE(assigned.getKey().empty());
  EXPECT_TRUE(assigned.getData().empty());
}

TEST_F(DataFileTest, ExampleRecordIsWrittenAndReadBack) {
  {
    DataFile file(path("example"));
    file.open(RW);
    EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
    file.insert(Record(W("ab"), {1, 2}));
    file.close();
    EXPECT_EQ(file.getMode(), 0UL);
    EXPECT_EQ(file.size(), 0UL);
  }
  EXPECT_EQ(readFile(dir.native("example")), std::string("\4\0\0\0\0a\0b\2\0\0\0\1\2", 14));

  DataFile file(path("example"));
  file.open(File::MODE_READ);
  ASSERT_EQ(file.size(), 1UL);
  EXPECT_EQ(file[0].getKey(), W("ab"));
  EXPECT_EQ(file[0].getData(), (Bytes{1, 2}));
}

TEST_F(DataFileTest, KeysUnitsAndEmptyDataSurviveARoundTrip) {
  const wstring high = {0x4E2D, 0x0100, 0xFFFE};
  const wstring latin = {0x0080, 0x00E9, 0x00FF};
  {
    DataFile file(path("units"));
    file.open(File::MODE_WRITE);
    file.insert(Record(high, {0}));
    file.insert(Record(latin, {0xFF, 0x00}));
    file.insert(Record(W("empty"), {}));
  }  // the destructor writes
  const std::string bytes = readFile(dir.native("units"));
  EXPECT_EQ(bytes.substr(bytes.size() - 4), std::string(4, '\0'));

  DataFile file(path("units"));
  file.open(File::MODE_READ);
  ASSERT_EQ(file.size(), 3UL);
  EXPECT_EQ(file[0].getKey(), high);
  EXPECT_EQ(file[1].getKey(), latin);
  EXPECT_EQ(file[1].getData(), (Bytes{0xFF, 0x00}));
  EXPECT_EQ(file[2].getKey(), W("empty"));
  EXPECT_TRUE(file[2].getData().empty());
}

TEST_F(DataFileTest, KeysMatchWithoutRegardToCase) {
  DataFile file;  // in memory only
  EXPECT_THROW_MSG(file.open(RW), std::runtime_error, "failed to open file.");
  file.insert(Record(W("Alpha"), {1}));
  file.insert(Record(W("ALPHA"), {2}));
  file.insert(Record(W("beta"), {3}));
  ASSERT_EQ(file.size(), 2UL);
  EXPECT_EQ(file[0].getData(), (Bytes{1}));

  file.remove(Record(W("aLpHa"), {9}));
  EXPECT_EQ(keys(file), (std::vector<wstring>{W("beta")}));
  file.remove(Record(W("missing"), {}));
  EXPECT_EQ(file.size(), 1UL);

  EXPECT_THROW_MSG(file[1], std::out_of_range, "object does not exist");
  file.remove(Record(W("beta"), {}));
  EXPECT_THROW_MSG(file[0], std::out_of_range, "object does not exist");
  // Closing a store that was never opened only drops the records.
  file.insert(Record(W("x"), {}));
  file.close();
  EXPECT_EQ(file.size(), 0UL);
}

TEST_F(DataFileTest, KeysChangedThroughReferencesStillMatch) {
  DataFile file;
  file.insert(Record(W("a"), {1}));
  file.insert(Record(W("b"), {2}));
  file.insert(Record(W("c"), {3}));
  file[1].setKey(W("Changed"));
  file.insert(Record(W("CHANGED"), {4}));
  EXPECT_EQ(file.size(), 3UL);
  Record& first = file[0];
  first = Record(W("z"), {5});  // assignment, not setKey
  file.insert(Record(W("Z"), {}));
  EXPECT_EQ(file.size(), 3UL);
  file.insert(Record(W("a"), {}));
  EXPECT_EQ(keys(file), (std::vector<wstring>{W("z"), W("Changed"), W("c"), W("a")}));
  file.remove(Record(W("changed"), {}));
  file.remove(Record(W("Z"), {}));
  EXPECT_EQ(keys(file), (std::vector<wstring>{W("c"), W("a")}));
}

// Random operations against a plain vector walked with compare: the index,
// the holes left by removal, the records kept as file bytes until needed and
// the references handed out must never change what a linear walk would do.
TEST_F(DataFileTest, BehavesLikeALinearWalk) {
  std::mt19937 random(12345);
  std::vector<Record> model = {Record(W("a"), {1}), Record(W("A"), {2}), Record(W("bC"), {}),
                               Record(W("\tD "), {3})};
  std::string bytes;
  for (const Record& r : model) bytes += encodedRecord(r);
  writeFile(dir.native("walk"), bytes);
  DataFile file(path("walk"));
  file.open(RW);
  auto randomKey = [&random] {
    const char* letters = "aAbBcCdD";
    std::string key;
    for (int n = 1 + static_cast<int>(random() % 2); n > 0; --n) key += letters[random() % 8];
    return W(key.c_str());
  };
  for (int step = 0; step < 4000; ++step) {
    const unsigned long action = random() % 5;
    const wstring key = randomKey();
    if (action <= 1) {
      const Record record(key, {static_cast<unsigned char>(step & 0xFF)});
      file.insert(record);
      bool present = false;
      for (const Record& r : model) present = present || Lumbrel::compare(r.getKey(), key) == 0;
      if (!present) model.push_back(record);
    } else if (action == 2) {
      file.remove(Record(key, {}));
      for (auto it = model.begin(); it != model.end(); ++it) {
        if (Lumbrel::compare(it->getKey(), key) == 0) {
          model.erase(it);
          break;
        }
      }
    } else if (action == 3 && !model.empty()) {
      const unsigned long index = random() % model.size();
      file[index].setKey(key);
      model[index].setKey(key);
    } else if (!model.empty()) {
      // A file may hold equal keys: make one behind the store's back.
      const unsigned long index = random() % model.size();
      file[index] = Record(key, {});
      model[index] = Record(key, {});
    }
    ASSERT_EQ(file.size(), model.size()) << step;
    if (step % 250 == 0) {
      // Written and read back: every record is file bytes again.
      file.synchronize();
      std::string expected;
      for (const Record& r : model) expected += encodedRecord(r);
      ASSERT_EQ(readFile(dir.native("walk")), expected) << step;
    } else if (step % 50 == 0) {
      for (unsigned long i = 0; i < model.size(); ++i) {
        ASSERT_EQ(file[i].getKey(), model[i].getKey()) << step;
        ASSERT_EQ(file[i].getData(), model[i].getData()) << step;
      }
    }
  }
}

TEST_F(DataFileTest, FileOrderThenInsertionOrderAndUnchangedCloseKeepsBytes) {
  const std::string original = encoded("zeta", "1") + encoded("Key", "2") + encoded("KEY", "3") +
                               encoded("alpha", "");
  writeFile(dir.native("order"), original);
  {
    DataFile file(path("order"));
    file.open(RW);
    EXPECT_EQ(keys(file), (std::vector<wstring>{W("zeta"), W("Key"), W("KEY"), W("alpha")}));
    file.close();
  }
  EXPECT_EQ(readFile(dir.native("order")), original);

  DataFile file(path("order"));
  file.open(RW);
  file.insert(Record(W("new"), {7}));
  file.insert(Record(W("key"), {8}));  // equal to a stored key: ignored
  // Equal keys from the file are two records; remove takes one per call.
  file.remove(Record(W("key"), {}));
  EXPECT_EQ(keys(file), (std::vector<wstring>{W("zeta"), W("KEY"), W("alpha"), W("new")}));
  file.insert(Record(W("kEy"), {9}));
  EXPECT_EQ(file.size(), 4UL);
  file.close();
  EXPECT_EQ(readFile(dir.native("order")),
            encoded("zeta", "1") + encoded("KEY", "3") + encoded("alpha", "") + encoded("new", "\7"));
}

TEST_F(DataFileTest, PaddedKeysInAFileAreTrimmedAndWrittenTrimmed) {
  writeFile(dir.native("padded"), encoded(" a\n", "x"));
  DataFile file(path("padded"));
  file.open(RW);
  EXPECT_EQ(file[0].getKey(), W("a"));
  file.close();
  EXPECT_EQ(readFile(dir.native("padded")), encoded("a", "x"));
}

TEST_F(DataFileTest, DamagedFilesLoadWhatPrecedesTheDamageAndAreNotRewritten) {
  const std::string good = encoded("one", "1") + encoded("two", "2");
  const std::string emptyKey = std::string("\0\0\0\0\1\0\0\0x", 9);
  const std::string hugeLength = std::string("\xFF\xFF\xFF\xFF", 4) + "\0a";
  const std::string cut = encoded("three", "333").substr(0, 12);
  struct Case {
    std::string tail;
    bool keyError;
  };
  for (const Case& damage : {Case{cut, false}, Case{hugeLength, false}, Case{emptyKey, true}}) {
    const std::string bytes = good + damage.tail + encoded("after", "!");
    writeFile(dir.native("damaged"), bytes);
    {
      DataFile file(path("damaged"));
      if (damage.keyError) {
        EXPECT_THROW_MSG(file.open(RW), std::invalid_argument, "zero length key");
      } else {
        EXPECT_THROW_MSG(file.open(RW), std::runtime_error, kReadFailed);
      }
      EXPECT_TRUE(file.is_open());
      EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
      EXPECT_EQ(keys(file), (std::vector<wstring>{W("one"), W("two")}));
      file.insert(Record(W("more"), {}));
      file.close();
      EXPECT_EQ(readFile(dir.native("damaged")), bytes);
      // Again, and this time left to the destructor.
      EXPECT_ANY_THROW(file.open(RW));
    }
    EXPECT_EQ(readFile(dir.native("damaged")), bytes);
  }

  // A successful open lifts the protection.
  writeFile(dir.native("damaged"), good + cut);
  DataFile file(path("damaged"));
  EXPECT_ANY_THROW(file.open(RW));
  writeFile(dir.native("damaged"), good);
  file.open(RW);
  file.insert(Record(W("three"), {}));
  file.close();
  EXPECT_EQ(readFile(dir.native("damaged")), good + encoded("three", ""));
}

TEST_F(DataFileTest, ModesDecideLoadingAndWriting) {
  const std::string original = encoded("kept", "k");
  writeFile(dir.native("present"), original);

  DataFile reader(path("present"));
  reader.open(File::MODE_READ);
  EXPECT_EQ(reader.size(), 1UL);
  reader.insert(Record(W("dropped"), {}));
  reader.close();
  EXPECT_EQ(readFile(dir.native("present")), original);

  DataFile missing(path("missing"));
  EXPECT_THROW_MSG(missing.open(File::MODE_READ), std::runtime_error, "failed to open file.");
  EXPECT_FALSE(File::exists(dir.name("missing")));
  EXPECT_THROW_MSG(reader.open(0), std::runtime_error, "failed to open file.");
  EXPECT_EQ(reader.getMode(), 0UL);

  DataFile created(path("created"));
  created.open(RW);
  EXPECT_EQ(readFile(dir.native("created")), "");
  created.close();
  EXPECT_TRUE(File::exists(dir.name("created")));
  EXPECT_EQ(readFile(dir.native("created")), "");

  // Write alone: the old content is gone at once and nothing is loaded.
  DataFile writer(path("present"));
  writer.insert(Record(W("before open"), {}));
  writer.open(File::MODE_WRITE);
  EXPECT_EQ(readFile(dir.native("present")), "");
  EXPECT_EQ(writer.size(), 0UL);
  writer.insert(Record(W("w"), {1}));
  writer.close();
  EXPECT_EQ(readFile(dir.native("present")), encoded("w", "\1"));
}

TEST_F(DataFileTest, OpenOnAnOpenStoreReloadsTheFile) {
  writeFile(dir.native("twice"), encoded("a", ""));
  DataFile file(path("twice"));
  file.open(RW);
  file.insert(Record(W("lost"), {}));
  file.open(File::MODE_READ);
  EXPECT_EQ(keys(file), (std::vector<wstring>{W("a")}));
  EXPECT_EQ(file.getMode(), File::MODE_READ | File::MODE_BINARY);
}

TEST_F(DataFileTest, SynchronizeWritesTheRecords) {
  DataFile both(path("both"));
  both.open(RW);
  both.insert(Record(W("a"), {1}));
  both.insert(Record(W("b"), {2}));
  both.synchronize();
  EXPECT_EQ(readFile(dir.native("both")), encoded("a", "\1") + encoded("b", "\2"));
  EXPECT_EQ(keys(both), (std::vector<wstring>{W("a"), W("b")}));
  EXPECT_EQ(both.getMode(), RW | File::MODE_BINARY);

  DataFile alone(path("alone"));
  alone.open(File::MODE_WRITE);
  alone.insert(Record(W("x"), {9}));
  Record& kept = alone[0];
  alone.synchronize();
  EXPECT_EQ(readFile(dir.native("alone")), encoded("x", "\x09"));
  EXPECT_EQ(&alone[0], &kept);
  EXPECT_TRUE(alone.is_open());
  alone.insert(Record(W("y"), {}));
  alone.close();
  EXPECT_EQ(readFile(dir.native("alone")), encoded("x", "\x09") + encoded("y", ""));

  // Nothing happens to a store that is not open.
  alone.insert(Record(W("z"), {}));
  alone.synchronize();
  EXPECT_EQ(alone.size(), 1UL);
}

TEST_F(DataFileTest, OperationsFromSeveralThreadsExcludeEachOther) {
  DataFile file;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&file, t] {
      for (int i = 0; i < 500; ++i) {
        const std::string key = std::to_string(t) + "-" + std::to_string(i);
        file.insert(Record(W(key.c_str()), {}));
        if (i % 2 == 0) file.remove(Record(W(key.c_str()), {}));
        if (file.size() > 0) (void)file.size();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(file.size(), 1000UL);
}

// Opens writes on the full device while `full` is set.
class FullDisk : public Lumbrel::platform::PlatformWrapper {
 public:
  bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                  std::ios_base::openmode mode) override {
    if (full && (mode & std::ios_base::out)) return buffer.open("/dev/full", mode) != nullptr;
    return PlatformWrapper::openStream(buffer, name, mode);
  }
  bool full = false;
};

TEST_F(DataFileTest, WriteFailureKeepsTheRecordsForAnotherClose) {
  FullDisk disk;
  Lumbrel::platform::ScopedPlatform installed(disk);
  DataFile file(path("full"));
  file.open(RW);
  file.insert(Record(W("a"), {1}));
  file.insert(Record(W("b"), Bytes(100000, 2)));
  disk.full = true;
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.getMode(), RW | File::MODE_BINARY);
  EXPECT_EQ(file.size(), 2UL);
  disk.full = false;
  file.close();
  EXPECT_EQ(file.size(), 0UL);
  EXPECT_EQ(readFile(dir.native("full")),
            encoded("a", "\1") + encoded("b", std::string(100000, '\2')));

  // A small write fails too: it is flushed before close reports success.
  file.open(File::MODE_WRITE);
  file.insert(Record(W("c"), {3}));
  disk.full = true;
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to write to file");
  EXPECT_EQ(file.size(), 1UL);
  disk.full = false;
}

TEST_F(DataFileTest, UnopenableFileAfterRemovalKeepsTheRecords) {
  struct NoReopen : Lumbrel::platform::PlatformWrapper {
    bool openStream(std::basic_filebuf<char>& buffer, const std::string& name,
                    std::ios_base::openmode mode) override {
      return !refuse && PlatformWrapper::openStream(buffer, name, mode);
    }
    bool refuse = false;
  } platform;
  Lumbrel::platform::ScopedPlatform installed(platform);
  DataFile file(path("gone"));
  file.open(RW);
  file.insert(Record(W("a"), {}));
  platform.refuse = true;
  EXPECT_THROW_MSG(file.close(), std::runtime_error, "failed to open file.");
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.getMode(), 0UL);
  EXPECT_EQ(file.size(), 1UL);
  EXPECT_FALSE(File::exists(dir.name("gone")));
}

}  // namespace
