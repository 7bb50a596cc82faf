// SPDX-License-Identifier: BSD-2-Clause
#include "python/feed.h"

#include "qc/measure/pipeline.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

namespace lumagauge::python {

namespace {

/// Records that wait to be asked for: enough for the threads to go on meanwhile.
constexpr std::size_t MOST_WAITING = 64;
/// More than a frame takes, and short for somebody who pressed Ctrl-C.
constexpr std::chrono::milliseconds PATIENCE{300};

} // namespace

struct Feed::State {
  explicit State(Order given) : order(std::move(given)) {}

  /// The thread.
  void run() {
    std::exception_ptr thrown;
    try {
      read();
    } catch (const qc::InputError &error) {
      thrown = std::make_exception_ptr(qc::InputError(order.path + ": " + error.what()));
    } catch (...) {
      thrown = std::current_exception();
    }
    const std::lock_guard lock(mutex);
    failure = thrown;
    finished = true;
    changed.notify_all();
  }

  void read() {
    const std::unique_ptr<qc::VideoSource> source = qc::openSource(order.path, order.source);
    {
      const std::lock_guard lock(mutex);
      info = source->info();
      changed.notify_all();
    }
    {
      qc::Pipeline pipeline(*source, order.indicators, order.threads);
      while (const std::optional<qc::FrameRecord> record = pipeline.next())
        if (!add(*record))
          return;
    }
    const std::lock_guard lock(mutex);
    end = source->end();
  }

  /// Waits for room; false where nobody wants it any more.
  bool add(const qc::FrameRecord &record) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return stopped || records.size() < MOST_WAITING; });
    if (stopped)
      return false;
    records.push_back(record);
    changed.notify_all();
    return true;
  }

  const Order order;
  std::mutex mutex; ///< guards what follows
  std::condition_variable changed;
  std::optional<qc::InputInfo> info;
  std::deque<qc::FrameRecord> records;
  qc::InputEnd end;
  std::exception_ptr failure;
  bool stopped = false, finished = false;
};

Feed::Feed(Order order)
    : state(std::make_shared<State>(std::move(order))),
      thread([shared = state] { shared->run(); }) {}

Feed::~Feed() {
  stop();
}

void Feed::stop() {
  std::unique_lock lock(state->mutex);
  if (std::exchange(state->stopped, true))
    return;
  state->records.clear();
  state->changed.notify_all();
  const bool ended = state->changed.wait_for(lock, PATIENCE, [&] { return state->finished; });
  lock.unlock();
  if (ended)
    thread.join();
  else
    thread.detach();
}

bool Feed::waitOpen(std::chrono::milliseconds time) {
  std::unique_lock lock(state->mutex);
  return state->changed.wait_for(lock, time, [&] { return state->info || state->finished; });
}

bool Feed::waitFrame(std::chrono::milliseconds time) {
  std::unique_lock lock(state->mutex);
  return state->changed.wait_for(
      lock, time, [&] { return !state->records.empty() || state->finished || state->stopped; });
}

qc::InputInfo Feed::info() const {
  const std::lock_guard lock(state->mutex);
  if (!state->info)
    std::rethrow_exception(state->failure);
  return *state->info;
}

std::optional<qc::FrameRecord> Feed::next() {
  const std::lock_guard lock(state->mutex);
  if (!state->records.empty()) {
    qc::FrameRecord record = std::move(state->records.front());
    state->records.pop_front();
    state->changed.notify_all();
    return record;
  }
  if (state->failure && !state->stopped)
    std::rethrow_exception(state->failure);
  return std::nullopt;
}

qc::InputEnd Feed::end() const {
  const std::lock_guard lock(state->mutex);
  return state->end;
}

} // namespace lumagauge::python
