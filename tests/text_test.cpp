#include "lumbrel/Text.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

using Lumbrel::compare;
using Lumbrel::length;
using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::string;
using Lumbrel::wstring;

namespace {

wstring units(std::initializer_list<unsigned short> list) { return wstring(list); }
string bytes(std::initializer_list<unsigned char> list) { return string(list.begin(), list.end()); }

// text_fuzz holds each form and each row of the decoding table against a
// reference; the tests here are what it does not reach: the null pointers,
// and the block paths of the builds without SSE2, SSSE3 or AVX2, in which
// this file is compiled too.
TEST(TextTest, NullPointersAndNullUnitsEndTheText) {
  const char* none = nullptr;
  const unsigned short* noUnits = nullptr;
  EXPECT_TRUE(make_string(none).empty() && make_string(noUnits).empty());
  EXPECT_TRUE(make_wstring(none).empty() && make_wstring(noUnits).empty());
  EXPECT_EQ(length(none) + length(noUnits), 0UL);
  EXPECT_EQ(make_string(units({'a', 0, 'b'})), "a");
  EXPECT_EQ(length(units({'a', 0, 'b'})) + length(bytes({'a', 0, 'b'})), 2UL);
  const unsigned short euro[] = {0x20AC, '1', 0};
  EXPECT_EQ(make_string(euro), "\xE2\x82\xAC" "1");
  EXPECT_EQ(make_wstring(euro), units({0x20AC, '1'}));
}

// Runs long enough for the block paths, of one length of form or mixed as
// prose mixes them, with one other unit or form at every position, so that
// each block boundary meets an odd element.
TEST(TextTest, LongRunsConvertLikeSingleUnits) {
  wstring mixed;
  while (mixed.size() < 80) mixed += units({'a', 0xE9, ' ', 0x436, 0x4E2D, ',', 0x5B57});
  mixed.resize(80);
  for (const wstring& run : {wstring(80, 0x61), wstring(80, 0x3B1), wstring(80, 0x4E00), mixed}) {
    for (std::size_t at = 0; at < 72; ++at) {
      wstring wide = run;
      wide[at] = units({'x', 0xE9, 0x20AC, 0xFFFF})[at % 4];
      string expected;
      for (const unsigned short unit : wide) expected += make_string(wstring(1, unit));
      EXPECT_EQ(make_string(wide), expected) << std::hex << run[1] << ' ' << at;
      EXPECT_EQ(make_wstring(expected), wide) << std::hex << run[1] << ' ' << at;
    }
  }
  // Inside mixed text a four-byte form still gives its low 16 bits; an overlong
  // null ends the text, in mixed text as in a run of two- or three-byte forms.
  for (std::size_t at = 0; at < 40; ++at) {
    const string front = make_string(mixed.substr(0, at));
    EXPECT_EQ(make_wstring(front + bytes({0xF0, 0x9F, 0x98, 0x80}) + make_string(mixed)),
              mixed.substr(0, at) + units({0xF600}) + mixed) << at;
    EXPECT_EQ(make_wstring(front + bytes({0xC0, 0x80}) + make_string(mixed)), mixed.substr(0, at))
        << at;
    string two;
    string three;
    for (std::size_t k = 0; k < 48; ++k) {
      two += k == at ? bytes({0xC0, 0x80}) : bytes({0xCE, 0xB1});
      three += k == at ? bytes({0xE0, 0x80, 0x80}) : bytes({0xE4, 0xB8, 0x80});
    }
    EXPECT_EQ(make_wstring(two), wstring(at, 0x3B1)) << at;
    EXPECT_EQ(make_wstring(three), wstring(at, 0x4E00)) << at;
  }
  // Forms cut short at the end of a long text: "?" for each byte left.
  EXPECT_EQ(make_wstring(string(40, 'a') + bytes({0xE4, 0xB8})), wstring(40, 'a') + units({'?', '?'}));
}

TEST(TextTest, CompareFoldsAsciiOnly) {
  EXPECT_EQ(compare("ABC", "abc"), 0);
  EXPECT_GT(compare("abc", "ab"), 0);
  EXPECT_EQ(compare(string("a\0x", 3), string("a\0y", 3)), 0);
  // Folding goes to lower case; beyond ASCII each element is its own unsigned value.
  EXPECT_LT(compare("_", "A"), 0);
  EXPECT_LT(compare(units({'_'}), units({'A'})), 0);
  EXPECT_NE(compare(units({0xC9}), units({0xE9})), 0);
  EXPECT_GT(compare(units({0x100}), units({0xFF})), 0);
  EXPECT_GT(compare("\xC3", "a"), 0);
}

TEST(TextTest, StreamInsertionWritesEveryElement) {
  std::ostringstream out;
  Lumbrel::operator<<(out, units({0x0141, 0, 'b'}));
  Lumbrel::operator<<(out, string(300, 'z'));
  EXPECT_EQ(out.str(), string("A\0b", 3) + string(300, 'z'));
  std::ostringstream padded;
  Lumbrel::operator<<(padded << std::setw(3), string("ab"));
  EXPECT_EQ(padded.str(), "  ab");  // a field width pads the first element only
}

}  // namespace
