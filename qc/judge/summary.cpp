// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/summary.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr double MID_GREY = 127.5;

/// How bad a value is, to rank frames by.
double badness(Worse worse, double value) {
  switch (worse) {
  case Worse::higher:
    break;
  case Worse::lower:
    return -value;
  case Worse::extremes:
    return std::abs(value - MID_GREY);
  }
  return value;
}

/// Of sorted values, interpolated between neighbours.
double quantile(const std::vector<double> &sorted, double share) {
  const double position = share * static_cast<double>(sorted.size() - 1);
  const auto index = static_cast<std::size_t>(position);
  const double fraction = position - static_cast<double>(index);
  const double low = sorted[index];
  // Between two infinities, or beside one at a fraction of 0, the formula below gives a NaN.
  if (fraction == 0 || sorted[index + 1] == low)
    return low;
  return low + fraction * (sorted[index + 1] - low);
}

} // namespace

void Summarizer::add(const FrameRecord &record) {
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    const std::optional<double> &measured = record[INDICATORS[i].indicator];
    if (!measured)
      continue;
    const double value = *measured;
    IndicatorValues &values = indicators[i];
    if (std::isnan(value)) {
      ++values.summary.nan;
      continue;
    }
    const double bad = badness(INDICATORS[i].worse, value);
    if (values.numbers.empty() || bad > values.worst) {
      values.worst = bad;
      values.summary.worstFrame = record.frame;
      values.summary.worstTime = record.time;
    }
    values.numbers.push_back(value);
    values.summary.mean += value; // a sum until finish
  }
}

std::array<IndicatorSummary, INDICATOR_COUNT> Summarizer::finish() {
  std::array<IndicatorSummary, INDICATOR_COUNT> summaries;
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    std::vector<double> &numbers = indicators[i].numbers;
    IndicatorSummary &summary = summaries[i] = indicators[i].summary;
    if (numbers.empty())
      continue;
    std::sort(numbers.begin(), numbers.end());
    summary.count = static_cast<std::int64_t>(numbers.size());
    summary.mean /= static_cast<double>(numbers.size());
    summary.min = numbers.front();
    summary.p5 = quantile(numbers, 0.05);
    summary.median = quantile(numbers, 0.5);
    summary.p95 = quantile(numbers, 0.95);
    summary.max = numbers.back();
  }
  return summaries;
}

void ShotSummarizer::add(const FrameRecord &record) {
  if (!shots.empty() && record.time > lastTime)
    shots.back().endTime = record.time;
  if (shots.empty() || record.shot != number) {
    close();
    number = record.shot;
    shots.push_back({.startFrame = record.frame, .startTime = record.time, .means = {}});
  }
  Shot &shot = shots.back();
  shot.endFrame = record.frame;
  shot.endTime = record.time + frameTime;
  lastTime = record.time;
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
    if (const std::optional<double> &value = record[INDICATORS[i].indicator];
        value && !std::isnan(*value)) {
      shot.means[i] = shot.means[i].value_or(0) + *value; // a sum until the shot ends
      ++counts[i];
    }
}

void ShotSummarizer::close() {
  if (!shots.empty())
    for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
      if (std::optional<double> &mean = shots.back().means[i])
        *mean /= static_cast<double>(counts[i]);
  counts = {};
}

std::vector<Shot> ShotSummarizer::finish() {
  close();
  return std::move(shots);
}

} // namespace lumagauge::qc
