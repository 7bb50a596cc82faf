// SPDX-License-Identifier: BSD-2-Clause
//
// The vector form of the row operations, written once and compiled for every target that Highway
// knows of this architecture. Rows shorter than a vector go to the plain form. The rest of a row
// behind the last whole vector is one more vector that ends with the row, less the lanes already
// counted.
#include "tools/rows_simd.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tools/rows_simd.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

const RowOperations *operations() {
  return nullptr;
} // the plain form serves CPUs without vectors

#else

namespace hn = hwy::HWY_NAMESPACE;

// Tags are capped at 512 bits, so that a vector's mask bits fill at most one word.
const hn::CappedTag<std::uint8_t, 64> d8;
const hn::RepartitionToWide<decltype(d8)> du16;
const hn::RepartitionToWide<decltype(du16)> du32;
const hn::RepartitionToWide<decltype(du32)> du64;
const hn::Rebind<std::int16_t, decltype(du16)> d16;
const hn::Rebind<std::int32_t, decltype(du32)> d32;
const hn::Rebind<double, decltype(du64)> df;
using V8 = hn::Vec<decltype(d8)>;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;
using VU64 = hn::Vec<decltype(du64)>;
using VF = hn::Vec<decltype(df)>;
using M8 = hn::Mask<decltype(d8)>;

/// Squares of samples and differences add up in 32-bit lanes for this many steps: a step adds at
/// most 4 * 255^2 (two vectors of two squares) to a lane, so this many and one stay below 2^31.
constexpr std::size_t SQUARE_STEPS = 8191;
/// A Sobel step adds at most 4 * 1020^2.
constexpr std::size_t SOBEL_STEPS = 511;

HWY_INLINE V8 absDifference8(V8 a, V8 b) {
  return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
}

template <class V> HWY_INLINE hn::Mask<hn::DFromV<V>> atLeast(V a, V b) {
  return hn::Eq(hn::Max(a, b), a);
}

/// The vector's last `rest` lanes: those of a vector that ends with the row.
HWY_INLINE V8 lastLanes(V8 v, std::size_t rest) {
  return hn::IfThenZeroElse(hn::FirstN(d8, hn::Lanes(d8) - rest), v);
}

// Squares are summed in 32-bit lanes, of which some targets keep every other one in `odd`, and
// moved to 64-bit ones before they overflow. (Vectors of unknown size cannot be members of a
// record.)

HWY_INLINE void addSquares(V16 v, V32 &even, V32 &odd) {
  even = hn::ReorderWidenMulAccumulate(d32, v, v, even, odd);
}

HWY_INLINE void addByteSquares(V8 v, V32 &even, V32 &odd) {
  const V8 zero = hn::Zero(d8);
  addSquares(hn::BitCast(d16, hn::InterleaveLower(d8, v, zero)), even, odd);
  addSquares(hn::BitCast(d16, hn::InterleaveUpper(d8, v, zero)), even, odd);
}

/// Sums of neighbouring lanes, none of them negative.
HWY_INLINE VU64 pairSums(V32 v) {
  const VU64 pairs = hn::BitCast(du64, v);
  return hn::Add(hn::And(pairs, hn::Set(du64, 0xFFFFFFFFU)), hn::ShiftRight<32>(pairs));
}

HWY_INLINE void moveSquares(V32 &even, V32 &odd, VU64 &total) {
  total = hn::Add(total, hn::Add(pairSums(even), pairSums(odd)));
  even = hn::Zero(d32);
  odd = hn::Zero(d32);
}

HWY_INLINE std::uint64_t sumOf(VU64 v) {
  return hn::GetLane(hn::SumOfLanes(du64, v));
}

/// Calls step(i) for every whole vector of n samples, flush() after at most `steps` of them, and
/// last(n - N, rest) when `rest` samples remain behind them. n is at least N.
template <class Step, class Flush, class Last>
HWY_INLINE void forEachVector(std::size_t n, std::size_t N, std::size_t steps, Step step,
                              Flush flush, Last last) {
  std::size_t i = 0;
  while (i + N <= n) {
    const std::size_t end = std::min(n, i + N * steps);
    for (; i + N <= end; i += N)
      step(i);
    flush();
  }
  if (i < n)
    last(n - N, n - i);
}

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

void blockSums(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
               std::uint16_t *sums) {
  const hn::Rebind<std::uint16_t, decltype(du64)> out;
  const std::size_t N = hn::Lanes(du64);
  std::size_t i = 0;
  for (; i + N <= blocks; i += N) {
    VU64 sum = hn::Zero(du64);
    for (std::size_t y = 0; y < 8; ++y)
      sum = hn::Add(sum, hn::SumsOf8(hn::LoadU(d8, top + y * stride + 8 * i)));
    hn::StoreU(hn::TruncateTo(out, sum), out, sums + i);
  }
  plainRows().blockSums(top + 8 * i, stride, blocks - i, sums + i);
}

void blockDeviations(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
                     double *deviations) {
  const hn::Rebind<std::uint32_t, decltype(du64)> narrow;
  const hn::Rebind<std::int32_t, decltype(du64)> narrowSigned;
  const std::size_t N = hn::Lanes(du64);
  std::size_t i = 0;
  for (; i + N <= blocks; i += N) {
    VU64 sum = hn::Zero(du64);
    // Blocks 2k and 2k + 1 are the lower and upper half of a 128-bit block.
    V32 lower = hn::Zero(d32), lowerOdd = lower, upper = lower, upperOdd = lower;
    for (std::size_t y = 0; y < 8; ++y) {
      const V8 v = hn::LoadU(d8, top + y * stride + 8 * i);
      sum = hn::Add(sum, hn::SumsOf8(v));
      addSquares(hn::BitCast(d16, hn::InterleaveLower(d8, v, hn::Zero(d8))), lower, lowerOdd);
      addSquares(hn::BitCast(d16, hn::InterleaveUpper(d8, v, hn::Zero(d8))), upper, upperOdd);
    }
    const VU64 even = pairSums(hn::Add(lower, lowerOdd));
    const VU64 odd = pairSums(hn::Add(upper, upperOdd));
    const VU64 squares =
        hn::Add(hn::InterleaveLower(du64, even, odd), hn::InterleaveUpper(du64, even, odd));
    // 64 * Q - S^2 < 2^31, so this is Q - S * S / 64 without a rounding.
    const auto s = hn::TruncateTo(narrow, sum);
    const auto spread = hn::Sub(hn::ShiftLeft<6>(hn::TruncateTo(narrow, squares)), hn::Mul(s, s));
    const VF scaled =
        hn::Mul(hn::PromoteTo(df, hn::BitCast(narrowSigned, spread)), hn::Set(df, 1.0 / 64.0));
    hn::StoreU(hn::Sqrt(hn::Div(scaled, hn::Set(df, 63.0))), df, deviations + i);
  }
  plainRows().blockDeviations(top + 8 * i, stride, blocks - i, deviations + i);
}

void changedBlocks(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                   std::size_t blocks, std::uint8_t *changed) {
  const hn::Rebind<std::uint8_t, decltype(du64)> out;
  const std::size_t N = hn::Lanes(du64);
  std::size_t i = 0;
  for (; i + N <= blocks; i += N) {
    V8 difference = hn::Zero(d8);
    for (std::size_t y = 0; y < 8; ++y) {
      const std::size_t at = y * stride + 8 * i;
      difference = hn::Or(difference, hn::Xor(hn::LoadU(d8, topA + at), hn::LoadU(d8, topB + at)));
    }
    const auto same = hn::Eq(hn::BitCast(du64, difference), hn::Zero(du64));
    hn::StoreU(hn::TruncateTo(out, hn::IfThenZeroElse(same, hn::Set(du64, 1))), out, changed + i);
  }
  plainRows().changedBlocks(topA + 8 * i, topB + 8 * i, stride, blocks - i, changed + i);
}

std::size_t combBlocks(const std::uint8_t *top, std::size_t stride, std::size_t blocks) {
  const std::size_t N = hn::Lanes(d8);
  std::size_t combs = 0, x = 0;
  for (; x + N <= 4 * blocks; x += N) {
    const V8 a = hn::LoadU(d8, top + x), b = hn::LoadU(d8, top + x + stride);
    const V8 c = hn::LoadU(d8, top + x + 2 * stride), d = hn::LoadU(d8, top + x + 3 * stride);
    const M8 down = hn::And(hn::Lt(b, hn::Min(a, c)), hn::Lt(d, c));
    const M8 up = hn::And(hn::Gt(b, hn::Max(a, c)), hn::Gt(d, c));
    const auto columns = hn::BitCast(du32, hn::VecFromMask(d8, hn::Or(down, up)));
    combs += hn::CountTrue(du32, hn::Eq(columns, hn::Set(du32, 0xFFFFFFFFU)));
  }
  return combs + plainRows().combBlocks(top + x, stride, blocks - x / 4);
}

void columnBorders(const std::uint8_t *row, std::size_t borders, BorderSums *sums) {
  const std::size_t N = hn::Lanes(du64);
  // Of each eight differences from column 6 on, the first is inside and the second across the
  // border.
  static_assert(sizeof(BorderSums) == 8);
  const VU64 first = hn::Set(du64, 0xFF), second = hn::Set(du64, 0xFF00);
  std::size_t i = 0;
  for (; i + N < borders; i += N) { // the last vector would read past the columns named
    const std::uint8_t *column = row + 8 * i + 6;
    const VU64 v =
        hn::BitCast(du64, absDifference8(hn::LoadU(d8, column), hn::LoadU(d8, column + 1)));
    const VU64 spread = hn::Or(hn::And(v, first), hn::ShiftLeft<24>(hn::And(v, second)));
    auto *out = reinterpret_cast<std::uint32_t *>(sums + i);
    hn::StoreU(hn::Add(hn::LoadU(du32, out), hn::BitCast(du32, spread)), du32, out);
  }
  plainRows().columnBorders(row + 8 * i, borders - i, sums + i);
}

void absGradient(const std::uint8_t *row, std::size_t w, std::uint8_t *gradient) {
  const std::size_t N = hn::Lanes(d8);
  if (w < N + 1)
    return plainRows().absGradient(row, w, gradient);
  gradient[0] = 0;
  const auto difference = [&](std::size_t i) HWY_ATTR { // of columns i + 1 ...
    hn::StoreU(absDifference8(hn::LoadU(d8, row + i + 1), hn::LoadU(d8, row + i)), d8,
               gradient + i + 1);
  };
  forEachVector(
      w - 1, N, w, difference, [] {}, [&](std::size_t i, std::size_t) HWY_ATTR { difference(i); });
}

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

std::size_t edgeColumns(const std::uint8_t *const gradients[3], const std::uint8_t *above,
                        const std::uint8_t *row, std::size_t w, std::uint8_t least,
                        std::uint64_t *edges) {
  if (w < hn::Lanes(d8) + 1)
    return plainRows().edgeColumns(gradients, above, row, w, least, edges);
  const std::uint8_t *g = gradients[1];
  const V8 threshold = hn::Set(d8, least);
  bool any = false;
  writeBits(d8, w - 1, w, edges, [&](std::size_t x) HWY_ATTR {
    const V8 v = hn::LoadU(d8, g + x);
    const M8 strong = atLeast(v, threshold);
    if (hn::AllFalse(d8, strong))
      return strong;
    any = true;
    const V8 vertical = absDifference8(hn::LoadU(d8, row + x), hn::LoadU(d8, above + x));
    const M8 alongRow =
        hn::And(hn::Gt(v, hn::LoadU(d8, g + x + 1)),
                hn::And(atLeast(v, hn::LoadU(d8, g + x - 1)), atLeast(v, vertical)));
    const M8 downColumn = hn::And(atLeast(v, hn::LoadU(d8, gradients[0] + x)),
                                  hn::Gt(v, hn::LoadU(d8, gradients[2] + x)));
    return hn::And(strong, hn::Or(alongRow, downColumn));
  });
  if (!any)
    return 0;
  edges[0] &= ~std::uint64_t{1};
  std::size_t count = 0;
  for (std::size_t i = 0; i < (w + 63) / 64; ++i)
    count += hwy::PopCount(edges[i]);
  return count;
}

void steps(const std::uint8_t *row, std::size_t w, std::uint64_t *rising, std::uint64_t *falling) {
  if (w < hn::Lanes(d8))
    return plainRows().steps(row, w, rising, falling);
  writeBits(d8, w, w, rising, [&](std::size_t x) HWY_ATTR {
    return hn::Gt(hn::LoadU(d8, row + x), hn::LoadU(d8, row + x - 1));
  });
  writeBits(d8, w, w, falling, [&](std::size_t x) HWY_ATTR {
    return hn::Lt(hn::LoadU(d8, row + x), hn::LoadU(d8, row + x - 1));
  });
  rising[0] &= ~std::uint64_t{1};
  falling[0] &= ~std::uint64_t{1};
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

void boundaryRuns(const BoundaryPair *above, const BoundaryPair *row, std::size_t n,
                  std::int32_t least, std::int32_t minimum, std::int32_t *runs,
                  std::int32_t *counts) {
  const hn::Rebind<std::uint16_t, decltype(d32)> half;
  const std::size_t N = hn::Lanes(d32);
  const auto load = [&](const BoundaryPair *pairs) HWY_ATTR {
    return hn::PromoteTo(d32, hn::LoadU(half, reinterpret_cast<const std::uint16_t *>(pairs)));
  };
  const V32 left = hn::Set(d32, 0xFF), one = hn::Set(d32, 1);
  const V32 justBelow = hn::Set(d32, least - 1), enough = hn::Set(d32, minimum);
  std::size_t i = 0;
  for (; i + N <= n; i += N) {
    const V32 a = load(above + i), r = load(row + i);
    const V32 dx = hn::Sub(hn::And(a, left), hn::ShiftRight<8>(r));
    const V32 dy = hn::Sub(hn::ShiftRight<8>(a), hn::And(r, left));
    const auto strong = hn::Gt(hn::Add(hn::Mul(dx, dx), hn::Mul(dy, dy)), justBelow);
    const V32 run = hn::IfThenElseZero(strong, hn::Add(hn::LoadU(d32, runs + i), one));
    const V32 reached = hn::VecFromMask(d32, hn::Eq(run, enough));
    hn::StoreU(run, d32, runs + i);
    hn::StoreU(hn::Sub(hn::LoadU(d32, counts + i), reached), d32, counts + i);
  }
  plainRows().boundaryRuns(above + i, row + i, n - i, least, minimum, runs + i, counts + i);
}

void residualDeviations(const std::uint8_t *strip, std::size_t n, const double kernel[9],
                        double *deviations) {
  const hn::Rebind<std::uint8_t, decltype(df)> bytes;
  const hn::Rebind<std::int32_t, decltype(df)> whole;
  const std::size_t N = hn::Lanes(df);
  HWY_ALIGN double samples[64 * 8];
  std::size_t block = 0;
  for (; block + N <= n; block += N) { // each lane is a block and keeps its own order of terms
    for (std::size_t k = 0; k < 64; ++k) {
      const auto v = hn::LoadU(bytes, strip + k * BLOCK_STRIP + block);
      hn::StoreU(hn::PromoteTo(df, hn::PromoteTo(whole, v)), df, samples + k * N);
    }
    VF sum = hn::Zero(df), squares = hn::Zero(df);
    for (std::size_t at = 9; at < 55; at += at % 8 == 6 ? 3 : 1) { // inner positions 8 * y + x
      VF smoothed = hn::Zero(df);
      for (std::size_t k = 0; k < 9; ++k) {
        const VF sample = hn::LoadU(df, samples + (at - 9 + k / 3 * 8 + k % 3) * N);
        smoothed = hn::Add(smoothed, hn::Mul(sample, hn::Set(df, kernel[k])));
      }
      const VF residual = hn::Sub(hn::LoadU(df, samples + at * N), smoothed);
      sum = hn::Add(sum, residual);
      squares = hn::Add(squares, hn::Mul(residual, residual));
    }
    const VF mean = hn::Div(hn::Mul(sum, sum), hn::Set(df, 36.0));
    hn::StoreU(hn::Sqrt(hn::Div(hn::Sub(squares, mean), hn::Set(df, 35.0))), df,
               deviations + block);
  }
  plainRows().residualDeviations(strip + block, n - block, kernel, deviations + block);
}

const RowOperations *operations() {
  static const RowOperations VECTOR{
      .form = hwy::TargetName(HWY_TARGET),
      .moments = moments,
      .absDifference = absDifference,
      .squaredDifference = squaredDifference,
      .countEqual = countEqual,
      .firstDifference = firstDifference,
      .sobelEnergy = sobelEnergy,
      .blockSums = blockSums,
      .blockDeviations = blockDeviations,
      .changedBlocks = changedBlocks,
      .combBlocks = combBlocks,
      .columnBorders = columnBorders,
      .absGradient = absGradient,
      .edgeColumns = edgeColumns,
      .steps = steps,
      .strongCrosses = strongCrosses,
      .boundaryRuns = boundaryRuns,
      .residualDeviations = residualDeviations,
  };
  return &VECTOR;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace lumagauge {

std::vector<VectorForm> vectorForms() {
  using Operations = const RowOperations *(*)();
  struct Target {
    std::int64_t bit;
    Operations operations; ///< null where the target is not in this build
  };
  const Target targets[] = {
#if HWY_ARCH_X86
    {HWY_AVX3_DL, HWY_CHOOSE_AVX3_DL(operations)},
    {HWY_AVX3, HWY_CHOOSE_AVX3(operations)},
    {HWY_AVX2, HWY_CHOOSE_AVX2(operations)},
    {HWY_SSE4, HWY_CHOOSE_SSE4(operations)},
    {HWY_SSSE3, HWY_CHOOSE_SSSE3(operations)},
#elif HWY_ARCH_ARM
    {HWY_SVE2_128, HWY_CHOOSE_SVE2_128(operations)},
    {HWY_SVE2, HWY_CHOOSE_SVE2(operations)},
    {HWY_SVE_256, HWY_CHOOSE_SVE_256(operations)},
    {HWY_SVE, HWY_CHOOSE_SVE(operations)},
    {HWY_NEON, HWY_CHOOSE_NEON(operations)},
#endif
  };
  std::vector<VectorForm> forms;
  for (const Target &target : targets)
    if (target.operations != nullptr && target.operations() != nullptr)
      forms.push_back({target.operations(), (hwy::SupportedTargets() & target.bit) != 0});
  return forms;
}

} // namespace lumagauge
#endif
