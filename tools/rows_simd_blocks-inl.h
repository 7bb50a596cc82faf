// SPDX-License-Identifier: BSD-2-Clause
//
// Vector forms: blocks along a row, and noise.
// Part of rows_simd.cpp, which includes it once a target.
#if defined(LUMAGAUGE_TOOLS_ROWS_SIMD_BLOCKS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef LUMAGAUGE_TOOLS_ROWS_SIMD_BLOCKS_INL_H
#undef LUMAGAUGE_TOOLS_ROWS_SIMD_BLOCKS_INL_H
#else
#define LUMAGAUGE_TOOLS_ROWS_SIMD_BLOCKS_INL_H
#endif

#include "tools/rows_simd_common-inl.h"

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

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
    auto same = hn::Eq(hn::BitCast(du64, difference), hn::Zero(du64));
    // Blocks that change mostly do so in the first rows, which spares reading the others.
    for (std::size_t y = 0; y < 8 && !hn::AllFalse(du64, same); y += 2) {
      const std::uint8_t *a = topA + y * stride + 8 * i, *b = topB + y * stride + 8 * i;
      const V8 upper = hn::Xor(hn::LoadU(d8, a), hn::LoadU(d8, b));
      const V8 lower = hn::Xor(hn::LoadU(d8, a + stride), hn::LoadU(d8, b + stride));
      difference = hn::Or(difference, hn::Or(upper, lower));
      same = hn::Eq(hn::BitCast(du64, difference), hn::Zero(du64));
    }
    hn::StoreU(hn::TruncateTo(out, hn::IfThenZeroElse(same, hn::Set(du64, 1))), out, changed + i);
  }
  plainRows().changedBlocks(topA + 8 * i, topB + 8 * i, stride, blocks - i, changed + i);
}

HWY_INLINE VU64 absSum(V8 a, V8 b) {
  return hn::SumsOf8(absDifference8(a, b));
}

void blockChanges(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                  std::size_t blocks, BlockChange *changes) {
  static_assert(sizeof(BlockChange) == 4);
  const hn::Rebind<std::uint32_t, decltype(du64)> out;
  const std::size_t N = hn::Lanes(du64);
  std::size_t i = 0;
  for (; i + N <= blocks; i += N) {
    VU64 absolute = hn::Zero(du64), shift = absolute;
    for (std::size_t half = 0; half < 2; ++half) {
      VU64 above = hn::Zero(du64), below = above; // what a exceeds b by, and b a
      for (std::size_t y = 4 * half; y < 4 * half + 4; ++y) {
        const V8 a = hn::LoadU(d8, topA + y * stride + 8 * i);
        const V8 b = hn::LoadU(d8, topB + y * stride + 8 * i);
        above = hn::Add(above, hn::SumsOf8(hn::SaturatedSub(a, b)));
        below = hn::Add(below, hn::SumsOf8(hn::SaturatedSub(b, a)));
      }
      absolute = hn::Add(absolute, hn::Add(above, below));
      const auto a = hn::BitCast(du32, above), b = hn::BitCast(du32, below);
      shift = hn::Add(shift, hn::BitCast(du64, hn::Sub(hn::Max(a, b), hn::Min(a, b))));
    }
    const VU64 change = hn::Or(absolute, hn::ShiftLeft<16>(shift));
    hn::StoreU(hn::TruncateTo(out, change), out, reinterpret_cast<std::uint32_t *>(changes + i));
  }
  plainRows().blockChanges(topA + 8 * i, topB + 8 * i, stride, blocks - i, changes + i);
}

void segmentGradients(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                      std::size_t segments, SegmentGradients *gradients) {
  static_assert(sizeof(SegmentGradients) == 4);
  const hn::Rebind<std::uint32_t, decltype(du64)> out;
  const std::size_t N = hn::Lanes(du64);
  // The last sample of a segment has no right neighbour in it.
  const VU64 inside = hn::Set(du64, 0x00FFFFFFFFFFFFFF);
  std::size_t i = 0;
  for (; i + N <= segments; i += N) {
    VU64 along = hn::Zero(du64), down = along;
    V8 above = hn::LoadU(d8, top + 8 * i);
    for (std::size_t y = 0; y < rows; ++y) {
      const V8 row = hn::LoadU(d8, top + y * stride + 8 * i);
      const VU64 words = hn::BitCast(du64, row);
      along = hn::Add(along, absSum(hn::BitCast(d8, hn::And(words, inside)),
                                    hn::BitCast(d8, hn::ShiftRight<8>(words))));
      down = hn::Add(down, absSum(row, above));
      above = row;
    }
    const VU64 both = hn::Or(along, hn::ShiftLeft<16>(down));
    hn::StoreU(hn::TruncateTo(out, both), out, reinterpret_cast<std::uint32_t *>(gradients + i));
  }
  plainRows().segmentGradients(top + 8 * i, stride, rows, segments - i, gradients + i);
}

void columnSteps(const std::uint8_t *top, std::size_t stride, std::size_t rows, std::size_t borders,
                 BorderSteps *steps) {
  static_assert(sizeof(BorderSteps) == 8);
  const std::size_t N = hn::Lanes(du64);
  // From two columns before a border on, the first three of each eight differences to the next
  // column go to 16 bits each.
  constexpr std::uint8_t NONE = 0x80;
  alignas(16) constexpr std::uint8_t PLACES[16] = {0, NONE, 1, NONE, 2,  NONE, NONE, NONE,
                                                   8, NONE, 9, NONE, 10, NONE, NONE, NONE};
  const V8 places = hn::LoadDup128(d8, PLACES);
  std::size_t i = 0;
  for (; i + N < borders; i += N) { // reads into the columns after the border that follows
    auto sums = hn::Zero(du16);
    const std::uint8_t *column = top + 8 * i + 6;
    for (std::size_t y = 0; y < rows; ++y, column += stride) {
      const V8 difference = absDifference8(hn::LoadU(d8, column), hn::LoadU(d8, column + 1));
      sums = hn::Add(sums, hn::BitCast(du16, hn::TableLookupBytesOr0(difference, places)));
    }
    hn::StoreU(sums, du16, reinterpret_cast<std::uint16_t *>(steps + i));
  }
  plainRows().columnSteps(top + 8 * i, stride, rows, borders - i, steps + i);
}

void rowSteps(const std::uint8_t *row, std::size_t stride, std::size_t segments,
              BorderSteps *steps) {
  const std::size_t N = hn::Lanes(du64);
  std::size_t i = 0;
  for (; i + N <= segments; i += N) {
    const std::uint8_t *at = row + 8 * i;
    const V8 before = hn::LoadU(d8, at - 2 * stride), above = hn::LoadU(d8, at - stride);
    const V8 current = hn::LoadU(d8, at), below = hn::LoadU(d8, at + stride);
    const VU64 sums =
        hn::Or(hn::Or(absSum(before, above), hn::ShiftLeft<16>(absSum(above, current))),
               hn::ShiftLeft<32>(absSum(current, below)));
    hn::StoreU(sums, du64, reinterpret_cast<std::uint64_t *>(steps + i));
  }
  plainRows().rowSteps(row + 8 * i, stride, segments - i, steps + i);
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

void columnBorders(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                   std::size_t borders, BorderSums *sums) {
  const std::size_t N = hn::Lanes(du64);
  // Of each eight differences to the next column, the seventh is inside and the last across the
  // border. They go to the two halves of the 64 bits.
  static_assert(sizeof(BorderSums) == 8);
  constexpr std::uint8_t NONE = 0x80;
  alignas(16) constexpr std::uint8_t PLACES[16] = {6,  NONE, NONE, NONE, 7,  NONE, NONE, NONE,
                                                   14, NONE, NONE, NONE, 15, NONE, NONE, NONE};
  const V8 places = hn::LoadDup128(d8, PLACES);
  std::size_t i = 0;
  for (; i + N <= borders; i += N) {
    auto *out = reinterpret_cast<std::uint32_t *>(sums + i);
    auto sum = hn::LoadU(du32, out);
    const std::uint8_t *column = top + 8 * i;
    for (std::size_t y = 0; y < rows; ++y, column += stride) {
      const V8 difference = absDifference8(hn::LoadU(d8, column), hn::LoadU(d8, column + 1));
      sum = hn::Add(sum, hn::BitCast(du32, hn::TableLookupBytesOr0(difference, places)));
    }
    hn::StoreU(sum, du32, out);
  }
  plainRows().columnBorders(top + 8 * i, stride, rows, borders - i, sums + i);
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

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#endif
