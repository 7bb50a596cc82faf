// SPDX-License-Identifier: BSD-2-Clause
//
// Vector forms: edges and rows of bits.
// Part of rows_simd.cpp, which includes it once a target.
#if defined(LUMAGAUGE_TOOLS_ROWS_SIMD_EDGES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMAGAUGE_TOOLS_ROWS_SIMD_EDGES_INL_H
#undef LUMAGAUGE_TOOLS_ROWS_SIMD_EDGES_INL_H
#else
#define LUMAGAUGE_TOOLS_ROWS_SIMD_EDGES_INL_H
#endif

#include "tools/rows_simd_common-inl.h"

#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

/// Writes a row of bits: those of columns x ... from mask(x) for columns 0..n-1, zeros on to the
/// end of the last word of w columns. n >= N.
template <class D, class MaskAt>
HWY_INLINE void writeBits(D d, std::size_t n, std::size_t w, std::uint64_t *words, MaskAt mask) {
  const std::size_t N = hn::Lanes(d), bytes = (w + 63) / 64 * 8;
  auto *out = reinterpret_cast<std::uint8_t *>(words);
  std::size_t x = 0;
  for (; x + N <= n; x += N)
    hn::StoreMaskBits(d, mask(x), out + x / 8);
  std::memset(out + x / 8, 0, bytes - x / 8);
  if (x < n) {
    std::uint64_t bits = 0;
    hn::StoreMaskBits(d, mask(n - N), reinterpret_cast<std::uint8_t *>(&bits));
    bits >>= N - (n - x);
    std::memcpy(out + x / 8, &bits, (n - x + 7) / 8);
  }
}

std::size_t edgeColumns(const std::uint8_t *upper, const std::uint8_t *above,
                        const std::uint8_t *row, const std::uint8_t *below, std::size_t w,
                        std::uint8_t least, std::uint64_t *edges) {
  if (w < hn::Lanes(d8) + 1)
    return plainRows().edgeColumns(upper, above, row, below, w, least, edges);
  const auto gradient = [](const std::uint8_t *at) HWY_ATTR {
    return absDifference8(hn::LoadU(d8, at), hn::LoadU(d8, at - 1));
  };
  const V8 threshold = hn::Set(d8, least);
  bool any = false;
  writeBits(d8, w - 1, w, edges, [&](std::size_t x) HWY_ATTR {
    const V8 g = gradient(row + x);
    const M8 strong = atLeast(g, threshold);
    if (hn::AllFalse(d8, strong)) // as most are
      return strong;
    any = true;
    const V8 vertical = absDifference8(hn::LoadU(d8, row + x), hn::LoadU(d8, above + x));
    const M8 alongRow = hn::AndNot(atLeast(gradient(row + x + 1), g),
                                   atLeast(g, hn::Max(gradient(row + x - 1), vertical)));
    const M8 downColumn =
        hn::AndNot(atLeast(gradient(below + x), g), atLeast(g, gradient(upper + x)));
    return hn::And(strong, hn::Or(alongRow, downColumn));
  });
  if (!any)
    return 0;
  // Column 0 has no gradient, which columns 0 and 1 have been judged by.
  std::uint64_t start = 0;
  plainRows().edgeColumns(upper, above, row, below, 3, least, &start);
  edges[0] = (edges[0] & ~std::uint64_t{3}) | start;
  std::size_t count = 0;
  for (std::size_t i = 0; i < (w + 63) / 64; ++i)
    count += hwy::PopCount(edges[i]);
  return count;
}

std::uint64_t edgeWidths(const std::uint8_t *row, std::size_t w, const std::uint64_t *edges) {
  const hn::CappedTag<std::uint8_t, 16> d; // most runs are shorter
  const std::size_t N = hn::Lanes(d);
  if (w < 2 * N)
    return plainRows().edgeWidths(row, w, edges);
  // Bits of the samples from `first` on that step in the direction. To rise is to fall backwards.
  const auto steps = [&](const std::uint8_t *first, bool falls) HWY_ATTR {
    std::uint64_t bits = 0;
    const auto less = hn::Lt(hn::LoadU(d, first - !falls), hn::LoadU(d, first - falls));
    hn::StoreMaskBits(d, less, reinterpret_cast<std::uint8_t *>(&bits));
    return bits;
  };
  std::size_t width = 0;
  for (std::size_t i = 0; i < (w + 63) / 64; ++i)
    for (std::uint64_t bits = edges[i]; bits != 0; bits &= bits - 1) {
      const std::size_t x = 64 * i + hwy::Num0BitsBelowLS1Bit_Nonzero64(bits);
      const bool falls = (row[x] < row[x - 1]) | (row[x + 1] < row[x]); // hardly foreseeable
      const std::size_t toLeft = x - 1, toRight = w - 2 - x;            // at most
      std::size_t left = 0, right = 0, ones = N;
      for (; ones == N && left < toLeft; left += ones) {
        const std::uint64_t others = ~(steps(row + x - left + 1 - N, falls) << (64 - N));
        ones = hwy::Num0BitsAboveMS1Bit_Nonzero64(others);
      }
      for (ones = N; ones == N && right < toRight; right += ones)
        ones = hwy::Num0BitsBelowLS1Bit_Nonzero64(~steps(row + x + 1 + right, falls));
      width += std::min(left, toLeft) + std::min(right, toRight);
    }
  return width;
}

void strongCrosses(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                   std::int32_t least, std::uint64_t *strong) {
  // Sums of two squares saturate at 65535 in their 16 bits, which decides for thresholds up to
  // there.
  if (w < hn::Lanes(d16) || least < 1 || least > 65535)
    return plainRows().strongCrosses(above, row, w, least, strong);
  const hn::Rebind<std::uint8_t, decltype(du16)> half;
  const auto load = [&](const std::uint8_t *p)
                        HWY_ATTR { return hn::PromoteTo(du16, hn::LoadU(half, p)); };
  const auto threshold = hn::Set(du16, static_cast<std::uint16_t>(least));
  writeBits(du16, w, w, strong, [&](std::size_t x) HWY_ATTR {
    const auto dx = hn::Sub(load(above + x - 1), load(row + x));
    const auto dy = hn::Sub(load(above + x), load(row + x - 1));
    return atLeast(hn::SaturatedAdd(hn::Mul(dx, dx), hn::Mul(dy, dy)), threshold);
  });
  strong[0] &= ~std::uint64_t{1};
}

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
