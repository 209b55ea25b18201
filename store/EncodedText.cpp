#include "store/EncodedText.h"

#include <cstring>
#include <new>
#include <stdexcept>

namespace Lumbrel {
namespace store {
namespace {

constexpr std::uint64_t kMaxOffset = 0xFFFFFFFFULL;

bool isBlank(unsigned char c) { return c == ' ' || c == '\t'; }

// Reads the units of a text one by one, as make_wstring decodes a file's
// bytes: a form of one to six bytes gives one unit, the low 16 bits of what
// it encodes; the bytes behind a lead byte are not examined, only counted;
// a lead byte without the bytes its form needs gives "?". A file's text
// ends at its first null byte, found only once the first byte of 0x80 or
// above is met: bytes below are decoded alike either way.
class UnitReader {
 public:
  explicit UnitReader(const EncodedText::Span& text)
      : at_(text.begin), end_(text.end), measured_(text.own) {}

  bool atEnd() const { return at_ == end_; }

  // The next unit; requires !atEnd(). A file's text yields a null unit at
  // its end, and a caller's a null unit it held.
  unsigned short next() {
    const unsigned char b = *at_;
    if (b < 0x80) {
      ++at_;
      return b;
    }
    if (!measured_) {
      const void* null = std::memchr(at_, 0, static_cast<std::size_t>(end_ - at_));
      if (null != nullptr) end_ = static_cast<const unsigned char*>(null);
      measured_ = true;
    }
    const std::size_t behind = static_cast<std::size_t>(end_ - at_) - 1;
    const unsigned char* p = at_;
    if (behind >= 1 && (b & 0xE0) == 0xC0) {
      at_ += 2;
      return static_cast<unsigned short>((b & 0x1F) << 6 | (p[1] & 0x3F));
    }
    if (behind >= 2 && (b & 0xF0) == 0xE0) {
      at_ += 3;
      return threeLow(b, p[1], p[2]);
    }
    if (behind >= 3 && (b & 0xF8) == 0xF0) {
      at_ += 4;
      return threeLow(p[1], p[2], p[3]);
    }
    if (behind >= 4 && (b & 0xFC) == 0xF8) {
      at_ += 5;
      return threeLow(p[2], p[3], p[4]);
    }
    if (behind >= 5) {
      at_ += 6;
      return threeLow(p[3], p[4], p[5]);
    }
    ++at_;
    return '?';
  }

 private:
  static unsigned short threeLow(unsigned char a, unsigned char b, unsigned char c) {
    return static_cast<unsigned short>((a & 0x0F) << 12 | (b & 0x3F) << 6 | (c & 0x3F));
  }

  const unsigned char* at_;
  const unsigned char* end_;
  bool measured_;
};

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighs = 0x8080808080808080ULL;

// Eight bytes as one word, the first lowest.
std::uint64_t load8(const unsigned char* p) {
  return std::uint64_t{p[0]} | std::uint64_t{p[1]} << 8 | std::uint64_t{p[2]} << 16 |
         std::uint64_t{p[3]} << 24 | std::uint64_t{p[4]} << 32 | std::uint64_t{p[5]} << 40 |
         std::uint64_t{p[6]} << 48 | std::uint64_t{p[7]} << 56;
}

// The next at most eight bytes of a text, from `at` on, as a word with
// zeros past the text's end; false when one of them is null or 0x80 and
// above. A word is read whole where the buffer holds eight bytes from `at`,
// whatever lies behind the text.
bool plainWord(const EncodedText::Span& text, const unsigned char* at, std::uint64_t& word) {
  const auto left = static_cast<std::size_t>(text.end - at);
  if (left >= 8) {
    word = load8(at);
  } else if (text.readable - at >= 8) {
    word = load8(at) & ((std::uint64_t{1} << (8 * left)) - 1);
  } else {
    word = 0;
    for (std::size_t i = left; i-- > 0;) word = word << 8 | at[i];
  }
  const std::uint64_t bytes = left >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * left)) - 1;
  const std::uint64_t nulls = (word - kOnes) & ~word & kHighs & bytes;
  return ((word & kHighs) | nulls) == 0;
}

// A-Z onto a-z in eight ASCII bytes: the bytes from 'A' up get their top
// bit set by the first sum, those above 'Z' by the second, and no sum
// carries into the next byte.
std::uint64_t foldAscii(std::uint64_t word) {
  const std::uint64_t fromA = word + kOnes * (0x80 - 'A');
  const std::uint64_t pastZ = word + kOnes * (0x80 - 'Z' - 1);
  return word | ((fromA & ~pastZ & kHighs) >> 2);
}

// Four bytes of a word (from byte `first` on) as four 16-bit units, the
// first highest: the way FoldedHash and the sort keys gather units.
std::uint64_t units4(std::uint64_t word, int first) {
  std::uint64_t units = 0;
  for (int i = first; i < first + 4; ++i) units = units << 16 | (word >> (8 * i) & 0xFF);
  return units;
}

// The next unit of a name as compare() sees it: 0 at its end.
unsigned short nextOfName(UnitReader& reader) { return reader.atEnd() ? 0 : reader.next(); }

unsigned char* encodeUnit(unsigned short unit, unsigned char* out) {
  if (unit < 0x80) {
    *out++ = static_cast<unsigned char>(unit);
  } else if (unit < 0x800) {
    *out++ = static_cast<unsigned char>(0xC0 | unit >> 6);
    *out++ = static_cast<unsigned char>(0x80 | (unit & 0x3F));
  } else {
    *out++ = static_cast<unsigned char>(0xE0 | unit >> 12);
    *out++ = static_cast<unsigned char>(0x80 | (unit >> 6 & 0x3F));
    *out++ = static_cast<unsigned char>(0x80 | (unit & 0x3F));
  }
  return out;
}

}  // namespace

void EncodedText::clear() {
  file_ = ByteBuffer();
  fileSize_ = 0;
  std::vector<unsigned char>().swap(own_);
  released_ = 0;
}

void EncodedText::adopt(ByteBuffer bytes, std::size_t size) {
  if (size > kMaxOffset) throw std::runtime_error("failed to read from file");
  file_ = std::move(bytes);
  fileSize_ = size;
  std::vector<unsigned char>().swap(own_);
  released_ = 0;
}

EncodedText::Offset EncodedText::add(const wstring& text) {
  const std::size_t at = own_.size();
  std::size_t bytes = 0;
  for (const unsigned short unit : text)
    bytes += unit == 0 ? 2 : unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
  if (fileSize_ + 1 + at + kLength + bytes > kMaxOffset)
    throw std::bad_alloc();
  own_.resize(at + kLength + bytes);
  unsigned char* out = own_.data() + at;
  for (int shift = 0; shift < 32; shift += 8) *out++ = static_cast<unsigned char>(bytes >> shift);
  for (const unsigned short unit : text) {
    if (unit == 0) {
      *out++ = 0xC0;
      *out++ = 0x80;
    } else {
      out = encodeUnit(unit, out);
    }
  }
  return ownOffset(at);
}

void EncodedText::release(Offset offset) {
  if (isOwn(offset)) released_ += kLength + lengthAt(ownAt(offset));
}

EncodedText::Span EncodedText::own(Offset offset) const {
  const std::size_t at = ownAt(offset);
  const unsigned char* begin = own_.data() + at + kLength;
  return Span{begin, begin + lengthAt(at), true, own_.data() + own_.size()};
}

EncodedText::Span EncodedText::key(Offset offset, Offset value) const {
  if (isOwn(offset)) return own(offset);
  const unsigned char* begin = file_.data() + offset;
  if (!isOwn(value)) return Span{begin, file_.data() + value - 1, false, fileEnd()};
  const void* equals = std::memchr(begin, '=', fileSize_ - offset);
  return Span{begin, static_cast<const unsigned char*>(equals), false, fileEnd()};
}

EncodedText::Span EncodedText::value(Offset offset) const {
  if (isOwn(offset)) return own(offset);
  const unsigned char* begin = file_.data() + offset;
  const void* newline = std::memchr(begin, '\n', fileSize_ - offset);
  const unsigned char* end =
      newline != nullptr ? static_cast<const unsigned char*>(newline) : file_.data() + fileSize_;
  // The line's blanks at its end are no part of it; the `=` in front of the
  // value is not a blank, so this stops at the value's start at the latest.
  while (end != begin && isBlank(end[-1])) --end;
  return Span{begin, end, false, fileEnd()};
}

EncodedText::Span EncodedText::name(Offset offset, std::size_t length) const {
  if (isOwn(offset)) return own(offset);
  return Span{file_.data() + offset, file_.data() + offset + length, false, fileEnd()};
}

wstring EncodedText::decode(const Span& text) {
  wstring units;
  units.reserve(static_cast<std::size_t>(text.end - text.begin));
  UnitReader reader(text);
  while (!reader.atEnd()) {
    const unsigned short unit = reader.next();
    if (unit == 0 && !text.own) break;
    units.push_back(unit);
  }
  return units;
}

bool EncodedText::empty(const Span& text) {
  UnitReader reader(text);
  return nextOfName(reader) == 0;
}

long EncodedText::compare(const Span& a, const Span& b) {
  const unsigned char* p = a.begin;
  const unsigned char* q = b.begin;
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  while (plainWord(a, p, first) && plainWord(b, q, second)) {
    first = foldAscii(first);
    second = foldAscii(second);
    if (first != second) {
      // The first byte that differs decides; past a text's end it is 0.
      int shift = 0;
      while (((first ^ second) >> shift & 0xFF) == 0) shift += 8;
      return static_cast<long>(first >> shift & 0xFF) - static_cast<long>(second >> shift & 0xFF);
    }
    // Equal words that end either text end both.
    if (a.end - p < 8) return 0;
    p += 8;
    q += 8;
  }
  UnitReader x(Span{p, a.end, a.own, a.readable});
  UnitReader y(Span{q, b.end, b.own, b.readable});
  for (;;) {
    const long u = FoldedHash::fold(nextOfName(x));
    const long v = FoldedHash::fold(nextOfName(y));
    if (u != v || u == 0) return u - v;
  }
}

bool EncodedText::equal(const Span& a, const wstring& b) {
  UnitReader x(a);
  for (const unsigned short* unit = b.c_str();; ++unit) {
    const unsigned short u = FoldedHash::fold(nextOfName(x));
    if (u != FoldedHash::fold(*unit)) return false;
    if (u == 0) return true;
  }
}

bool EncodedText::same(const Span& a, const wstring& b) {
  UnitReader reader(a);
  std::size_t i = 0;
  while (!reader.atEnd()) {
    const unsigned short unit = reader.next();
    if (unit == 0 && !a.own) break;
    if (i == b.size() || b[i] != unit) return false;
    ++i;
  }
  return i == b.size();
}

void EncodedText::hash(const Span& text, FoldedHash& hash) {
  const unsigned char* at = text.begin;
  std::uint64_t word = 0;
  while (hash.aligned() && at != text.end && plainWord(text, at, word)) {
    const std::uint64_t folded = foldAscii(word);
    if (text.end - at >= 8) {
      hash.addFour(units4(folded, 0));
      hash.addFour(units4(folded, 4));
      at += 8;
    } else {
      for (; at != text.end; ++at, word >>= 8) hash.add(static_cast<unsigned short>(word & 0xFF));
    }
  }
  UnitReader reader(Span{at, text.end, text.own, text.readable});
  for (unsigned short unit; (unit = nextOfName(reader)) != 0;) hash.add(unit);
}

EncodedText::SortKey EncodedText::sortKey(const Span& text) {
  std::uint64_t word = 0;
  if (plainWord(text, text.begin, word)) {
    const std::uint64_t folded = foldAscii(word);
    return SortKey{units4(folded, 0), units4(folded, 4)};
  }
  UnitReader reader(text);
  std::uint64_t units[2] = {0, 0};
  bool ended = false;
  for (int i = 0; i < 8; ++i) {
    const unsigned short unit = ended ? 0 : FoldedHash::fold(nextOfName(reader));
    ended = unit == 0;
    units[i / 4] = units[i / 4] << 16 | unit;
  }
  return SortKey{units[0], units[1]};
}

unsigned char* EncodedText::encode(const Span& text, unsigned char* out) {
  // Each unit comes from at least as many bytes as it is written in, and a
  // caller's text is written as it is stored, up to a null unit.
  UnitReader reader(text);
  while (!reader.atEnd()) {
    const unsigned short unit = reader.next();
    if (unit == 0) break;
    out = encodeUnit(unit, out);
  }
  return out;
}

}  // namespace store
}  // namespace Lumbrel
