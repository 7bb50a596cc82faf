// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/envelope.h"

#include <cstddef>
#include <deque>
#include <functional>

namespace lumagauge::qc {

namespace {

/// Frame times are rounded; one that lies `reach` away counts.
constexpr double ROUNDING = 1e-3;

/// The first in the order of `isBefore` of the values within `reach` of each.
template <class Order>
std::vector<double> extremes(const std::vector<double> &values, const std::vector<double> &times,
                             double reach, Order isBefore) {
  std::vector<double> result;
  result.reserve(values.size());
  std::deque<std::size_t> candidates; // their values in order, so the front is the extreme
  std::size_t next = 0;
  for (const double time : times) {
    for (; next < times.size() && times[next] - time <= reach + ROUNDING; ++next) {
      while (!candidates.empty() && !isBefore(values[candidates.back()], values[next]))
        candidates.pop_back();
      candidates.push_back(next);
    }
    while (time - times[candidates.front()] > reach + ROUNDING)
      candidates.pop_front();
    result.push_back(values[candidates.front()]);
  }
  return result;
}

} // namespace

std::vector<double> opening(const std::vector<double> &values, const std::vector<double> &times,
                            double reach) {
  return extremes(extremes(values, times, reach, std::less<>()), times, reach, std::greater<>());
}

} // namespace lumagauge::qc
