// SPDX-License-Identifier: BSD-2-Clause
//
// The measures of the indicators: pure functions for any thread, free of globals, that throw
// std::bad_alloc when working memory lacks. An empty result means that there is no value.
// What each number means: the head of its source file and docs/indicators.md.
#ifndef LUMAGAUGE_INDICATORS_INDICATORS_H
#define LUMAGAUGE_INDICATORS_INDICATORS_H

#include "lumagauge/lumagauge.h"
#include "tools/plane.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace lumagauge {

struct Moments;

constexpr std::uint32_t BLOCKSIZE = 8;

// measureBlur(luma) and so on for each PICTURE of the list of indicators, and for each PAIR
// measureTemporalActivity(current, previous), of two pictures of one size.
#define LUMAGAUGE_DECLARE_PICTURE(Name) std::optional<double> measure##Name(const Plane &luma);
#define LUMAGAUGE_DECLARE_PAIR(Name)                                                               \
  std::optional<double> measure##Name(const Plane &current, const Plane &previous);
#define LUMAGAUGE_DECLARE_SEQUENCE(Name)     // below, as each remembers something else
#define LUMAGAUGE_DECLARE_PICTURE_PART(Name) // below, with what else its routine gives
#define LUMAGAUGE_DECLARE_PAIR_PART(Name)
#define LUMAGAUGE_DECLARE(CONSTANT, name, field, Name, KIND, ...) LUMAGAUGE_DECLARE_##KIND(Name)
LUMAGAUGE_INDICATORS(LUMAGAUGE_DECLARE)
#undef LUMAGAUGE_DECLARE
#undef LUMAGAUGE_DECLARE_PAIR_PART
#undef LUMAGAUGE_DECLARE_PICTURE_PART
#undef LUMAGAUGE_DECLARE_SEQUENCE
#undef LUMAGAUGE_DECLARE_PAIR
#undef LUMAGAUGE_DECLARE_PICTURE

/// What freezing remembers of one video.
struct FreezingState {
  std::int32_t freezingTemp = 0; ///< still frames in a row so far
};
/// Whether this frame ends a run of still frames that lasts at least a tenth of a second at `fps`.
bool measureFreezing(FreezingState &state, bool blackout, double temporalActivity, double fps);

/// What flickering remembers of one video.
struct FlickeringState {
  std::int32_t frameCount = 0; ///< calls in the current period
};
/// changed[i] = 1 where any sample of the whole 8x8 block i differs between two pictures of one
/// size, else 0; floor(w / 8) * floor(h / 8) blocks. The costly step of flickering, free of state.
void findChangedBlocks(const Plane &current, const Plane &previous, std::uint8_t *changed);
/// The cheap step, to be called in the order of the frames: the flickering of the period that this
/// call ends, empty when it ends none. `counts` and `states` have a sample a block, zero at first,
/// and are kept by the caller from call to call, as `changed` is not.
std::optional<double> measureFlickering(FlickeringState &state, const std::uint8_t *changed,
                                        Image *counts, Image *states);

/// What stale rows remember of one video: sums of blocks of the latest pictures, the last one
/// first.
struct StaleRowsState {
  std::deque<std::vector<std::int16_t>> earlier;
};
/// Sums of the upper 8x8 blocks of each whole row of 16x16 blocks, floor(w / 8) a row. The costly
/// step of stale rows, free of state.
void sumRowBlocks(const Plane &luma, std::vector<std::int16_t> &sums);
/// The step to be called in the order of the frames, with these sums, `across` a row.
std::optional<double> measureStaleRows(StaleRowsState &state, const std::vector<std::int16_t> &sums,
                                       std::uint64_t across, bool hasPrevious);

/// Widths of the black bars in samples, 0 where the picture reaches its edge, empty where it is too
/// dark to tell.
struct Bars {
  std::optional<double> top, bottom, left, right;
};
Bars measureBars(const Plane &luma);

/// The levels of black and white.
struct LumaRange {
  std::uint8_t black, white;
};
/// What the samples give one by one, wherever they lie; `contrast` is that of measureContrast.
struct Levels {
  double contrast, brightness;
  double clippedLow, clippedHigh; ///< shares of the samples at or beyond the ends of the range
};
Levels measureLevels(const Plane &luma, LumaRange range);
/// Contrast from the moments of all samples.
double contrastOf(const Moments &moments, std::uint64_t samples);

/// What 16x16 blocks show; empty for a picture without one.
struct BlockStructure {
  double damage, smear, flat;
  std::optional<double> grain; ///< empty for a flat picture
};
std::optional<BlockStructure> measureBlockStructure(const Plane &luma);

/// Shares of blocks that are as they were in the picture before, of the same size; empty for
/// pictures without a whole 8x8 block.
struct Stillness {
  double repeated, still, stale;
};
/// `changed`, unless null, is filled as by findChangedBlocks, whose work is done on the way.
std::optional<Stillness> measureStillness(const Plane &current, const Plane &previous,
                                          std::uint8_t *changed = nullptr);

/// Map blockiness and blur to opinion scores; lumagauge.h says what these are worth.
double blockToMOS(double blockiness);
double blurToMOS(double blur);

} // namespace lumagauge

#endif
