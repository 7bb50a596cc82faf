// SPDX-License-Identifier: BSD-2-Clause
//
// Where the threads of a frame run: the system gives each a CPU when it is created, when it knows
// nothing of their lengths, and for less than a millisecond it does not look again. So a CPU would
// run out of work while costly threads queue at another, for a fifth of the time of a frame on two
// CPUs. Whoever is about to leave its CPU therefore fetches a waiting thread to it.
#include "indicators/frameThreads.h"

#include "indicators/indicators.h"

#include <sched.h>

#include <algorithm>
#include <utility>

namespace lumagauge {

namespace {

struct PerFrameIndicator {
  std::uint32_t bit;
  void *(*routine)(void *);
};
/// In the order in which their threads are started and joined.
constexpr std::array<PerFrameIndicator, PER_FRAME_INDICATOR_COUNT> PER_FRAME_INDICATORS{{
    {0x1, blockiness},
    {0x2, spatialActivity},
    {0x4, letterbox},
    {0x8, pillarbox},
    {0x10, blockLoss},
    {0x20, blur},
    {0x200, exposure},
    {0x800, interlace},
    {0x1000, noise},
    {0x2000, slice},
    {0x80, blackout},
    {0x400, contrastRMS},
}};

/// Twelve such stacks are well within the 40 MiB that the C library keeps for later threads; of the
/// usual 8 MiB, most would be mapped, touched and unmapped for every frame. The routines need 10
/// KB, under the address sanitizer 17 KB. The thread sanitizer takes 0.8 MB for itself; with less,
/// no thread can be created at all.
[[maybe_unused]] constexpr std::size_t STACK_SIZE = std::size_t{1} << 20;

std::ptrdiff_t countRequested(std::uint32_t requested) {
  return std::count_if(PER_FRAME_INDICATORS.begin(), PER_FRAME_INDICATORS.end(),
                       [=](const auto &indicator) { return (requested & indicator.bit) != 0; });
}

} // namespace

void useSmallThreadStacks() {
#ifdef __GLIBC__
  pthread_attr_t attributes;
  if (pthread_getattr_default_np(&attributes) != 0)
    return;
  if (pthread_attr_setstacksize(&attributes, STACK_SIZE) == 0)
    pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
#endif
}

FrameThreads::FrameThreads(std::uint32_t requested, Image *picture)
    : luma(picture), measured(countRequested(requested)) {
  for (std::size_t i = 0; i < PER_FRAME_INDICATOR_COUNT; ++i) {
    const PerFrameIndicator &indicator = PER_FRAME_INDICATORS[i];
    if ((requested & indicator.bit) == 0)
      continue;
    Thread &thread = threads[i];
    thread.frame = this;
    thread.routine = indicator.routine;
    thread.toJoin = pthread_create(&thread.handle, nullptr, run, &thread) == 0;
    Stage stage = Stage::STARTING;
    if (thread.toJoin)
      thread.stage.compare_exchange_strong(stage, Stage::WAITING); // unless it runs already
    else
      measure(thread);
  }
}

void FrameThreads::measure(Thread &thread) {
  thread.routine(luma);
  measured.count_down();
}

void *FrameThreads::run(void *argument) {
  Thread &thread = *static_cast<Thread *>(argument);
  thread.stage = Stage::RUNNING;
  thread.frame->measure(thread);
  thread.frame->fetchWaiting();
  while (thread.fetchers != 0)
    sched_yield();
  return nullptr;
}

/// Moves a waiting thread to the CPU of the caller, unless one waits here already. It is the last
/// one created, as the CPU where it waits comes to it last. It stays bound to this CPU, for the
/// fraction of a frame that it runs.
void FrameThreads::fetchWaiting() {
#ifdef __GLIBC__
  const int cpu = sched_getcpu();
  Thread *last = nullptr;
  for (Thread &thread : threads)
    if (thread.stage == Stage::WAITING) {
      if (thread.boundTo == cpu)
        return;
      last = &thread;
    }
  if (last == nullptr || cpu < 0)
    return;
  cpu_set_t here;
  CPU_ZERO(&here);
  CPU_SET(static_cast<std::size_t>(cpu), &here);
  // The handle of a thread that has ended would stand for the caller, even before it is joined. So
  // a thread does not end while one that saw it wait may use its handle.
  ++last->fetchers;
  if (last->stage == Stage::WAITING) {
    last->boundTo = cpu;
    pthread_setaffinity_np(last->handle, sizeof here, &here);
  }
  --last->fetchers;
#endif
}

void FrameThreads::joinAll() {
  fetchWaiting();
  measured.wait(); // wakes up once; joining alone would, for nearly each of them
  for (Thread &thread : threads)
    if (std::exchange(thread.toJoin, false))
      pthread_join(thread.handle, nullptr);
}

} // namespace lumagauge
