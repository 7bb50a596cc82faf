// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/live_run.h"

#include "qc/interruption.h"
#include "qc/live/metrics.h"
#include "qc/live/parts.h"
#include "qc/measure/pipeline.h"
#include "qc/report/console.h"
#include "qc/report/event_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <future>
#include <iostream>
#include <thread>

namespace lumagauge::qc {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// How often is looked at what does not come from frames: time, interruptions.
constexpr Milliseconds TICK{100};
/// Between attempts to open an input: at first, and at most. Each is twice the one before.
constexpr Milliseconds FIRST_PAUSE{250}, LONGEST_PAUSE{30000};
/// A connection that lasts so long makes the pause the first one again.
constexpr Milliseconds SETTLED{10000};

double secondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Where lines cannot be written any more, nobody waits for bytes that may never come.
struct CancelOnFailure {
  ~CancelOnFailure() {
    if (std::uncaught_exceptions() > 0)
      cancelReading();
  }
};

class LiveRun {
public:
  explicit LiveRun(const Run &theRun);
  int measure();

private:
  std::unique_ptr<VideoSource> open();
  std::unique_ptr<VideoSource> openOrWait();
  InputEnd follow(VideoSource &source);
  void take(FrameRecord record);
  void place(FrameRecord &record);
  bool comesBack(const VideoSource &source, const InputEnd &end);
  void lose(const std::string &reason);
  void pauseSince(Clock::time_point opened);
  void tick();
  int finish();

  const Run &run;
  const std::string &input;
  EventLines lines;
  LiveJudge judge;
  Parts parts;
  Metrics metrics;
  WaitClock waitClock;
  Milliseconds pause = FIRST_PAUSE;
  std::string cause; ///< why the run ends
  bool isDoubtful = false;

  bool isLost = false;
  double lossTime = 0;                        ///< where the frames stood then
  std::int64_t arrivalsAtLoss = 0;            ///< of `waitClock`
  Clock::time_point lastFrame = Clock::now(); ///< when the last one came, else the run's start
  /// What is added to the frames of the connection, which count from 0.
  struct Place {
    std::int64_t frame = 0, shot = 0;
    double time = 0;
  } begin, next;         ///< `next`: behind the last frame
  bool isPlaced = false; ///< `begin` is that of the connection
};

SourceOptions liveOptions(const Run &run, WaitClock &clock) {
  SourceOptions options = run.options.source;
  options.live = true;
  options.waitClock = &clock;
  options.pipesWait = run.options.live.reconnect;
  return options;
}

LiveRun::LiveRun(const Run &theRun)
    : run(theRun), input(run.options.inputs.front()), lines(run.options.live.events),
      judge(run.profile, run.options.live.window,
            {.event =
                 [this](const EventChange &change) {
                   lines.event(change);
                   metrics.event(change);
                 },
             .window = [this](const WindowJudgement &window) { lines.window(window); }}),
      parts(run, judge, input), metrics(run.options.live.metrics, input) {}

int LiveRun::measure() {
  lines.begin(input, run.settings, judge.profile(), run.options.live.window);
  while (interruption() == 0) {
    const std::unique_ptr<VideoSource> source = openOrWait();
    if (!source)
      break;
    const Clock::time_point connected = Clock::now();
    const InputEnd end = follow(*source);
    if (interruption() != 0 || !comesBack(*source, end))
      break;
    lose(cause);
    pauseSince(connected);
  }
  return finish();
}

/// On a thread of its own, as it may take long. Throws InputError.
std::unique_ptr<VideoSource> LiveRun::open() {
  const SourceOptions options = liveOptions(run, waitClock);
  auto opening = std::async(std::launch::async, [&] { return openSource(input, options); });
  {
    const CancelOnFailure guard{};
    while (opening.wait_for(TICK) != std::future_status::ready)
      tick();
  }
  return opening.get();
}

/// Empty where the run is to end.
std::unique_ptr<VideoSource> LiveRun::openOrWait() {
  while (true) {
    const Clock::time_point begun = Clock::now();
    try {
      return open();
    } catch (const InputError &error) {
      const bool mayComeBack = input.find("://") != std::string::npos || isLost;
      cause = error.what();
      isDoubtful = true;
      if (interruption() != 0 || !run.options.live.reconnect || !mayComeBack)
        return nullptr;
      lose(error.what());
    }
    pauseSince(begun);
    if (interruption() != 0)
      return nullptr;
  }
}

InputEnd LiveRun::follow(VideoSource &source) {
  isPlaced = false;
  metrics.connected();
  parts.connect(source.info());
  judge.connect(source.info(), run.options.indicators);
  lines.connected(source.info(), next.time);
  std::int64_t delivered = 0;
  {
    Pipeline pipeline(source, run.options.indicators, run.settings.threads);
    const CancelOnFailure guard{};
    while (true) {
      while (!pipeline.waitFor(TICK) && interruption() == 0)
        tick();
      // What an interruption cut short may have suffered from it.
      const std::optional<FrameRecord> record =
          interruption() == 0 ? pipeline.next() : std::nullopt;
      if (!record || interruption() != 0)
        break;
      delivered = record->frame + 1;
      take(*record);
      tick();
    }
  }
  InputEnd end = source.end();
  end.interrupted = interruption() != 0;
  if (end.interrupted)
    std::erase_if(end.errors, [&](const DecodeError &error) { return error.frame >= delivered; });
  for (DecodeError &error : end.errors) {
    error.frame += begin.frame;
    error.time += begin.time;
    if (error.endTime)
      *error.endTime += begin.time;
  }
  judge.disconnect(end);
  parts.disconnect(end);
  return end;
}

void LiveRun::take(FrameRecord record) {
  const bool isFirst = !isPlaced;
  place(record);
  // What a decoder still had when reading failed is no sign of a signal.
  if (isLost && (isFirst || waitClock.arrivals() != arrivalsAtLoss)) {
    judge.signalBack(record.time, secondsSince(lastFrame));
    isLost = false;
  }
  if (!isLost) {
    lastFrame = Clock::now();
    metrics.frame(record);
  }
  parts.add(record);
  judge.add(record);
}

/// Behind the frames of earlier connections: later by as long as nothing came.
void LiveRun::place(FrameRecord &record) {
  if (!isPlaced) {
    begin = next;
    if (isLost)
      begin.time = std::max(begin.time, lossTime + secondsSince(lastFrame));
    else if (judge.totals().frames > 0)
      begin.time += secondsSince(lastFrame);
    begin.frame -= record.frame;
    begin.time -= record.time;
    isPlaced = true;
  }
  record.frame += begin.frame;
  record.time += begin.time;
  record.shot += begin.shot;
  record.news.settledBefore += begin.frame;
  for (DecodeError &error : record.news.errors) {
    error.frame += begin.frame;
    error.time = std::max(error.time + begin.time, 0.0);
    if (error.endTime)
      *error.endTime += begin.time;
  }
  next = {record.frame + 1, record.shot + 1, record.time};
}

/// Whether an input that ended may go on after all.
bool LiveRun::comesBack(const VideoSource &source, const InputEnd &end) {
  cause = end.reason.empty() ? "the input ended" : end.reason;
  isDoubtful = end.doubtful;
  std::error_code error;
  const bool isPipe = std::filesystem::is_fifo(input, error);
  return run.options.live.reconnect && !source.info().hasEnd &&
         (isPipe || input.find("://") != std::string::npos);
}

void LiveRun::lose(const std::string &reason) {
  if (isLost)
    return;
  judge.signalLost(next.time, reason, secondsSince(lastFrame));
  isLost = true;
  lossTime = next.time;
  arrivalsAtLoss = waitClock.arrivals();
}

/// Waits until the pause since `opened` is over, when the input was last opened: while it was open,
/// or was waited for, it was listened to.
void LiveRun::pauseSince(Clock::time_point opened) {
  if (Clock::now() - opened >= SETTLED)
    pause = FIRST_PAUSE;
  const Clock::time_point end = opened + pause;
  while (interruption() == 0 && Clock::now() < end) {
    std::this_thread::sleep_for(std::min<Clock::duration>(TICK, end - Clock::now()));
    tick();
  }
  pause = std::min(2 * pause, LONGEST_PAUSE);
}

/// What has to be done whether frames come or not.
void LiveRun::tick() {
  const std::optional<double> &timeout = run.options.source.timeout;
  if (timeout && run.options.live.reconnect && !isLost && waitClock.seconds() >= *timeout)
    lose(fmt::format("nothing arrived for {} s (--timeout)", *timeout));
  metrics.update(judge.totals(), judge.profile(), isLost ? secondsSince(lastFrame) : 0);
}

int LiveRun::finish() {
  const LiveTotals &totals = judge.finish(secondsSince(lastFrame));
  if (interruption() != 0)
    cause = interruption() == SIGINT ? "interrupted by SIGINT" : "interrupted by SIGTERM";
  const bool isUnmeasured = totals.frames == 0 || (isDoubtful && interruption() == 0);
  const Verdict verdict = isUnmeasured ? Verdict::unmeasured : totals.verdict;
  const int status = std::max(exitStatus(verdict), parts.hasFailed() ? USAGE_ERROR : 0);
  lines.end(totals, judge.profile(),
            {cause, verdict, interruption() != 0 ? 128 + interruption() : status});
  metrics.finish(totals, judge.profile());
  if (isUnmeasured)
    std::cerr << "lumagauge-qc: " << printable(input) << ": " << printable(cause) << '\n';
  return status;
}

} // namespace

int runLive(const Run &run) {
  return LiveRun(run).measure();
}

} // namespace lumagauge::qc
