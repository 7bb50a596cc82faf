// SPDX-License-Identifier: BSD-2-Clause
//
// Block structure: what 16x16 blocks and their two upper 8x8 segments show. `damage`: the share of
// blocks that look lost, torn from what is around them on three sides at least; `smear`: that of
// blocks that are drawn out sideways or downwards along with their neighbours, as lost slices are
// concealed; `flat`: that of segments without any change, many in drawings and screens; each 0
// to 1. `grain`: standard deviation in luma levels of what covers the quietest segments that are
// not flat. Without values for a picture without a whole block, grain also for one that is flat.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::uint64_t SIDE = 16, SEGMENT = 8; ///< a segment is half a block wide and high

// --- Lost blocks

/// A side is torn when its step exceeds what goes on beside it this many times, and by so many
/// levels more: a few, and twice the excess that the borders of this picture have on average, which
/// is what coarse coding leaves.
constexpr std::uint32_t STEP_RATIO = 2, LEAST_STEP = 4, COMMON_STEPS = 2;
constexpr int TORN_SIDES = 3; ///< at least; the fourth may lie between two lost blocks

// --- Smeared blocks

/// Gradients across the direction of a smear exceed those along it this many times, and are at
/// least a level on average.
constexpr std::uint32_t SMEAR_RATIO = 16, LEAST_GRADIENT = SIDE * SEGMENT;
constexpr std::uint64_t LEAST_RUN = 4; ///< smeared blocks side by side
/// Turns from rising to falling or back between the rows (columns) of a block, by steps of so many
/// levels: a smear's texture has them, shades have none.
constexpr int LEAST_TURNS = 1, LEAST_TURN_STEP = 2;

/// Grain is read from the quietest tenth of the segments, up to 32 levels.
constexpr std::uint64_t QUIET_PART = 10, LARGEST_SUM = 4095;
/// Mean absolute difference of neighbours to standard deviation, for Gaussian noise: sqrt(pi) / 2.
constexpr double DEVIATION = 0.88622692545275801;

/// Step across one side of a block and what is beside it, sums of 16.
struct Side {
  std::uint32_t step = 0, beside = 0;

  std::uint32_t excess() const { return step > beside ? step - beside : 0; }
};

Side sideOf(const BorderSteps &first, const BorderSteps &second) {
  return {std::uint32_t{first.step} + second.step,
          std::max(std::uint32_t{first.before} + second.before,
                   std::uint32_t{first.after} + second.after)};
}

/// Sides and gradients of all whole blocks.
class Blocks {
public:
  explicit Blocks(const Plane &picture)
      : luma(picture), across(luma.w / SIDE), down(luma.h / SIDE), left((across + 1) * down),
        top(across * (down + 1)), gradients(2 * across * down), quiet(LARGEST_SUM + 1) {
    std::vector<BorderSteps> steps(2 * across);
    for (std::uint64_t by = 0; by < down; ++by) {
      const std::uint8_t *row = luma.data + by * SIDE * luma.w;
      rows().segmentGradients(row, luma.w, SEGMENT, 2 * across, &gradients[2 * by * across]);
      // By every other row, which halves the work; so each counts twice.
      rows().columnSteps(row, 2 * luma.w, SIDE / 2, 2 * across - 1, steps.data());
      for (std::uint64_t bx = 1; bx < across; ++bx)
        left[by * (across + 1) + bx] = sideOf(steps[2 * bx - 1], steps[2 * bx - 1]);
      if (by == 0)
        continue;
      rows().rowSteps(row, luma.w, 2 * across, steps.data());
      for (std::uint64_t bx = 0; bx < across; ++bx)
        top[by * across + bx] = sideOf(steps[2 * bx], steps[2 * bx + 1]);
    }
    for (const SegmentGradients &segment : gradients)
      ++quiet[std::min<std::size_t>(std::size_t{segment.along} + segment.down, LARGEST_SUM)];
  }

  double damage() const {
    const std::uint32_t least = SIDE * LEAST_STEP + COMMON_STEPS * commonExcess();
    const std::vector<std::uint8_t> tornLeft = tornOf(left, least), tornTop = tornOf(top, least);
    std::uint32_t lost = 0;
    for (std::uint64_t by = 0; by < down; ++by) {
      const std::uint8_t *beside = &tornLeft[by * (across + 1)], *above = &tornTop[by * across];
      for (std::uint64_t bx = 0; bx < across; ++bx)
        lost += beside[bx] + beside[bx + 1] + above[bx] + above[bx + across] >= TORN_SIDES;
    }
    return share(lost);
  }

  double smear() const {
    std::uint64_t smeared = 0;
    for (std::uint64_t by = 0; by < down; ++by) {
      std::uint64_t sideways = 0, downwards = 0; // lengths of the runs so far
      for (std::uint64_t bx = 0; bx < across; ++bx) {
        smeared += addToRun(isSmeared<true>(bx, by), sideways);
        smeared += addToRun(isSmeared<false>(bx, by), downwards);
      }
    }
    return share(smeared);
  }

  double flatShare() const {
    return static_cast<double>(quiet[0]) / static_cast<double>(gradients.size());
  }

  std::optional<double> grain() const {
    const std::uint64_t notFlat = gradients.size() - quiet[0];
    if (notFlat == 0)
      return std::nullopt;
    std::uint64_t sum = 1, below = quiet[1];
    while (below * QUIET_PART < notFlat)
      below += quiet[++sum];
    constexpr double TERMS = 2 * SEGMENT * (SEGMENT - 1);
    return DEVIATION * static_cast<double>(sum) / TERMS;
  }

private:
  double share(std::uint64_t count) const {
    return static_cast<double>(count) / static_cast<double>(across * down);
  }

  /// Sixteen times the mean excess of a step at the borders between blocks.
  std::uint32_t commonExcess() const {
    std::uint64_t sum = 0;
    for (const std::vector<Side> *sides : {&left, &top})
      for (const Side &side : *sides)
        sum += side.excess();
    const std::uint64_t borders = (across - 1) * down + across * (down - 1);
    return borders == 0 ? 0 : static_cast<std::uint32_t>(sum / borders);
  }

  /// 1 for each side that is torn, exceeding what is beside it by `least` at the least, else 0.
  static std::vector<std::uint8_t> tornOf(const std::vector<Side> &sides, std::uint32_t least) {
    std::vector<std::uint8_t> torn(sides.size());
    for (std::size_t i = 0; i < sides.size(); ++i)
      torn[i] = sides[i].step > STEP_RATIO * sides[i].beside + least;
    return torn;
  }

  template <bool SIDEWAYS> bool isSmeared(std::uint64_t bx, std::uint64_t by) const {
    const SegmentGradients *halves = &gradients[2 * (by * across + bx)];
    const std::uint32_t along = std::uint32_t{halves[0].along} + halves[1].along;
    const std::uint32_t downwards = std::uint32_t{halves[0].down} + halves[1].down;
    const std::uint32_t with = SIDEWAYS ? along : downwards, athwart = SIDEWAYS ? downwards : along;
    if (athwart < LEAST_GRADIENT || SMEAR_RATIO * with > athwart)
      return false;
    const std::uint8_t *block = luma.data + by * SIDE * luma.w + bx * SIDE;
    int turns = 0, direction = 0;
    for (std::uint64_t i = 0; i + 1 < SIDE; ++i) {
      const std::uint8_t *sample = block + i * (SIDEWAYS ? luma.w : 1);
      const int step = sample[SIDEWAYS ? luma.w : 1] - sample[0];
      if (std::abs(step) < LEAST_TURN_STEP)
        continue;
      turns += direction * step < 0;
      direction = step;
    }
    return turns >= LEAST_TURNS;
  }

  /// How many blocks the next one adds to those in runs that are long enough.
  static std::uint64_t addToRun(bool isPart, std::uint64_t &run) {
    run = isPart ? run + 1 : 0;
    return run < LEAST_RUN ? 0 : run == LEAST_RUN ? LEAST_RUN : 1;
  }

  const Plane &luma;
  std::uint64_t across, down;
  std::vector<Side> left, top; ///< of each block and, behind the last, its right or bottom side
  std::vector<SegmentGradients> gradients; ///< of the upper segments of each block
  std::vector<std::uint32_t> quiet;        ///< how many of them have each sum of gradients
};

} // namespace

std::optional<BlockStructure> measureBlockStructure(const Plane &luma) {
  if (luma.w < SIDE || luma.h < SIDE)
    return std::nullopt;
  const Blocks blocks(luma);
  return BlockStructure{blocks.damage(), blocks.smear(), blocks.flatShare(), blocks.grain()};
}

} // namespace lumagauge
