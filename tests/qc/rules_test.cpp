// SPDX-License-Identifier: BSD-2-Clause
//
// What the shipped rules find in a video's values, and the signals that they look at.
#include "tests/qc/records.h"

#include "qc/judge/signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace lumagauge::qc {
namespace {

constexpr double INFINITE = std::numeric_limits<double>::infinity();

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
      {"blocky", {{I::blockiness, 0.5}, {I::spatialActivity, 34}, {I::sharpness, 0.8}}, 0.5},
      {"starved",
       {{I::blur, 4.5},
        {I::spatialActivity, 40},
        {I::temporalActivity, 4},
        {I::noise, 0.2},
        {I::flatShare, 0.1}},
       1.5},
      {"blurred", {{I::sharpness, 0.3}, {I::temporalActivity, 4}}, 0.3},
      {"blurred", {{I::blur, 40}}, 1},
      {"noisy", {{I::noise, 6}, {I::grain, 5}}, 6},
      {"noisy", {{I::noise, 6}, {I::grain, 5}, {I::spatialActivity, 160}}, 6},
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
      {"softer content", {{I::blur, 4}, {I::spatialActivity, 40}, {I::temporalActivity, 4}}},
      {"a focus pull",
       {{I::blockiness, 0.5}, {I::sharpness, 0.72}, {I::temporalActivity, 4}, {I::contrast, 36}}},
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

TEST(ShippedProfiles, LetDrawingsAndScreensRestInParts) {
  const struct {
    const char *name;
    Values values;
    std::string filmed;
  } cases[] = {{"rows at rest", {{I::staleRows, 0.1}}, "slice_error 30-59 1000-2000"},
               {"a few blocks", {{I::blockDamage, 0.004}}, "block_loss 30-59 1000-2000"},
               {"blocks", {{I::blockDamage, 0.01}}, "block_loss 30-59 1000-2000"}};
  for (const auto &[name, values, filmed] : cases)
    for (const bool isDrawn : {false, true}) {
      std::vector<FrameRecord> records = withFault(values);
      for (FrameRecord &record : records)
        if (isDrawn)
          record[I::flatShare] = 0.9;
      // So many blocks are no drawing's.
      EXPECT_EQ(eventsText(judge(loadProfile("default"), records, 30)),
                isDrawn && name != std::string("blocks") ? "" : filmed)
          << name << (isDrawn ? ", drawn" : "");
    }
}

/// Every twelfth picture shows its grid, and from 24 to 59 as `coarse` says.
std::vector<FrameRecord> withGop(double usual, double coarse) {
  std::vector<FrameRecord> records = withFault({});
  for (std::size_t frame = 0; frame < records.size(); frame += 12)
    records[frame][I::blockiness] = frame >= 24 && frame < 60 ? coarse : usual;
  return records;
}

TEST(ShippedProfiles, CompareIPicturesWithIPictures) {
  const Profile profile = loadProfile("default");
  EXPECT_EQ(eventsText(judge(profile, withGop(0.4, 0.2), 30)), "blocky 24-48 800-1633");
  EXPECT_EQ(eventsText(judge(profile, withGop(0.4, 0.4), 30)), "");
  // A flat picture has no blocks, and is not what the others ought to look like.
  std::vector<FrameRecord> records = withGop(0.4, 0.4);
  for (std::size_t frame = 50; frame < records.size(); ++frame)
    for (const auto &[indicator, value] : flatPicture(16))
      records[frame][indicator] = value;
  EXPECT_EQ(eventsText(judge(profile, records, 30)), "black 50-89 1667-3000");
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

TEST(Signals, TellDrawingsByTheMostOfAShot) {
  const struct {
    const char *name;
    double sharpness, flatShare;
    std::optional<double> expected;
  } cases[] = {{"camera", 1, 0.125, 0.625},
               {"screen", 1.5, 0.75, 1.5},
               {"hard edges", 2, 0, 1},
               {"not measured", 1, -1, {}}};
  for (const auto &[name, sharpness, flatShare, expected] : cases)
    for (const int frames : {3, 100}) {
      Timeline timeline(25);
      for (int i = 0; i < frames; ++i) {
        FrameRecord record{.time = i / 25.0, .values = {}};
        record[I::sharpness] = i == 1 ? 9 : sharpness; // one strange frame does not tell
        if (flatShare >= 0)
          record[I::flatShare] = flatShare;
        timeline.add(record);
      }
      timeline.finish();
      ASSERT_TRUE(timeline.advance());
      EXPECT_EQ(timeline[*parseSignal("drawn")], expected) << name << ", " << frames;
    }
  EXPECT_EQ(signalName(*parseSignal("drawn")), "drawn");
  EXPECT_EQ(indicatorsOf(*parseSignal("drawn")), (std::vector{I::sharpness, I::flatShare}));
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
               {"blockiness.envelope_ratio", stretch(1, 0.5, 1, 6), 50, 1000, 0.5},
               {"blockiness.envelope_ratio", stretch(1, 0.5, 1, 6), 36, 1000, 1},
               {"blur.envelope_ratio", stretch(3, 3, 6, 6), 50, 1000, 2},
               {"blur.envelope_ratio", stretch(3, 3, 6, 6), 97, 95, {}},
               {"exposure.alternation", stretch(100, 120, 80), 50, 1000, 40},
               {"exposure.alternation", stretch(100, 120, 80, 3), 50, 1000, 40},
               {"exposure.alternation", stretch(100, 120, 80), 20, 1000, 0},
               {"exposure.alternation", flash, 50, 1000, 0},
               {"exposure.alternation", ramp, 50, 1000, 0}};
  for (const auto &[signal, values, at, cut, expected] : cases)
    EXPECT_EQ(signalAt(signal, values, at, cut), expected) << signal << " at " << at;
  EXPECT_EQ(signalName(*parseSignal("blur.ratio")), "blur.ratio");
  for (const char *wrong : {"blur.", "blur.value", "blurr", "", ".rise", "exposure.envelope_ratio",
                            "sharpness.drawn", "drawn.rise"})
    EXPECT_FALSE(parseSignal(wrong)) << wrong;
}

} // namespace
} // namespace lumagauge::qc
