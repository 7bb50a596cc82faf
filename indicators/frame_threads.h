// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_FRAME_THREADS_H
#define LUMAGAUGE_INDICATORS_FRAME_THREADS_H

#include "lumagauge/lumagauge.h"
#include "tools/definitions.h"

#include <pthread.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumagauge {

/// Where the C library can be told to, makes threads created from here on take little of the
/// address space: small stacks, so that those of a whole frame are kept for the next one, and no
/// heaps of their own (64 MiB each, by which memory could lack at one limit and suffice at a
/// smaller one). To be called once, before the first frame.
void keepThreadsSmall();

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
  std::array<pthread_t, LUMAGAUGE_INDICATOR_COUNT> threads; ///< at most
  std::size_t running = 0; ///< how many of `threads`, from the first on, are to be joined
};

} // namespace lumagauge

#endif
