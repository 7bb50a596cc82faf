// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/not_judged.h"

#include <algorithm>
#include <fmt/format.h>

namespace lumagauge::qc {

namespace {

std::string nameOf(Indicator indicator) {
  std::string name(INDICATORS[static_cast<std::size_t>(indicator)].name);
  std::replace(name.begin(), name.end(), '_', ' ');
  return name;
}

std::string reasonFor(const IndicatorInfo &info, const MeasuredShape &shape) {
  const std::string name = nameOf(info.indicator);
  if (shape.frames == 0)
    return "no frame measured";
  if (shape.width < info.leastWidth || shape.height < info.leastHeight)
    return fmt::format("pictures of {}x{} are too small for {}", shape.width, shape.height, name);
  // A first frame has no value, flickering has one at the end of each period.
  const std::int64_t least = info.indicator == Indicator::flickering ? 1 + FLICKERING_PERIOD
                             : info.needsPrevious                    ? 2
                                                                     : 1;
  if (shape.frames < least)
    return fmt::format("{} frame{} too few for {}, which takes {}", shape.frames,
                       shape.frames == 1 ? " is" : "s are", name, least);
  return fmt::format("no value of {} on any frame", name);
}

} // namespace

std::string lackOfValues(const Rule &rule,
                         const std::array<IndicatorSummary, INDICATOR_COUNT> &summaries,
                         const MeasuredShape &shape) {
  std::vector<Indicator> needed;
  for (const Condition &condition : rule.conditions)
    for (const Indicator indicator : indicatorsOf(condition.signal))
      needed.push_back(indicator);
  const auto isLeftOut = [&](Indicator indicator) {
    return (shape.indicators & bit(indicator)) == 0;
  };
  if (const auto left = std::find_if(needed.begin(), needed.end(), isLeftOut); left != needed.end())
    return std::all_of(needed.begin(), needed.end(), isLeftOut) ? "not requested"
                                                                : nameOf(*left) + " not requested";
  for (const Indicator indicator : needed) {
    const auto number = static_cast<std::size_t>(indicator);
    if (summaries[number].count + summaries[number].nan == 0)
      return reasonFor(INDICATORS[number], shape);
  }
  return "";
}

} // namespace lumagauge::qc
