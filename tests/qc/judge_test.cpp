// SPDX-License-Identifier: BSD-2-Clause
//
// Events, limits, verdicts, summaries and profiles.
#include "tests/qc/records.h"

#include "qc/judge/bar_tally.h"

#include <gtest/gtest.h>

#include <limits>

namespace lumagauge::qc {
namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

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
