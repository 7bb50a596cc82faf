// SPDX-License-Identifier: BSD-2-Clause
//
// Values that can be worked out by hand from each indicator's definition.
#include "indicators/routines.h"
#include "tests/support/pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumagauge::test {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

constexpr double NO_VALUE = -7.0; ///< an empty result

struct MeasureCase {
  const char *name;
  Luma picture;
  double expected;
  double tolerance = 0.0; ///< where the expectation has four decimals
};

/// Checkerboard of 100 and 100 + `step`, in which `step` depends on the row.
Luma checkers(std::uint64_t w, std::uint64_t h, const std::function<int(int)> &step) {
  return luma(w, h, [&](int x, int y) { return 100 + (x + y) % 2 * step(y); });
}

/// Black with white rectangles, each x, y, width, height.
Luma rectangles(std::uint64_t w, std::uint64_t h, const std::vector<std::array<int, 4>> &whites) {
  return luma(w, h, [&](int x, int y) {
    const auto holds = [=](const std::array<int, 4> &r) {
      return x >= r[0] && x < r[0] + r[2] && y >= r[1] && y < r[1] + r[3];
    };
    return std::any_of(whites.begin(), whites.end(), holds) ? 255 : 0;
  });
}

/// Rows 1..h-2 without pattern between uniform rows.
int barred(int x, int y) {
  return y == 0 ? 7 : y == 7 ? 90 : (x * 37 + y * 11) % 251;
}

void expectValue(double value, double expected, double tolerance = 0.0) {
  if (std::isnan(expected))
    EXPECT_TRUE(std::isnan(value)) << value;
  else if (tolerance == 0.0)
    EXPECT_EQ(value, expected);
  else
    EXPECT_NEAR(value, expected, tolerance);
}

void check(std::optional<double> (*measure)(const Plane &), const std::vector<MeasureCase> &cases) {
  for (const MeasureCase &c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << ", " << c.picture.w << "x" << c.picture.h);
    expectValue(measure(c.picture).value_or(NO_VALUE), c.expected, c.tolerance);
  }
}

TEST(Measures, OfTheBlockGrid) {
  check(measureBlockiness,
        {{"no border line", noisy(15, 15), 1.0},
         {"flat", uniform(32, 32, 9), 1.0},
         {"steps between blocks only",
          luma(32, 32, [](int x, int y) { return x / 8 * 30 + y / 8 * 20; }), 0.0},
         {"steps inside blocks only", luma(23, 15, [](int x, int) { return x < 7 ? 0 : 50; }), INF},
         // Differences inside 2, 0, 5 and across 1, 3, 0 at lines 8, 16, 24, which weigh 3, 2, 1.
         {"first lines weigh most",
          luma(8, 32,
               [](int, int y) { return 2 * (y >= 7) + (y >= 8) + 3 * (y >= 16) + 5 * (y >= 23); }),
          (3 * 2 + 1 * 5) / (3 * 1 + 2 * 3.0)},
         {"16 samples are enough", luma(16, 15, [](int x, int) { return x < 7 ? 0 : 50; }), INF}});
  check(
      measureBlackout,
      {{"no whole block", uniform(7, 64, 1), 0.0},
       {"grey is flat too", uniform(8, 15, 128), 1.0},
       {"edge samples do not count", rectangles(20, 20, {{16, 0, 4, 20}}), 1.0},
       {"a darker row of blocks below", luma(8, 16, [](int, int y) { return y < 8 ? 8 : 0; }), 0.0},
       {"block sum 255", rectangles(16, 16, {{9, 9, 1, 1}}), 1.0},
       {"block sum 256", luma(16, 16, [](int x, int y) { return x < 8 && y < 8 ? 4 : 0; }), 0.0}});
  check(measureBlockLoss,
        {{"too narrow", uniform(255, 300, 0), NO_VALUE},
         {"a lost block", rectangles(256, 256, {{96, 64, 16, 16}}), 4.0},
         {"mean of two regions", rectangles(512, 256, {{96, 64, 16, 16}}), 2.0},
         {"row 0 starts no run", rectangles(256, 256, {{96, 0, 16, 11}, {96, 64, 16, 8}}), 0.0}});
  check(measureInterlace,
        {{"comb in rows", luma(10, 8, [](int, int y) { return y % 2 * 255; }), 1.0},
         {"rows in pairs", luma(8, 8, [](int, int y) { return y / 2 % 2; }), 0.0},
         {"one column of four breaks it",
          luma(4, 4, [](int x, int y) { return x == 3 ? y * 10 + 10 : y % 2 * 255; }), 0.0},
         {"half", luma(64, 64, [](int x, int y) { return x < 32 ? y % 2 : 5; }), 0.5},
         {"no whole block", uniform(3, 9, 0), NOT_A_NUMBER}});
}

TEST(Measures, OfLevels) {
  check(measureContrast,
        {{"four levels", Luma(2, 2, {0, 0, 255, 255}), 147.22431864335456},
         {"the reciprocal is rounded first", Luma(2, 2, {50, 3, 3, 50}), 27.13546265191241},
         {"flat", uniform(720, 576, 3), 0.0},
         {"flat, where rounding goes below zero", uniform(176, 144, 3), NOT_A_NUMBER},
         {"one sample", uniform(1, 1, 3), NOT_A_NUMBER},
         // The sum, 255 * 10,240,000, is beyond 2^31.
         {"bright 8K", uniform(5120, 2000, 255), 0.0}});
  check(measureExposure,
        {{"fewer than four blocks", uniform(16, 16, 100), (2 * 6400 + 3 * 16320) / 512.0},
         {"nine blocks", luma(80, 16, [](int x, int) { return x / 8 * 7 % 9 * 20; }), 80},
         {"the last block row on the edge is left out",
          rectangles(48, 48, {{0, 40, 48, 8}, {40, 0, 8, 48}}), 0.0},
         {"no block", uniform(40, 8, 0), 127.5}});
  check(measureSpatialActivity,
        {{"3x4 step", luma(4, 3, [](int x, int) { return x < 2 ? 0 : 255; }),
          std::sqrt(2080800.0) / std::sqrt(12.0)},
         {"two rows", noisy(50, 2), 0.0}});
  check(measureNoise,
        {{"flat", uniform(64, 64, 9), NO_VALUE},
         {"one level", checkers(64, 64, [](int) { return 10; }), 5.0411, 1e-4},
         {"the first of two modes", checkers(64, 64, [](int y) { return y < 32 ? 10 : 16; }),
          5.0411, 1e-4},
         {"a level rounded up", checkers(64, 64, [](int y) { return y < 32 ? 10 : 12; }), 6.0597,
          1e-4},
         // Every deviation is 4.53...: bin 5, but none in [5, 6).
         {"no block at the level", checkers(64, 64, [](int) { return 9; }), NOT_A_NUMBER},
         // Deviation 128.5 lies in the last bin, 127, and outside [127, 128).
         {"the last bin", luma(64, 64, [](int x, int y) { return (x + y) % 2 * 255; }),
          NOT_A_NUMBER}});
}

TEST(Measures, OfShapes) {
  check(measureBlur,
        {{"too low", noisy(64, 15), 0.0},
         {"sharp", luma(64, 32, [](int x, int) { return x < 32 ? 0 : 255; }), 1.0},
         {"soft", luma(64, 32, [](int x, int) { return std::clamp((x - 29) * 60, 0, 240); }), 4.0},
         // 2 steps in 30 columns, 15 rows of 16: the threshold is exactly their square.
         {"edges exactly at the threshold",
          luma(30, 16, [](int x, int) { return (x >= 8) * 50 + (x == 29) * 50; }), 0.0},
         {"row 0 has no gradient",
          luma(64, 32, [](int x, int y) { return x < 32 || y > 1 ? 0 : 255 - 135 * y; }), 1.0},
         {"only steps of 255 are edges",
          luma(125, 33, [](int x, int) { return std::min(x / 10, 8) % 2 * 255; }), 1.0}});

  const auto ofColumn = [](const std::function<int(int)> &level) {
    return luma(48, 48, [=](int x, int) { return level(x); });
  };
  check(measureSlice,
        {{"flat", uniform(48, 48, 3), 1.0},
         {"repeats along rows", ofColumn([](int x) { return x % 16; }), 1.0},
         {"rows differ", luma(48, 48, [](int, int y) { return y; }), INF},
         {"columns differ", ofColumn([](int x) { return x; }), 0.0},
         {"the last strip without any match",
          luma(17, 64,
               [](int x, int y) {
                 return y < 32 || (y < 48 && x == 0) ? 1 : y < 48 ? x * 9 + 20 : x * 9 + 100 + y;
               }),
          1.0 / (16 / 272.0)},
         {"no strip with a match", luma(17, 48, [](int x, int y) { return x * 9 + y; }),
          NOT_A_NUMBER},
         {"too low", noisy(48, 47), NO_VALUE},
         {"too narrow", noisy(16, 48), NO_VALUE}});
  check(measureLetterbox,
        {{"flat", uniform(9, 9, 1), 1.0},
         {"one pair of bars", luma(16, 8, barred), 0.25},
         {"two pairs of different levels",
          luma(16, 8, [](int x, int y) { return y % 5 == 1 ? 230 - 30 * y : barred(x, y); }), 0.5},
         {"top only", luma(16, 8, [](int x, int y) { return y == 0 ? 7 : x; }), 0.0},
         {"the middle row takes no part", luma(4, 5, [](int x, int y) { return y == 2 ? x : y; }),
          1.0},
         {"one row", noisy(30, 1), NOT_A_NUMBER},
         {"one column", noisy(1, 30), 1.0}});
  check(measurePillarbox,
        {{"flat", uniform(9, 9, 1), 1.0},
         {"three equal columns",
          luma(16, 8, [](int x, int y) { return x < 3 ? 0 : barred(x, y + 1); }), 0.25},
         {"the last row decides", luma(16, 8, [](int x, int y) { return y == 7 && x > 5; }), 0.625},
         {"right only", luma(16, 8, [](int x, int) { return std::min(x, 9); }), 0.0},
         {"the middle row takes no part", luma(5, 3, [](int x, int y) { return y == 1 ? x : y; }),
          1.0},
         {"one row", noisy(30, 1), 1.0},
         {"one column", noisy(1, 30), NOT_A_NUMBER}});
}

TEST(Measures, BarsOfEverySide) {
  constexpr double TOO_DARK = NO_VALUE;
  const Luma scene = noisy(96, 64, 3);
  const auto boxed = [&](int x, int y, int top, int bottom, int left, int right) {
    const bool isBar = y < top || y >= 64 - bottom || x < left || x >= 96 - right;
    return isBar ? 16 : 40 + scene.data[y * 96 + x] / 2;
  };
  const auto grain = [&](int x, int y) { return scene.data[(y * 31 + x * 7) % 6144] % 11 - 5; };
  const struct {
    const char *name;
    std::function<int(int x, int y)> sample;
    std::array<double, 4> expected; // top, bottom, left, right
  } cases[] = {
      {"none", [&](int x, int y) { return boxed(x, y, 0, 0, 0, 0); }, {0, 0, 0, 0}},
      {"each of its own", [&](int x, int y) { return boxed(x, y, 8, 11, 5, 20); }, {8, 11, 5, 20}},
      {"right alone", [&](int x, int y) { return boxed(x, y, 0, 0, 0, 12); }, {0, 0, 0, 12}},
      {"noise of three levels",
       [&](int x, int y) { return boxed(x, y, 9, 0, 0, 10) + grain(x, y); },
       {9, 0, 0, 10}},
      {"a dashed test line",
       [&](int x, int y) { return y == 1 && x % 5 < 2 ? 200 : boxed(x, y, 12, 12, 0, 0); },
       {12, 12, 0, 0}},
      {"a soft edge",
       [&](int x, int y) { return y == 10 ? 22 : boxed(x, y, 10, 0, 0, 0); },
       {11, 0, 0, 0}},
      {"grey is no bar",
       [&](int x, int y) { return std::max(60, boxed(x, y, 9, 9, 9, 9)); },
       {0, 0, 0, 0}},
      {"a dark scene with a slanting edge",
       [&](int x, int y) { return y < 8 + x / 3 ? 16 : 120; },
       {TOO_DARK, 0, 0, 0}},
      {"a shaded one",
       [&](int x, int y) { return y < 24 ? 14 + y / 4 : 90 + x; },
       {TOO_DARK, 0, 0, 0}},
      {"black", [](int, int) { return 16; }, {TOO_DARK, TOO_DARK, TOO_DARK, TOO_DARK}},
  };
  for (const auto &[name, sample, expected] : cases) {
    const Bars bars = measureBars(luma(96, 64, sample));
    const std::optional<double> values[] = {bars.top, bars.bottom, bars.left, bars.right};
    for (std::size_t side = 0; side < 4; ++side)
      EXPECT_EQ(values[side].value_or(NO_VALUE), expected[side]) << name << ", side " << side;
  }
  EXPECT_EQ(measureBars(uniform(31, 64, 16)).top, std::nullopt);
}

TEST(Measures, ClippedAndSharp) {
  const Luma ramp = luma(256, 4, [](int x, int) { return x; });
  const Levels limited = measureLevels(ramp, {16, 235}), full = measureLevels(ramp, {0, 255});
  EXPECT_EQ(limited.clippedLow, 17 / 256.0);
  EXPECT_EQ(limited.clippedHigh, 21 / 256.0);
  EXPECT_EQ(full.clippedLow, 1 / 256.0);
  EXPECT_EQ(full.clippedHigh, 1 / 256.0);
  // More samples than are summed up at a time.
  const Luma large = luma(256, 130, [](int x, int y) { return y < 128 ? x : 235; });
  EXPECT_EQ(measureLevels(large, {16, 235}).clippedHigh, (21 * 128 + 512) / 33280.0);
  EXPECT_EQ(measureLevels(large, {16, 235}).brightness, (127.5 * 32768 + 235 * 512) / 33280.0);
  EXPECT_EQ(measureLevels(large, {16, 235}).contrast, measureContrast(large));
  check(measureSharpness,
        {{"flat", uniform(9, 9, 9), NO_VALUE},
         {"a step", luma(9, 5, [](int x, int) { return x < 4 ? 0 : 50; }), 2.0},
         {"even columns", luma(9, 1, [](int x, int) { return x % 2; }), 4 * 7 / 8.0},
         // Four steps of 10: the second differences are 10 and -10.
         {"a ramp", luma(16, 1, [](int x, int) { return std::clamp(x - 5, 0, 4) * 10; }), 0.5},
         {"other rows", luma(9, 4, [](int x, int y) { return y * x; }), NO_VALUE}});
}

TEST(Measures, StillnessOfBlocks) {
  const Luma before = noisy(128, 128, 5);
  const struct {
    const char *name;
    std::function<int(int x, int y, int level)> sample;
    Stillness expected;
  } cases[] = {
      {"repeated", [](int, int, int level) { return level; }, {1, 1, 0}},
      {"half a level", [](int x, int, int level) { return level ^ (x % 2); }, {1, 1, 0}},
      {"noise", [](int x, int y, int level) { return level ^ (3 * ((x + y) % 2)); }, {0, 1, 0}},
      {"three levels brighter", [](int, int, int level) { return level / 2 + 3; }, {0, 0, 0}},
      // Four 8x8 blocks of 256 in another place than the rest.
      {"a stale block",
       [](int x, int y, int level) { return x / 16 == 3 && y / 16 == 2 ? level : 255 - level; },
       {4 / 256.0, 4 / 256.0, 1 / 64.0}},
  };
  for (const auto &[name, change, expected] : cases) {
    const auto &sample = change; // what clang captures
    const Luma after =
        luma(128, 128, [&](int x, int y) { return sample(x, y, before.data[y * 128 + x]); });
    const Stillness got = measureStillness(after, before).value();
    EXPECT_EQ(got.repeated, expected.repeated) << name;
    EXPECT_EQ(got.still, expected.still) << name;
    EXPECT_EQ(got.stale, expected.stale) << name;
  }
  EXPECT_FALSE(measureStillness(noisy(7, 9), noisy(7, 9)));
}

TEST(Measures, StaleRowsShowWhatWasThereBefore) {
  // Twelve pictures of 128x64 samples that have nothing in common; from column 0 to `end`, row `by`
  // of blocks of the tenth shows what was there `ago` pictures before.
  const struct {
    const char *name;
    std::size_t ago;
    int by, end, height;
    double expected; // of the tenth; the others have none that is stale
  } cases[] = {{"four pictures", 4, 1, 128, 16, 1 / 4.0},
               {"as many as are remembered", 6, 3, 128, 16, 1 / 4.0},
               {"more than are remembered", 7, 1, 128, 16, 0},
               {"a copy of the one before", 1, 1, 128, 16, 0},
               {"three quarters of the row", 2, 0, 96, 16, 1 / 4.0},
               {"less", 2, 0, 88, 16, 0},
               {"half of the picture", 2, 0, 128, 32, 1 / 2.0},
               {"nearly all of it", 2, 0, 128, 48, 0}};
  std::vector<Luma> levels; // of the blocks of each picture
  for (std::uint32_t i = 0; i < 12; ++i)
    levels.push_back(noisy(16, 8, i + 1));
  for (const auto &c : cases) {
    StaleRowsState state;
    std::vector<std::int16_t> sums;
    for (std::size_t i = 0; i < 12; ++i) {
      const Luma picture = luma(128, 64, [&](int x, int y) {
        const bool isOld = i == 9 && x < c.end && y >= c.by * 16 && y < c.by * 16 + c.height;
        return levels[isOld ? 9 - c.ago : i].data[y / 8 * 16 + x / 8];
      });
      sumRowBlocks(picture, sums);
      const double expected = i == 0 ? NO_VALUE : i == 9 ? c.expected : 0;
      EXPECT_EQ(measureStaleRows(state, sums, 16, i > 0).value_or(NO_VALUE), expected)
          << c.name << ", picture " << i;
    }
  }
}

TEST(Measures, BlockStructureOfDamageAndDrawings) {
  const auto soft = [](int x, int y) { return 100 + (x * x + y * y) / 400 + (x + y) % 2; };
  const auto rough = [](int x, int y) { return (x * 37 + y * y * 11) % 97; };
  const struct {
    const char *name;
    std::function<int(int x, int y)> sample;
    double damage, smear, flat; // shares of 36 blocks and of 72 segments
  } cases[] = {
      {"clean", soft, 0, 0, 0},
      {"two lost blocks",
       [=](int x, int y) { return y / 16 == 2 && x / 32 == 1 ? 20 : soft(x, y); }, 2 / 36.0, 0,
       4 / 72.0},
      {"a window off the grid",
       [=](int x, int y) { return x > 20 && x < 37 && y > 20 && y < 37 ? 20 : soft(x, y); }, 0, 0,
       0},
      {"tiles all over", [](int x, int y) { return (x / 16 + y / 16) % 2 * 90; }, 0, 0, 1},
      {"a slice drawn out sideways",
       [=](int x, int y) { return y / 16 == 3 && x > 31 ? rough(31, y) : rough(x, y); }, 0,
       4 / 36.0, 0},
      {"two downwards", [=](int x, int y) { return rough(x, std::min(y, 63)); }, 0, 12 / 36.0, 0},
      {"shades down", [](int, int y) { return 2 * y; }, 0, 0, 0},
      {"flat", [](int, int) { return 70; }, 0, 0, 1},
  };
  for (const auto &[name, sample, damage, smear, flat] : cases) {
    const BlockStructure got = measureBlockStructure(luma(96, 96, sample)).value();
    EXPECT_EQ(got.damage, damage) << name;
    EXPECT_EQ(got.smear, smear) << name;
    EXPECT_EQ(got.flat, flat) << name;
  }
  // The sum of three that are spread evenly over -2 to 2, of variance 2 each.
  const Luma noise = noisy(160, 160, 9);
  const auto level = [&](int i) { return noise.data[i % 25600] % 5 - 2; };
  const Luma grainy = luma(160, 160, [&](int x, int y) {
    return x < 40 ? 16 : 100 + level(y * 160 + x) + level(y * 977 + x * 3) + level(y * 31 + x * 59);
  });
  EXPECT_NEAR(measureBlockStructure(grainy)->grain.value(), std::sqrt(6.0), 0.5);
  EXPECT_EQ(measureBlockStructure(uniform(64, 64, 3))->grain, std::nullopt);
  EXPECT_FALSE(measureBlockStructure(noisy(15, 90)));
}

TEST(Measures, PillarBarsAreThoseOfTheMeasure) {
  const Luma boxed =
      luma(16, 8, [](int x, int y) { return x < 3 || y % 7 == 0 ? 0 : barred(x, y); });
  EXPECT_TRUE(
      checkPillarBar(luma(5, 3, [](int x, int y) { return y == 1 ? x : y; }).data, 5, 3, 2));
  EXPECT_TRUE(checkPillarBar(boxed.data, 16, 8, 1));
  EXPECT_FALSE(checkPillarBar(boxed.data, 16, 8, 2));
}

TEST(Measures, OpinionScoresAndOrders) {
  EXPECT_EQ(blockToMOS(0.5), 0.0);
  EXPECT_DOUBLE_EQ(blockToMOS(1.0), (17.86 - 10.38) / 2);
  EXPECT_NEAR(blurToMOS(2.87 / 1.5), 5.0 * std::pow(0.5, 0.14), 1e-12);
  const double one = 1.0, two = 2.0, nan = NOT_A_NUMBER;
  for (const auto order : {compare, compare_Double_asc}) {
    EXPECT_EQ(order(&one, &two), -1);
    EXPECT_EQ(order(&two, &one), 1);
    EXPECT_EQ(order(&one, &one) | order(&one, &nan) | order(&nan, &one), 0);
  }
  const std::uint8_t low = 3, high = 200;
  EXPECT_EQ(compareElements(&low, &high), 197);
  std::int32_t least = 0, most = 0;
  const std::int32_t sums[] = {5, 3, 9, 4};
  minmax(sums, 4, &least, &most);
  EXPECT_EQ(std::pair(least, most), std::pair(3, 9));
  EXPECT_DEATH(minmax(&least, 0, &least, &most), "blackout.*minmax.*size > 0");
}

TEST(Measures, RoutinesStoreOnlyWhatWasMeasured) {
  Luma flat = uniform(64, 47, 9), rough = checkers(64, 64, [](int) { return 10; });
  EXPECT_EQ(reinterpret_cast<std::intptr_t>(noise(static_cast<Image *>(&flat))), -1);
  EXPECT_EQ(reinterpret_cast<std::intptr_t>(noise(static_cast<Image *>(&rough))), 0);
  Results.slice = 5.0;
  slice(static_cast<Image *>(&flat));
  EXPECT_EQ(Results.slice, 5.0);
}

TEST(Temporal, FreezingCountsStillFramesThatAreNotBlack) {
  const struct {
    const char *name;
    double fps;
    std::vector<std::pair<double, std::uint8_t>> frames; ///< activity, blackout
    std::vector<bool> frozen;
  } cases[] = {
      {"25 a second", 25, {{0, 0}, {1.0, 0}, {0, 0}, {1.0000001, 0}, {0, 0}}, {0, 0, 1, 0, 0}},
      {"10 a second", 10, {{0, 0}, {9, 0}}, {1, 0}},
      {"black restarts", 25, {{0, 0}, {0, 0}, {0, 1}, {0, 0}, {0, 0}, {0, 0}}, {0, 0, 0, 0, 0, 1}},
      {"not a number moves", 10, {{NOT_A_NUMBER, 0}}, {0}},
      {"no rate", 0, {{9, 0}, {0, 1}}, {1, 1}},
      {"no number as rate", NOT_A_NUMBER, {{0, 0}}, {0}},
  };
  for (const auto &[name, fps, frames, frozen] : cases) {
    FreezingState state;
    std::vector<bool> measured;
    for (const auto &[activity, blackout] : frames)
      measured.push_back(measureFreezing(state, blackout, activity, fps));
    EXPECT_EQ(measured, frozen) << name;
  }
}

/// Feeds as many periods of 8 calls as there are expected values.
void checkFlickering(const char *name, std::uint64_t w, std::uint64_t h,
                     const std::vector<double> &expected,
                     const std::function<int(int frame, int x, int y)> &sample) {
  FlickeringState state;
  Luma counts(w / 8, h / 8), states(w / 8, h / 8), changed(w / 8, h / 8);
  Luma slowCounts(w / 8, h / 8), slowStates(w / 8, h / 8);
  const auto frame = [&](int f) {
    return luma(w, h, [&](int x, int y) { return sample(f, x, y); });
  };
  for (int f = 1; f <= 8 * static_cast<int>(expected.size()); ++f) {
    SCOPED_TRACE(testing::Message() << name << ", call " << f);
    const Luma current = frame(f), previous = frame(f - 1);
    findChangedBlocks(current, previous, changed.data);
    if (f < 8) { // the general form keeps the same books
      Doubles differences(w / 8, h / 8);
      calculateFlickering(&current, &previous, &slowCounts, &slowStates, &differences, 8, 0.0111);
    }
    const std::optional<double> value = measureFlickering(state, changed.data, &counts, &states);
    if (f < 8) {
      EXPECT_EQ(counts.samples, slowCounts.samples);
      EXPECT_EQ(states.samples, slowStates.samples);
    }
    expectValue(value.value_or(NO_VALUE),
                f % 8 == 0 ? expected[static_cast<std::size_t>(f / 8 - 1)] : NO_VALUE);
  }
}

TEST(Temporal, FlickeringCountsSwitchesOfTheBusiestBlocks) {
  checkFlickering("still", 48, 48, {0.0, 0.0}, [](int, int x, int) { return x; });
  checkFlickering("one sample moves all the time", 48, 48, {0.125, 0.125},
                  [](int f, int x, int y) { return x + y == 0 ? f : 0; });
  checkFlickering("every second frame", 48, 48, {1.0, 1.0},
                  [](int f, int x, int y) { return x + y == 0 ? (f + 1) / 2 : 0; });
  // Of 396 blocks 11 count; 5 of them switch on their one change and again after it.
  checkFlickering("mean of the top 3 %", 180, 144, {5 * 2 / 88.0},
                  [](int f, int x, int y) { return f == 1 && y == 0 && x < 40 ? 1 : 0; });
  checkFlickering("outside the whole blocks", 180, 144, {0.0},
                  [](int f, int x, int) { return x > 175 ? f : 0; });
  checkFlickering("fewer than 34 blocks", 40, 48, {NOT_A_NUMBER},
                  [](int f, int, int) { return f; });
}

} // namespace
} // namespace lumagauge::test
