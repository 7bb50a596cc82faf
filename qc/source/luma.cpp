// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/luma.h"

#include "qc/source/source.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace lumagauge::qc {

namespace {

/// Bytes, of what libswscale writes.
constexpr int ROW_ALIGNMENT = 64;

const AVPixFmtDescriptor &descriptor(AVPixelFormat format) {
  const AVPixFmtDescriptor *found = av_pix_fmt_desc_get(format);
  if (found == nullptr)
    throw InputError("it has no known pixel format");
  return *found;
}

bool isRgb(const AVPixFmtDescriptor &format) {
  return (format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) !=
             0 ||
         std::string_view(format.name).starts_with("xyz");
}

/// Luma of 8 bits that lie one after another.
bool isPlainBytes(const AVPixFmtDescriptor &format) {
  return format.comp[0].depth == 8 && format.comp[0].step == 1 && format.comp[0].shift == 0;
}

/// What libswscale makes of a format without luma: all of a deep one's bits, so that rounding
/// happens once and by one rule.
AVPixelFormat convertedFormat(AVPixelFormat format) {
  return lumaDepth(format) > 8 ? AV_PIX_FMT_YUV444P16 : AV_PIX_FMT_YUV444P;
}

/// Luma of more than 8 bits in little-endian 16-bit words that lie one after another, as nearly all
/// deep video is: av_read_image_line gives the same values at several times the cost.
bool isPlainWords(const AVPixFmtDescriptor &format) {
  const AVComponentDescriptor &luma = format.comp[0];
  return std::endian::native == std::endian::little && (format.flags & AV_PIX_FMT_FLAG_BE) == 0 &&
         luma.depth > 8 && luma.depth + luma.shift <= 16 && luma.step == 2;
}

std::uint8_t rounded(unsigned value, int depth) {
  const unsigned half = 1U << (depth - 9);
  return static_cast<std::uint8_t>(std::min(255U, (value + half) >> (depth - 8)));
}

void roundWords(const std::uint8_t *line, const AVComponentDescriptor &luma, std::size_t width,
                std::uint8_t *out) {
  // Copies, since `out` may alias anything the loop would read again.
  const int depth = luma.depth, shift = luma.shift;
  const unsigned mask = (1U << depth) - 1;
  for (std::size_t x = 0; x < width; ++x) {
    std::uint16_t word;
    std::memcpy(&word, line + 2 * x, sizeof word);
    out[x] = rounded((unsigned{word} >> shift) & mask, depth);
  }
}

} // namespace

bool holdsLuma(AVPixelFormat format) {
  const AVPixFmtDescriptor *known = av_pix_fmt_desc_get(format);
  constexpr std::uint64_t UNFIT =
      AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_FLOAT;
  return known != nullptr && (known->flags & UNFIT) == 0 && !isRgb(*known) &&
         known->nb_components > 0 && known->comp[0].depth >= 8 && known->comp[0].depth <= 16;
}

bool givesLuma(AVPixelFormat format) {
  const AVPixFmtDescriptor *known = av_pix_fmt_desc_get(format);
  return holdsLuma(format) || (known != nullptr && (known->flags & AV_PIX_FMT_FLAG_HWACCEL) == 0 &&
                               sws_isSupportedInput(format) != 0);
}

void requireLuma(AVPixelFormat format) {
  if (!givesLuma(format))
    throw InputError(fmt::format("its pixel format {} gives no luma", descriptor(format).name));
}

int lumaDepth(AVPixelFormat format) {
  const AVPixFmtDescriptor &known = descriptor(format);
  int depth = known.comp[0].depth;
  for (int i = 1; !holdsLuma(format) && i < known.nb_components; ++i)
    depth = std::max(depth, known.comp[i].depth);
  return (known.flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 8 : depth;
}

std::string lumaRule(AVPixelFormat format) {
  const AVPixFmtDescriptor &known = descriptor(format);
  std::string rule = holdsLuma(format) ? ""
                     : isRgb(known)    ? "from RGB by BT.709 in the range of the RGB values"
                                       : "converted from gray";
  const int depth = holdsLuma(format) ? lumaDepth(format) : lumaDepth(format) > 8 ? 16 : 8;
  if (depth > 8)
    rule += fmt::format("{}rounded from {} bits: min(255, (v + {}) >> {})",
                        rule.empty() ? "" : ", ", depth, 1 << (depth - 9), depth - 8);
  return rule.empty() ? "as stored" : rule;
}

LumaReader::LumaReader() = default;

LumaReader::~LumaReader() {
  sws_freeContext(scaler);
}

void LumaReader::read(const Planes &planes, AVPixelFormat format, int width, int height,
                      std::vector<std::uint8_t> &samples) {
  const auto w = static_cast<std::size_t>(width), h = static_cast<std::size_t>(height);
  samples.resize(w * h);
  const Planes *source = &planes;
  if (!holdsLuma(format)) {
    convert(planes, format, width, height);
    source = &convertedPlanes;
    format = convertedFormat(format);
  }
  const AVPixFmtDescriptor &known = descriptor(format);
  const int plane = known.comp[0].plane, depth = known.comp[0].depth;
  if (isPlainBytes(known) || isPlainWords(known)) {
    const std::uint8_t *line = source->data[plane] + known.comp[0].offset;
    for (std::size_t y = 0; y < h; ++y, line += source->stride[plane]) {
      if (depth == 8)
        std::memcpy(samples.data() + y * w, line, w);
      else
        roundWords(line, known.comp[0], w, samples.data() + y * w);
    }
    return;
  }
  row.resize(w);
  const std::uint8_t *data[4] = {source->data[0], source->data[1], source->data[2],
                                 source->data[3]};
  for (int y = 0; y < height; ++y) {
    av_read_image_line(row.data(), data, source->stride, &known, 0, y, 0, width, 0);
    std::uint8_t *out = samples.data() + static_cast<std::size_t>(y) * w;
    std::transform(row.begin(), row.end(), out, [depth](std::uint16_t value) {
      return depth == 8 ? static_cast<std::uint8_t>(value) : rounded(value, depth);
    });
  }
}

void LumaReader::convert(const Planes &planes, AVPixelFormat format, int width, int height) {
  const AVPixelFormat target = convertedFormat(format);
  if (scalerFormat != format || scalerWidth != width || scalerHeight != height) {
    requireLuma(format);
    sws_freeContext(scaler);
    scalerFormat = AV_PIX_FMT_NONE;
    scaler =
        sws_getContext(width, height, format, width, height, target,
                       SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr);
    if (scaler == nullptr)
      throw std::bad_alloc();
    // Full range in and out: what the values mean is passed on, not changed.
    const int *bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, bt709, 1, bt709, 1, 0, 1 << 16, 1 << 16);
    const int bytes = av_image_get_buffer_size(target, width, height, ROW_ALIGNMENT);
    if (bytes < 0)
      throw InputError(fmt::format("a picture of {}x{} is too large to convert", width, height));
    converted.resize(static_cast<std::size_t>(bytes));
    scalerFormat = format;
    scalerWidth = width;
    scalerHeight = height;
  }
  std::uint8_t *out[4];
  av_image_fill_arrays(out, convertedPlanes.stride, converted.data(), target, width, height,
                       ROW_ALIGNMENT);
  std::copy_n(out, 4, convertedPlanes.data);
  sws_scale(scaler, planes.data, planes.stride, 0, height, out, convertedPlanes.stride);
}

} // namespace lumagauge::qc
