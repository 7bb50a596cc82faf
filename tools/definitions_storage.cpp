// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#include <cstdlib>

namespace lumagauge {

namespace {

template <class Sample> Sample *allocate(std::uint64_t w, std::uint64_t h) {
  return static_cast<Sample *>(std::malloc(w * h * sizeof(Sample)));
}

template <class Sample> Sample *allocateZeroed(std::uint64_t w, std::uint64_t h) {
  return static_cast<Sample *>(std::calloc(w * h, sizeof(Sample)));
}

} // namespace

Image makeImage(std::uint64_t w, std::uint64_t h, std::uint8_t *data) {
  return {w, h, data};
}
Image allocImage(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocate<std::uint8_t>(w, h)};
}
Image callocImage(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocateZeroed<std::uint8_t>(w, h)};
}
void freeImage(const Image *image) {
  std::free(image->data);
}

Image32 makeImage32(std::uint64_t w, std::uint64_t h, std::int32_t *data) {
  return {w, h, data};
}
Image32 allocImage32(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocate<std::int32_t>(w, h)};
}
Image32 callocImage32(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocateZeroed<std::int32_t>(w, h)};
}
void freeImage32(const Image32 *image) {
  std::free(image->data);
}

ImageDouble makeImageDouble(std::uint64_t w, std::uint64_t h, double *data) {
  return {w, h, data};
}
ImageDouble allocImageDouble(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocate<double>(w, h)};
}
ImageDouble callocImageDouble(std::uint64_t w, std::uint64_t h) {
  return {w, h, allocateZeroed<double>(w, h)};
}
void freeImageDouble(const ImageDouble *image) {
  std::free(image->data);
}

} // namespace lumagauge
