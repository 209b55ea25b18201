// Text kept as bytes must mean what make_wstring makes of them, and compare,
// hash and sort as compare() and FoldedHash see those units, on every path:
// eight ASCII bytes at a time, unit by unit, and a caller's text.
#include "store/EncodedText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using Lumbrel::compare;
using Lumbrel::make_string;
using Lumbrel::make_wstring;
using Lumbrel::wstring;
using Lumbrel::store::ByteBuffer;
using Lumbrel::store::EncodedText;
using Lumbrel::store::FoldedHash;

namespace {

long sign(long value) { return (value > 0) - (value < 0); }

std::uint64_t hashOf(const EncodedText::Span& span) {
  FoldedHash hash;
  EncodedText::hash(span, hash);
  return hash.value();
}

// Every text of up to two bytes from bytes that lead forms, end them early,
// fold or sort below the newline behind them, after ASCII prefixes that end
// on either side of eight bytes (0xDF 0xBF is the last unit of two bytes).
// Held both as a file's text and as the caller's text of the same units.
TEST(EncodedTextTest, MeansCompareHashAndSortAsTheUnitsOfMakeWstring) {
  const std::string alphabet("aAZ_\1\0\x80\xBF\xC3\xC0\xDF\xE2\xF0\xF8\xFC", 15);
  std::vector<std::string> texts;
  for (const std::string prefix : {"", "Abcdefg", "ABCDEFGH"}) {
    texts.push_back(prefix);
    for (const char first : alphabet) {
      texts.push_back(prefix + first);
      for (const char second : alphabet) texts.push_back(prefix + first + second + "\x82\xAC");
    }
  }
  std::string file;
  for (const std::string& text : texts) file += text + '\n';
  ByteBuffer bytes(file.size());
  std::memcpy(bytes.data(), file.data(), file.size());
  EncodedText store;
  store.adopt(std::move(bytes), file.size());
  std::vector<EncodedText::Offset> own;
  for (const std::string& text : texts) own.push_back(store.add(make_wstring(text)));

  std::vector<EncodedText::Span> spans;
  std::vector<wstring> meanings;
  std::size_t at = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const EncodedText::Span span =
        store.name(static_cast<EncodedText::Offset>(at), texts[i].size());
    const EncodedText::Span mine = store.name(own[i], 0);
    const wstring meaning = make_wstring(texts[i]);
    ASSERT_EQ(EncodedText::decode(span), meaning) << i;
    ASSERT_EQ(EncodedText::decode(mine), meaning) << i;
    ASSERT_EQ(EncodedText::empty(span), meaning.empty()) << i;
    ASSERT_TRUE(EncodedText::same(span, meaning) && EncodedText::equal(mine, meaning)) << i;
    ASSERT_EQ(hashOf(span), FoldedHash::of(meaning)) << i;
    ASSERT_EQ(hashOf(mine), FoldedHash::of(meaning)) << i;
    std::vector<unsigned char> out(texts[i].size());
    const unsigned char* end = EncodedText::encode(span, out.data());
    ASSERT_EQ(std::string(out.begin(), out.begin() + (end - out.data())), make_string(meaning))
        << i;
    spans.push_back(span);
    meanings.push_back(meaning);
    at += texts[i].size() + 1;
  }
  for (std::size_t i = 0; i < spans.size(); ++i) {
    const EncodedText::SortKey key = EncodedText::sortKey(spans[i]);
    for (std::size_t j = 0; j < spans.size(); ++j) {
      const long order = sign(compare(meanings[i], meanings[j]));
      ASSERT_EQ(sign(EncodedText::compare(spans[i], spans[j])), order) << i << ' ' << j;
      // A lower key sorts first; equal complete keys are equal texts.
      const EncodedText::SortKey other = EncodedText::sortKey(spans[j]);
      ASSERT_FALSE((key < other && order >= 0) || (key == other && key.complete() && order != 0))
          << i << ' ' << j;
    }
  }
}

// A caller's text keeps its null units and whatever follows them; only
// comparing and writing stop there.
TEST(EncodedTextTest, CallersTextKeepsNullUnits) {
  EncodedText store;
  const wstring text = {'K', 0, 0x20AC};
  const EncodedText::Span span = store.name(store.add(text), 0);
  EXPECT_EQ(EncodedText::decode(span), text);
  EXPECT_TRUE(EncodedText::equal(span, make_wstring("k")));
  EXPECT_EQ(hashOf(span), FoldedHash::of(make_wstring("K")));
  unsigned char out[8];
  EXPECT_EQ(EncodedText::encode(span, out) - out, 1);
}

}  // namespace
