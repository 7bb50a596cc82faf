// SPDX-License-Identifier: BSD-2-Clause
//
// The plain form of the row operations. Loops are written so that a compiler vectorises them:
// narrow sums per stretch, no branch per sample.
#include "tools/rows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace lumagauge {

static_assert(std::endian::native == std::endian::little, "rows of bits are written byte by byte");

namespace {

/// Samples whose squares (at most 255^2 each) add up in 32 bits.
constexpr std::size_t STRETCH = 32768;

/// Sums part(i, count) over stretches of n samples.
template <class Part> std::uint64_t sumOfStretches(std::size_t n, Part part) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < n; i += STRETCH)
    sum += part(i, std::min(STRETCH, n - i));
  return sum;
}

Moments moments(const std::uint8_t *row, std::size_t n) {
  Moments total{0, 0};
  for (std::size_t start = 0; start < n; start += STRETCH) {
    const std::size_t end = std::min(start + STRETCH, n);
    std::uint32_t sum = 0, squares = 0;
    for (std::size_t i = start; i < end; ++i) {
      const auto p = static_cast<std::int16_t>(row[i]);
      sum += row[i];
      squares += static_cast<std::uint32_t>(p * p);
    }
    total.sum += sum;
    total.squares += squares;
  }
  return total;
}

std::uint64_t absDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  return sumOfStretches(n, [=](std::size_t start, std::size_t count) {
    std::uint32_t sum = 0;
    for (std::size_t i = start; i < start + count; ++i)
      sum += static_cast<std::uint32_t>(std::abs(a[i] - b[i]));
    return sum;
  });
}

std::uint64_t squaredDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  return sumOfStretches(n, [=](std::size_t start, std::size_t count) {
    std::uint32_t sum = 0;
    for (std::size_t i = start; i < start + count; ++i) {
      const auto d = static_cast<std::int16_t>(a[i] - b[i]);
      sum += static_cast<std::uint32_t>(d * d);
    }
    return sum;
  });
}

std::size_t countEqual(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  return sumOfStretches(n, [=](std::size_t start, std::size_t count) {
    std::uint32_t equal = 0;
    for (std::size_t i = start; i < start + count; ++i)
      equal += a[i] == b[i];
    return equal;
  });
}

std::size_t firstDifference(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  std::size_t i = 0;
  while (i + 64 <= n && std::memcmp(a + i, b + i, 64) == 0)
    i += 64;
  while (i < n && a[i] == b[i])
    ++i;
  return i;
}

EndCounts countEnds(const std::uint8_t *row, std::size_t n, std::uint8_t low, std::uint8_t high) {
  EndCounts counts{0, 0};
  for (std::size_t start = 0; start < n; start += STRETCH) {
    std::uint32_t atLow = 0, atHigh = 0;
    for (std::size_t i = start; i < std::min(start + STRETCH, n); ++i) {
      atLow += row[i] <= low;
      atHigh += row[i] >= high;
    }
    counts.low += atLow;
    counts.high += atHigh;
  }
  return counts;
}

std::size_t markAbove(const std::uint8_t *row, std::size_t n, std::uint8_t level,
                      std::uint8_t *marks) {
  return sumOfStretches(n, [=](std::size_t start, std::size_t count) {
    std::uint32_t marked = 0;
    for (std::size_t i = start; i < start + count; ++i)
      marked += marks[i] = static_cast<std::uint8_t>(marks[i] | (row[i] > level));
    return marked;
  });
}

std::size_t darkStart(const std::uint8_t *row, std::size_t n, std::uint8_t level) {
  std::size_t dark = 0;
  while (dark < n && row[dark] <= level)
    ++dark;
  return dark;
}

std::size_t darkEnd(const std::uint8_t *row, std::size_t n, std::uint8_t level) {
  std::size_t dark = 0;
  while (dark < n && row[n - 1 - dark] <= level)
    ++dark;
  return dark;
}

std::uint64_t crossEnergy(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                          std::size_t w) {
  std::uint64_t energy = 0;
  for (std::size_t y = 1; w > 1 && y < rows; ++y) {
    const std::uint8_t *row = top + y * stride, *above = row - stride;
    energy += squaredDifference(above, row + 1, w - 1); // falling diagonals
    energy += squaredDifference(above + 1, row, w - 1); // rising ones
  }
  return energy;
}

std::uint64_t sobelEnergyOfRow(const std::uint8_t *above, const std::uint8_t *row,
                               const std::uint8_t *below, std::size_t w) {
  // A term is at most 2 * 1020^2, so 1024 of them add up in 32 bits.
  constexpr std::size_t TERMS = 1024;
  std::uint64_t energy = 0;
  for (std::size_t start = 1; start + 1 < w; start += TERMS) {
    const std::size_t end = std::min(start + TERMS, w - 1);
    std::uint32_t sum = 0;
    for (std::size_t x = start; x < end; ++x) {
      const auto gx = static_cast<std::int16_t>((above[x + 1] + 2 * row[x + 1] + below[x + 1]) -
                                                (above[x - 1] + 2 * row[x - 1] + below[x - 1]));
      const auto gy = static_cast<std::int16_t>((below[x - 1] + 2 * below[x] + below[x + 1]) -
                                                (above[x - 1] + 2 * above[x] + above[x + 1]));
      sum += static_cast<std::uint32_t>(gx * gx) + static_cast<std::uint32_t>(gy * gy);
    }
    energy += sum;
  }
  return energy;
}

std::uint64_t sobelEnergy(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                          std::size_t w) {
  std::uint64_t energy = 0;
  for (std::size_t y = 1; y + 1 < rows; ++y) {
    const std::uint8_t *row = top + y * stride;
    energy += sobelEnergyOfRow(row - stride, row, row + stride, w);
  }
  return energy;
}

std::uint64_t load64(const std::uint8_t *samples) {
  std::uint64_t word;
  std::memcpy(&word, samples, sizeof word);
  return word;
}

void blockSums(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
               std::uint16_t *sums) {
  // Four 16-bit sums of two columns each in one word: 8 rows of 2 samples stay below 2^12.
  constexpr std::uint64_t EVEN_BYTES = 0x00FF00FF00FF00FF;
  for (std::size_t i = 0; i < blocks; ++i) {
    std::uint64_t pairs = 0;
    for (std::size_t y = 0; y < 8; ++y) {
      const std::uint64_t word = load64(top + y * stride + 8 * i);
      pairs += (word & EVEN_BYTES) + (word >> 8 & EVEN_BYTES);
    }
    sums[i] = static_cast<std::uint16_t>(pairs * 0x0001000100010001 >> 48);
  }
}

void blockDeviations(const std::uint8_t *top, std::size_t stride, std::size_t blocks,
                     double *deviations) {
  for (std::size_t i = 0; i < blocks; ++i) {
    std::uint32_t sum = 0, squares = 0;
    for (std::size_t y = 0; y < 8; ++y)
      for (std::size_t x = 0; x < 8; ++x) {
        const auto p = static_cast<std::int16_t>(top[y * stride + 8 * i + x]);
        sum += static_cast<std::uint32_t>(p);
        squares += static_cast<std::uint32_t>(p * p);
      }
    const double s = sum, q = squares;
    deviations[i] = std::sqrt((q - s * s / 64.0) / 63.0);
  }
}

void changedBlocks(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                   std::size_t blocks, std::uint8_t *changed) {
  for (std::size_t i = 0; i < blocks; ++i) {
    std::uint64_t difference = 0;
    for (std::size_t y = 0; y < 8; ++y)
      difference |= load64(topA + y * stride + 8 * i) ^ load64(topB + y * stride + 8 * i);
    changed[i] = difference != 0;
  }
}

std::uint16_t distance(std::uint8_t a, std::uint8_t b) {
  return static_cast<std::uint16_t>(std::abs(a - b));
}

void blockChanges(const std::uint8_t *topA, const std::uint8_t *topB, std::size_t stride,
                  std::size_t blocks, BlockChange *changes) {
  for (std::size_t i = 0; i < blocks; ++i) {
    int absolute = 0, shifts[2] = {0, 0};
    for (std::size_t y = 0; y < 8; ++y)
      for (std::size_t x = 8 * i; x < 8 * i + 8; ++x) {
        const int difference = topA[y * stride + x] - topB[y * stride + x];
        absolute += std::abs(difference);
        shifts[y / 4] += difference;
      }
    changes[i] = {static_cast<std::uint16_t>(absolute),
                  static_cast<std::uint16_t>(std::abs(shifts[0]) + std::abs(shifts[1]))};
  }
}

void segmentGradients(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                      std::size_t segments, SegmentGradients *gradients) {
  for (std::size_t i = 0; i < segments; ++i) {
    std::uint16_t along = 0, down = 0;
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t *row = top + y * stride + 8 * i;
      for (std::size_t x = 0; x < 8; ++x) {
        along += x < 7 ? distance(row[x], row[x + 1]) : std::uint16_t{0};
        down += y + 1 < rows ? distance(row[x], row[x + stride]) : std::uint16_t{0};
      }
    }
    gradients[i] = {along, down};
  }
}

void columnSteps(const std::uint8_t *top, std::size_t stride, std::size_t rows, std::size_t borders,
                 BorderSteps *steps) {
  for (std::size_t i = 0; i < borders; ++i) {
    steps[i] = {};
    for (std::size_t y = 0; y < rows; ++y) {
      const std::uint8_t *column = top + y * stride + 8 * (i + 1);
      steps[i].before += distance(column[-2], column[-1]);
      steps[i].step += distance(column[-1], column[0]);
      steps[i].after += distance(column[0], column[1]);
    }
  }
}

void rowSteps(const std::uint8_t *row, std::size_t stride, std::size_t segments,
              BorderSteps *steps) {
  const std::uint8_t *above = row - stride, *before = above - stride, *below = row + stride;
  for (std::size_t i = 0; i < segments; ++i) {
    steps[i] = {};
    for (std::size_t x = 8 * i; x < 8 * i + 8; ++x) {
      steps[i].before += distance(before[x], above[x]);
      steps[i].step += distance(above[x], row[x]);
      steps[i].after += distance(row[x], below[x]);
    }
  }
}

std::size_t combBlocks(const std::uint8_t *top, std::size_t stride, std::size_t blocks) {
  constexpr std::size_t BLOCKS = 64; // whose columns are judged together
  std::size_t combs = 0;
  for (std::size_t start = 0; start < blocks; start += BLOCKS) {
    const std::size_t count = std::min(BLOCKS, blocks - start);
    const std::uint8_t *a = top + 4 * start;
    const std::uint8_t *b = a + stride, *c = b + stride, *d = c + stride;
    std::uint8_t zigzags[4 * BLOCKS];
    for (std::size_t x = 0; x < 4 * count; ++x) {
      const bool down = (a[x] > b[x]) & (b[x] < c[x]) & (c[x] > d[x]);
      const bool up = (a[x] < b[x]) & (b[x] > c[x]) & (c[x] < d[x]);
      zigzags[x] = down | up;
    }
    for (std::size_t i = 0; i < count; ++i)
      combs += (zigzags[4 * i] & zigzags[4 * i + 1] & zigzags[4 * i + 2] & zigzags[4 * i + 3]) != 0;
  }
  return combs;
}

void columnBorders(const std::uint8_t *top, std::size_t stride, std::size_t rows,
                   std::size_t borders, BorderSums *sums) {
  for (std::size_t y = 0; y < rows; ++y)
    for (std::size_t i = 0; i < borders; ++i) {
      const std::uint8_t *column = top + y * stride + 8 * (i + 1);
      sums[i].inside += static_cast<std::uint32_t>(std::abs(column[-1] - column[-2]));
      sums[i].border += static_cast<std::uint32_t>(std::abs(column[-1] - column[0]));
    }
}

int gradient(const std::uint8_t *row, std::size_t x) {
  return x == 0 ? 0 : std::abs(row[x] - row[x - 1]);
}

/// Writes a row of bits, bit(x) for column x.
template <class Bit> void writeBits(std::size_t w, std::uint64_t *words, Bit bit) {
  for (std::size_t start = 0; start < w; start += 64) {
    const std::size_t count = std::min<std::size_t>(64, w - start);
    std::uint8_t flags[64] = {};
    for (std::size_t x = 0; x < count; ++x)
      flags[x] = bit(start + x);
    std::uint64_t word = 0;
    // Eight flags of 0 or 1 to the eight bits of a byte: the product moves flag k to bit 56 + k.
    for (std::size_t byte = 0; byte < 8; ++byte)
      word |= (load64(flags + 8 * byte) * 0x0102040810204080 >> 56) << 8 * byte;
    words[start / 64] = word;
  }
}

std::size_t edgeColumns(const std::uint8_t *upper, const std::uint8_t *above,
                        const std::uint8_t *row, const std::uint8_t *below, std::size_t w,
                        std::uint8_t least, std::uint64_t *edges) {
  const std::size_t words = (w + 63) / 64;
  std::fill_n(edges, words, 0);
  std::size_t count = 0;
  for (std::size_t start = 0; start < words; ++start) {
    const std::size_t first = std::max<std::size_t>(64 * start, 1);
    const std::size_t end = std::min(64 * start + 64, w);
    int largest = 0;
    for (std::size_t x = first; x < end; ++x)
      largest = std::max(largest, std::abs(row[x] - row[x - 1]));
    if (largest < least)
      continue;
    for (std::size_t x = first; x < std::min(end, w - 1); ++x) {
      const int g = gradient(row, x), left = gradient(row, x - 1), right = gradient(row, x + 1);
      const int gUpper = gradient(upper, x), gBelow = gradient(below, x);
      const bool alongRow = (g > right) & (g >= left) & (g >= std::abs(row[x] - above[x]));
      const bool downColumn = (g >= gUpper) & (g > gBelow);
      const bool edge = (g >= least) & (alongRow | downColumn);
      edges[start] |= std::uint64_t{edge} << x % 64;
    }
    count += static_cast<std::size_t>(std::popcount(edges[start]));
  }
  return count;
}

std::uint64_t edgeWidths(const std::uint8_t *row, std::size_t w, const std::uint64_t *edges) {
  std::uint64_t width = 0;
  for (std::size_t i = 0; i < (w + 63) / 64; ++i)
    for (std::uint64_t bits = edges[i]; bits != 0; bits &= bits - 1) {
      const std::size_t x = 64 * i + static_cast<std::size_t>(std::countr_zero(bits));
      const bool falls = row[x] < row[x - 1] || row[x + 1] < row[x];
      const auto steps = [&](std::size_t at) {
        return falls ? row[at] < row[at - 1] : row[at] > row[at - 1];
      };
      std::size_t left = x, right = x + 1;
      while (left >= 2 && steps(left))
        --left;
      while (right + 1 < w && steps(right))
        ++right;
      width += right - 1 - left;
    }
  return width;
}

void strongCrosses(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                   std::int32_t least, std::uint64_t *strong) {
  writeBits(w, strong, [=](std::size_t x) {
    if (x == 0)
      return false;
    const int dx = above[x - 1] - row[x], dy = above[x] - row[x - 1];
    return dx * dx + dy * dy >= least;
  });
}

void residualDeviations(const std::uint8_t *strip, std::size_t n, const double kernel[9],
                        double *deviations) {
  constexpr std::size_t LANES = 8; // blocks that go side by side; each keeps its own order of terms
  for (std::size_t block = 0; block < n; block += LANES) {
    const std::size_t count = std::min(LANES, n - block);
    double samples[64][LANES] = {};
    for (std::size_t k = 0; k < 64; ++k)
      for (std::size_t lane = 0; lane < count; ++lane)
        samples[k][lane] = strip[k * BLOCK_STRIP + block + lane];
    double sum[LANES] = {}, squares[LANES] = {};
    for (std::size_t at = 9; at < 55; ++at) { // at: inner position 8 * y + x
      if (at % 8 == 0 || at % 8 == 7)
        continue;
      for (std::size_t lane = 0; lane < LANES; ++lane) {
        double smoothed = 0.0;
        for (std::size_t k = 0; k < 9; ++k)
          smoothed += samples[at - 9 + k / 3 * 8 + k % 3][lane] * kernel[k];
        const double residual = samples[at][lane] - smoothed;
        sum[lane] += residual;
        squares[lane] += residual * residual;
      }
    }
    for (std::size_t lane = 0; lane < count; ++lane)
      deviations[block + lane] = std::sqrt((squares[lane] - sum[lane] * sum[lane] / 36.0) / 35.0);
  }
}

} // namespace

const RowOperations &plainRows() {
  static constexpr RowOperations PLAIN{
      .form = "plain",
      .moments = moments,
      .absDifference = absDifference,
      .squaredDifference = squaredDifference,
      .countEqual = countEqual,
      .firstDifference = firstDifference,
      .countEnds = countEnds,
      .markAbove = markAbove,
      .darkStart = darkStart,
      .darkEnd = darkEnd,
      .crossEnergy = crossEnergy,
      .sobelEnergy = sobelEnergy,
      .blockSums = blockSums,
      .blockDeviations = blockDeviations,
      .changedBlocks = changedBlocks,
      .blockChanges = blockChanges,
      .segmentGradients = segmentGradients,
      .columnSteps = columnSteps,
      .rowSteps = rowSteps,
      .combBlocks = combBlocks,
      .columnBorders = columnBorders,
      .edgeColumns = edgeColumns,
      .edgeWidths = edgeWidths,
      .strongCrosses = strongCrosses,
      .residualDeviations = residualDeviations,
  };
  return PLAIN;
}

} // namespace lumagauge
