// SPDX-License-Identifier: BSD-2-Clause
//
// What a container says of its length, held against what was read of it.
#ifndef LUMAGAUGE_QC_SOURCE_SHORTFALL_H
#define LUMAGAUGE_QC_SOURCE_SHORTFALL_H

#include "qc/record.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avio.h>
}

namespace lumagauge::qc {

/// Whether a picture is to come of the packet, for all that it says itself.
bool givesPicture(const AVPacket &packet, AVCodecID codec);

/// Whether an Ogg file, read to its end, ends with a whole page that is marked as a stream's last.
bool endsWithLastPage(AVIOContext &file);

/// What was read of a container, for what it leaves open.
class ReadingTotals {
public:
  /// A packet of the stream.
  void add(const AVPacket &packet);
  std::int64_t packetEnd() const { return lastPacketEnd; } ///< of the last one, in bytes

  struct Ending {
    std::int64_t length = 0;           ///< bytes up to where reading ended
    bool pastEnd = false;              ///< reading went past the last byte of the input
    bool inside = false;               ///< and not where the container has an end
    std::int64_t pictures = 0;         ///< that came
    double shownUntil = 0;             ///< seconds
    std::optional<double> announced{}; ///< seconds, as the container says of the stream
  };
  struct Shortfall {
    std::int64_t frames = 0; ///< that the container announced and that no packet came of
    std::string message;     ///< what it is seen by
  };
  Shortfall shortfall(const InputInfo &info, const Ending &ending) const;

private:
  bool endsInsideUnit(const std::string &format, std::int64_t length) const;

  std::int64_t packets = 0;
  std::int64_t lastPacketEnd = 0;
  std::int64_t decodingEnd = 0; ///< in the stream's time base
};

} // namespace lumagauge::qc

#endif
