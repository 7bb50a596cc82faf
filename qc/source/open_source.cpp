// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/open_source.h"

#include "qc/source/frame_index.h"
#include "qc/source/libav_source.h"
#include "qc/source/raw_source.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {
/// Time stamps are rounded to the container's time base: a frame half a millisecond ahead of the
/// start that was asked for is the one that was meant.
constexpr double TIME_TOLERANCE = 0.0005;

double secondsOf(const Extent &extent, double rate) {
  const auto *frames = std::get_if<Frames>(&extent);
  return frames != nullptr ? static_cast<double>(frames->value) / rate
                           : std::get<Seconds>(extent).value;
}
} // namespace

Window::Part Window::expected(const InputInfo &info) const {
  Part part{info.frameCount, info.duration, start ? secondsOf(*start, info.rate) : 0.0};
  if (start || length)
    part.frames.reset(); // the time says it as well
  if (start && part.seconds)
    part.seconds = std::max(0.0, *part.seconds - part.begin);
  if (length) {
    const double wanted = secondsOf(*length, info.rate);
    part.seconds = std::min(part.seconds.value_or(wanted), wanted);
  }
  return part;
}

bool Window::isBefore(const LumaPicture &picture) const {
  if (!start)
    return false;
  if (const auto *frames = std::get_if<Frames>(&*start))
    return picture.frame < frames->value;
  return picture.time < std::get<Seconds>(*start).value - TIME_TOLERANCE;
}

bool Window::isAfter(const LumaPicture &picture) const {
  const auto *seconds = length ? std::get_if<Seconds>(&*length) : nullptr;
  if (seconds == nullptr)
    return false;
  if (!start || std::holds_alternative<Seconds>(*start)) {
    const double first = start ? std::get<Seconds>(*start).value : 0.0;
    return picture.time >= first + seconds->value - TIME_TOLERANCE;
  }
  return firstTime && picture.time >= *firstTime + seconds->value - TIME_TOLERANCE;
}

void Window::delivered(const LumaPicture &picture) {
  if (!firstTime)
    firstTime = picture.time;
  ++deliveries;
}

bool Window::isComplete() const {
  const auto *frames = length ? std::get_if<Frames>(&*length) : nullptr;
  return frames != nullptr && deliveries >= frames->value;
}

Patience patienceOf(const SourceOptions &options) {
  return {options.pipesWait ? std::nullopt : options.timeout, options.waitClock};
}

FrameCount countFrames(const std::string &input, const SourceOptions &options,
                       std::int64_t length) {
  const InputInfo info = openSource(input, options)->info();
  if (options.raw)
    return {info.frameCount.value_or(0), info.frameCount ? "" : "it cannot be sought"};
  const FrameIndex index(input, info.stream, options);
  FrameCount count{static_cast<std::int64_t>(index.pictures().size()), index.unfit()};
  for (std::int64_t begin = length; begin < count.frames && count.unfit.empty(); begin += length) {
    const auto entry = index.entryFor(static_cast<std::size_t>(begin));
    if (!entry || begin - static_cast<std::int64_t>(entry->picture) > length)
      count.unfit = "its key frames are further apart than parts would be long";
  }
  return count;
}

std::unique_ptr<VideoSource> openSource(const std::string &input, const SourceOptions &options) {
  if (options.raw)
    return std::make_unique<RawSource>(input, options);
  return std::make_unique<LibavSource>(input, options);
}

} // namespace lumagauge::qc
