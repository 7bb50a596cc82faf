// SPDX-License-Identifier: BSD-2-Clause
//
// The fifteen values of a frame: what can be computed of a frame and the one before it alone, on
// any thread, and the counters over it that want the frames in order.
#ifndef LUMAGAUGE_QC_MEASURE_MEASURE_H
#define LUMAGAUGE_QC_MEASURE_MEASURE_H

#include "indicators/indicators.h"
#include "qc/record.h"

namespace lumagauge::qc {

/// All of a frame that needs no memory of earlier ones.
struct FrameMeasures {
  FrameRecord record;                      ///< without freezing and flickering
  bool hasPrevious = false;                ///< false for the first frame, which has no pair
  std::optional<bool> blackout;            ///< for freezing
  std::optional<double> temporalActivity;  ///< for freezing
  std::vector<std::uint8_t> changedBlocks; ///< for flickering
};

/// Measures a picture of width x height against the one before it, null for the first. Computes
/// what the indicators of the mask `requested` need and puts those into the record. Safe on any
/// thread; throws std::bad_alloc.
FrameMeasures measureFrame(const LumaPicture &picture, const LumaPicture *previous,
                           std::uint32_t width, std::uint32_t height, std::uint32_t requested);

/// What freezing and flickering remember of one input.
class TemporalCounters {
public:
  TemporalCounters(std::uint32_t width, std::uint32_t height, double rate, std::uint32_t requested);
  /// Completes the record of the next frame, in order.
  FrameRecord complete(FrameMeasures &&measures);

private:
  std::uint32_t blocksAcross, blocksDown, requested;
  double rate;
  FreezingState freezing;
  FlickeringState flickering;
  std::vector<std::uint8_t> flickerCounts, flickerStates;
};

} // namespace lumagauge::qc

#endif
