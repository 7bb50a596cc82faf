// SPDX-License-Identifier: BSD-2-Clause
//
// meter_bench FILE WIDTH HEIGHT THREADS [MASK]: measures the luma planes in a file, all indicators
// or those of the mask, from memory, and prints the seconds of CPU that it took; bench/python.py
// holds the Python package against it. On one thread with Meter::add, on several with its two
// halves.
#include <lumagauge/lumagauge.hpp>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>
#include <vector>

namespace {

using namespace lumagauge;

double cpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void measureInTurn(const std::vector<Picture> &pictures, std::uint32_t mask) {
  Meter meter(pictures[0].width, pictures[0].height, DEFAULT_RATE, mask);
  for (const Picture &picture : pictures)
    meter.add(picture);
}

void measureSideBySide(const std::vector<Picture> &pictures, std::uint32_t mask, int count) {
  Meter meter(pictures[0].width, pictures[0].height, DEFAULT_RATE, mask);
  std::vector<Frame> frames;
  for (std::size_t i = 0; i < pictures.size(); ++i)
    frames.push_back(meter.frame());
  std::atomic<std::size_t> begun = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < count; ++t)
    threads.emplace_back([&] {
      for (std::size_t i = begun++; i < pictures.size(); i = begun++)
        frames[i].measure(pictures[i], i == 0 ? nullptr : &pictures[i - 1]);
    });
  for (std::thread &thread : threads)
    thread.join();
  for (Frame &frame : frames)
    meter.take(frame);
}

} // namespace

int main(int argc, char **argv) {
  if (argc != 5 && argc != 6) {
    std::fputs("usage: meter_bench FILE WIDTH HEIGHT THREADS [MASK]\n", stderr);
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  const auto width = static_cast<std::uint32_t>(std::atoi(argv[2]));
  const auto height = static_cast<std::uint32_t>(std::atoi(argv[3]));
  const int threads = std::atoi(argv[4]);
  const std::uint32_t mask =
      argc < 6 ? ALL_INDICATORS : static_cast<std::uint32_t>(std::strtoul(argv[5], nullptr, 0));
  const std::size_t plane = std::size_t{width} * height;
  std::vector<Picture> pictures;
  for (std::size_t i = 0; plane != 0 && (i + 1) * plane <= bytes.size(); ++i)
    pictures.emplace_back(reinterpret_cast<const std::uint8_t *>(bytes.data()) + i * plane, width,
                          height);
  if (pictures.empty() || threads < 1) {
    std::fputs("meter_bench: the file holds no plane of that size, or there is no thread\n",
               stderr);
    return 2;
  }
  // Not counted: the first frames, with which the process settles.
  measureInTurn(
      {pictures.begin(), pictures.begin() + std::min<std::ptrdiff_t>(5, std::ssize(pictures))},
      mask);
  const double begin = cpuSeconds();
  if (threads == 1)
    measureInTurn(pictures, mask);
  else
    measureSideBySide(pictures, mask, threads);
  std::printf("%.6f\n", cpuSeconds() - begin);
}
