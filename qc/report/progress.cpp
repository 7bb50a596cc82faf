// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/progress.h"
#include "qc/report/console.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::chrono::milliseconds BAR_INTERVAL{100}, PLAIN_INTERVAL{3000};
constexpr std::size_t LONGEST_LABEL = 16, BAR_WIDTH = 12; ///< a line of 80 columns

double seconds(Progress::Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

/// The end of a long label, where the file name is, from the start of a UTF-8 character.
std::string shortened(std::string label) {
  if (label.size() <= LONGEST_LABEL)
    return label;
  std::size_t start = label.size() - LONGEST_LABEL;
  while (start < label.size() && (static_cast<unsigned char>(label[start]) & 0xC0U) == 0x80)
    ++start;
  return "..." + label.substr(start);
}

} // namespace

Progress::Progress(std::ostream &target, ProgressMode wanted, std::string name,
                   std::optional<std::int64_t> framesToCome, std::optional<double> secondsToCome,
                   double start)
    : stream(target), mode(wanted), label(shortened(printable(name))), expectedFrames(framesToCome),
      expectedSeconds(secondsToCome), startTime(start), started(Clock::now()), lastShown(started) {}

Progress::~Progress() {
  if (mode == ProgressMode::bar && shown)
    stream << "\r\x1b[K" << std::flush;
}

void Progress::update(const FrameRecord &record, Clock::time_point now) {
  ++frames;
  if (mode == ProgressMode::none ||
      now - lastShown < (mode == ProgressMode::bar ? BAR_INTERVAL : PLAIN_INTERVAL))
    return;
  lastShown = now;
  shown = true;
  const std::string line = text(record, seconds(now - started));
  if (mode == ProgressMode::bar)
    stream << '\r' << line << "\x1b[K" << std::flush;
  else
    stream << line << '\n' << std::flush;
}

std::string Progress::text(const FrameRecord &record, double elapsed) const {
  const double position = record.time - startTime;
  const std::string speed =
      fmt::format("{:.1f} fps  {:.2f}x", static_cast<double>(frames) / elapsed, position / elapsed);
  double share = 0;
  if (expectedFrames && *expectedFrames > 0)
    share = static_cast<double>(frames) / static_cast<double>(*expectedFrames);
  else if (expectedSeconds && *expectedSeconds > 0)
    share = position / *expectedSeconds;
  if (!(share > 0)) // nothing to hold the position against
    return fmt::format("{}  {} frames  {}  {}", label, frames, clockTime(record.time), speed);
  share = std::min(share, 1.0);
  std::string bar;
  if (mode == ProgressMode::bar) {
    const auto done = static_cast<std::size_t>(share * static_cast<double>(BAR_WIDTH));
    bar = '[' + std::string(done, '#') + std::string(BAR_WIDTH - done, '.') + "]  ";
  }
  std::string left = clockTime(elapsed * (1 - share) / share);
  left.resize(left.size() - 4); // whole seconds
  return fmt::format("{}  {}{:3.0f} %  {}  {} left", label, bar, 100 * share, speed, left);
}

} // namespace lumagauge::qc
