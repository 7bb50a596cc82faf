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

std::uint64_t sobelEnergy(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                          std::size_t w) {
  const std::size_t N = hn::Lanes(d16);
  if (w < N + 2)
    return plainRows().sobelEnergy(top, stride, rows, w);
  const hn::Rebind<std::uint8_t, decltype(d16)> half;
  const auto load = [&](const std::uint8_t *p)
                        HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(half, p)); };
  V32 even = hn::Zero(d32), odd = hn::Zero(d32);
  VU64 total = hn::Zero(du64);
  // Goes down a column of vectors, as each row's differences and sums along the row serve three
  // rows. Gx is what two neighbouring pairs of rows have added up, Gy what is two rows apart.
  const auto addColumn = [&](std::size_t x, std::size_t skipped) HWY_ATTR {
    V16 difference = hn::Zero(d16), pair = difference, above = difference, middle = difference;
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t *row = top + y * stride + x;
      const V16 left = load(row), centre = load(row + 1), right = load(row + 2);
      const V16 nextDifference = hn::Sub(right, left);
      const V16 nextPair = hn::Add(difference, nextDifference);
      const V16 below = hn::Add(hn::Add(left, right), hn::Add(centre, centre));
      if (y >= 2) {
        V16 gx = hn::Add(pair, nextPair), gy = hn::Sub(below, above);
        if (skipped != 0) {
          gx = hn::IfThenZeroElse(hn::FirstN(d16, skipped), gx);
          gy = hn::IfThenZeroElse(hn::FirstN(d16, skipped), gy);
        }
        addSquares(gx, even, odd);
        addSquares(gy, even, odd);
      }
      difference = nextDifference;
      pair = nextPair;
      above = middle;
      middle = below;
    }
  };
  const std::size_t columns = std::max<std::size_t>(SOBEL_STEPS / rows, 1);
  forEachVector(
      w - 2, N, columns, [&](std::size_t x) HWY_ATTR { addColumn(x, 0); },
      [&]() HWY_ATTR { moveSquares(even, odd, total); },
      [&](std::size_t x, std::size_t rest) HWY_ATTR { addColumn(x, N - rest); });
  moveSquares(even, odd, total);
  return sumOf(total);
}

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
