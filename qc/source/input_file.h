// SPDX-License-Identifier: BSD-2-Clause
//
// The bytes of an input: a file by its path, whatever its name looks like, or standard input.
#ifndef LUMAGAUGE_QC_SOURCE_INPUT_FILE_H
#define LUMAGAUGE_QC_SOURCE_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace lumagauge::qc {

/// Lets every read of this process that waits for bytes, now or later, give up with ECANCELED
/// within a fraction of a second. Safe in a signal handler.
void cancelReading() noexcept;
bool isReadingCancelled() noexcept;

class InputFile {
public:
  explicit InputFile(const std::string &path); ///< "-": standard input. Throws InputError.
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
  int descriptor;
  std::optional<std::int64_t> byteCount;
  std::int64_t offsetNow = 0;
  bool pastEnd = false;
  int failed = 0;
};

} // namespace lumagauge::qc

#endif
