#include <lumagauge/lumagauge.hpp>

#include <cstdio>
#include <vector>

int main() { // the blur of each frame of raw 352x288 4:2:0 video on standard input
  lumagauge::Meter meter(352, 288);
  std::vector<std::uint8_t> frame(352 * 288 * 3 / 2);
  while (std::fread(frame.data(), frame.size(), 1, stdin) == 1)
    if (const lumagauge::Values values = meter.add({frame.data(), 352, 288}); values.blur)
      std::printf("%.3f\n", *values.blur);
}
