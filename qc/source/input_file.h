// SPDX-License-Identifier: BSD-2-Clause
//
// The bytes of an input: a file by its path, whatever its name looks like, or standard input.
#ifndef LUMAGAUGE_QC_SOURCE_INPUT_FILE_H
#define LUMAGAUGE_QC_SOURCE_INPUT_FILE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lumagauge::qc {

/// Lets every read of this process that waits for bytes, now or later, give up with ECANCELED
/// within a fraction of a second. Safe in a signal handler.
void cancelReading() noexcept;
bool isReadingCancelled() noexcept;

using Notice = std::function<void(const std::string &)>;

/// All of a file, a pipe or standard input ("-"), which holds at most `mostBytes`. What it waits
/// for is told to `notice` with the path. Throws InputError.
std::string readText(const std::string &path, std::size_t mostBytes, const Notice &notice);

/// For how long a reader has been waiting for bytes; other threads may ask.
class WaitClock {
public:
  using Clock = std::chrono::steady_clock;

  void start() noexcept { since = Clock::now().time_since_epoch().count(); }
  /// `arrived`: bytes came.
  void stop(bool arrived) noexcept {
    since = 0;
    arrivalCount += arrived ? 1 : 0;
  }
  double seconds() const noexcept; ///< 0 while nobody waits
  std::int64_t arrivals() const noexcept { return arrivalCount; }

private:
  std::atomic<Clock::rep> since = 0;
  std::atomic<std::int64_t> arrivalCount = 0;
};

/// How reads wait for bytes.
struct Patience {
  std::optional<double> seconds = {}; ///< a read that waits longer fails with ETIMEDOUT
  WaitClock *clock = nullptr;         ///< runs while a read waits; may be null
};

/// The words for an error number of a read.
std::string readErrorText(int error);

class InputFile {
public:
  /// "-": standard input. A named pipe is open at once and waits in the first read for a writer;
  /// where that takes a while `notice`, unless empty, is told so. Throws InputError.
  explicit InputFile(const std::string &path, Notice notice = nullptr, Patience patience = {});
  ~InputFile();
  InputFile(const InputFile &) = delete;
  InputFile &operator=(const InputFile &) = delete;

  /// Bytes in the file; empty where it cannot be sought (pipes, terminals, devices).
  std::optional<std::int64_t> size() const { return byteCount; }
  /// Some bytes, at most `bytes`; 0 at the end and after a failure, which `failure` tells apart.
  std::size_t readSome(void *destination, std::size_t bytes);
  /// As many bytes as there are, at most `bytes`.
  std::size_t readFully(void *destination, std::size_t bytes);
  /// Passes over `bytes` bytes, as far as there are that many, and returns their number.
  std::int64_t skip(std::int64_t bytes);
  /// To `offset` from the start of a file that has a size; false after a failure.
  bool seek(std::int64_t offset);

  std::int64_t position() const { return offsetNow; }
  /// A read asked for bytes behind the last one, or a seek went there.
  bool wentPastEnd() const { return pastEnd; }
  /// The error number of the first read that failed, 0 where none did.
  int failure() const { return failed; }

private:
  bool waitForBytes();

  int descriptor;
  bool isNamedPipe = false;
  Notice notice; ///< until bytes have come
  Patience patience;
  std::optional<std::int64_t> byteCount;
  std::int64_t offsetNow = 0;
  bool pastEnd = false;
  int failed = 0;
};

} // namespace lumagauge::qc

#endif
