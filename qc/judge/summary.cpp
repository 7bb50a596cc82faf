// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/summary.h"

#include <algorithm>
#include <cmath>

namespace lumagauge::qc {

namespace {

constexpr double MID_GREY = 127.5;

/// How bad a value is, to rank frames by: for most indicators more is worse. A small blockiness is
/// a visible grid, and little detail, movement or contrast is what a viewer misses; of exposure
/// either end is bad.
double badness(Indicator indicator, double value) {
  switch (indicator) {
  case Indicator::blockiness:
  case Indicator::spatialActivity:
  case Indicator::temporalActivity:
  case Indicator::contrast:
    return -value;
  case Indicator::exposure:
    return std::abs(value - MID_GREY);
  default:
    return value;
  }
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
  for (std::size_t i = 0; i < INDICATORS; ++i) {
    if (!record.values[i])
      continue;
    const double value = *record.values[i];
    Values &values = indicators[i];
    if (std::isnan(value)) {
      ++values.summary.nan;
      continue;
    }
    const double bad = badness(static_cast<Indicator>(i), value);
    if (values.numbers.empty() || bad > values.worst) {
      values.worst = bad;
      values.summary.worstFrame = record.frame;
      values.summary.worstTime = record.time;
    }
    values.numbers.push_back(value);
    values.summary.mean += value; // a sum until finish
  }
}

std::array<IndicatorSummary, INDICATORS> Summarizer::finish() {
  std::array<IndicatorSummary, INDICATORS> summaries;
  for (std::size_t i = 0; i < INDICATORS; ++i) {
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

} // namespace lumagauge::qc
