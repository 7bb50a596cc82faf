// SPDX-License-Identifier: BSD-2-Clause
//
// Blur: mean width in samples of the strong edges along the rows, 0 and up; a sharp edge has width
// 1, a soft one spreads over many samples. 0.0 when there is no such edge, and below 16x16 samples.
// In the line of edge-width measures: Marziliano, Dufaux, Winkler, Ebrahimi, "A no-reference
// perceptual blur metric", 2002.
#include "indicators/indicators.h"
#include "indicators/routine.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace lumagauge {

namespace {

constexpr std::uint64_t BLUR_BLOCKSIZE = 16;
constexpr double EDGE_FACTOR = 16.0;          ///< times the mean squared horizontal difference
constexpr double BLOCK_FACTOR = 0.0009765625; ///< of the block's deviation: least step of an edge

struct EdgeWidths {
  std::int32_t edges = 0;
  std::int32_t width = 0;
};

/// The maps that an edge is judged by, all of the picture's size.
struct EdgeMaps {
  const std::int32_t *gx;
  const std::int32_t *gy;
  const std::int32_t *squares; ///< gx squared
  std::uint64_t w;
};

/// Whether sample j is a maximum of the squared horizontal difference along its row, where that
/// difference is not the weaker one, or down its column.
bool isMaximum(const EdgeMaps &maps, std::uint64_t j) {
  const std::int32_t *v = maps.squares + j;
  const auto stride = static_cast<std::ptrdiff_t>(maps.w);
  const bool alongRow =
      v[0] > v[1] && v[0] >= v[-1] && std::abs(maps.gx[j]) >= std::abs(maps.gy[j]);
  return alongRow || (v[0] >= v[-stride] && v[0] > v[stride]);
}

/// Adds the edge at column x of the row that starts at `row`: the run of differences in the edge's
/// direction above `least`, to the right of x and from x to the left.
void addEdge(const std::int32_t *row, std::uint64_t w, std::uint64_t x, double least,
             EdgeWidths &widths) {
  if (row[x] == 0 && row[x + 1] == 0)
    return;
  const bool falling = row[x] < 0 || row[x + 1] < 0;
  const auto directed = [&](std::uint64_t k) { return falling ? -row[k] : row[k]; };
  ++widths.edges;
  if (directed(x + 1) > least && x < w - 2) {
    std::uint64_t k = x + 1;
    while (directed(k + 1) > least && k < w - 2)
      ++k;
    widths.width += static_cast<std::int32_t>(k - x);
  }
  if (directed(x) > least && x > 1) {
    std::uint64_t k = x - 1;
    while (directed(k) > least && k > 1)
      --k;
    widths.width += static_cast<std::int32_t>(x - k);
  }
}

} // namespace

double measureBlur(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (w < BLUR_BLOCKSIZE || h < BLUR_BLOCKSIZE)
    return 0.0;
  const std::uint64_t across = w / BLUR_BLOCKSIZE, down = h / BLUR_BLOCKSIZE;
  WorkingImage32 sums(across, down), squareSums(across, down);
  WorkingImageDouble deviations(across, down);
  calculateStdDevs(luma, sums, squareSums, deviations, BLUR_BLOCKSIZE, BLUR_BLOCKSIZE);

  WorkingImage32 gx(w, h), gy(w, h), squares(w, h);
  gradient(luma, gx, gy);
  std::transform(gx->data, gx->data + w * h, squares->data, [](std::int32_t g) { return g * g; });
  const double threshold = static_cast<double>(sumPixels32(squares)) /
                           (static_cast<double>(w) * static_cast<double>(h)) * EDGE_FACTOR;

  const EdgeMaps maps{gx->data, gy->data, squares->data, w};
  EdgeWidths widths;
  for (std::uint64_t y = 1; y < down * BLUR_BLOCKSIZE - 1; ++y)
    for (std::uint64_t x = 1; x < across * BLUR_BLOCKSIZE - 1; ++x) {
      const std::uint64_t j = y * w + x;
      if (!(squares->data[j] > threshold) || !isMaximum(maps, j))
        continue;
      const std::uint64_t block = y / BLUR_BLOCKSIZE * across + x / BLUR_BLOCKSIZE;
      addEdge(gx->data + y * w, w, x, deviations->data[block] * BLOCK_FACTOR, widths);
    }
  return widths.width != 0 ? static_cast<double>(widths.width) / widths.edges : 0.0;
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
