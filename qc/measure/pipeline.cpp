// SPDX-License-Identifier: BSD-2-Clause
#include "qc/measure/pipeline.h"

#include "qc/measure/measure.h"

#include <sched.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Hands out pictures and takes their buffers back for later ones. Outlives what it hands out.
class PicturePool {
public:
  std::shared_ptr<LumaPicture> take() {
    std::unique_ptr<LumaPicture> picture;
    {
      const std::lock_guard lock(mutex);
      if (!unused.empty()) {
        picture = std::move(unused.back());
        unused.pop_back();
      }
    }
    if (!picture)
      picture = std::make_unique<LumaPicture>();
    return {picture.release(), [this](LumaPicture *used) { giveBack(used); }};
  }

private:
  void giveBack(LumaPicture *used) {
    std::unique_ptr<LumaPicture> picture(used);
    const std::lock_guard lock(mutex);
    try {
      unused.push_back(std::move(picture));
    } catch (const std::bad_alloc &) {
      // Its buffer is released instead.
    }
  }

  std::mutex mutex;
  std::vector<std::unique_ptr<LumaPicture>> unused;
};

/// A frame on its way: the pictures until it is measured, then its measures or what went wrong.
struct Job {
  std::shared_ptr<LumaPicture> picture, previous;
  FrameMeasures measures;
  std::exception_ptr failure;
  bool done = false;
};

class Pipeline {
public:
  Pipeline(VideoSource &videoSource, std::uint32_t requestedMask, int threads)
      : source(videoSource), width(videoSource.info().width), height(videoSource.info().height),
        requested(requestedMask), limit(2 * static_cast<std::size_t>(threads) + 2) {
    try {
      for (int i = 0; i < threads; ++i)
        workers.emplace_back([this] { work(); });
      reader = std::thread([this] { readAll(); });
    } catch (...) {
      stop();
      throw;
    }
  }
  ~Pipeline() { stop(); }
  Pipeline(const Pipeline &) = delete;
  Pipeline &operator=(const Pipeline &) = delete;

  /// Waits for the next frame in order; empty at the end. Throws what went wrong there.
  std::optional<FrameMeasures> next() {
    std::unique_lock lock(mutex);
    frameDone.wait(lock, [&] { return inOrder.empty() ? sourceEnded : inOrder.front()->done; });
    if (inOrder.empty() && sourceFailure)
      std::rethrow_exception(sourceFailure);
    if (inOrder.empty())
      return std::nullopt;
    const std::shared_ptr<Job> job = std::move(inOrder.front());
    inOrder.pop_front();
    lock.unlock();
    roomMade.notify_one();
    if (job->failure)
      std::rethrow_exception(job->failure);
    return std::move(job->measures);
  }

private:
  /// The reader's thread.
  void readAll() {
    std::exception_ptr failure;
    try {
      readFrames();
    } catch (...) {
      failure = std::current_exception();
    }
    const std::lock_guard lock(mutex);
    sourceFailure = failure;
    sourceEnded = true;
    frameDone.notify_one();
    workWaiting.notify_all();
  }

  /// Decodes as long as there is room for a frame.
  void readFrames() {
    std::shared_ptr<LumaPicture> previous;
    while (true) {
      const auto job = std::make_shared<Job>();
      job->picture = pool.take();
      job->previous = std::exchange(previous, job->picture);
      if (!source.read(*job->picture))
        return;
      std::unique_lock lock(mutex);
      inOrder.push_back(job);
      waiting.push_back(job);
      workWaiting.notify_one();
      roomMade.wait(lock, [&] { return stopped || inOrder.size() < limit; });
      if (stopped)
        return;
    }
  }

  /// A worker's thread: measures waiting frames, the oldest first.
  void work() {
    std::unique_lock lock(mutex);
    while (true) {
      workWaiting.wait(lock, [&] { return stopped || sourceEnded || !waiting.empty(); });
      if (stopped || waiting.empty())
        return;
      const std::shared_ptr<Job> job = std::move(waiting.front());
      waiting.pop_front();
      lock.unlock();
      try {
        job->measures = measureFrame(*job->picture, job->previous.get(), width, height, requested);
      } catch (...) {
        job->failure = std::current_exception();
      }
      job->picture.reset();
      job->previous.reset();
      lock.lock();
      job->done = true;
      frameDone.notify_one();
    }
  }

  void stop() {
    {
      const std::lock_guard lock(mutex);
      stopped = true;
    }
    roomMade.notify_all();
    workWaiting.notify_all();
    if (reader.joinable())
      reader.join();
    for (std::thread &worker : workers)
      worker.join();
  }

  VideoSource &source;
  const std::uint32_t width, height, requested;
  const std::size_t limit; ///< frames that are read and not yet delivered
  PicturePool pool;

  std::mutex mutex; ///< guards what follows, up to the threads
  std::condition_variable roomMade, workWaiting, frameDone;
  std::deque<std::shared_ptr<Job>> inOrder; ///< read and not yet delivered
  std::deque<std::shared_ptr<Job>> waiting; ///< those of them that no worker has taken yet
  bool sourceEnded = false, stopped = false;
  std::exception_ptr sourceFailure;

  std::thread reader;
  std::vector<std::thread> workers;
};

} // namespace

int usableCpus() {
  cpu_set_t set;
  CPU_ZERO(&set);
  // Fails where the machine has more CPUs than the set has places.
  if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0)
    return CPU_COUNT(&set);
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

void measureFrames(VideoSource &source, std::uint32_t requested, int threads,
                   const std::function<void(const FrameRecord &)> &deliver) {
  const InputInfo &info = source.info();
  TemporalCounters counters(info.width, info.height, info.rate, requested);
  Pipeline pipeline(source, requested, threads);
  while (std::optional<FrameMeasures> measures = pipeline.next())
    deliver(counters.complete(std::move(*measures)));
}

} // namespace lumagauge::qc
