// SPDX-License-Identifier: BSD-2-Clause
//
// HDR on displays that are not: so that pictures can be recognised, no more.
#ifndef LUMAGAUGE_QC_PICTURES_TONE_CURVE_H
#define LUMAGAUGE_QC_PICTURES_TONE_CURVE_H

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <string_view>
#include <vector>

namespace lumagauge::qc {

/// "PQ" or "HLG"; empty for curves that displays show as they are.
std::string_view toneCurveName(AVColorTransferCharacteristic curve);

/// From red, green and blue of 16 bits in one of these curves to 8 bits for sRGB displays, as many.
/// Light as white as paper is 203 cd/m2, that of 1000 and more becomes white. `isWide`: the
/// primaries are those of BT.2020, else those of BT.709.
void toneMap(const std::vector<std::uint16_t> &deep, AVColorTransferCharacteristic curve,
             bool isWide, std::vector<std::uint8_t> &shown);

} // namespace lumagauge::qc

#endif
