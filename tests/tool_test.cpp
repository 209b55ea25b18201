// The lumbrel program, run as a user runs it: in a working directory, with
// arguments, standard input, and its output, errors and exit status read back.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

using lumbrel_test::readFile;
using lumbrel_test::writeFile;
using Arguments = std::vector<std::string>;

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
  Outcome run(const Arguments& arguments, const std::string& input = "") {
    writeFile(dir.native(".stdin"), input);
    std::string command = "cd " + quote(dir.path()) + " && " + quote(LUMBREL_TOOL);
    for (const std::string& argument : arguments) command += " " + quote(argument);
    command += " < .stdin > .stdout 2> .stderr; echo $? > .status";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return {std::stoi(readFile(dir.native(".status"))), readFile(dir.native(".stdout")),
            readFile(dir.native(".stderr"))};
  }

  // Runs lumbrel and expects `status` with `err` on standard error.
  void expectFault(const Arguments& arguments, int status, const std::string& err) {
    const Outcome outcome = run(arguments, "v");
    EXPECT_EQ(outcome.status, status) << arguments[0] << " " << arguments[1];
    EXPECT_EQ(outcome.err, err) << arguments[0] << " " << arguments[1];
  }

  std::string file(const std::string& entry) { return readFile(dir.native(entry)); }
  bool exists(const std::string& entry) { return std::ifstream(dir.native(entry)).good(); }

  lumbrel_test::TempDir dir;
};

// One record in the data file's own layout: lengths little-endian, key units
// big-endian.
std::string record(const std::vector<unsigned short>& key, const std::string& data) {
  const auto length = [](std::size_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((value >> shift) & 0xFF);
    return bytes;
  };
  std::string bytes = length(key.size() * 2);
  for (const unsigned short u : key) bytes += {static_cast<char>(u >> 8), static_cast<char>(u)};
  return bytes + length(data.size()) + data;
}

TEST_F(ToolTest, TourWalksThroughTheLibraryAndEndsWithItsSummary) {
  const Outcome tour = run({"tour", "walk"});
  EXPECT_EQ(tour.status, 0) << tour.err;
  EXPECT_EQ(tour.err, "");
  EXPECT_NE(tour.out.find("\nTour complete: 4 files in " + dir.native("walk") + ", "),
            std::string::npos)
      << tour.out;
  EXPECT_TRUE(exists("walk/settings.ini") && exists("walk/records.dat"));
}

TEST_F(ToolTest, DumpAndLoadGiveBackTheFileByteForByte) {
  // Keys with units above 0xFF, a lone surrogate, a backslash and a tab, and
  // two keys equal but for case (a file may hold both); data with NUL,
  // newline, 0xFF and nothing at all.
  const std::string original = record({0x4E2D, 0x0101, 'k'}, std::string("a\0b\nc\td\xFF", 8)) +
                               record({'x', 0xD800, '\\', '\t', 'y'}, "") +
                               record({'D', 'u', 'p'}, "first") +
                               record({'d', 'U', 'P'}, std::string("\r\n\\", 3));
  writeFile(dir.native("a.dat"), original);
  const Outcome dump = run({"data", "dump", "a.dat"});
  ASSERT_EQ(dump.status, 0) << dump.err;

  ASSERT_EQ(run({"data", "load", "b.dat"}, dump.out).status, 0);
  EXPECT_EQ(file("b.dat"), original);
  EXPECT_EQ(run({"data", "dump", "b.dat"}).out, dump.out);

  // load makes a new file only, and only from a dump that reads whole.
  expectFault({"data", "load", "a.dat"}, 3, "lumbrel: a.dat exists; load makes a new file\n");
  EXPECT_EQ(file("a.dat"), original);
  expectFault({"data", "load", "d.dat"}, 3,
              "lumbrel: standard input: line 1: no tab between key and data\n");
  EXPECT_FALSE(exists("d.dat"));
}

TEST_F(ToolTest, DataRecordsArePutReadListedAndRemoved) {
  const std::string binary("\0\x01\n\xFE", 4);
  EXPECT_EQ(run({"data", "put", "r.dat", "Blob"}, binary).status, 0);
  writeFile(dir.native("in.txt"), "text");
  EXPECT_EQ(run({"data", "put", "r.dat", "note", "in.txt"}).status, 0);
  EXPECT_EQ(run({"data", "put", "-e", "r.dat", "caf\\u00e9"}, "x").status, 0);
  EXPECT_EQ(run({"data", "get", "r.dat", "BLOB"}).out, binary);

  const std::string before = file("r.dat");
  expectFault({"data", "remove", "r.dat", "absent"}, 1, "lumbrel: key 'absent' not found\n");
  EXPECT_EQ(file("r.dat"), before);

  // put on a present key replaces its data in place.
  EXPECT_EQ(run({"data", "put", "r.dat", "blob", "-"}, "new").status, 0);
  EXPECT_EQ(run({"data", "list", "r.dat"}).out, "Blob\t3\nnote\t4\ncaf\xC3\xA9\t1\n");
  EXPECT_EQ(run({"data", "remove", "r.dat", "NOTE"}).status, 0);
  EXPECT_EQ(run({"data", "get", "r.dat", "note"}).status, 1);
}

TEST_F(ToolTest, SectionedSettingsAreSetReadListedAndRemoved) {
  const std::string start = "; kept until a change\n[Net]\nport=80\n";
  writeFile(dir.native("s.ini"), start);
  EXPECT_EQ(run({"ini", "get", "s.ini", "NET", "PORT"}).out, "80\n");
  expectFault({"ini", "get", "s.ini", "Net", "host"}, 1,
              "lumbrel: key 'host' in section 'Net' not found\n");
  EXPECT_EQ(run({"ini", "remove", "s.ini", "Disk"}).status, 1);
  EXPECT_EQ(file("s.ini"), start);

  EXPECT_EQ(run({"ini", "set", "s.ini", "Net", "host", "example.org"}).status, 0);
  EXPECT_EQ(run({"ini", "set", "s.ini", "Disk", "path", "/var/a=b"}).status, 0);
  EXPECT_EQ(run({"ini", "set", "s.ini", "net", "PORT", "-8"}).status, 0);
  EXPECT_EQ(file("s.ini"), "[Disk]\npath=/var/a=b\n[Net]\nhost=example.org\nport=-8\n");
  EXPECT_EQ(run({"ini", "list", "s.ini"}).out, "Disk\nNet\n");
  EXPECT_EQ(run({"ini", "list", "s.ini", "NET"}).out, "host=example.org\nport=-8\n");
  EXPECT_EQ(run({"ini", "remove", "s.ini", "Net", "Host"}).status, 0);
  EXPECT_EQ(run({"ini", "remove", "s.ini", "disk"}).status, 0);
  EXPECT_EQ(file("s.ini"), "[Net]\nport=-8\n");
}

TEST_F(ToolTest, FlatSettingsAreSetReadListedAndRemoved) {
  writeFile(dir.native("p.properties"), "# note\nzebra=1\napple=2\n");
  EXPECT_EQ(run({"props", "get", "p.properties", "ZEBRA"}).out, "1\n");
  expectFault({"props", "get", "p.properties", "mango"}, 1, "lumbrel: key 'mango' not found\n");

  EXPECT_EQ(run({"props", "set", "p.properties", "Apple", "two words"}).status, 0);
  EXPECT_EQ(run({"props", "set", "p.properties", "mango", ""}).status, 0);
  EXPECT_EQ(file("p.properties"), "zebra=1\napple=two words\nmango=\n");
  EXPECT_EQ(run({"props", "remove", "p.properties", "zebra"}).status, 0);
  EXPECT_EQ(run({"props", "list", "p.properties"}).out, "apple=two words\nmango=\n");
}

TEST_F(ToolTest, DamagedFileIsReportedWithTheLibrarysMessageAndLeftAlone) {
  const std::string damaged = record({'o', 'k'}, "1") + std::string("\x10\0\0\0ab", 6);
  writeFile(dir.native("bad.dat"), damaged);
  for (const Arguments& arguments : {Arguments{"data", "list", "bad.dat"},
                                     Arguments{"data", "put", "bad.dat", "k"},
                                     Arguments{"data", "remove", "bad.dat", "ok"}}) {
    expectFault(arguments, 3, "lumbrel: failed to read from file\n");
  }
  EXPECT_EQ(file("bad.dat"), damaged);
  expectFault({"data", "list", "none.dat"}, 3, "lumbrel: failed to open file.\n");
  EXPECT_FALSE(exists("none.dat"));
}

TEST_F(ToolTest, UsageErrorsPrintTheUsageLineAndTouchNoFile) {
  expectFault({"data", "put", "x.dat"}, 2,
              "lumbrel: too few arguments\nusage: lumbrel data put [-e] FILE KEY [INPUT]\n");
  expectFault({"ini", "set", "x.ini", "S", "a=b", "v"}, 2,
              "lumbrel: KEY cannot hold '='\nusage: lumbrel ini set FILE SECTION KEY VALUE\n");
  EXPECT_EQ(run({"data", "put", "-e", "x.dat", "\\q"}, "v").status, 2);
  EXPECT_EQ(run({"data", "put", "x.dat", "k", "missing-input"}).status, 3);
  EXPECT_FALSE(exists("x.dat") || exists("x.ini"));
}

TEST_F(ToolTest, HelpVersionAndTheValueCommandsRun) {
  EXPECT_NE(run({"--help"}).out.find("Exit status: 0 success, 1 key or section not found"),
            std::string::npos);
  EXPECT_EQ(run({"--version"}).out.rfind("lumbrel ", 0), 0U);
  EXPECT_EQ(run({"uuid", "-n", "3"}).out.size(), 3 * 37U);
  EXPECT_EQ(run({"date", "2004-03-09T07:05:02"}).out.rfind("2004-03-09 07:05:02\t", 0), 0U);
  EXPECT_NE(run({"host"}).out.find("program file   Z:\\"), std::string::npos);
}

}  // namespace
