// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/cadence.h"
#include "qc/judge/events.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Of the share of the picture that moves around a repeat, and of all: coding leaves a repeat some.
constexpr double REPEAT_SHARE = 0.3, REPEAT_MOST = 0.01;
/// Where less of the picture moves nobody sees that it is shown again.
constexpr double LEAST_MOVING = 0.03;
constexpr double LONGEST_RUN = 0.2; ///< seconds; longer ones are freezes
/// A single run of repeats is seen as a hitch if it takes so long (seconds), and so many times
/// longer than the other runs.
constexpr double HITCH = 0.08, HITCH_RATIO = 3;
constexpr double WINDOW = 2; ///< seconds
/// Fewer runs say nothing of their distances.
constexpr std::size_t LEAST_RUNS = 4;
/// Of the distances, those that must be the same but for one frame.
constexpr double EVEN_SHARE = 0.7;
/// Of the frames amid movement that must be in even windows, and how alike these must be.
constexpr double KEPT_SHARE = 0.75, SAME_RATE = 1.1;

struct Run {
  std::size_t first, length;
};

double movingShare(double stillShare) {
  return 1 - stillShare;
}

/// What moves where a new picture comes: as much as on one frame in eight, since up to six frames
/// may show one picture.
double usuallyMoving(std::span<const double> stillShare) {
  std::vector<double> sorted;
  for (const double share : stillShare)
    if (!std::isnan(share))
      sorted.push_back(movingShare(share));
  if (sorted.empty())
    return 0;
  const auto place = sorted.begin() + static_cast<std::ptrdiff_t>((sorted.size() - 1) * 7 / 8);
  std::nth_element(sorted.begin(), place, sorted.end());
  return *place;
}

/// Stretches of repeats between two frames on which far more moves.
std::vector<Run> findRuns(std::span<const double> stillShare, double usual, double frameTime) {
  std::vector<Run> runs;
  const auto isStill = [&](std::size_t i) {
    return i < stillShare.size() &&
           movingShare(stillShare[i]) < std::min(REPEAT_MOST, REPEAT_SHARE * usual);
  };
  for (std::size_t first = 0; first < stillShare.size(); ++first) {
    std::size_t end = first;
    double most = 0;
    for (; isStill(end); ++end)
      most = std::max(most, movingShare(stillShare[end]));
    const std::size_t length = end - first;
    // Of a run at either end it is not known how long it is.
    if (length > 0 && first > 0 && end < stillShare.size() &&
        static_cast<double>(length) * frameTime <= LONGEST_RUN &&
        most <= REPEAT_SHARE *
                    std::min(movingShare(stillShare[first - 1]), movingShare(stillShare[end])))
      runs.push_back({first, length});
    first = end;
  }
  return runs;
}

bool keepDistance(const std::vector<Run> &runs) {
  if (runs.size() < LEAST_RUNS)
    return false;
  std::vector<std::size_t> distances;
  for (std::size_t i = 2; i < runs.size(); ++i)
    distances.push_back(runs[i].first - runs[i - 2].first);
  std::sort(distances.begin(), distances.end());
  const std::size_t usual = distances[distances.size() / 2];
  const auto same = std::count_if(distances.begin(), distances.end(), [&](std::size_t distance) {
    return distance + 1 >= usual && distance <= usual + 1;
  });
  return static_cast<double>(same) >= EVEN_SHARE * static_cast<double>(distances.size());
}

bool isHitch(const Run &run, const std::vector<Run> &runs, double frameTime) {
  std::vector<std::size_t> others;
  for (const Run &other : runs)
    if (other.first != run.first)
      others.push_back(other.length);
  std::sort(others.begin(), others.end());
  const std::size_t usual = others.empty() ? 0 : others[others.size() / 2];
  return static_cast<double>(run.length) * frameTime >= HITCH - TIME_ROUNDING &&
         static_cast<double>(run.length) >= HITCH_RATIO * static_cast<double>(usual);
}

} // namespace

Repeats findRepeats(std::span<const double> stillShare, double frameTime) {
  Repeats found;
  found.isRepeat.assign(stillShare.size(), false);
  found.isHitch.assign(stillShare.size(), false);
  const double usual = usuallyMoving(stillShare);
  if (usual < LEAST_MOVING)
    return found;
  const std::vector<Run> runs = findRuns(stillShare, usual, frameTime);
  for (const Run &run : runs) {
    const bool hitch = isHitch(run, runs, frameTime);
    for (std::size_t i = run.first; i < run.first + run.length; ++i) {
      found.isRepeat[i] = true;
      found.isHitch[i] = hitch;
    }
    found.count += run.length;
  }
  found.areEven = keepDistance(runs);
  return found;
}

CadenceFinder::CadenceFinder(double rate)
    : frameTime(1 / rate),
      windowFrames(static_cast<std::size_t>(std::clamp(WINDOW * rate, 16.0, 600.0))) {}

void CadenceFinder::add(const FrameRecord &record) {
  if (record.shot != shot || window.size() == windowFrames)
    look();
  shot = record.shot;
  window.push_back(
      record[Indicator::stillShare].value_or(std::numeric_limits<double>::quiet_NaN()));
}

void CadenceFinder::look() {
  const std::vector<double> values = std::exchange(window, {});
  if (values.size() * 2 < windowFrames || usuallyMoving(values) < LEAST_MOVING)
    return;
  frames += static_cast<std::int64_t>(values.size());
  const Repeats repeats = findRepeats(values, frameTime);
  if (!repeats.areEven)
    return;
  // From the first run to the last one, as those at the ends of the window are not counted.
  const auto firstRepeat = std::find(repeats.isRepeat.begin(), repeats.isRepeat.end(), true);
  auto lastRun = std::find(repeats.isRepeat.rbegin(), repeats.isRepeat.rend(), true).base() - 1;
  while (*(lastRun - 1))
    --lastRun;
  const auto span = static_cast<double>(lastRun - firstRepeat);
  const double news = span - static_cast<double>(std::count(firstRepeat, lastRun, true));
  const double each = span / news;
  least = even == 0 ? each : std::min(least, each);
  most = std::max(most, each);
  even += static_cast<std::int64_t>(values.size());
  evenFrames += span;
  pictures += news;
}

std::optional<Cadence> CadenceFinder::finish() {
  look();
  if (even < static_cast<std::int64_t>(windowFrames) ||
      static_cast<double>(even) < KEPT_SHARE * static_cast<double>(frames) ||
      most > SAME_RATE * least)
    return std::nullopt;
  const double each = evenFrames / pictures;
  return Cadence{.framesPerPicture = each, .rate = 1 / (frameTime * each)};
}

} // namespace lumagauge::qc
