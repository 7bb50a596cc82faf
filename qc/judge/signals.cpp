// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/signals.h"
#include "qc/judge/cadence.h"
#include "qc/judge/envelope.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumagauge::qc {

namespace {

/// As they stand behind an indicator's name.
constexpr std::array<std::string_view, 9> VIEW_NAMES{"value",       "baseline",  "rise",
                                                     "ratio",       "to_before", "to_after",
                                                     "alternation", "repeats",   "envelope_ratio"};
/// A signal of its own.
constexpr std::string_view DRAWN_NAME = "drawn";
constexpr Signal DRAWN{Indicator::sharpness, View::drawn};

/// Fewer frames of a shot than these say nothing about it.
constexpr std::size_t LEAST_FRAMES = 8;
/// Seconds beside a frame that a step is told by.
constexpr double BESIDE = 0.25;
/// Seconds on each side of a frame in which swings are looked for.
constexpr double SWING_REACH = 0.3;
/// Seconds on each side of a frame in which repeats are looked for.
constexpr double REPEAT_REACH = 1;
/// Seconds on each side of a frame in which the worst value tells: half of the usual GOP of 12
/// pictures at 24 or 25 a second, of 15 at 30.
constexpr double ENVELOPE_REACH = 0.25;
/// So many repeats are too few to tell whether their distances are even.
constexpr std::size_t FEW_REPEATS = 3;
/// Edges are as hard as that where nothing else tells drawings from what a camera shows.
constexpr double SHARPNESS_OF_DRAWINGS = 2;
/// A swing counts where it occurs so often: a flash is one up and one down.
constexpr std::size_t LEAST_SWINGS = 3;

/// Where the good values of a shot lie among all: a fault may fill much of what is seen of it.
double goodShare(Indicator indicator) {
  switch (INDICATORS[static_cast<std::size_t>(indicator)].worse) {
  case Worse::higher:
    return 0.25;
  case Worse::lower:
    return 0.75;
  case Worse::extremes:
    break;
  }
  return 0.5;
}

bool isNumber(const std::optional<double> &value) {
  return value && !std::isnan(*value);
}

/// The heights of the ways from one turning point of the values to the next. Turns back by less
/// than a quarter of the values' range count as jitter on the way.
std::vector<double> swings(const std::vector<double> &values) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const double jitter = (*most - *least) / 4;
  std::vector<double> heights;
  double turn = values.front(), farthest = turn;
  for (const double value : values) {
    if ((value - farthest) * (farthest - turn) >= 0) {
      farthest = value;
    } else if (std::abs(value - farthest) > jitter) {
      heights.push_back(std::abs(farthest - turn));
      turn = farthest;
      farthest = value;
    }
  }
  heights.push_back(std::abs(farthest - turn));
  return heights;
}

} // namespace

std::optional<Signal> parseSignal(std::string_view text) {
  if (text == DRAWN_NAME)
    return DRAWN;
  const std::size_t dot = text.find('.');
  const auto indicator =
      std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(), text.substr(0, dot));
  const auto view = dot == std::string_view::npos
                        ? VIEW_NAMES.begin()
                        : std::find(VIEW_NAMES.begin() + 1, VIEW_NAMES.end(), text.substr(dot + 1));
  if (indicator == INDICATOR_NAMES.end() || view == VIEW_NAMES.end())
    return std::nullopt;
  const Signal signal{static_cast<Indicator>(indicator - INDICATOR_NAMES.begin()),
                      static_cast<View>(view - VIEW_NAMES.begin())};
  if (signal.view == View::envelopeRatio &&
      INDICATORS[static_cast<std::size_t>(signal.indicator)].worse == Worse::extremes)
    return std::nullopt;
  if (signal.view == View::repeats && signal.indicator != Indicator::stillShare)
    return std::nullopt;
  return signal;
}

std::string signalName(Signal signal) {
  if (signal.view == View::drawn)
    return std::string(DRAWN_NAME);
  const std::string_view name = INDICATOR_NAMES[static_cast<std::size_t>(signal.indicator)];
  if (signal.view == View::value)
    return std::string(name);
  return fmt::format("{}.{}", name, VIEW_NAMES[static_cast<std::size_t>(signal.view)]);
}

std::vector<Indicator> indicatorsOf(Signal signal) {
  if (signal.view == View::drawn)
    return {Indicator::sharpness, Indicator::flatShare};
  return {signal.indicator};
}

std::string viewNames() {
  return fmt::format(".{}", fmt::join(VIEW_NAMES.begin() + 1, VIEW_NAMES.end(), ", ."));
}

void Timeline::Window::include(const std::optional<double> &value) {
  if (isNumber(value))
    sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), *value), *value);
}

void Timeline::Window::exclude(const std::optional<double> &value) {
  if (isNumber(value))
    sorted.erase(std::lower_bound(sorted.begin(), sorted.end(), *value));
}

void Timeline::add(FrameRecord record) {
  if (!frames.empty() && record.time > frames.back().record.time)
    frames.back().displayEnd = record.time;
  if (const std::optional<double> &value = record[Indicator::flickering]) {
    for (std::size_t back = 1; back < std::min(FLICKERING_PERIOD, frames.size() + 1); ++back)
      frames[frames.size() - back].record[Indicator::flickering] = value;
    windows[static_cast<std::size_t>(Indicator::flickering)] = {};
  }
  const double end = record.time + frameTime;
  frames.push_back({std::move(record), end});
}

bool Timeline::isSeenAhead(std::size_t index) const {
  if (index >= frames.size())
    return false;
  const std::size_t ahead = frames.size() - 1 - index;
  if (sight == Sight::frame)
    return complete || ahead > 0;
  return complete || ahead >= MOST_AHEAD ||
         (ahead >= LEAST_AHEAD &&
          frames.back().record.time - frames[index].record.time > LOOK_AHEAD);
}

bool Timeline::advance() {
  const std::size_t next = started ? position + 1 : 0;
  if (!isSeenAhead(next))
    return false;
  position = next;
  started = true;
  const double earliest = current().record.time - BASELINE_PAST;
  while (position > 1 && (frames[1].record.time < earliest || position > MOST_PAST))
    forgetFirst();
  const auto number = forgotten + static_cast<std::int64_t>(position);
  if (number == 0 || current().record.shot != frames[position - 1].record.shot)
    shotBegin = shotEnd = number;
  shotBegin = std::max(shotBegin, forgotten);
  while (isInShot(static_cast<std::size_t>(shotEnd - forgotten)))
    ++shotEnd;
  return true;
}

void Timeline::forgetFirst() {
  for (std::size_t i = 0; i < windows.size(); ++i)
    if (Window &window = windows[i]; window.begin == forgotten && window.end > forgotten) {
      window.exclude(frames.front().record[static_cast<Indicator>(i)]);
      ++window.begin;
    }
  frames.pop_front();
  ++forgotten;
  --position;
}

/// Whether there is such a frame, in the current one's shot and not too far ahead of it.
bool Timeline::isInShot(std::size_t index) const {
  return index < frames.size() && frames[index].record.shot == current().record.shot &&
         frames[index].record.time - current().record.time <= LOOK_AHEAD;
}

std::optional<double> Timeline::operator[](Signal signal) const {
  if (signal.view == View::drawn)
    return drawn();
  const std::optional<double> &value = current().record[signal.indicator];
  if (signal.view == View::value || !value)
    return value;
  if (signal.view == View::alternation)
    return alternation(signal.indicator);
  if (signal.view == View::repeats)
    return repeats(signal.indicator);
  if (signal.view == View::envelopeRatio)
    return envelopeRatio(signal.indicator);
  const std::optional<double> usual = signal.view == View::toBefore ? beside(signal.indicator, true)
                                      : signal.view == View::toAfter
                                          ? beside(signal.indicator, false)
                                          : baseline(signal.indicator);
  if (!usual || signal.view == View::baseline)
    return usual;
  return signal.view == View::rise ? *value - *usual : *value / *usual;
}

/// The median of the frames before or behind this one, as far as BESIDE and whatever the shot.
std::optional<double> Timeline::beside(Indicator indicator, bool before) const {
  std::vector<double> values;
  const std::size_t step = before ? std::size_t(-1) : 1; // wraps below the first frame
  for (std::size_t i = position + step; i < frames.size(); i += step) {
    const FrameRecord &record = frames[i].record;
    if (std::abs(record.time - current().record.time) > BESIDE)
      break;
    if (isNumber(record[indicator]))
      values.push_back(*record[indicator]);
  }
  if (values.empty())
    return std::nullopt;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

const std::vector<double> &Timeline::shotValues(Indicator indicator) const {
  Window &window = windows[static_cast<std::size_t>(indicator)];
  if (window.begin != shotBegin || window.end <= shotBegin)
    window = {.begin = shotBegin, .end = shotBegin, .sorted = {}};
  for (; window.end < shotEnd; ++window.end)
    window.include(frames[static_cast<std::size_t>(window.end - forgotten)].record[indicator]);
  return window.sorted;
}

std::optional<double> Timeline::quantile(Indicator indicator, double share) const {
  const std::vector<double> &values = shotValues(indicator);
  if (values.empty())
    return std::nullopt;
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

std::optional<double> Timeline::baseline(Indicator indicator) const {
  if (shotValues(indicator).size() < LEAST_FRAMES)
    return std::nullopt;
  return quantile(indicator, goodShare(indicator));
}

/// Edges harder than a lens makes, or ground without the grain of a sensor, or some of both. A few
/// frames tell: damage that looks like a cut makes a short shot, which is a camera's all the same.
std::optional<double> Timeline::drawn() const {
  const std::optional<double> edges = quantile(Indicator::sharpness, 0.5);
  const std::optional<double> flat = quantile(Indicator::flatShare, 0.5);
  if (!edges || !flat)
    return std::nullopt;
  return *edges / SHARPNESS_OF_DRAWINGS + *flat;
}

std::pair<std::size_t, std::size_t> Timeline::framesWithin(double reach) const {
  const auto isNear = [&](std::size_t index) {
    return index < frames.size() && frames[index].record.shot == current().record.shot &&
           std::abs(frames[index].record.time - current().record.time) <= reach;
  };
  std::size_t first = position, end = position;
  while (isNear(first - 1)) // wraps below the first frame
    --first;
  while (isNear(end))
    ++end;
  return {first, end};
}

std::optional<double> Timeline::alternation(Indicator indicator) const {
  const auto [first, end] = framesWithin(SWING_REACH);
  std::vector<double> values;
  for (std::size_t i = first; i < end; ++i)
    if (const std::optional<double> &value = frames[i].record[indicator];
        value && std::isfinite(*value))
      values.push_back(*value);
  if (values.size() < 2)
    return std::nullopt;
  std::vector<double> heights = swings(values);
  if (heights.size() < LEAST_SWINGS)
    return 0.0;
  std::nth_element(heights.begin(), heights.begin() + (LEAST_SWINGS - 1), heights.end(),
                   std::greater<>());
  return heights[LEAST_SWINGS - 1];
}

/// A flat picture has no blocks and no detail, so it takes no part in what is usual.
std::optional<double> Timeline::envelopeRatio(Indicator indicator) const {
  const double sign =
      INDICATORS[static_cast<std::size_t>(indicator)].worse == Worse::lower ? 1 : -1;
  std::vector<double> values, times;
  std::optional<std::size_t> here;
  const auto end = static_cast<std::size_t>(shotEnd - forgotten);
  for (auto i = static_cast<std::size_t>(shotBegin - forgotten); i < end; ++i) {
    const FrameRecord &record = frames[i].record;
    if (!isNumber(record[indicator]) || record[Indicator::blackout].value_or(0) >= 1)
      continue;
    if (i == position)
      here = values.size();
    values.push_back(sign * *record[indicator]);
    times.push_back(record.time);
  }
  if (!here || values.size() < LEAST_FRAMES)
    return std::nullopt;
  std::vector<double> envelope = opening(values, times, ENVELOPE_REACH);
  const double value = envelope[*here];
  // The values of an indicator that is worse when higher are negative here, in the opposite order.
  const auto usual = envelope.begin() +
                     static_cast<std::ptrdiff_t>(0.75 * static_cast<double>(envelope.size() - 1));
  std::nth_element(envelope.begin(), usual, envelope.end());
  return value / *usual;
}

std::optional<double> Timeline::repeats(Indicator indicator) const {
  const auto [first, end] = framesWithin(REPEAT_REACH);
  std::vector<double> values;
  for (std::size_t i = first; i < end; ++i)
    values.push_back(
        frames[i].record[indicator].value_or(std::numeric_limits<double>::quiet_NaN()));
  const Repeats found = findRepeats(values, frameTime);
  const std::size_t here = position - first;
  const bool isUneven = found.isRepeat[here] && !found.areEven && found.count > FEW_REPEATS;
  return isUneven || found.isHitch[here] ? static_cast<double>(found.count) : 0.0;
}

} // namespace lumagauge::qc
