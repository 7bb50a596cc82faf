// SPDX-License-Identifier: BSD-2-Clause
//
// Time per sample of each row operation, in each form that this CPU runs (only the one of
// LUMAGAUGE_TARGET when it is set).
#include "bench/support.h"

#include <algorithm>
#include <cstdlib>

namespace lumagauge::bench {
namespace {

constexpr std::size_t WIDTHS[] = {176, 1280, 1920, 3840};
constexpr std::size_t ROWS = 24;
constexpr double KERNEL[9] = {0.1, 0.1, 0.1, 0.1, 0.2, 0.1, 0.1, 0.1, 0.1};
constexpr std::int32_t STRONG = 600; ///< squared Roberts magnitude that a few percent reach

/// Some rows of a picture and what operations on them make of them.
struct Work {
  explicit Work(std::size_t width)
      : w(width), blocks(w / 8), samples(pictureSamples(w, ROWS)), copy(samples),
        strip(64 * BLOCK_STRIP), borders(blocks), changes(blocks), gradients(blocks), steps(blocks),
        deviations(blocks), sums(blocks), bytes(w), bits(w / 64 + 1), edges(bits.size()) {
    plainRows().edgeColumns(row(8), row(8), row(9), row(10), w, 24, edges.data());
    for (std::size_t i = 0; i < strip.size(); ++i)
      strip[i] = samples[i % samples.size()];
  }
  const std::uint8_t *row(std::size_t y) const { return samples.data() + y * w; }
  bool gaveTheSame(const Work &other) const {
    const auto same = [](const auto &a, const auto &b) {
      return std::equal(a.begin(), a.end(), b.begin(), [](const auto &x, const auto &y) {
        return std::equal(reinterpret_cast<const char *>(&x),
                          reinterpret_cast<const char *>(&x + 1),
                          reinterpret_cast<const char *>(&y));
      });
    };
    return value == other.value && squares == other.squares && same(borders, other.borders) &&
           same(changes, other.changes) && same(gradients, other.gradients) &&
           same(steps, other.steps) && same(deviations, other.deviations) &&
           same(sums, other.sums) && same(bytes, other.bytes) && same(bits, other.bits);
  }

  std::size_t w, blocks;
  std::vector<std::uint8_t> samples, copy, strip;
  // Results
  std::uint64_t value = 0, squares = 0;
  std::vector<BorderSums> borders;
  std::vector<BlockChange> changes;
  std::vector<SegmentGradients> gradients;
  std::vector<BorderSteps> steps;
  std::vector<double> deviations;
  std::vector<std::uint16_t> sums;
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint64_t> bits, edges;
};

struct Operation {
  const char *name;
  std::size_t rows; ///< of the width, that one call goes through
  void (*run)(const RowOperations &form, Work &work);
};

// The rows compared for equality are the same rows, so that none is left early.
const Operation OPERATIONS[] = {
    {"moments", 1,
     [](const RowOperations &form, Work &work) {
       const Moments moments = form.moments(work.row(9), work.w);
       work.value = moments.sum;
       work.squares = moments.squares;
     }},
    {"absDifference", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.absDifference(work.row(8), work.row(9), work.w);
     }},
    {"squaredDifference", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.squaredDifference(work.row(8), work.row(9), work.w);
     }},
    {"countEqual", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.countEqual(work.row(9), work.row(9) + 16, work.w - 16);
     }},
    {"firstDifference", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.firstDifference(work.row(9), work.copy.data() + 9 * work.w, work.w);
     }},
    {"countEnds", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.countEnds(work.row(9), work.w, 16, 235).high;
     }},
    {"markAbove", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.markAbove(work.row(9), work.w, 100, work.bytes.data());
     }},
    {"darkStart", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.darkStart(work.row(9), work.w, 255);
     }},
    {"darkEnd", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.darkEnd(work.row(9), work.w, 255);
     }},
    {"crossEnergy", 8,
     [](const RowOperations &form, Work &work) {
       work.value = form.crossEnergy(work.row(8), work.w, 9, work.w);
     }},
    {"sobelEnergy", 8,
     [](const RowOperations &form, Work &work) {
       work.value = form.sobelEnergy(work.row(8), work.w, 10, work.w);
     }},
    {"blockSums", 8,
     [](const RowOperations &form, Work &work) {
       form.blockSums(work.row(8), work.w, work.blocks, work.sums.data());
     }},
    {"blockDeviations", 8,
     [](const RowOperations &form, Work &work) {
       form.blockDeviations(work.row(8), work.w, work.blocks, work.deviations.data());
     }},
    {"changedBlocks", 8,
     [](const RowOperations &form, Work &work) {
       form.changedBlocks(work.row(8), work.copy.data() + 8 * work.w, work.w, work.blocks,
                          work.bytes.data());
     }},
    {"blockChanges", 8,
     [](const RowOperations &form, Work &work) {
       form.blockChanges(work.row(8), work.row(0), work.w, work.blocks, work.changes.data());
     }},
    {"segmentGradients", 8,
     [](const RowOperations &form, Work &work) {
       form.segmentGradients(work.row(8), work.w, 8, work.blocks, work.gradients.data());
     }},
    {"columnSteps", 8,
     [](const RowOperations &form, Work &work) {
       form.columnSteps(work.row(8), work.w, 8, work.blocks - 1, work.steps.data());
     }},
    {"rowSteps", 4,
     [](const RowOperations &form, Work &work) {
       form.rowSteps(work.row(8), work.w, work.blocks, work.steps.data());
     }},
    {"combBlocks", 4,
     [](const RowOperations &form, Work &work) {
       work.value = form.combBlocks(work.row(8), work.w, work.w / 4);
     }},
    {"columnBorders", 8,
     [](const RowOperations &form, Work &work) {
       form.columnBorders(work.row(8), work.w, 8, work.blocks - 1, work.borders.data());
     }},
    {"edgeColumns", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.edgeColumns(work.row(8), work.row(8), work.row(9), work.row(10), work.w,
                                     24, work.bits.data());
     }},
    {"edgeWidths", 1,
     [](const RowOperations &form, Work &work) {
       work.value = form.edgeWidths(work.row(9), work.w, work.edges.data());
     }},
    {"strongCrosses", 1,
     [](const RowOperations &form, Work &work) {
       form.strongCrosses(work.row(8), work.row(9), work.w, STRONG, work.bits.data());
     }},
    {"residualDeviations", 8,
     [](const RowOperations &form, Work &work) {
       form.residualDeviations(work.strip.data(), work.blocks, KERNEL, work.deviations.data());
     }},
};

void measure(benchmark::State &state, const Operation &operation, const RowOperations &form,
             std::size_t w) {
  Work work(w), expected(w);
  operation.run(plainRows(), expected);
  operation.run(form, work);
  if (!work.gaveTheSame(expected))
    failOnMismatch(operation.name, form.form);
  for (auto _ : state) {
    operation.run(form, work);
    benchmark::ClobberMemory();
  }
  report(state, operation.rows * w, form.form);
}

void registerAll() {
  const bool one = std::getenv("LUMAGAUGE_TARGET") != nullptr;
  const std::vector<const RowOperations *> forms = one ? std::vector{&rows()} : availableRows();
  for (const Operation &operation : OPERATIONS)
    for (const std::size_t w : WIDTHS)
      for (const RowOperations *form : forms)
        add(std::string(operation.name) + '/' + std::to_string(w) + '/' + form->form,
            [&operation, form, w](benchmark::State &state) {
              measure(state, operation, *form, w);
            });
}

} // namespace
} // namespace lumagauge::bench

int main(int argc, char **argv) {
  return lumagauge::bench::runBenchmarks(argc, argv, lumagauge::bench::registerAll);
}
