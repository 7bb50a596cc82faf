// SPDX-License-Identifier: BSD-2-Clause
//
// From a decoded frame to a small picture as the video is meant to be shown: its colour matrix and
// range, the turn and the shape of samples that the stream states, HDR by a plain tone curve.
#ifndef LUMAGAUGE_QC_PICTURES_THUMBNAIL_H
#define LUMAGAUGE_QC_PICTURES_THUMBNAIL_H

#include "qc/pictures/report_pictures.h"
#include "qc/source/libav_pointers.h"

struct SwsContext;

namespace lumagauge::qc {

/// Samples of 8 bits, red, green and blue, row after row without gaps, for sRGB displays.
struct RgbPicture {
  int width = 0, height = 0;
  std::vector<std::uint8_t> samples;
};

/// What whoever sees the pictures must know of how such frames are shown; mostly empty.
std::string displayNote(const AVFrame &frame);

/// Scales by libswscale, keeping what it set up for pictures alike.
class Scaler {
public:
  Scaler() = default;
  ~Scaler();
  Scaler(const Scaler &) = delete;
  Scaler &operator=(const Scaler &) = delete;

  /// The frame as shown, at most `longestSide` wide and high, never larger than it is. Throws
  /// InputError where there is no way, and std::bad_alloc.
  RgbPicture show(const AVFrame &frame, int longestSide);

private:
  /// What libswscale is set up for; its own cache takes contexts alike for different ones.
  struct Setup {
    int width, height, format, toWidth, toHeight, toFormat, matrix;
    bool isFullRange;
    bool operator==(const Setup &) const = default;
  };
  SwsContext *contextFor(const Setup &wanted);

  SwsContext *context = nullptr;
  Setup setup{};
};

/// Such a picture made to fit into others' size.
RgbPicture resized(const RgbPicture &picture, int width, int height);

/// JPEG, 4:2:0; `quality` from 2, the best, to 31. Throws std::bad_alloc.
std::string jpegOf(const RgbPicture &picture, int quality);

constexpr int STRIP_SIDE = 160, EVENT_SIDE = 480;
Thumbnail thumbnailOf(const RgbPicture &picture, std::int64_t frame, double time);

/// Up to eight of the pictures, evenly chosen, side by side in tiny; empty where there are none.
std::string spriteOf(const std::vector<RgbPicture> &pictures);

} // namespace lumagauge::qc

#endif
