// SPDX-License-Identifier: BSD-2-Clause
//
// Every row operation: the form in use against the plain one, bit for bit.
#include "tests/support/pictures.h"
#include "tools/rows.h"

#include <gtest/gtest.h>

#include <string>

namespace lumagauge::test {
namespace {

/// An output of n elements between guards, poisoned.
template <class Element> class Guarded {
public:
  explicit Guarded(std::size_t n) : bytes((n + 2 * GUARD) * sizeof(Element), POISON) {}
  Element *data() { return reinterpret_cast<Element *>(bytes.data()) + GUARD; }
  /// All bytes, the guards' too.
  std::vector<std::uint64_t> values() const { return {bytes.begin(), bytes.end()}; }

private:
  static constexpr std::size_t GUARD = 64;
  static constexpr unsigned char POISON = 0xA5;
  std::vector<unsigned char> bytes;
};

using Output = std::pair<const char *, std::vector<std::uint64_t>>; ///< of an operation

/// Eight rows of w samples in memory of exactly their size, `lead` samples behind its start (at
/// least one, as block operations look at the sample before a row).
struct Rows {
  Rows(std::size_t width, std::size_t lead, const std::function<int(int, int)> &sample)
      : w(width), samples(lead + 8 * w), top(samples.data() + lead) {
    for (std::size_t i = 0; i < samples.size(); ++i)
      samples[i] =
          static_cast<std::uint8_t>(sample(static_cast<int>(i % w), static_cast<int>(i / w)));
  }
  const std::uint8_t *row(std::size_t y) const { return top + y * w; }

  std::size_t w;
  std::vector<std::uint8_t> samples;
  const std::uint8_t *top;
};

/// What operations on whole rows give.
std::vector<Output> outputsOfRows(const RowOperations &form, const Rows &in) {
  const std::uint8_t *a = in.row(1), *b = in.row(2);
  const Moments moments = form.moments(a, in.w);
  const EndCounts ends = form.countEnds(a, in.w, 16, 235);
  Guarded<std::uint8_t> marks(in.w);
  for (std::size_t x = 0; x < in.w; ++x)
    marks.data()[x] = x % 3 == 0;
  const std::size_t marked = form.markAbove(a, in.w, 200, marks.data());
  return {{"moments", {moments.sum, moments.squares}},
          {"absDifference", {form.absDifference(a, b, in.w)}},
          {"squaredDifference", {form.squaredDifference(a, b, in.w)}},
          {"countEqual", {form.countEqual(a, b, in.w)}},
          {"firstDifference", {form.firstDifference(a, b, in.w)}},
          {"countEnds", {ends.low, ends.high}},
          {"markAbove's count", {marked}},
          {"markAbove", marks.values()},
          {"darkStart and darkEnd",
           {form.darkStart(a, in.w, 252), form.darkEnd(a, in.w, 252), form.darkEnd(b, in.w, 0)}},
          {"crossEnergy", {form.crossEnergy(in.row(0), in.w, 8, in.w)}},
          {"sobelEnergy", {form.sobelEnergy(in.row(0), in.w, 8, in.w)}}};
}

std::vector<Output> outputsOfBlocks(const RowOperations &form, const Rows &in) {
  const std::size_t blocks = in.w / 8, borders = in.w < 16 ? 0 : blocks - 1;
  Guarded<std::uint16_t> sums(blocks);
  Guarded<double> deviations(blocks);
  Guarded<std::uint8_t> changed(blocks);
  Guarded<BorderSums> borderSums(borders);
  form.blockSums(in.top, in.w, blocks, sums.data());
  form.blockDeviations(in.top, in.w, blocks, deviations.data());
  // Against rows that are the same but for a few samples.
  std::vector<std::uint8_t> other(in.top, in.top + 8 * in.w);
  for (std::size_t i = 3; i < other.size(); i += 61)
    other[i] ^= 1;
  form.changedBlocks(in.top, other.data(), in.w, blocks, changed.data());
  form.columnBorders(in.row(3), in.w, 5, borders, borderSums.data()); // on top of the poison
  Guarded<BlockChange> changes(blocks);
  Guarded<SegmentGradients> gradients(blocks);
  Guarded<BorderSteps> columnSteps(borders), rowSteps(blocks);
  form.blockChanges(in.top, other.data(), in.w, blocks, changes.data());
  form.segmentGradients(in.row(1), in.w, 7, blocks, gradients.data());
  form.columnSteps(in.row(3), in.w, 5, borders, columnSteps.data());
  form.rowSteps(in.row(5), in.w, blocks, rowSteps.data());
  return {{"blockSums", sums.values()},
          {"blockChanges", changes.values()},
          {"segmentGradients", gradients.values()},
          {"columnSteps", columnSteps.values()},
          {"rowSteps", rowSteps.values()},
          {"blockDeviations", deviations.values()},
          {"changedBlocks", changed.values()},
          {"columnBorders", borderSums.values()},
          {"combBlocks", {form.combBlocks(in.row(2), in.w, in.w / 4)}}};
}

std::vector<Output> outputsOfEdges(const RowOperations &form, const Rows &in) {
  const std::size_t words = (in.w + 63) / 64;
  std::vector<Output> outputs;
  for (const std::uint8_t least : std::initializer_list<std::uint8_t>{1, 3, 200, 255}) {
    Guarded<std::uint64_t> edges(words);
    outputs.push_back({"edgeColumns' count",
                       {form.edgeColumns(in.row(5), in.row(1), in.row(2), in.row(3), in.w, least,
                                         edges.data())}});
    outputs.push_back({"edgeColumns", edges.values()});
  }
  std::vector<std::uint64_t> all(words); // every column that may be an edge
  for (std::size_t x = 1; x + 1 < in.w; ++x)
    all[x / 64] |= std::uint64_t{1} << x % 64;
  outputs.push_back({"edgeWidths", {form.edgeWidths(in.row(2), in.w, all.data())}});
  for (const std::int32_t least : {1, 20, 65025, 65535, 65536, 130050, 780301}) {
    Guarded<std::uint64_t> strong(words);
    form.strongCrosses(in.row(1), in.row(2), in.w, least, strong.data());
    outputs.push_back({"strongCrosses", strong.values()});
  }
  return outputs;
}

void expectSame(const std::vector<Output> &expected, const std::vector<Output> &got,
                const std::string &input) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto &[operation, values] = expected[i];
    ASSERT_EQ(values, got[i].second) << operation << " (or past its output), " << input;
  }
}

/// A value without pattern for every position.
int noise(int x, int y) {
  std::uint32_t h =
      static_cast<std::uint32_t>(x) * 2654435761U + static_cast<std::uint32_t>(y) * 40503U;
  h = (h ^ h >> 15) * 2246822519U;
  return static_cast<int>((h ^ h >> 13) >> 8);
}

TEST(Rows, EveryWidthGivesWhatThePlainFormGives) {
  const std::pair<const char *, std::function<int(int x, int y)>> inputs[] = {
      {"all 0", [](int, int) { return 0; }},
      {"all 255", [](int, int) { return 255; }},
      {"near 0", [](int x, int y) { return noise(x, y) % 3; }},
      {"near 255", [](int x, int y) { return 255 - noise(x, y) % 3; }},
      {"columns of period 2", [](int x, int) { return x % 2 * 255; }},
      {"rows of period 2", [](int, int y) { return y % 2 * 255; }},
      {"checkerboard", [](int x, int y) { return (x + y) % 2 * 255; }},
      {"columns of period 4", [](int x, int) { return x / 2 % 2 * 255; }},
      {"ramp", [](int x, int y) { return x + 3 * y; }},
      {"noise", noise},
      {"combs", [](int x, int y) { return y % 2 * 90 + (noise(x / 5, 0) % 7 == 0 ? x % 5 : 0); }},
      {"one sample differs", [](int x, int y) { return x % 97 == 96 && y == 2 ? 7 : x; }},
  };
  for (const auto &[input, sample] : inputs)
    for (std::size_t w = 1; w <= 600; ++w) {
      const Rows in(w, 1 + w % 5, sample);
      const std::string name = std::string(input) + ", width " + std::to_string(w);
      for (const auto outputs : {outputsOfRows, outputsOfBlocks, outputsOfEdges})
        ASSERT_NO_FATAL_FAILURE(expectSame(outputs(plainRows(), in), outputs(rows(), in), name));
    }
}

TEST(Rows, LanesDoNotOverflowOnLongSaturatedRows) {
  for (const std::size_t n : {20000U, 70000U, (1U << 24) + 1})
    for (const std::size_t period : {1U, 2U, 4U}) {
      std::vector<std::uint8_t> row(n + 4), zeros(n + 4);
      for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = i % period < (period + 1) / 2 ? 255 : 0;
      std::uint64_t white = 0;
      for (std::size_t i = 0; i < n; ++i)
        white += row[i] == 255;
      const Moments moments = rows().moments(row.data(), n);
      EXPECT_EQ(moments.sum, 255 * white);
      EXPECT_EQ(moments.squares, 65025 * white);
      EXPECT_EQ(rows().absDifference(row.data(), zeros.data(), n), 255 * white);
      EXPECT_EQ(rows().squaredDifference(zeros.data(), row.data(), n), 65025 * white);
      EXPECT_EQ(rows().countEqual(row.data(), zeros.data(), n), n - white);
      EXPECT_EQ(rows().firstDifference(row.data(), row.data() + period, n), n);
      EXPECT_EQ(rows().countEnds(row.data(), n, 254, 255).high, white);
      // Rows alike: both diagonals are the difference of neighbouring columns.
      const std::size_t h = n < 1 << 24 ? 500 : 3;
      EXPECT_EQ(rows().crossEnergy(row.data(), 0, h, n),
                2 * (h - 1) * rows().squaredDifference(row.data() + 1, row.data(), n - 1));
      // Gx is 4 times the difference of the columns two apart, Gy is 0.
      const std::uint64_t steps = period == 4 ? n - 2 : 0;
      EXPECT_EQ(rows().sobelEnergy(row.data(), 0, h, n), (h - 2) * steps * 1020 * 1020);
      // Between a white row and a black one, the most that a row can have: Gx 510, Gy -1020.
      std::vector<std::uint8_t> three(3 * n);
      std::fill_n(three.begin(), n, std::uint8_t{255});
      std::copy_n(row.begin(), n, three.begin() + static_cast<std::ptrdiff_t>(n));
      EXPECT_EQ(rows().sobelEnergy(three.data(), n, 3, n),
                steps * 510 * 510 + (n - 2) * std::uint64_t{1020 * 1020});
    }
}

TEST(Rows, ResidualsKeepTheOrderOfTermsForEveryNumberOfBlocks) {
  std::vector<std::uint8_t> strip(64 * BLOCK_STRIP);
  for (std::size_t i = 0; i < strip.size(); ++i)
    strip[i] = static_cast<std::uint8_t>(noise(static_cast<int>(i), 5));
  const double kernel[9] = {0.1, 0.2, 0.3, 0.15, 1. / 3, 0.05, 1e-3, 0.7, 1. / 7};
  for (const std::size_t n : {1U, 2U, 3U, 7U, 8U, 9U, 17U, 100U, 999U, 1000U}) {
    Guarded<double> plain(n), form(n);
    plainRows().residualDeviations(strip.data(), n, kernel, plain.data());
    rows().residualDeviations(strip.data(), n, kernel, form.data());
    EXPECT_EQ(plain.values(), form.values()) << n << " blocks";
  }
}

} // namespace
} // namespace lumagauge::test
