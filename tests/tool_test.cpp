// The lumbrel program, run as a user runs it: in a working directory, with
// arguments, standard input, and its output, errors and exit status read back.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using lumbrel_test::readFile;
using lumbrel_test::writeFile;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string quote(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

class ToolTest : public ::testing::Test {
 protected:
  // Runs lumbrel in the temporary folder with `input` on standard input.
  Outcome run(const std::vector<std::string>& arguments, const std::string& input = "",
              const std::string& environment = "") {
    writeFile(dir.native(".stdin"), input);
    std::string command = "cd " + quote(dir.path()) + " && " + environment + " " +
                          quote(LUMBREL_TOOL);
    for (const std::string& argument : arguments) command += " " + quote(argument);
    command += " < .stdin > .stdout 2> .stderr; echo $? > .status";
    EXPECT_EQ(std::system(command.c_str()), 0);
    Outcome outcome;
    outcome.status = std::stoi(readFile(dir.native(".status")));
    outcome.out = readFile(dir.native(".stdout"));
    outcome.err = readFile(dir.native(".stderr"));
    return outcome;
  }

  bool exists(const std::string& entry) { return std::ifstream(dir.native(entry)).good(); }

  lumbrel_test::TempDir dir;
};

std::string lastLine(const std::string& text) {
  const std::size_t end = text.empty() || text.back() != '\n' ? text.size() : text.size() - 1;
  const std::size_t start = text.rfind('\n', end - 1);
  return text.substr(start == std::string::npos ? 0 : start + 1, end - (start + 1));
}

// One record in the data file's own layout: lengths little-endian, key units
// big-endian.
std::string record(const std::vector<unsigned short>& key, const std::string& data) {
  std::string bytes;
  const auto length = [&bytes](std::size_t value) {
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((value >> shift) & 0xFF);
  };
  length(key.size() * 2);
  for (const unsigned short unit : key) {
    bytes += static_cast<char>(unit >> 8);
    bytes += static_cast<char>(unit & 0xFF);
  }
  length(data.size());
  return bytes + data;
}

TEST_F(ToolTest, TourWalksThroughTheLibraryAndEndsWithItsSummary) {
  const Outcome inDir = run({"tour", "walk"});
  EXPECT_EQ(inDir.status, 0) << inDir.err;
  EXPECT_EQ(inDir.err, "");
  EXPECT_EQ(lastLine(inDir.out).rfind("Tour complete: 4 files in " + dir.native("walk") + ", ", 0), 0U)
      << inDir.out;
  for (const char* file : {"settings.ini", "app.properties", "records.dat", "run.log"}) {
    EXPECT_TRUE(exists(std::string("walk/") + file)) << file;
  }
  EXPECT_NE(readFile(dir.native("walk/settings.ini")).find("[Window]\n"), std::string::npos);

  // Without DIR it makes its own folder under TMPDIR and names it.
  const Outcome own = run({"tour"}, "", "TMPDIR=" + quote(dir.path()));
  EXPECT_EQ(own.status, 0) << own.err;
  const std::string prefix = "A tour of lumbrelcommon in " + dir.native("lumbrel-tour-");
  ASSERT_EQ(own.out.rfind(prefix, 0), 0U) << own.out;
  const std::string folder = own.out.substr(27, own.out.find('\n') - 27);
  EXPECT_TRUE(std::ifstream(folder + "/records.dat").good()) << folder;
}

TEST_F(ToolTest, DumpAndLoadGiveBackTheFileByteForByte) {
  // Keys with units above 0xFF, a lone surrogate, a backslash and a tab; two
  // keys equal without regard to case (a file may hold both); data with NUL,
  // newline, tab, 0xFF and nothing at all.
  const std::string original =
      record({'g', 'r', 'e', 'e', 't'}, "hello") +
      record({0x4E2D, 0x0101, 'k'}, std::string("a\0b\nc\td\xFF", 8)) +
      record({'x', 0xD800, '\\', '\t', 'y'}, "") +
      record({'D', 'u', 'p'}, "first") +
      record({'d', 'U', 'P'}, std::string("\r\n\\", 3));
  writeFile(dir.native("a.dat"), original);

  const Outcome dump = run({"data", "dump", "a.dat"});
  ASSERT_EQ(dump.status, 0) << dump.err;
  EXPECT_EQ(dump.out,
            "greet\thello\n"
            "\xE4\xB8\xAD\xC4\x81k\ta\\x00b\\nc\\td\\xff\n"
            "x\\ud800\\\\\\ty\t\n"
            "Dup\tfirst\n"
            "dUP\t\\r\\n\\\\\n");

  const Outcome load = run({"data", "load", "b.dat"}, dump.out);
  ASSERT_EQ(load.status, 0) << load.err;
  EXPECT_EQ(readFile(dir.native("b.dat")), original);
  writeFile(dir.native("dump.txt"), dump.out);
  ASSERT_EQ(run({"data", "load", "c.dat", "dump.txt"}).status, 0);
  EXPECT_EQ(readFile(dir.native("c.dat")), original);
  EXPECT_EQ(run({"data", "dump", "b.dat"}).out, dump.out);

  // load makes a new file only, and only from a dump that reads whole.
  const Outcome over = run({"data", "load", "a.dat"}, "k\tv\n");
  EXPECT_EQ(over.status, 3);
  EXPECT_EQ(over.err, "lumbrel: a.dat exists; load makes a new file\n");
  EXPECT_EQ(readFile(dir.native("a.dat")), original);
  const Outcome bad = run({"data", "load", "d.dat"}, "k\tv\nbroken line\n");
  EXPECT_EQ(bad.status, 3);
  EXPECT_EQ(bad.err, "lumbrel: standard input: line 2: no tab between key and data\n");
  EXPECT_FALSE(exists("d.dat"));
}

TEST_F(ToolTest, DataRecordsArePutReadListedAndRemoved) {
  const std::string binary("\0\x01\n\xFE", 4);
  EXPECT_EQ(run({"data", "put", "r.dat", "Blob"}, binary).status, 0);
  writeFile(dir.native("in.txt"), "text");
  EXPECT_EQ(run({"data", "put", "r.dat", "note", "in.txt"}).status, 0);
  EXPECT_EQ(run({"data", "put", "-e", "r.dat", "caf\\u00e9"}, "x").status, 0);

  EXPECT_EQ(run({"data", "get", "r.dat", "BLOB"}).out, binary);
  EXPECT_EQ(run({"data", "list", "r.dat"}).out, "Blob\t4\nnote\t4\ncaf\xC3\xA9\t1\n");
  EXPECT_EQ(run({"data", "get", "r.dat", "caf\xC3\xA9"}).out, "x");

  // put on a present key replaces its data in place.
  EXPECT_EQ(run({"data", "put", "r.dat", "blob", "-"}, "new").status, 0);
  EXPECT_EQ(run({"data", "list", "r.dat"}).out, "Blob\t3\nnote\t4\ncaf\xC3\xA9\t1\n");

  const std::string before = readFile(dir.native("r.dat"));
  const Outcome missing = run({"data", "remove", "r.dat", "absent"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "lumbrel: key 'absent' not found\n");
  EXPECT_EQ(run({"data", "get", "r.dat", "absent"}).status, 1);
  EXPECT_EQ(readFile(dir.native("r.dat")), before);
  EXPECT_EQ(run({"data", "remove", "r.dat", "NOTE"}).status, 0);
  EXPECT_EQ(run({"data", "list", "r.dat"}).out, "Blob\t3\ncaf\xC3\xA9\t1\n");
}

TEST_F(ToolTest, SectionedSettingsAreSetReadListedAndRemoved) {
  writeFile(dir.native("s.ini"), "; kept until a change\n[Net]\nport=80\n");
  EXPECT_EQ(run({"ini", "get", "s.ini", "NET", "PORT"}).out, "80\n");
  const Outcome absentKey = run({"ini", "get", "s.ini", "Net", "host"});
  EXPECT_EQ(absentKey.status, 1);
  EXPECT_EQ(absentKey.err, "lumbrel: key 'host' in section 'Net' not found\n");
  EXPECT_EQ(run({"ini", "remove", "s.ini", "Disk"}).status, 1);
  EXPECT_EQ(run({"ini", "list", "s.ini", "Disk"}).status, 1);
  EXPECT_EQ(readFile(dir.native("s.ini")), "; kept until a change\n[Net]\nport=80\n");

  EXPECT_EQ(run({"ini", "set", "s.ini", "Net", "host", "example.org"}).status, 0);
  EXPECT_EQ(run({"ini", "set", "s.ini", "Disk", "path", "/var/a=b"}).status, 0);
  EXPECT_EQ(run({"ini", "set", "s.ini", "net", "PORT", "-8"}).status, 0);
  EXPECT_EQ(readFile(dir.native("s.ini")),
            "[Disk]\npath=/var/a=b\n[Net]\nhost=example.org\nport=-8\n");
  EXPECT_EQ(run({"ini", "list", "s.ini"}).out, "Disk\nNet\n");
  EXPECT_EQ(run({"ini", "list", "s.ini", "NET"}).out, "host=example.org\nport=-8\n");

  EXPECT_EQ(run({"ini", "remove", "s.ini", "Net", "Host"}).status, 0);
  EXPECT_EQ(run({"ini", "remove", "s.ini", "disk"}).status, 0);
  EXPECT_EQ(readFile(dir.native("s.ini")), "[Net]\nport=-8\n");

  // What the file could not give back is refused before the file is touched.
  const Outcome equals = run({"ini", "set", "new.ini", "S", "a=b", "v"});
  EXPECT_EQ(equals.status, 2);
  EXPECT_EQ(equals.err,
            "lumbrel: KEY cannot hold '='\nusage: lumbrel ini set FILE SECTION KEY VALUE\n");
  EXPECT_FALSE(exists("new.ini"));
}

TEST_F(ToolTest, FlatSettingsAreSetReadListedAndRemoved) {
  writeFile(dir.native("p.properties"), "# note\nzebra=1\napple=2\n");
  EXPECT_EQ(run({"props", "list", "p.properties"}).out, "zebra=1\napple=2\n");
  EXPECT_EQ(run({"props", "get", "p.properties", "ZEBRA"}).out, "1\n");
  const Outcome absent = run({"props", "get", "p.properties", "mango"});
  EXPECT_EQ(absent.status, 1);
  EXPECT_EQ(absent.out, "");
  EXPECT_EQ(run({"props", "remove", "p.properties", "mango"}).status, 1);
  EXPECT_EQ(readFile(dir.native("p.properties")), "# note\nzebra=1\napple=2\n");

  EXPECT_EQ(run({"props", "set", "p.properties", "Apple", "two words"}).status, 0);
  EXPECT_EQ(run({"props", "set", "p.properties", "mango", ""}).status, 0);
  EXPECT_EQ(readFile(dir.native("p.properties")), "zebra=1\napple=two words\nmango=\n");
  EXPECT_EQ(run({"props", "remove", "p.properties", "zebra"}).status, 0);
  EXPECT_EQ(run({"props", "list", "p.properties"}).out, "apple=two words\nmango=\n");
  EXPECT_EQ(run({"props", "set", "fresh.properties", "k", "v"}).status, 0);
  EXPECT_EQ(readFile(dir.native("fresh.properties")), "k=v\n");
}

TEST_F(ToolTest, DamagedFileIsReportedWithTheLibrarysMessageAndLeftAlone) {
  const std::string damaged = record({'o', 'k'}, "1") + std::string("\x10\0\0\0ab", 6);
  writeFile(dir.native("bad.dat"), damaged);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"data", "list", "bad.dat"},
        std::vector<std::string>{"data", "dump", "bad.dat"},
        std::vector<std::string>{"data", "put", "bad.dat", "k"},
        std::vector<std::string>{"data", "remove", "bad.dat", "ok"}}) {
    const Outcome outcome = run(arguments, "v");
    EXPECT_EQ(outcome.status, 3) << arguments[1];
    EXPECT_EQ(outcome.err, "lumbrel: failed to read from file\n") << arguments[1];
  }
  EXPECT_EQ(readFile(dir.native("bad.dat")), damaged);

  const Outcome missing = run({"data", "list", "none.dat"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(missing.err, "lumbrel: failed to open file.\n");
  EXPECT_FALSE(exists("none.dat"));
}

TEST_F(ToolTest, UsageErrorsPrintTheUsageLineAndTouchNoFile) {
  const Outcome few = run({"data", "put", "x.dat"});
  EXPECT_EQ(few.status, 2);
  EXPECT_EQ(few.err, "lumbrel: too few arguments\nusage: lumbrel data put [-e] FILE KEY [INPUT]\n");
  EXPECT_EQ(few.out, "");
  const Outcome badKey = run({"data", "put", "-e", "x.dat", "\\q"}, "v");
  EXPECT_EQ(badKey.status, 2);
  EXPECT_EQ(badKey.err.substr(0, 43), "lumbrel: KEY: unknown escape \\q in the key\n");
  EXPECT_EQ(run({"data", "put", "x.dat", "k", "missing-input"}).status, 3);
  EXPECT_FALSE(exists("x.dat"));

  const Outcome unknown = run({"frobnicate"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("usage: lumbrel COMMAND"), std::string::npos);
  const Outcome date = run({"date", "2004-13-01"});
  EXPECT_EQ(date.status, 2);
  EXPECT_EQ(date.err.substr(0, 52), "lumbrel: month out-of-range. (TEXT: 2004-13-01)\nusag");
}

TEST_F(ToolTest, HelpVersionAndTheValueCommands) {
  const Outcome help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Exit status: 0 success, 1 key or section not found"), std::string::npos);
  EXPECT_NE(run({"ini", "--help"}).out.find("set and remove rewrite the whole file"),
            std::string::npos);
  EXPECT_EQ(run({"--version"}).out.rfind("lumbrel ", 0), 0U);

  const Outcome ids = run({"uuid", "-n", "3"});
  EXPECT_EQ(ids.status, 0);
  std::istringstream lines(ids.out);
  std::set<std::string> distinct;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(line.size(), 36U) << line;
    distinct.insert(line);
  }
  EXPECT_EQ(distinct.size(), 3U);

  EXPECT_EQ(run({"date", "2004-03-09T07:05:02"}).out.rfind("2004-03-09 07:05:02\t", 0), 0U);
  EXPECT_EQ(run({"date", "07:05:02"}).out, "07:05:02\n");
  EXPECT_EQ(run({"date"}).status, 0);
  const Outcome host = run({"host"});
  EXPECT_EQ(host.status, 0);
  EXPECT_NE(host.out.find("program file   Z:\\"), std::string::npos) << host.out;
}

}  // namespace
