#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "lumbrel/File.h"
#include "platform/Testing.h"

using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_test::W;

namespace {

// path_fuzz holds the parsing of every form of text against a reference, with
// the process's file name substituted (the length limit and null units
// included); here what it does not reach: null pointers, comparing, printing,
// and the real executable's folder.
TEST(PathTest, NullPointersAreRefusedAsEmptyText) {
  const char* empty = "null or empty string passed as file path";
  EXPECT_THROW_MSG(File::Path{static_cast<const char*>(nullptr)}, std::invalid_argument, empty);
  EXPECT_THROW_MSG(File::Path{static_cast<const unsigned short*>(nullptr)}, std::invalid_argument,
                   empty);
}

// Paths compare by their composed texts without regard to case, however the
// fields are cut; insertion writes the composed text.
TEST(PathTest, EqualityAndInsertionTakeTheComposedText) {
  File::Path path("c:\\data\\run.log");
  EXPECT_TRUE(path == File::Path("C:\\DATA\\Run.Log"));
  EXPECT_TRUE(path != File::Path("c:\\data\\run.lo"));
  path.setDirectory(W("\\logs"));
  EXPECT_TRUE(path == File::Path("c:\\LOGSRUN.LOG"));
  std::ostringstream out;
  out << path << '|' << File::Path();
  EXPECT_EQ(out.str(), "C:\\logsrun.log|");
}

TEST(RealPathTest, RelativeNamesLieBesideTheExecutableWhateverTheWorkingDirectory) {
  namespace fs = std::filesystem;
  const fs::path beside =
      lumbrel_test::nativePath(Lumbrel::platform::executableFile()).parent_path();
  const std::string expected = lumbrel_test::libraryName((beside / "run.log").u8string());
  lumbrel_test::TempDir elsewhere;
  struct Restore {
    fs::path saved = fs::current_path();
    ~Restore() { fs::current_path(saved); }
  } restore;
  fs::current_path(lumbrel_test::nativePath(elsewhere.path()));
  const wstring composed = File::Path("run.log");
  EXPECT_EQ(composed, W(expected.c_str()));
  ASSERT_TRUE(File::create(composed));
  EXPECT_TRUE(fs::exists(beside / "run.log") && File::exists(composed));
  EXPECT_TRUE(File::remove(composed));
  EXPECT_FALSE(fs::exists(beside / "run.log"));
}

}  // namespace
