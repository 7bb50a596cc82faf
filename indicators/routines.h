// SPDX-License-Identifier: BSD-2-Clause
//
// What the `lumagauge` command makes of the measures: its record of a frame, a routine an indicator
// that fills in one field, named after its source file, and parts of single indicators.
#ifndef LUMAGAUGE_INDICATORS_ROUTINES_H
#define LUMAGAUGE_INDICATORS_ROUTINES_H

#include "indicators/indicators.h"

#include <atomic>
#include <new>

namespace lumagauge {

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
inline FrameResults Results{};

/// Set by a routine whose measure lacked memory; its field then keeps its value.
inline std::atomic<bool> indicatorLackedMemory{false};

// --- Routines

// Thread start routines: `luma` points to the frame's Image; the result is null unless stated.
void *blockiness(void *luma);
void *spatialActivity(void *luma);
void *letterbox(void *luma);
void *pillarbox(void *luma);
void *blockLoss(void *luma); ///< stores -1.0 where there is no value
void *blur(void *luma);
void *exposure(void *luma);
void *interlace(void *luma);
void *noise(void *luma); ///< stores 0.0 where there is no value; its result is -1 then, else 0
void *slice(void *luma); ///< leaves its field alone where there is no value
void *blackout(void *luma);
void *contrastRMS(void *luma);

// Calls on the main thread, the last two over the one state that the process keeps for each.
double temporalActivity(const Image *current, const Image *previous);
bool freezing(std::uint8_t blackout, double temporalActivity, double fps);
/// -1.0 where there is no value.
double flickering(const Image *current, const Image *previous, Image *flickerCounts,
                  Image *flickerStates);

/// The body of a routine: measures the picture at `luma` and stores the value. Where there is none
/// it stores `whenEmpty`, if anything, and returns false. No exception leaves a thread: lack of
/// memory is flagged for the driver.
template <class Field>
bool storeMeasure(void *luma, std::optional<double> (*measure)(const Plane &),
                  Field FrameResults::*field, std::optional<double> whenEmpty = std::nullopt) {
  try {
    const std::optional<double> value = measure(*static_cast<const Image *>(luma));
    if (value || whenEmpty)
      Results.*field = static_cast<Field>(value ? *value : *whenEmpty);
    return value.has_value();
  } catch (const std::bad_alloc &) {
    indicatorLackedMemory = true;
    return false;
  }
}

// --- Parts of single indicators that are of use alone

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
