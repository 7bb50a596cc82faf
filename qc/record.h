// SPDX-License-Identifier: BSD-2-Clause
//
// What travels through lumagauge-qc: what is known of an input, a luma picture, and the record of a
// frame's values. Sources make the first two, measuring the third; judge and report read
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

enum class DecodeErrorKind {
  undecodable, ///< data is there, but the decoder or the container reports an error in it
  missing      ///< pictures that nobody reported did not come
};
constexpr std::string_view kindName(DecodeErrorKind kind) {
  return kind == DecodeErrorKind::missing ? "missing" : "undecodable";
}

/// The kind of event that pictures are which came out although what they rest on is damaged.
constexpr std::string_view CONCEALED = "concealed";

/// A time range of the input in which frames could not be decoded.
struct DecodeError {
  std::int64_t frame;  ///< number of the next frame that was delivered
  double time;         ///< seconds, of the damaged packet or, failing that, of the frame before it
  std::string message; ///< what the decoder or demuxer says
  DecodeErrorKind kind = DecodeErrorKind::undecodable;
  std::int64_t missing = 0;           ///< frames that did not come, as far as that is known
  std::optional<double> endTime = {}; ///< seconds, where known; else until frame `frame`
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
  std::optional<double> startTime;   ///< seconds, of the first picture, as the stream stamps it
  std::optional<double> duration;    ///< seconds, where known
  std::optional<std::int64_t> frameCount; ///< frames to be expected, where known
  bool hasEnd = false;                    ///< its size in bytes is known: no stream that goes on
  std::vector<std::string> warnings;      ///< worth telling the user, one sentence each
};

/// What a live source found out about decoding since the picture before; of other sources
/// InputEnd has it all.
struct News {
  std::vector<DecodeError> errors;
  /// All errors are told that lie ahead of this frame; those behind it may still be looked into.
  std::int64_t settledBefore = 0;
};

/// A luma picture: width x height 8-bit samples, row after row without gaps.
struct LumaPicture {
  std::int64_t frame = 0;  ///< counted from the first frame of the stream
  double time = 0.0;       ///< seconds from the first picture, or as the stream has it
  char pictureType = '?';  ///< I, P, B; ? where unknown
  std::int64_t packet = 0; ///< that it came of, counted from the first one of the stream
  std::vector<std::uint8_t> samples;
  News news = {};
};

/// What was measured of a frame.
struct FrameRecord {
  std::int64_t frame = 0;
  double time = 0.0;
  char pictureType = '?';
  Values values;
  std::int64_t shot = 0; ///< counted from the first one measured
  News news = {};

  const std::optional<double> &operator[](Indicator indicator) const { return values[indicator]; }
  std::optional<double> &operator[](Indicator indicator) { return values[indicator]; }
};

/// How the reading of an input ended.
struct InputEnd {
  std::vector<DecodeError> errors;
  bool doubtful = false;    ///< the input ended in an error that leaves the result doubtful
  std::string reason;       ///< what makes it so
  bool interrupted = false; ///< the run was asked to end before the input did
  std::vector<std::string> warnings; ///< what changed on the way, one sentence each
  bool changed = false;              ///< the first of them says which format the pictures took
};

} // namespace lumagauge::qc

#endif
