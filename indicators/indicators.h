// SPDX-License-Identifier: BSD-2-Clause
//
// The fifteen indicators. Each has a pure measure (any thread, no globals; throws std::bad_alloc
// when working memory lacks) and, for the `lumagauge` command, a routine named after its source
// file that stores the measure's value for the frame. What each number means: the head of its
// source file and docs/indicators.md.
#ifndef LUMAGAUGE_INDICATORS_INDICATORS_H
#define LUMAGAUGE_INDICATORS_INDICATORS_H

#include "tools/definitions.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace lumagauge {

constexpr std::uint32_t BLOCKSIZE = 8;

// --- Measures of one picture

double measureBlockiness(const Image *luma);
double measureSpatialActivity(const Image *luma);
double measureLetterbox(const Image *luma);
double measurePillarbox(const Image *luma);
double measureBlockLoss(const Image *luma);
double measureBlur(const Image *luma);
double measureExposure(const Image *luma);
double measureInterlace(const Image *luma);
/// Without a value where no noise level is found; the report shows 0.0 there.
std::optional<double> measureNoise(const Image *luma);
/// Without a value for pictures of 47 rows or fewer or 16 columns or fewer.
std::optional<double> measureSlice(const Image *luma);
bool measureBlackout(const Image *luma);
double measureContrast(const Image *luma);

// --- Measures of a picture and the one before it, of the same size

double temporalActivity(const Image *current, const Image *previous);

/// What freezing remembers of one video.
struct FreezingState {
  std::int32_t freezingTemp = 0; ///< still frames in a row so far
};
/// Whether this frame ends a run of still frames that lasts at least a tenth of a second at `fps`.
bool measureFreezing(FreezingState &state, std::uint8_t blackout, double temporalActivity,
                     double fps);

/// What flickering remembers of one video.
struct FlickeringState {
  std::int32_t frameCount = 0; ///< calls in the current period
};
/// changed(bx, by) = 1 where any sample of that whole 8x8 block differs between the pictures, else
/// 0. `changed` is floor(w / 8) x floor(h / 8). The costly step of flickering, and free of state.
void findChangedBlocks(const Image *current, const Image *previous, Image *changed);
/// The cheap step, to be called in the order of the frames: the flickering of the period that this
/// call ends, -1.0 when it ends none. `counts` and `states` are pictures of the size of `changed`,
/// zero at first, that the caller keeps from call to call.
double measureFlickering(FlickeringState &state, const Image *changed, Image *counts,
                         Image *states);

// --- The `lumagauge` command's record of a frame and its routines

/// Each field has one writer, the routine of its name (contrast: contrastRMS). Never cleared.
struct FrameResults {
  double blockiness;
  double spatialActivity;
  double letterbox;
  double pillarbox;
  double blockLoss;
  double blur;
  double exposure;
  double interlace;
  double noise;
  double slice;
  double contrast;
  std::uint8_t blackout;
};
extern FrameResults Results;

/// Set by a routine whose measure lacked memory; its field then keeps its value.
extern std::atomic<bool> indicatorLackedMemory;

// Thread start routines: `luma` points to the frame's Image; the result is null unless stated.
void *blockiness(void *luma);
void *spatialActivity(void *luma);
void *letterbox(void *luma);
void *pillarbox(void *luma);
void *blockLoss(void *luma);
void *blur(void *luma);
void *exposure(void *luma);
void *interlace(void *luma);
void *noise(void *luma); ///< result: 0 for a measured value, -1 when 0.0 was stored instead
void *slice(void *luma);
void *blackout(void *luma);
void *contrastRMS(void *luma);

// Calls on the main thread, over the one state that the process keeps for each.
bool freezing(std::uint8_t blackout, double temporalActivity, double fps);
double flickering(const Image *current, const Image *previous, Image *flickerCounts,
                  Image *flickerStates);

// --- Parts of single indicators that are of use alone

/// Maps blockiness and blur to opinion scores; see their files.
double blockToMOS(double blockiness);
double blurToMOS(double blur);
/// Smallest and largest of `size` values; asserts that there is one.
void minmax(const std::int32_t *values, std::uint64_t size, std::int32_t *min, std::int32_t *max);
/// Whether rows `row` and h - 1 - `row` are each uniform; whether `column` equals its right
/// neighbour.
bool checkLetterBar(const std::uint8_t *data, std::uint32_t w, std::uint32_t h, std::uint32_t row);
bool checkPillarBar(const std::uint8_t *data, std::uint32_t w, std::uint32_t h,
                    std::uint32_t column);
/// Adds each block's mean absolute difference to `differences` and updates its state and switch
/// count.
void calculateFlickering(const Image *current, const Image *previous, Image *counts, Image *states,
                         ImageDouble *differences, std::uint32_t side, double threshold);
/// Orders for qsort: bytes descending; doubles ascending (an unordered pair counts as equal).
int compareElements(const void *a, const void *b);
int compare_Double_asc(const void *a, const void *b);
int compare(const void *a, const void *b);

} // namespace lumagauge

#endif
