// SPDX-License-Identifier: BSD-2-Clause
//
// From frames to shots: stretches without a cut.
#ifndef LUMAGAUGE_QC_MEASURE_SHOTS_H
#define LUMAGAUGE_QC_MEASURE_SHOTS_H

#include "qc/record.h"

namespace lumagauge::qc {

/// Numbers the shots of a video as its frames come. A shot begins where the layout of the picture
/// changes from one frame to the next, but not where it changes all the time as in untuned noise,
/// and with the first picture after black or another flat one. A dissolve belongs to the shot that
/// it leaves.
class ShotCounter {
public:
  /// The number of the shot, from 0, that the next frame belongs to.
  std::int64_t add(const FrameRecord &record);

private:
  std::int64_t shot = 0;
  bool afterPicture = false, afterFlat = false, changedBefore = false;
};

} // namespace lumagauge::qc

#endif
