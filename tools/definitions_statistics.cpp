// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include "tools/arithmetic.h"

#include <cmath>
#include <cstdio>

namespace lumagauge {

namespace {

/// Sample standard deviation of n values of sum S and square sum Q.
double sampleDeviation(double sum, double squareSum, double n) {
  return std::sqrt((squareSum - sum * sum / n) / (n - 1));
}

} // namespace

void calculateStdDevs(const Image *src, Image32 *sums, Image32 *squareSums, ImageDouble *deviations,
                      std::uint64_t bw, std::uint64_t bh) {
  const auto n = static_cast<double>(bw * bh);
  const std::uint64_t across = sums->w;
  for (std::uint64_t by = 0; by < sums->h; ++by) {
    std::int32_t *sum = sums->data + by * across;
    std::int32_t *squareSum = squareSums->data + by * across;
    for (std::uint64_t y = by * bh; y < (by + 1) * bh; ++y)
      for (std::uint64_t x = 0; x < across * bw; ++x) {
        const std::int32_t p = src->data[y * src->w + x];
        sum[x / bw] = wrappingAdd(sum[x / bw], p);
        squareSum[x / bw] = wrappingAdd(squareSum[x / bw], p * p);
      }
    for (std::uint64_t bx = 0; bx < across; ++bx)
      deviations->data[by * across + bx] = sampleDeviation(sum[bx], squareSum[bx], n);
  }
}

namespace {

/// The weighted sum of the samples under a kernel whose top left weight lies on `corner`.
double correlate(const std::uint8_t *corner, std::uint64_t stride, const ImageDouble *kernel) {
  double sum = 0.0;
  for (std::uint64_t i = 0; i < kernel->h; ++i)
    for (std::uint64_t j = 0; j < kernel->w; ++j)
      sum += corner[i * stride + j] * kernel->data[i * kernel->w + j];
  return sum;
}

} // namespace

std::int32_t filter(const Image *src, ImageDouble *dest, const ImageDouble *kernel, std::uint32_t n,
                    std::uint32_t bw, std::uint32_t bh) {
  if (src->w != dest->w || src->h != dest->h) {
    std::puts("Source and destination images do not match with their size!");
    return -1;
  }
  if (src->h < kernel->h) {
    std::puts("Source image is to small for that kernel!");
    return -1;
  }
  const std::uint64_t r = kernel->w / 2;
  for (std::uint64_t k = 0; k < n; ++k)
    for (std::uint64_t y = r; y + r < bh; ++y)
      for (std::uint64_t x = k * bw + r; x + r < (k + 1) * bw; ++x)
        dest->data[y * dest->w + x] =
            correlate(src->data + (y - r) * src->w + x - r, src->w, kernel);
  return 0;
}

void calculateStdDevsDouble_ommitZeros(const ImageDouble *src, ImageDouble *sums,
                                       ImageDouble *squareSums, ImageDouble *deviations,
                                       const ImageDouble *kernel, std::uint64_t bw,
                                       std::uint64_t bh) {
  if (kernel->w != kernel->h) {
    std::printf("Provided kernel is not symmetric!");
    return;
  }
  const std::uint64_t r = kernel->w / 2;
  const auto n = static_cast<double>((bw - 2 * r) * (bh - 2 * r));
  const std::uint64_t across = sums->w;
  for (std::uint64_t by = 0; by < sums->h; ++by) {
    double *sum = sums->data + by * across;
    double *squareSum = squareSums->data + by * across;
    for (std::uint64_t y = r; y + r < bh; ++y) {
      const double *row = src->data + (by * bh + y) * src->w;
      for (std::uint64_t bx = 0; bx < across; ++bx)
        for (std::uint64_t x = bx * bw + r; x + r < (bx + 1) * bw; ++x) {
          sum[bx] += row[x];
          squareSum[bx] += row[x] * row[x];
        }
    }
    for (std::uint64_t bx = 0; bx < across; ++bx)
      deviations->data[by * across + bx] = sampleDeviation(sum[bx], squareSum[bx], n);
  }
}

} // namespace lumagauge
