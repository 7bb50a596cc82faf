// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/part_source.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/md5.h>
}

#include <algorithm>
#include <cmath>

namespace lumagauge::qc {

namespace {

/// Frames on end that stand still for so long are frozen, however many stood still before.
constexpr double FREEZING_SECONDS = 0.1;
/// Pictures ahead of a frame that other values of it depend on: stale rows on six.
constexpr std::int64_t LONGEST_MEMORY = 8;

Seam seamOf(const LumaPicture &picture) {
  std::array<std::uint8_t, 16> digest;
  av_md5_sum(digest.data(), picture.samples.data(), picture.samples.size());
  Seam seam{picture.frame, picture.time, picture.packet, {}};
  for (const std::uint8_t byte : digest)
    seam.luma += fmt::format("{:02x}", byte);
  return seam;
}

} // namespace

std::int64_t leadStart(std::int64_t begin, double rate) {
  constexpr auto PERIOD = static_cast<std::int64_t>(FLICKERING_PERIOD);
  const auto still = static_cast<std::int64_t>(std::ceil(rate * FREEZING_SECONDS)) + 1;
  return std::max<std::int64_t>(begin - std::max(still, LONGEST_MEMORY), 0) / PERIOD * PERIOD;
}

PartSource::PartSource(std::unique_ptr<VideoSource> whole, const FrameRange &range)
    : source(std::move(whole)) {
  select(range.begin, range.end ? std::optional(*range.end - range.begin) : std::nullopt);
}

void PartSource::select(std::int64_t first, std::optional<std::int64_t> count) {
  part.range = {first, count ? std::optional(first + *count) : std::nullopt};
  const std::int64_t lead = leadStart(first, source->info().rate);
  // One more than are wanted, which tells whether the video goes on.
  source->select(lead, count ? std::optional(*part.range.end - lead + 1) : std::nullopt);
}

bool PartSource::read(LumaPicture &picture) {
  if (part.hasEnd || !source->read(picture)) {
    part.hasEnd = true;
    return false;
  }
  if (part.range.end && picture.frame == *part.range.end) {
    source->read(picture); // nothing more: it has delivered all that was selected
    return false;
  }
  if (picture.frame + 1 == part.range.begin)
    part.before = seamOf(picture);
  if (part.range.end && picture.frame + 1 == *part.range.end)
    part.last = seamOf(picture);
  return true;
}

InputEnd PartSource::end() const {
  InputEnd told = source->end();
  if (part.range.end && !part.hasEnd)
    std::erase_if(told.errors,
                  [&](const DecodeError &error) { return error.frame >= *part.range.end; });
  return told;
}

PartFacts PartSource::facts() const {
  PartFacts known = part;
  known.entry = entry();
  if (known.hasEnd)
    known.last.reset();
  return known;
}

} // namespace lumagauge::qc
