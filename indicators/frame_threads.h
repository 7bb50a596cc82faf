// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_FRAME_THREADS_H
#define LUMAGAUGE_INDICATORS_FRAME_THREADS_H

#include "tools/definitions.h"

#include <pthread.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumagauge {

constexpr std::size_t PER_FRAME_INDICATOR_COUNT = 12;

/// Makes the stacks of threads created from here on so small that the C library keeps those of a
/// whole frame for the next one, where it can be told to. To be called once, before the first
/// frame.
void useSmallThreadStacks();

/// The threads of one frame, a thread an indicator. All are joined at the latest when it is
/// destroyed.
class FrameThreads {
public:
  /// Starts a thread for each requested indicator of a single picture; one that cannot be created
  /// runs here and now.
  FrameThreads(std::uint32_t requested, Image *luma);
  ~FrameThreads() { joinAll(); }
  FrameThreads(const FrameThreads &) = delete;
  FrameThreads &operator=(const FrameThreads &) = delete;

  /// In the order in which they were started.
  void joinAll();

private:
  std::array<pthread_t, PER_FRAME_INDICATOR_COUNT> threads;
  std::size_t running = 0; ///< how many of `threads`, from the first on, are to be joined
};

} // namespace lumagauge

#endif
