// SPDX-License-Identifier: BSD-2-Clause
//
// What a live judge tells while frames come is what the judge of a whole input finds in them.
#include "qc/judge/events.h"
#include "qc/judge/judge.h"
#include "qc/judge/live_judge.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace lumagauge::qc {
namespace {

using I = Indicator;
constexpr double RATE = 25;

struct Video {
  std::vector<FrameRecord> records;
  std::vector<DecodeError> errors;
};

/// Forty seconds with faults of any length at any place, errors among them.
Video randomVideo(unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned most) { return static_cast<int>(random() % most); };
  Video video;
  for (int frame = 0; frame < 1000; ++frame) {
    FrameRecord record{.frame = frame, .time = frame / RATE, .values = {}};
    record.pictureType = frame % 20 == 0 ? 'I' : 'P';
    record.shot = frame / 300;
    for (const I indicator : {I::blur, I::contrast, I::spatialActivity, I::brightness})
      record[indicator] = 40 + below(100) / 10.0;
    record[I::exposure] = 120;
    record[I::temporalActivity] = 5 + below(10) / 10.0;
    for (const I indicator : {I::blackout, I::stillShare, I::barTop, I::barBottom, I::flatShare})
      record[indicator] = 0;
    record[I::sharpness] = 1;
    record[I::blockiness] = 1;
    video.records.push_back(record);
  }
  const std::vector<std::vector<std::pair<I, double>>> faults{
      {{I::blackout, 1}, {I::exposure, 16}, {I::temporalActivity, 0}},
      {{I::temporalActivity, 0}, {I::stillShare, 1}},
      {{I::temporalActivity, 0.2}},
      {{I::barTop, 30}, {I::barBottom, 30}},
      {{I::blockiness, 0.3}},
      {{I::contrast, 4}}};
  for (int number = 0; number < 14; ++number) {
    const int begin = below(1000), end = std::min(1000, begin + 1 + below(120));
    for (int frame = begin; frame < end; ++frame)
      for (const auto &[indicator, value] :
           faults[static_cast<std::size_t>(number) % faults.size()])
        video.records[static_cast<std::size_t>(frame)][indicator] = value;
    if (end < 1000) // where the picture has got to meanwhile
      video.records[static_cast<std::size_t>(end)][I::temporalActivity] = 30;
  }
  for (int number = 0; number < 6; ++number) {
    const int frame = below(1004);
    const bool isMissing = below(2) == 0;
    video.errors.push_back({frame, std::max(0.0, (frame - 1) / RATE), "broken",
                            isMissing ? DecodeErrorKind::missing : DecodeErrorKind::undecodable,
                            isMissing ? 3 : 0,
                            isMissing ? std::optional(frame / RATE) : std::nullopt});
  }
  std::sort(video.errors.begin(), video.errors.end(),
            [](const auto &a, const auto &b) { return a.frame < b.frame; });
  return video;
}

std::string textOf(const Event &e) {
  return fmt::format("{} {}-{} {:.3f}-{:.3f} {} {} {}", e.kind, e.startFrame, e.endFrame,
                     e.startTime, e.endTime, e.frames, e.worst.value_or(-1), e.text);
}

std::string textOf(const Judgement &judgement) {
  std::vector<std::string> lines{std::string(verdictName(judgement.verdict))};
  for (const Event &event : judgement.events)
    lines.push_back(textOf(event));
  for (const BrokenRule &rule : judgement.broken)
    lines.push_back(rule.kind + " " + rule.reason);
  for (const IndicatorSummary &s : judgement.summaries)
    lines.push_back(fmt::format("{} {} {} {} {} {} {}", s.count, s.mean, s.p5, s.median, s.p95,
                                s.max, s.worstFrame));
  std::sort(lines.begin() + 1, lines.end());
  return fmt::format("{}", fmt::join(lines, "\n"));
}

Judgement judgeAll(const Video &video, std::size_t begin = 0, std::size_t end = 1000) {
  InputInfo info;
  info.averageRate = RATE;
  Judge judge(loadProfile("broadcast"), info);
  for (std::size_t i = begin; i < end; ++i)
    judge.add(video.records[i]);
  InputEnd found;
  found.errors = video.errors;
  return judge.finish(found);
}

/// What a live judge tells, held against its own promises.
struct Told {
  std::map<std::int64_t, Change> last; ///< by id
  std::vector<Event> closed;
  std::vector<WindowJudgement> windows;

  LiveSinks sinks() {
    return {.event =
                [this](const EventChange &change) {
                  const bool isNew = !last.contains(change.id);
                  EXPECT_EQ(isNew, change.change == Change::opened) << textOf(change.event);
                  EXPECT_TRUE(isNew || last[change.id] < Change::closed) << textOf(change.event);
                  EXPECT_TRUE(change.change != Change::withdrawn || change.event.kind == STILL);
                  last[change.id] = change.change;
                  if (change.change == Change::closed)
                    closed.push_back(change.event);
                },
            .window = [this](const WindowJudgement &window) { windows.push_back(window); }};
  }
};

/// Errors are told up to `delay` frames late.
void judgeLive(const Video &video, double window, std::int64_t delay, Told &told) {
  LiveJudge judge(loadProfile("broadcast"), window, told.sinks());
  InputInfo info;
  info.averageRate = RATE;
  judge.connect(info, ALL_INDICATORS);
  auto error = video.errors.begin();
  for (FrameRecord record : video.records) {
    record.news.settledBefore = record.frame + 1 - (delay > 0 ? record.frame % delay : 0);
    for (; error != video.errors.end() && error->frame < record.news.settledBefore; ++error)
      record.news.errors.push_back(*error);
    judge.add(record);
  }
  InputEnd end;
  end.errors.assign(error, video.errors.end());
  judge.disconnect(end);
  judge.finish(0);
  for (const auto &[id, change] : told.last)
    EXPECT_GE(change, Change::closed) << id;
}

TEST(LiveJudge, TellsWhatIsFoundInTheWhole) {
  std::size_t withdrawn = 0, events = 0;
  for (unsigned seed = 0; seed < 30; ++seed) {
    const Video video = randomVideo(seed);
    Told told;
    judgeLive(video, 1e6, seed % 3 * 15, told);
    const Judgement whole = judgeAll(video);
    ASSERT_EQ(told.windows.size(), 1U);
    ASSERT_EQ(textOf(told.windows[0].judgement), textOf(whole)) << "seed " << seed;
    events += whole.events.size();
    withdrawn += static_cast<std::size_t>(
        std::count_if(told.last.begin(), told.last.end(),
                      [](const auto &one) { return one.second == Change::withdrawn; }));
  }
  EXPECT_GT(events, 200U); // else nothing is compared
  EXPECT_GT(withdrawn, 0U);
}

TEST(LiveJudge, SummarisesEachWindowExactlyAndCarriesEventsOver) {
  const Video video = randomVideo(1);
  Told told;
  judgeLive(video, 8, 0, told);
  ASSERT_EQ(told.windows.size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) {
    Judgement &window = told.windows[i].judgement;
    Judgement alone = judgeAll(video, i * 200, (i + 1) * 200);
    EXPECT_EQ(window.frames, 200);
    EXPECT_EQ(told.windows[i].isComplete, i < 4);
    for (Judgement *judgement : {&window, &alone}) { // events have their context in the whole
      judgement->events.clear();
      judgement->broken.clear();
      judgement->verdict = Verdict::pass;
    }
    EXPECT_EQ(textOf(window), textOf(alone));
  }
}

TEST(LiveJudge, JudgesALostSignalAndWhatIsOpenThen) {
  Video video = randomVideo(2);
  for (std::size_t frame = 960; frame < 1000; ++frame)
    video.records[frame][I::blackout] = 1, video.records[frame][I::exposure] = 16;
  Told told;
  LiveJudge judge(loadProfile("broadcast"), 60, told.sinks());
  InputInfo info;
  info.averageRate = RATE;
  for (const double begin : {0.0, 70.0}) {
    judge.connect(info, ALL_INDICATORS);
    for (FrameRecord record : video.records) {
      record.time += begin;
      record.frame += begin > 0 ? 1000 : 0;
      record.news.settledBefore = record.frame + 1;
      judge.signalBack(record.time, 30);
      judge.add(record);
    }
    judge.disconnect({});
    judge.signalLost(begin + 40, "nothing arrived", 0);
  }
  const LiveTotals &totals = judge.finish(2);
  const auto closed = [&](std::string_view kind, double end) {
    return std::count_if(told.closed.begin(), told.closed.end(), [&](const Event &event) {
      return event.kind == kind && std::abs(event.endTime - end) < 1e-6;
    });
  };
  EXPECT_EQ(closed("black", 40), 1);
  EXPECT_EQ(closed(SIGNAL_LOST, 70), 1);
  EXPECT_NEAR(totals.duration, 80, 1e-6);
  ASSERT_EQ(told.windows.size(), 2U);
  EXPECT_TRUE(std::any_of(told.windows[1].judgement.broken.begin(),
                          told.windows[1].judgement.broken.end(),
                          [](const BrokenRule &rule) { return rule.kind == SIGNAL_LOST; }));
}

} // namespace
} // namespace lumagauge::qc
