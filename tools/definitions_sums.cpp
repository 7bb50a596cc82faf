// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <algorithm>
#include <numeric>

namespace lumagauge {

std::uint64_t sumPixels(const Image *src) {
  return rows().moments(src->data, src->w * src->h).sum;
}

std::int64_t sumPixels32(const Image32 *src) {
  std::int64_t sum = 0;
  for (std::uint64_t i = 0; i < src->w * src->h; ++i)
    sum += src->data[i];
  return sum;
}

std::uint64_t sumH(const std::uint8_t *start, std::uint64_t columns, std::uint64_t lines) {
  std::uint64_t sum = 0;
  for (std::uint64_t y = 0; y < lines; ++y)
    sum += rows().moments(start + y * columns, columns).sum;
  return sum;
}

std::uint64_t sumV(const std::uint8_t *start, std::uint64_t columns, std::uint64_t lines) {
  std::uint64_t sum = 0;
  for (std::uint64_t x = 0; x < columns; ++x)
    for (std::uint64_t y = 0; y < lines; ++y)
      sum += start[y * columns + x];
  return sum;
}

void blockSums(const Image *src, Image32 *dest, std::uint64_t bw, std::uint64_t bh) {
  if (dest->h == 0 || bh == 0)
    return;
  for (std::uint64_t y = 0; y < dest->h * bh; ++y) {
    const std::uint8_t *row = src->data + y * src->w;
    std::int32_t *sums = dest->data + y / bh * dest->w;
    for (std::uint64_t bx = 0; bx < dest->w; ++bx)
      sums[bx] = std::accumulate(row + bx * bw, row + (bx + 1) * bw, sums[bx], wrappingAdd);
  }
}

void integrate(const Image *src, Image32 *dest) {
  for (std::uint64_t y = 0; y < src->h; ++y) {
    std::int32_t rowSum = 0;
    for (std::uint64_t x = 0; x < src->w; ++x) {
      const std::uint64_t i = y * src->w + x;
      rowSum = wrappingAdd(rowSum, src->data[i]);
      dest->data[i] = y == 0 ? rowSum : wrappingAdd(rowSum, dest->data[i - src->w]);
    }
  }
}

namespace {

/// Sum of the bw x bh samples whose top left corner is (x, y); corners left of or above the picture
/// count as 0.
std::int32_t rectangleSum(const Image32 *integral, std::uint64_t x, std::uint64_t y,
                          std::uint64_t bw, std::uint64_t bh) {
  const auto corner = [&](std::uint64_t endX, std::uint64_t endY) {
    return endX == 0 || endY == 0
               ? 0U
               : static_cast<std::uint32_t>(integral->data[(endY - 1) * integral->w + endX - 1]);
  };
  return static_cast<std::int32_t>(corner(x + bw, y + bh) - corner(x, y + bh) - corner(x + bw, y) +
                                   corner(x, y));
}

} // namespace

void blockSumsInteg(const Image32 *integral, Image32 *dest, std::uint64_t bw, std::uint64_t bh) {
  for (std::uint64_t by = 0; by < dest->h; ++by)
    for (std::uint64_t bx = 0; bx < dest->w; ++bx) {
      std::int32_t &sum = dest->data[by * dest->w + bx];
      sum = wrappingAdd(sum, rectangleSum(integral, bx * bw, by * bh, bw, bh));
    }
}

void blockSumsInteg2(const Image32 *integral, Image32 *dest, std::uint64_t bw, std::uint64_t bh) {
  std::fill_n(dest->data, dest->w * dest->h, 0);
  blockSumsInteg(integral, dest, bw, bh);
}

void onlyCopy(const Image *src, Image *dest) {
  std::copy_n(src->data, src->w * src->h, dest->data);
}

} // namespace lumagauge
