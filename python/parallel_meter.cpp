// SPDX-License-Identifier: BSD-2-Clause
#include "python/parallel_meter.h"

#include <utility>

namespace lumagauge::python {

ParallelMeter::ParallelMeter(Meter &frameMeter, int threads) : meter(frameMeter) {
  const std::size_t count = 2 * static_cast<std::size_t>(threads) + 2;
  slots.reserve(count);
  while (slots.size() < count)
    slots.emplace_back(meter.frame());
  try {
    for (int i = 0; i < threads; ++i)
      workers.emplace_back([this] { work(); });
  } catch (...) {
    stop();
    throw;
  }
}

ParallelMeter::~ParallelMeter() {
  stop();
}

void ParallelMeter::stop() {
  {
    const std::lock_guard lock(mutex);
    stopped = true;
  }
  frameGiven.notify_all();
  for (std::thread &worker : workers)
    worker.join();
}

std::uint8_t *ParallelMeter::buffer() {
  std::vector<std::uint8_t> &samples = slot(given).samples;
  samples.resize(std::size_t{meter.width()} * meter.height());
  return samples.data();
}

void ParallelMeter::give(const Picture &picture) {
  Slot &next = slot(given);
  next.picture = picture;
  next.previous = given == 0 ? std::nullopt : slot(given - 1).picture;
  next.failure = nullptr;
  {
    const std::lock_guard lock(mutex);
    next.measured = false;
    ++given;
  }
  frameGiven.notify_one();
}

bool ParallelMeter::wait(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex);
  return frameMeasured.wait_for(lock, time, [&] { return slot(taken).measured; });
}

Values ParallelMeter::take() {
  Slot &oldest = slot(taken);
  ++taken;
  if (oldest.failure)
    std::rethrow_exception(oldest.failure);
  return meter.take(oldest.frame);
}

void ParallelMeter::work() {
  std::unique_lock lock(mutex);
  while (true) {
    frameGiven.wait(lock, [&] { return stopped || begun < given; });
    if (stopped)
      return;
    Slot &current = slot(begun++);
    lock.unlock();
    try {
      current.frame.measure(*current.picture, current.previous ? &*current.previous : nullptr);
    } catch (...) {
      current.failure = std::current_exception();
    }
    lock.lock();
    current.measured = true;
    frameMeasured.notify_one();
  }
}

} // namespace lumagauge::python
