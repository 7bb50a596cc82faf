// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/live_options.h"

#include "qc/durations.h"

#include <array>
#include <charconv>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr double LARGEST = 1e15; ///< bytes

/// Empty where the text is no size above 0.
std::optional<std::int64_t> parseBytes(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, double>, 3> UNITS{
      {{"kB", 1e3}, {"MB", 1e6}, {"GB", 1e9}}};
  double value = 0;
  const auto [rest, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc())
    return std::nullopt;
  for (const auto &[name, factor] : UNITS)
    if (std::string_view(rest, text.data() + text.size()) == name && value * factor >= 1 &&
        value * factor <= LARGEST)
      return static_cast<std::int64_t>(value * factor);
  return std::nullopt;
}

} // namespace

std::optional<Rotation> parseRotation(std::string_view text) {
  if (const auto seconds = parseDuration(text))
    return *seconds > 0 ? std::optional(Rotation{.seconds = seconds}) : std::nullopt;
  if (const auto bytes = parseBytes(text))
    return Rotation{.bytes = bytes};
  return std::nullopt;
}

} // namespace lumagauge::qc
