// SPDX-License-Identifier: BSD-2-Clause
//
// Under each form: the streamed indicators against their compositions, bit for bit, and the
// reports.
#include "tests/reference/compositions.h"
#include "tests/support/clip.h"
#include "tests/support/command.h"
#include "tests/support/pictures.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

namespace lumagauge::test {
namespace {

using Subject = std::pair<const char *, std::function<int(int x, int y)>>;

std::vector<Subject> subjects() {
  static const Luma noise = noisy(64, 64, 7);
  const auto random = [](int x, int y) {
    return noise.samples[static_cast<std::size_t>(y % 64 * 64 + x % 64)];
  };
  const auto shapes = [](int x, int y) {
    return ((x / 37 + y / 29) * 71 + (x * x + y * y) / 900) % 200;
  };
  return {
      {"noise", random},
      {"flat with one sample", [](int x, int y) { return x == 20 && y == 30 ? 255 : 100; }},
      {"checkerboard", [](int x, int y) { return (x + y) % 2 * 255; }},
      {"stripes", [](int x, int) { return x % 4 / 2 * 255; }},
      {"ramps", [](int x, int y) { return x * 5 + y * 3; }},
      {"shapes", shapes},
      {"grainy shapes", [=](int x, int y) { return shapes(x, y) + random(x, y) % 5; }},
      {"lost blocks",
       [=](int x, int y) { return (x / 16 + y / 16 * 5) % 11 == 0 ? 255 : shapes(x, y) / 4; }},
      {"broken lines on the grid",
       [](int x, int y) {
         const int phase = y + x / 16 * 3, length = 12 + phase / 15 % 3; // runs of 11 to 13
         return (x % 16 == 0 && phase % 15 < length) || (y % 64 == 0 && x % 40 < 30) ? 255 : 0;
       }},
      {"smeared strip",
       [=](int x, int y) { return y / 16 % 3 == 1 ? random(x % 16, y) : random(x, y); }},
      {"half faintly checked",
       [](int x, int y) { return y % 16 < 8 ? 100 : 100 + (x + y) % 2 * 2; }},
      {"soft columns", [](int x, int) { return std::abs(x % 80 - 40) * 6; }},
  };
}

/// The bits of a value; NaNs are one, as their sign is the CPU's own.
std::optional<std::uint64_t> bits(const std::optional<double> &value) {
  if (!value)
    return std::nullopt;
  return std::bit_cast<std::uint64_t>(std::isnan(*value) ? std::nan("") : *value);
}

TEST(Streamed, EveryIndicatorGivesWhatItsCompositionGives) {
  constexpr std::pair<std::uint64_t, std::uint64_t> SIZES[] = {
      {1, 1},   {9, 5},   {16, 16},   {17, 48},   {23, 50},  {48, 47},
      {64, 64}, {79, 66}, {161, 121}, {300, 257}, {513, 530}};
  for (const auto &[name, sample] : subjects())
    for (const auto &[w, h] : SIZES) {
      SCOPED_TRACE(std::string(name) + ", " + std::to_string(w) + "x" + std::to_string(h));
      const Luma picture = luma(w, h, sample);
      EXPECT_EQ(bits(measureBlockLoss(picture)), bits(composedBlockLoss(&picture)));
      EXPECT_EQ(bits(measureBlur(picture)), bits(composedBlur(&picture)));
      EXPECT_EQ(bits(measureNoise(picture)), bits(composedNoise(&picture)));
      EXPECT_EQ(bits(measureSlice(picture)), bits(composedSlice(&picture)));
    }
}

TEST_F(CommandTest, ReportsAreTheSameUnderThisForm) {
  writeClip(folder / "clip.yuv");
  const Outcome outcome = call("clip.yuv 272 264"); // LUMAGAUGE_TARGET is handed on
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_EQ(withoutNanSigns(outcome.output), readFile(GOLDEN "/all.console.txt"));
  EXPECT_EQ(withoutNanSigns(readFile(folder / "metricsResultsCSV.csv")),
            readFile(GOLDEN "/all.csv"));
}

} // namespace
} // namespace lumagauge::test
