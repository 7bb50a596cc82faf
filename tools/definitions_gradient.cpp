// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

namespace lumagauge {

void gradient(const Image *src, Image32 *destX, Image32 *destY) {
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
      outX[x] = x == 0 ? 0 : row[x] - row[x - 1];
      outY[x] = x == 0 ? 0 : row[x] - above[x];
    }
  }
}

void absGradient(const Image *src, Image32 *destX, Image32 *destY) {
  assert(src->h == destX->h && src->w == destX->w);
  assert(src->h == destY->h && src->w == destY->w);
  gradient(src, destX, destY);
  for (std::uint64_t i = 0; i < src->w * src->h; ++i) {
    destX->data[i] = std::abs(destX->data[i]);
    destY->data[i] = std::abs(destY->data[i]);
  }
}

void sobel(const Image *src, Image32 *destX, Image32 *destY) {
  assert(src->h == destX->h && src->w == destX->w);
  assert(src->h == destY->h && src->w == destY->w);
  const std::uint64_t w = src->w;
  std::fill_n(destX->data, w * src->h, 0);
  std::fill_n(destY->data, w * src->h, 0);
  for (std::uint64_t y = 1; y + 1 < src->h; ++y)
    for (std::uint64_t x = 1; x + 1 < w; ++x) {
      const std::uint8_t *p = src->data + y * w + x;
      const std::uint8_t *a = p - w;
      const std::uint8_t *b = p + w;
      destX->data[y * w + x] = (a[1] + 2 * p[1] + b[1]) - (a[-1] + 2 * p[-1] + b[-1]);
      destY->data[y * w + x] = (b[-1] + 2 * b[0] + b[1]) - (a[-1] + 2 * a[0] + a[1]);
    }
}

void sobel2(const Image *src, Image32 *destX, Image32 *destY) {
  assert(src->h == destX->h && src->w == destX->w);
  assert(src->h == destY->h && src->w == destY->w);
  const std::uint64_t w = src->w;
  std::fill_n(destX->data, w * src->h, 0);
  std::fill_n(destY->data, w * src->h, 0);
  if (w < 3)
    return;
  for (std::uint64_t y = 1; y + 1 < src->h; ++y) {
    const std::uint8_t *a = src->data + (y - 1) * w;
    const std::uint8_t *p = a + w;
    const std::uint8_t *b = p + w;
    // Down each column: the smoothing 1 2 1 for X and the difference for Y; then along the row the
    // other one of each pair. Three columns suffice at a time.
    const auto smooth = [&](std::uint64_t x) { return a[x] + 2 * p[x] + b[x]; };
    const auto differ = [&](std::uint64_t x) { return b[x] - a[x]; };
    int smoothLeft = smooth(0), smoothHere = smooth(1);
    int differLeft = differ(0), differHere = differ(1);
    for (std::uint64_t x = 1; x + 1 < w; ++x) {
      const int smoothRight = smooth(x + 1), differRight = differ(x + 1);
      destX->data[y * w + x] = smoothRight - smoothLeft;
      destY->data[y * w + x] = differLeft + 2 * differHere + differRight;
      smoothLeft = smoothHere;
      smoothHere = smoothRight;
      differLeft = differHere;
      differHere = differRight;
    }
  }
}

} // namespace lumagauge
