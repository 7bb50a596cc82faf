// SPDX-License-Identifier: BSD-2-Clause
//
// A video that is opened, decoded and measured in the background, so that the interpreter's thread
// can look for Ctrl-C whatever the input is waiting for.
#ifndef LUMAGAUGE_PYTHON_FEED_H
#define LUMAGAUGE_PYTHON_FEED_H

#include "qc/source/open_source.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace lumagauge::python {

/// What is to be measured of which input.
struct Order {
  std::string path;
  qc::SourceOptions source;
  std::uint32_t indicators;
  int threads;
};

/// Reads ahead by a bounded number of frames. All but the destructor may be called on any thread.
class Feed {
public:
  explicit Feed(Order order);
  ~Feed();
  Feed(const Feed &) = delete;
  Feed &operator=(const Feed &) = delete;

  /// Ends the reading. A read that waits for bytes, of a pipe for instance, is not waited for: its
  /// thread ends by itself when it gets some.
  void stop();

  /// These wait for at most `time`, and return false where there is nothing to be had yet.
  bool waitOpen(std::chrono::milliseconds time);
  bool waitFrame(std::chrono::milliseconds time); ///< true at the end, too

  /// After waitOpen. Throws what opening the input has thrown, InputError with the path in front.
  qc::InputInfo info() const;
  /// After waitFrame: the next record, empty at the end. Throws what reading has thrown.
  std::optional<qc::FrameRecord> next();
  qc::InputEnd end() const; ///< complete after the last frame

private:
  struct State;
  std::shared_ptr<State> state; ///< the thread's as well
  std::thread thread;
};

} // namespace lumagauge::python

#endif
