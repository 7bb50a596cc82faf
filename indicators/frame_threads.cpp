// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/frame_threads.h"

#include "indicators/routines.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

#if defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZER 1 // g++
#elif defined(__has_feature)
#define THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define THREAD_SANITIZER 0
#endif

namespace lumagauge {

namespace {

struct PerFrameIndicator {
  unsigned number; ///< in the list of indicators
  void *(*routine)(void *);
};
/// In the order in which their threads are started and joined.
constexpr PerFrameIndicator PER_FRAME_INDICATORS[] = {
    {LUMAGAUGE_BLOCKINESS, blockiness}, {LUMAGAUGE_SPATIAL_ACTIVITY, spatialActivity},
    {LUMAGAUGE_LETTERBOX, letterbox},   {LUMAGAUGE_PILLARBOX, pillarbox},
    {LUMAGAUGE_BLOCK_LOSS, blockLoss},  {LUMAGAUGE_BLUR, blur},
    {LUMAGAUGE_EXPOSURE, exposure},     {LUMAGAUGE_INTERLACE, interlace},
    {LUMAGAUGE_NOISE, noise},           {LUMAGAUGE_SLICE, slice},
    {LUMAGAUGE_BLACKOUT, blackout},     {LUMAGAUGE_CONTRAST, contrastRMS},
};

/// Twelve such stacks are well within the 40 MiB that the C library keeps for later threads; of the
/// usual 8 MiB, most would be mapped, touched and unmapped for every frame. The routines need 10
/// KB, under the address sanitizer 17 KB; the thread sanitizer takes 0.8 MB for itself. What stacks
/// take of a limited address space, pictures lack.
[[maybe_unused]] constexpr std::size_t STACK_SIZE = std::size_t{1} << (THREAD_SANITIZER ? 20 : 18);

} // namespace

void keepThreadsSmall() {
#ifdef __GLIBC__
  mallopt(M_ARENA_MAX, 1);
  pthread_attr_t attributes;
  if (pthread_getattr_default_np(&attributes) != 0)
    return;
  if (pthread_attr_setstacksize(&attributes, STACK_SIZE) == 0)
    pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
#endif
}

FrameThreads::FrameThreads(std::uint32_t requested, Image *luma) {
  for (const PerFrameIndicator &indicator : PER_FRAME_INDICATORS) {
    if ((requested & LUMAGAUGE_BIT(indicator.number)) == 0)
      continue;
    if (pthread_create(&threads[running], nullptr, indicator.routine, luma) == 0)
      ++running;
    else
      indicator.routine(luma);
  }
}

void FrameThreads::joinAll() {
  for (std::size_t i = 0; i < running; ++i)
    pthread_join(threads[i], nullptr);
  running = 0;
}

} // namespace lumagauge
