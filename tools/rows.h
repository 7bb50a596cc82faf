// SPDX-License-Identifier: BSD-2-Clause
//
// Row operations: the inner loops of the indicators. Each works on one row of n (or w) samples, or
// on the few rows named; pointers need no alignment. An operation reads and writes no
// samples but those it names. Every form of an operation gives the same bits.
//
// The plain form (rows_plain.cpp) is what an operation means. rows_simd.cpp has the same operations
// with vectors, compiled for every width that CPUs offer; rows() is the best form for the CPU at
// hand.
#ifndef LUMAGAUGE_TOOLS_ROWS_H
#define LUMAGAUGE_TOOLS_ROWS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace lumagauge {

/// Sum and sum of squares of some samples.
struct Moments {
  std::uint64_t sum;
  std::uint64_t squares;
};

/// Sums of differences just inside and across one border line.
struct BorderSums {
  std::uint32_t inside;
  std::uint32_t border;
};

/// Sums of absolute differences between neighbouring samples across a border of 8 or more samples,
/// and just before and just after it.
struct BorderSteps {
  std::uint16_t before, step, after, unused; ///< the last is 0
};

/// Sums of absolute differences between neighbouring samples inside a segment: along its rows and
/// down its columns.
struct SegmentGradients {
  std::uint16_t along, down;
};

/// Between two blocks of 8x8 samples: the sum of absolute differences, and how much the sums of
/// their upper and of their lower halves differ, added.
struct BlockChange {
  std::uint16_t absolute, shift;
};

/// Samples of 8x8 blocks, side by side: sample (x, y) of block i is at [(8 * y + x) * BLOCK_STRIP +
/// i].
constexpr std::size_t BLOCK_STRIP = 1000;

/// Numbers of samples at both ends of a range.
struct EndCounts {
  std::size_t low;
  std::size_t high;
};

struct RowOperations {
  const char *form; ///< "plain", or the vector instructions by their usual name

  // --- Sums and comparisons of whole rows

  Moments (*moments)(const std::uint8_t *row, std::size_t n);
  /// Sum of |a[i] - b[i]|, and of (a[i] - b[i])^2.
  std::uint64_t (*absDifference)(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);
  std::uint64_t (*squaredDifference)(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);
  /// The number of i at which a[i] equals b[i].
  std::size_t (*countEqual)(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);
  /// The first i at which a[i] and b[i] differ, n when none does.
  std::size_t (*firstDifference)(const std::uint8_t *a, const std::uint8_t *b, std::size_t n);
  /// The numbers of samples that are at most `low`, and at least `high`.
  EndCounts (*countEnds)(const std::uint8_t *row, std::size_t n, std::uint8_t low,
                         std::uint8_t high);
  /// Makes those of n marks 1 whose samples are above `level`, and returns how many are 1 then.
  /// Marks are 0 or 1.
  std::size_t (*markAbove)(const std::uint8_t *row, std::size_t n, std::uint8_t level,
                           std::uint8_t *marks);
  /// The number of samples before the first, and behind the last, that is above `level`; n when
  /// none is.
  std::size_t (*darkStart)(const std::uint8_t *row, std::size_t n, std::uint8_t level);
  std::size_t (*darkEnd)(const std::uint8_t *row, std::size_t n, std::uint8_t level);
  /// Sum of the squared magnitudes of the Roberts cross, (above[x-1] - row[x])^2 + (above[x] -
  /// row[x-1])^2, over 2 to 500 rows but the first, at `top`, and over the columns from 1 on. 0
  /// when w < 2.
  std::uint64_t (*crossEnergy)(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                               std::size_t w);
  /// Sum of Gx^2 + Gy^2 of the Sobel operator over the inner samples of 3 to 500 rows, the first at
  /// `top` and the others `stride` samples apart: not the outermost rows and columns. 0 when w < 3.
  std::uint64_t (*sobelEnergy)(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                               std::size_t w);

  // --- Blocks along a row

  // `top` is the first row of the blocks; the others follow `stride` samples apart.

  /// sums[i] = sum of the 64 samples of the 8x8 block i.
  void (*blockSums)(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
                    std::uint16_t *sums);
  /// deviations[i] = sample standard deviation of the 8x8 block i, sqrt((Q - S * S / 64) / 63) of
  /// its sum S and square sum Q.
  void (*blockDeviations)(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
                          double *deviations);
  /// changed[i] = 1 where the 8x8 blocks i of two pictures of one stride differ, else 0.
  void (*changedBlocks)(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                        std::size_t blocks, std::uint8_t *changed);
  /// changes[i] = how the 8x8 blocks i of two pictures of one stride differ.
  void (*blockChanges)(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                       std::size_t blocks, BlockChange *changes);
  /// gradients[i] = those of the segment of 8 columns from 8 * i on and of 2 to 16 rows.
  void (*segmentGradients)(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                           std::size_t segments, SegmentGradients *gradients);
  /// steps[i] = those of 1 to 16 rows across the border left of column c = 8 * (i + 1): before is
  /// |row[c-2] - row[c-1]|, step |row[c-1] - row[c]|, after |row[c] - row[c+1]|.
  void (*columnSteps)(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                      std::size_t borders, BorderSteps *steps);
  /// steps[i] = those of the columns 8 * i ... 8 * i + 7 across the border above `row`: between the
  /// rows -2 and -1, -1 and 0, and 0 and 1, counted from `row`.
  void (*rowSteps)(const std::uint8_t *row, std::size_t stride, std::size_t segments,
                   BorderSteps *steps);
  /// Number of 4x4 blocks whose every column goes strictly up, down, up or down, up, down.
  std::size_t (*combBlocks)(const std::uint8_t *top, std::size_t stride, std::size_t blocks);
  /// In `rows` rows from `top` on, for the border left of each of the columns c = 8, 16, ...,
  /// 8 * borders: adds |row[c-1] - row[c-2]| to sums[c / 8 - 1].inside and |row[c-1] - row[c]| to
  /// its .border, modulo 2^32.
  void (*columnBorders)(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                        std::size_t borders, BorderSums *sums);

  // --- Edges

  // A row of bits has bit x % 64 of word x / 64 for column x, and zeros from w to the word's end.
  // `least` is at least 1. Of samples that must be there before or after a row, the values do not
  // matter. The gradient of a row at x is |row[x] - row[x-1]|, and 0 for x = 0.

  /// Bits of the columns 1..w-2 at which the gradient of `row` is at least `least` and a maximum:
  /// along the row (above its right neighbour, at least its left one and at least |row[x] -
  /// above[x]|) or down the column (at least the gradient of `upper`, above that of `below`).
  /// `upper` is `above`, or any other row that stands in for it. Two samples before `row` and one
  /// before `upper` and `below` must be there. Returns the number of bits.
  std::size_t (*edgeColumns)(const std::uint8_t *upper, const std::uint8_t *above,
                             const std::uint8_t *row, const std::uint8_t *below, std::size_t w,
                             std::uint8_t least, std::uint64_t *edges);
  /// Sum of the widths of the edges at the columns whose bits are set, which are some of 1..w-2. An
  /// edge falls when row[x] < row[x-1] or row[x+1] < row[x], otherwise it rises. Its width: the
  /// number of samples in a row, from x + 1 on to the right and from x on to the left, that step in
  /// its direction from the sample before. Columns 0, 1 and w-1 end a run. 16 samples before and
  /// after the row must be there.
  std::uint64_t (*edgeWidths)(const std::uint8_t *row, std::size_t w, const std::uint64_t *edges);
  /// Bits of the columns from 1 on at which the squared magnitude of the Roberts cross,
  /// (above[x-1] - row[x])^2 + (above[x] - row[x-1])^2, is at least `least`. One sample before
  /// each row must be there.
  void (*strongCrosses)(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                        std::int32_t least, std::uint64_t *strong);

  // --- Noise

  /// For each of n <= BLOCK_STRIP blocks: correlates its samples with the 3x3 kernel (products
  /// added in row-major order, from 0.0) at its inner 6x6 positions, and stores the sample standard
  /// deviation of sample minus correlation over those positions, summed in raster order.
  void (*residualDeviations)(const std::uint8_t *strip, std::size_t n, const double kernel[9],
                             double *deviations);
};

const RowOperations &plainRows();

/// The form in use: the best that this CPU runs, found once.
const RowOperations &rows();

/// The forms that this build has and this CPU runs, the plain one first.
std::vector<const RowOperations *> availableRows();
/// Names of all forms for this architecture, those that this build or this CPU lacks included.
std::vector<std::string_view> knownForms();
/// For tests and benchmarks, before anything is measured: makes rows() the form of that name.
/// False, with nothing changed, when the build or the CPU lacks it.
bool useRows(std::string_view form);

} // namespace lumagauge

#endif
