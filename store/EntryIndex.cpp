#include "store/EntryIndex.h"

namespace Lumbrel {
namespace store {
namespace {

constexpr std::uint64_t kPrime = 0x100000001B3ULL;

// FNV-1a over the folded units; a null unit ends the name as it ends a
// comparison.
std::uint64_t addName(std::uint64_t hash, const wstring& name) {
  for (const unsigned short* unit = name.c_str(); *unit != 0; ++unit) {
    const unsigned folded = (*unit >= 'A' && *unit <= 'Z') ? *unit + ('a' - 'A') : *unit;
    hash = (hash ^ folded) * kPrime;
  }
  return hash;
}

// FNV-1a leaves its low bits, which pick the bucket, weaker than its high
// ones: fold them down.
std::size_t finish(std::uint64_t hash) {
  hash ^= hash >> 32;
  hash *= 0x9E3779B97F4A7C15ULL;
  return static_cast<std::size_t>(hash ^ (hash >> 29));
}

constexpr std::uint64_t kOffset = 0xCBF29CE484222325ULL;

}  // namespace

std::size_t nameHash(const wstring& name) { return finish(addName(kOffset, name)); }

std::uint64_t sectionSeed(const wstring& section) {
  // A value no unit has stands between the two names.
  return (addName(kOffset, section) ^ 0x10000) * kPrime;
}

std::size_t nameHash(std::uint64_t seed, const wstring& name) {
  return finish(addName(seed, name));
}

std::size_t nameHash(const wstring& section, const wstring& name) {
  return nameHash(sectionSeed(section), name);
}

std::size_t bucketCount(std::size_t count) {
  if (count == 0) return 0;
  std::size_t buckets = 1;
  while (buckets <= count / 2) buckets *= 2;
  return buckets;
}

}  // namespace store
}  // namespace Lumbrel
