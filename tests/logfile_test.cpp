#include "lumbrel/LogFile.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "TestSupport.h"

using namespace Lumbrel;
using namespace lumbrel_test;

namespace {

constexpr const char* kOpenFailed = "failed to open file.";

TEST(LogFileTest, KeptLogGrowsAndFreshLogStartsEmpty) {
  TempDir dir;
  const std::string longLine(LogFile::MAX_LINE_LENGTH + 10, 'x');
  for (const char* entry : {"kept", "fresh"}) writeFile(dir.native(entry), "old\n");
  {
    LogFile log(File::Path(dir.name("kept")));
    log.open(File::MODE_READ | File::MODE_WRITE);
    EXPECT_EQ(log.getMode(), 0UL);
    log.seekp(0);
    log << "new\n";  // still at the end
    log.close();
    log.open(File::MODE_READ | File::MODE_WRITE);
    log << longLine << '\n';
    LogFile fresh(File::Path(dir.name("fresh")));
    fresh.open(File::MODE_WRITE);
    fresh << "only";
  }
  EXPECT_EQ(readFile(dir.native("kept")),
            "old\n" + lumbrel_test::textBytes("new\n" + longLine + "\n"));
  EXPECT_EQ(readFile(dir.native("fresh")), "only");
}

// A log is never opened for reading; the line is printed only when a present
// file fails to attach, and a missing file is not created.
TEST(LogFileTest, ReadOnlyOpenPrintsTheLineOnlyForAPresentFile) {
  TempDir dir;
  writeFile(dir.native("present"), "keep");
  LogFile present(File::Path(dir.name("present"))), missing(File::Path(dir.name("missing")));
  testing::internal::CaptureStdout();
  EXPECT_THROW_MSG(present.open(File::MODE_READ), std::runtime_error, kOpenFailed);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "File::open() failed to open " + make_string(dir.name("present")) + "\n");
  EXPECT_EQ(readFile(dir.native("present")), "keep");

  testing::internal::CaptureStdout();
  EXPECT_THROW_MSG(missing.open(File::MODE_READ), std::runtime_error, kOpenFailed);
  EXPECT_THROW_MSG(missing.open(0), std::runtime_error, kOpenFailed);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_FALSE(File::exists(dir.name("missing")));
}

}  // namespace
