// SPDX-License-Identifier: BSD-2-Clause
//
// Blur: mean width in samples of the strong edges along the rows, 0 and up; a sharp edge has width
// 1, a soft one spreads over many samples. 0.0 when there is no such edge, and below 16x16 samples.
// In the line of edge-width measures: Marziliano, Dufaux, Winkler, Ebrahimi, "A no-reference
// perceptual blur metric", 2002.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/rows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t BLUR_BLOCKSIZE = 16;
constexpr double EDGE_FACTOR = 16.0; ///< times the mean squared horizontal difference

/// The least absolute horizontal difference of an edge: the first whose square is above the
/// threshold; 256 when there is none. The differences of row 0 and column 0 count as zeros in the
/// mean.
std::uint32_t leastDifference(const Image *luma) {
  std::uint64_t energy = 0;
  for (std::uint64_t y = 1; y < luma->h; ++y) {
    const std::uint8_t *row = luma->data + y * luma->w;
    energy += rows().squaredDifference(row + 1, row, luma->w - 1);
  }
  const double area = static_cast<double>(luma->w) * static_cast<double>(luma->h);
  const double threshold = static_cast<double>(energy) / area * EDGE_FACTOR;
  std::uint32_t least = 1;
  while (least < 256 && !(least * least > threshold))
    ++least;
  return least;
}

/// A row of bits with a word of zeros on either side, so that a run may be read across its ends.
class BitRow {
public:
  explicit BitRow(std::uint64_t w) : words((w + 63) / 64 + 2) {}
  std::uint64_t *data() { return words.data() + 1; }
  void clear(std::uint64_t x) { data()[x / 64] &= ~(std::uint64_t{1} << x % 64); }

  /// Number of set bits in a row from x on to the right, and from x on to the left.
  int runRight(std::uint64_t x) const {
    int run = 0;
    for (;; x += WINDOW) {
      const int ones = std::countr_one(eightBytes(byteOf(x)) >> x % 8);
      run += std::min(ones, WINDOW);
      if (ones < WINDOW)
        return run;
    }
  }
  int runLeft(std::uint64_t x) const {
    int run = 0;
    for (;; x -= WINDOW) {
      const int ones = std::countl_one(eightBytes(byteOf(x) - 7) << (7 - x % 8));
      run += std::min(ones, WINDOW);
      if (ones < WINDOW)
        return run;
    }
  }

private:
  static constexpr int WINDOW = 57; ///< bits of eight bytes that are left after any shift below 8

  static std::uint64_t byteOf(std::uint64_t x) { return x / 8 + sizeof(std::uint64_t); }
  std::uint64_t eightBytes(std::uint64_t from) const {
    std::uint64_t bits;
    std::memcpy(&bits, reinterpret_cast<const unsigned char *>(words.data()) + from, sizeof bits);
    return bits;
  }

  std::vector<std::uint64_t> words;
};

/// Bits of the columns x at which an edge falls: it does when the sample or its right neighbour is
/// below the one before. For words 0..size-1.
void fallingEdges(BitRow &below, std::vector<std::uint64_t> &falls) {
  const std::uint64_t *bits = below.data();
  for (std::size_t i = 0; i < falls.size(); ++i)
    falls[i] = bits[i] | bits[i] >> 1 | bits[i + 1] << 63;
}

/// Sum of the widths of a row's edges. The width of the one at column x: the run of steps in its
/// direction to its right and, from x itself, to its left.
std::int64_t totalWidth(const std::vector<std::uint64_t> &edges,
                        const std::vector<std::uint64_t> &falls, const BitRow &rising,
                        const BitRow &falling) {
  const BitRow *const steps[2] = {&rising, &falling}; // an index, as no jump could be foreseen
  std::int64_t width = 0;
  for (std::size_t i = 0; i < edges.size(); ++i)
    for (std::uint64_t bits = edges[i]; bits != 0; bits &= bits - 1) {
      const auto bit = static_cast<std::uint64_t>(std::countr_zero(bits));
      const BitRow &run = *steps[falls[i] >> bit & 1];
      width += run.runRight(64 * i + bit + 1) + run.runLeft(64 * i + bit);
    }
  return width;
}

} // namespace

double measureBlur(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (w < BLUR_BLOCKSIZE || h < BLUR_BLOCKSIZE)
    return 0.0;
  const std::uint32_t least = leastDifference(luma);
  if (least > 255)
    return 0.0;

  // Edges are sought in the whole blocks, less the outermost rows and columns.
  const std::uint64_t columns = w / BLUR_BLOCKSIZE * BLUR_BLOCKSIZE;
  const std::uint64_t lines = h / BLUR_BLOCKSIZE * BLUR_BLOCKSIZE;
  const std::vector<std::uint8_t> flat(w + 2); // row 0 counts as one without gradients
  std::vector<std::uint64_t> edges((columns + 63) / 64), falls(edges.size());
  BitRow rising(w), falling(w);
  std::int64_t count = 0, width = 0;
  for (std::uint64_t y = 1; y < lines - 1; ++y) {
    const std::uint8_t *row = luma->data + y * w;
    const std::uint8_t *upper = y == 1 ? flat.data() + 2 : row - w;
    const std::size_t found = rows().edgeColumns(upper, row - w, row, row + w, columns,
                                                 static_cast<std::uint8_t>(least), edges.data());
    if (found == 0)
      continue;
    count += static_cast<std::int64_t>(found);
    // A block's threshold for steps is its deviation / 1024, which stays below 0.125: every step of
    // at least 1 exceeds it, whatever the block. Runs end before the last column and after
    // column 1.
    rows().steps(row, w, rising.data(), falling.data());
    fallingEdges(falling, falls);
    for (BitRow *steps : {&rising, &falling})
      for (const std::uint64_t x : {std::uint64_t{1}, w - 1})
        steps->clear(x);
    width += totalWidth(edges, falls, rising, falling);
  }
  return width != 0 ? static_cast<double>(width) / static_cast<double>(count) : 0.0;
}

void *blur(void *luma) {
  return runRoutine(luma, [](const Image *picture) { Results.blur = measureBlur(picture); });
}

/// Opinion score of a blur value, 0 to 5.
double blurToMOS(double blur) {
  const double e = std::exp(-1.5 * blur + 2.87);
  return std::max(0.0, 5.0 * std::pow(e / (e + 1.0), 0.14));
}

} // namespace lumagauge
