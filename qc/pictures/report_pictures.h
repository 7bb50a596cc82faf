// SPDX-License-Identifier: BSD-2-Clause
//
// The pictures of one input's report.
#ifndef LUMAGAUGE_QC_PICTURES_REPORT_PICTURES_H
#define LUMAGAUGE_QC_PICTURES_REPORT_PICTURES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumagauge::qc {

/// A small picture in colour, as the video is meant to be shown: turned, and with square samples.
struct Thumbnail {
  std::int64_t frame = 0;
  double time = 0; ///< seconds, as the frame's record has it
  int width = 0, height = 0;
  std::string jpeg;
};

/// An event that pictures are wanted for.
struct PictureWish {
  std::size_t event = 0; ///< its place in the judgement's list
  std::string kind;
  std::int64_t startFrame = 0, endFrame = 0; ///< both included
  std::optional<std::int64_t> worstFrame;    ///< empty where no value made the event
};

struct EventPictures {
  std::size_t event = 0;                         ///< its place in the judgement's list
  std::optional<Thumbnail> before, worst, after; ///< frames ahead of it, in it and behind it
};

struct ReportPictures {
  std::string note;             ///< what the viewer of the pictures must know, or empty
  double aspect = 0;            ///< width to height, as displayed
  std::vector<Thumbnail> strip; ///< over the whole duration
  std::vector<EventPictures> events;
  std::size_t without = 0; ///< events that have no picture
  std::string reason;      ///< why, or why there is no strip, as a sentence
  std::string sprite;      ///< JPEG: some of the strip in tiny, side by side
};

/// Pictures of a strip, and events that have any.
constexpr std::size_t STRIP_PICTURES = 100, MOST_PICTURED_EVENTS = 40;
/// JPEG of all events together.
constexpr std::size_t MOST_EVENT_BYTES = 600'000;

} // namespace lumagauge::qc

#endif
