// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include "tools/arithmetic.h"

#include <algorithm>
#include <cassert>

namespace lumagauge {

void roberts(const Image *src, Image32 *destX, Image32 *destY) {
  assert(src->h == destX->h && src->w == destX->w);
  assert(src->h == destY->h && src->w == destY->w);
  const std::uint64_t w = src->w;
  if (src->h == 0)
    return;
  std::fill_n(destX->data, w, 0);
  std::fill_n(destY->data, w, 0);
  for (std::uint64_t y = 1; y < src->h; ++y) {
    const std::uint8_t *row = src->data + y * w;
    const std::uint8_t *above = row - w;
    std::int32_t *outX = destX->data + y * w;
    std::int32_t *outY = destY->data + y * w;
    for (std::uint64_t x = 0; x < w; ++x) {
      outX[x] = x == 0 ? 0 : above[x - 1] - row[x];
      outY[x] = x == 0 ? 0 : above[x] - row[x - 1];
    }
  }
}

void robertsSkip(const Image *src, Image32 *destX, Image32 *destY, std::int32_t stepX,
                 std::int32_t stepY) {
  const auto sx = static_cast<std::uint64_t>(stepX), sy = static_cast<std::uint64_t>(stepY);
  for (std::uint64_t r = 0; r < destX->h; ++r) {
    std::int32_t *outX = destX->data + r * destX->w;
    std::int32_t *outY = destY->data + r * destX->w;
    for (std::uint64_t j = 0; j < destX->w; ++j) {
      if (r == 0 || j == 0) {
        outX[j] = outY[j] = 0;
        continue;
      }
      const std::uint8_t *sample = src->data + r * sy * src->w + j * sx;
      const std::uint8_t *above = sample - src->w;
      outX[j] = above[-1] - sample[0];
      outY[j] = above[0] - sample[-1];
    }
  }
}

namespace {

template <class Picture> void sumOfSquares(const Picture *a, const Picture *b, Image32 *dest) {
  const std::int32_t n = sampleCount32(a);
  for (std::int32_t i = 0; i < n; ++i)
    dest->data[i] = wrappingAdd(wrappingMultiply(a->data[i], a->data[i]),
                                wrappingMultiply(b->data[i], b->data[i]));
}

} // namespace

void addSquares(const Image *a, const Image *b, Image32 *dest) {
  sumOfSquares(a, b, dest);
}
void addSquares32(const Image32 *a, const Image32 *b, Image32 *dest) {
  sumOfSquares(a, b, dest);
}

void multiply(const Image32 *a, const Image32 *b, Image32 *dest) {
  const std::int32_t n = sampleCount32(a);
  for (std::int32_t i = 0; i < n; ++i)
    dest->data[i] = wrappingMultiply(a->data[i], b->data[i]);
}

std::int32_t countSeqsH(const Image32 *map, Image32 *counts, std::uint64_t bw, std::uint64_t bh,
                        std::int32_t minimum, double threshold) {
  if (counts->h == 0 || bh == 0)
    return 0;
  for (std::uint64_t y = 0; y < counts->h * bh; ++y)
    for (std::uint64_t bx = 0; bx < counts->w; ++bx) {
      const std::int32_t *samples = map->data + y * map->w + bx * bw;
      std::int32_t &count = counts->data[y / bh * counts->w + bx];
      std::int32_t run = 0;
      for (std::uint64_t x = 0; x < bw; ++x) {
        run = samples[x] > threshold ? run + 1 : 0;
        if (run == minimum && run != 0)
          ++count;
      }
    }
  return 0;
}

std::int32_t countSeqsV(const Image32 *map, Image32 *counts, Image32 *runs, std::uint64_t bw,
                        std::uint64_t bh, std::int32_t minimum, double threshold) {
  if (counts->h == 0)
    return 0;
  const std::uint64_t covered = counts->w * bw;
  for (std::uint64_t y = 0; y < counts->h * bh; ++y) {
    const std::int32_t *samples = map->data + y * map->w;
    const bool lastRow = y % bh == bh - 1;
    for (std::uint64_t x = 0; x < covered; ++x) {
      std::int32_t &run = runs->data[x];
      run = samples[x] > threshold ? run + 1 : 0;
      if (run == minimum && run != 0)
        ++counts->data[y / bh * counts->w + x / bw];
      if (lastRow)
        run = 0;
    }
  }
  return 0;
}

namespace {

/// Calls found(length) for every maximal run of at least `minimum` samples above `threshold` in a
/// row.
template <class Found>
void forEachRun(const Image32 *map, std::int32_t minimum, double threshold, Found found) {
  const auto least = static_cast<std::uint64_t>(std::max(minimum, 1));
  for (std::uint64_t y = 0; y < map->h; ++y) {
    std::uint64_t run = 0;
    for (std::uint64_t x = 0; x <= map->w; ++x) {
      if (x < map->w && map->data[y * map->w + x] > threshold) {
        ++run;
        continue;
      }
      if (run >= least)
        found(run);
      run = 0;
    }
  }
}

} // namespace

std::uint64_t tempCountSeqsH(const Image32 *map, std::int32_t minimum, double threshold) {
  std::uint64_t runs = 0;
  forEachRun(map, minimum, threshold, [&](std::uint64_t) { ++runs; });
  return runs;
}

std::uint64_t tempCountSeqsH2(const Image32 *map, std::int32_t minimum, double threshold) {
  std::uint64_t samples = 0;
  forEachRun(map, minimum, threshold, [&](std::uint64_t length) { samples += length; });
  return samples;
}

} // namespace lumagauge
