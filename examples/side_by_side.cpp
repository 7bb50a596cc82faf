// SPDX-License-Identifier: BSD-2-Clause
//
// The blur and the flickering of raw 352x288 4:2:0 video on standard input, four frames measured at
// once. Measuring takes a frame and the one before it and may be done anywhere; a meter takes the
// measured frames in order.
#include <lumagauge/lumagauge.hpp>

#include <array>
#include <cstdio>
#include <thread>
#include <vector>

namespace {
constexpr std::uint32_t WIDTH = 352, HEIGHT = 288;
constexpr std::size_t AT_ONCE = 4;
} // namespace

int main() {
  using lumagauge::Indicator, lumagauge::Picture;
  lumagauge::Meter meter(WIDTH, HEIGHT, 25.0, bit(Indicator::blur) | bit(Indicator::flickering));
  std::vector<lumagauge::Frame> frames;
  for (std::size_t i = 0; i < AT_ONCE; ++i)
    frames.push_back(meter.frame());

  // The last plane of a round is the one before the first of the next.
  std::array<std::vector<std::uint8_t>, AT_ONCE + 1> planes;
  planes.fill(std::vector<std::uint8_t>(WIDTH * HEIGHT * 3 / 2));
  bool isFirst = true;
  for (std::size_t count = AT_ONCE; count == AT_ONCE; isFirst = false) {
    count = 0;
    while (count < AT_ONCE && std::fread(planes[count + 1].data(), planes[0].size(), 1, stdin) == 1)
      ++count;
    {
      std::vector<std::jthread> threads;
      for (std::size_t i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
          const Picture previous(planes[i].data(), WIDTH, HEIGHT);
          frames[i].measure({planes[i + 1].data(), WIDTH, HEIGHT},
                            isFirst && i == 0 ? nullptr : &previous);
        });
    }
    for (std::size_t i = 0; i < count; ++i) {
      const lumagauge::Values values = meter.take(frames[i]);
      std::printf("%.3f %s\n", values.blur.value_or(0),
                  values.flickering ? std::to_string(*values.flickering).c_str() : "-");
    }
    planes.front().swap(planes.back());
  }
}
