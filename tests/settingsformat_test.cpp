#include "store/SettingsFormat.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"

using Lumbrel::wstring;
using Lumbrel::store::parseLine;
using Lumbrel::store::SettingsLayout;
using Lumbrel::store::SettingsReader;
using Lumbrel::store::SettingsWriter;
using lumbrel_test::W;

namespace {

struct Entry {
  wstring section;
  wstring key;
  wstring value;
  bool operator==(const Entry& other) const {
    return section == other.section && key == other.key && value == other.value;
  }
};

std::ostream& operator<<(std::ostream& out, const Entry& entry) {
  return out << '(' << Lumbrel::make_string(entry.section) << ", "
             << Lumbrel::make_string(entry.key) << ", " << Lumbrel::make_string(entry.value) << ')';
}

std::vector<Entry> parse(const std::string& bytes,
                         SettingsLayout layout = SettingsLayout::Sectioned) {
  std::vector<Entry> entries;
  SettingsReader reader(bytes.data(), bytes.size(), layout);
  while (reader.next()) entries.push_back({reader.section(), reader.key(), reader.value()});
  return entries;
}

Entry E(const char* section, const char* key, const char* value) {
  return {W(section), W(key), W(value)};
}

// The section that a single line sets, or "<none>" when it is no header.
std::string headerOf(const std::string& line) {
  wstring section = W("unchanged");
  wstring key;
  wstring value;
  const auto parsed = parseLine(line.data(), line.data() + line.size(), SettingsLayout::Sectioned,
                                section, key, value);
  if (!parsed.header) return "<none>";
  EXPECT_FALSE(parsed.keyLine);
  return Lumbrel::make_string(section);
}

TEST(SettingsFormatTest, SectionHeaderTable) {
  EXPECT_EQ(headerOf("[Net]"), "Net");
  EXPECT_EQ(headerOf("[[Net]]"), "Net");
  EXPECT_EQ(headerOf("[Net"), "Net");
  EXPECT_EQ(headerOf("[ Net ]"), " Net ");
  EXPECT_EQ(headerOf("[Net] ; a note"), "Net] ; a note");
  EXPECT_EQ(headerOf("[]"), "[");
  EXPECT_EQ(headerOf("["), "[");
  EXPECT_EQ(headerOf("[[]]"), "[[");
  EXPECT_EQ(headerOf("]Net["), "<none>");
  EXPECT_EQ(headerOf("[a=b]"), "a=b");
  EXPECT_EQ(headerOf(" \t[Net]\t "), "Net");
  // `]Net[` without `=` is dropped and leaves the section alone.
  EXPECT_EQ(parse("[A]\n]Net[\nk=v\n"), std::vector<Entry>{E("A", "k", "v")});
}

TEST(SettingsFormatTest, KeyLineTable) {
  EXPECT_EQ(parse("[S]\n"
                  "port=80\n"
                  "port = 80\n"
                  "  port=80  \n"
                  "path=a=b\n"
                  "port=\n"
                  "=80\n"),
            (std::vector<Entry>{E("S", "port", "80"), E("S", "port ", " 80"), E("S", "port", "80"),
                                E("S", "path", "a=b"), E("S", "port", "")}));
  // Key lines before the first header, blank lines, comments and stray text
  // make no entry; a comment mark behind other text is text.
  EXPECT_EQ(parse("early=1\n[S]\n\n\n; a=1\n  #b=2\nstray text\n \t \nk=v ; c\n"),
            std::vector<Entry>{E("S", "k", "v ; c")});
  EXPECT_TRUE(parse("").empty());
}

TEST(SettingsFormatTest, FlatLayoutHasNoHeaders) {
  EXPECT_EQ(parse("a=0\n[Net]\na=1\n[a=b]\n; c=d\n\n=e\n", SettingsLayout::Flat),
            (std::vector<Entry>{E("", "a", "0"), E("", "a", "1"), E("", "[a", "b]")}));
}

TEST(SettingsFormatTest, BytesBeforeConversion) {
  // The last line counts without its newline.
  EXPECT_EQ(parse("[S]\nk=v"), std::vector<Entry>{E("S", "k", "v")});
  // A byte order mark is text of the first line: the header is none, and the
  // key lines under it stand before any header.
  EXPECT_TRUE(parse("\xEF\xBB\xBF[Net]\nport=80\n").empty());
  EXPECT_EQ(parse("\xEF\xBB\xBF[Net]\nport=80\n", SettingsLayout::Flat),
            std::vector<Entry>{E("", "port", "80")});
  EXPECT_EQ(parse("\xEF\xBB\xBFk=v\n", SettingsLayout::Flat),
            std::vector<Entry>{E("", "\xEF\xBB\xBFk", "v")});
  // Carriage returns are ordinary text, also at the end of a header.
  EXPECT_EQ(parse("[Net]\r\nport=80\r\n"), std::vector<Entry>{E("Net]\r", "port", "80\r")});
  // A NUL ends the name or value that holds it; the split is by bytes.
  static const char withNulText[] = "[S]\nk=a\0b\nx\0y=1\n\0z=2\n";
  const std::string withNul(withNulText, sizeof withNulText - 1);
  EXPECT_EQ(parse(withNul), (std::vector<Entry>{E("S", "k", "a"), E("S", "x", "1")}));
  static const char nulSectionText[] = "[\0S]\nk=v\n";
  const std::string nulSection(nulSectionText, sizeof nulSectionText - 1);
  EXPECT_TRUE(parse(nulSection).empty());
  // Non-ASCII UTF-8 decodes to its units.
  const auto entries = parse("[Straße]\ngrüße=\xE2\x82\xAC\n");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].section, (wstring{'S', 't', 'r', 'a', 0xDF, 'e'}));
  EXPECT_EQ(entries[0].key, (wstring{'g', 'r', 0xFC, 0xDF, 'e'}));
  EXPECT_EQ(entries[0].value, wstring(1, 0x20AC));
}

TEST(SettingsFormatTest, WriterComposesHeadersByRunsOfSections) {
  SettingsWriter writer(SettingsLayout::Sectioned);
  writer.add(W("Disk"), W("path"), W("a=b"));
  writer.add(W("Net"), W("port "), W(" 80"));
  writer.add(W("NET"), W("host"), W(""));
  writer.add(W("Disk"), W(""), W(""));
  writer.add(W("Straße"), W("grüße"), wstring(1, 0x20AC));
  EXPECT_EQ(writer.bytes(),
            "[Disk]\npath=a=b\n[Net]\nport = 80\nhost=\n[Disk]\n=\n"
            "[Stra\xC3\x9F"
            "e]\ngr\xC3\xBC\xC3\x9F"
            "e=\xE2\x82\xAC\n");
  EXPECT_EQ(SettingsWriter(SettingsLayout::Sectioned).bytes(), "");

  SettingsWriter flat(SettingsLayout::Flat);
  flat.add(W("ignored"), W("zebra"), W("1"));
  flat.add(W("other"), W("[a"), W("b]"));
  EXPECT_EQ(flat.bytes(), "zebra=1\n[a=b]\n");
  // Written text reads back as it was.
  EXPECT_EQ(parse(flat.bytes(), SettingsLayout::Flat),
            (std::vector<Entry>{E("", "zebra", "1"), E("", "[a", "b]")}));
}

}  // namespace
