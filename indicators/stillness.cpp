// SPDX-License-Identifier: BSD-2-Clause
//
// Stillness: how much of the picture is what it was in the picture before, as shares of its 8x8
// blocks, 0 to 1. `repeated`: the same but for requantisation. `still`: the same but for that and
// noise, so that nothing moved. `stale`, as a share of the 16x16 blocks: repeated although it has
// texture and what is around it moved, as blocks are that a decoder took from the picture before.
// Without a value for a picture without a whole block.
#include "indicators/indicators.h"
#include "tools/rows.h"

#include <numeric>
#include <vector>

namespace lumagauge {

namespace {

/// Of 64 differences: half a level each, which requantisation leaves and fresh noise exceeds.
constexpr std::uint32_t MOST_REQUANTISATION = 64 / 2;
/// Two levels in the mean of a half block: more than a coder's steps of the mean, and five standard
/// deviations of noise of three levels.
constexpr std::uint32_t MOST_SHIFT = 64 * 2;
/// What moves without shifting means, such as water, differs more than noise does.
constexpr std::uint32_t MOST_NOISE = 64 * 6;
/// Mean gradient of a 16x16 block that would be seen to move, in luma levels.
constexpr std::uint32_t LEAST_TEXTURE = 2;
constexpr std::uint64_t SIDE = 16;

bool hasTexture(const Plane &luma, std::uint64_t x, std::uint64_t y) {
  SegmentGradients halves[SIDE / BLOCKSIZE];
  rows().segmentGradients(luma.data + y * luma.w + x, luma.w, SIDE, std::size(halves), halves);
  std::uint32_t sum = 0;
  for (const SegmentGradients &half : halves)
    sum += std::uint32_t{half.along} + half.down;
  return sum >= LEAST_TEXTURE * 2 * SIDE * SIDE;
}

/// What became of the whole 8x8 blocks of a picture.
class Blocks {
public:
  /// Marks in `changed`, unless null, which differ at all.
  Blocks(const Plane &current, const Plane &previous, std::uint8_t *changed)
      : across(current.w / BLOCKSIZE), down(current.h / BLOCKSIZE), repeated(across * down),
        still(across * down) {
    std::vector<BlockChange> changes(across);
    for (std::uint64_t by = 0; by < down; ++by) {
      const std::uint64_t top = by * BLOCKSIZE * current.w, first = by * across;
      rows().blockChanges(current.data + top, previous.data + top, current.w, across,
                          changes.data());
      std::uint8_t *same = repeated.data() + first, *quiet = still.data() + first;
      for (std::uint64_t bx = 0; bx < across; ++bx) {
        const std::uint32_t absolute = changes[bx].absolute, shift = changes[bx].shift;
        same[bx] = absolute <= MOST_REQUANTISATION;
        quiet[bx] = (shift <= MOST_SHIFT) & (absolute <= MOST_NOISE);
      }
      for (std::uint64_t bx = 0; changed != nullptr && bx < across; ++bx)
        changed[first + bx] = changes[bx].absolute != 0;
    }
  }

  double repeatedShare() const { return share(repeated); }
  double stillShare() const { return share(still); }

  /// Whether the four blocks from (bx, by) on are repeated and at least five in six of those around
  /// them moved.
  bool isStale(std::uint64_t bx, std::uint64_t by) const {
    const std::uint64_t corner = by * across + bx;
    if (!(repeated[corner] & repeated[corner + 1] & repeated[corner + across] &
          repeated[corner + across + 1]))
      return false;
    std::uint32_t around = 0, moved = 0;
    for (std::uint64_t y = by == 0 ? 0 : by - 1; y < by + 3 && y < down; ++y)
      for (std::uint64_t x = bx == 0 ? 0 : bx - 1; x < bx + 3 && x < across; ++x) {
        ++around;
        moved += !still[y * across + x];
      }
    around -= 4; // the blocks themselves, which are still
    return around != 0 && 6 * moved >= 5 * around;
  }

  const std::uint64_t across, down;

private:
  static double share(const std::vector<std::uint8_t> &flags) {
    return static_cast<double>(std::accumulate(flags.begin(), flags.end(), std::uint32_t{0})) /
           static_cast<double>(flags.size());
  }

  std::vector<std::uint8_t> repeated, still; ///< 1 where they are, else 0
};

} // namespace

std::optional<Stillness> measureStillness(const Plane &current, const Plane &previous,
                                          std::uint8_t *changed) {
  const Blocks all(current, previous, changed);
  if (all.across == 0 || all.down == 0)
    return std::nullopt;
  std::uint64_t blocks = 0, stale = 0;
  for (std::uint64_t by = 0; by + 1 < all.down; by += 2)
    for (std::uint64_t bx = 0; bx + 1 < all.across; bx += 2) {
      ++blocks;
      stale += all.isStale(bx, by) && hasTexture(current, bx * BLOCKSIZE, by * BLOCKSIZE);
    }
  return Stillness{all.repeatedShare(), all.stillShare(),
                   blocks == 0 ? 0.0 : static_cast<double>(stale) / static_cast<double>(blocks)};
}

} // namespace lumagauge
