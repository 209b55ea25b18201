#include "lumbrel/Text.h"

#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"

using Lumbrel::compare;
using Lumbrel::length;
using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::string;
using Lumbrel::wstring;

namespace {

wstring units(std::initializer_list<unsigned short> list) { return wstring(list); }
string bytes(std::initializer_list<unsigned char> list) { return string(list.begin(), list.end()); }

TEST(TextTest, NullPointersGiveEmptyResults) {
  EXPECT_EQ(make_string(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(make_string(static_cast<const unsigned short*>(nullptr)), "");
  EXPECT_EQ(make_wstring(static_cast<const char*>(nullptr)), wstring());
  EXPECT_EQ(make_wstring(static_cast<const unsigned short*>(nullptr)), wstring());
  EXPECT_EQ(length(static_cast<const char*>(nullptr)), 0UL);
  EXPECT_EQ(length(static_cast<const unsigned short*>(nullptr)), 0UL);
}

TEST(TextTest, EncodesEachRangeAndDecodesItBack) {
  struct Row {
    unsigned short unit;
    string encoded;
  };
  const Row rows[] = {
      {0x7F, bytes({0x7F})},
      {0x80, bytes({0xC2, 0x80})},
      {0x7FF, bytes({0xDF, 0xBF})},
      {0x800, bytes({0xE0, 0xA0, 0x80})},
      {0xD800, bytes({0xED, 0xA0, 0x80})},  // surrogates are plain units
      {0xFFFF, bytes({0xEF, 0xBF, 0xBF})},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(make_string(units({row.unit})), row.encoded) << std::hex << row.unit;
    EXPECT_EQ(make_wstring(row.encoded), units({row.unit})) << std::hex << row.unit;
  }
  // A surrogate pair is two three-byte forms, never one four-byte form.
  EXPECT_EQ(make_string(units({0xD83D, 0xDE00})).size(), 6U);
}

TEST(TextTest, TextEndsAtTheFirstNull) {
  const wstring wide = units({'a', 0, 'b'});
  const string narrow("a\0b", 3);
  EXPECT_EQ(make_string(wide), "a");
  EXPECT_EQ(make_wstring(narrow), units({'a'}));
  EXPECT_EQ(length(wide), 1UL);
  EXPECT_EQ(length(narrow), 1UL);
  EXPECT_EQ(length(string()), 0UL);
  EXPECT_EQ(length(wstring()), 0UL);
}

TEST(TextTest, DecodingFollowsTheTableRowByRow) {
  // Too few bytes behind a lead byte: "?" for that byte alone.
  EXPECT_EQ(make_wstring(bytes({0xC3})), units({'?'}));
  EXPECT_EQ(make_wstring(bytes({0xE2, 0x82})), units({'?', '?'}));
  EXPECT_EQ(make_wstring(bytes({0xE2, 0x82, 0xAC})), units({0x20AC}));
  // Continuation bytes are not checked, only their low bits count.
  EXPECT_EQ(make_wstring(bytes({0xC3, 0x29})), units({0xE9}));
  // Four-byte forms keep the low 16 bits of their value.
  EXPECT_EQ(make_wstring(bytes({0xF0, 0x9F, 0x98, 0x80})), units({0xF600}));
  // Five-byte form.
  EXPECT_EQ(make_wstring(bytes({0xF8, 0x80, 0x81, 0x82, 0x83})), units({0x1083}));
  // A lone continuation byte with four behind matches no row: "?".
  EXPECT_EQ(make_wstring(bytes({0x80, 0x41, 0x41, 0x41, 0x41})), units({'?', 'A', 'A', 'A', 'A'}));
  // With five behind, the untested row takes six bytes.
  EXPECT_EQ(make_wstring(bytes({0x80, 0x41, 0x41, 0xE1, 0x82, 0x83})), units({0x1083}));
  EXPECT_EQ(make_wstring(bytes({0xFF, 0x80, 0x80, 0xE1, 0x82, 0x83, 'x'})), units({0x1083, 'x'}));
  // An overlong null ends the text.
  EXPECT_EQ(make_wstring(bytes({0x41, 0xC0, 0x80, 0x42})), units({'A'}));
}

TEST(TextTest, FastPathAgreesAroundBlockBoundaries) {
  // Long ASCII runs mixed with multi-byte forms at every offset.
  for (std::size_t offset = 0; offset < 20; ++offset) {
    wstring wide(offset, 'x');
    wide += units({0xE9, 0x20AC});
    wide += wstring(offset + 3, 'y');
    const string narrow = make_string(wide);
    EXPECT_EQ(narrow.size(), wide.size() + 3);
    EXPECT_EQ(make_wstring(narrow), wide);
  }
}

TEST(TextTest, ConversionsBetweenPlainForms) {
  const unsigned short euro[] = {0x20AC, '1', 0};
  EXPECT_EQ(make_string(euro), "\xE2\x82\xAC" "1");
  EXPECT_EQ(make_wstring("\xE2\x82\xAC" "1"), units({0x20AC, '1'}));
  EXPECT_EQ(make_wstring(euro), units({0x20AC, '1'}));
  EXPECT_EQ(make_string("abc"), "abc");
  EXPECT_EQ(length("abc"), 3UL);
  EXPECT_EQ(length(euro), 2UL);
}

TEST(TextTest, CompareFoldsAsciiOnly) {
  EXPECT_EQ(compare("ABC", "abc"), 0);
  EXPECT_LT(compare("a", "B"), 0);
  EXPECT_GT(compare("abc", "ab"), 0);
  EXPECT_EQ(compare(string("a\0x", 3), string("a\0y", 3)), 0);
  // Folding goes to lower case: the underscore sorts before every letter.
  EXPECT_LT(compare("_", "A"), 0);
  EXPECT_LT(compare(lumbrel_test::W("_"), lumbrel_test::W("a")), 0);
  EXPECT_EQ(compare(lumbrel_test::W("KeY"), lumbrel_test::W("key")), 0);
  // Beyond ASCII each unit compares as its own value.
  EXPECT_NE(compare(units({0xC9}), units({0xE9})), 0);
  EXPECT_GT(compare(units({0x100}), units({0xFF})), 0);
  EXPECT_GT(compare("\xC3", "a"), 0);  // bytes compare unsigned
}

TEST(TextTest, StreamInsertionWritesEveryElement) {
  std::ostringstream out;
  Lumbrel::operator<<(out, units({0x0141, 0, 'b'}));
  EXPECT_EQ(out.str(), string("A\0b", 3));

  std::ostringstream wide;
  Lumbrel::operator<<(wide, string(300, 'z'));
  EXPECT_EQ(wide.str().size(), 300U);

  // A field width pads the first element only.
  std::ostringstream padded;
  padded.width(3);
  Lumbrel::operator<<(padded, string("ab"));
  EXPECT_EQ(padded.str(), "  ab");
}

}  // namespace
