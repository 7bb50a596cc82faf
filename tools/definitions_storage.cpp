// SPDX-License-Identifier: BSD-2-Clause
#include "tools/definitions.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

#include <cstdlib>
#include <cstring>

namespace lumagauge {

namespace {

template <class Sample> Sample *allocate(std::uint64_t w, std::uint64_t h) {
  return static_cast<Sample *>(std::malloc(w * h * sizeof(Sample)));
}

template <class Sample> Sample *allocateZeroed(std::uint64_t w, std::uint64_t h) {
  return static_cast<Sample *>(std::calloc(w * h, sizeof(Sample)));
}

#ifdef MADV_HUGEPAGE
/// Frames of these sizes, up to 8K, lie in huge pages where the system has them: fewer addresses to
/// translate make reading and measuring them faster. The memory is taken at once, so what is
/// larger, perhaps by mistake, is left to be taken when it is used.
constexpr std::uint64_t LARGE = 1 << 20, HUGE_PAGE = 1 << 21, TOO_LARGE = 1 << 26;

template <> std::uint8_t *allocateZeroed(std::uint64_t w, std::uint64_t h) {
  const std::uint64_t samples = w * h;
  if (samples < LARGE || samples > TOO_LARGE)
    return static_cast<std::uint8_t *>(std::calloc(samples, 1));
  const std::uint64_t bytes = (samples + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
  void *memory = std::aligned_alloc(HUGE_PAGE, bytes);
  if (memory == nullptr)
    return nullptr;
  madvise(memory, bytes, MADV_HUGEPAGE); // where it fails, small pages serve
  return static_cast<std::uint8_t *>(std::memset(memory, 0, samples));
}
#endif

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
