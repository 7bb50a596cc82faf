// SPDX-License-Identifier: BSD-2-Clause
//
// From the time stamps of a stream to presentation times that always rise.
#ifndef LUMAGAUGE_QC_SOURCE_FRAME_CLOCK_H
#define LUMAGAUGE_QC_SOURCE_FRAME_CLOCK_H

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdint>

namespace lumagauge::qc {

/// Times are seconds from the container's start.
class FrameClock {
public:
  /// Both must outlive the clock, which reads their time bases anew each time: where recordings are
  /// joined these may change.
  FrameClock(const AVFormatContext &container, const AVStream &stream);

  /// Not so for a bare stream: libavformat makes its stamps up.
  bool hasStamps() const { return (container.iformat->flags & AVFMT_NOTIMESTAMPS) == 0; }
  /// Moves on to the next picture, which stands behind `earlier` ones that count, and returns its
  /// time. Pictures without a stamp, and all where none has one, follow at `rate` a second.
  double advance(const AVFrame &frame, std::int64_t earlier, double rate);
  double now() const { return time; } ///< of the last picture, 0 ahead of the first
  double displayEnd() const { return end; }
  /// When the packet's picture would be shown; `now` where the packet has no stamp.
  double timeOf(const AVPacket &packet) const;

private:
  double seconds(std::int64_t stamp) const;

  const AVFormatContext &container;
  const AVStream &stream;
  double time = 0.0, end = 0.0;
  double offset = 0.0; ///< added since time stamps went back
};

} // namespace lumagauge::qc

#endif
