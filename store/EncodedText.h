// The text of a settings store's model, kept as 8-bit text and decoded only
// where wide text is asked for (getValue, the enumerations): a file's names
// and values stay in the bytes it was read from, and the model's entries are
// offsets into them. A wide string per name and value would take two or
// three times the file's size, and most are never asked for.
//
// Text comes in two kinds:
// - The file's: a name or value is its bytes, and means what make_wstring
//   makes of them (cut at the first null byte, decoded, cut at the first
//   null unit). A key ends at its line's first `=`, a value at its line's
//   end without the blanks there, so an offset is all an entry needs.
// - The caller's (setValue and the like): its units encoded as make_string
//   encodes them, but a null unit as the two bytes C0 80, so that no unit is
//   lost (getValue gives back the whole value, nulls included), behind a
//   32-bit length.
// Both are one offset space: the file's bytes first, the caller's behind
// them. Offsets are 32 bits, so the text of one model stays below 4 GiB: a
// larger file fails to load as an unreadable one does, and text set beyond
// that fails as memory that runs out does.
//
// Comparing, hashing and sorting decode on the fly, as compare() sees the
// units: case folded, up to the first null unit; eight bytes at a time
// while they are ASCII, unit by unit otherwise.
#ifndef LUMBREL_STORE_ENCODED_TEXT_H
#define LUMBREL_STORE_ENCODED_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lumbrel/Text.h"
#include "store/ByteBuffer.h"
#include "store/FoldedHash.h"

namespace Lumbrel {
namespace store {

class EncodedText {
 public:
  using Offset = std::uint32_t;

  // Bytes of text and how they decode.
  struct Span {
    const unsigned char* begin;
    const unsigned char* end;
    bool own;  // the caller's text, else the file's
    // The end of the buffer the text lies in: the bytes up to it may be
    // read (a word at a time), though only those up to `end` count.
    const unsigned char* readable = end;
  };

  // The first eight folded units of a text, in the order compare() puts
  // texts: units 0-3 in `high` (the first highest), 4-7 in `low`; units past
  // the end count as null.
  struct SortKey {
    std::uint64_t high;
    std::uint64_t low;
    bool operator<(const SortKey& other) const {
      return high != other.high ? high < other.high : low < other.low;
    }
    bool operator==(const SortKey& other) const { return high == other.high && low == other.low; }
    // True when the text ends within the eight units: equal keys are then
    // equal texts.
    bool complete() const { return (low & 0xFFFF) == 0; }
  };

  // Drops all text.
  void clear();
  // Takes a loaded file, of which the first `size` bytes are read as the
  // model's. Raises runtime_error "failed to read from file" when the
  // offsets cannot reach them.
  void adopt(ByteBuffer bytes, std::size_t size);
  const unsigned char* file() const { return file_.data(); }

  // Stores the caller's text and gives its offset.
  Offset add(const wstring& text);
  // Notes that the caller's text at `offset` is no longer referred to (a
  // file's text is never released).
  void release(Offset offset);
  // After many releases, moves the caller's texts that are still referred
  // to together. visit(move) calls move(offset) for every offset the model
  // holds, which may replace it.
  template <class Visit>
  void compact(Visit visit) {
    if (released_ < 64 * 1024 || 2 * released_ < own_.size()) return;
    std::vector<unsigned char> kept;
    kept.reserve(own_.size() - released_);
    visit([&](Offset& offset) {
      if (!isOwn(offset)) return;
      const std::size_t at = ownAt(offset);
      const std::size_t size = kLength + lengthAt(at);
      offset = ownOffset(kept.size());
      kept.insert(kept.end(), own_.begin() + static_cast<std::ptrdiff_t>(at),
                  own_.begin() + static_cast<std::ptrdiff_t>(at + size));
    });
    own_.swap(kept);
    released_ = 0;
  }

  // The text at `offset` as a key, as a value, and as a name of `length`
  // bytes (a file's section name). A file's key ends where its value
  // begins, if that is the file's value still, else at its `=`.
  Span key(Offset offset, Offset value) const;
  Span value(Offset offset) const;
  Span name(Offset offset, std::size_t length) const;

  // What the text means as wide text.
  static wstring decode(const Span& text);
  // True when the text has no unit in front of its first null unit.
  static bool empty(const Span& text);
  // compare() of the texts.
  static long compare(const Span& a, const Span& b);
  static bool equal(const Span& a, const wstring& b);
  // True when the text means exactly `b`, unit for unit.
  static bool same(const Span& a, const wstring& b);
  static void hash(const Span& text, FoldedHash& hash);
  static SortKey sortKey(const Span& text);
  // Writes make_string of the text's meaning at `out`, which has room for
  // as many bytes as the span has; returns the end of what was written.
  static unsigned char* encode(const Span& text, unsigned char* out);

 private:
  static constexpr std::size_t kLength = 4;  // the length in front of a caller's text

  std::size_t lengthAt(std::size_t at) const {
    return static_cast<std::size_t>(own_[at]) | static_cast<std::size_t>(own_[at + 1]) << 8 |
           static_cast<std::size_t>(own_[at + 2]) << 16 |
           static_cast<std::size_t>(own_[at + 3]) << 24;
  }
  // The caller's texts are numbered from one past the file's end: a value
  // that ends the file without a newline begins at its end.
  bool isOwn(Offset offset) const { return offset > fileSize_; }
  std::size_t ownAt(Offset offset) const { return offset - fileSize_ - 1; }
  Offset ownOffset(std::size_t at) const { return static_cast<Offset>(fileSize_ + 1 + at); }
  Span own(Offset offset) const;
  const unsigned char* fileEnd() const { return file_.data() + file_.size(); }

  ByteBuffer file_;
  std::size_t fileSize_ = 0;
  std::vector<unsigned char> own_;
  std::size_t released_ = 0;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_ENCODED_TEXT_H
