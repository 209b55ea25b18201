// The lumbrel program, run as a user runs it: in a working directory, with
// arguments, standard input, and its output, errors and exit status read back.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "StoreTestSupport.h"
#include "platform/Platform.h"
#include "platform/Process.h"
#include "platform/Testing.h"

namespace {

using Lumbrel::platform::ProcessObject;
using Lumbrel::platform::startProcess;
using Lumbrel::platform::waitProcess;
using lumbrel_test::encoded;
using lumbrel_test::readFile;
using lumbrel_test::textBytes;
using lumbrel_test::writeFile;
using Arguments = std::vector<std::string>;

// The program's name as the library shows it, and its native path.
const std::string kToolName = lumbrel_test::libraryName(LUMBREL_TOOL);
const std::string kTool = Lumbrel::platform::native().nativeName(kToolName);

class ToolTest : public ::testing::Test {
 protected:
  // Runs lumbrel in `dir` on `input`, expects `status` and `err`, and gives its output.
  std::string run(const Arguments& arguments, int status = 0, const std::string& err = "",
                  const std::string& input = "") {
    writeFile(dir.native(".stdin"), input);
    std::vector<std::string> command{kTool};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Lumbrel::platform::ProcessSetup setup{dir.path(), dir.native(".stdin"),
                                                dir.native(".stdout"), dir.native(".stderr")};
    const std::string shown = testing::PrintToString(arguments);
    EXPECT_EQ(waitProcess(startProcess(command, setup)), status) << shown;
    EXPECT_EQ(file(".stderr"), err) << shown;
    return file(".stdout");
  }

  std::string file(const std::string& entry) { return readFile(dir.native(entry)); }
  bool exists(const std::string& entry) { return Lumbrel::File::exists(dir.name(entry)); }

  lumbrel_test::TempDir dir;
};

TEST_F(ToolTest, DumpAndLoadGiveBackTheFileByteForByte) {
  // Keys: units above 0xFF, a lone surrogate, backslash, tab, two equal but for case;
  // data: NUL, newline, 0xFF, nothing.
  const std::string original = encoded({0x4E2D, 0x0101, 'k'}, std::string("a\0b\nc\td\xFF", 8)) +
                               encoded({'x', 0xD800, '\\', '\t', 'y'}, "") +
                               encoded({'D', 'u', 'p'}, "first") +
                               encoded({'d', 'U', 'P'}, std::string("\r\n\\", 3));
  writeFile(dir.native("a.dat"), original);
  const std::string dump = run({"data", "dump", "a.dat"});
  run({"data", "load", "b.dat"}, 0, "", dump);
  EXPECT_EQ(file("b.dat"), original);

  // load makes a new file only, and only from a dump that reads whole.
  run({"data", "load", "a.dat"}, 3, "lumbrel: a.dat exists; load makes a new file\n", "v");
  EXPECT_EQ(file("a.dat"), original);
  run({"data", "load", "d.dat"}, 3,
      "lumbrel: standard input: line 1: no tab between key and data\n", "v");
  EXPECT_FALSE(exists("d.dat"));
}

TEST_F(ToolTest, DataRecordsArePutReadListedAndRemoved) {
  const std::string binary("\0\x01\n\xFE", 4);
  run({"data", "put", "r.dat", "Blob"}, 0, "", binary);
  writeFile(dir.native("in.txt"), "text");
  run({"data", "put", "r.dat", "note", "in.txt"});
  run({"data", "put", "-e", "r.dat", "caf\\u00e9"}, 0, "", "x");
  EXPECT_EQ(run({"data", "get", "r.dat", "BLOB"}), binary);
  run({"data", "put", "r.dat", "blob", "-"}, 0, "", "new");  // replaces the data in place
  run({"data", "remove", "r.dat", "NOTE"});
  run({"data", "remove", "r.dat", "note"}, 1, "lumbrel: key 'note' not found\n");
  EXPECT_EQ(run({"data", "list", "r.dat"}), "Blob\t3\ncaf\xC3\xA9\t1\n");
}

TEST_F(ToolTest, SectionedSettingsAreSetReadListedAndRemoved) {
  const std::string start = "; kept until a change\n[Net]\nport=80\n";
  writeFile(dir.native("s.ini"), start);
  EXPECT_EQ(run({"ini", "get", "s.ini", "NET", "PORT"}), "80\n");
  run({"ini", "get", "s.ini", "Net", "host"}, 1,
      "lumbrel: key 'host' in section 'Net' not found\n");
  run({"ini", "remove", "s.ini", "Disk"}, 1, "lumbrel: section 'Disk' not found\n");
  EXPECT_EQ(file("s.ini"), start);

  run({"ini", "set", "s.ini", "Net", "host", "example.org"});
  run({"ini", "set", "s.ini", "Disk", "path", "/var/a=b"});
  run({"ini", "set", "s.ini", "net", "PORT", "-8"});
  EXPECT_EQ(file("s.ini"), textBytes("[Disk]\npath=/var/a=b\n[Net]\nhost=example.org\nport=-8\n"));
  EXPECT_EQ(run({"ini", "list", "s.ini"}), "Disk\nNet\n");
  run({"ini", "remove", "s.ini", "Net", "Host"});
  run({"ini", "remove", "s.ini", "disk"});
  EXPECT_EQ(run({"ini", "list", "s.ini", "NET"}), "port=-8\n");
}

TEST_F(ToolTest, FlatSettingsAreSetReadListedAndRemoved) {
  writeFile(dir.native("p.properties"), "# note\nzebra=1\napple=2\n");
  EXPECT_EQ(run({"props", "get", "p.properties", "ZEBRA"}), "1\n");
  run({"props", "get", "p.properties", "mango"}, 1, "lumbrel: key 'mango' not found\n");
  run({"props", "set", "p.properties", "Apple", "two words"});
  run({"props", "set", "p.properties", "mango", ""});
  EXPECT_EQ(file("p.properties"), textBytes("zebra=1\napple=two words\nmango=\n"));
  run({"props", "remove", "p.properties", "zebra"});
  EXPECT_EQ(run({"props", "list", "p.properties"}), "apple=two words\nmango=\n");
}

TEST_F(ToolTest, FaultsAreReportedWithTheirStatusAndTouchNoFile) {
  const std::string damaged = encoded({'o', 'k'}, "1") + std::string("\x10\0\0\0ab", 6);
  writeFile(dir.native("bad.dat"), damaged);
  run({"data", "list", "bad.dat"}, 3, "lumbrel: failed to read from file\n");
  run({"data", "remove", "bad.dat", "ok"}, 3, "lumbrel: failed to read from file\n");
  EXPECT_EQ(file("bad.dat"), damaged);
  run({"data", "list", "none.dat"}, 3, "lumbrel: failed to open file.\n");
  run({"data", "put", "x.dat", "k", "missing-input"}, 3, "lumbrel: cannot open missing-input\n");
  const std::string usage = "\nusage: lumbrel data put [-e] FILE KEY [INPUT]\n";
  run({"data", "put", "x.dat"}, 2, "lumbrel: too few arguments" + usage);
  run({"data", "put", "-e", "x.dat", "\\q"}, 2,
      "lumbrel: KEY: unknown escape \\q in the key" + usage);
  const std::string iniUsage = "\nusage: lumbrel ini set [--force] FILE SECTION KEY VALUE\n";
  run({"ini", "set", "x.ini", "S", "a=b", "v"}, 2, "lumbrel: KEY cannot hold '='" + iniUsage);
  if (Lumbrel::platform::argumentsAreBytes())  // on Windows they are UTF-16 text
    run({"ini", "set", "x.ini", "S", "k", "\xC3("}, 2, "lumbrel: VALUE is not UTF-8 text" + iniUsage);
  EXPECT_FALSE(exists("none.dat") || exists("x.dat") || exists("x.ini"));

  // A file the rewrite would not give back as settings is left alone, unless forced.
  const std::string script = "#!/bin/sh\nexec app\nx=1\n";
  writeFile(dir.native("run.sh"), script);
  run({"props", "set", "run.sh", "k", "v"}, 3,
      "lumbrel: run.sh is not a settings file: line 2 is neither a setting nor a comment, and set "
      "would drop it (--force rewrites the file all the same)\n");
  writeFile(dir.native("top.ini"), "k=1\n[S]\n");
  run({"ini", "remove", "top.ini", "S"}, 3,
      "lumbrel: top.ini is not a settings file: line 1 stands before the first section, and remove "
      "would drop it (--force rewrites the file all the same)\n");
  writeFile(dir.native("bin.ini"), std::string("[S]\nk=\0\n", 8));
  run({"ini", "set", "bin.ini", "S", "k", "v"}, 3,
      "lumbrel: bin.ini is not a settings file: it is not UTF-8 text, and set would drop it "
      "(--force rewrites the file all the same)\n");
  EXPECT_EQ(file("run.sh"), script);
  run({"props", "set", "--force", "run.sh", "k", "v"});
  EXPECT_EQ(file("run.sh"), textBytes("x=1\nk=v\n"));
}

// The editing commands save crash-safe: killed at any moment, they leave the
// old file or the new one, whole.
TEST_F(ToolTest, KilledWhileSavingLeavesTheOldOrTheNewFileWhole) {
  std::string old;
  for (unsigned short i = 0; i < 1000; ++i)
    old += encoded({'k', static_cast<unsigned short>(0x100 + i)}, std::string(10000, 'a'));
  const std::string changed = old + encoded({'n', 'e', 'w'}, "x");
  const std::string name = dir.native("big.dat");
  writeFile(name, old);
  writeFile(dir.native("x"), "x");
  const std::vector<std::string> put = {kTool, "data", "put", name, "new", dir.native("x")};
  const std::vector<std::string> remove = {kTool, "data", "remove", name, "new"};
  const auto started = std::chrono::steady_clock::now();
  ASSERT_EQ(waitProcess(startProcess(put)), 0);
  const auto whole = std::chrono::steady_clock::now() - started;
  ASSERT_TRUE(file("big.dat") == changed);

  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_int_distribution<long long> moment(0, 2 * (whole.count() + 1));
  for (int round = 0; round < 30; ++round) {
    ProcessObject* tool = startProcess(file("big.dat") == changed ? remove : put);
    ASSERT_NE(tool, nullptr);
    std::this_thread::sleep_for(std::chrono::steady_clock::duration(moment(random)));
    Lumbrel::platform::killProcess(tool);
    waitProcess(tool);
    const std::string now = file("big.dat");
    ASSERT_TRUE(now == old || now == changed) << "round " << round << ": " << now.size() << " bytes";
  }
}

// Two programs that save one file at the same moment: one save stands, whole.
TEST_F(ToolTest, TwoProgramsSavingOneFileLeaveOneOfTheirSavesWhole) {
  const auto settings = [](const std::string& key1) {
    std::string text;
    for (int i = 0; i < 20000; ++i)
      text += "key" + std::to_string(i) + "=" + (i == 1 ? key1 : "value of some length") + "\n";
    return text;
  };
  const std::string name = dir.native("p.properties");
  for (int round = 0; round < 10; ++round) {
    writeFile(name, settings("value of some length"));
    ProcessObject* first = startProcess({kTool, "props", "set", name, "key1", "first"});
    ProcessObject* second = startProcess({kTool, "props", "set", name, "key1", "second"});
    EXPECT_EQ(waitProcess(first), 0);
    EXPECT_EQ(waitProcess(second), 0);
    const std::string now = file("p.properties");
    ASSERT_TRUE(now == textBytes(settings("first")) || now == textBytes(settings("second")))
        << "round " << round;
  }
}

TEST_F(ToolTest, TourHelpVersionAndTheValueCommandsRun) {
  const std::string tour = run({"tour", "walk"});
  EXPECT_NE(tour.find("\nTour complete: 4 files in " + dir.native("walk") + ", "),
            std::string::npos) << tour;
  EXPECT_NE(run({"--help"}).find("Exit status: 0 success, 1 key or section not found"),
            std::string::npos);
  EXPECT_EQ(run({"--version"}).rfind("lumbrel ", 0), 0U);
  EXPECT_EQ(run({"uuid", "-n", "3"}).size(), 3 * 37U);
  EXPECT_EQ(run({"date", "2004-03-09T07:05:02"}).rfind("2004-03-09 07:05:02\t", 0), 0U);
  EXPECT_NE(run({"host"}).find("program file   " + kToolName + "\n"), std::string::npos);
}

}  // namespace
