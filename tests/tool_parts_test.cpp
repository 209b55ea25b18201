// The pure parts of the lumbrel tool: the dump text and the command line.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Dump.h"
#include "ManualPage.h"
#include "TestSupport.h"

namespace {

using namespace lumbrel_tool;

TEST(DumpTextTest, EveryUnitAndEveryByteSurvivesAndNoFieldHoldsALineBreakOrTab) {
  Lumbrel::wstring key;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) key += static_cast<unsigned short>(unit);
  const std::string escapedKey = escapeKey(key);
  EXPECT_EQ(escapedKey.find_first_of("\t\n\r"), std::string::npos);
  EXPECT_EQ(unescapeKey(escapedKey), key);

  Bytes data;
  for (unsigned byte = 0; byte <= 0xFF; ++byte) data.push_back(static_cast<unsigned char>(byte));
  const std::string escapedData = escapeData(data);
  for (const char c : escapedData) EXPECT_TRUE(c >= 0x20 && c <= 0x7E) << int(c);
  EXPECT_EQ(unescapeData(escapedData), data);
}

TEST(DumpTextTest, WritesReadableFormsAndReadsWhatPeopleWriteByHand) {
  EXPECT_EQ(escapeKey(Lumbrel::wstring({'a', ' ', '\\', '\t', 0xE9, 0x4E2D, 0xD800, 0xFEFF})),
            "a \\\\\\t\xC3\xA9\xE4\xB8\xAD\\ud800\\ufeff");
  EXPECT_EQ(escapeData({'h', 'i', 0x00, '\n', 0xFF, '\\', '\r'}), "hi\\x00\\n\\xff\\\\\\r");

  // A four-byte UTF-8 character becomes its surrogate pair; upper-case hex
  // digits and raw UTF-8 in data are read too; blank lines are skipped.
  const auto records = parseDump("\xF0\x9F\x98\x80\t\xC3\xA9\\xFF\n\n\\u00E9\tx");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].key, Lumbrel::wstring({0xD83D, 0xDE00}));
  EXPECT_EQ(records[0].data, (Bytes{0xC3, 0xA9, 0xFF}));
  EXPECT_EQ(records[1].key, Lumbrel::wstring({0xE9}));
}

TEST(DumpTextTest, FaultsNameTheirLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"a\t1\nno tab here\n", "line 2: no tab between key and data"},
      {"a\t1\t2\n", "line 1: more than one tab (a tab in a field is written \\t)"},
      {"\t1\n", "line 1: empty key"},
      {"a\t\\x4\n", "line 1: incomplete escape before byte 3"},
      {"\xC0\x80\t1\n", "line 1: invalid UTF-8 at byte 1 of the key"},
      {"a\t1\r\n", "line 1: control character at byte 2 of the data"},
  };
  for (const auto& [text, message] : rows) EXPECT_THROW_MSG(parseDump(text), DumpError, message);
}

// Behind --, a leading '-' is text (behind the first operand too: the tool's
// own test sets a value "-8"). File arguments become library names from the
// working directory.
TEST(ArgumentsTest, ReadsOperandsOptionsAndFileNames) {
  const Invocation get = parseArguments({"data", "get", "-e", "f.dat", "k"});
  EXPECT_EQ(get.command + " " + get.verb, "data get");
  EXPECT_EQ(get.operands, (std::vector<std::string>{"f.dat", "k"}));
  EXPECT_EQ(parseArguments({"props", "set", "--", "-f", "k", "v"}).operands.front(), "-f");
  EXPECT_TRUE(parseArguments({"ini", "get", "--help"}).help);

  EXPECT_EQ(libraryFileName("/home/u/", "sub/../b.dat"), "Z:\\home\\u\\sub\\..\\b.dat");
  EXPECT_EQ(libraryFileName("/home/u", "/etc/x.ini"), "Z:\\etc\\x.ini");
  EXPECT_THROW(libraryFileName("/home/u", ""), UsageError);
  EXPECT_THROW(libraryFileName("/home/u", "a\\b"), UsageError);
  EXPECT_THROW(libraryFileName("/home/back\\slash", "a"), UsageError);
  // A Windows working directory: names are native, relative ones joined to it.
  EXPECT_EQ(libraryFileName("C:\\Users\\u", "sub/b.dat"), "C:\\Users\\u\\sub\\b.dat");
  EXPECT_EQ(libraryFileName("C:\\Users\\u", "d:/x.ini"), "d:\\x.ini");
  EXPECT_EQ(libraryFileName("C:\\Users\\u", "\\x.ini"), "C:\\x.ini");
}

// The usage line that goes with a refusal is checked by the tool's own test.
TEST(ArgumentsTest, RefusesWrongCommandLines) {
  EXPECT_THROW_MSG(parseArguments({"ini", "get", "-e", "f", "s", "k"}), UsageError,
                   "unknown option '-e'");
  EXPECT_THROW_MSG(parseArguments({"uuid", "-n", "0"}), UsageError,
                   "-n wants a number from 1 to 1000000, not '0'");
  EXPECT_THROW(parseArguments({"frobnicate"}), UsageError);
}

// The page must carry every line of every help text, escaped for roff.
TEST(ManualPageTest, HoldsEveryLineOfTheHelpTexts) {
  const std::string page = manualPage("9.8.7");
  EXPECT_NE(page.find("\"lumbrel 9.8.7\""), std::string::npos);
  std::vector<std::string> commands = commandNames();
  commands.insert(commands.begin(), "");
  for (const std::string& command : commands) {
    std::istringstream lines(helpText(command));
    for (std::string line; std::getline(lines, line);) {
      if (line.compare(0, 7, "usage: ") == 0) line.erase(0, 7);
      while (!line.empty() && line[0] == ' ') line.erase(0, 1);
      std::string escaped;
      for (const char c : line) escaped += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
      EXPECT_NE(page.find(escaped), std::string::npos) << command << ": " << line;
    }
  }
}

}  // namespace
