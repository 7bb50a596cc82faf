// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include "tools/arithmetic.h"
#include "tools/rows.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdio>

namespace lumagauge {

std::int32_t sumAndSquareSum(const Image *src, std::int32_t *sum, std::int64_t *squareSum) {
  const std::int32_t n = sampleCount32(src);
  const Moments moments = rows().moments(src->data, static_cast<std::size_t>(std::max(n, 0)));
  *sum = static_cast<std::int32_t>(static_cast<std::uint32_t>(moments.sum));
  *squareSum = static_cast<std::int64_t>(moments.squares);
  return *sum;
}

void compareShifted(const Image *src, Image *dest, std::int32_t displacement) {
  for (std::uint64_t y = 0; y < dest->h; ++y) {
    const std::uint8_t *row = src->data + y * src->w;
    std::transform(row, row + dest->w, row + displacement, dest->data + y * dest->w,
                   [](std::uint8_t a, std::uint8_t b) { return std::uint8_t{a == b}; });
  }
}

namespace {

template <class Picture>
void divideSamples(const Picture *numerator, const Picture *denominator, ImageDouble *dest) {
  const std::int32_t n = sampleCount32(numerator);
  for (std::int32_t i = 0; i < n; ++i)
    dest->data[i] =
        static_cast<double>(numerator->data[i]) / static_cast<double>(denominator->data[i]);
}

} // namespace

void divideDouble(const ImageDouble *numerator, const ImageDouble *denominator, ImageDouble *dest) {
  divideSamples(numerator, denominator, dest);
}

void divide(const Image32 *numerator, const Image32 *denominator, ImageDouble *dest) {
  divideSamples(numerator, denominator, dest);
}

bool areEqual(const Image *a, const Image *b) {
  if (a == b)
    return true;
  if (a->w != b->w || a->h != b->h)
    return false;
  return a->data == b->data || std::equal(a->data, a->data + a->w * a->h, b->data);
}

// The assertions' text is part of their report: the formatter stays off it.
// clang-format off
void convU8toI32(const Image *src, Image32 *dest) {
  assert(src->w * src->h == dest->w *dest->h);
  std::copy_n(src->data, src->w * src->h, dest->data);
}

void convI32toU8(const Image32 *src, Image *dest) {
  assert(src->w * src->h == dest->w *dest->h);
  std::transform(src->data, src->data + src->w * src->h, dest->data,
                 [](std::int32_t sample) { return static_cast<std::uint8_t>(sample); });
}

void imageSqrt(const ImageDouble *src, ImageDouble *dest) {
  assert(src->w * src->h == dest->w *dest->h);
  std::transform(src->data, src->data + src->w * src->h, dest->data,
                 [](double sample) { return std::sqrt(sample); });
}
// clang-format on

namespace {

template <class Picture>
void printSamples(const Picture *src, std::uint64_t x, std::uint64_t y, std::uint64_t columns,
                  std::uint64_t lines, const char *format) {
  for (std::uint64_t j = y; j < y + lines; ++j) {
    for (std::uint64_t i = x; i < x + columns; ++i)
      std::printf(format, src->data[j * src->w + i]);
    std::printf("\n");
  }
}

} // namespace

void printRange(const Image *src, std::uint64_t x, std::uint64_t y, std::uint64_t columns,
                std::uint64_t lines) {
  printSamples(src, x, y, columns, lines, "%03i ");
}

void printRange32(const Image32 *src, std::uint64_t x, std::uint64_t y, std::uint64_t columns,
                  std::uint64_t lines) {
  printSamples(src, x, y, columns, lines, "%i  ");
}

} // namespace lumagauge
