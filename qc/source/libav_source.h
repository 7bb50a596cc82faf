// SPDX-License-Identifier: BSD-2-Clause
//
// Any video that libavformat and libavcodec read.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H

#include "qc/source/decode_log.h"
#include "qc/source/frame_clock.h"
#include "qc/source/libav_input.h"
#include "qc/source/luma.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace lumagauge::qc {

class LibavSource : public VideoSource {
public:
  /// Opens the input and decodes its first picture, which settles what `info` says. Throws
  /// InputError, also where no picture can be decoded.
  LibavSource(const std::string &input, const SourceOptions &options);

  const InputInfo &info() const override { return inputInfo; }
  bool read(LumaPicture &picture) override;
  const InputEnd &end() const override { return log.end(); }

private:
  template <auto FREE> struct Free {
    template <class T> void operator()(T *unused) const { FREE(&unused); }
  };

  void openDecoder(const SourceOptions &options);
  void describeStream(const SourceOptions &options);
  void describePicture(const SourceOptions &options);

  bool decodeFrame(); ///< the next picture into `frame`; false at the end
  void feedDecoder();
  void finishDemuxing(int code);
  void reportMissingEnd();
  bool hasChangedSize() const;
  void reportConcealment();

  LibavInput input;
  AVStream &stream; ///< of `input`
  FrameClock clock;
  std::unique_ptr<AVCodecContext, Free<avcodec_free_context>> decoder;
  std::unique_ptr<AVPacket, Free<av_packet_free>> packet;
  std::unique_ptr<AVFrame, Free<av_frame_free>> frame;
  LumaReader luma;
  Window window;
  InputInfo inputInfo;
  DecodeLog log;

  bool framePending = false; ///< `frame` holds the first picture, not yet delivered
  bool draining = false;     ///< all packets are read
  bool endedInside = false;  ///< not where the container has an end
  bool finished = false;
  std::int64_t packetEnd = 0;              ///< of the last packet, in the input's bytes
  std::optional<double> announcedDuration; ///< seconds, of this stream
};

} // namespace lumagauge::qc

#endif
