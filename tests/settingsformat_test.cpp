#include "store/SettingsFormat.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"

using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::store::SettingsLayout;
using Lumbrel::store::SettingsReader;
using lumbrel_test::W;
using Entries = std::vector<std::string>;

namespace {

// Each entry read, as "section|key|value", each text as make_wstring makes
// it of its bytes.
Entries parse(const std::string& bytes, SettingsLayout layout = SettingsLayout::Sectioned) {
  const auto text = [&bytes](SettingsReader::Range range) {
    return make_string(make_wstring(bytes.substr(range.begin, range.end - range.begin)));
  };
  Entries entries;
  SettingsReader reader(bytes.data(), bytes.size(), layout);
  while (reader.next())
    entries.push_back(text(reader.section()) + '|' + text(reader.key()) + '|' +
                      text(reader.value()));
  return entries;
}

TEST(SettingsFormatTest, SectionHeaderTable) {
  // The section of a key line behind the line; A stays when the line is no header.
  const std::pair<const char*, const char*> rows[] = {
      {"[Net]", "Net"},     {"[[Net]]", "Net"},       {"[Net", "Net"},
      {"[ Net ]", " Net "}, {"[Net] ; a note", "Net] ; a note"},
      {"[]", "["},          {"[", "["},               {"[[]]", "[["},
      {"]Net[", "A"},       {"[a=b]", "a=b"},         {" \t[Net]\t ", "Net"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(parse(std::string("[A]\n") + row.first + "\nk=v\n"),
              Entries{row.second + std::string("|k|v")})
        << row.first;
}

TEST(SettingsFormatTest, KeyLineTableAndFlatLayout) {
  const std::pair<const char*, const char*> rows[] = {
      {"port=80", "port|80"},   {"port = 80", "port | 80"}, {"  port=80  ", "port|80"},
      {"path=a=b", "path|a=b"}, {"port=", "port|"},         {"=80", nullptr},
      {"k=v ; c", "k|v ; c"},
  };
  for (const auto& row : rows) {
    const Entries expected = row.second ? Entries{"S|" + std::string(row.second)} : Entries{};
    EXPECT_EQ(parse(std::string("[S]\n") + row.first), expected) << row.first;
    EXPECT_EQ(parse(row.first), Entries{}) << row.first;  // before the first header
  }
  EXPECT_EQ(parse("[S]\n\n\n; a=1\n  #b=2\nstray text\n \t \n"), Entries{});
  // The flat layout has no headers.
  EXPECT_EQ(parse("a=0\n[Net]\na=1\n[a=b]\n; c=d\n\n=e\n", SettingsLayout::Flat),
            (Entries{"|a|0", "|a|1", "|[a|b]"}));
}

TEST(SettingsFormatTest, LinesAreSplitOnBytesBeforeDecoding) {
  // A byte order mark is text of the first line, so the header there is none.
  EXPECT_EQ(parse("\xEF\xBB\xBF[Net]\nport=80\n"), Entries{});
  EXPECT_EQ(parse("[Net]\r\nport=80\r\n"), Entries{"Net]\r|port|80\r"});
  const char withNul[] = "[S]\nk=a\0b\nx\0y=1\n\0z=2\n";  // a NUL ends its name or value
  EXPECT_EQ(parse(std::string(withNul, sizeof withNul - 1)), (Entries{"S|k|a", "S|x|1"}));
  EXPECT_EQ(parse("[Straße]\ngrüße=€\n"), Entries{"Straße|grüße|€"});
}

}  // namespace
