// SPDX-License-Identifier: BSD-2-Clause
//
// Vector forms: sums and comparisons of whole rows.
// Part of rows_simd.cpp, which includes it once a target.
#if defined(LUMAGAUGE_TOOLS_ROWS_SIMD_SUMS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMAGAUGE_TOOLS_ROWS_SIMD_SUMS_INL_H
#undef LUMAGAUGE_TOOLS_ROWS_SIMD_SUMS_INL_H
#else
#define LUMAGAUGE_TOOLS_ROWS_SIMD_SUMS_INL_H
#endif

#include "tools/rows_simd_common-inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

Moments moments(const std::uint8_t *row, std::size_t n) {
  if (n < hn::Lanes(d8))
    return plainRows().moments(row, n);
  V32 even = hn::Zero(d32), odd = hn::Zero(d32);
  VU64 squares = hn::Zero(du64), sum = hn::Zero(du64);
  const auto add = [&](V8 v) HWY_ATTR {
    sum = hn::Add(sum, hn::SumsOf8(v));
    addByteSquares(v, even, odd);
  };
  forEachVector(
      n, hn::Lanes(d8), SQUARE_STEPS, [&](std::size_t i) HWY_ATTR { add(hn::LoadU(d8, row + i)); },
      [&]() HWY_ATTR { moveSquares(even, odd, squares); },
      [&](std::size_t i, std::size_t rest)
          HWY_ATTR { add(lastLanes(hn::LoadU(d8, row + i), rest)); });
  moveSquares(even, odd, squares);
  return {sumOf(sum), sumOf(squares)};
}

std::uint64_t absDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  if (n < hn::Lanes(d8))
    return plainRows().absDifference(a, b, n);
  VU64 sum = hn::Zero(du64);
  const auto difference = [&](std::size_t i) HWY_ATTR {
    return absDifference8(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i));
  };
  forEachVector(
      n, hn::Lanes(d8), n,
      [&](std::size_t i) HWY_ATTR { sum = hn::Add(sum, hn::SumsOf8(difference(i))); }, [] {},
      [&](std::size_t i, std::size_t rest)
          HWY_ATTR { sum = hn::Add(sum, hn::SumsOf8(lastLanes(difference(i), rest))); });
  return sumOf(sum);
}

std::uint64_t squaredDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  if (n < hn::Lanes(d8))
    return plainRows().squaredDifference(a, b, n);
  V32 even = hn::Zero(d32), odd = hn::Zero(d32);
  VU64 total = hn::Zero(du64);
  const auto difference = [&](std::size_t i) HWY_ATTR {
    return absDifference8(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i));
  };
  forEachVector(
      n, hn::Lanes(d8), SQUARE_STEPS,
      [&](std::size_t i) HWY_ATTR { addByteSquares(difference(i), even, odd); },
      [&]() HWY_ATTR { moveSquares(even, odd, total); },
      [&](std::size_t i, std::size_t rest)
          HWY_ATTR { addByteSquares(lastLanes(difference(i), rest), even, odd); });
  moveSquares(even, odd, total);
  return sumOf(total);
}

std::size_t countEqual(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  if (n < hn::Lanes(d8))
    return plainRows().countEqual(a, b, n);
  V8 counts = hn::Zero(d8); // of up to 254 steps and the rest
  VU64 total = hn::Zero(du64);
  const auto equal = [&](std::size_t i) HWY_ATTR {
    return hn::VecFromMask(d8, hn::Eq(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i)));
  };
  const auto flush = [&]() HWY_ATTR {
    total = hn::Add(total, hn::SumsOf8(counts));
    counts = hn::Zero(d8);
  };
  forEachVector(
      n, hn::Lanes(d8), 254, [&](std::size_t i) HWY_ATTR { counts = hn::Sub(counts, equal(i)); },
      flush,
      [&](std::size_t i, std::size_t rest)
          HWY_ATTR { counts = hn::Sub(counts, lastLanes(equal(i), rest)); });
  flush();
  return sumOf(total);
}

std::size_t firstDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  const std::size_t N = hn::Lanes(d8);
  std::size_t i = 0;
  for (; i + N <= n; i += N) {
    const M8 differs = hn::Ne(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i));
    if (!hn::AllFalse(d8, differs))
      return i + static_cast<std::size_t>(hn::FindFirstTrue(d8, differs));
  }
  return i + plainRows().firstDifference(a + i, b + i, n - i);
}

std::uint64_t sobelEnergy(const std::uint8_t *above, const std::uint8_t *row,
                          const std::uint8_t *below, std::size_t w) {
  const std::size_t N = hn::Lanes(d16);
  if (w < N + 2)
    return plainRows().sobelEnergy(above, row, below, w);
  // Gx and Gy of a column combine these two of its neighbours, which serve three columns each.
  constexpr std::size_t COLUMNS = 1024, PAD = 64;
  HWY_ALIGN std::int16_t smoothed[PAD + COLUMNS + PAD]; // down the column: above + 2 row + below
  HWY_ALIGN std::int16_t change[PAD + COLUMNS + PAD];   // below - above
  const hn::Rebind<std::uint8_t, decltype(d16)> half;
  const auto combine = [&](std::size_t column, std::int16_t *toSmoothed, std::int16_t *toChange)
                           HWY_ATTR {
                             const V16 a = hn::PromoteTo(d16, hn::LoadU(half, above + column));
                             const V16 r = hn::PromoteTo(d16, hn::LoadU(half, row + column));
                             const V16 b = hn::PromoteTo(d16, hn::LoadU(half, below + column));
                             hn::StoreU(hn::Add(hn::Add(a, b), hn::Add(r, r)), d16, toSmoothed);
                             hn::StoreU(hn::Sub(b, a), d16, toChange);
                           };
  VU64 total = hn::Zero(du64);
  for (std::size_t start = 0; start + 2 < w; start += COLUMNS - 2) {
    const std::size_t columns = std::min(COLUMNS, w - start), centres = columns - 2;
    std::int16_t *const s = smoothed + PAD, *const c = change + PAD;
    std::size_t x = 0;
    for (; x + N <= columns; x += N)
      combine(start + x, s + x, c + x);
    if (x < columns) // again some before them, perhaps from the padding on
      combine(start + columns - N, s + columns - N, c + columns - N);
    V32 even = hn::Zero(d32), odd = hn::Zero(d32);
    for (x = 0; x < centres; x += N) {
      const V16 middle = hn::LoadU(d16, c + x + 1);
      V16 gx = hn::Sub(hn::LoadU(d16, s + x + 2), hn::LoadU(d16, s + x));
      V16 gy = hn::Add(hn::Add(hn::LoadU(d16, c + x), hn::LoadU(d16, c + x + 2)),
                       hn::Add(middle, middle));
      if (centres - x < N) {
        gx = hn::IfThenElseZero(hn::FirstN(d16, centres - x), gx);
        gy = hn::IfThenElseZero(hn::FirstN(d16, centres - x), gy);
      }
      addSquares(gx, even, odd);
      addSquares(gy, even, odd);
    }
    // A lane took at most 4 * 1020^2 of each of at most 128 vectors.
    moveSquares(even, odd, total);
  }
  return sumOf(total);
}

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
