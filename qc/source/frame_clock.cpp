// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/frame_clock.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {
/// A stamp so far back is that of another recording.
constexpr double RESTART_SECONDS = 0.5;
/// Frames apart, at the least, so that times always rise.
constexpr double LEAST_STEP = 1.0 / 16;
} // namespace

FrameClock::FrameClock(const AVFormatContext &opened, const AVStream &followed)
    : container(opened), stream(followed) {}

double FrameClock::startAt(const AVFrame &first) {
  if (!hasStamps() || first.best_effort_timestamp == AV_NOPTS_VALUE)
    return 0.0;
  const double before = seconds(first.best_effort_timestamp, baseOf(first));
  origin = first.best_effort_timestamp;
  originBase = baseOf(first);
  return before;
}

double FrameClock::advance(const AVFrame &frame, std::int64_t earlier, double rate) {
  const double step = 1.0 / rate;
  const double following = earlier == 0 ? 0.0 : time + step;
  if (!hasStamps()) {
    time = static_cast<double>(earlier) * step;
  } else if (frame.best_effort_timestamp == AV_NOPTS_VALUE) {
    time = following;
  } else {
    const double stamp = seconds(frame.best_effort_timestamp, baseOf(frame));
    // Recordings joined end to end start over: they continue a frame later instead. A single stamp
    // that is not later than the one before it only gives way.
    if (earlier > 0 && stamp + offset < time - RESTART_SECONDS)
      offset = following - stamp;
    time = earlier > 0 ? std::max(stamp + offset, time + LEAST_STEP * step) : stamp + offset;
  }
  end = time + std::max(step, static_cast<double>(frame.pkt_duration) * av_q2d(baseOf(frame)));
  return time;
}

double FrameClock::timeOf(const AVPacket &packet) const {
  const std::int64_t stamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  return stamp == AV_NOPTS_VALUE ? time : seconds(stamp, stream.time_base) + offset;
}

AVRational FrameClock::baseOf(const AVFrame &frame) const {
  return frame.time_base.num > 0 ? frame.time_base : stream.time_base;
}

double FrameClock::seconds(std::int64_t stamp, AVRational base) const {
  const std::int64_t start = origin != AV_NOPTS_VALUE ? origin : container.start_time;
  const std::int64_t from = start == AV_NOPTS_VALUE ? 0 : av_rescale_q(start, originBase, base);
  return (static_cast<double>(stamp) - static_cast<double>(from)) * base.num / base.den;
}

} // namespace lumagauge::qc
