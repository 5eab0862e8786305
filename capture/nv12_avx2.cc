#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "capture/nv12_paths.h"

// The same integers as the reference's, 32 pixels at a time. What takes vectors is inlined
// throughout: 64-bit Windows promises no stack that is aligned for them.
//
// The loop is bound by the processor's vector units, so every instruction counts; comments name
// those that were saved. Two rows go side by side, because the loop's own work is then shared.

namespace talu {
namespace {

constexpr size_t kBytesPerPixel = 4;
constexpr size_t kStep = 32;
constexpr size_t kCacheLine = 64;

// An even row and the one below it, which the picture's last row may lack.
struct RowPair {
  const uint8_t* upper;
  const uint8_t* lower;
  uint8_t* upperLuma;
  uint8_t* lowerLuma;
  uint8_t* chroma;
  size_t columns;
};

struct Pixels {
  __m256i part[4];  // 8 pixels each
};

[[gnu::target("avx2"), gnu::always_inline]] inline Pixels Load(const uint8_t* bgra) {
  const auto* from = reinterpret_cast<const __m256i*>(bgra);
  return {{_mm256_loadu_si256(from), _mm256_loadu_si256(from + 1), _mm256_loadu_si256(from + 2),
           _mm256_loadu_si256(from + 3)}};
}

// Packing works within each half of a register; this puts the 4-byte groups in the picture's order.
[[gnu::target("avx2"), gnu::always_inline]] inline void StoreInOrder(uint8_t* to, __m256i packed) {
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_permutevar8x32_epi32(packed, order));
}

// Luma of 16 pixels as words, less 126. The weight of green does not fit a signed byte, so the
// pixels are made signed instead: that takes 128 times the weights' sum off, which is 110 times
// 256.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i LumaWords(__m256i first,
                                                                     __m256i second) {
  const __m256i weights = _mm256_set1_epi32(0x00428119);  // 25, 129, 66, 0
  const __m256i sign = _mm256_set1_epi8(-128);
  const __m256i sums =
      _mm256_hadd_epi16(_mm256_maddubs_epi16(weights, _mm256_xor_si256(first, sign)),
                        _mm256_maddubs_epi16(weights, _mm256_xor_si256(second, sign)));
  // (128 * sum + 16384) >> 15 is (sum + 128) >> 8 in one instruction.
  return _mm256_mulhrs_epi16(sums, _mm256_set1_epi16(128));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void StoreLuma(const Pixels& pixels,
                                                                  uint8_t* luma) {
  const __m256i low = LumaWords(pixels.part[0], pixels.part[1]);
  const __m256i high = LumaWords(pixels.part[2], pixels.part[3]);
  const __m256i offset = _mm256_set1_epi8(126);
  StoreInOrder(luma, _mm256_add_epi8(_mm256_packs_epi16(low, high), offset));
}

// Cb and Cr of 8 pixels as words side by side, less 128. Each pixel is two words, blue and green,
// red and alpha; one product has them as they are, the other exchanged, so that one addition gives
// both sums in place.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i ChromaWords(__m256i pixels) {
  const __m256i weights = _mm256_set1_epi32(0x0070B670);  // 112, -74 | 112, 0
  const __m256i exchangedWeights =
      _mm256_set1_epi32(static_cast<int32_t>(0xA2EE00DAu));  // -38, 0 | -18, -94
  const __m256i exchange =
      _mm256_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13,  //
                       2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
  const __m256i exchanged = _mm256_shuffle_epi8(pixels, exchange);
  const __m256i sums = _mm256_add_epi16(_mm256_maddubs_epi16(pixels, weights),
                                        _mm256_maddubs_epi16(exchanged, exchangedWeights));
  // (sum + 128) / 256 toward zero: where sum + 128 is negative, one less before the shift, which
  // rounds down, and one more after it. The mask is that minus one.
  const __m256i negative = _mm256_cmpgt_epi16(_mm256_set1_epi16(-128), sums);
  const __m256i shifted =
      _mm256_mulhrs_epi16(_mm256_add_epi16(sums, negative), _mm256_set1_epi16(128));
  return _mm256_sub_epi16(shifted, negative);
}

// The pixels in even columns of 16.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i EvenPixels(__m256i first,
                                                                      __m256i second) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0x88));
}

[[gnu::target("avx2"), gnu::always_inline]] inline void StoreChroma(const Pixels& pixels,
                                                                    uint8_t* chroma) {
  const __m256i low = ChromaWords(EvenPixels(pixels.part[0], pixels.part[1]));
  const __m256i high = ChromaWords(EvenPixels(pixels.part[2], pixels.part[3]));
  const __m256i middle = _mm256_set1_epi8(-128);
  StoreInOrder(chroma, _mm256_xor_si256(_mm256_packs_epi16(low, high), middle));
}

// Asks for what the next pair's step at the same place will read: with frames that no cache holds
// this takes off half the time. Into the second cache, because two rows would drive out of the
// first one what is just being worked on. Addresses beyond the picture are harmless.
[[gnu::target("avx2"), gnu::always_inline]] inline void PrefetchNextPair(const uint8_t* from,
                                                                         size_t rowBytes) {
  const uintptr_t ahead = reinterpret_cast<uintptr_t>(from) + 2 * rowBytes;
  _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T1);
  _mm_prefetch(reinterpret_cast<const char*>(ahead + kCacheLine), _MM_HINT_T1);
}

template <bool kHasLower>
[[gnu::target("avx2"), gnu::always_inline]] inline void ConvertStep(const RowPair& rows, size_t x) {
  const uint8_t* upper = rows.upper + x * kBytesPerPixel;
  const size_t rowBytes = rows.columns * kBytesPerPixel;
  PrefetchNextPair(upper, rowBytes);
  const Pixels pixels = Load(upper);
  StoreLuma(pixels, rows.upperLuma + x);
  StoreChroma(pixels, rows.chroma + x);
  if constexpr (kHasLower) {
    const uint8_t* lower = rows.lower + x * kBytesPerPixel;
    PrefetchNextPair(lower, rowBytes);
    StoreLuma(Load(lower), rows.lowerLuma + x);
  }
}

template <bool kHasLower>
[[gnu::target("avx2"), gnu::always_inline]] inline void ConvertRows(const RowPair& rows) {
  size_t x = 0;
  for (; x + kStep <= rows.columns; x += kStep) {
    ConvertStep<kHasLower>(rows, x);
  }
  if (x == rows.columns) {
    return;
  }
  // The last columns, together with some once more before them; but a step must begin at an even
  // column.
  if (rows.columns >= kStep && rows.columns % 2 == 0) {
    ConvertStep<kHasLower>(rows, rows.columns - kStep);
    return;
  }
  ConvertRowTail(rows.upper, x, rows.columns, rows.upperLuma, rows.chroma);
  if constexpr (kHasLower) {
    ConvertRowTail(rows.lower, x, rows.columns, rows.lowerLuma, nullptr);
  }
}

}  // namespace

[[gnu::target("avx2")]] void ConvertBgraToNv12Avx2(const uint8_t* bgra, int32_t width,
                                                   int32_t height, uint8_t* nv12) {
  if (width < 1 || height < 1) {
    return;
  }
  const size_t columns = static_cast<size_t>(width);
  const size_t rowCount = static_cast<size_t>(height);
  const size_t rowBytes = columns * kBytesPerPixel;
  RowPair rows{bgra, bgra + rowBytes, nv12, nv12 + columns, nv12 + columns * rowCount, columns};
  for (size_t y = 0; y + 1 < rowCount; y += 2) {
    ConvertRows<true>(rows);
    rows.upper += 2 * rowBytes;
    rows.lower += 2 * rowBytes;
    rows.upperLuma += 2 * columns;
    rows.lowerLuma += 2 * columns;
    rows.chroma += columns;
  }
  if (rowCount % 2 != 0) {
    ConvertRows<false>(rows);
  }
}

}  // namespace talu
