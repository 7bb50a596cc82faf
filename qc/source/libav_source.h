// SPDX-License-Identifier: BSD-2-Clause
//
// Any video that libavformat and libavcodec read.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H

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
  const InputEnd &end() const override { return inputEnd; }

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
  void addError(double time, std::string message);
  /// Gives the errors up to `time` the number of the next frame: decoders are some packets ahead of
  /// the pictures that they give out. Of several without a picture between them one stays.
  void settleErrors(double time);
  void finish();

  LibavInput input;
  AVStream &stream; ///< of `input`
  FrameClock clock;
  std::unique_ptr<AVCodecContext, Free<avcodec_free_context>> decoder;
  std::unique_ptr<AVPacket, Free<av_packet_free>> packet;
  std::unique_ptr<AVFrame, Free<av_frame_free>> frame;
  LumaReader luma;
  Window window;
  InputInfo inputInfo;
  InputEnd inputEnd;

  bool framePending = false; ///< `frame` holds the first picture, not yet delivered
  bool draining = false;     ///< all packets are read
  bool endedInside = false;  ///< not where the container has an end
  bool finished = false;
  std::int64_t frames = 0;                                          ///< pictures decoded
  std::int64_t packets = 0, failedPackets = 0, resizedPictures = 0; ///< so far
  std::int64_t packetEnd = 0; ///< of the last one, in the input's bytes
  int failuresInARow = 0;
  std::vector<DecodeError> unsettledErrors;
  std::optional<double> announcedDuration; ///< seconds, of this stream
};

} // namespace lumagauge::qc

#endif
