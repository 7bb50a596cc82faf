// SPDX-License-Identifier: BSD-2-Clause
//
// Pictures for tests: owned samples of any type, made from a function of the position.
#ifndef LUMAGAUGE_TESTS_SUPPORT_PICTURES_H
#define LUMAGAUGE_TESTS_SUPPORT_PICTURES_H

#include "tools/definitions.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <vector>

namespace lumagauge::test {

template <class Record, class Sample> struct Picture : Record {
  std::vector<Sample> samples;

  Picture(std::uint64_t width, std::uint64_t height, std::vector<Sample> values = {})
      : samples(std::move(values)) {
    samples.reserve(width * height + 1); // operations take no null, not even for an empty picture
    samples.resize(width * height);
    this->w = width;
    this->h = height;
    this->data = samples.data();
  }
  Picture(const Picture &other) : Picture(other.w, other.h, other.samples) {}
  Picture &operator=(const Picture &) = delete;
};
using Luma = Picture<Image, std::uint8_t>;
using Map = Picture<Image32, std::int32_t>;
using Doubles = Picture<ImageDouble, double>;

/// A picture whose sample at (x, y) is the low byte of sample(x, y).
inline Luma luma(std::uint64_t w, std::uint64_t h, const std::function<int(int, int)> &sample) {
  Luma picture(w, h);
  for (std::uint64_t i = 0; i < w * h; ++i)
    picture.samples[i] =
        static_cast<std::uint8_t>(sample(static_cast<int>(i % w), static_cast<int>(i / w)));
  return picture;
}
inline Luma uniform(std::uint64_t w, std::uint64_t h, int level) {
  return luma(w, h, [=](int, int) { return level; });
}
/// Samples without pattern, the same on every machine.
inline Luma noisy(std::uint64_t w, std::uint64_t h, std::uint32_t seed = 1) {
  return luma(w, h, [state = seed](int, int) mutable {
    state = state * 1664525U + 1013904223U;
    return static_cast<int>(state >> 24);
  });
}

} // namespace lumagauge::test

#endif
