#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"
#include "platform/Testing.h"

using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_test::W;

namespace {

constexpr const char* kEmpty = "null or empty string passed as file path";
constexpr const char* kUndetermined = "cannot determine path";

struct ProcessAt : Lumbrel::platform::PlatformWrapper {
  explicit ProcessAt(const char* name) : fileName(W(name)) {}
  wstring processFileName() override { return fileName; }
  wstring fileName;
};

std::string fields(const File::Path& path) {
  return Lumbrel::make_string(path.getVolume() + W("|") + path.getDirectory() + W("|") +
                              path.getName());
}

class AgentPathTest : public ::testing::Test {
 protected:
  ProcessAt process{"D:\\svc\\bin\\agent.exe"};
  Lumbrel::platform::ScopedPlatform installed{process};
};

// Each form of text parses alike; a null unit ends the text. (path_fuzz holds
// the parsing rules against a reference on many more shapes.)
TEST_F(AgentPathTest, SplitsIntoVolumeDirectoryAndName) {
  const std::pair<const char*, const char*> rows[] = {
      {"c:\\data\\run.log", "C:|\\data\\|run.log"},
      {"..\\run.log", "D:|\\svc\\|run.log"},
      {"\\\\host\\share\\run.log", "D:|\\svc\\bin\\host\\share\\|run.log"},
  };
  for (const auto& [given, expected] : rows) {
    SCOPED_TRACE(given);
    for (const File::Path& path : {File::Path(given), File::Path(std::string(given)),
                                   File::Path(W(given)), File::Path(W(given).c_str())})
      EXPECT_EQ(fields(path), expected);
  }
  EXPECT_EQ(fields(File::Path(W("run.log") + wstring(1, 0) + W("\\more"))),
            "D:|\\svc\\bin\\|run.log");
}

TEST_F(AgentPathTest, EmptyOrOverlongTextIsRefused) {
  EXPECT_THROW_MSG(File::Path{""}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const char*>(nullptr)}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const unsigned short*>(nullptr)}, std::invalid_argument,
                   kEmpty);
  EXPECT_THROW_MSG(File::Path{wstring(3, 0)}, std::invalid_argument, kEmpty);
  // 11 units of `D:\svc\bin\` and 248 more make 259, the most that fits; the joined text is
  // cut at 260 units before it is resolved.
  const std::string fits(248, 'x');
  EXPECT_EQ(Lumbrel::make_string(File::Path(fits).getName()), fits);
  EXPECT_THROW_MSG(File::Path{fits + "y"}, std::invalid_argument, kUndetermined);
  EXPECT_THROW_MSG(File::Path{fits + "yy\\..\\..\\a"}, std::invalid_argument, kUndetermined);
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
