// SPDX-License-Identifier: BSD-2-Clause
#include "tests/reference/compositions.h"

#include "tools/arithmetic.h"
#include "tools/working_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <vector>

namespace lumagauge::test {

double composedBlockLoss(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (w < 256 || h < 256)
    return -1.0;

  WorkingImage32 rowX(w, h / 16), rowY(w, h / 16), rowEdges(w, h / 16);
  robertsSkip(luma, rowX, rowY, 1, 16);
  addSquares32(rowX, rowY, rowEdges);

  WorkingImage32 columnX(w / 16, h), columnY(w / 16, h), columnEdges(w / 16, h);
  robertsSkip(luma, columnX, columnY, 16, 1);
  addSquares32(columnX, columnY, columnEdges);

  WorkingImage32 fullX(w, h), fullY(w, h), fullEdges(w, h);
  roberts(luma, fullX, fullY);
  addSquares32(fullX, fullY, fullEdges);
  const double threshold =
      6.0 * (static_cast<double>(sumPixels32(fullEdges)) / static_cast<double>(w * h));

  WorkingImage32 horizontal(w / 256, h / 256), vertical(w / 256, h / 256);
  WorkingImage32 products(w / 256, h / 256), columnRuns(w, 1);
  countSeqsH(rowEdges, horizontal, 256, 16, 12, threshold);
  countSeqsV(columnEdges, vertical, columnRuns, 16, 256, 12, threshold);
  multiply(horizontal, vertical, products);
  return static_cast<double>(sumPixels32(products)) /
         static_cast<double>(products->w * products->h);
}

namespace {

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

double composedBlur(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (w < 16 || h < 16)
    return 0.0;
  const std::uint64_t across = w / 16, down = h / 16;
  WorkingImage32 sums(across, down), squareSums(across, down);
  WorkingImageDouble deviations(across, down);
  calculateStdDevs(luma, sums, squareSums, deviations, 16, 16);

  WorkingImage32 gx(w, h), gy(w, h), squares(w, h);
  gradient(luma, gx, gy);
  std::transform(gx->data, gx->data + w * h, squares->data, [](std::int32_t g) { return g * g; });
  const double threshold = static_cast<double>(sumPixels32(squares)) /
                           (static_cast<double>(w) * static_cast<double>(h)) * 16.0;

  const EdgeMaps maps{gx->data, gy->data, squares->data, w};
  EdgeWidths widths;
  for (std::uint64_t y = 1; y < down * 16 - 1; ++y)
    for (std::uint64_t x = 1; x < across * 16 - 1; ++x) {
      const std::uint64_t j = y * w + x;
      if (!(squares->data[j] > threshold) || !isMaximum(maps, j))
        continue;
      const std::uint64_t block = y / 16 * across + x / 16;
      addEdge(gx->data + y * w, w, x, deviations->data[block] * 0.0009765625, widths);
    }
  return widths.width != 0 ? static_cast<double>(widths.width) / widths.edges : 0.0;
}

namespace {

/// The weighted mean bin around the mode of the deviations' histogram, NaN without deviations. The
/// mode is the bin that first reached the highest count.
double commonDeviation(const ImageDouble *deviations) {
  std::array<std::uint32_t, 128> count{};
  std::size_t mode = 0;
  for (std::uint64_t i = 0; i < deviations->w * deviations->h; ++i) {
    const auto bin = static_cast<std::size_t>(
        std::clamp(static_cast<std::int32_t>(std::round(deviations->data[i])), 0, 128 - 1));
    ++count[bin];
    if (count[mode] < count[bin])
      mode = bin;
  }
  const std::size_t first = std::clamp<std::size_t>(mode, 1, 128 - 2) - 1;
  const auto weighted =
      first * count[first] + (first + 1) * count[first + 1] + (first + 2) * count[first + 2];
  const auto total = count[first] + count[first + 1] + count[first + 2];
  return quotient(static_cast<double>(weighted), static_cast<double>(total));
}

/// Copies the blocks at `level` side by side into the container and returns how many there are.
std::uint32_t chooseBlocks(const Image *luma, const ImageDouble *deviations, double level,
                           Image *container) {
  const auto rounded = std::round(level);
  const bool roundedUp = std::trunc(level) != rounded;
  std::uint32_t chosen = 0;
  for (std::uint64_t i = 0; i < deviations->w * deviations->h && chosen < 1000; ++i) {
    const double deviation = deviations->data[i];
    if ((roundedUp ? std::round(deviation) : std::floor(deviation)) != rounded)
      continue;
    const std::uint64_t x = i % deviations->w * BLOCKSIZE, y = i / deviations->w * BLOCKSIZE;
    for (std::uint64_t r = 0; r < BLOCKSIZE; ++r)
      std::copy_n(luma->data + (y + r) * luma->w + x, BLOCKSIZE,
                  container->data + r * container->w + chosen * BLOCKSIZE);
    ++chosen;
  }
  return chosen;
}

/// A 3x3 Gaussian of that sigma. The factor is 1 / (6.28 sigma^2), and the weights are not scaled
/// to sum 1: both belong to the indicator's definition.
void fillGaussian(ImageDouble *kernel, std::uint32_t sigma) {
  const std::uint32_t q = sigma * sigma;
  const double factor = 1.0 / (q * 6.28);
  for (int i = -1; i <= 1; ++i)
    for (int j = -1; j <= 1; ++j)
      kernel->data[(i + 1) * 3 + j + 1] =
          std::exp(static_cast<double>(-(i * i + j * j)) / static_cast<double>(2 * q)) * factor;
}

/// Mean over the container's first n blocks of the deviation of what smoothing takes away. Without
/// a value when the filter refuses.
std::optional<double> residualDeviation(const Image *container, std::uint32_t n,
                                        const ImageDouble *kernel) {
  WorkingImageDouble smoothed(container->w, container->h);
  if (filter(container, smoothed, kernel, n, BLOCKSIZE, BLOCKSIZE) != 0) {
    std::printf("Cannot filter the selected blocks! ");
    std::puts("Check the string above to see what is the problem.");
    return std::nullopt;
  }
  WorkingImageDouble residual(BLOCKSIZE * n, BLOCKSIZE);
  for (std::uint64_t y = 0; y < residual->h; ++y)
    for (std::uint64_t x = 0; x < residual->w; ++x)
      residual->data[y * residual->w + x] =
          container->data[y * container->w + x] - smoothed->data[y * smoothed->w + x];
  WorkingImageDouble sums(n, 1), squareSums(n, 1), deviations(n, 1);
  calculateStdDevsDouble_ommitZeros(residual, sums, squareSums, deviations, kernel, BLOCKSIZE,
                                    BLOCKSIZE);
  double total = 0.0;
  for (std::uint32_t k = 0; k < n; ++k)
    total += deviations->data[k];
  return quotient(total, n);
}

} // namespace

std::optional<double> composedNoise(const Image *luma) {
  const std::uint64_t across = luma->w / BLOCKSIZE, down = luma->h / BLOCKSIZE;
  WorkingImage32 sums(across, down), squareSums(across, down);
  WorkingImageDouble deviations(across, down);
  calculateStdDevs(luma, sums, squareSums, deviations, BLOCKSIZE, BLOCKSIZE);

  const double level = commonDeviation(deviations);
  if (!(level >= 0.5)) // also a NaN
    return std::nullopt;
  WorkingImage container(1000 * BLOCKSIZE, BLOCKSIZE);
  const std::uint32_t n = chooseBlocks(luma, deviations, level, container);
  WorkingImageDouble kernel(3, 3);
  fillGaussian(kernel, static_cast<std::uint32_t>(std::round(level)));
  return residualDeviation(container, n, kernel);
}

namespace {

/// Share of samples in each whole strip of the w x h top left part of the picture that equal the
/// sample `displacement` further on.
void matchFractions(const Image *luma, std::uint64_t w, std::uint64_t h, std::uint64_t displacement,
                    ImageDouble *fractions) {
  WorkingImage matches(w, h);
  compareShifted(luma, matches, static_cast<std::int32_t>(displacement));
  WorkingImage32 sums(1, fractions->h);
  blockSums(matches, sums, w, 16);
  for (std::uint64_t i = 0; i < fractions->h; ++i)
    fractions->data[i] = sums->data[i] / static_cast<double>(16 * w);
}

} // namespace

std::optional<double> composedSlice(const Image *luma) {
  const std::uint64_t w = luma->w, h = luma->h;
  if (h < 3 * 16 || w <= 16)
    return std::nullopt;
  const std::uint64_t strips = (h - 16) / 16;
  WorkingImageDouble vertical(1, strips), horizontal(1, h / 16), ratios(1, strips);
  matchFractions(luma, w, h - 16, 16 * w, vertical);
  matchFractions(luma, w - 16, h, 16, horizontal);
  divideDouble(vertical, horizontal, ratios);

  // A strip without matches in either direction has no ratio and cannot be ordered among the
  // others.
  double *const end = ratios->data + strips;
  double *const orderedEnd =
      std::remove_if(ratios->data, end, [](double r) { return std::isnan(r); });
  if (orderedEnd == ratios->data)
    return quotient(0.0, 0.0);
  std::qsort(ratios->data, static_cast<std::size_t>(orderedEnd - ratios->data), sizeof(double),
             compare_Double_asc);
  return quotient(1.0, ratios->data[0]);
}

bool composedBlackout(const Image *luma) {
  WorkingImage32 sums(luma->w / 8, luma->h / 8);
  if (sums->w * sums->h == 0)
    return false;
  blockSums(luma, sums, 8, 8);
  std::int32_t darkest = 0, brightest = 0;
  minmax(sums->data, sums->w * sums->h, &darkest, &brightest);
  return (brightest - darkest) / 64.0 < 4.0;
}

double composedExposure(const Image *luma) {
  WorkingImage32 sums((luma->w - 1) / 8, (luma->h - 1) / 8);
  blockSums(luma, sums, 8, 8);
  // The four first sums in either order; starting values take part when blocks lack.
  const auto firstFour = [&](std::int32_t start, auto before) {
    std::vector<std::int32_t> sorted(sums->data, sums->data + sums->w * sums->h);
    sorted.insert(sorted.end(), 4, start);
    std::sort(sorted.begin(), sorted.end(), before);
    return std::accumulate(sorted.begin(), sorted.begin() + 4, 0);
  };
  return (firstFour(16320, std::less<>()) + firstFour(0, std::greater<>())) / 512.0;
}

} // namespace lumagauge::test
