// SPDX-License-Identifier: BSD-2-Clause
#include "qc/measure/measure.h"

#include <algorithm>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::uint32_t bit(Indicator indicator) {
  return 1U << static_cast<unsigned>(indicator);
}

/// Below this in either direction block loss has no region to look at.
constexpr std::uint32_t BLOCK_LOSS_REGION = 256;

/// Of a picture of blocks. The toolkit takes pictures without samples, but not null for their data.
std::size_t bufferSize(std::uint64_t across, std::uint64_t down) {
  return std::max<std::size_t>(1, across * down);
}

Image imageOf(const LumaPicture &picture, std::uint32_t width, std::uint32_t height) {
  // The toolkit's records have no form for reading only; measures do not write.
  return makeImage(width, height, const_cast<std::uint8_t *>(picture.samples.data()));
}

void measureSpatial(const Image &luma, std::uint32_t requested, FrameMeasures &measures) {
  const auto set = [&](Indicator indicator, auto measure) {
    if ((requested & bit(indicator)) != 0)
      measures.record[indicator] = measure(&luma);
  };
  set(Indicator::blockiness, measureBlockiness);
  set(Indicator::spatialActivity, measureSpatialActivity);
  set(Indicator::letterbox, measureLetterbox);
  set(Indicator::pillarbox, measurePillarbox);
  if (luma.w >= BLOCK_LOSS_REGION && luma.h >= BLOCK_LOSS_REGION)
    set(Indicator::blockLoss, measureBlockLoss);
  set(Indicator::blur, measureBlur);
  set(Indicator::exposure, measureExposure);
  set(Indicator::contrast, measureContrast);
  set(Indicator::interlace, measureInterlace);
  set(Indicator::noise, measureNoise);
  set(Indicator::slice, measureSlice);
  if ((requested & (bit(Indicator::blackout) | bit(Indicator::freezing))) != 0)
    measures.blackout = measureBlackout(&luma);
  if ((requested & bit(Indicator::blackout)) != 0)
    measures.record[Indicator::blackout] = *measures.blackout;
}

void measurePair(const Image &luma, const Image &before, std::uint32_t requested,
                 FrameMeasures &measures) {
  if ((requested & (bit(Indicator::temporalActivity) | bit(Indicator::freezing))) != 0)
    measures.temporalActivity = temporalActivity(&luma, &before);
  if ((requested & bit(Indicator::temporalActivity)) != 0)
    measures.record[Indicator::temporalActivity] = measures.temporalActivity;
  if ((requested & bit(Indicator::flickering)) != 0) {
    measures.changedBlocks.resize(bufferSize(luma.w / BLOCKSIZE, luma.h / BLOCKSIZE));
    Image changed =
        makeImage(luma.w / BLOCKSIZE, luma.h / BLOCKSIZE, measures.changedBlocks.data());
    findChangedBlocks(&luma, &before, &changed);
  }
}

} // namespace

FrameMeasures measureFrame(const LumaPicture &picture, const LumaPicture *previous,
                           std::uint32_t width, std::uint32_t height, std::uint32_t requested) {
  FrameMeasures measures;
  measures.record.frame = picture.frame;
  measures.record.time = picture.time;
  measures.record.pictureType = picture.pictureType;
  const Image luma = imageOf(picture, width, height);
  measureSpatial(luma, requested, measures);
  if (previous != nullptr)
    measurePair(luma, imageOf(*previous, width, height), requested, measures);
  measures.hasPrevious = previous != nullptr;
  return measures;
}

TemporalCounters::TemporalCounters(std::uint32_t width, std::uint32_t height, double frameRate,
                                   std::uint32_t requestedMask)
    : blocksAcross(width / BLOCKSIZE), blocksDown(height / BLOCKSIZE), requested(requestedMask),
      rate(frameRate), flickerCounts(bufferSize(blocksAcross, blocksDown)),
      flickerStates(flickerCounts.size()) {}

FrameRecord TemporalCounters::complete(FrameMeasures &&measures) {
  FrameRecord record = std::move(measures.record);
  if (!measures.hasPrevious)
    return record;
  if ((requested & bit(Indicator::freezing)) != 0)
    record[Indicator::freezing] = measureFreezing(freezing, measures.blackout.value_or(false),
                                                  measures.temporalActivity.value_or(0.0), rate);
  if ((requested & bit(Indicator::flickering)) != 0) {
    const Image changed = makeImage(blocksAcross, blocksDown, measures.changedBlocks.data());
    Image counts = makeImage(blocksAcross, blocksDown, flickerCounts.data());
    Image states = makeImage(blocksAcross, blocksDown, flickerStates.data());
    const std::int32_t callsBefore = flickering.frameCount;
    const double value = measureFlickering(flickering, &changed, &counts, &states);
    if (flickering.frameCount <= callsBefore) // this call ended a period
      record[Indicator::flickering] = value;
  }
  return record;
}

} // namespace lumagauge::qc
