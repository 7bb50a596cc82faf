// SPDX-License-Identifier: BSD-2-Clause
//
// What a user can ask of an input, and the choice of the kind of source.
#ifndef LUMAGAUGE_QC_SOURCE_OPEN_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_OPEN_SOURCE_H

#include "qc/source/source.h"

#include <memory>
#include <variant>

namespace lumagauge::qc {

struct Seconds {
  double value;
};
struct Frames {
  std::int64_t value;
};
/// A place in an input, or a length of it.
using Extent = std::variant<Seconds, Frames>;

/// The layout of raw frames, which carry no header.
struct RawLayout {
  std::uint32_t width = 0, height = 0;
  std::string pixelFormat = "yuv420p";    ///< a name libavutil knows
  std::optional<std::int64_t> frameBytes; ///< where a frame takes other than libavutil's layout
};

struct SourceOptions {
  std::optional<RawLayout> raw;         ///< empty: whatever libavformat recognises
  std::optional<int> stream;            ///< index in the container; empty: the first with video
  std::optional<double> fps;            ///< overrides what the input says
  std::optional<Extent> start;          ///< first frame that is delivered
  std::optional<Extent> duration;       ///< from `start` on
  int decodeThreads = 0;                ///< 0: as many as the decoder likes
  std::int64_t maxPixels = 8192 * 8192; ///< per picture; larger ones are refused
  std::vector<std::string> protocols;   ///< schemes that make `scheme://` a URL
  bool nested = false;                  ///< let playlists and the like open further files
};

/// Opens an input: "-" is standard input, everything else a file unless it is a URL of an allowed
/// scheme. Frames ahead of `start` are decoded and dropped, so frame numbers count from the first
/// frame of the stream. Throws InputError.
std::unique_ptr<VideoSource> openSource(const std::string &input, const SourceOptions &options);

/// The part of the input that was asked for, and where delivery stands in it.
class Window {
public:
  explicit Window(const SourceOptions &options) : start(options.start), length(options.duration) {}

  struct Part {
    std::optional<std::int64_t> frames; ///< only where all of the input is asked for
    std::optional<double> seconds;
    double begin; ///< seconds
  };
  /// What is to be expected of the input, as far as that is known ahead of reading it; so frames
  /// that were asked for by number are taken to come at its rate.
  Part expected(const InputInfo &info) const;

  bool isBefore(const LumaPicture &picture) const;
  /// The picture lies behind the end of the part that was asked for.
  bool isAfter(const LumaPicture &picture) const;
  void delivered(const LumaPicture &picture);
  /// No further picture is wanted: lets a source end without decoding one more.
  bool isComplete() const;

private:
  std::optional<Extent> start, length;
  std::optional<double> firstTime; ///< of the first picture delivered
  std::int64_t deliveries = 0;
};

} // namespace lumagauge::qc

#endif
