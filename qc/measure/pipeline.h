// SPDX-License-Identifier: BSD-2-Clause
//
// Many frames at once: one thread decodes, some measure, the caller gets the records in order.
#ifndef LUMAGAUGE_QC_MEASURE_PIPELINE_H
#define LUMAGAUGE_QC_MEASURE_PIPELINE_H

#include "qc/source/source.h"

#include <chrono>
#include <functional>
#include <memory>

namespace lumagauge::qc {

/// How many threads measure where `wanted` are asked for, 0 for as many as usableCpus(). More
/// than a few a CPU gain nothing, and each holds two pictures.
int measuringThreads(int wanted);

/// Measures all that a source still delivers. At most 2 * threads + 2 frames are on their way at
/// any time, whatever the length of the video.
class Pipeline {
public:
  /// Starts `threads` threads that measure the indicators of the mask, and one that reads `source`,
  /// which must outlive the pipeline.
  Pipeline(VideoSource &source, std::uint32_t requested, int threads);
  ~Pipeline(); ///< waits for the frames that are being read and measured
  Pipeline(const Pipeline &) = delete;
  Pipeline &operator=(const Pipeline &) = delete;

  /// Waits for the next frame in order; empty at the end. Throws what the source or a measure threw
  /// there; the pipeline is then of no further use.
  std::optional<FrameRecord> next();
  /// Waits until `next` need not, but no longer than `most`; false where it would still have to.
  bool waitFor(std::chrono::milliseconds most);

private:
  class Threads;
  std::unique_ptr<Threads> threads;
};

/// Runs a pipeline to its end and calls `deliver` for each frame, in order, on the calling thread.
/// What `deliver` throws ends the run as well.
void measureFrames(VideoSource &source, std::uint32_t requested, int threads,
                   const std::function<void(const FrameRecord &)> &deliver);

} // namespace lumagauge::qc

#endif
