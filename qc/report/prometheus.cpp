// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/prometheus.h"

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <iterator>

namespace lumagauge::qc {

namespace {

/// Shortest text that reads back as the same double, in the format's spelling.
std::string number(double value) {
  if (std::isnan(value))
    return "NaN";
  if (std::isinf(value))
    return value > 0 ? "+Inf" : "-Inf";
  return fmt::format("{}", value);
}

std::string escaped(const std::string &text) {
  std::string result;
  for (const char c : text)
    if (c == '\n')
      result += "\\n";
    else
      result.append(c == '\\' || c == '"' ? "\\" : "").append(1, c);
  return result;
}

class Text {
public:
  explicit Text(const std::string &input) : label(fmt::format("input=\"{}\"", escaped(input))) {}

  void family(std::string_view name, std::string_view type, std::string_view help) {
    current = name;
    append("# HELP lumagauge_{} {}\n# TYPE lumagauge_{} {}\n", name, help, name, type);
  }
  /// Of the family before; `own` are further labels.
  void sample(double value, const std::string &own = "") {
    append("lumagauge_{}{{{}{}{}}} {}\n", current, label, own.empty() ? "" : ",", own,
           number(value));
  }
  void one(std::string_view name, std::string_view type, std::string_view help, double value) {
    family(name, type, help);
    sample(value);
  }

  std::string text;

private:
  template <class... Args> void append(fmt::format_string<Args...> format, Args &&...args) {
    fmt::format_to(std::back_inserter(text), format, std::forward<Args>(args)...);
  }

  std::string label;
  std::string_view current;
};

void addKinds(Text &text, const LiveTotals &totals, const Profile &profile) {
  const auto samples = [&](const std::function<double(const LiveTotals::OfRule &)> &value) {
    for (std::size_t i = 0; i < profile.rules.size(); ++i)
      text.sample(value(totals.rules[i]), fmt::format("kind=\"{}\"", profile.rules[i].kind));
  };
  text.family("events_total", "counter", "Events that have ended.");
  samples([](const auto &rule) { return static_cast<double>(rule.events.count); });
  text.family("event_seconds_total", "counter", "Time in events that have ended.");
  samples([](const auto &rule) { return rule.events.total; });
  text.family("event_open", "gauge", "Whether there is an event now.");
  samples([](const auto &rule) { return rule.isOpen ? 1.0 : 0.0; });
  text.family("broken_windows_total", "counter", "Windows in which the rule was broken.");
  samples([](const auto &rule) { return static_cast<double>(rule.brokenWindows); });
}

} // namespace

std::string prometheusText(const LiveState &state, const LiveTotals &totals,
                           const Profile &profile) {
  Text text(state.input);
  text.one("running", "gauge", "Whether the run goes on.", state.isRunning ? 1 : 0);
  text.one("signal", "gauge", "Whether pictures arrive.", state.hasSignal ? 1 : 0);
  text.one("start_time_seconds", "gauge", "When the run began, since 1970.", state.startTime);
  text.one("last_frame_time_seconds", "gauge", "When the last frame was measured, since 1970.",
           state.lastFrameTime);
  text.one("frames_total", "counter", "Frames measured.", static_cast<double>(totals.frames));
  text.one("connections_total", "counter", "Times that the input was opened.",
           static_cast<double>(state.connections));
  text.one("signal_lost_seconds_total", "counter", "Time without a signal, by the wall clock.",
           state.lostSeconds);
  text.one("windows_total", "counter", "Windows judged.", static_cast<double>(totals.windows));
  addKinds(text, totals, profile);
  text.family("indicator", "gauge", "The last value of an indicator, in its own unit.");
  for (const IndicatorInfo &info : INDICATORS)
    if (const std::optional<double> &value = state.values[info.indicator])
      text.sample(*value, fmt::format("indicator=\"{}\"", info.name));
  return text.text;
}

} // namespace lumagauge::qc
