// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/frame_seeker.h"

#include "qc/source/display.h"

#include <limits>
#include <utility>

namespace lumagauge::qc {

namespace {

/// How far ahead of the frame decoding begins, in seconds: a container may lead to a key frame that
/// is shown behind it, or say nothing of what is key.
constexpr std::array<double, 5> LEADS{0, 1, 5, 30, 1e9};
constexpr double SECOND_LEAD = 5; ///< where what follows the key frame is not the frame
constexpr double TIME_ROUNDING = 1e-4;

SourceOptions withOneThread(SourceOptions options) {
  options.decodeThreads = 1; // there are several seekers
  options.tap = nullptr;
  return options;
}

AVStream &streamOf(const LibavInput &input, int number) {
  AVStream *chosen = nullptr;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    AVStream *candidate = input->streams[i];
    if (static_cast<int>(i) == number && candidate->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
      chosen = candidate;
    else
      candidate->discard = AVDISCARD_ALL;
  }
  if (chosen == nullptr)
    throw InputError("its streams are others than those that were measured");
  return *chosen;
}

} // namespace

FrameSeeker::FrameSeeker(const std::string &path, const SourceOptions &options, int number,
                         double zero, const ShownFrames &known)
    : index(known), origin(zero), input(path, options), stream(streamOf(input, number)),
      decoder(stream, withOneThread(options), listener), packet(allocated(av_packet_alloc())),
      current(allocated(av_frame_alloc())) {}

double FrameSeeker::timeOf(std::int64_t stamp) const {
  return static_cast<double>(stamp) * av_q2d(stream.time_base) - origin;
}

std::optional<std::int64_t> FrameSeeker::numberOfCurrent() const {
  const std::int64_t stamp = current->best_effort_timestamp;
  return stamp == AV_NOPTS_VALUE ? std::nullopt : index.numberAt(timeOf(stamp));
}

/// The stream's next packet into `packet`; false at the end and where reading fails.
bool FrameSeeker::readPacket() {
  while (checkMemory(av_read_frame(input.get(), packet.get())) >= 0) {
    if (packet->stream_index == stream.index && packet->size > 0)
      return true;
    av_packet_unref(packet.get());
  }
  return false;
}

/// Leaves the next key frame's packet pending, and gives its time.
std::optional<double> FrameSeeker::readKey(Deadline deadline) {
  av_packet_unref(packet.get());
  while (!isPast(deadline) && readPacket()) {
    const std::int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if ((packet->flags & AV_PKT_FLAG_KEY) != 0 && stamp != AV_NOPTS_VALUE) {
      packetPending = true;
      return timeOf(stamp);
    }
    av_packet_unref(packet.get());
  }
  return std::nullopt;
}

/// To where reading gives packets from `time` on, as the container says; to the very start where
/// that is ahead of all frames.
bool FrameSeeker::jump(double time) {
  packetPending = drained = false;
  position.reset();
  decoder.forget();
  // Streams that are searched by their stamps have nothing ahead of the first to be found by.
  const bool isSearched = (input->iformat->flags & AVFMT_TS_DISCONT) != 0;
  if (time < index.times.front() && isSearched)
    return av_seek_frame(input.get(), -1, 0, AVSEEK_FLAG_BYTE) >= 0;
  const double seconds = std::max(time, index.times.front()) + origin;
  const auto stamp = static_cast<std::int64_t>(std::llround(seconds / av_q2d(stream.time_base)));
  return av_seek_frame(input.get(), stream.index, stamp, AVSEEK_FLAG_BACKWARD) >= 0;
}

/// Goes to a key frame that is not shown behind `time`, at least `lead` seconds ahead of it.
bool FrameSeeker::start(double time, double lead, Deadline deadline) {
  for (const double further : LEADS) {
    if (further < lead)
      continue;
    if (isPast(deadline) || !jump(time - further))
      return false;
    const std::optional<double> key = readKey(deadline);
    if (key && *key <= time + TIME_ROUNDING)
      return true;
    if (time - further < index.times.front())
      return false;
  }
  return false;
}

/// The decoder's next picture into `current`.
bool FrameSeeker::receive(int &code) {
  code = decoder.receive(*current);
  listener.undecoded.take(std::numeric_limits<std::int64_t>::max()); // nobody asks
  return code == 0;
}

const AVFrame *FrameSeeker::runTo(std::int64_t number, Deadline deadline) {
  const double step = 0.5 / DEFAULT_RATE, target = index.timeOf(number);
  const double before = index.holds(number - 1) ? index.timeOf(number - 1) : target - step;
  while (!isPast(deadline)) {
    int code = 0;
    if (receive(code)) {
      const std::optional<std::int64_t> found = numberOfCurrent();
      if (found)
        position = found;
      if (found == number)
        return current.get();
      if (found && *found > number)
        return nullptr;
      continue;
    }
    if (code == AVERROR_EOF)
      return nullptr;
    if (code != AVERROR(EAGAIN))
      continue;
    if (!packetPending && !readPacket()) {
      if (std::exchange(drained, true))
        return nullptr;
      decoder.drain();
      continue;
    }
    packetPending = false;
    const bool isAhead =
        packet->pts != AV_NOPTS_VALUE && timeOf(packet->pts) < (before + target) / 2;
    decoder.skipUnneeded(isAhead);
    decoder.send(*packet, 0);
    av_packet_unref(packet.get());
  }
  return nullptr;
}

const AVFrame *FrameSeeker::frame(std::int64_t number, Deadline deadline) {
  if (!index.holds(number))
    return nullptr;
  if (position == number)
    return current.get();
  const std::optional<std::int64_t> intra = index.intraUpTo(number);
  const bool isOnTheWay =
      position && *position < number && !drained && intra && *intra <= *position;
  const AVFrame *found = nullptr;
  if (isOnTheWay || start(index.timeOf(number), 0, deadline))
    found = runTo(number, deadline);
  // What follows a key frame may rest on what is ahead of it.
  if (found == nullptr && !isPast(deadline) && start(index.timeOf(number), SECOND_LEAD, deadline))
    found = runTo(number, deadline);
  if (found == nullptr)
    position.reset();
  else
    stateDisplay(*current, *input.get(), stream);
  return found;
}

const AVFrame *FrameSeeker::keyFrame(std::int64_t &number, Deadline deadline) {
  if (!index.holds(number) || !start(index.timeOf(number), 0, deadline))
    return nullptr;
  decoder.skipUnneeded(false);
  decoder.send(*packet, 0);
  av_packet_unref(packet.get());
  packetPending = false;
  drained = true;
  decoder.drain();
  int code = 0;
  const bool isThere = receive(code);
  const std::optional<std::int64_t> found = isThere ? numberOfCurrent() : std::nullopt;
  if (!found)
    return nullptr;
  number = *found;
  stateDisplay(*current, *input.get(), stream);
  return current.get();
}

} // namespace lumagauge::qc
