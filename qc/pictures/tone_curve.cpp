// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/tone_curve.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lumagauge::qc {

namespace {

constexpr double PAPER_WHITE = 203, BRIGHTEST = 1000; ///< cd/m2, of BT.2408
constexpr int TABLE_BITS = 12;
constexpr std::size_t TABLE_SIZE = std::size_t{1} << TABLE_BITS;

/// SMPTE ST 2084: from the signal to cd/m2.
double lightOfPq(double signal) {
  constexpr double M1 = 2610.0 / 16384, M2 = 2523.0 / 4096 * 128, C1 = 3424.0 / 4096,
                   C2 = 2413.0 / 4096 * 32, C3 = 2392.0 / 4096 * 32;
  const double power = std::pow(signal, 1 / M2);
  return 10000 * std::pow(std::max(power - C1, 0.0) / (C2 - C3 * power), 1 / M1);
}

/// BT.2100's hybrid log-gamma on a display of 1000 cd/m2, channel by channel.
double lightOfHlg(double signal) {
  constexpr double A = 0.17883277, B = 1 - 4 * A, C = 0.55991073, SYSTEM_GAMMA = 1.2;
  const double scene = signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - C) / A) + B) / 12;
  return BRIGHTEST * std::pow(scene, SYSTEM_GAMMA);
}

/// Light relative to paper white, by the signal.
std::array<float, TABLE_SIZE> makeTable(AVColorTransferCharacteristic curve) {
  std::array<float, TABLE_SIZE> table{};
  for (std::size_t i = 0; i < TABLE_SIZE; ++i) {
    const double signal = static_cast<double>(i) / (TABLE_SIZE - 1);
    const double light = curve == AVCOL_TRC_SMPTE2084 ? lightOfPq(signal) : lightOfHlg(signal);
    table[i] = static_cast<float>(light / PAPER_WHITE);
  }
  return table;
}

/// What a display of sRGB is to be given for light in 0..BRIGHTEST, which Reinhard's curve brings
/// into its range.
std::uint8_t displayed(float light) {
  constexpr auto WHITE = static_cast<float>(BRIGHTEST / PAPER_WHITE);
  light = std::clamp(light, 0.0F, WHITE);
  const float mapped = light * (1 + light / (WHITE * WHITE)) / (1 + light);
  const float encoded =
      mapped <= 0.0031308F ? 12.92F * mapped : 1.055F * std::pow(mapped, 1 / 2.4F) - 0.055F;
  return static_cast<std::uint8_t>(std::lround(255 * std::clamp(encoded, 0.0F, 1.0F)));
}

} // namespace

std::string_view toneCurveName(AVColorTransferCharacteristic curve) {
  return curve == AVCOL_TRC_SMPTE2084 ? "PQ" : curve == AVCOL_TRC_ARIB_STD_B67 ? "HLG" : "";
}

void toneMap(const std::vector<std::uint16_t> &deep, AVColorTransferCharacteristic curve,
             bool isWide, std::vector<std::uint8_t> &shown) {
  const std::array<float, TABLE_SIZE> table = makeTable(curve);
  for (std::size_t i = 0; i + 2 < deep.size(); i += 3) {
    std::array<float, 3> light{};
    for (std::size_t c = 0; c < 3; ++c)
      light[c] = table[deep[i + c] >> (16 - TABLE_BITS)];
    const auto [r, g, b] = light;
    if (isWide) // to the primaries of BT.709
      light = {1.6605F * r - 0.5876F * g - 0.0728F * b, -0.1246F * r + 1.1329F * g - 0.0083F * b,
               -0.0182F * r - 0.1006F * g + 1.1187F * b};
    for (std::size_t c = 0; c < 3; ++c)
      shown[i + c] = displayed(light[c]);
  }
}

} // namespace lumagauge::qc
