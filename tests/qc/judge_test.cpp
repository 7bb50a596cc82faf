// SPDX-License-Identifier: BSD-2-Clause
//
// Events, limits, verdicts and profiles on records made by hand: 90 frames at 30 a second, faults
// on frames 30 to 59, unless a test says otherwise.
#include "qc/judge/bar_tally.h"
#include "qc/judge/judge.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace lumagauge::qc {
namespace {

using I = Indicator;
using Values = std::vector<std::pair<Indicator, double>>;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

/// A frame that nobody would object to.
FrameRecord ordinary(std::int64_t frame, double rate) {
  FrameRecord record{.frame = frame, .time = static_cast<double>(frame) / rate, .values = {}};
  unsigned i = 0; // of all but flickering
  for (const double value :
       {1.0, 50.0, 0.0, 0.0, 0.5, 3.0, 5.0, 0.0, 0.0, 120.0, 40.0, 0.001, 0.3, 2.0})
    record.values[static_cast<Indicator>(i++)] = value;
  i = static_cast<unsigned>(I::barTop);
  for (const double value :
       {0., 0., 0., 0., 0., 0., 0.1, 0.5, 0., 0., 0., 0.02, 0.4, 1.0, 120.0, 0.})
    record.values[static_cast<Indicator>(i++)] = value;
  return record;
}

Judgement judge(const Profile &profile, const std::vector<FrameRecord> &records, double rate,
                const InputEnd &end = {}) {
  InputInfo info;
  info.averageRate = rate;
  Judge judge(profile, info);
  for (const FrameRecord &record : records)
    judge.add(record);
  return judge.finish(end);
}

std::vector<FrameRecord> withFault(const Values &values) {
  std::vector<FrameRecord> records;
  for (std::int64_t frame = 0; frame < 90; ++frame) {
    records.push_back(ordinary(frame, 30));
    if (frame >= 30 && frame < 60)
      for (const auto &[indicator, value] : values)
        records.back()[indicator] = value;
  }
  return records;
}

/// "kind first-last start-end" of each event, times in milliseconds.
std::string eventsText(const Judgement &judgement) {
  std::string text;
  for (const Event &e : judgement.events)
    text += fmt::format("{}{} {}-{} {:.0f}-{:.0f}", text.empty() ? "" : ", ", e.kind, e.startFrame,
                        e.endFrame, e.startTime * 1000, e.endTime * 1000);
  return text;
}

/// A flat picture is uniform in every row and column, still, and without contrast.
Values flatPicture(double level) {
  return {{I::blackout, 1},         {I::exposure, level}, {I::letterbox, 1}, {I::pillarbox, 1},
          {I::temporalActivity, 0}, {I::contrast, 0},     {I::blur, 0}};
}

TEST(ShippedProfiles, FindAFaultFromItsFirstToItsLastFrame) {
  const struct {
    std::string kind;
    Values values;
    double worst;
  } cases[] = {
      {"black", flatPicture(16), 1},
      {"flat", flatPicture(235), 1},
      {"frozen", {{I::temporalActivity, 0}, {I::stillShare, 1}}, 1},
      {"letterbox", {{I::barTop, 60}, {I::barBottom, 60}}, 60},
      {"pillarbox", {{I::barRight, 80}}, 0},
      {"block_loss", {{I::blockDamage, 0.02}}, 0.02},
      {"slice_error", {{I::smearShare, 0.1}}, 0.1},
      {"slice_error", {{I::staleRows, 0.1}}, 0},
      {"interlaced", {{I::interlace, 0.02}}, 0.02},
      {"blocky", {{I::blockiness, 0.25}}, 0.25},
      {"starved",
       {{I::blur, 4.5}, {I::spatialActivity, 40}, {I::temporalActivity, 4}, {I::noise, 0.2}},
       1.5},
      {"blurred", {{I::sharpness, 0.3}, {I::temporalActivity, 4}}, 0.3},
      {"blurred", {{I::blur, 40}}, 1},
      {"noisy", {{I::noise, 6}, {I::grain, 5}}, 6},
      {"overexposed", {{I::clippedHigh, 0.5}}, 0.5},
      {"clipped", {{I::clippedHigh, 0.1}}, 0.1},
      {"underexposed", {{I::exposure, 36}}, 36},
      {"low_contrast", {{I::contrast, 4}}, 4}};
  for (const auto &[kind, values, worst] : cases)
    for (const std::string_view profile : profileNames()) {
      std::vector<FrameRecord> records = withFault(values);
      records[60][I::temporalActivity] = 20; // where the picture has got to meanwhile
      const Judgement found = judge(loadProfile(std::string(profile)), records, 30);
      ASSERT_EQ(eventsText(found), kind + " 30-59 1000-2000") << profile;
      EXPECT_EQ(found.events[0].frames, 30) << kind;
      EXPECT_DOUBLE_EQ(*found.events[0].worst, worst) << kind;
    }
}

TEST(ShippedProfiles, LeaveWhatOnlyResemblesAFaultAlone) {
  const std::pair<const char *, Values> cases[] = {
      {"a nearly still shot", {{I::temporalActivity, 0.12}, {I::freezing, 1}}},
      {"a picture of little detail", {{I::spatialActivity, 4}, {I::blur, 0}}},
      {"a wall: rows alike, columns not", {{I::slice, INFINITE}, {I::blockLoss, 3}}},
      {"fine texture", {{I::noise, 13}, {I::spatialActivity, 167}}},
      {"a whip pan", {{I::sharpness, 0.3}, {I::temporalActivity, 20}}},
      {"a title card", {{I::letterbox, 0.8}}},
      {"dark left edge", {{I::pillarbox, 0.16}}}};
  for (const auto &[name, values] : cases)
    EXPECT_EQ(eventsText(judge(loadProfile("default"), withFault(values), 30)), "") << name;
  // What a key frame changes without moving anything is no leap.
  std::vector<FrameRecord> rest = withFault({{I::temporalActivity, 0.01}, {I::stillShare, 1}});
  rest[60][I::temporalActivity] = 20;
  rest[60][I::stillShare] = 1;
  EXPECT_EQ(eventsText(judge(loadProfile("default"), rest, 30)), "still 30-59 1000-2000");
}

/// Four seconds of movement in which the given frames show the picture before once more.
std::vector<FrameRecord> withRepeats(const std::vector<std::int64_t> &repeats, double rate,
                                     const Values &values = {}) {
  std::vector<FrameRecord> records;
  for (std::int64_t frame = 0; static_cast<double>(frame) < 4 * rate; ++frame) {
    records.push_back(ordinary(frame, rate));
    for (const auto &[indicator, value] : values)
      records.back()[indicator] = value;
  }
  for (const std::int64_t frame : repeats) {
    records[static_cast<std::size_t>(frame)][I::temporalActivity] = 0.2;
    records[static_cast<std::size_t>(frame)][I::stillShare] = 1;
  }
  return records;
}

/// The frames that repeat a picture where each is shown for `each` frames on average.
std::vector<std::int64_t> evenRepeats(double each, double rate) {
  std::vector<std::int64_t> repeats;
  for (std::int64_t frame = 1; static_cast<double>(frame) < 4 * rate; ++frame)
    if (std::floor(static_cast<double>(frame) / each) ==
        std::floor(static_cast<double>(frame - 1) / each))
      repeats.push_back(frame);
  return repeats;
}

std::vector<std::int64_t> without(std::vector<std::int64_t> frames, std::int64_t frame) {
  std::erase(frames, frame);
  return frames;
}

TEST(Repeats, AtUnevenPlacesAreStutterAtEvenOnesACadence) {
  EXPECT_FALSE(parseSignal("blur.repeats")) << "a repeat is told by what stands still";
  const std::vector<std::int64_t> uneven{41, 43, 44, 51, 53, 56, 65};
  const struct {
    const char *name;
    std::vector<std::int64_t> repeats;
    double rate;
    Values values;
    std::string events;
    double framesPerPicture; // 0: no cadence
  } cases[] = {
      {"uneven", uneven, 25, {}, "stutter 41-65 1640-2640", 0},
      {"one hitch", {50, 51, 52}, 30, {}, "stutter 50-52 1667-1767", 0},
      {"one repeat", {50}, 25, {}, "", 0},
      {"24 in 60", evenRepeats(2.5, 60), 60, {}, "", 2.5},
      {"25 in 30", evenRepeats(1.2, 30), 30, {}, "", 1.2},
      {"on twos", evenRepeats(2, 24), 24, {}, "", 2},
      {"a key frame over a repeat", without(evenRepeats(1.2, 30), 59), 30, {}, "", 1.2},
      {"a hitch in a cadence",
       {2, 7, 12, 17, 22, 27, 32, 37, 42, 43, 44, 47, 52, 57, 62, 67, 72, 77, 82, 87, 92, 97},
       25,
       {},
       "stutter 42-44 1680-1800", // whose two frames count as well
       100.0 / 78},
      {"a drawing that is held", uneven, 25, {{I::sharpness, 2.2}}, "", 0},
      {"hardly any movement", uneven, 25, {{I::stillShare, 0.98}}, "", 0}};
  for (const auto &[name, repeats, rate, values, events, each] : cases) {
    const Judgement found = judge(loadProfile("default"), withRepeats(repeats, rate, values), rate);
    EXPECT_EQ(eventsText(found), events) << name;
    ASSERT_EQ(found.cadence.has_value(), each > 0) << name;
    if (found.cadence) {
      EXPECT_NEAR(found.cadence->framesPerPicture, each, each / 50) << name;
      EXPECT_NEAR(found.cadence->rate * each, rate, rate / 50) << name;
    }
  }
}

/// What the signal is on frame `at` of a video of one value a frame, 25 frames a second.
std::optional<double> signalAt(const char *signal, const std::vector<double> &values,
                               std::size_t at, std::size_t cut = 1000) {
  Timeline timeline(25);
  for (std::size_t i = 0; i < values.size(); ++i) {
    FrameRecord record{.time = static_cast<double>(i) / 25, .values = {}, .shot = i >= cut};
    record[parseSignal(signal)->indicator] = values[i];
    timeline.add(record);
  }
  timeline.finish();
  for (std::size_t i = 0; i <= at; ++i)
    EXPECT_TRUE(timeline.advance());
  return timeline[*parseSignal(signal)];
}

/// 100 values: `usual`, from 40 to 64 `strange` and `strange2` in turns of `turn` frames.
std::vector<double> stretch(double usual, double strange, double strange2, int turn = 1) {
  std::vector<double> values(100, usual);
  for (int i = 40; i < 65; ++i)
    values[static_cast<std::size_t>(i)] = i / turn % 2 == 0 ? strange : strange2;
  return values;
}

TEST(Signals, PutAValueIntoItsContext) {
  std::vector<double> flash(100, 100), ramp(100);
  flash[50] = 200;
  for (std::size_t i = 0; i < ramp.size(); ++i)
    ramp[i] = static_cast<double>(i) + (i % 2 == 0 ? 1.5 : 0);
  const struct {
    const char *signal;
    std::vector<double> values;
    std::size_t at, cut;
    std::optional<double> expected;
  } cases[] = {{"blur", stretch(3, 6, 6), 50, 1000, 6},
               {"blur.rise", stretch(3, 6, 6), 50, 1000, 3},
               {"blur.ratio", stretch(3, 6, 6), 50, 1000, 2},
               {"blur.rise", stretch(3, 6, 6), 20, 1000, 0},
               {"blur.rise", stretch(6, 3, 3), 20, 40, 0}, // another shot's values do not count
               {"blur.rise", stretch(3, 6, 6), 97, 95, {}},
               {"blockiness.ratio", stretch(1, 0.5, 0.5), 50, 1000, 0.5},
               {"exposure.alternation", stretch(100, 120, 80), 50, 1000, 40},
               {"exposure.alternation", stretch(100, 120, 80, 3), 50, 1000, 40},
               {"exposure.alternation", stretch(100, 120, 80), 20, 1000, 0},
               {"exposure.alternation", flash, 50, 1000, 0},
               {"exposure.alternation", ramp, 50, 1000, 0}};
  for (const auto &[signal, values, at, cut, expected] : cases)
    EXPECT_EQ(signalAt(signal, values, at, cut), expected) << signal << " at " << at;
  EXPECT_EQ(signalName(*parseSignal("blur.ratio")), "blur.ratio");
  for (const char *wrong : {"blur.", "blur.value", "blurr", "", ".rise"})
    EXPECT_FALSE(parseSignal(wrong)) << wrong;
}

constexpr char BLURRED[] = "[blurred]\nindicator = 'blur'\ncomparison = '>'\nthreshold = 5\n";

/// Ten frames a second; x: the rule holds, o: with an edge threshold of 4 alone, n: NaN, _: no
/// value, else: it does not.
Judgement judgePattern(const std::string &pattern, const std::string &keys) {
  const Profile profile = parseProfile(BLURRED + keys, "test.toml");
  std::vector<FrameRecord> records;
  for (const char c : pattern) {
    records.push_back(ordinary(static_cast<std::int64_t>(records.size()), 10));
    std::optional<double> &blur = records.back()[I::blur];
    blur = c == 'x' ? 5.5 : c == 'o' ? 4.5 : c == 'n' ? NOT_A_NUMBER : 4.0;
    if (c == '_')
      blur.reset();
  }
  return judge(profile, records, 10);
}

TEST(Events, BeginAndEndWhereDurationAndGapSay) {
  const struct {
    const char *pattern, *keys, *expected;
  } cases[] = {{"..xxx..", "min_duration = 0.3", "blurred 2-4 200-500"},
               {"..xx...", "min_duration = 0.3", ""},
               {"xx..xx.", "bridged_gap = 0.2", "blurred 0-5 0-600"},
               {"xx..xx.", "bridged_gap = 0.1", "blurred 0-1 0-200, blurred 4-5 400-600"},
               {"x.x....", "bridged_gap = 0.1\nmin_duration = 0.3", "blurred 0-2 0-300"},
               {"....xxx", "min_duration = 0.3", "blurred 4-6 400-700"},
               {"xx....x", "bridged_gap = 0.2\nmin_duration = 0.2", "blurred 0-1 0-200"},
               {".ooxxox.", "edge_threshold = 4\nmin_duration = 0.2", "blurred 1-6 100-700"},
               {".oxoxox.", "edge_threshold = 4\nmin_duration = 0.2", ""},
               {"oxx..ox", "edge_threshold = 4\nmin_duration = 0.2", "blurred 0-2 0-300"},
               {"oxxo.ox", "edge_threshold = 4\nbridged_gap = 0.1", "blurred 0-6 0-700"},
               {"xnx_x", "", "blurred 0-0 0-100, blurred 2-2 200-300, blurred 4-4 400-500"}};
  for (const auto &[pattern, keys, expected] : cases)
    EXPECT_EQ(eventsText(judgePattern(pattern, keys)), expected) << pattern << ' ' << keys;
}

TEST(Events, AFlickeringValueStandsForItsPeriod) {
  std::vector<FrameRecord> records;
  for (std::int64_t frame = 0; frame < 30; ++frame) {
    records.push_back(ordinary(frame, 25));
    if (frame > 0 && frame % 8 == 0)
      records.back()[I::flickering] = frame == 16 ? 0.9 : 0.1;
  }
  const Profile profile = parseProfile(
      "[flicker]\nindicator = 'flickering'\ncomparison = '>='\nthreshold = 0.9\n", "test.toml");
  EXPECT_EQ(eventsText(judge(profile, records, 25)), "flicker 9-16 360-680");
  records.resize(17); // the period's row is the last
  EXPECT_EQ(eventsText(judge(profile, records, 25)), "flicker 9-16 360-680");
}

TEST(Events, EndWithTheDisplayOfAFrameOfVariableRate) {
  std::vector<FrameRecord> records = withFault({{I::blur, 9}});
  records.resize(33);
  for (std::size_t frame = 0; frame < records.size(); ++frame)
    records[frame].time = frame == 32 ? 5.0 : static_cast<double>(frame) * 0.1;
  const Profile profile = parseProfile(BLURRED, "test.toml");
  EXPECT_EQ(eventsText(judge(profile, records, 4)), "blurred 30-32 3000-5250");
  records[32][I::blur] = 3.0;
  EXPECT_EQ(eventsText(judge(profile, records, 4)), "blurred 30-31 3000-5000");
}

TEST(Events, StateBarsAsPeopleDo) {
  const struct {
    std::vector<std::array<double, 4>> bars; ///< a frame: top, bottom, left, right
    std::uint32_t width, height;
    const char *text;
  } cases[] = {
      {{{58, 57, 0, 0}}, 854, 480, "58 rows at the top, 57 at the bottom; picture 854x365, 2.34:1"},
      {{{0, 0, 240, 240}},
       1920,
       1080,
       "240 columns at the left, 240 at the right; picture 1440x1080, 1.33:1 (4:3)"},
      {{{4, 60, 0, 0}, {60, 60, 0, 0}, {60, 60, 2, 0}},
       640,
       480,
       "60 rows at the top, 60 at the bottom; picture 640x360, 1.78:1 (16:9)"},
      {{{8, 8, 10, 0}},
       100,
       100,
       "8 rows at the top, 8 at the bottom, 10 columns at the left, 0 at the right; picture 90x84, "
       "1.07:1"},
      {{{0, 0, 0, 0}}, 100, 100, ""},
      {{{50, 50, 0, 0}}, 100, 100, ""}};
  for (const auto &[bars, width, height, text] : cases) {
    BarTally tally;
    for (const std::array<double, 4> &sides : bars) {
      FrameRecord record = ordinary(0, 25);
      for (unsigned side = 0; side < sides.size(); ++side)
        record[static_cast<I>(static_cast<unsigned>(I::barTop) + side)] = sides[side];
      tally.add(record);
    }
    EXPECT_EQ(tally.text(width, height), text);
  }
}

TEST(Events, UndecodableLastsUntilTheNextFrame) {
  std::vector<FrameRecord> records = withFault({});
  records.erase(records.begin() + 60, records.end());
  for (std::size_t i = 30; i < records.size(); ++i)
    records[i].time += 1; // a second is missing before frame 30
  InputEnd end;
  records[0].pictureType = records[35].pictureType = records[50].pictureType = 'I';
  const auto undecodable = DecodeErrorKind::undecodable;
  end.errors = {{30, 1.0, "first", undecodable, 15},
                {30, 1.5, "second", undecodable, 15},
                {50, 2.7, "in a picture"},
                {60, 3.0, "cut off"}};
  const Judgement found = judge(loadProfile("broadcast"), records, 30, end);
  EXPECT_EQ(eventsText(found), "undecodable 30-30 1000-2000, concealed 30-34 2000-2167, "
                               "concealed 50-59 2667-3000, undecodable 60-60 3000-3033");
  EXPECT_EQ(found.verdict, Verdict::fail);
  EXPECT_EQ(found.duration, 3.0);
}

TEST(Verdicts, FollowSeverityAndLimits) {
  const struct {
    const char *pattern, *keys;
    Verdict verdict;
    const char *reason;
  } cases[] = {
      {"..........", "severity = 'fail'", Verdict::pass, ""},
      {"x.x.......", "severity = 'info'\nmax_count = 0", Verdict::pass, ""},
      {"x.........", "severity = 'warn'", Verdict::warn, "1 event, none allowed"},
      {"x.x.......", "severity = 'fail'", Verdict::fail, "2 events, none allowed"},
      {"xx........", "severity = 'fail'\nmax_share = 20", Verdict::pass, ""},
      {"xx.x......", "severity = 'fail'\nmax_share = 20", Verdict::fail,
       "30.00 % of the frames, 20 % allowed"},
      {"xx.xx.....", "severity = 'fail'\nmax_duration = 0.25", Verdict::pass, ""},
      {"xx.xxx....", "severity = 'fail'\nmax_duration = 0.25", Verdict::fail,
       "an event of 0.300 s, 0.25 s allowed"},
      {"xx.xx.....", "severity = 'fail'\nmax_total = 0.4", Verdict::pass, ""},
      {"xx.xxx....", "severity = 'fail'\nmax_duration = 0.3\nmax_total = 0.4", Verdict::fail,
       "0.500 s of all events together, 0.4 s allowed"},
      {"x.x.......", "severity = 'fail'\nmax_count = 2", Verdict::pass, ""},
      {"x.x.x.....", "severity = 'fail'\nmax_count = 2", Verdict::fail, "3 events, 2 allowed"}};
  for (const auto &[pattern, keys, verdict, reason] : cases) {
    const Judgement found = judgePattern(pattern, keys);
    EXPECT_EQ(found.verdict, verdict) << pattern << ' ' << keys;
    EXPECT_EQ(found.broken.empty() ? "" : found.broken[0].reason, reason);
    EXPECT_EQ(exitStatus(found.verdict), verdict == Verdict::fail ? 1 : 0);
    for (const Event &event : found.events)
      EXPECT_EQ(event.severity == Severity::info, found.broken.empty()) << pattern << ' ' << keys;
  }
}

TEST(Verdicts, AreUnmeasuredWithoutFramesOrWhereDoubtful) {
  InputEnd end;
  end.errors = {{0, 0.0, "no key frame"}};
  EXPECT_EQ(judge(loadProfile("default"), {}, 25, end).reason,
            "no frame could be measured: no key frame");
  end.doubtful = true;
  end.reason = "reading failed";
  const Judgement doubtful = judge(loadProfile("default"), withFault({}), 30, end);
  EXPECT_EQ(doubtful.reason, "the result is doubtful: reading failed");
  EXPECT_EQ(exitStatus(doubtful.verdict), 2);
}

TEST(Verdicts, SayWhyARuleHadNothingToJudge) {
  EXPECT_TRUE(judgePattern("__n_", "").notJudged.empty());
  const struct {
    const char *indicator;
    std::uint32_t measured, height;
    int frames;
    std::string reason;
  } cases[] = {
      {"blur", bit(I::noise), 256, 9, "not requested"},
      {"noise", bit(I::noise), 256, 9, "blur not requested"},
      {"block_loss", ALL_INDICATORS, 255, 9, "pictures of 256x255 are too small for block loss"},
      {"block_loss", ALL_INDICATORS, 256, 9, "no value of block loss on any frame"},
      {"freezing", ALL_INDICATORS, 256, 1, "1 frame is too few for freezing, which takes 2"},
      {"flickering", ALL_INDICATORS, 256, 8, "8 frames are too few for flickering, which takes 9"},
      {"flickering", ALL_INDICATORS, 256, 0, "no frame measured"}};
  for (const auto &[indicator, measured, height, frames, reason] : cases) {
    const Profile profile = parseProfile(
        fmt::format("[blurred]\nindicator = '{}'\ncomparison = '>'\nthreshold = 1\n"
                    "and = [{{ indicator = 'blur', comparison = '>', threshold = 1 }}]\n",
                    indicator),
        "test.toml");
    InputInfo info;
    info.width = 256;
    info.height = height;
    Judge judge(profile, info, measured);
    for (int frame = 0; frame < frames; ++frame)
      judge.add({.frame = frame, .values = {}});
    const Judgement found = judge.finish({});
    ASSERT_EQ(found.notJudged.size(), 1U) << indicator;
    EXPECT_EQ(found.notJudged[0].kind + ": " + found.notJudged[0].reason, "blurred: " + reason);
  }
}

TEST(Summaries, HoldExactPercentilesAndTheWorstFrame) {
  std::vector<FrameRecord> records;
  for (const double value : {3.0, 1.0, NOT_A_NUMBER, 5.0, 2.0, 4.0}) {
    records.push_back({.frame = static_cast<std::int64_t>(records.size()) + 7, .values = {}});
    records.back()[I::blur] = records.back()[I::contrast] = value;
    records.back()[I::slice] = value == 4.0 ? INFINITE : value;
  }
  const Judgement found = judge(loadProfile("default"), records, 25);
  const auto summary = [&](I i) {
    const IndicatorSummary &s = found.summaries[static_cast<std::size_t>(i)];
    return fmt::format("{} and {} NaN, mean {}, {:.6g} {} {:.6g}, worst {}", s.count, s.nan, s.mean,
                       s.p5, s.median, s.p95, s.worstFrame);
  };
  EXPECT_EQ(summary(I::blur), "5 and 1 NaN, mean 3, 1.2 3 4.8, worst 10");    // more is worse
  EXPECT_EQ(summary(I::contrast), "5 and 1 NaN, mean 3, 1.2 3 4.8, worst 8"); // less is worse
  EXPECT_EQ(summary(I::slice), "5 and 1 NaN, mean inf, 1.2 3 inf, worst 12");
  EXPECT_EQ(summary(I::noise).substr(0, 11), "0 and 0 NaN");
}

TEST(Profiles, AreRefusedWithFileAndLine) {
  const std::pair<const char *, const char *> cases[] = {
      {"[black]\nindicator = 'blackout'\ncomparison = '>'\ntreshold = 1\n",
       "p.toml:4: unknown key 'treshold' in [black]"},
      {"\n[blck]\n", "p.toml:2: unknown key 'blck'"},
      {"[blurred]\nindicator = 'blur'\nthreshold = 1\n", "p.toml:1: [blurred] lacks 'comparison'"},
      {"[blurred]\nthreshold = '1'\n", "p.toml:2: 'threshold' must be a number"},
      {"[blurred]\nindicator = 'blurr'\n", "p.toml:2: 'blurr' is no indicator; one of blockiness"},
      {"[blurred]\ncomparison = '=='\n", "p.toml:2: '==' is no comparison"},
      {"[blurred]\nseverity = 1\n", "p.toml:2: 'severity' must be a string"},
      {"[blurred]\nmax_share = 101\n", "p.toml:2: 'max_share' must be 0 or more, at most 100"},
      {"[blurred]\nmax_count = 1.5\n", "p.toml:2: 'max_count' must be a whole number"},
      {"[blurred]\nand = [{ indicator = 'blur' }]\n", "p.toml:2: an entry of 'and' lacks"},
      {"[blurred]\nindicator = 'blur.up'\n", "p.toml:2: 'blur.up' is no indicator"},
      {"[blurred]\nor = [{ indicator = 'blur' }]\n", "p.toml:2: 'or' must be"},
      {"[blurred]\nafter = [1]\n", "p.toml:2: 'after' must be an array of arrays"},
      {"[undecodable]\nindicator = 'blur'\n", "p.toml:2: unknown key 'indicator' in [undecodable]"},
      {"[blurred]\nindicator = 'blur'\ncomparison = '>'\nthreshold = 5\nedge_threshold = 6\n",
       "p.toml:1: the edge_threshold of [blurred] must be looser"},
      {"base = 'strict'\n", "p.toml:1: 'strict' is no base; one of default, broadcast"},
      {"[blurred\n", "p.toml:1: "}};
  for (const auto &[text, message] : cases)
    try {
      parseProfile(text, "p.toml");
      ADD_FAILURE() << "accepted: " << text;
    } catch (const ProfileError &error) {
      EXPECT_EQ(std::string(error.what()).substr(0, std::string(message).size()), message);
    }
  EXPECT_THROW(loadProfile("/nowhere/none.toml"), ProfileError);
}

TEST(Profiles, ChangeTheKeysOfTheirBase) {
  const Profile base = loadProfile("default");
  const Profile changed = parseProfile(
      "base = 'default'\n[black]\nenabled = false\n[frozen]\nthreshold = 0.05\n", "p.toml");
  ASSERT_EQ(changed.rules.size(), base.rules.size() - 1);
  EXPECT_EQ(base.rules[0].kind, "black");
  EXPECT_EQ(base.rules[3].kind, "frozen");
  EXPECT_EQ(changed.rules[2].kind, "frozen");
  EXPECT_EQ(changed.rules[2].conditions[0].threshold, 0.05);
  EXPECT_EQ(changed.rules[2].conditions.size(), base.rules[3].conditions.size());
  EXPECT_EQ(changed.rules[2].minDuration, base.rules[3].minDuration);
  EXPECT_EQ(parseProfile("", "empty.toml").rules.size(), 0U);
}

} // namespace
} // namespace lumagauge::qc
