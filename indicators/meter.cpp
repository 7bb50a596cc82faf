// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/meter.h"

#include <algorithm>

namespace lumagauge {

namespace {

constexpr std::uint32_t BLACKOUT_BIT = LUMAGAUGE_BIT(LUMAGAUGE_BLACKOUT),
                        TEMPORAL_ACTIVITY_BIT = LUMAGAUGE_BIT(LUMAGAUGE_TEMPORAL_ACTIVITY),
                        FREEZING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FREEZING),
                        FLICKERING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FLICKERING),
                        STALE_ROWS_BIT = LUMAGAUGE_BIT(LUMAGAUGE_STALE_ROWS);
constexpr std::uint32_t BAR_BITS =
                            LUMAGAUGE_BIT(LUMAGAUGE_BAR_TOP) | LUMAGAUGE_BIT(LUMAGAUGE_BAR_BOTTOM) |
                            LUMAGAUGE_BIT(LUMAGAUGE_BAR_LEFT) | LUMAGAUGE_BIT(LUMAGAUGE_BAR_RIGHT),
                        CONTRAST_BIT = LUMAGAUGE_BIT(LUMAGAUGE_CONTRAST),
                        LEVEL_BITS = LUMAGAUGE_BIT(LUMAGAUGE_CLIPPED_LOW) |
                                     LUMAGAUGE_BIT(LUMAGAUGE_CLIPPED_HIGH) |
                                     LUMAGAUGE_BIT(LUMAGAUGE_BRIGHTNESS),
                        BLOCK_BITS = LUMAGAUGE_BIT(LUMAGAUGE_BLOCK_DAMAGE) |
                                     LUMAGAUGE_BIT(LUMAGAUGE_SMEAR_SHARE) |
                                     LUMAGAUGE_BIT(LUMAGAUGE_FLAT_SHARE) |
                                     LUMAGAUGE_BIT(LUMAGAUGE_GRAIN),
                        STILLNESS_BITS = LUMAGAUGE_BIT(LUMAGAUGE_REPEAT_SHARE) |
                                         LUMAGAUGE_BIT(LUMAGAUGE_STILL_SHARE) |
                                         LUMAGAUGE_BIT(LUMAGAUGE_STALE_SHARE);

/// An indicator as the list has it: one of the two measures, or none for what wants all frames.
struct Measure {
  std::optional<double> (*ofPicture)(const Plane &luma) = nullptr;
  std::optional<double> (*ofPair)(const Plane &current, const Plane &previous) = nullptr;
  bool needsPrevious = false;
};

#define LUMAGAUGE_MEASURE_PICTURE(Name)                                                            \
  { .ofPicture = measure##Name }
#define LUMAGAUGE_MEASURE_PAIR(Name)                                                               \
  { .ofPair = measure##Name, .needsPrevious = true }
#define LUMAGAUGE_MEASURE_SEQUENCE(Name)                                                           \
  { .needsPrevious = true }
#define LUMAGAUGE_MEASURE_PICTURE_PART(Name)                                                       \
  {}
#define LUMAGAUGE_MEASURE_PAIR_PART(Name)                                                          \
  { .needsPrevious = true }
#define LUMAGAUGE_MEASURE(CONSTANT, name, field, Name, KIND, ...) LUMAGAUGE_MEASURE_##KIND(Name),
constexpr std::array<Measure, LUMAGAUGE_INDICATOR_COUNT> MEASURES{
    {LUMAGAUGE_INDICATORS(LUMAGAUGE_MEASURE)}};

/// With what those of the mask are made from.
std::uint32_t withSources(std::uint32_t requested) {
  return (requested & FREEZING_BIT) != 0 ? requested | BLACKOUT_BIT | TEMPORAL_ACTIVITY_BIT
                                         : requested;
}

/// The indicators that come several at once, where one of them is needed.
void measureParts(const Plane &luma, const Plane *previous, std::uint32_t needed, LumaRange range,
                  FrameMeasures &measures) {
  FrameValues &values = measures.values;
  if ((needed & BAR_BITS) != 0) {
    const Bars bars = measureBars(luma);
    values[LUMAGAUGE_BAR_TOP] = bars.top;
    values[LUMAGAUGE_BAR_BOTTOM] = bars.bottom;
    values[LUMAGAUGE_BAR_LEFT] = bars.left;
    values[LUMAGAUGE_BAR_RIGHT] = bars.right;
  }
  if ((needed & LEVEL_BITS) != 0) {
    const Levels levels = measureLevels(luma, range);
    values[LUMAGAUGE_CONTRAST] = levels.contrast;
    values[LUMAGAUGE_BRIGHTNESS] = levels.brightness;
    values[LUMAGAUGE_CLIPPED_LOW] = levels.clippedLow;
    values[LUMAGAUGE_CLIPPED_HIGH] = levels.clippedHigh;
  }
  if ((needed & BLOCK_BITS) != 0)
    if (const std::optional<BlockStructure> blocks = measureBlockStructure(luma)) {
      values[LUMAGAUGE_BLOCK_DAMAGE] = blocks->damage;
      values[LUMAGAUGE_SMEAR_SHARE] = blocks->smear;
      values[LUMAGAUGE_FLAT_SHARE] = blocks->flat;
      values[LUMAGAUGE_GRAIN] = blocks->grain;
    }
  if (previous == nullptr)
    return;
  const bool needChanged = (needed & FLICKERING_BIT) != 0;
  if (needChanged)
    measures.changedBlocks.resize(luma.w / BLOCKSIZE * (luma.h / BLOCKSIZE));
  std::uint8_t *changed = needChanged ? measures.changedBlocks.data() : nullptr;
  if ((needed & STILLNESS_BITS) != 0) {
    if (const std::optional<Stillness> stillness = measureStillness(luma, *previous, changed)) {
      values[LUMAGAUGE_REPEAT_SHARE] = stillness->repeated;
      values[LUMAGAUGE_STILL_SHARE] = stillness->still;
      values[LUMAGAUGE_STALE_SHARE] = stillness->stale;
    }
  } else if (needChanged) {
    findChangedBlocks(luma, *previous, changed);
  }
}

} // namespace

void measureFrame(const Plane &luma, const Plane *previous, std::uint32_t requested,
                  LumaRange range, FrameMeasures &measures) {
  const std::uint32_t needed = withSources(requested);
  // Contrast comes along with the levels.
  const std::uint32_t single = (needed & LEVEL_BITS) != 0 ? needed & ~CONTRAST_BIT : needed;
  measures.hasPrevious = previous != nullptr;
  for (std::size_t i = 0; i < MEASURES.size(); ++i) {
    std::optional<double> &value = measures.values[i];
    value.reset();
    if ((single & LUMAGAUGE_BIT(i)) == 0)
      continue;
    if (MEASURES[i].ofPicture != nullptr)
      value = MEASURES[i].ofPicture(luma);
    else if (MEASURES[i].ofPair != nullptr && previous != nullptr)
      value = MEASURES[i].ofPair(luma, *previous);
  }
  measureParts(luma, previous, needed, range, measures);
  if ((needed & STALE_ROWS_BIT) != 0)
    sumRowBlocks(luma, measures.rowBlocks);
}

bool needPrevious(std::uint32_t requested) {
  for (std::size_t i = 0; i < MEASURES.size(); ++i)
    if ((requested & LUMAGAUGE_BIT(i)) != 0 && MEASURES[i].needsPrevious)
      return true;
  return false;
}

FrameSequence::FrameSequence(std::uint64_t width, std::uint64_t height, double frameRate,
                             std::uint32_t requestedMask)
    : blocksAcross(width / BLOCKSIZE), blocksDown(height / BLOCKSIZE), rate(frameRate),
      requested(requestedMask), flickerCounts(blocksAcross * blocksDown),
      flickerStates(flickerCounts.size()) {}

FrameValues FrameSequence::complete(const FrameMeasures &measures) {
  FrameValues values = measures.values;
  if (measures.hasPrevious && (requested & FREEZING_BIT) != 0)
    values[LUMAGAUGE_FREEZING] = measureFreezing(freezing, *values[LUMAGAUGE_BLACKOUT] != 0.0,
                                                 *values[LUMAGAUGE_TEMPORAL_ACTIVITY], rate);
  if (measures.hasPrevious && (requested & FLICKERING_BIT) != 0) {
    Image counts = makeImage(blocksAcross, blocksDown, flickerCounts.data());
    Image states = makeImage(blocksAcross, blocksDown, flickerStates.data());
    values[LUMAGAUGE_FLICKERING] =
        measureFlickering(flickering, measures.changedBlocks.data(), &counts, &states);
  }
  if ((requested & STALE_ROWS_BIT) != 0)
    values[LUMAGAUGE_STALE_ROWS] =
        measureStaleRows(staleRows, measures.rowBlocks, blocksAcross, measures.hasPrevious);
  for (std::size_t i = 0; i < values.size(); ++i)
    if ((requested & LUMAGAUGE_BIT(i)) == 0)
      values[i].reset();
  return values;
}

} // namespace lumagauge
