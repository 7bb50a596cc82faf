// SPDX-License-Identifier: BSD-2-Clause
//
// Many threads, and for damaged video too the pictures that one thread would give.
#ifndef LUMAGAUGE_QC_SOURCE_REPEATABLE_DECODER_H
#define LUMAGAUGE_QC_SOURCE_REPEATABLE_DECODER_H

#include "qc/source/decoder.h"

#include <deque>
#include <utility>

namespace lumagauge::qc {

/// What decoders put in place of what they cannot decode depends, where they have several threads,
/// on how far each of them is: it changes from run to run. So at the first sign of damage (an
/// error, a line in the log, a mark on a picture) the packets back to the key frame ahead of the
/// last one are decoded once more by one thread, which goes on until the damage is well past.
/// Pictures that were given out before are right: all that they rest on is decoded by then, and
/// gave no sign.
class RepeatableDecoder {
public:
  /// As many threads as `options.decodeThreads` says. The packet of tag `first` will be the first
  /// one; of those ahead of `settled` the decoder may complain without a reason. Throws InputError
  /// and std::bad_alloc.
  RepeatableDecoder(const AVStream &stream, const SourceOptions &options, std::int64_t first = 0,
                    std::int64_t settled = 0);

  /// Takes a reference to the packet; tags count the packets.
  void send(const AVPacket &packet, std::int64_t tag);
  /// Damage is to be expected: several threads give way to one at once. Returns whether they did;
  /// the pictures that come until `receive` wants a packet do not know of the damage then.
  bool useOneThread();
  void drain() { draining = true; } ///< no packet follows
  /// The next picture, with its packet's tag in `reordered_opaque`, and 0; AVERROR(EAGAIN) where a
  /// packet is wanted, AVERROR_EOF behind the last picture, else the error that one thread meets.
  int receive(AVFrame &frame);
  /// The packet that `receive` has just met an error with; null where it is not known.
  const AVPacket *failedPacket() const { return failed; }
  /// There was damage so soon behind the first packet that, with packets from ahead of it, what
  /// stands in its place might be something else.
  bool metDamageEarly() const { return damageIsEarly; }
  /// What the decoder said of its packets since the last call.
  std::vector<LibavListener::Message> takeMessages() { return std::exchange(messages, {}); }

  AVRational statedRate() const { return decoder->statedRate(); }

private:
  struct Kept {
    PacketPointer packet;
    std::int64_t tag;
  };

  void start(bool several);
  int step(AVFrame &frame);
  bool hearDamage();
  bool wasGiven(std::int64_t tag);
  bool decodeDamageAnew();
  void startOver(std::int64_t tag, bool several);
  std::int64_t startFor(std::int64_t tag) const;
  void forget();
  bool isPastDamage() const;
  std::int64_t lastSent() const { return next == 0 ? origin - 1 : kept[next - 1].tag; }
  /// Packets from which on pictures may still be on their way inside the decoder.
  std::int64_t delay() const { return reordering + (mostThreads > 1 ? mostThreads : 0); }
  /// Of the packets that are decoded without doubt, and whose pictures are given out.
  std::int64_t lastDecoded() const { return lastSent() - delay(); }

  const AVStream &stream;
  SourceOptions options;
  DecoderListener listener;
  std::unique_ptr<Decoder> decoder;
  int mostThreads = 1;      ///< of the decoder, where nothing is damaged
  bool threaded = false;    ///< the decoder at work has several
  bool canStartOver = true; ///< false once key frames are too far apart
  std::int64_t reordering = 0;

  std::deque<Kept> kept; ///< from the packet on that decoding would start over with
  std::size_t next = 0;  ///< in `kept`: goes to the decoder next
  std::size_t keptBytes = 0;
  std::deque<std::int64_t> keys; ///< tags of the first of `kept` and of the key frames behind it
  std::vector<std::int64_t> given, again; ///< tags of pictures: given out, to be passed over
  const std::int64_t firstTag, firstSettled;
  bool damageIsEarly = false;
  std::int64_t origin;  ///< tag of the first packet that the decoder at work was given
  std::int64_t trusted; ///< what is wrong with packets up to this tag is told already
  std::int64_t lastDamage = -1, calmSince = -1, cleanPackets;
  bool draining = false, drained = false;
  const AVPacket *failed = nullptr;
  std::vector<LibavListener::Message> messages;
};

} // namespace lumagauge::qc

#endif
