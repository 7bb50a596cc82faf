// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/live_cli.h"
#include "qc/durations.h"
#include "qc/modes.h"

#include <fmt/format.h>

namespace lumagauge::qc {

namespace {

constexpr double MAX_WINDOW = 86400; ///< seconds; its values are kept

void setTimeout(Options &options, const std::string &text) {
  options.source.timeout = parseDuration(text);
  if (options.source.timeout.value_or(0) <= 0)
    refuse(fmt::format("--timeout {}: expected a duration above 0, as {}", text, DURATION_FORMS));
}

void setWindow(Options &options, const std::string &text) {
  const double window = parseDuration(text).value_or(0);
  if (window <= 0 || window > MAX_WINDOW)
    refuse(fmt::format("--window {}: expected a duration above 0 and of 1d at most, as {}", text,
                       DURATION_FORMS));
  options.live.window = window;
}

void setRotation(Options &options, const std::string &text) {
  const std::optional<Rotation> rotation = parseRotation(text);
  if (!rotation)
    refuse(fmt::format("--rotate {}: expected a duration above 0, as {}, or a size, as 500MB or "
                       "2GB",
                       text, DURATION_FORMS));
  options.live.rotation = *rotation;
}

} // namespace

void addLiveOptions(CLI::App &app, Options &options) {
  using Text = const std::string &;
  auto *live = app.add_flag("--live", options.live.enabled,
                            "Judge a stream that never ends: tell events as they come, in memory "
                            "that does not grow");
  app.add_option("--events", options.live.events,
                 "Append a JSON object a line as events open and close")
      ->type_name("FILE|-")
      ->capture_default_str()
      ->needs(live);
  app.add_option_function<std::string>(
         "--window", [&options](Text text) { setWindow(options, text); },
         "Judge and summarise each so much")
      ->type_name("T")
      ->default_str("1m")
      ->needs(live);
  app.add_option("--metrics", options.live.metrics,
                 "Keep values and counters in FILE, for Prometheus to read")
      ->type_name("FILE")
      ->needs(live);
  app.add_flag("--reconnect", options.live.reconnect,
               "Wait for a signal that is lost, and open the input anew")
      ->needs(live);
  app.add_option_function<std::string>(
         "--rotate", [&options](Text text) { setRotation(options, text); },
         "Begin new files in DIR after a duration, or a size as 500MB")
      ->type_name("T|SIZE")
      ->default_str("1h")
      ->needs(live)
      ->needs(app.get_option("--output"));
  app.add_option_function<std::string>(
         "--timeout", [&options](Text text) { setTimeout(options, text); },
         "Give an input up, or with --reconnect take its signal for lost, when nothing arrives for "
         "so long [waits for ever]")
      ->type_name("T");
}

void checkLiveOptions(const Options &options) {
  if (!options.live.enabled)
    return;
  if (options.inputs.size() != 1)
    refuse(fmt::format("--live takes one INPUT, {} are given", options.inputs.size()));
}

} // namespace lumagauge::qc
