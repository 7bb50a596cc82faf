// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_FRAME_THREADS_H
#define LUMAGAUGE_INDICATORS_FRAME_THREADS_H

#include "tools/definitions.h"

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <latch>

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
  FrameThreads(std::uint32_t requested, Image *picture);
  ~FrameThreads() { joinAll(); }
  FrameThreads(const FrameThreads &) = delete;
  FrameThreads &operator=(const FrameThreads &) = delete;

  void joinAll();

private:
  static constexpr int NO_CPU = -1;

  enum class Stage {
    STARTING, ///< or no thread at all; `handle` is not set
    WAITING,  ///< created; no CPU has come to it yet
    RUNNING   ///< or done
  };
  struct Thread {
    FrameThreads *frame = nullptr;
    void *(*routine)(void *) = nullptr;
    pthread_t handle{};
    bool toJoin = false;
    std::atomic<Stage> stage = Stage::STARTING;
    std::atomic<int> boundTo = NO_CPU;
    std::atomic<int> fetchers = 0; ///< who may be using `handle`
  };

  static void *run(void *thread);
  void measure(Thread &thread);
  void fetchWaiting();

  Image *luma;
  std::array<Thread, PER_FRAME_INDICATOR_COUNT> threads;
  std::latch measured;
};

} // namespace lumagauge

#endif
