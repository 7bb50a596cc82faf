// SPDX-License-Identifier: BSD-2-Clause
//
// When the frames of an input were shown, to find them again.
#ifndef LUMAGAUGE_QC_PICTURES_SHOWN_FRAMES_H
#define LUMAGAUGE_QC_PICTURES_SHOWN_FRAMES_H

#include "qc/record.h"

#include <algorithm>
#include <cmath>

namespace lumagauge::qc {

/// Eight bytes and a bit a frame.
struct ShownFrames {
  std::int64_t first = 0;    ///< number of the first frame
  std::vector<double> times; ///< seconds, rising
  std::vector<bool> intra;   ///< I pictures, as far as types are known

  void add(const FrameRecord &record) {
    if (times.empty())
      first = record.frame;
    times.push_back(record.time);
    intra.push_back(record.pictureType == 'I');
  }
  std::int64_t count() const { return static_cast<std::int64_t>(times.size()); }
  bool holds(std::int64_t number) const { return number >= first && number < first + count(); }
  double timeOf(std::int64_t number) const {
    return times[static_cast<std::size_t>(number - first)];
  }
  /// The frame that was shown at this time; empty where none was, give or take what is a quarter of
  /// the way to its neighbours.
  std::optional<std::int64_t> numberAt(double time) const {
    const auto behind = std::lower_bound(times.begin(), times.end(), time);
    for (auto i = behind == times.begin() ? behind : behind - 1; i != times.end() && i <= behind;
         ++i) {
      const double before = i == times.begin() ? HUGE_VAL : *i - *(i - 1),
                   after = i + 1 == times.end() ? HUGE_VAL : *(i + 1) - *i;
      const double tolerance = std::min({before, after, 1.0 / DEFAULT_RATE}) / 4;
      if (std::abs(*i - time) <= tolerance)
        return first + (i - times.begin());
    }
    return std::nullopt;
  }
  /// The last I picture up to a frame; empty where none is known.
  std::optional<std::int64_t> intraUpTo(std::int64_t number) const {
    for (std::int64_t i = number - first; i >= 0; --i)
      if (intra[static_cast<std::size_t>(i)])
        return first + i;
    return std::nullopt;
  }
};

} // namespace lumagauge::qc

#endif
