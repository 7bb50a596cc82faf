// SPDX-License-Identifier: BSD-2-Clause
//
// A decoder of libavcodec, from opening to teardown.
#ifndef LUMAGAUGE_QC_SOURCE_DECODER_H
#define LUMAGAUGE_QC_SOURCE_DECODER_H

#include "qc/source/libav_listener.h"
#include "qc/source/libav_pointers.h"
#include "qc/source/open_source.h"
#include "qc/source/undecoded_blocks.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace lumagauge::qc {

/// Throws InputError where pictures of this size are more than `maxPixels`.
void checkSize(int width, int height, std::int64_t maxPixels);

/// Hears the log of a decoder and keeps the marks in its pictures.
struct DecoderListener : LibavListener {
  UndecodedBlocks undecoded;
};

class Decoder {
public:
  /// For the packets of `stream`. What the decoder says goes to `listener`, which outlives it.
  /// Throws InputError and std::bad_alloc.
  Decoder(const AVStream &stream, const SourceOptions &options, DecoderListener &listener);

  ~Decoder();
  Decoder(const Decoder &) = delete;
  Decoder &operator=(const Decoder &) = delete;

  /// As avcodec_send_packet, also in what they return, except that lack of memory throws
  /// std::bad_alloc.
  int send(const AVPacket &packet, std::int64_t tag); ///< its picture gets the tag
  int drain();                                        ///< no packet follows
  int receive(AVFrame &frame);
  /// Forgets all packets so far, as ahead of a jump to another place.
  void forget() { avcodec_flush_buffers(context.get()); }
  /// Of further packets, those that no other picture rests on need not be decoded.
  void skipUnneeded(bool skip) {
    context->skip_frame = skip ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
  }
  /// Lets the listener hear of parts that were not decoded, in pictures of packets up to `tag`: all
  /// of these packets are decoded.
  void reportUndecoded(std::int64_t tag);

  /// Frames a second that the headers state; 0 / 1 where they do not.
  AVRational statedRate() const { return context->framerate; }
  /// How many threads decode, as far as that is known; 1 where all is done on the caller's.
  int threads() const;
  /// Pictures may come later than others whose packets follow.
  bool reorders() const;

private:
  bool isSafeToFree() const;
  int checked(int code) const; ///< as checkMemory, and remembers a lack of memory
  DecoderListener &listener() const { return *static_cast<DecoderListener *>(context->opaque); }

  std::unique_ptr<AVCodecContext, FreeWith<avcodec_free_context>> context;
};

} // namespace lumagauge::qc

#endif
