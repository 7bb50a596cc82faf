// SPDX-License-Identifier: BSD-2-Clause
#include "tools/rows.h"

#include "tools/arithmetic.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace lumagauge {

std::uint64_t sumRow(const std::uint8_t *row, std::size_t n) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < n; ++i)
    sum += row[i];
  return sum;
}

Moments momentsRow(const std::uint8_t *row, std::size_t n) {
  Moments moments{0, 0};
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint32_t p = row[i];
    moments.sum += p;
    moments.squares += p * p;
  }
  return moments;
}

std::uint64_t absDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < n; ++i)
    sum += static_cast<std::uint32_t>(std::abs(a[i] - b[i]));
  return sum;
}

std::uint64_t squaredDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const int d = a[i] - b[i];
    sum += static_cast<std::uint32_t>(d * d);
  }
  return sum;
}

std::uint64_t sobelEnergyRow(const std::uint8_t *above, const std::uint8_t *row,
                             const std::uint8_t *below, std::size_t w) {
  std::uint64_t energy = 0;
  for (std::size_t x = 1; x + 1 < w; ++x) {
    const int gx = (above[x + 1] + 2 * row[x + 1] + below[x + 1]) -
                   (above[x - 1] + 2 * row[x - 1] + below[x - 1]);
    const int gy =
        (below[x - 1] + 2 * below[x] + below[x + 1]) - (above[x - 1] + 2 * above[x] + above[x + 1]);
    energy += static_cast<std::uint32_t>(gx * gx + gy * gy);
  }
  return energy;
}

void equalRow(const std::uint8_t *a, const std::uint8_t *b, std::uint8_t *dest, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    dest[i] = a[i] == b[i];
}

std::size_t firstDifferenceRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t n) {
  return static_cast<std::size_t>(std::mismatch(a, a + n, b).first - a);
}

void blockSumsRow(const std::uint8_t *row, std::size_t blocks, std::size_t bw, std::int32_t *sums) {
  for (std::size_t b = 0; b < blocks; ++b) {
    std::uint32_t sum = 0;
    for (std::size_t x = b * bw; x < (b + 1) * bw; ++x)
      sum += row[x];
    sums[b] = wrappingAdd(sums[b], static_cast<std::int32_t>(sum));
  }
}

void blockMomentsRow(const std::uint8_t *row, std::size_t blocks, std::size_t bw,
                     std::int32_t *sums, std::int32_t *squares) {
  for (std::size_t b = 0; b < blocks; ++b) {
    std::uint32_t sum = 0;
    std::uint32_t square = 0;
    for (std::size_t x = b * bw; x < (b + 1) * bw; ++x) {
      const std::uint32_t p = row[x];
      sum += p;
      square += p * p;
    }
    sums[b] = wrappingAdd(sums[b], static_cast<std::int32_t>(sum));
    squares[b] = wrappingAdd(squares[b], static_cast<std::int32_t>(square));
  }
}

void gradientRow(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                 std::int32_t *destX, std::int32_t *destY) {
  if (w == 0)
    return;
  destX[0] = 0;
  destY[0] = 0;
  for (std::size_t x = 1; x < w; ++x) {
    destX[x] = row[x] - row[x - 1];
    destY[x] = row[x] - above[x];
  }
}

void robertsRow(const std::uint8_t *above, const std::uint8_t *row, std::size_t w,
                std::int32_t *destX, std::int32_t *destY) {
  if (w == 0)
    return;
  destX[0] = 0;
  destY[0] = 0;
  for (std::size_t x = 1; x < w; ++x) {
    destX[x] = above[x - 1] - row[x];
    destY[x] = above[x] - row[x - 1];
  }
}

std::size_t combBlocksRow(const std::uint8_t *top, std::size_t stride, std::size_t blocks) {
  std::size_t combs = 0;
  for (std::size_t block = 0; block < blocks; ++block) {
    bool comb = true;
    for (std::size_t x = 4 * block; x < 4 * block + 4; ++x) {
      const int a = top[x], b = top[x + stride], c = top[x + 2 * stride], d = top[x + 3 * stride];
      comb = comb && ((a > b && b < c && c > d) || (a < b && b > c && c < d));
    }
    combs += comb;
  }
  return combs;
}

void columnBordersRow(const std::uint8_t *row, std::size_t borders, std::uint32_t *inside,
                      std::uint32_t *border) {
  for (std::size_t i = 0; i < borders; ++i) {
    const std::uint8_t *column = row + 8 * (i + 1);
    inside[i] += static_cast<std::uint32_t>(std::abs(column[-1] - column[-2]));
    border[i] += static_cast<std::uint32_t>(std::abs(column[-1] - column[0]));
  }
}

void markChangedBlocksRow(const std::uint8_t *a, const std::uint8_t *b, std::size_t blocks,
                          std::uint8_t *changed) {
  for (std::size_t block = 0; block < blocks; ++block)
    changed[block] |= std::memcmp(a + 8 * block, b + 8 * block, 8) != 0;
}

} // namespace lumagauge
