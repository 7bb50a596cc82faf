// SPDX-License-Identifier: BSD-2-Clause
//
// Black bars of an event, as people state them: in samples and as the aspect ratio of what is left.
#ifndef LUMAGAUGE_QC_JUDGE_BAR_TALLY_H
#define LUMAGAUGE_QC_JUDGE_BAR_TALLY_H

#include "qc/record.h"

#include <map>

namespace lumagauge::qc {

/// Counts how wide the bars are; grows with the number of widths, not with that of frames.
class BarTally {
public:
  void add(const FrameRecord &record);
  /// "58 rows at the top, 58 at the bottom; picture 854x364, 2.35:1", by the most common width of
  /// each side; the ratio is that of samples. Empty where no bar was counted.
  std::string text(std::uint32_t width, std::uint32_t height) const;

private:
  std::uint32_t mostCommon(std::size_t side) const;

  std::array<std::map<std::uint32_t, std::int64_t>, 4> counts; ///< top, bottom, left, right
};

} // namespace lumagauge::qc

#endif
