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

/// Times are seconds from the first picture; until that is known, from the container's start.
class FrameClock {
public:
  /// Both must outlive the clock, which reads their time bases anew each time: where recordings are
  /// joined these may change. That of a picture from ahead of the change is in its `time_base`.
  FrameClock(const AVFormatContext &container, const AVStream &stream);

  /// Not so for a bare stream: libavformat makes its stamps up.
  bool hasStamps() const { return (container.iformat->flags & AVFMT_NOTIMESTAMPS) == 0; }
  /// Makes the stream's first picture the origin, where it has a stamp. Returns its time until
  /// then, which is what all earlier times are to be reduced by.
  double startAt(const AVFrame &first);
  /// Moves on to the next picture, which stands behind `earlier` ones that count, and returns its
  /// time. Pictures without a stamp, and all where none has one, follow at `rate` a second.
  double advance(const AVFrame &frame, std::int64_t earlier, double rate);
  double now() const { return time; } ///< of the last picture, 0 ahead of the first
  double displayEnd() const { return end; }
  /// When the packet's picture would be shown; `now` where the packet has no stamp.
  double timeOf(const AVPacket &packet) const;

private:
  AVRational baseOf(const AVFrame &frame) const;
  double seconds(std::int64_t stamp, AVRational base) const;

  const AVFormatContext &container;
  const AVStream &stream;
  double time = 0.0, end = 0.0;
  std::int64_t origin = AV_NOPTS_VALUE;   ///< in `originBase`, once known
  AVRational originBase{1, AV_TIME_BASE}; ///< until then of the container
  double offset = 0.0;                    ///< added since time stamps went back
};

} // namespace lumagauge::qc

#endif
