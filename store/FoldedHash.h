// Names as compare() sees them, for the stores' lookups: a name is its
// 16-bit units up to the first null unit, and A-Z count as a-z (no other
// unit is folded). FoldedHash hashes such a name, unit by unit, so that two
// names that compare equal hash equal whatever form their units come in: a
// caller's wide text, the 8-bit text of a settings file, the big-endian
// bytes of a data file's key.
//
// The units are gathered four to a 64-bit word, and each word is mixed into
// the state with one multiplication: the chain of dependent multiplications
// is a quarter of the name's length.
#ifndef LUMBREL_STORE_FOLDED_HASH_H
#define LUMBREL_STORE_FOLDED_HASH_H

#include <cstddef>
#include <cstdint>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace store {

class FoldedHash {
 public:
  static unsigned short fold(unsigned short unit) {
    return static_cast<unsigned short>(unit >= 'A' && unit <= 'Z' ? unit + ('a' - 'A') : unit);
  }

  FoldedHash() = default;
  // Continues from what `seed` (a value()) hashed: a name within a section
  // is hashed from its section's value.
  explicit FoldedHash(std::uint64_t seed) : state_(seed) {}

  // Adds one unit of the name; a null unit ends a name and is not added.
  void add(unsigned short unit) {
    word_ = word_ << 16 | fold(unit);
    if (++count_ % 4 == 0) {
      state_ = (state_ ^ word_) * kMultiplier;
      word_ = 0;
    }
  }
  // True when the next unit starts a word of four.
  bool aligned() const { return count_ % 4 == 0; }
  // Adds four folded units, none of them null, gathered as add() gathers
  // them; requires aligned().
  void addFour(std::uint64_t units) {
    state_ = (state_ ^ units) * kMultiplier;
    count_ += 4;
  }
  // Adds the units of `name` in front of its first null unit.
  void add(const wstring& name) {
    for (const unsigned short* unit = name.c_str(); *unit != 0; ++unit) add(*unit);
  }

  // The hash of the units added so far.
  std::uint64_t value() const {
    std::uint64_t hash = (state_ ^ word_ ^ count_ << 48) * kMultiplier;
    hash ^= hash >> 32;
    hash *= 0xD6E8FEB86659FD93ULL;
    return hash ^ hash >> 32;
  }

  static std::uint64_t of(const wstring& name) {
    FoldedHash hash;
    hash.add(name);
    return hash.value();
  }

 private:
  static constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ULL;

  std::uint64_t state_ = 0xCBF29CE484222325ULL;
  std::uint64_t word_ = 0;
  std::uint64_t count_ = 0;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_FOLDED_HASH_H
