// SPDX-License-Identifier: BSD-2-Clause
#include "qc/durations.h"

#include <array>
#include <charconv>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr double LONGEST = 1e9; ///< seconds
constexpr std::string_view DIGITS = "0123456789";

template <class Number> std::optional<Number> wholeText(std::string_view text) {
  Number value{};
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && rest == text.data() + text.size() ? std::optional(value)
                                                                   : std::nullopt;
}

/// Digits, with a point among them where it may be a fraction.
std::optional<double> parseAmount(std::string_view text, bool mayBeFraction) {
  const std::size_t point = text.find('.');
  const bool isFraction = point != std::string_view::npos;
  if (text.empty() || (isFraction && !mayBeFraction) ||
      text.substr(0, point).find_first_not_of(DIGITS) != std::string_view::npos ||
      (isFraction && text.substr(point + 1).find_first_not_of(DIGITS) != std::string_view::npos))
    return std::nullopt;
  const auto value = wholeText<double>(text);
  return value && *value <= LONGEST ? value : std::nullopt;
}

/// "1:30", "0:01:30.5": minutes and seconds below 60 behind the first field.
std::optional<double> parseClock(std::string_view text) {
  double total = 0;
  for (int field = 0; field < 3; ++field) {
    const std::size_t colon = text.find(':');
    const bool isLast = colon == std::string_view::npos;
    const auto value = parseAmount(text.substr(0, colon), isLast);
    if (!value || (field > 0 && *value >= 60))
      return std::nullopt;
    total = total * 60 + *value;
    if (isLast)
      return total <= LONGEST ? std::optional(total) : std::nullopt;
    text.remove_prefix(colon + 1);
  }
  return std::nullopt;
}

} // namespace

std::optional<double> parseDuration(std::string_view text) {
  if (text.find(':') != std::string_view::npos)
    return parseClock(text);
  constexpr std::array<std::pair<char, double>, 4> UNITS{
      {{'s', 1.0}, {'m', 60.0}, {'h', 3600.0}, {'d', 86400.0}}};
  double factor = 1;
  for (const auto &[unit, seconds] : UNITS)
    if (text.ends_with(unit)) {
      factor = seconds;
      text.remove_suffix(1);
      break;
    }
  const auto amount = parseAmount(text, true);
  return amount && *amount * factor <= LONGEST ? std::optional(*amount * factor) : std::nullopt;
}

std::optional<Extent> parseExtent(std::string_view text) {
  if (text.ends_with('f')) {
    text.remove_suffix(1);
    const bool isCount = text.find_first_not_of(DIGITS) == std::string_view::npos;
    const auto frames = isCount ? wholeText<std::int64_t>(text) : std::nullopt;
    return frames ? std::optional<Extent>(Frames{*frames}) : std::nullopt;
  }
  const auto seconds = parseDuration(text);
  return seconds ? std::optional<Extent>(Seconds{*seconds}) : std::nullopt;
}

} // namespace lumagauge::qc
