// SPDX-License-Identifier: BSD-2-Clause
//
// Which frames show an event.
#ifndef LUMAGAUGE_QC_PICTURES_EVENT_FRAMES_H
#define LUMAGAUGE_QC_PICTURES_EVENT_FRAMES_H

#include "qc/pictures/report_pictures.h"
#include "qc/pictures/shown_frames.h"

namespace lumagauge::qc {

/// Empty where there is no such frame.
struct EventFrames {
  std::optional<std::int64_t> before, worst, after;
};

/// The last frame ahead of the event, the worst one in it, in the middle where no value says which
/// that is, and the first one behind it.
inline EventFrames eventFrames(const PictureWish &wish, const ShownFrames &index) {
  const auto ifThere = [&](std::int64_t number) {
    return index.holds(number) ? std::optional(number) : std::nullopt;
  };
  const std::int64_t middle = wish.startFrame + (wish.endFrame - wish.startFrame) / 2;
  return {ifThere(wish.startFrame - 1), ifThere(wish.worstFrame.value_or(middle)),
          ifThere(wish.endFrame + 1)};
}

inline std::vector<std::int64_t> framesOf(const PictureWish &wish, const ShownFrames &index) {
  const EventFrames frames = eventFrames(wish, index);
  std::vector<std::int64_t> numbers;
  for (const std::optional<std::int64_t> &number : {frames.before, frames.worst, frames.after})
    if (number)
      numbers.push_back(*number);
  return numbers;
}

} // namespace lumagauge::qc

#endif
