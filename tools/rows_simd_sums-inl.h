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
  const hn::Rebind<std::uint8_t, decltype(d16)> half;
  const auto load = [&](const std::uint8_t *p)
                        HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(half, p)); };
  V32 even = hn::Zero(d32), odd = hn::Zero(d32);
  VU64 total = hn::Zero(du64);
  const auto add = [&](std::size_t x, std::size_t skipped) HWY_ATTR { // centres x + 1 + skipped ...
    const V16 a0 = load(above + x), a1 = load(above + x + 1), a2 = load(above + x + 2);
    const V16 r0 = load(row + x), r2 = load(row + x + 2);
    const V16 b0 = load(below + x), b1 = load(below + x + 1), b2 = load(below + x + 2);
    const V16 middleX = hn::Sub(r2, r0), middleY = hn::Sub(b1, a1);
    const V16 falling = hn::Sub(b2, a0), rising = hn::Sub(b0, a2); // the diagonals serve both
    V16 gx = hn::Add(hn::Sub(falling, rising), hn::Add(middleX, middleX));
    V16 gy = hn::Add(hn::Add(falling, rising), hn::Add(middleY, middleY));
    if (skipped != 0) {
      gx = hn::IfThenZeroElse(hn::FirstN(d16, skipped), gx);
      gy = hn::IfThenZeroElse(hn::FirstN(d16, skipped), gy);
    }
    addSquares(gx, even, odd);
    addSquares(gy, even, odd);
  };
  forEachVector(
      w - 2, N, SOBEL_STEPS, [&](std::size_t x) HWY_ATTR { add(x, 0); },
      [&]() HWY_ATTR { moveSquares(even, odd, total); },
      [&](std::size_t x, std::size_t rest) HWY_ATTR { add(x, N - rest); });
  moveSquares(even, odd, total);
  return sumOf(total);
}

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
