// SPDX-License-Identifier: BSD-2-Clause
//
// What a user can ask of an input, and the choice of the kind of source.
#ifndef LUMAGAUGE_QC_SOURCE_OPEN_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_OPEN_SOURCE_H

#include "qc/source/input_file.h"
#include "qc/source/source.h"

#include <functional>
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
  std::optional<Extent> start;          ///< first frame that is delivered, from the first picture
  std::optional<Extent> duration;       ///< from `start` on
  bool streamTimes = false;             ///< times as the stream stamps them, not from 0 on
  int decodeThreads = 0;                ///< 0: as many as the decoder likes
  std::int64_t maxPixels = 8192 * 4608; ///< per picture; larger ones are refused. 8K, with room
  std::vector<std::string> protocols;   ///< schemes that make `scheme://` a URL
  bool nested = false;                  ///< let playlists and the like open further files
  bool seek = true;                     ///< pass over what lies ahead of `start` undecoded
  PictureTap *tap = nullptr;            ///< outlives the source; may be null
  Notice notice;                        ///< told what opening waits for; may be empty
  std::optional<double> timeout;        ///< seconds without a byte that end an input
  bool live = false;                    ///< pictures carry news; no memory grows with their number
  bool pipesWait = false;               ///< `timeout` does not hold for files and pipes
  WaitClock *waitClock = nullptr;       ///< runs while reading waits; may be null
};

/// How the bytes of a file or a pipe are waited for.
Patience patienceOf(const SourceOptions &options);

/// Opens an input: "-" is standard input, everything else a file unless it is a URL of an allowed
/// scheme. Frame numbers count from the first frame of the stream, whatever `start` is. Throws
/// InputError.
std::unique_ptr<VideoSource> openSource(const std::string &input, const SourceOptions &options);

struct FrameCount {
  std::int64_t frames = 0;
  std::string unfit; ///< why parts of the input would have to be decoded from its beginning
};
/// The frames of an input as its packets tell of them, without decoding, for parts of about
/// `length` frames. Throws InputError.
FrameCount countFrames(const std::string &input, const SourceOptions &options, std::int64_t length);

/// The part of the input that was asked for, and where delivery stands in it.
class Window {
public:
  explicit Window(const SourceOptions &options) : start(options.start), length(options.duration) {}
  Window(Extent first, std::optional<Extent> wanted) : start(first), length(wanted) {}

  struct Part {
    std::optional<std::int64_t> frames; ///< only where all of the input is asked for
    std::optional<double> seconds;
    double begin; ///< seconds
  };
  /// What is to be expected of the input, as far as that is known ahead of reading it; so frames
  /// that were asked for by number are taken to come at its rate.
  Part expected(const InputInfo &info) const;

  bool isBefore(const LumaPicture &picture) const;
  bool hasStart() const { return start.has_value(); }
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
