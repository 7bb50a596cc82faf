// SPDX-License-Identifier: BSD-2-Clause
//
// Many frames at once: one thread decodes, some measure, the caller gets the records in order.
#ifndef LUMAGAUGE_QC_MEASURE_PIPELINE_H
#define LUMAGAUGE_QC_MEASURE_PIPELINE_H

#include "qc/source/source.h"

#include <functional>

namespace lumagauge::qc {

/// CPUs that this process may use; at least 1.
int usableCpus();

/// Measures all that `source` still delivers on `threads` threads and calls `deliver` for each
/// frame, in order, on the calling thread. At most 2 * threads + 2 frames are on their way at any
/// time, whatever the length of the video. What the source, a measure or `deliver` throws ends the
/// run and reaches the caller; records of frames ahead of it are delivered before.
void measureFrames(VideoSource &source, std::uint32_t requested, int threads,
                   const std::function<void(const FrameRecord &)> &deliver);

} // namespace lumagauge::qc

#endif
