// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace lumagauge::test {
namespace {

using Samples = std::vector<std::int32_t>;

TEST(Sums, PixelSumsAreSignedAndWide) {
  constexpr std::int32_t MAX = std::numeric_limits<std::int32_t>::max();
  const Map mixed(3, 1, {-5, 2, 1}), large(2, 1, {MAX, MAX}), none(5, 0);
  EXPECT_EQ(sumPixels32(&mixed), -2);
  EXPECT_EQ(sumPixels32(&large), 2 * std::int64_t{MAX});
  EXPECT_EQ(sumPixels32(&none), 0);
}

TEST(Sums, EveryWayToSumBlocksAgrees) {
  const Luma picture = noisy(20, 21);
  Map direct(2, 2), integral(20, 21), added(2, 2, {1, 2, 3, 4}), replaced(2, 2, {9, 9, 9, 9});
  blockSums(&picture, &direct, 8, 8);
  Map twice(direct), none(2, 0);
  blockSums(&picture, &twice, 8, 8);
  blockSums(&picture, &twice, 8, 0);
  blockSums(&picture, &none, 8, 8);
  integrate(&picture, &integral);
  blockSumsInteg(&integral, &added, 8, 8);
  blockSumsInteg2(&integral, &replaced, 8, 8);
  EXPECT_EQ(replaced.samples, direct.samples);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(added.samples[i], direct.samples[i] + static_cast<int>(i) + 1);
    EXPECT_EQ(twice.samples[i], 2 * direct.samples[i]);
  }
  EXPECT_EQ(sumPixels(&picture), sumH(picture.data, 20, 21));
  EXPECT_EQ(sumPixels(&picture), sumV(picture.data, 20, 21));
  EXPECT_EQ(sumPixels(&picture), static_cast<std::uint32_t>(integral.samples.back()));
}

using TwoMaps = std::pair<Samples, Samples>;

/// Both outputs of an operation, which are poisoned before.
TwoMaps outputs(void (*operation)(const Image *, Image32 *, Image32 *), const Luma &src) {
  Map x(src.w, src.h, Samples(src.samples.size(), 5)), y(x);
  operation(&src, &x, &y);
  return {x.samples, y.samples};
}

TEST(Edges, ProductsWrapAndEmptyPicturesWriteNothing) {
  const Map a(2, 1, {3, 65536}), b(2, 1, {-4, 65536}), empty(0, 5);
  Map dest(2, 1, {1, 1});
  addSquares32(&empty, &empty, &dest);
  ASSERT_EQ(dest.samples, (Samples{1, 1}));
  multiply(&a, &b, &dest);
  EXPECT_EQ(dest.samples, (Samples{-12, 0}));
  addSquares32(&a, &b, &dest);
  EXPECT_EQ(dest.samples, (Samples{25, 0}));
  const Luma bytes(2, 1, {255, 3});
  addSquares(&bytes, &bytes, &dest);
  EXPECT_EQ(dest.samples, (Samples{130050, 18}));
}

TEST(Edges, RunsAreCountedWithinBlocksAlongRowsAndColumns) {
  // Of the least length 12 and of more, parted by the edge between the blocks of 40, one short of
  // the least, and right of the last whole block.
  Map row(100, 1);
  for (const auto &[start, end] :
       {std::pair{0, 12}, {13, 38}, {39, 51}, {53, 64}, {66, 78}, {80, 100}})
    std::fill(row.samples.begin() + start, row.samples.begin() + end, 8);
  const Image32 column = makeImage32(1, 100, row.data);
  Map across(2, 1), down(1, 2), runs(1, 1), atThreshold(2, 1);
  EXPECT_EQ(countSeqsH(&row, &across, 40, 1, 12, 7.5), 0);
  EXPECT_EQ(countSeqsV(&column, &down, &runs, 1, 40, 12, 7.5), 0);
  EXPECT_EQ(across.samples, (Samples{2, 1}));
  EXPECT_EQ(down.samples, (Samples{2, 1}));
  EXPECT_EQ(runs.samples, Samples{0});
  countSeqsH(&row, &atThreshold, 40, 1, 12, 8.0);
  EXPECT_EQ(atThreshold.samples, (Samples{0, 0}));
  EXPECT_EQ(tempCountSeqsH(&row, 12, 7.5), 5U);
  EXPECT_EQ(tempCountSeqsH2(&row, 12, 7.5), 12U + 25 + 12 + 12 + 20);
}

TEST(Gradients, FirstRowAndColumnAreZeroAndStepsAreSigned) {
  const Luma step = luma(4, 3, [](int x, int) { return x < 2 ? 255 : 0; }), any = noisy(9, 7);
  EXPECT_EQ(outputs(roberts, Luma(2, 2, {9, 7, 2, 30})), TwoMaps({0, 0, 0, -21}, {0, 0, 0, 5}));
  EXPECT_EQ(outputs(gradient, step),
            TwoMaps({0, 0, 0, 0, 0, 0, -255, 0, 0, 0, -255, 0}, Samples(12, 0)));
  TwoMaps absolute = outputs(gradient, any);
  for (Samples *map : {&absolute.first, &absolute.second})
    std::transform(map->begin(), map->end(), map->begin(), [](int g) { return std::abs(g); });
  EXPECT_EQ(outputs(absGradient, any), absolute);
  const auto [x, y] = outputs(sobel, any);
  EXPECT_EQ(outputs(sobel2, any), TwoMaps(x, y));
  const int energy = std::inner_product(x.begin(), x.end(), x.begin(), 0) +
                     std::inner_product(y.begin(), y.end(), y.begin(), 0);
  EXPECT_EQ(spatialAct(&any), std::sqrt(static_cast<double>(energy)));
}

TEST(ToolkitDeathTest, SizesAreAssertedInOrderWithTheFileNamed) {
  const Luma src = uniform(4, 3, 0);
  Map fitting(4, 3), wide(5, 3), high(4, 4);
  const auto report = [](const std::string &size) {
    return "tools/definitions.*Assertion `src->h == " + size + "->h && src->w == " + size + "->w'";
  };
  EXPECT_DEATH(roberts(&src, &high, &wide), report("destX"));
  EXPECT_DEATH(gradient(&src, &fitting, &wide), report("destY"));
  EXPECT_DEATH(sobel(&src, &wide, &fitting), report("destX"));
  EXPECT_DEATH(convU8toI32(&src, &wide), "src->w \\* src->h == dest->w \\*dest->h");
}

TEST(Statistics, BlockDeviationsLeaveEdgesOutAndSumsGoOn) {
  const Luma checkers =
      luma(9, 9, [](int x, int y) { return x + y == 16 || (x + y) % 2 ? 255 : 0; });
  Map sums(1, 1), squareSums(1, 1);
  Doubles deviations(1, 1), ofTotals(1, 1);
  for (Doubles *dest : {&deviations, &ofTotals})
    calculateStdDevs(&checkers, &sums, &squareSums, dest, 8, 8);
  EXPECT_EQ(deviations.samples[0], std::sqrt((2080800 - 1040400.) / 63));
  EXPECT_EQ(sums.samples[0], 2 * 8160);
  EXPECT_EQ(squareSums.samples[0], 2 * 2080800);
}

TEST(Statistics, FilterKeepsInsideBlocksAndRefusesWrongSizes) {
  const Luma strip = noisy(20, 9);
  Doubles kernel(3, 3), dest(20, 9), higher(20, 10);
  std::iota(kernel.samples.begin(), kernel.samples.end(), 1.0);
  EXPECT_EQ(filter(&strip, &dest, &kernel, 0, 8, 8), 0);
  EXPECT_EQ(filter(&strip, &dest, &kernel, 2, 8, 8), 0);
  for (std::size_t i = 0; i < dest.samples.size(); ++i) {
    const std::size_t x = i % 20, y = i / 20;
    double sum = 0.0;
    if (x < 16 && x % 8 % 7 != 0 && y >= 1 && y <= 6)
      for (std::size_t k = 0; k < 9; ++k)
        sum += strip.samples[(y + k / 3 - 1) * 20 + x + k % 3 - 1] * kernel.samples[k];
    EXPECT_EQ(dest.samples[i], sum) << x << ", " << y;
  }
  const Luma low = uniform(20, 2, 1);
  Doubles lowDest(20, 2);
  testing::internal::CaptureStdout();
  EXPECT_EQ(filter(&strip, &higher, &kernel, 1, 8, 8), -1);
  EXPECT_EQ(filter(&low, &lowDest, &kernel, 1, 8, 2), -1);
  const Doubles oblong(3, 2);
  Doubles s(1, 1, {7.0}), q(1, 1, {7.0}), d(1, 1, {7.0});
  calculateStdDevsDouble_ommitZeros(&dest, &s, &q, &d, &oblong, 8, 8);
  EXPECT_EQ(d.samples[0] + s.samples[0] + q.samples[0], 21.0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Source and destination images do not match with their size!\n"
            "Source image is to small for that kernel!\nProvided kernel is not symmetric!");
}

TEST(Arithmetic, MomentsAndQuotients) {
  const Luma four(2, 2, {0, 1, 2, 255});
  std::int32_t sum = 0;
  std::int64_t squares = 0;
  EXPECT_EQ(sumAndSquareSum(&four, &sum, &squares), 258);
  EXPECT_EQ(sum, 258);
  EXPECT_EQ(squares, 65030);

  const Doubles numerator(3, 1, {1.0, 0.0, -7.5}), denominator(3, 1, {0.0, 0.0, 2.0});
  Doubles ratio(3, 1);
  divideDouble(&numerator, &denominator, &ratio);
  EXPECT_EQ(ratio.samples[0], std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(ratio.samples[1]));
  EXPECT_EQ(ratio.samples[2], -3.75);
  const Map three(1, 1, {3}), two(1, 1, {-2});
  divide(&three, &two, &ratio);
  EXPECT_EQ(ratio.samples[0], -1.5);
}

TEST(Arithmetic, CopiesConversionsAndPrinting) {
  const Luma bytes(3, 2, {0, 7, 255, 1, 20, 3});
  Luma copy(3, 2), flatter(6, 1, bytes.samples);
  onlyCopy(&bytes, &copy);
  EXPECT_TRUE(areEqual(&bytes, &copy));
  EXPECT_FALSE(areEqual(&bytes, &flatter));
  Map wide(3, 2);
  convU8toI32(&bytes, &wide);
  wide.samples[0] = -256 + 5;
  convI32toU8(&wide, &copy);
  EXPECT_EQ(copy.samples, (std::vector<std::uint8_t>{5, 7, 255, 1, 20, 3}));
  EXPECT_FALSE(areEqual(&bytes, &copy));
  Doubles roots(2, 1, {6.25, 0.0});
  imageSqrt(&roots, &roots);
  EXPECT_EQ(roots.samples[0], 2.5);
  testing::internal::CaptureStdout();
  printRange(&bytes, 1, 0, 2, 2);
  printRange32(&wide, 0, 0, 2, 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "007 255 \n020 003 \n-251  7  \n");
}

} // namespace
} // namespace lumagauge::test
