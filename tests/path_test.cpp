#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "TestSupport.h"
#include "file/FullPath.h"
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

std::string narrow(const wstring& text) { return Lumbrel::make_string(text); }

// The three fields joined by `|`, so that a mismatch shows them all.
std::string fields(const File::Path& path) {
  return narrow(path.getVolume()) + "|" + narrow(path.getDirectory()) + "|" +
         narrow(path.getName());
}

class AgentPathTest : public ::testing::Test {
 protected:
  ProcessAt process{"D:\\svc\\bin\\agent.exe"};
  Lumbrel::platform::ScopedPlatform installed{process};
};

TEST_F(AgentPathTest, WorkedResults) {
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
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    EXPECT_EQ(fields(File::Path(row.given)), row.expected);
    EXPECT_EQ(fields(File::Path(std::string(row.given))), row.expected);
    EXPECT_EQ(fields(File::Path(W(row.given))), row.expected);
    EXPECT_EQ(fields(File::Path(W(row.given).c_str())), row.expected);
  }
}

TEST_F(AgentPathTest, RelativeTextResolvesBelowTheExecutablesVolume) {
  // No backslash in third place: relative, and the name of a file there.
  EXPECT_EQ(fields(File::Path("c:")), "D:|\\svc\\bin\\|c:");
  EXPECT_EQ(fields(File::Path("c:data")), "D:|\\svc\\bin\\|c:data");
  // A directory with its closing separator has no name.
  EXPECT_EQ(fields(File::Path("logs\\")), "D:|\\svc\\bin\\logs\\|");
  EXPECT_EQ(fields(File::Path("logs/")), "D:|\\svc\\bin\\logs\\|");
  // A leading separator does not reach the volume's root.
  EXPECT_EQ(fields(File::Path("\\run.log")), "D:|\\svc\\bin\\|run.log");
  // `..` stops at the root of the volume.
  EXPECT_EQ(fields(File::Path("..\\..\\..\\..\\run.log")), "D:|\\|run.log");
  EXPECT_EQ(fields(File::Path(".\\a\\.\\b\\..\\run.log")), "D:|\\svc\\bin\\a\\|run.log");
  // A trailing `..` names the parent directory, which becomes the name.
  EXPECT_EQ(fields(File::Path("..")), "D:|\\|svc");
  // A letter outside A-Z and a-z makes no volume.
  EXPECT_EQ(fields(File::Path("\xC3\xA9:\\x")), "D:|\\svc\\bin\\\xC3\xA9:\\|x");
}

TEST_F(AgentPathTest, AbsoluteTextIsSplitButNotResolved) {
  // Both separators split; adjacent ones vanish; `.` and `..` stay.
  EXPECT_EQ(fields(File::Path("c:\\a/b//c\\.\\d")), "C:|\\a\\b\\c\\.\\|d");
  EXPECT_EQ(static_cast<wstring>(File::Path("C:\\a//b\\c")), W("C:\\a\\b\\c"));
  EXPECT_EQ(fields(File::Path("z:\\..\\..\\x")), "Z:|\\..\\..\\|x");
  // Only the first unit of the volume changes case.
  EXPECT_EQ(fields(File::Path("c:\\DATA\\Run.Log")), "C:|\\DATA\\|Run.Log");
  // Absolute text needs no executable: a process without a file name still
  // parses it.
  ProcessAt nameless("");
  Lumbrel::platform::ScopedPlatform inner(nameless);
  EXPECT_EQ(fields(File::Path("q:\\x")), "Q:|\\|x");
}

TEST_F(AgentPathTest, TextBehindTheFirstNullIsIgnored) {
  wstring given = W("run.log");
  given += static_cast<unsigned short>(0);
  given += W("\\more");
  EXPECT_EQ(fields(File::Path(given)), "D:|\\svc\\bin\\|run.log");
  // UTF-8 text is decoded before parsing.
  const File::Path decoded("d\xC3\xA9j\xC3\xA0.log");
  EXPECT_EQ(decoded.getName(), (wstring{'d', 0xE9, 'j', 0xE0, '.', 'l', 'o', 'g'}));
}

TEST_F(AgentPathTest, EmptyTextIsRefused) {
  EXPECT_THROW_MSG(File::Path{""}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{std::string()}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{wstring()}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const char*>(nullptr)}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{static_cast<const unsigned short*>(nullptr)}, std::invalid_argument,
                   kEmpty);
  EXPECT_THROW_MSG(File::Path{wstring(3, 0)}, std::invalid_argument, kEmpty);
  EXPECT_THROW_MSG(File::Path{std::string("\0x", 2)}, std::invalid_argument, kEmpty);
}

TEST_F(AgentPathTest, JoinedTextMustFitIntoTheFullPathBuffer) {
  // `D:\svc\bin\` is 11 units: 248 more make 259, the most that fits with the
  // terminator.
  const std::string fits(248, 'x');
  EXPECT_EQ(narrow(File::Path(fits).getName()), fits);
  EXPECT_THROW_MSG(File::Path{fits + "y"}, std::invalid_argument, kUndetermined);
  // The joined text is cut at 260 units before it is resolved, so what lies
  // beyond them is never seen, not even a `..` that would shorten it.
  EXPECT_THROW_MSG(File::Path{fits + "yy\\..\\..\\a"}, std::invalid_argument, kUndetermined);
  // A `..` inside the first 260 units does shorten it; the cut still loses
  // the 4 units beyond them.
  EXPECT_EQ(narrow(File::Path("q\\..\\" + fits).getName()), std::string(244, 'x'));
}

TEST(PathTest, TextAnchoredNowhereCannotBeDetermined) {
  for (const char* fileName : {"", "agent.exe", "D:agent.exe"}) {
    SCOPED_TRACE(fileName);
    ProcessAt process(fileName);
    Lumbrel::platform::ScopedPlatform installed(process);
    EXPECT_THROW_MSG(File::Path{"run.log"}, std::invalid_argument, kUndetermined);
    EXPECT_THROW_MSG(File::Path{"c:"}, std::invalid_argument, kUndetermined);
    EXPECT_THROW_MSG(File::Path{"\\run.log"}, std::invalid_argument, kUndetermined);
    // Text that is full by itself needs no anchor.
    EXPECT_EQ(fields(File::Path("C:/data/run.log")), "C:|\\data\\|run.log");
    EXPECT_EQ(fields(File::Path("\\\\host\\share\\run.log")), "Host|\\share\\|run.log");
  }
}

TEST(PathTest, ExecutableOnANetworkShare) {
  ProcessAt process("\\\\server\\share\\app.exe");
  Lumbrel::platform::ScopedPlatform installed(process);
  // The two leading separators make no segment: the host becomes the volume.
  const File::Path path("run.log");
  EXPECT_EQ(fields(path), "Server|\\share\\|run.log");
  EXPECT_EQ(static_cast<wstring>(path), W("Server\\share\\run.log"));
  // `..` never climbs above the share; only ASCII letters change case.
  EXPECT_EQ(fields(File::Path("..\\..\\..\\x")), "Server|\\share\\|x");
  ProcessAt foreign("\\\\\xC3\xA4rz\\s\\app.exe");
  Lumbrel::platform::ScopedPlatform inner(foreign);
  EXPECT_EQ(fields(File::Path("x")), "\xC3\xA4rz|\\s\\|x");
}

TEST(PathTest, EqualityIgnoresCaseAndHowTheFieldsAreCut) {
  EXPECT_TRUE(File::Path() == File::Path());
  EXPECT_EQ(static_cast<wstring>(File::Path()), wstring());
  EXPECT_TRUE(File::Path("a:\\") == File::Path("A:\\"));
  const File::Path upper("C:\\DATA\\Run.Log");
  const File::Path lower("c:\\data\\run.log");
  EXPECT_TRUE(upper == lower);
  EXPECT_FALSE(upper != lower);
  EXPECT_EQ(upper.getDirectory(), W("\\DATA\\"));
  EXPECT_EQ(lower.getName(), W("run.log"));
  EXPECT_TRUE(File::Path("c:\\data\\run.log") != File::Path("c:\\data\\run.lo"));
  EXPECT_TRUE(File::Path("c:\\data\\run.log") != File::Path());

  File::Path cut;
  cut.setVolume(W("C:\\data"));
  cut.setDirectory(W("\\run"));
  cut.setName(W(".log"));
  EXPECT_TRUE(cut == lower);
}

TEST(PathTest, SettersStoreValuesAsGiven) {
  File::Path path("c:\\data\\run.log");
  path.setDirectory(W("\\logs"));
  EXPECT_EQ(static_cast<wstring>(path), W("C:\\logsrun.log"));
  EXPECT_EQ(path.getVolume(), W("C:"));
  EXPECT_EQ(path.getName(), W("run.log"));
  path.setVolume(W("x"));
  path.setName(W("a/b\\.."));
  EXPECT_EQ(static_cast<wstring>(path), W("x\\logsa/b\\.."));
  path.setVolume(wstring());
  path.setDirectory(wstring());
  path.setName(wstring());
  EXPECT_TRUE(path == File::Path());

  // Copies take the fields as they are, without parsing them again.
  path.setDirectory(W("//odd"));
  File::Path copy(path);
  EXPECT_EQ(copy.getDirectory(), W("//odd"));
  File::Path assigned("c:\\x");
  assigned = path;
  EXPECT_EQ(fields(assigned), "|//odd|");
  const File::Path& self = assigned;
  assigned = self;
  EXPECT_EQ(fields(assigned), "|//odd|");
}

TEST(PathTest, StreamInsertionWritesTheLowByteOfEachUnit) {
  File::Path path("c:\\data\\run.log");
  std::ostringstream out;
  out << path;
  EXPECT_EQ(out.str(), "C:\\data\\run.log");
  path.setName(wstring{0x141, 0x2E, 0x7A});
  std::ostringstream low;
  low << path << '|' << File::Path();
  EXPECT_EQ(low.str(), "C:\\data\\A.z|");
}

TEST(FullPathTest, WindowsRulesOnTextAlone) {
  using Lumbrel::filepath::fullPath;
  const struct {
    const char* given;
    const char* expected;
  } rows[] = {
      {"C:\\a\\b", "C:\\a\\b"},
      {"c:/a//b\\\\c/", "c:\\a\\b\\c\\"},
      {"C:\\a\\.\\b\\..\\c", "C:\\a\\c"},
      {"C:\\a\\b\\..", "C:\\a"},
      {"C:\\a\\b\\.", "C:\\a\\b"},
      {"C:\\a\\b\\..\\", "C:\\a\\"},
      {"C:\\..\\..\\x\\..\\..", "C:\\"},
      {"C:\\\\\\", "C:\\"},
      {"C:\\...\\.a\\..b", "C:\\...\\.a\\..b"},
      {"D:\\svc\\bin\\C:/data/run.log", "D:\\svc\\bin\\C:\\data\\run.log"},
      {"D:\\svc\\bin\\\\\\host\\share\\run.log", "D:\\svc\\bin\\host\\share\\run.log"},
      {"1:\\x", "1:\\x"},
      {"\\\\server\\share\\..\\..\\x", "\\\\server\\share\\x"},
      {"//server//share/./x/", "\\\\server\\share\\x\\"},
      {"\\\\server\\..\\x", "\\\\server\\..\\x"},
      {"\\\\server", "\\\\server"},
      {"\\\\", "\\\\"},
      // Each of these would need a working directory.
      {"", ""},
      {"run.log", ""},
      {"\\run.log", ""},
      {"C:run.log", ""},
      {"C:", ""},
      {"\\?x", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.given);
    EXPECT_EQ(narrow(fullPath(W(row.given))), row.expected);
  }
  // Only the text in front of the first null unit counts.
  wstring withNull = W("C:\\a");
  withNull += static_cast<unsigned short>(0);
  withNull += W("\\b");
  EXPECT_EQ(fullPath(withNull), W("C:\\a"));
}

TEST(FullPathTest, ResultMustFitWithItsTerminator) {
  using Lumbrel::filepath::fullPath;
  const std::string longest = "C:\\" + std::string(256, 'x');  // 259 units
  EXPECT_EQ(narrow(fullPath(W(longest.c_str()))), longest);
  EXPECT_EQ(fullPath(W((longest + "y").c_str())), wstring());
  // The limit applies to the result, not to the given text.
  const std::string shrinking = longest + "\\yy\\..";
  EXPECT_EQ(narrow(fullPath(W(shrinking.c_str()))), longest);
}

// The running program's directory, as the library names it.
std::string executableDirectory() {
  const std::string native = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  std::string windows = "Z:";
  for (char c : native) windows += c == '/' ? '\\' : c;
  return windows + "\\";
}

class CurrentDirectory {
 public:
  CurrentDirectory() : saved_(std::filesystem::current_path()) {}
  ~CurrentDirectory() { std::filesystem::current_path(saved_); }
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;

 private:
  std::filesystem::path saved_;
};

TEST(RealPathTest, RelativeNamesLieBesideTheExecutableWhateverTheWorkingDirectory) {
  const wstring expected = W((executableDirectory() + "run.log").c_str());
  const File::Path before("run.log");
  EXPECT_EQ(static_cast<wstring>(before), expected);
  {
    lumbrel_test::TempDir elsewhere;
    CurrentDirectory restore;
    std::filesystem::current_path(elsewhere.path());
    const File::Path after("run.log");
    EXPECT_EQ(static_cast<wstring>(after), expected);
    EXPECT_EQ(fields(after), fields(before));
  }
}

TEST(RealPathTest, FileOperationsUseTheComposedName) {
  const std::string leaf = "path_test-" + std::to_string(::getpid()) + ".tmp";
  const std::filesystem::path beside =
      std::filesystem::read_symlink("/proc/self/exe").parent_path() / leaf;
  const wstring composed = File::Path(leaf.c_str());
  CurrentDirectory restore;
  std::filesystem::current_path("/");
  ASSERT_TRUE(File::create(composed));
  EXPECT_TRUE(std::filesystem::exists(beside));
  EXPECT_TRUE(File::exists(composed));
  EXPECT_TRUE(File::remove(composed));
  EXPECT_FALSE(std::filesystem::exists(beside));
  EXPECT_FALSE(File::exists(composed));
}

}  // namespace
