// SPDX-License-Identifier: BSD-2-Clause
//
// What the vector forms share: tags, small operations on vectors and the walk along a row.
// Part of rows_simd.cpp, which includes it once a target.
#if defined(LUMAGAUGE_TOOLS_ROWS_SIMD_COMMON_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMAGAUGE_TOOLS_ROWS_SIMD_COMMON_INL_H
#undef LUMAGAUGE_TOOLS_ROWS_SIMD_COMMON_INL_H
#else
#define LUMAGAUGE_TOOLS_ROWS_SIMD_COMMON_INL_H
#endif

#include "tools/rows.h"

#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

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
/// A step of the Roberts cross adds at most 8 * 255^2, one of Sobel at most 8 * 765^2: below 2^32,
/// as the lanes are without a sign.
constexpr std::size_t CROSS_STEPS = 8256, SOBEL_STEPS = 917;

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

/// Sums of neighbouring lanes, read as numbers without a sign.
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

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
