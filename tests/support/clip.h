// SPDX-License-Identifier: BSD-2-Clause
//
// The clip behind the golden reports.
#ifndef LUMAGAUGE_TESTS_SUPPORT_CLIP_H
#define LUMAGAUGE_TESTS_SUPPORT_CLIP_H

#include "tests/support/pictures.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace lumagauge::test {

constexpr int WIDTH = 272, HEIGHT = 264, FRAMES = 12;
constexpr std::size_t FRAME_SIZE = 3 * WIDTH * HEIGHT / 2;

/// One sample of a clip in which every indicator has something to show: bars on top, bottom and
/// left, ramps, texture, a comb, a lost block, a strip smeared sideways, a flash; frames 5 to 7
/// stand still and frame 9 is black.
inline int sample(int frame, int x, int y) {
  frame = frame >= 6 && frame <= 8 ? 5 : frame;
  if (frame == 9 || y < 16 || y >= HEIGHT - 16 || x < 12)
    return 16;
  if (x >= 96 && x < 112 && y >= 64 && y < 80)
    return 250;
  if (y >= 112 && y < 128)
    return 40 + y;
  const int texture = (x * x * 7 + y * y * 13 + x * y + frame * 31) % 23;
  const int flash = frame % 2 == 1 && x > 200 ? 60 : 0;
  if (y >= 160 && y < 176)
    return 60 + (y + frame) % 2 * 90 + texture % 4;
  const int ramp = x % 64 < 6 ? x % 64 * 18 : 108 - x % 64;
  return 30 + ramp + texture + flash;
}

/// Writes the first `bytes` bytes of the clip; chroma is 128 throughout.
inline void writeClip(const std::filesystem::path &path, std::size_t bytes = FRAMES * FRAME_SIZE) {
  std::string clip;
  for (int frame = 0; frame < FRAMES; ++frame) {
    const Luma picture = luma(WIDTH, HEIGHT, [=](int x, int y) { return sample(frame, x, y); });
    clip.append(picture.samples.begin(), picture.samples.end());
    clip.append(FRAME_SIZE - picture.samples.size(), char(128));
  }
  std::ofstream(path, std::ios::binary) << clip.substr(0, bytes);
}

/// The sign of a NaN is the CPU's own.
inline std::string withoutNanSigns(std::string text) {
  for (std::size_t at; (at = text.find("-nan")) != std::string::npos;)
    text.replace(at, 4, "nan ");
  return text;
}

} // namespace lumagauge::test

#endif
