#include "lumbrel/File.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "TestSupport.h"
#include "platform/Platform.h"

using Lumbrel::File;
using Lumbrel::FileLock;
using lumbrel_test::readFile;
using lumbrel_test::TempDir;
using lumbrel_test::writeFile;

namespace {

constexpr const char* kOpenFailed = "failed to open file.";

class FileTest : public ::testing::Test {
 protected:
  TempDir dir;
};

TEST_F(FileTest, ModeTableOnPresentAndMissingFiles) {
  writeFile(dir.native("present"), "keep");
  {
    File file(dir.name("present"));
    EXPECT_EQ(file.getMode(), 0UL);
    EXPECT_THROW_MSG(file.open(0), std::runtime_error, kOpenFailed);
    EXPECT_THROW_MSG(file.open(File::MODE_BINARY), std::runtime_error, kOpenFailed);
    file.open(File::MODE_READ | File::MODE_WRITE | 0x100);
    EXPECT_EQ(file.getMode(), File::MODE_READ | File::MODE_WRITE | 0x100);
    // A successful first attempt leaves the state of the failed ones.
    EXPECT_TRUE(file.fail());
    file.clear();
    std::string content;
    file >> content;
    EXPECT_EQ(content, "keep");
    file.close();
    EXPECT_EQ(file.getMode(), 0UL);
  }
  EXPECT_EQ(readFile(dir.native("present")), "keep");
  {
    File file(dir.name("present"));
    file.open(File::MODE_WRITE);
    file.close();
  }
  EXPECT_EQ(readFile(dir.native("present")), "");

  File reader(dir.name("missing"));
  EXPECT_THROW_MSG(reader.open(File::MODE_READ), std::runtime_error, kOpenFailed);
  EXPECT_EQ(reader.getMode(), 0UL);
  EXPECT_FALSE(File::exists(dir.name("missing")));

  File both(dir.name("created"));
  both.open(File::MODE_READ | File::MODE_WRITE);  // second attempt creates it
  EXPECT_EQ(both.getMode(), 3UL);
  EXPECT_TRUE(both.good());
  EXPECT_TRUE(File::exists(dir.name("created")));

  File writer(dir.name("written"));
  writer.open(File::MODE_WRITE | File::MODE_BINARY);
  writer << "abc";
  writer.close();
  EXPECT_EQ(readFile(dir.native("written")), "abc");
}

TEST_F(FileTest, OpenAndCloseEdgesOfState) {
  File file(dir.name("f"));
  file.close();  // not open: failbit, no exception, word 0
  EXPECT_TRUE(file.fail());
  EXPECT_EQ(file.getMode(), 0UL);
  file.clear();
  file.close();
  EXPECT_TRUE(file.fail());
  file.clear();

  file.setMode(7);
  file.synchronize();  // not open: nothing happens
  EXPECT_EQ(file.getMode(), 7UL);

  file.open(File::MODE_READ | File::MODE_WRITE);
  // Opening an open file keeps it open, sets failbit and stores the new word.
  file.open(File::MODE_READ);
  EXPECT_TRUE(file.fail());
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(file.getMode(), File::MODE_READ);
  file.clear();
  file.close();
  EXPECT_EQ(file.getName(), dir.name("f"));
}

TEST_F(FileTest, SynchronizeReopensAndKeepsWriteOnlyContent) {
  File file(dir.name("sync"));
  file.open(File::MODE_READ | File::MODE_WRITE);
  file << "hello";
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("sync")), "hello");
  std::string word;
  file >> word;  // back at the start after the reopening
  EXPECT_EQ(word, "hello");
  file.close();

  File writer(dir.name("sync"));
  writer.open(File::MODE_WRITE);
  writer << "kept";
  writer.synchronize();
  EXPECT_EQ(writer.getMode(), File::MODE_WRITE);
  EXPECT_EQ(readFile(dir.native("sync")), "kept");
  writer << "K";  // back at the start
  writer.close();
  EXPECT_EQ(readFile(dir.native("sync")), "Kept");
}

TEST_F(FileTest, LockIsRecursiveAndReleasedAfterFailures) {
  File file(dir.name("missing"));
  EXPECT_TRUE(file.lock());
  EXPECT_TRUE(file.lock());
  std::atomic<bool> acquired{false};
  std::thread other([&] {
    FileLock guard(file);
    acquired = true;
  });
  EXPECT_TRUE(file.unlock());
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(acquired);
  EXPECT_TRUE(file.unlock());
  other.join();
  EXPECT_TRUE(acquired);

  // unlock by a thread that does not hold the lock still reports success.
  EXPECT_TRUE(file.unlock());

  EXPECT_THROW(file.open(File::MODE_READ), std::runtime_error);
  file.clear();
  file.exceptions(std::ios_base::failbit);
  EXPECT_THROW(file.close(), std::ios_base::failure);
  file.exceptions(std::ios_base::goodbit);
  file.clear();
  EXPECT_TRUE(std::async(std::launch::async, [&] {
                bool locked = file.lock();
                file.unlock();
                return locked;
              }).get());
}

TEST_F(FileTest, CreateRemoveExists) {
  writeFile(dir.native("full"), "content");
  EXPECT_TRUE(File::create(dir.name("full")));
  EXPECT_EQ(readFile(dir.native("full")), "");
  EXPECT_TRUE(File::create(dir.name("new")));

  EXPECT_TRUE(File::remove(dir.name("never-there")));
  ::chmod(dir.native("new").c_str(), 0444);
  EXPECT_TRUE(File::remove(dir.name("new")));
  EXPECT_FALSE(File::exists(dir.name("new")));

  ::mkdir(dir.native("sub").c_str(), 0700);
  EXPECT_TRUE(File::exists(dir.name("sub")));
  EXPECT_FALSE(File::remove(dir.name("sub")));  // directories are never removed
  EXPECT_TRUE(File::exists(dir.name("sub")));

  ::mkdir(dir.native("empty").c_str(), 0700);
  EXPECT_FALSE(File::remove(dir.name("empty")));
}

TEST_F(FileTest, RenameNeverReplaces) {
  writeFile(dir.native("a"), "A");
  writeFile(dir.native("b"), "B");
  EXPECT_FALSE(File::rename(dir.name("a"), dir.name("b")));
  EXPECT_EQ(readFile(dir.native("a")), "A");
  EXPECT_EQ(readFile(dir.native("b")), "B");
  EXPECT_FALSE(File::rename(dir.name("missing"), dir.name("c")));
  EXPECT_TRUE(File::rename(dir.name("a"), dir.name("c")));
  EXPECT_FALSE(File::exists(dir.name("a")));
  EXPECT_EQ(readFile(dir.native("c")), "A");
}

TEST_F(FileTest, CopyProtectsTheTarget) {
  writeFile(dir.native("to"), "precious");
  EXPECT_FALSE(File::copy(dir.name("missing"), dir.name("to")));
  EXPECT_EQ(readFile(dir.native("to")), "precious");

  EXPECT_TRUE(File::copy(dir.name("to"), dir.name("to")));  // same file
  EXPECT_EQ(readFile(dir.native("to")), "precious");

  std::string binary("a\0\r\n\xFF", 5);
  binary += std::string(200000, 'x');
  writeFile(dir.native("from"), binary);
  EXPECT_TRUE(File::copy(dir.name("from"), dir.name("to")));
  EXPECT_EQ(readFile(dir.native("to")), binary);
}

TEST_F(FileTest, NamesMapToNativePaths) {
  writeFile(dir.native("m"), "x");
  // Any volume letter and either separator name the root.
  std::string slashed = "c:" + dir.native("m");
  EXPECT_TRUE(File::exists(Lumbrel::make_wstring(slashed)));
  EXPECT_TRUE(File::exists(dir.name("m")));
  // A native absolute path works as it is.
  EXPECT_TRUE(File::exists(Lumbrel::make_wstring(dir.native("m"))));
  // The name ends at its first null unit.
  Lumbrel::wstring cut = dir.name("m");
  cut += Lumbrel::wstring(1, 0);
  cut += lumbrel_test::W("junk");
  EXPECT_TRUE(File::exists(cut));
}

// A file system whose streams never open.
class NoStreams : public Lumbrel::platform::PlatformWrapper {
 public:
  bool openStream(std::basic_filebuf<char>&, const std::string&, std::ios_base::openmode) override {
    return false;
  }
};

TEST_F(FileTest, SubstitutedPlatformFailureIsReported) {
  NoStreams broken;
  Lumbrel::platform::ScopedPlatform scope(broken);
  File file(dir.name("x"));
  EXPECT_THROW_MSG(file.open(File::MODE_READ | File::MODE_WRITE), std::runtime_error, kOpenFailed);
  EXPECT_FALSE(File::create(dir.name("x")));
}

}  // namespace
