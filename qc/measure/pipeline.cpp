// SPDX-License-Identifier: BSD-2-Clause
#include "qc/measure/pipeline.h"
#include "qc/measure/cpus.h"
#include "qc/measure/shots.h"

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

constexpr int MOST_THREADS_PER_CPU = 4;

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
  explicit Job(const Meter &meter) : measures(meter.frame()) {}

  std::shared_ptr<LumaPicture> picture, previous;
  FrameRecord record; ///< without values
  Frame measures;
  std::exception_ptr failure;
  bool done = false;
};

Picture pictureOf(const LumaPicture &luma, const Meter &meter) {
  return {luma.samples.data(), meter.width(), meter.height()};
}

Range rangeOf(const InputInfo &info) {
  return info.range == "full"      ? Range::full
         : info.range == "limited" ? Range::limited
                                   : Range::unknown;
}

} // namespace

class Pipeline::Threads {
public:
  Threads(VideoSource &videoSource, std::uint32_t requested, int count)
      : source(videoSource), meter(source.info().width, source.info().height, source.info().rate,
                                   requested, rangeOf(source.info())),
        limit(2 * static_cast<std::size_t>(count) + 2) {
    try {
      for (int i = 0; i < count; ++i)
        workers.emplace_back([this] { work(); });
      reader = std::thread([this] { readAll(); });
    } catch (...) {
      stop();
      throw;
    }
  }
  ~Threads() { stop(); }
  Threads(const Threads &) = delete;
  Threads &operator=(const Threads &) = delete;

  bool waitFor(std::chrono::milliseconds most) {
    std::unique_lock lock(mutex);
    return frameDone.wait_for(lock, most, [&] { return isNextKnown(); });
  }

  std::optional<FrameRecord> next() {
    std::unique_lock lock(mutex);
    frameDone.wait(lock, [&] { return isNextKnown(); });
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
    job->record.values = meter.take(job->measures);
    job->record.shot = shots.add(job->record);
    return job->record;
  }

private:
  bool isNextKnown() const { return inOrder.empty() ? sourceEnded : inOrder.front()->done; }

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
      const auto job = std::make_shared<Job>(meter);
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
        measure(*job);
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

  void measure(Job &job) const {
    const LumaPicture &luma = *job.picture;
    job.record = {luma.frame, luma.time, luma.pictureType, {}};
    job.record.news = luma.news;
    const Picture picture = pictureOf(luma, meter);
    const std::optional<Picture> previous =
        job.previous ? std::optional(pictureOf(*job.previous, meter)) : std::nullopt;
    job.measures.measure(picture, previous ? &*previous : nullptr);
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
  Meter meter;
  ShotCounter shots;
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

int measuringThreads(int wanted) {
  const int cpus = usableCpus();
  return wanted > 0 ? std::min(wanted, MOST_THREADS_PER_CPU * cpus) : cpus;
}

Pipeline::Pipeline(VideoSource &source, std::uint32_t requested, int count)
    : threads(std::make_unique<Threads>(source, requested, count)) {}
Pipeline::~Pipeline() = default;

bool Pipeline::waitFor(std::chrono::milliseconds most) {
  return threads->waitFor(most);
}

std::optional<FrameRecord> Pipeline::next() {
  return threads->next();
}

void measureFrames(VideoSource &source, std::uint32_t requested, int threads,
                   const std::function<void(const FrameRecord &)> &deliver) {
  Pipeline pipeline(source, requested, threads);
  while (const std::optional<FrameRecord> record = pipeline.next())
    deliver(*record);
}

} // namespace lumagauge::qc
