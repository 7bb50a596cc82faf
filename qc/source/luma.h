// SPDX-License-Identifier: BSD-2-Clause
//
// 8-bit luma from any pixel format: as it is stored where it is 8 bits of YUV or gray, rounded
// where it is deeper, through libswscale where there is no luma to take.
#ifndef LUMAGAUGE_QC_SOURCE_LUMA_H
#define LUMAGAUGE_QC_SOURCE_LUMA_H

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct SwsContext;

namespace lumagauge::qc {

/// Planes as libav lays them out; what a format does not have is null and 0.
struct Planes {
  const std::uint8_t *data[4];
  int stride[4]; ///< bytes from a row to the next; negative where rows are stored upwards
};

/// The format holds luma of its own, at least 8 bits deep, that needs no conversion.
bool holdsLuma(AVPixelFormat format);
/// Luma can be taken from the format at all.
bool givesLuma(AVPixelFormat format);
/// Throws InputError where it cannot.
void requireLuma(AVPixelFormat format);
/// How luma comes about from the format, for reports: "as stored", "rounded from 10 bits: ...".
std::string lumaRule(AVPixelFormat format);
/// Bits of the stored luma, or of the widest component where there is none.
int lumaDepth(AVPixelFormat format);

/// Takes luma from pictures of one format and size after another.
class LumaReader {
public:
  LumaReader();
  ~LumaReader();

  /// Fills `samples` with width x height samples, row after row. Luma of d > 8 bits becomes
  /// min(255, (v + half) >> (d - 8)), half being 1 << (d - 9). Throws InputError when the format
  /// does not give luma and std::bad_alloc.
  void read(const Planes &planes, AVPixelFormat format, int width, int height,
            std::vector<std::uint8_t> &samples);

private:
  void convert(const Planes &planes, AVPixelFormat format, int width, int height);

  SwsContext *scaler = nullptr;
  AVPixelFormat scalerFormat = AV_PIX_FMT_NONE;
  int scalerWidth = 0, scalerHeight = 0;
  std::vector<std::uint8_t> converted; ///< what libswscale wrote
  Planes convertedPlanes{};
  std::vector<std::uint16_t> row;
};

} // namespace lumagauge::qc

#endif
