#include "lumbrel/LogFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "TestSupport.h"

using Lumbrel::File;
using Lumbrel::LogFile;
using lumbrel_test::readFile;
using lumbrel_test::TempDir;
using lumbrel_test::writeFile;

namespace {

constexpr unsigned long RW = File::MODE_READ | File::MODE_WRITE;
constexpr const char* kOpenFailed = "failed to open file.";

class LogFileTest : public ::testing::Test {
 protected:
  File::Path path(const std::string& entry) { return File::Path(dir.name(entry)); }
  TempDir dir;
};

TEST_F(LogFileTest, KeptLogGrowsAndFreshLogStartsEmpty) {
  writeFile(dir.native("kept"), "old\n");
  {
    LogFile log(path("kept"));
    log.open(RW);
    EXPECT_EQ(log.getMode(), 0UL);
    log.seekp(0);  // writes still go to the end
    log << "new\n";
    log.close();
    log.open(RW);
    log << std::string(LogFile::MAX_LINE_LENGTH + 10, 'x') << '\n';
  }
  EXPECT_EQ(readFile(dir.native("kept")),
            "old\nnew\n" + std::string(LogFile::MAX_LINE_LENGTH + 10, 'x') + "\n");

  writeFile(dir.native("fresh"), "old\n");
  {
    LogFile log(path("fresh"));
    log.open(File::MODE_WRITE);
    log << "only";
  }
  EXPECT_EQ(readFile(dir.native("fresh")), "only");
}

TEST_F(LogFileTest, ReadOnlyOpenPrintsTheLineOnlyForAPresentFile) {
  writeFile(dir.native("present"), "keep");
  LogFile present(path("present"));
  testing::internal::CaptureStdout();
  EXPECT_THROW_MSG(present.open(File::MODE_READ), std::runtime_error, kOpenFailed);
  const std::string name = Lumbrel::make_string(dir.name("present"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "File::open() failed to open " + name + "\n");
  EXPECT_FALSE(present.is_open());
  EXPECT_EQ(readFile(dir.native("present")), "keep");

  LogFile missing(path("missing"));
  testing::internal::CaptureStdout();
  EXPECT_THROW_MSG(missing.open(File::MODE_READ), std::runtime_error, kOpenFailed);
  EXPECT_THROW_MSG(missing.open(0), std::runtime_error, kOpenFailed);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_FALSE(File::exists(dir.name("missing")));
}

}  // namespace
