// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/undecoded_blocks.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <new>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr int BLOCK = 16, MARK = 8; ///< samples a side, in a row
/// More than any decoder has at work; the oldest are passed over.
constexpr std::size_t MOST_MARKED = 64;

/// Eight values of `depth` bits, other ones for each tag: what is copied from an earlier picture is
/// no mark of this one.
template <class Sample> std::array<Sample, MARK> pattern(std::int64_t tag, int depth) {
  std::array<Sample, MARK> samples;
  auto state = static_cast<std::uint64_t>(tag) + 1;
  for (Sample &sample : samples) {
    state = state * 0x5851f42d4c957f2d + 0x14057b7ef767814f;
    sample = static_cast<Sample>(state >> (64 - depth));
  }
  return samples;
}

const AVPixFmtDescriptor *descriptorOf(const AVFrame &picture) {
  return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
}

bool canBeMarked(const AVFrame &picture) {
  constexpr std::uint64_t OTHER_LAYOUTS = AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_PAL |
                                          AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL |
                                          AV_PIX_FMT_FLAG_FLOAT;
  const AVPixFmtDescriptor *known = descriptorOf(picture);
  return known != nullptr && (known->flags & OTHER_LAYOUTS) == 0 && picture.width >= MARK &&
         picture.height >= MARK && known->comp[0].shift == 0 &&
         known->comp[0].step == (known->comp[0].depth > 8 ? 2 : 1);
}

/// Calls `visit(mark, x, y)` for each block from (x, y) on, with its mark's first sample.
template <class Sample, class Visit> void forEachBlock(const AVFrame &picture, Visit &&visit) {
  for (int y = 0; y < picture.height; y += BLOCK) {
    const int row = std::min(y + BLOCK / 2, picture.height - MARK / 2);
    auto *const samples =
        reinterpret_cast<Sample *>(picture.data[0] + std::ptrdiff_t{row} * picture.linesize[0]);
    for (int x = 0; x < picture.width; x += BLOCK)
      visit(samples + std::min(x + MARK / 2, picture.width - MARK), x, y);
  }
}

template <class Sample> void blank(const AVFrame &picture, int x, int y) {
  const AVPixFmtDescriptor &format = *descriptorOf(picture);
  for (int plane = 0; plane < av_pix_fmt_count_planes(static_cast<AVPixelFormat>(picture.format));
       ++plane) {
    const int across = plane == 0 ? 0 : format.log2_chroma_w;
    const int down = plane == 0 ? 0 : format.log2_chroma_h;
    const int width = std::min(BLOCK, picture.width - x) >> across;
    const int height = std::min(BLOCK, picture.height - y) >> down;
    for (int row = 0; row < height; ++row)
      std::fill_n(
          reinterpret_cast<Sample *>(picture.data[plane] +
                                     std::ptrdiff_t{(y >> down) + row} * picture.linesize[plane]) +
              (x >> across),
          width, static_cast<Sample>(1 << (format.comp[0].depth - 1)));
  }
}

template <class Sample> void markBlocks(const AVFrame &picture) {
  const auto samples =
      pattern<Sample>(picture.reordered_opaque, descriptorOf(picture)->comp[0].depth);
  forEachBlock<Sample>(
      picture, [&](Sample *mark, int, int) { std::copy(samples.begin(), samples.end(), mark); });
}

/// The share of blocks that were not decoded, and makes them grey.
template <class Sample> double blankBlocks(const AVFrame &picture) {
  const auto samples =
      pattern<Sample>(picture.reordered_opaque, descriptorOf(picture)->comp[0].depth);
  int blocks = 0, undecoded = 0;
  forEachBlock<Sample>(picture, [&](const Sample *mark, int x, int y) {
    ++blocks;
    if (!std::equal(samples.begin(), samples.end(), mark))
      return;
    ++undecoded;
    blank<Sample>(picture, x, y);
  });
  return static_cast<double>(undecoded) / blocks;
}

bool isDeep(const AVFrame &picture) {
  return descriptorOf(picture)->comp[0].depth > 8;
}

} // namespace

bool UndecodedBlocks::mark(const AVFrame &picture) noexcept try {
  if (!canBeMarked(picture))
    return true;
  FramePointer kept(av_frame_alloc());
  if (!kept)
    return false;
  kept->format = picture.format;
  kept->width = picture.width;
  kept->height = picture.height;
  kept->reordered_opaque = picture.reordered_opaque;
  std::copy_n(picture.data, AV_NUM_DATA_POINTERS, kept->data);
  std::copy_n(picture.linesize, AV_NUM_DATA_POINTERS, kept->linesize);
  for (int i = 0; i < AV_NUM_DATA_POINTERS && picture.buf[i] != nullptr; ++i)
    if ((kept->buf[i] = av_buffer_ref(picture.buf[i])) == nullptr)
      return false;
  isDeep(*kept) ? markBlocks<std::uint16_t>(*kept) : markBlocks<std::uint8_t>(*kept);
  const std::lock_guard lock(mutex);
  if (marked.size() == MOST_MARKED)
    marked.pop_front();
  marked.push_back(std::move(kept));
  return true;
} catch (const std::bad_alloc &) {
  return false;
}

std::vector<UndecodedBlocks::Finding> UndecodedBlocks::take(std::int64_t tag) {
  std::vector<FramePointer> due;
  {
    const std::lock_guard lock(mutex);
    const auto isDue = [&](const FramePointer &kept) { return kept->reordered_opaque <= tag; };
    const auto first = std::stable_partition(marked.begin(), marked.end(), std::not_fn(isDue));
    std::move(first, marked.end(), std::back_inserter(due));
    marked.erase(first, marked.end());
  }
  std::vector<Finding> findings;
  for (const FramePointer &picture : due)
    if (const double share = isDeep(*picture) ? blankBlocks<std::uint16_t>(*picture)
                                              : blankBlocks<std::uint8_t>(*picture);
        share > 0)
      findings.push_back({picture->reordered_opaque, share});
  return findings;
}

} // namespace lumagauge::qc
