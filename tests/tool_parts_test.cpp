// The pure parts of the lumbrel tool: the dump text and the command line.
#include <gtest/gtest.h>

#include "Arguments.h"
#include "Dump.h"
#include "TestSupport.h"

namespace {

using lumbrel_test::W;
using lumbrel_tool::Bytes;
using lumbrel_tool::DumpError;
using lumbrel_tool::DumpRecord;
using lumbrel_tool::Invocation;
using lumbrel_tool::UsageError;
using lumbrel_tool::escapeData;
using lumbrel_tool::escapeKey;
using lumbrel_tool::libraryFileName;
using lumbrel_tool::parseArguments;
using lumbrel_tool::parseDump;
using lumbrel_tool::unescapeData;
using lumbrel_tool::unescapeKey;

Lumbrel::wstring units(std::initializer_list<unsigned short> list) { return Lumbrel::wstring(list); }

// The message of the DumpError that parsing `text` raises, or "" when none.
std::string dumpFault(const std::string& text) {
  try {
    parseDump(text);
  } catch (const DumpError& error) {
    return error.what();
  }
  return "";
}

Invocation parse(std::vector<std::string> arguments) { return parseArguments(arguments); }

std::string usageFault(std::vector<std::string> arguments) {
  try {
    parseArguments(arguments);
  } catch (const UsageError& error) {
    return std::string(error.what()) + " | " + error.usage;
  }
  return "";
}

TEST(DumpTextTest, EveryUnitAndEveryByteSurvivesAndNoFieldHoldsALineBreakOrTab) {
  Lumbrel::wstring key;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) key += static_cast<unsigned short>(unit);
  const std::string escapedKey = escapeKey(key);
  EXPECT_EQ(escapedKey.find_first_of("\t\n\r"), std::string::npos);
  EXPECT_EQ(unescapeKey(escapedKey), key);

  Bytes data;
  for (unsigned byte = 0; byte <= 0xFF; ++byte) data.push_back(static_cast<unsigned char>(byte));
  const std::string escapedData = escapeData(data);
  EXPECT_EQ(escapedData.find_first_of("\t\n\r"), std::string::npos);
  for (const char c : escapedData) EXPECT_TRUE(c >= 0x20 && c <= 0x7E) << int(c);
  EXPECT_EQ(unescapeData(escapedData), data);
}

TEST(DumpTextTest, WritesReadableFormsForCommonText) {
  EXPECT_EQ(escapeKey(units({'a', ' ', '\\', '\t', 0xE9, 0x4E2D, 0xD800, 0x0001, 0xFEFF})),
            "a \\\\\\t\xC3\xA9\xE4\xB8\xAD\\ud800\\u0001\\ufeff");
  EXPECT_EQ(escapeData({'h', 'i', 0x00, '\n', 0xFF, '\\', '\r'}), "hi\\x00\\n\\xff\\\\\\r");
  EXPECT_EQ(lumbrel_tool::dumpLine({W("k"), {'v'}}), "k\tv\n");
  EXPECT_EQ(lumbrel_tool::dumpLine({W("k"), {}}), "k\t\n");
}

TEST(DumpTextTest, ReadsWhatPeopleWriteByHand) {
  // A four-byte UTF-8 character becomes its surrogate pair; upper-case hex
  // digits and raw UTF-8 in data are read too; blank lines are skipped.
  const auto records = parseDump("\xF0\x9F\x98\x80\t\xC3\xA9\\xFF\n\n\\u00E9\tx");
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].key, units({0xD83D, 0xDE00}));
  EXPECT_EQ(records[0].data, (Bytes{0xC3, 0xA9, 0xFF}));
  EXPECT_EQ(records[1].key, units({0xE9}));
  EXPECT_EQ(records[1].data, Bytes{'x'});
}

TEST(DumpTextTest, FaultsNameTheirLine) {
  EXPECT_EQ(dumpFault("a\t1\nno tab here\n"), "line 2: no tab between key and data");
  EXPECT_EQ(dumpFault("a\t1\t2\n"), "line 1: more than one tab (a tab in a field is written \\t)");
  EXPECT_EQ(dumpFault("\t1\n"), "line 1: empty key");
  EXPECT_EQ(dumpFault("a\\q\t1\n"), "line 1: unknown escape \\q in the key");
  EXPECT_EQ(dumpFault("a\t\\x4\n"), "line 1: incomplete escape before byte 3");
  EXPECT_EQ(dumpFault("a\t\\xg0\n"), "line 1: bad hex digit at byte 3");
  EXPECT_EQ(dumpFault("a\\\t1\n"), "line 1: backslash at the end of the key");
  EXPECT_EQ(dumpFault("\xC3\t1\n"), "line 1: incomplete UTF-8 at byte 1 of the key");
  EXPECT_EQ(dumpFault("\xC0\x80\t1\n"), "line 1: invalid UTF-8 at byte 1 of the key");
  EXPECT_EQ(dumpFault("\xED\xA0\x80\t1\n"), "line 1: invalid UTF-8 at byte 1 of the key");
  EXPECT_EQ(dumpFault("a\t1\r\n"), "line 1: control character at byte 2 of the data");
  EXPECT_EQ(dumpFault(""), "");
}

TEST(ArgumentsTest, ReadsCommandsVerbsOperandsAndOptions) {
  Invocation get = parse({"data", "get", "-e", "f.dat", "k\\u00e9"});
  EXPECT_EQ(get.command, "data");
  EXPECT_EQ(get.verb, "get");
  EXPECT_TRUE(get.escapedKey);
  EXPECT_EQ(get.operands, (std::vector<std::string>{"f.dat", "k\\u00e9"}));

  // Behind the first operand, and behind --, a leading '-' is text.
  EXPECT_EQ(parse({"ini", "set", "f", "s", "k", "-5"}).operands.back(), "-5");
  EXPECT_EQ(parse({"props", "set", "--", "-f", "k", "v"}).operands.front(), "-f");
  EXPECT_EQ(parse({"data", "put", "f", "k", "-"}).operands.back(), "-");
  EXPECT_EQ(parse({"uuid", "-n", "3"}).count, 3U);
  EXPECT_EQ(parse({"uuid"}).count, 1U);
  EXPECT_TRUE(parse({"--version"}).version);

  Invocation help = parse({"ini", "get", "--help"});
  EXPECT_TRUE(help.help);
  EXPECT_EQ(help.command, "ini");
  EXPECT_TRUE(parse({"--help"}).help);
  EXPECT_TRUE(parse({"nonsense", "--help"}).help);
}

TEST(ArgumentsTest, RefusesWrongCommandLinesWithTheUsageOfTheCommand) {
  EXPECT_EQ(usageFault({"data", "get", "f.dat"}),
            "too few arguments | usage: lumbrel data get [-e] FILE KEY\n");
  EXPECT_EQ(usageFault({"props", "get", "f", "k", "extra"}),
            "too many arguments | usage: lumbrel props get FILE KEY\n");
  EXPECT_EQ(usageFault({"ini", "get", "-e", "f", "s", "k"}),
            "unknown option '-e' | usage: lumbrel ini get FILE SECTION KEY\n");
  EXPECT_EQ(usageFault({"uuid", "-n", "0"}),
            "-n wants a number from 1 to 1000000, not '0' | usage: lumbrel uuid [-n N]\n");
  EXPECT_NE(usageFault({"uuid", "-n", "12x"}), "");
  EXPECT_NE(usageFault({"uuid", "-n"}), "");
  EXPECT_EQ(usageFault({"frobnicate"}).substr(0, 41), "unknown command 'frobnicate' | usage: lum");
  EXPECT_EQ(usageFault({}).substr(0, 16), "no command given");
  const std::string verb = usageFault({"ini", "rename", "f"});
  EXPECT_EQ(verb.substr(0, verb.find('\n')),
            "unknown ini verb 'rename' | usage: lumbrel ini list FILE [SECTION]");
  EXPECT_NE(verb.find("       lumbrel ini remove FILE SECTION [KEY]\n"), std::string::npos);
  EXPECT_NE(usageFault({"--version", "x"}), "");
}

TEST(ArgumentsTest, FileArgumentsBecomeLibraryNamesFromTheWorkingDirectory) {
  EXPECT_EQ(libraryFileName("/home/u", "a.ini"), "Z:\\home\\u\\a.ini");
  EXPECT_EQ(libraryFileName("/home/u/", "sub/../b.dat"), "Z:\\home\\u\\sub\\..\\b.dat");
  EXPECT_EQ(libraryFileName("/home/u", "/etc/x.ini"), "Z:\\etc\\x.ini");
  EXPECT_EQ(libraryFileName("/", "x"), "Z:\\x");
  EXPECT_THROW(libraryFileName("/home/u", ""), UsageError);
  EXPECT_THROW(libraryFileName("/home/u", "a\\b"), UsageError);
  EXPECT_THROW(libraryFileName("/home/back\\slash", "a"), UsageError);
}

}  // namespace
