// SPDX-License-Identifier: BSD-2-Clause
//
// What travels through lumagauge-qc: what is known of an input, a luma picture, and the record of a
// frame's fifteen values. Sources make the first two, measuring the third; judge and report read
// them.
#ifndef LUMAGAUGE_QC_RECORD_H
#define LUMAGAUGE_QC_RECORD_H

#include <lumagauge/lumagauge.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumagauge::qc {

/// The names of the indicators in files, profiles and options.
constexpr std::array<std::string_view, INDICATOR_COUNT> INDICATOR_NAMES = [] {
  std::array<std::string_view, INDICATOR_COUNT> names;
  for (std::size_t i = 0; i < names.size(); ++i)
    names[i] = INDICATORS[i].name;
  return names;
}();

/// A time range of the input in which frames could not be decoded.
struct DecodeError {
  std::int64_t frame;  ///< number of the next frame that was delivered
  double time;         ///< seconds, of the damaged packet or, failing that, of the frame before it
  std::string message; ///< what the decoder or demuxer says
};

/// What is known of an input when it is open.
struct InputInfo {
  std::string path;        ///< as given; "-" for standard input
  std::string format;      ///< container, "rawvideo" for raw frames
  std::string codec;       ///< "rawvideo" for raw frames
  std::uint32_t width = 0; ///< luma samples
  std::uint32_t height = 0;
  std::string pixelFormat;
  int bitDepth = 8;     ///< of the stored luma
  std::string lumaRule; ///< how 8-bit luma came about: "as stored", "rounded from 10 bits", ...
  std::string range;    ///< "full", "limited" or "unknown"; never changed
  int stream = 0;       ///< index in the container
  std::optional<double> averageRate; ///< frames a second, as the container says
  double rate = DEFAULT_RATE;        ///< frames a second that freezing uses
  std::string rateOrigin;            ///< where `rate` is from: "stated", "average" or "default"
  std::optional<double> duration;    ///< seconds, where known
  std::optional<std::int64_t> frameCount; ///< frames to be expected, where known
  std::vector<std::string> warnings;      ///< worth telling the user, one sentence each
};

/// A luma picture: width x height 8-bit samples, row after row without gaps.
struct LumaPicture {
  std::int64_t frame = 0; ///< counted from the first frame of the stream
  double time = 0.0;      ///< seconds, presentation time
  char pictureType = '?'; ///< I, P, B; ? where unknown
  std::vector<std::uint8_t> samples;
};

/// What was measured of a frame.
struct FrameRecord {
  std::int64_t frame = 0;
  double time = 0.0;
  char pictureType = '?';
  Values values;

  const std::optional<double> &operator[](Indicator indicator) const { return values[indicator]; }
  std::optional<double> &operator[](Indicator indicator) { return values[indicator]; }
};

/// How the reading of an input ended.
struct InputEnd {
  std::vector<DecodeError> errors;
  bool doubtful = false; ///< the input ended in an error that leaves the result doubtful
  std::string reason;    ///< what makes it so
};

} // namespace lumagauge::qc

#endif
