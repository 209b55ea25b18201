#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "lumbrel/File.h"
#include "platform/Platform.h"

using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_test::W;

namespace {

constexpr const char* kEmpty = "null or empty string passed as file path";
constexpr const char* kUndetermined = "cannot determine path";

// A process whose executable has the given file name.
class ProcessAt : public Lumbrel::platform::PlatformWrapper {
 public:
  explicit ProcessAt(const char* fileName) : fileName_(W(fileName)) {}
  wstring processFileName() override { return fileName_; }

 private:
  wstring fileName_;
};

// The three fields joined by `|`, so that a mismatch shows them all.
std::string fields(const File::Path& path) {
  return Lumbrel::make_string(path.getVolume() + W("|") + path.getDirectory() + W("|") +
                              path.getName());
}

class AgentPathTest : public ::testing::Test {
 protected:
  ProcessAt process{"D:\\svc\\bin\\agent.exe"};
  Lumbrel::platform::ScopedPlatform installed{process};
};

TEST_F(AgentPathTest, SplitsIntoVolumeDirectoryAndName) {
  const struct {
    const char* given;
    const char* expected;
  } rows[] = {
      {"c:\\data\\run.log", "C:|\\data\\|run.log"},
      {"c:\\", "C:|\\|"},
      {"c:\\data\\", "C:|\\data\\|"},
      {"C:\\a//b\\..\\c.txt", "C:|\\a\\b\\..\\|c.txt"},
      {"run.log", "D:|\\svc\\bin\\|run.log"},
      {"logs\\run.log", "D:|\\svc\\bin\\logs\\|run.log"},
      {"..\\run.log", "D:|\\svc\\|run.log"},
      {"C:/data/run.log", "D:|\\svc\\bin\\C:\\data\\|run.log"},
      {"\\\\host\\share\\run.log", "D:|\\svc\\bin\\host\\share\\|run.log"},
      // Absolute text keeps its `.` and its case; only the volume letter rises.
      {"c:\\a/b//C\\.\\d", "C:|\\a\\b\\C\\.\\|d"},
      // Relative text, `c:` alone included, resolves below the executable and
      // never above the volume's root.
      {"c:", "D:|\\svc\\bin\\|c:"},
      {"logs/", "D:|\\svc\\bin\\logs\\|"},
      {"\\run.log", "D:|\\svc\\bin\\|run.log"},
      {"..\\..\\..\\..\\run.log", "D:|\\|run.log"},
      {".\\a\\.\\b\\..\\...\\..c", "D:|\\svc\\bin\\a\\...\\|..c"},
      {"..", "D:|\\|svc"},
      {"d\xC3\xA9j\xC3\xA0.log", "D:|\\svc\\bin\\|d\xC3\xA9j\xC3\xA0.log"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    EXPECT_EQ(fields(File::Path(row.given)), row.expected);
    EXPECT_EQ(fields(File::Path(std::string(row.given))), row.expected);
    EXPECT_EQ(fields(File::Path(W(row.given))), row.expected);
    EXPECT_EQ(fields(File::Path(W(row.given).c_str())), row.expected);
  }
  const wstring behindNull = W("run.log") + wstring(1, 0) + W("\\more");
  EXPECT_EQ(fields(File::Path(behindNull)), "D:|\\svc\\bin\\|run.log");
}

TEST_F(AgentPathTest, EmptyOrOverlongTextIsRefused) {
  EXPECT_THROW_MSG(File::Path{""}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const char*>(nullptr)}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const unsigned short*>(nullptr)}, std::invalid_argument,
                   kEmpty);
  EXPECT_THROW_MSG(File::Path{wstring(3, 0)}, std::invalid_argument, kEmpty);
  // `D:\svc\bin\` is 11 units: 248 more make 259, the most that fits with the
  // terminator.
  const std::string fits(248, 'x');
  EXPECT_EQ(Lumbrel::make_string(File::Path(fits).getName()), fits);
  EXPECT_THROW_MSG(File::Path{fits + "y"}, std::invalid_argument, kUndetermined);
  // The joined text is cut at 260 units before it is resolved: a `..` beyond
  // them is never seen, and one within them does not bring back what was cut.
  EXPECT_THROW_MSG(File::Path{fits + "yy\\..\\..\\a"}, std::invalid_argument, kUndetermined);
  EXPECT_EQ(File::Path("q\\..\\" + fits).getName(), wstring(244, 'x'));
}

TEST(PathTest, TextAnchoredNowhereCannotBeDetermined) {
  for (const char* fileName : {"", "agent.exe", "D:agent.exe"}) {
    SCOPED_TRACE(fileName);
    ProcessAt process(fileName);
    Lumbrel::platform::ScopedPlatform installed(process);
    EXPECT_THROW_MSG(File::Path{"run.log"}, std::invalid_argument, kUndetermined);
    // Text that is full by itself needs no anchor.
    EXPECT_EQ(fields(File::Path("C:/data/run.log")), "C:|\\data\\|run.log");
    EXPECT_EQ(fields(File::Path("\\\\host\\share\\run.log")), "Host|\\share\\|run.log");
  }
}

TEST(PathTest, ExecutableOnANetworkShare) {
  ProcessAt process("\\\\server\\share\\app.exe");
  Lumbrel::platform::ScopedPlatform installed(process);
  // The host becomes the volume, and `..` never climbs above the share.
  EXPECT_EQ(fields(File::Path("run.log")), "Server|\\share\\|run.log");
  EXPECT_EQ(fields(File::Path("..\\..\\..\\x")), "Server|\\share\\|x");
}

TEST(PathTest, EqualityIgnoresCaseAndHowTheFieldsAreCut) {
  EXPECT_TRUE(File::Path() == File::Path());
  const File::Path upper("C:\\DATA\\Run.Log");
  const File::Path lower("c:\\data\\run.log");
  EXPECT_TRUE(upper == lower);
  EXPECT_FALSE(upper != lower);
  EXPECT_EQ(upper.getDirectory(), W("\\DATA\\"));
  EXPECT_TRUE(lower != File::Path("c:\\data\\run.lo"));
  File::Path cut;
  cut.setVolume(W("C:\\data"));
  cut.setDirectory(W("\\run"));
  cut.setName(W(".log"));
  EXPECT_TRUE(cut == lower);
}

TEST(PathTest, SettersCopiesAndInsertionTakeFieldsAsGiven) {
  File::Path path("c:\\data\\run.log");
  path.setDirectory(W("\\logs"));
  EXPECT_EQ(static_cast<wstring>(path), W("C:\\logsrun.log"));
  path.setVolume(W("x"));
  path.setName(W("a/b\\.."));
  // Copies and assignments parse nothing again.
  File::Path assigned("c:\\x");
  assigned = File::Path(path);
  EXPECT_EQ(fields(assigned), "x|\\logs|a/b\\..");
  // Insertion writes the low byte of each unit; an empty path writes nothing.
  path.setName(wstring{0x141, 0x2E, 0x7A});
  std::ostringstream out;
  out << path << '|' << File::Path();
  EXPECT_EQ(out.str(), "x\\logsA.z|");
}

TEST(RealPathTest, RelativeNamesLieBesideTheExecutableWhateverTheWorkingDirectory) {
  const std::filesystem::path beside = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  std::string directory = "Z:";
  for (char c : beside.string() + "/") directory += c == '/' ? '\\' : c;
  const wstring before = File::Path("run.log");
  EXPECT_EQ(before, W((directory + "run.log").c_str()));

  lumbrel_test::TempDir elsewhere;
  struct Restore {
    std::filesystem::path saved = std::filesystem::current_path();
    ~Restore() { std::filesystem::current_path(saved); }
  } restore;
  std::filesystem::current_path(elsewhere.path());
  EXPECT_EQ(static_cast<wstring>(File::Path("run.log")), before);
  // The file operations find the file there too.
  const std::string leaf = "path_test.tmp";
  const wstring composed = File::Path(leaf);
  ASSERT_TRUE(File::create(composed));
  EXPECT_TRUE(std::filesystem::exists(beside / leaf));
  EXPECT_TRUE(File::exists(composed));
  EXPECT_TRUE(File::remove(composed));
  EXPECT_FALSE(std::filesystem::exists(beside / leaf));
}

}  // namespace
