// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/live_options.h"

#include <array>
#include <charconv>
#include <utility>

namespace lumagauge::qc {

namespace {

using Unit = std::pair<std::string_view, double>;
constexpr double LONGEST = 1e9;  ///< seconds
constexpr double LARGEST = 1e15; ///< bytes

/// A number above 0 with one of the units behind it.
template <std::size_t count>
std::optional<double> parseAmount(std::string_view text, const std::array<Unit, count> &units,
                                  double most) {
  double value = 0;
  const auto [rest, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc())
    return std::nullopt;
  for (const auto &[name, factor] : units)
    if (text.substr(static_cast<std::size_t>(rest - text.data())) == name && value > 0 &&
        value * factor <= most)
      return value * factor;
  return std::nullopt;
}

} // namespace

std::optional<double> parseSpan(std::string_view text) {
  constexpr std::array<Unit, 5> units{
      {{"", 1.0}, {"s", 1.0}, {"m", 60.0}, {"h", 3600.0}, {"d", 86400.0}}};
  return parseAmount(text, units, LONGEST);
}

std::optional<Rotation> parseRotation(std::string_view text) {
  constexpr std::array<Unit, 3> units{{{"kB", 1e3}, {"MB", 1e6}, {"GB", 1e9}}};
  if (const auto seconds = parseSpan(text))
    return Rotation{.seconds = seconds};
  if (const auto bytes = parseAmount(text, units, LARGEST))
    return Rotation{.bytes = static_cast<std::int64_t>(*bytes)};
  return std::nullopt;
}

} // namespace lumagauge::qc
