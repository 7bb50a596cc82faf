// SPDX-License-Identifier: BSD-2-Clause
//
// Single frames of a file that was measured, decoded once more from the key frame ahead of them.
#ifndef LUMAGAUGE_QC_PICTURES_FRAME_SEEKER_H
#define LUMAGAUGE_QC_PICTURES_FRAME_SEEKER_H

#include "qc/pictures/shown_frames.h"
#include "qc/source/decoder.h"
#include "qc/source/libav_input.h"

#include <chrono>

namespace lumagauge::qc {

using Deadline = std::chrono::steady_clock::time_point;
inline bool isPast(Deadline deadline) {
  return std::chrono::steady_clock::now() >= deadline;
}

class FrameSeeker {
public:
  /// `origin` is the time stamp, in seconds, of what the index has at time 0. Throws InputError and
  /// std::bad_alloc, as do the members. The index outlives the seeker.
  FrameSeeker(const std::string &input, const SourceOptions &options, int stream, double origin,
              const ShownFrames &index);

  /// The frame of that number; null where it is not found again, or not in time. Of rising numbers
  /// those up to the next key frame cost one run of the decoder. Valid until the next call.
  const AVFrame *frame(std::int64_t number, Deadline deadline);
  /// The key frame that decoding begins with for a frame of that number, and its own number: one
  /// picture to decode instead of many. Null where there is none.
  const AVFrame *keyFrame(std::int64_t &number, Deadline deadline);

private:
  bool jump(double time);
  bool start(double time, double lead, Deadline deadline);
  std::optional<double> readKey(Deadline deadline);
  bool readPacket();
  const AVFrame *runTo(std::int64_t number, Deadline deadline);
  std::optional<std::int64_t> numberOfCurrent() const;
  double timeOf(std::int64_t stamp) const;
  bool receive(int &code);

  const ShownFrames &index;
  double origin;
  LibavInput input;
  AVStream &stream;
  DecoderListener listener;
  Decoder decoder;
  PacketPointer packet;
  FramePointer current;
  bool packetPending = false, drained = false;
  std::optional<std::int64_t> position; ///< frames up to this one are behind the decoder
};

} // namespace lumagauge::qc

#endif
