// SPDX-License-Identifier: BSD-2-Clause
//
// Exposure: brightness made from the picture's extremes, in luma levels 0 to 255: the mean of the
// four darkest and the four brightest 8x8 blocks. The last block column and row that end exactly on
// the picture's edge are left out. With fewer than four blocks the lists' starting values take
// part; a picture without a block gives 127.5.
#include "indicators/routines.h"
#include "tools/rows.h"

#include <algorithm>
#include <array>
#include <functional>
#include <numeric>
#include <vector>

namespace lumagauge {

namespace {

constexpr std::size_t nBlSum = 4;
constexpr std::int32_t LARGEST_SUM = 255 * BLOCKSIZE * BLOCKSIZE;

using ExtremeSums = std::array<std::int32_t, nBlSum>;

/// Puts `sum` at its place in the sorted list, pushing the last one off.
template <class Before> void insertSorted(ExtremeSums &list, std::int32_t sum, Before before) {
  std::size_t i = nBlSum - 1;
  for (; i > 0 && before(sum, list[i - 1]); --i)
    list[i] = list[i - 1];
  list[i] = sum;
}

} // namespace

std::optional<double> measureExposure(const Plane &luma) {
  ExtremeSums darkest, brightest;
  darkest.fill(LARGEST_SUM);
  brightest.fill(0);
  // Whole blocks that do not touch the right or bottom edge.
  const std::uint64_t across = luma.w == 0 ? 0 : (luma.w - 1) / BLOCKSIZE;
  const std::uint64_t down = luma.h == 0 ? 0 : (luma.h - 1) / BLOCKSIZE;
  std::vector<std::uint16_t> sums(across);
  for (std::uint64_t by = 0; by < down && across != 0; ++by) {
    rows().blockSums(luma.data + by * BLOCKSIZE * luma.w, luma.w, across, sums.data());
    for (const std::int32_t sum : sums) {
      if (sum < darkest.back())
        insertSorted(darkest, sum, std::less<>());
      if (sum > brightest.back())
        insertSorted(brightest, sum, std::greater<>());
    }
  }
  const auto total = std::accumulate(darkest.begin(), darkest.end(), 0) +
                     std::accumulate(brightest.begin(), brightest.end(), 0);
  return total / static_cast<double>(2 * nBlSum * BLOCKSIZE * BLOCKSIZE);
}

void *exposure(void *luma) {
  storeMeasure(luma, measureExposure, &FrameResults::exposure);
  return nullptr;
}

} // namespace lumagauge
