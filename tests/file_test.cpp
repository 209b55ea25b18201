#include "lumbrel/File.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "lumbrel/InitializationFile.h"
#include "platform/Platform.h"
#include "platform/Testing.h"

using Lumbrel::File;
using lumbrel_test::readFile;
using lumbrel_test::TempDir;
using lumbrel_test::writeFile;

namespace {

constexpr const char* kOpenFailed = "failed to open file.";

struct FileTest : ::testing::Test {
  TempDir dir;
};

TEST_F(FileTest, OpenFollowsTheModeWordOnPresentAndMissingFiles) {
  const unsigned long read = File::MODE_READ, write = File::MODE_WRITE;
  const struct {
    unsigned long mode;
    bool present, opens;
    const char* after;  // the file's content afterwards, "-" when there is none
  } rows[] = {
      {0, false, false, "-"},      {File::MODE_BINARY, true, false, "keep"},
      {read, true, true, "keep"},  {read, false, false, "-"},
      {write, true, true, ""},     {write | File::MODE_BINARY, false, true, ""},
      {read | write, false, true, ""},
      {read | write | 0x100, true, true, "keep"}};  // unassigned bits stay in the word
  for (const auto& row : rows) {
    const std::string entry = std::to_string(&row - rows);
    SCOPED_TRACE("row " + entry);
    if (row.present) writeFile(dir.native(entry), "keep");
    File file(dir.name(entry));
    if (row.opens) file.open(row.mode);
    if (!row.opens) EXPECT_THROW_MSG(file.open(row.mode), std::runtime_error, kOpenFailed);
    EXPECT_EQ(file.getMode(), row.opens ? row.mode : 0UL);
    file.close();
    EXPECT_EQ(file.getMode(), 0UL);
    EXPECT_EQ(File::exists(dir.name(entry)) ? readFile(dir.native(entry)) : "-", row.after);
  }
}

TEST_F(FileTest, SynchronizeReopensAtTheStartAndKeepsWriteOnlyContent) {
  File file(dir.name("sync"));
  file.setMode(File::MODE_WRITE);
  file.synchronize();  // not open: nothing happens
  EXPECT_FALSE(File::exists(dir.name("sync")));
  file.open(File::MODE_READ | File::MODE_WRITE);
  file << "hello";
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("sync")), "hello");
  std::string word;
  file >> word;
  EXPECT_EQ(word, "hello");
  file.close();
  file.open(File::MODE_WRITE);
  file.clear();  // open keeps the end-of-file flag of the read above
  file << "kept";
  file.synchronize();
  EXPECT_EQ(readFile(dir.native("sync")), "kept");
  // Opening an open file keeps it open, fails and stores the new mode.
  file.open(File::MODE_READ);
  EXPECT_TRUE(file.fail() && file.is_open());
  EXPECT_EQ(file.getMode(), File::MODE_READ);
}

// The lock is the object's Mutex (MutexTest checks how it is held); open and
// close give it back also when they fail or raise.
TEST_F(FileTest, LockIsRecursiveAndReleasedAfterFailures) {
  File file(dir.name("missing"));
  EXPECT_TRUE(file.lock() && file.lock() && file.unlock() && file.unlock());
  EXPECT_THROW(file.open(File::MODE_READ), std::runtime_error);
  file.clear();
  file.exceptions(std::ios_base::failbit);
  EXPECT_THROW(file.close(), std::ios_base::failure);
  file.exceptions(std::ios_base::goodbit);
  EXPECT_TRUE(std::async(std::launch::async, [&] { return file.lock() && file.unlock(); }).get());
}

TEST_F(FileTest, RemoveNeverTakesAFolderAndRenameNeverReplaces) {
  writeFile(dir.native("full"), "content");
  EXPECT_TRUE(File::create(dir.name("full")));
  EXPECT_EQ(readFile(dir.native("full")), "");
  EXPECT_TRUE(File::remove(dir.name("never-there")));
  std::filesystem::permissions(lumbrel_test::nativePath(dir.native("full")),
                               std::filesystem::perms::owner_read);
  EXPECT_TRUE(File::remove(dir.name("full")));
  EXPECT_FALSE(File::exists(dir.name("full")));
  std::filesystem::create_directory(lumbrel_test::nativePath(dir.native("sub")));
  EXPECT_TRUE(File::exists(dir.name("sub")));
  EXPECT_FALSE(File::remove(dir.name("sub")));  // directories are never removed

  writeFile(dir.native("a"), "A");
  writeFile(dir.native("b"), "B");
  EXPECT_FALSE(File::rename(dir.name("a"), dir.name("b")));  // never replaces
  EXPECT_EQ(readFile(dir.native("a")) + readFile(dir.native("b")), "AB");
  EXPECT_TRUE(File::rename(dir.name("a"), dir.name("c")));
  EXPECT_EQ(readFile(dir.native("c")), "A");
}

TEST_F(FileTest, CopyProtectsTheTarget) {
  writeFile(dir.native("to"), "precious");
  EXPECT_FALSE(File::copy(dir.name("missing"), dir.name("to")));
  EXPECT_TRUE(File::copy(dir.name("to"), dir.name("to")));  // same file
  EXPECT_EQ(readFile(dir.native("to")), "precious");
  const std::string binary = std::string("a\0\r\n\xFF", 5) + std::string(200000, 'x');
  writeFile(dir.native("from"), binary);
  EXPECT_TRUE(File::copy(dir.name("from"), dir.name("to")));
  EXPECT_EQ(readFile(dir.native("to")), binary);
}

TEST_F(FileTest, NamesMapToNativePaths) {
  writeFile(dir.native("m"), "x");
  // A native path works as it is; a null unit ends the name. On POSIX any volume letter names
  // the root; on Windows names are native, so a volume names itself.
  EXPECT_TRUE(File::exists(Lumbrel::make_wstring(dir.native("m"))));
  EXPECT_TRUE(File::exists(dir.name("m") + Lumbrel::wstring(1, 0) + lumbrel_test::W("junk")));
  Lumbrel::platform::Platform& system = Lumbrel::platform::native();
  const bool posix = system.nativeName("c:\\") == "/";
  EXPECT_TRUE(!posix || File::exists(Lumbrel::make_wstring("c:" + dir.native("m"))));
  EXPECT_EQ(system.nativeName("z:/a\\b"), posix ? "/a/b" : "z:/a\\b");
}

// Without the binary bit a stream translates line ends where the platform's text files have
// CR LF (Windows), so the settings stores read such files as their user means them; with it,
// and on POSIX, bytes pass unchanged: `[Net]\r` is no section, so nothing is found.
TEST_F(FileTest, LineEndsFollowTheBinaryBit) {
  const bool translated = std::string(Lumbrel::platform::textLineEnd()) != "\n";
  for (const unsigned long binary : {0UL, File::MODE_BINARY}) {
    {
      File file(dir.name("lines"));
      file.open(File::MODE_WRITE | binary);
      file << "a\nb";
    }
    EXPECT_EQ(readFile(dir.native("lines")), translated && binary == 0 ? "a\r\nb" : "a\nb");
    writeFile(dir.native("crlf.ini"), "[Net]\r\nport=80\r\n");
    Lumbrel::InitializationFile settings{File::Path(dir.name("crlf.ini"))};
    settings.open(File::MODE_READ | binary);
    EXPECT_EQ(settings.getValue(lumbrel_test::W("Net"), lumbrel_test::W("port")),
              lumbrel_test::W(translated && binary == 0 ? "80" : ""));
  }
}

}  // namespace
