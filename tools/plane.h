// SPDX-License-Identifier: BSD-2-Clause
//
// A picture that is only read.
#ifndef LUMAGAUGE_TOOLS_PLANE_H
#define LUMAGAUGE_TOOLS_PLANE_H

#include "tools/definitions.h"

namespace lumagauge {

/// w x h samples of somebody else, row after row without gaps.
struct Plane {
  std::uint64_t w;
  std::uint64_t h;
  const std::uint8_t *data;

  Plane(std::uint64_t width, std::uint64_t height, const std::uint8_t *samples)
      : w(width), h(height), data(samples) {}
  /// Whatever can be written can be read.
  Plane(const Image &image) : Plane(image.w, image.h, image.data) {}
};

/// spatialAct and temporalAct of pictures that are only read.
double spatialAct(const Plane &src);
double temporalAct(const Plane &current, const Plane &previous);

} // namespace lumagauge

#endif
