// SPDX-License-Identifier: BSD-2-Clause
//
// Row operations: the inner loops of the toolkit and of the indicators. Each works on one row, or
// on the few rows named, of n (or w) samples; pointers need no alignment. They write exactly the
// samples they name and read no others. Integer results are exact; 32-bit outputs wrap modulo 2^32.
#ifndef LUMAGAUGE_TOOLS_ROWS_H
#define LUMAGAUGE_TOOLS_ROWS_H

#include <cstddef>
#include <cstdint>

namespace lumagauge {

/// Sum and sum of squares of some samples. Exact for rows of up to 2^48 samples.
struct Moments {
  std::uint64_t sum;
  std::uint64_t squares;
};

std::uint64_t sumRow(const std::uint8_t *row, std::size_t n);
Moments momentsRow(const std::uint8_t *row, std::size_t n);

/// Sum of |a[i] - b[i]|, and of (a[i] - b[i])^2.
std::uint64_t absDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);
std::uint64_t squaredDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);

/// Sum of Gx^2 + Gy^2 of the Sobel operator over columns 1..w-2 of `row`; 0 when w < 3.
std::uint64_t sobelEnergyRow(const std::uint8_t *above, const std::uint8_t *row,
                             const std::uint8_t *below, std::size_t w);

/// dest[i] = 1 where a[i] equals b[i], else 0.
void equalRow(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *dest, std::size_t n);
/// The first i at which a[i] and b[i] differ, n when none does.
std::size_t firstDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);

/// Adds the sum (and the sum of squares) of each of the `blocks` stretches of bw samples to sums[b]
/// (and squares[b]).
void blockSumsRow(const std::uint8_t *row, std::size_t blocks, std::size_t bw, std::int32_t *sums);
void blockMomentsRow(const std::uint8_t *row, std::size_t blocks, std::size_t bw,
                     std::int32_t *sums, std::int32_t *squares);

/// Backward differences of `row`: destX[x] = row[x] - row[x-1], destY[x] = row[x] - above[x];
/// column 0 of both is 0.
void gradientRow(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                 std::int32_t *destX, std::int32_t *destY);
/// Roberts cross differences of `row`: destX[x] = above[x-1] - row[x], destY[x] = above[x] -
/// row[x-1]; column 0 of both is 0.
void robertsRow(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                std::int32_t *destX, std::int32_t *destY);

/// Number of comb blocks among the `blocks` stretches of four columns in the four rows that start
/// `stride` samples apart: blocks whose every column goes strictly up, down, up or down, up, down.
std::size_t combBlocksRow(const std::uint8_t *top, std::size_t stride, std::size_t blocks);

/// For the border left of each of the columns 8, 16, ..., 8 * borders: adds |row[c-1] - row[c-2]|
/// to inside[i] and |row[c-1] - row[c]| to border[i], i = 0 for column 8.
void columnBordersRow(const std::uint8_t *row, std::size_t borders, std::uint32_t *inside,
                      std::uint32_t *border);

/// Sets changed[b] to 1 where any of the eight samples of block b differs; leaves the others as
/// they are.
void markChangedBlocksRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t blocks,
                          std::uint8_t *changed);

} // namespace lumagauge

#endif
