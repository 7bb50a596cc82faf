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

EndCounts countEnds(const std::uint8_t *row, std::size_t n, std::uint8_t low, std::uint8_t high) {
  if (n < hn::Lanes(d8))
    return plainRows().countEnds(row, n, low, high);
  // What exceeds a level by something counts 1: those above `low`, and those below `high`.
  const V8 lowest = hn::Set(d8, low), highest = hn::Set(d8, high), one = hn::Set(d8, 1);
  V8 lows = hn::Zero(d8), highs = lows; // of up to 254 steps and the rest
  VU64 lowTotal = hn::Zero(du64), highTotal = lowTotal;
  const auto notLow = [&](V8 v) HWY_ATTR { return hn::Min(hn::SaturatedSub(v, lowest), one); };
  const auto notHigh = [&](V8 v) HWY_ATTR { return hn::Min(hn::SaturatedSub(highest, v), one); };
  const auto flush = [&]() HWY_ATTR {
    lowTotal = hn::Add(lowTotal, hn::SumsOf8(lows));
    highTotal = hn::Add(highTotal, hn::SumsOf8(highs));
    lows = highs = hn::Zero(d8);
  };
  forEachVector(
      n, hn::Lanes(d8), 254,
      [&](std::size_t i) HWY_ATTR {
        const V8 v = hn::LoadU(d8, row + i);
        lows = hn::Add(lows, notLow(v));
        highs = hn::Add(highs, notHigh(v));
      },
      flush,
      [&](std::size_t i, std::size_t rest) HWY_ATTR {
        const V8 v = hn::LoadU(d8, row + i);
        lows = hn::Add(lows, lastLanes(notLow(v), rest));
        highs = hn::Add(highs, lastLanes(notHigh(v), rest));
      });
  flush();
  return {n - sumOf(lowTotal), n - sumOf(highTotal)};
}

std::size_t markAbove(const std::uint8_t *row, std::size_t n, std::uint8_t level,
                      std::uint8_t *marks) {
  const std::size_t N = hn::Lanes(d8);
  const V8 dark = hn::Set(d8, level), one = hn::Set(d8, 1);
  VU64 total = hn::Zero(du64);
  std::size_t i = 0;
  for (; i + N <= n; i += N) {
    const V8 above = hn::VecFromMask(d8, hn::Gt(hn::LoadU(d8, row + i), dark));
    const V8 marked = hn::Or(hn::LoadU(d8, marks + i), hn::And(above, one));
    hn::StoreU(marked, d8, marks + i);
    total = hn::Add(total, hn::SumsOf8(marked));
  }
  return sumOf(total) + plainRows().markAbove(row + i, n - i, level, marks + i);
}

std::size_t darkStart(const std::uint8_t *row, std::size_t n, std::uint8_t level) {
  const std::size_t N = hn::Lanes(d8);
  const V8 dark = hn::Set(d8, level);
  std::size_t i = 0;
  for (; i + N <= n; i += N) {
    const M8 above = hn::Gt(hn::LoadU(d8, row + i), dark);
    if (!hn::AllFalse(d8, above))
      return i + static_cast<std::size_t>(hn::FindFirstTrue(d8, above));
  }
  return i + plainRows().darkStart(row + i, n - i, level);
}

std::size_t darkEnd(const std::uint8_t *row, std::size_t n, std::uint8_t level) {
  const std::size_t N = hn::Lanes(d8);
  const V8 dark = hn::Set(d8, level);
  std::size_t rest = n; // before the dark vectors
  while (rest >= N && hn::AllFalse(d8, hn::Gt(hn::LoadU(d8, row + rest - N), dark)))
    rest -= N;
  return n - rest + plainRows().darkEnd(row, rest, level);
}

/// Of a vector of samples, those of even and of odd places, as 16-bit numbers.
HWY_INLINE V16 evenSamples(V8 v) {
  return hn::And(hn::BitCast(d16, v), hn::Set(d16, 0xFF));
}
HWY_INLINE V16 oddSamples(V8 v) {
  return hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, v)));
}

/// Zeros instead of the first lanes.
HWY_INLINE V16 withoutFirst(V16 v, std::size_t lanes) {
  return lanes == 0 ? v : hn::IfThenZeroElse(hn::FirstN(d16, lanes), v);
}

/// Sum of what addColumn(x, skipped, even, odd) adds for all vectors of n columns: the squares of
/// the vector of columns from x on, less its first `skipped` ones. n is at least a vector; a
/// lane of `even` or `odd` can hold what `columns` calls add.
template <class AddColumn>
HWY_INLINE std::uint64_t sumOfColumns(std::size_t n, std::size_t columns, AddColumn addColumn) {
  const std::size_t N = hn::Lanes(d8);
  V32 even = hn::Zero(d32), odd = hn::Zero(d32);
  VU64 total = hn::Zero(du64);
  forEachVector(
      n, N, columns, [&](std::size_t x) HWY_ATTR { addColumn(x, 0, even, odd); },
      [&]() HWY_ATTR { moveSquares(even, odd, total); },
      [&](std::size_t x, std::size_t rest) HWY_ATTR { addColumn(x, N - rest, even, odd); });
  moveSquares(even, odd, total);
  return sumOf(total);
}

std::uint64_t crossEnergy(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                          std::size_t w) {
  if (w < hn::Lanes(d8) + 1)
    return plainRows().crossEnergy(top, stride, rows, w);
  const auto addColumn = [&](std::size_t x, std::size_t skipped, V32 &even, V32 &odd) HWY_ATTR {
    V16 above0 = hn::Zero(d16), above1 = above0, above2 = above0;
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t *row = top + y * stride + x;
      const V8 first = hn::LoadU(d8, row);
      const V16 row0 = evenSamples(first), row1 = oddSamples(first);
      const V16 row2 = oddSamples(hn::LoadU(d8, row + 1));
      if (y >= 1) {
        addSquares(withoutFirst(hn::Sub(above0, row1), (skipped + 1) / 2), even, odd);
        addSquares(withoutFirst(hn::Sub(above1, row0), (skipped + 1) / 2), even, odd);
        addSquares(withoutFirst(hn::Sub(above1, row2), skipped / 2), even, odd);
        addSquares(withoutFirst(hn::Sub(above2, row1), skipped / 2), even, odd);
      }
      above0 = row0;
      above1 = row1;
      above2 = row2;
    }
  };
  return sumOfColumns(w - 1, CROSS_STEPS / rows, addColumn);
}

// With u = (Gx + Gy) / 2 and v = (Gx - Gy) / 2, Gx^2 + Gy^2 = 2 (u^2 + v^2). Both take one sum of
// two neighbours from the row above, one from the row below and the difference along the row
// between: u = (below[x] + below[x+1]) - (above[x-1] + above[x]) + (row[x+1] - row[x-1]), and v the
// same with the sums of the other sides, negated. Even and odd x share the sums.
std::uint64_t sobelEnergy(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                          std::size_t w) {
  if (w < hn::Lanes(d8) + 2)
    return plainRows().sobelEnergy(top, stride, rows, w);
  // Goes down a column of vectors, as each row's sums and differences serve two others.
  const auto addColumn = [&](std::size_t x, std::size_t skipped, V32 &even, V32 &odd) HWY_ATTR {
    const V16 zero = hn::Zero(d16);
    V16 sums0 = zero, sums1 = zero, sums2 = zero;
    V16 u0 = zero, u1 = zero, v0 = zero, v1 = zero; // without the row below
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t *row = top + y * stride + x;
      const V8 first = hn::LoadU(d8, row), third = hn::LoadU(d8, row + 2);
      const V16 a = evenSamples(first), b = oddSamples(first);
      const V16 c = evenSamples(third), d = oddSamples(third);
      const V16 ab = hn::Add(a, b), bc = hn::Add(b, c), cd = hn::Add(c, d);
      if (y >= 2) {
        addSquares(withoutFirst(hn::Add(u0, bc), (skipped + 1) / 2), even, odd);
        addSquares(withoutFirst(hn::Sub(v0, ab), (skipped + 1) / 2), even, odd);
        addSquares(withoutFirst(hn::Add(u1, cd), skipped / 2), even, odd);
        addSquares(withoutFirst(hn::Sub(v1, bc), skipped / 2), even, odd);
      }
      const V16 ac = hn::Sub(c, a), bd = hn::Sub(d, b);
      u0 = hn::Sub(ac, sums0);
      u1 = hn::Sub(bd, sums1);
      v0 = hn::Add(ac, sums1);
      v1 = hn::Add(bd, sums2);
      sums0 = ab;
      sums1 = bc;
      sums2 = cd;
    }
  };
  return 2 * sumOfColumns(w - 2, SOBEL_STEPS / rows, addColumn);
}

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
