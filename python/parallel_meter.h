// SPDX-License-Identifier: BSD-2-Clause
//
// A meter whose frames are measured on several threads.
#ifndef LUMAGAUGE_PYTHON_PARALLEL_METER_H
#define LUMAGAUGE_PYTHON_PARALLEL_METER_H

#include <lumagauge/lumagauge.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace lumagauge::python {

/// Belongs to one thread, which gives frames and takes their values, both in the order of the
/// video, and never holds the interpreter's lock for the threads that measure.
class ParallelMeter {
public:
  ParallelMeter(Meter &frameMeter, int threads);
  ~ParallelMeter(); ///< waits for the frames that are being measured
  ParallelMeter(const ParallelMeter &) = delete;
  ParallelMeter &operator=(const ParallelMeter &) = delete;

  bool isEmpty() const { return given == taken; } ///< no frame is on its way
  bool hasRoom() const { return given - taken + 1 < slots.size(); }

  /// Room for the next frame's samples, for a caller whose own do not stay. Needs room.
  std::uint8_t *buffer();
  /// The next frame. Its samples must stay until the frame after it was taken. Needs room.
  void give(const Picture &picture);
  /// Waits for the oldest frame on its way; false when it is not measured in time.
  bool wait(std::chrono::milliseconds time);
  /// The values of that frame, once `wait` has returned true; throws what went wrong with it.
  Values take();

private:
  struct Slot {
    explicit Slot(Frame opened) : frame(std::move(opened)) {}

    Frame frame;
    std::vector<std::uint8_t> samples;
    std::optional<Picture> picture, previous;
    bool measured = false;
    std::exception_ptr failure;
  };

  Slot &slot(std::size_t frame) { return slots[frame % slots.size()]; }
  void work();
  void stop();

  Meter &meter;
  std::vector<Slot> slots; ///< a frame's is used again once the frame after it was taken
  std::size_t taken = 0;

  std::mutex mutex; ///< guards what follows, up to the threads, and `measured` of the slots
  std::condition_variable frameGiven, frameMeasured;
  std::size_t given = 0, begun = 0; ///< frames so far
  bool stopped = false;

  std::vector<std::thread> workers;
};

} // namespace lumagauge::python

#endif
