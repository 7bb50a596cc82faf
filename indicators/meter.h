// SPDX-License-Identifier: BSD-2-Clause
//
// All indicators of a frame: what can be measured of it and the frame before it alone, on any
// thread, and what wants the frames in order.
#ifndef LUMAGAUGE_INDICATORS_METER_H
#define LUMAGAUGE_INDICATORS_METER_H

#include "indicators/indicators.h"

#include <array>
#include <vector>

namespace lumagauge {

/// A value for each indicator of the list, in its order; empty where there is none.
using FrameValues = std::array<std::optional<double>, LUMAGAUGE_INDICATOR_COUNT>;

/// What a frame gives without memory of earlier ones. Reused, it allocates nothing anew.
struct FrameMeasures {
  FrameValues values;
  bool hasPrevious = false; ///< a first frame has none
  std::vector<std::uint8_t> changedBlocks;
  std::vector<std::int16_t> rowBlocks;
};

/// The costly half: measures a picture against the one before it (null for a first frame), as far
/// as the indicators of the mask need it. Throws std::bad_alloc; `measures` is then of no use.
void measureFrame(const Plane &luma, const Plane *previous, std::uint32_t requested,
                  LumaRange range, FrameMeasures &measures);

/// Whether an indicator of the mask compares a frame with the one before it.
bool needPrevious(std::uint32_t requested);

/// The cheap half, with the memory of one video.
class FrameSequence {
public:
  /// Of width x height samples at `frameRate` frames a second. Throws std::bad_alloc.
  FrameSequence(std::uint64_t width, std::uint64_t height, double frameRate,
                std::uint32_t requestedMask);
  /// The values of the next frame, in order: those that were requested.
  FrameValues complete(const FrameMeasures &measures);

private:
  std::uint64_t blocksAcross, blocksDown;
  double rate;
  std::uint32_t requested;
  FreezingState freezing;
  FlickeringState flickering;
  StaleRowsState staleRows;
  std::vector<std::uint8_t> flickerCounts, flickerStates;
};

} // namespace lumagauge

#endif
