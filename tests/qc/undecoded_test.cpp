// SPDX-License-Identifier: BSD-2-Clause
//
// Parts of pictures that no decoder wrote into.
#include "qc/source/undecoded_blocks.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace lumagauge::qc {
namespace {

FramePointer picture(AVPixelFormat format, int width, int height, std::int64_t tag) {
  FramePointer made(av_frame_alloc());
  made->format = format;
  made->width = width;
  made->height = height;
  made->reordered_opaque = tag;
  EXPECT_EQ(av_frame_get_buffer(made.get(), 0), 0);
  return made;
}

TEST(UndecodedBlocksTest, AreFoundAndMadeGrey) {
  const struct {
    AVPixelFormat format;
    int width, height, decodedRows;
    double share;
    int grey;
  } cases[] = {{AV_PIX_FMT_YUV420P, 64, 64, 64, 0, 128},
               {AV_PIX_FMT_YUV420P, 64, 64, 52, 0.25, 128}, // filters reach 4 rows further
               {AV_PIX_FMT_GRAY8, 40, 24, 16, 0.5, 128},    // blocks of half the size at the edges
               {AV_PIX_FMT_YUV422P10LE, 64, 64, 16, 0.75, 512},
               {AV_PIX_FMT_YUV420P, 8, 8, 0, 1, 128},
               {AV_PIX_FMT_RGB24, 64, 64, 0, 0, 0}}; // no decoder that needs it gives such pictures
  for (const auto &[format, width, height, decodedRows, share, grey] : cases) {
    SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + ' ' + std::to_string(decodedRows));
    UndecodedBlocks blocks;
    const FramePointer earlier = picture(format, width, height, 6),
                       made = picture(format, width, height, 7);
    ASSERT_TRUE(blocks.mark(*earlier) && blocks.mark(*made));
    const std::ptrdiff_t bytes = made->linesize[0];
    for (int row = 0; row < decodedRows; ++row) // with what the earlier one has, marks included
      std::copy_n(earlier->data[0] + bytes * row, bytes, made->data[0] + bytes * row);
    EXPECT_LE(blocks.take(6).size(), 1U); // the earlier one
    const auto found = blocks.take(7);
    ASSERT_EQ(found.size(), share > 0 ? 1U : 0U);
    if (share == 0)
      continue;
    EXPECT_EQ(found[0].tag, 7);
    EXPECT_DOUBLE_EQ(found[0].share, share);
    const std::uint8_t *const last = made->data[0] + bytes * (height - 1);
    EXPECT_EQ(grey > 255 ? last[0] + 256 * last[1] : last[0], grey);
  }
}

} // namespace
} // namespace lumagauge::qc
