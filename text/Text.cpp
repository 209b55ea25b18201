#include "lumbrel/Text.h"

#include <cstdint>
#include <cstring>

#include "platform/Compiler.h"
#include "platform/Cpu.h"

#if LUMBREL_HAVE_SSE2
#include <emmintrin.h>
#endif
#if LUMBREL_CAN_TARGET_SSSE3
#include <immintrin.h>
#endif

// Both codecs work on blocks where the target has SSE2: runs of ASCII, of
// two-byte and of three-byte forms each in a loop of their own, and blocks
// that mix them, as prose does, without a branch per form. Mixed blocks are
// closed up by byte shuffles where the processor has SSSE3, and decoded 32
// bytes at a time where it has AVX2, both asked once at run time. Elsewhere,
// and at the ends of the text, the codecs walk one element at a time. The
// blocks only take what the element-wise walk would take in the same way; any
// element they are unsure of is left to that walk.
//
// Each result is allocated once. A first pass finds the measured length and
// whether the text is all ASCII; such text is then copied through the range
// constructor, which allocates and writes in one go (and which compilers
// vectorise). Other text is filled chunk by chunk: resize() writes zeros over
// what it adds, which for bytes is a memset into lines that stay in the cache
// until the real bytes come; for units it is a loop of single stores, so
// decoded units go to a buffer on the stack and are appended with memcpy.

namespace Lumbrel {
namespace {

// Units encoded between two resizes of the result.
constexpr std::size_t kChunk = 16 * 1024;
// Bytes decoded between two appends to the result.
constexpr std::size_t kDecodeChunk = 4 * 1024;

#if LUMBREL_HAVE_SSE2
// The x86-64 baseline, so no test of the processor is needed.

__m128i load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
void store128(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
__m128i splat16(unsigned value) { return _mm_set1_epi16(static_cast<short>(value)); }
__m128i splat32(std::uint32_t value) { return _mm_set1_epi32(static_cast<int>(value)); }
unsigned mask(__m128i v) { return static_cast<unsigned>(_mm_movemask_epi8(v)); }

#endif

// `limit` must be the size of the array: the blocks read up to it, past the
// null unit.
std::size_t unitsBeforeNull(const unsigned short* text, std::size_t limit) {
  std::size_t n = 0;
#if LUMBREL_HAVE_SSE2
  const __m128i zero = _mm_setzero_si128();
  while (limit - n >= 32) {
    const __m128i nulls = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi16(load128(text + n), zero),
                     _mm_cmpeq_epi16(load128(text + n + 8), zero)),
        _mm_or_si128(_mm_cmpeq_epi16(load128(text + n + 16), zero),
                     _mm_cmpeq_epi16(load128(text + n + 24), zero)));
    if (mask(nulls) != 0) break;
    n += 32;
  }
  while (limit - n >= 8) {
    const unsigned nulls = mask(_mm_cmpeq_epi16(load128(text + n), zero));
    if (nulls != 0) return n + platform::countTrailingZeros(nulls) / 2;
    n += 8;
  }
#endif
  while (n < limit && text[n] != 0) ++n;
  return n;
}

unsigned short lowerAscii(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') ? static_cast<unsigned short>(unit + ('a' - 'A')) : unit;
}

template <typename Unit>
long compareFolded(const Unit* a, const Unit* b) {
  for (;; ++a, ++b) {
    const long x = lowerAscii(static_cast<unsigned short>(*a));
    const long y = lowerAscii(static_cast<unsigned short>(*b));
    if (x != y || x == 0) return x - y;
  }
}

#if LUMBREL_HAVE_SSE2
// Two movemask bits for each unit below `limit`, a power of two.
unsigned belowLanes(__m128i units, unsigned limit) {
  return mask(_mm_cmpeq_epi16(_mm_and_si128(units, splat16(~(limit - 1) & 0xFFFF)),
                              _mm_setzero_si128()));
}
unsigned asciiLanes(__m128i units) { return belowLanes(units, 0x80); }

// Eight units below 0x800 to their two-byte forms, lead byte 0xC0 | u >> 6
// first, then 0x80 | (u & 0x3F).
__m128i twoByteForms(__m128i units) {
  return _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 6),
                                   _mm_slli_epi16(_mm_and_si128(units, splat16(0x3F)), 8)),
                      splat16(0x80C0));
}

// Eight units to their three-byte forms: 24 bytes, and 4 more that the next
// store overwrites. Each form is built in a 32-bit lane and the lanes are then
// closed up, 12 bytes to four units.
void storeThreeByteForms(char* out, __m128i units) {
  const __m128i lo32 = _mm_set_epi32(0, -1, 0, -1);
  const __m128i lo64 = _mm_set_epi32(0, 0, -1, -1);
  const __m128i halves[2] = {_mm_unpacklo_epi16(units, _mm_setzero_si128()),
                             _mm_unpackhi_epi16(units, _mm_setzero_si128())};
  for (std::size_t h = 0; h < 2; ++h) {
    const __m128i u = halves[h];
    __m128i forms = _mm_or_si128(
        _mm_or_si128(_mm_srli_epi32(u, 12),
                     _mm_slli_epi32(_mm_and_si128(_mm_srli_epi32(u, 6), splat32(0x3F)), 8)),
        _mm_slli_epi32(_mm_and_si128(u, splat32(0x3F)), 16));
    forms = _mm_or_si128(forms, splat32(0x008080E0));
    forms = _mm_or_si128(_mm_and_si128(forms, lo32),
                         _mm_srli_epi64(_mm_andnot_si128(lo32, forms), 8));
    forms = _mm_or_si128(_mm_and_si128(forms, lo64),
                         _mm_srli_si128(_mm_andnot_si128(lo64, forms), 2));
    store128(out + 12 * h, forms);
  }
}

// Four units (one per 32-bit lane) to their forms, each in its lane with the
// lead byte lowest; `one` and `small` become all ones in the lanes whose form
// has one byte, or at most two.
__m128i mixedForms(__m128i u, __m128i& one, __m128i& small) {
  const __m128i low6 = _mm_and_si128(u, splat32(0x3F));
  const __m128i two =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi32(u, 6), _mm_slli_epi32(low6, 8)), splat32(0x80C0));
  const __m128i three = _mm_or_si128(
      _mm_or_si128(_mm_srli_epi32(u, 12),
                   _mm_slli_epi32(_mm_and_si128(_mm_srli_epi32(u, 6), splat32(0x3F)), 8)),
      _mm_or_si128(_mm_slli_epi32(low6, 16), splat32(0x008080E0)));
  one = _mm_cmplt_epi32(u, splat32(0x80));
  small = _mm_cmplt_epi32(u, splat32(0x800));
  return _mm_or_si128(
      _mm_and_si128(one, u),
      _mm_andnot_si128(one, _mm_or_si128(_mm_and_si128(small, two), _mm_andnot_si128(small, three))));
}

// Eight units of any kinds to their forms, written one after the other from
// `out`; gives the bytes written. The lanes are stored four bytes at a time,
// each store moving on by its form's length: no branch depends on the text,
// so runs of one letter or two between spaces cost no mispredictions. Writes
// up to 28 bytes.
std::size_t storeMixedForms(char* out, __m128i units) {
  alignas(16) std::uint32_t forms[8];
  alignas(16) std::uint32_t lengths[8];
  const __m128i halves[2] = {_mm_unpacklo_epi16(units, _mm_setzero_si128()),
                             _mm_unpackhi_epi16(units, _mm_setzero_si128())};
  for (std::size_t h = 0; h < 2; ++h) {
    __m128i one;
    __m128i small;
    store128(forms + 4 * h, mixedForms(halves[h], one, small));
    store128(lengths + 4 * h, _mm_add_epi32(splat32(3), _mm_add_epi32(one, small)));
  }
  std::size_t pos = 0;
  for (std::size_t k = 0; k < 8; ++k) {
    std::memcpy(out + pos, &forms[k], 4);
    pos += lengths[k];
  }
  return pos;
}

#if LUMBREL_CAN_TARGET_SSSE3
// Byte shuffles that close up lanes, one per set of lanes to keep, with the
// count of bytes they bring to the front. Built at compile time.
struct Compaction {
  unsigned char shuffle[256][16];
  unsigned char count[256];
};

// Eight 16-bit lanes; bit k of the index keeps lane k.
constexpr Compaction unitCompaction() {
  Compaction table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned n = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if (((index >> lane) & 1u) == 0) continue;
      table.shuffle[index][n++] = static_cast<unsigned char>(2 * lane);
      table.shuffle[index][n++] = static_cast<unsigned char>(2 * lane + 1);
    }
    table.count[index] = static_cast<unsigned char>(n / 2);
    while (n < 16) table.shuffle[index][n++] = 0x80;
  }
  return table;
}

// Four 32-bit lanes of forms; bit k of the index says that the form in lane
// k has more than one byte, bit k + 4 that it has three.
constexpr Compaction formCompaction() {
  Compaction table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned n = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
      const unsigned length = 1 + ((index >> lane) & 1u) + ((index >> (lane + 4)) & 1u);
      for (unsigned b = 0; b < length; ++b)
        table.shuffle[index][n++] = static_cast<unsigned char>(4 * lane + b);
    }
    table.count[index] = static_cast<unsigned char>(n);
    while (n < 16) table.shuffle[index][n++] = 0x80;
  }
  return table;
}

// Eight 16-bit lanes of forms of one or two bytes; bit k of the index says
// that the form in lane k has two.
constexpr Compaction smallFormCompaction() {
  Compaction table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned n = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      table.shuffle[index][n++] = static_cast<unsigned char>(2 * lane);
      if (((index >> lane) & 1u) != 0) table.shuffle[index][n++] = static_cast<unsigned char>(2 * lane + 1);
    }
    table.count[index] = static_cast<unsigned char>(n);
    while (n < 16) table.shuffle[index][n++] = 0x80;
  }
  return table;
}

alignas(16) constexpr Compaction kUnitCompaction = unitCompaction();
alignas(16) constexpr Compaction kFormCompaction = formCompaction();
alignas(16) constexpr Compaction kSmallFormCompaction = smallFormCompaction();

// Eight units below 0x800, ASCII and two-byte mixed, to their forms from
// `out`; gives the bytes written. Writes 16 bytes.
LUMBREL_TARGET_SSSE3 std::size_t storeSmallFormsSsse3(char* out, __m128i units) {
  const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(units, splat16(0xFF80)), _mm_setzero_si128());
  const __m128i forms = _mm_or_si128(_mm_and_si128(ascii, units), _mm_andnot_si128(ascii, twoByteForms(units)));
  const unsigned index = ~mask(_mm_packs_epi16(ascii, ascii)) & 0xFFu;
  store128(out, _mm_shuffle_epi8(forms, load128(kSmallFormCompaction.shuffle[index])));
  return kSmallFormCompaction.count[index];
}

// storeMixedForms with one shuffle per four forms.
LUMBREL_TARGET_SSSE3 std::size_t storeMixedFormsSsse3(char* out, __m128i units) {
  const __m128i halves[2] = {_mm_unpacklo_epi16(units, _mm_setzero_si128()),
                             _mm_unpackhi_epi16(units, _mm_setzero_si128())};
  std::size_t pos = 0;
  for (std::size_t h = 0; h < 2; ++h) {
    __m128i one;
    __m128i small;
    const __m128i forms = mixedForms(halves[h], one, small);
    const unsigned index =
        (~static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(one))) & 0xFu) |
        ((~static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(small))) & 0xFu) << 4);
    store128(out + pos, _mm_shuffle_epi8(forms, load128(kFormCompaction.shuffle[index])));
    pos += kFormCompaction.count[index];
  }
  return pos;
}

#if LUMBREL_CAN_TARGET_AVX2
// A bit for each of the 32 bytes whose bits under `keep` are `value`.
LUMBREL_TARGET_AVX2 inline std::uint32_t bytesWhere(__m256i bytes, unsigned keep, unsigned value) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(
      _mm256_cmpeq_epi8(_mm256_and_si256(bytes, _mm256_set1_epi8(static_cast<char>(keep))),
                        _mm256_set1_epi8(static_cast<char>(value)))));
}

// The 16 bytes at p, one per 16-bit lane.
LUMBREL_TARGET_AVX2 inline __m256i widen(const unsigned char* p) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(p))));
}

// decodeMixedBlock (below) on 32 bytes at once; reads 35 and writes up to 32
// units. Sets `run` to 2 or 3 when the block holds forms of that length
// only, else to 0.
LUMBREL_TARGET_AVX2 std::size_t decodeMixedBlockAvx2(const unsigned char* p, unsigned short* out,
                                                     std::size_t& written, unsigned& run) {
  const __m256i b0 = _mm256_loadu_si256(static_cast<const __m256i*>(static_cast<const void*>(p)));
  const std::uint32_t continuations = bytesWhere(b0, 0xC0, 0x80);
  const std::uint32_t leads2 = bytesWhere(b0, 0xE0, 0xC0);
  const std::uint32_t leads3 = bytesWhere(b0, 0xF0, 0xE0);
  const auto high = static_cast<std::uint32_t>(_mm256_movemask_epi8(b0));
  if ((high & ~(continuations | leads2 | leads3)) != 0) return 0;
  const std::uint64_t expected = (std::uint64_t{leads2} << 1) | (std::uint64_t{leads3} << 1) |
                                 (std::uint64_t{leads3} << 2);
  if (static_cast<std::uint32_t>(expected) != continuations) return 0;
  const std::size_t taken = (expected >> 32) != 0 ? platform::highestBit(leads2 | leads3) : 32;
  run = leads2 == 0x55555555u ? 2 : leads3 == 0x49249249u ? 3 : 0;

  __m256i units[2];
  std::uint32_t nulls = 0;
  for (std::size_t h = 0; h < 2; ++h) {
    const unsigned char* at = p + 16 * h;
    const __m256i x0 = widen(at);
    const __m256i mid = _mm256_and_si256(widen(at + 1), _mm256_set1_epi16(0x3F));
    const __m256i last = _mm256_and_si256(widen(at + 2), _mm256_set1_epi16(0x3F));
    const __m256i two =
        _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(x0, _mm256_set1_epi16(0x1F)), 6), mid);
    const __m256i three = _mm256_or_si256(
        _mm256_or_si256(_mm256_slli_epi16(x0, 12), _mm256_slli_epi16(mid, 6)), last);
    const __m256i is2 = _mm256_cmpeq_epi16(_mm256_and_si256(x0, _mm256_set1_epi16(0xE0)),
                                           _mm256_set1_epi16(0xC0));
    const __m256i is3 = _mm256_cmpeq_epi16(_mm256_and_si256(x0, _mm256_set1_epi16(0xF0)),
                                           _mm256_set1_epi16(0xE0));
    const __m256i u = _mm256_or_si256(
        _mm256_andnot_si256(_mm256_or_si256(is2, is3), x0),
        _mm256_or_si256(_mm256_and_si256(is2, two), _mm256_and_si256(is3, three)));
    nulls |= static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi16(u, _mm256_setzero_si256())));
    units[h] = u;
  }
  if (nulls != 0) return 0;
  const std::uint32_t keep =
      ~continuations & (taken == 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << taken) - 1);
  std::size_t pos = 0;
  for (std::size_t q = 0; q < 4; ++q) {
    const __m256i u = units[q / 2];
    const __m128i eight = q % 2 == 0 ? _mm256_castsi256_si128(u) : _mm256_extracti128_si256(u, 1);
    const unsigned index = (keep >> (8 * q)) & 0xFFu;
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(out + pos)),
                     _mm_shuffle_epi8(eight, _mm_load_si128(static_cast<const __m128i*>(
                                                 static_cast<const void*>(kUnitCompaction.shuffle[index])))));
    pos += kUnitCompaction.count[index];
  }
  written = pos;
  return taken;
}

#endif

// The kept units among sixteen, bit k of `keep` for unit k, to `out`; gives
// how many. Writes 16 units.
LUMBREL_TARGET_SSSE3 std::size_t compactUnitsSsse3(__m128i low, __m128i high, unsigned keep,
                                                   unsigned short* out) {
  const unsigned first = keep & 0xFFu;
  const unsigned second = (keep >> 8) & 0xFFu;
  store128(out, _mm_shuffle_epi8(low, load128(kUnitCompaction.shuffle[first])));
  const std::size_t n = kUnitCompaction.count[first];
  store128(out + n, _mm_shuffle_epi8(high, load128(kUnitCompaction.shuffle[second])));
  return n + kUnitCompaction.count[second];
}
#endif
#endif

// The units in front of the first null unit among the first `limit`; `ascii`
// is set to how many of them at the front are below 0x80.
std::size_t measureUnits(const unsigned short* in, std::size_t limit, std::size_t& ascii) {
  std::size_t i = 0;
#if LUMBREL_HAVE_SSE2
  const __m128i zero = _mm_setzero_si128();
  while (limit - i >= 32) {
    const __m128i a = load128(in + i);
    const __m128i b = load128(in + i + 8);
    const __m128i c = load128(in + i + 16);
    const __m128i d = load128(in + i + 24);
    const __m128i nulls = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi16(a, zero), _mm_cmpeq_epi16(b, zero)),
        _mm_or_si128(_mm_cmpeq_epi16(c, zero), _mm_cmpeq_epi16(d, zero)));
    if (mask(nulls) != 0 || asciiLanes(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) != 0xFFFF)
      break;
    i += 32;
  }
#endif
  while (i < limit && in[i] != 0 && in[i] < 0x80) ++i;
  ascii = i;
  return i + unitsBeforeNull(in + i, limit - i);
}

// The bytes that `count` units, none of them null, encode to.
std::size_t encodedBytes(const unsigned short* in, std::size_t count) {
  std::size_t i = 0;
  std::size_t extra = 0;
#if LUMBREL_HAVE_SSE2
  // Every lane counts, negatively, the units below 0x80 and those below
  // 0x800: eight per round of 32 units, so 4,000 rounds stay inside a 16-bit
  // lane.
  const __m128i zero = _mm_setzero_si128();
  while (count - i >= 32) {
    __m128i below = zero;
    std::size_t rounds = 0;
    for (; rounds < 4000 && count - i >= 32; ++rounds, i += 32) {
      for (std::size_t k = 0; k < 32; k += 8) {
        const __m128i v = load128(in + i + k);
        below = _mm_add_epi16(below, _mm_cmpeq_epi16(_mm_and_si128(v, splat16(0xFF80)), zero));
        below = _mm_add_epi16(below, _mm_cmpeq_epi16(_mm_and_si128(v, splat16(0xF800)), zero));
      }
    }
    // Pairs of lanes summed into four 32-bit counts, each at most 64,000.
    std::int32_t sums[4];
    store128(sums, _mm_madd_epi16(below, splat16(0xFFFF)));
    extra += 2 * 32 * rounds - static_cast<std::size_t>(sums[0] + sums[1] + sums[2] + sums[3]);
  }
#endif
  for (; i < count; ++i) extra += in[i] < 0x80 ? 0 : in[i] < 0x800 ? 1 : 2;
  return count + extra;
}

// Encodes the units in front of the first null unit, with one allocation.
string encode(const unsigned short* in, std::size_t limit) {
  std::size_t ascii = 0;
  const std::size_t n = measureUnits(in, limit, ascii);
  if (ascii == n) return string(in, in + n);
  // An exact count costs less than a second allocation and copy.
  const std::size_t total = ascii + encodedBytes(in + ascii, n - ascii);
  [[maybe_unused]] const bool shuffles = platform::hasSsse3();
  string result;
  result.reserve(total);
  std::size_t pos = 0;
  std::size_t i = 0;
  while (i < n) {
    const std::size_t end = n - i > kChunk ? i + kChunk : n;
    // Room for the worst case of the chunk and some bytes that the blocks
    // write ahead, never beyond the total.
    const std::size_t room = total - pos > 3 * (end - i) + 32 ? pos + 3 * (end - i) + 32 : total;
    result.resize(room);
    char* out = result.data();
    while (i < end) {
      // The units to walk one at a time before blocks are tried again.
      std::size_t walkEnd = i + 1;
#if LUMBREL_HAVE_SSE2
      // Blocks of one kind are taken in a loop of their own, so that the
      // next load waits for no mask; a block of mixed kinds, as prose makes,
      // is taken without a branch on its units.
      if (end - i >= 8 && room - pos >= 32) {
        __m128i v = load128(in + i);
        const unsigned asciiBits = asciiLanes(v);
        const unsigned smallBits = belowLanes(v, 0x800);
        if (asciiBits == 0xFFFF) {
          _mm_storel_epi64(static_cast<__m128i*>(static_cast<void*>(out + pos)),
                           _mm_packus_epi16(v, v));
          pos += 8;
          i += 8;
          while (end - i >= 16 && room - pos >= 32) {
            const __m128i a = load128(in + i);
            const __m128i b = load128(in + i + 8);
            if (asciiLanes(_mm_or_si128(a, b)) != 0xFFFF) break;
            store128(out + pos, _mm_packus_epi16(a, b));
            pos += 16;
            i += 16;
          }
          continue;
        }
        if (smallBits == 0xFFFF && asciiBits == 0) {
          do {
            store128(out + pos, twoByteForms(v));
            pos += 16;
            i += 8;
            if (end - i < 8 || room - pos < 32) break;
            v = load128(in + i);
          } while (belowLanes(v, 0x800) == 0xFFFF && asciiLanes(v) == 0);
          continue;
        }
        if (smallBits == 0) {
          do {
            storeThreeByteForms(out + pos, v);
            pos += 24;
            i += 8;
            if (end - i < 8 || room - pos < 32) break;
            v = load128(in + i);
          } while (belowLanes(v, 0x800) == 0);
          continue;
        }
#if LUMBREL_CAN_TARGET_SSSE3
        if (shuffles) {
          pos += smallBits == 0xFFFF ? storeSmallFormsSsse3(out + pos, v)
                                     : storeMixedFormsSsse3(out + pos, v);
        } else {
          pos += storeMixedForms(out + pos, v);
        }
#else
        pos += storeMixedForms(out + pos, v);
#endif
        i += 8;
        continue;
      }
#endif
      if (walkEnd > end) walkEnd = end;
      while (i < walkEnd) {
        // Four ASCII units at a time.
        if (end - i >= 4) {
          std::uint64_t block;
          std::memcpy(&block, in + i, sizeof block);
          if ((block & 0xFF80FF80FF80FF80ULL) == 0) {
            for (std::size_t k = 0; k < 4; ++k) out[pos + k] = static_cast<char>(in[i + k]);
            pos += 4;
            i += 4;
            continue;
          }
        }
        const unsigned u = in[i];
        if (u < 0x80) {
          out[pos++] = static_cast<char>(u);
        } else if (u < 0x800) {
          out[pos++] = static_cast<char>(0xC0 | (u >> 6));
          out[pos++] = static_cast<char>(0x80 | (u & 0x3F));
        } else {
          out[pos++] = static_cast<char>(0xE0 | (u >> 12));
          out[pos++] = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
          out[pos++] = static_cast<char>(0x80 | (u & 0x3F));
        }
        ++i;
      }
    }
  }
  result.resize(pos);
  return result;
}

unsigned short lastThree(const unsigned char* p) {
  return static_cast<unsigned short>(((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu));
}

#if LUMBREL_HAVE_SSE2
__m128i load32(const unsigned char* p) {
  std::uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return _mm_cvtsi32_si128(static_cast<int>(word));
}

// Four three-byte forms starting at p, p + 3, p + 6 and p + 9, one per 32-bit
// lane, the lead byte lowest.
__m128i threeByteForms(const unsigned char* p) {
  return _mm_unpacklo_epi64(_mm_unpacklo_epi32(load32(p), load32(p + 3)),
                            _mm_unpacklo_epi32(load32(p + 6), load32(p + 9)));
}

// The unit of each lane, sign-extended from 16 bits so that a signed pack
// keeps it.
__m128i threeByteUnits(__m128i forms) {
  const __m128i units = _mm_or_si128(
      _mm_or_si128(_mm_slli_epi32(_mm_and_si128(forms, splat32(0x0F)), 12),
                   _mm_and_si128(_mm_srli_epi32(forms, 2), splat32(0x0FC0))),
      _mm_and_si128(_mm_srli_epi32(forms, 16), splat32(0x3F)));
  return _mm_srai_epi32(_mm_slli_epi32(units, 16), 16);
}

// All ones in the lanes whose lowest byte leads a three-byte form.
__m128i threeByteLeads(__m128i forms) {
  return _mm_cmpeq_epi32(_mm_and_si128(forms, splat32(0xF0)), splat32(0xE0));
}
// Eight two-byte forms, one per 16-bit lane (lead byte low, the byte behind
// it high), to their units.
__m128i twoByteUnits(__m128i forms) {
  return _mm_or_si128(_mm_slli_epi16(_mm_and_si128(forms, splat16(0x1F)), 6),
                      _mm_and_si128(_mm_srli_epi16(forms, 8), splat16(0x3F)));
}

// Two movemask bits for each lane that holds a two-byte form with a unit
// other than null.
unsigned twoByteLanes(__m128i forms, __m128i units) {
  const __m128i leads = _mm_cmpeq_epi16(_mm_and_si128(forms, splat16(0x00E0)), splat16(0x00C0));
  return mask(_mm_andnot_si128(_mm_cmpeq_epi16(units, _mm_setzero_si128()), leads));
}

// Eight three-byte forms in the 24 bytes at p to `units`; the result has two
// movemask bits for each form that is one, with a unit other than null.
unsigned threeByteBlock(const unsigned char* p, __m128i& units) {
  const __m128i first = threeByteForms(p);
  const __m128i second = threeByteForms(p + 12);
  units = _mm_packs_epi32(threeByteUnits(first), threeByteUnits(second));
  const __m128i leads = _mm_packs_epi32(threeByteLeads(first), threeByteLeads(second));
  return mask(_mm_andnot_si128(_mm_cmpeq_epi16(units, _mm_setzero_si128()), leads));
}

// Decodes a block of 16 bytes at p that mixes ASCII, two- and three-byte
// forms, as prose does, writing up to 16 units from `out`; gives the bytes
// taken and sets `written`. Gives 0 for a block that the walk must take:
// a byte that is not ASCII, a lead of two or three bytes or the continuation
// one of them expects (so every form holds exactly what the walk would take),
// or a form that yields a null unit. A form that runs past the block is left
// for the next one. Sets `twoByteRun` when the block holds two-byte forms
// only. Reads 18 bytes.
std::size_t decodeMixedBlock(const unsigned char* p, unsigned short* out, std::size_t& written,
                             bool& twoByteRun, bool shuffles) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i b0 = load128(p);
  const auto bytesWhere = [&](unsigned keep, unsigned value) {
    return mask(_mm_cmpeq_epi8(_mm_and_si128(b0, _mm_set1_epi8(static_cast<char>(keep))),
                               _mm_set1_epi8(static_cast<char>(value))));
  };
  const unsigned continuations = bytesWhere(0xC0, 0x80);
  const unsigned leads2 = bytesWhere(0xE0, 0xC0);
  const unsigned leads3 = bytesWhere(0xF0, 0xE0);
  if ((mask(b0) & ~(continuations | leads2 | leads3)) != 0) return 0;
  const unsigned expected = (leads2 << 1) | (leads3 << 1) | (leads3 << 2);
  if ((expected & 0xFFFF) != continuations) return 0;
  const std::size_t taken = (expected >> 16) != 0 ? platform::highestBit(leads2 | leads3) : 16;
  twoByteRun = leads2 == 0x5555;

  const __m128i b1 = load128(p + 1);
  const __m128i b2 = load128(p + 2);
  __m128i units[2];
  unsigned nulls = 0;
  for (std::size_t h = 0; h < 2; ++h) {
    const __m128i x0 = h == 0 ? _mm_unpacklo_epi8(b0, zero) : _mm_unpackhi_epi8(b0, zero);
    const __m128i x1 = h == 0 ? _mm_unpacklo_epi8(b1, zero) : _mm_unpackhi_epi8(b1, zero);
    const __m128i x2 = h == 0 ? _mm_unpacklo_epi8(b2, zero) : _mm_unpackhi_epi8(b2, zero);
    const __m128i mid = _mm_and_si128(x1, splat16(0x3F));
    const __m128i two = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(x0, splat16(0x1F)), 6), mid);
    const __m128i three = _mm_or_si128(_mm_or_si128(_mm_slli_epi16(x0, 12), _mm_slli_epi16(mid, 6)),
                                       _mm_and_si128(x2, splat16(0x3F)));
    const __m128i is2 = _mm_cmpeq_epi16(_mm_and_si128(x0, splat16(0xE0)), splat16(0xC0));
    const __m128i is3 = _mm_cmpeq_epi16(_mm_and_si128(x0, splat16(0xF0)), splat16(0xE0));
    const __m128i u = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(is2, is3), x0),
                                   _mm_or_si128(_mm_and_si128(is2, two), _mm_and_si128(is3, three)));
    nulls |= mask(_mm_cmpeq_epi16(u, zero));
    units[h] = u;
  }
  // Only a lead can give a null unit: the text holds no null byte.
  if (nulls != 0) return 0;
  const unsigned keep = ~continuations & ((1u << taken) - 1);
#if LUMBREL_CAN_TARGET_SSSE3
  if (shuffles) {
    written = compactUnitsSsse3(units[0], units[1], keep, out);
    return taken;
  }
#endif
  static_cast<void>(shuffles);
  // Every unit is stored and the position moves on only past those that
  // stay: no branch per form.
  alignas(16) unsigned short all[16];
  store128(all, units[0]);
  store128(all + 8, units[1]);
  std::size_t pos = 0;
  for (std::size_t k = 0; k < 16; ++k) {
    out[pos] = all[k];
    pos += (keep >> k) & 1u;
  }
  written = pos;
  return taken;
}
#endif

#if LUMBREL_HAVE_SSE2
// Decodes blocks of 16 bytes of two-byte forms alone from in + i while there
// are, stopping 32 bytes before `end`.
void takeTwoByteRun(const unsigned char* in, std::size_t& i, std::size_t end, unsigned short* out,
                    std::size_t& pos) {
  while (end - i >= 32) {
    const __m128i v = load128(in + i);
    const __m128i units = twoByteUnits(v);
    if (twoByteLanes(v, units) != 0xFFFF) break;
    store128(out + pos, units);
    pos += 8;
    i += 16;
  }
}
#endif

// The bytes in front of the first null byte among the first `limit`; `ascii`
// is set to how many of them at the front are below 0x80.
std::size_t measureBytes(const unsigned char* in, std::size_t limit, std::size_t& ascii) {
  std::size_t i = 0;
#if LUMBREL_HAVE_SSE2
  const __m128i zero = _mm_setzero_si128();
  while (limit - i >= 64) {
    const __m128i a = load128(in + i);
    const __m128i b = load128(in + i + 16);
    const __m128i c = load128(in + i + 32);
    const __m128i d = load128(in + i + 48);
    const __m128i nulls =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(a, zero), _mm_cmpeq_epi8(b, zero)),
                     _mm_or_si128(_mm_cmpeq_epi8(c, zero), _mm_cmpeq_epi8(d, zero)));
    if ((mask(nulls) | mask(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)))) != 0) break;
    i += 64;
  }
#endif
  while (i < limit && in[i] != 0 && in[i] < 0x80) ++i;
  ascii = i;
  const void* null = std::memchr(in + i, 0, limit - i);
  return null != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char*>(null) - in)
                         : limit;
}

// Decodes the n bytes in front of the first null byte, of which the first
// `ascii` are ASCII. Every form yields at most one unit per byte it consumes,
// so n units are always enough and the result is allocated once.
wstring decode(const unsigned char* in, std::size_t n, std::size_t ascii) {
  if (ascii == n) return wstring(in, in + n);
  [[maybe_unused]] const bool shuffles = platform::hasSsse3();
  [[maybe_unused]] const bool wide = platform::hasAvx2();
  wstring result;
  result.reserve(n);
  // One unit for each byte of the chunk: enough for the blocks too, which
  // write no further ahead than the bytes they read.
  unsigned short out[kDecodeChunk];
  std::size_t i = 0;
  while (i < n) {
    const std::size_t end = n - i > kDecodeChunk ? i + kDecodeChunk : n;
    std::size_t pos = 0;
    while (i < end) {
      // The bytes to walk one form at a time before blocks are tried again.
      std::size_t walkEnd = i + 1;
#if LUMBREL_HAVE_SSE2
      // ASCII runs in a loop of their own; any other block is taken as mixed,
      // without a branch per form; what the blocks cannot take is walked.
      if (end - i >= 32) {
        __m128i v = load128(in + i);
        if (mask(v) == 0) {
          do {
            store128(out + pos, _mm_unpacklo_epi8(v, _mm_setzero_si128()));
            store128(out + pos + 8, _mm_unpackhi_epi8(v, _mm_setzero_si128()));
            pos += 16;
            i += 16;
            if (end - i < 32) break;
            v = load128(in + i);
          } while (mask(v) == 0);
          continue;
        }
#if LUMBREL_CAN_TARGET_AVX2
        if (wide && end - i >= 48) {
          std::size_t written = 0;
          unsigned run = 0;
          const std::size_t taken = decodeMixedBlockAvx2(in + i, out + pos, written, run);
          if (taken != 0) {
            i += taken;
            pos += written;
            if (run == 2) {
              takeTwoByteRun(in, i, end, out, pos);
            } else if (run == 3) {
              __m128i units;
              while (end - i >= 32 && threeByteBlock(in + i, units) == 0xFFFF) {
                store128(out + pos, units);
                pos += 8;
                i += 24;
              }
            }
            continue;
          }
        }
#endif
        // Three-byte forms, as Chinese and Japanese text is mostly made of,
        // are taken eight at a time, or as many as lead the block: a block
        // that holds ASCII further on still moves the walk on.
        if ((in[i] & 0xF0) == 0xE0) {
          __m128i units;
          const unsigned good = threeByteBlock(in + i, units);
          const std::size_t forms = good == 0xFFFF ? 8 : platform::countTrailingZeros(~good) / 2;
          if (forms >= 2) {
            store128(out + pos, units);
            pos += forms;
            i += 3 * forms;
            continue;
          }
        }
        std::size_t written = 0;
        bool twoByteRun = false;
        const std::size_t taken = decodeMixedBlock(in + i, out + pos, written, twoByteRun, shuffles);
        if (taken != 0) {
          i += taken;
          pos += written;
          // A block of two-byte forms alone may start a run of them, which
          // its own loop takes faster.
          if (twoByteRun) takeTwoByteRun(in, i, end, out, pos);
          continue;
        }
        walkEnd = i + 16;
      }
#endif
      if (walkEnd > end) walkEnd = end;
      while (i < walkEnd) {
        // Eight ASCII bytes at a time.
        if (end - i >= 8) {
          std::uint64_t block;
          std::memcpy(&block, in + i, sizeof block);
          if ((block & 0x8080808080808080ULL) == 0) {
            for (std::size_t k = 0; k < 8; ++k) out[pos + k] = in[i + k];
            pos += 8;
            i += 8;
            continue;
          }
        }
        const unsigned b = in[i];
        const std::size_t behind = n - i - 1;
        unsigned short unit;
        std::size_t used;
        if (b < 0x80) {
          unit = static_cast<unsigned short>(b);
          used = 1;
        } else if (behind >= 1 && (b & 0xE0) == 0xC0) {
          unit = static_cast<unsigned short>(((b & 0x1Fu) << 6) | (in[i + 1] & 0x3Fu));
          used = 2;
        } else if (behind >= 2 && (b & 0xF0) == 0xE0) {
          unit = lastThree(in + i);
          used = 3;
        } else if (behind >= 3 && (b & 0xF8) == 0xF0) {
          unit = lastThree(in + i + 1);
          used = 4;
        } else if (behind >= 4 && (b & 0xFC) == 0xF8) {
          unit = lastThree(in + i + 2);
          used = 5;
        } else if (behind >= 5) {
          // No test on the lead byte: this takes lone continuation bytes and
          // 0xFC-0xFF alike.
          unit = lastThree(in + i + 3);
          used = 6;
        } else {
          unit = '?';
          used = 1;
        }
        // An overlong null ends the text; nothing behind it survives.
        if (unit == 0) {
          result.append(out, pos);
          return result;
        }
        out[pos++] = unit;
        i += used;
      }
    }
    result.append(out, pos);
  }
  return result;
}

}  // namespace

string make_string(const char* text) {
  return text == nullptr ? string() : string(text);
}

string make_string(const unsigned short* text) {
  return make_string(make_wstring(text));
}

string make_string(const wstring& text) {
  return encode(text.data(), text.size());
}

wstring make_wstring(const unsigned short* text) {
  return text == nullptr ? wstring() : wstring(text, length(text));
}

wstring make_wstring(const char* text) {
  return make_wstring(make_string(text));
}

wstring make_wstring(const string& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t ascii = 0;
  const std::size_t n = measureBytes(bytes, text.size(), ascii);
  return decode(bytes, n, ascii);
}

unsigned long length(const char* text) {
  return text == nullptr ? 0 : static_cast<unsigned long>(std::strlen(text));
}

unsigned long length(const unsigned short* text) {
  if (text == nullptr) return 0;
  // No blocks here: nothing is known to lie behind the null unit.
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return static_cast<unsigned long>(n);
}

unsigned long length(const string& text) {
  return static_cast<unsigned long>(std::strlen(text.c_str()));
}

unsigned long length(const wstring& text) {
  return static_cast<unsigned long>(unitsBeforeNull(text.data(), text.size()));
}

long compare(const char* a, const char* b) {
  return compareFolded(reinterpret_cast<const unsigned char*>(a),
                       reinterpret_cast<const unsigned char*>(b));
}

long compare(const string& a, const string& b) {
  return compare(a.c_str(), b.c_str());
}

long compare(const unsigned short* a, const unsigned short* b) {
  return compareFolded(a, b);
}

long compare(const wstring& a, const wstring& b) {
  // Blocks of four units that are the same in both and hold no null unit
  // decide nothing, whatever the folding; the sizes bound the blocks.
  const unsigned short* x = a.c_str();
  const unsigned short* y = b.c_str();
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  std::size_t i = 0;
  for (; common - i >= 4; i += 4) {
    std::uint64_t p;
    std::uint64_t q;
    std::memcpy(&p, x + i, sizeof p);
    std::memcpy(&q, y + i, sizeof q);
    if (p != q || ((p - 0x0001000100010001ULL) & ~p & 0x8000800080008000ULL) != 0) break;
  }
  return compareFolded(x + i, y + i);
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const string& text) {
  for (char c : text) out << c;
  return out;
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const wstring& text) {
  for (unsigned short unit : text) out << static_cast<char>(unit & 0xFF);
  return out;
}

}  // namespace Lumbrel
