// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/metrics.h"

#include "qc/report/atomic_file.h"
#include "qc/report/console.h"
#include "qc/report/csv.h"

#include <iostream>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::chrono::seconds INTERVAL{1};

double wallSeconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

} // namespace

Metrics::Metrics(const std::string &target, const std::string &input) : path(target) {
  state.input = escapedText(input);
  state.startTime = wallSeconds();
}

void Metrics::connected() {
  ++state.connections;
}

void Metrics::frame(const FrameRecord &record) {
  state.hasSignal = true;
  state.lastFrameTime = wallSeconds();
  for (const IndicatorInfo &info : INDICATORS)
    if (record[info.indicator])
      state.values[info.indicator] = record[info.indicator];
}

void Metrics::event(const EventChange &change) {
  if (change.event.kind != SIGNAL_LOST)
    return;
  state.hasSignal = change.change == Change::closed;
  if (state.hasSignal)
    state.lostSeconds += change.waited;
}

void Metrics::update(const LiveTotals &totals, const Profile &profile, double lost) {
  if (path.empty() || Clock::now() < due)
    return;
  write(totals, profile, lost);
  due = Clock::now() + INTERVAL;
}

void Metrics::finish(const LiveTotals &totals, const Profile &profile) {
  state.isRunning = state.hasSignal = false;
  if (!path.empty())
    write(totals, profile, 0);
}

void Metrics::write(const LiveTotals &totals, const Profile &profile, double lost) try {
  LiveState now = state;
  now.lostSeconds += lost;
  AtomicFile file(path);
  file.stream() << prometheusText(now, totals, profile);
  file.seal(false); // after a stop of the machine it would be out of date
  file.commit();
  isFailing = false;
} catch (const OutputError &error) {
  if (!std::exchange(isFailing, true))
    std::cerr << "lumagauge-qc: --metrics " << printable(error.what())
              << "; it is tried every second\n";
}

} // namespace lumagauge::qc
