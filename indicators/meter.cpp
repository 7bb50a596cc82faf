// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/meter.h"

#include <algorithm>

namespace lumagauge {

namespace {

constexpr std::uint32_t BLACKOUT_BIT = LUMAGAUGE_BIT(LUMAGAUGE_BLACKOUT),
                        TEMPORAL_ACTIVITY_BIT = LUMAGAUGE_BIT(LUMAGAUGE_TEMPORAL_ACTIVITY),
                        FREEZING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FREEZING),
                        FLICKERING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FLICKERING);

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
#define LUMAGAUGE_MEASURE(CONSTANT, name, field, Name, KIND, ...) LUMAGAUGE_MEASURE_##KIND(Name),
constexpr std::array<Measure, LUMAGAUGE_INDICATOR_COUNT> MEASURES{
    {LUMAGAUGE_INDICATORS(LUMAGAUGE_MEASURE)}};

/// With what those of the mask are made from.
std::uint32_t withSources(std::uint32_t requested) {
  return (requested & FREEZING_BIT) != 0 ? requested | BLACKOUT_BIT | TEMPORAL_ACTIVITY_BIT
                                         : requested;
}

} // namespace

void measureFrame(const Plane &luma, const Plane *previous, std::uint32_t requested,
                  FrameMeasures &measures) {
  const std::uint32_t needed = withSources(requested);
  measures.hasPrevious = previous != nullptr;
  for (std::size_t i = 0; i < MEASURES.size(); ++i) {
    std::optional<double> &value = measures.values[i];
    value.reset();
    if ((needed & LUMAGAUGE_BIT(i)) == 0)
      continue;
    if (MEASURES[i].ofPicture != nullptr)
      value = MEASURES[i].ofPicture(luma);
    else if (MEASURES[i].ofPair != nullptr && previous != nullptr)
      value = MEASURES[i].ofPair(luma, *previous);
  }
  if (previous != nullptr && (needed & FLICKERING_BIT) != 0) {
    measures.changedBlocks.resize(luma.w / BLOCKSIZE * (luma.h / BLOCKSIZE));
    findChangedBlocks(luma, *previous, measures.changedBlocks.data());
  }
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
  for (std::size_t i = 0; i < values.size(); ++i)
    if ((requested & LUMAGAUGE_BIT(i)) == 0)
      values[i].reset();
  return values;
}

} // namespace lumagauge
