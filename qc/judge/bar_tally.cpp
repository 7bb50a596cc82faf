// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/bar_tally.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace lumagauge::qc {

namespace {

constexpr std::array<Indicator, 4> SIDES{Indicator::barTop, Indicator::barBottom,
                                         Indicator::barLeft, Indicator::barRight};

/// Shapes that people call by whole numbers, where the picture is within a hundredth of them.
std::string shapeName(double ratio) {
  for (const auto &[across, down] : {std::pair(4, 3), {16, 9}, {9, 16}, {3, 4}})
    if (std::abs(ratio * down / across - 1) < 0.01)
      return fmt::format(" ({}:{})", across, down);
  return "";
}

} // namespace

void BarTally::add(const FrameRecord &record) {
  for (std::size_t side = 0; side < SIDES.size(); ++side)
    if (const std::optional<double> &bar = record[SIDES[side]])
      ++counts[side][static_cast<std::uint32_t>(*bar)];
}

std::uint32_t BarTally::mostCommon(std::size_t side) const {
  const auto most =
      std::max_element(counts[side].begin(), counts[side].end(),
                       [](const auto &a, const auto &b) { return a.second < b.second; });
  return most == counts[side].end() ? 0 : most->first;
}

std::string BarTally::text(std::uint32_t width, std::uint32_t height) const {
  const std::uint32_t top = mostCommon(0), bottom = mostCommon(1);
  const std::uint32_t left = mostCommon(2), right = mostCommon(3);
  if (std::uint64_t{top} + bottom >= height || std::uint64_t{left} + right >= width)
    return "";
  std::vector<std::string> parts;
  if (top + bottom > 0)
    parts.push_back(fmt::format("{} rows at the top, {} at the bottom", top, bottom));
  if (left + right > 0)
    parts.push_back(fmt::format("{} columns at the left, {} at the right", left, right));
  if (parts.empty())
    return "";
  const std::uint32_t across = width - left - right, down = height - top - bottom;
  const double ratio = static_cast<double>(across) / down;
  return fmt::format("{}; picture {}x{}, {:.2f}:1{}", fmt::join(parts, ", "), across, down, ratio,
                     shapeName(ratio));
}

} // namespace lumagauge::qc
