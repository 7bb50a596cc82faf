// SPDX-License-Identifier: BSD-2-Clause
//
// Files that are whole under their name or not there at all.
#ifndef LUMAGAUGE_QC_REPORT_ATOMIC_FILE_H
#define LUMAGAUGE_QC_REPORT_ATOMIC_FILE_H

#include "qc/report/digest.h"

#include <array>
#include <ostream>
#include <stdexcept>
#include <streambuf>

namespace lumagauge::qc {

/// A file that cannot be written; the message names it and says why.
class OutputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Gives bytes to a descriptor and to a digest. After a write that fails nothing more is written.
class DigestingBuffer : public std::streambuf {
public:
  DigestingBuffer() { setp(bytes.data(), bytes.data() + bytes.size()); }

  int descriptor = -1;
  int failure = 0; ///< the error number of the first write that failed
  std::int64_t size = 0;
  Sha256 digest;

protected:
  int_type overflow(int_type c) override;
  int sync() override; ///< writes what is buffered, without waiting for the disk

private:
  std::array<char, 1 << 16> bytes;
};

/// A file that takes its name, replacing what is there, on commit, when all of it is on the disk.
/// Until then it has no name at all or, where the file system knows no such files, one of its own
/// in the same folder, "lumagauge-HOST-PROCESS-RANDOM.part". Destroyed without a commit it leaves
/// nothing behind. What a member cannot do it throws as OutputError.
class AtomicFile {
public:
  /// Refuses right away a name that the file could not take in the end.
  explicit AtomicFile(std::filesystem::path path);
  ~AtomicFile();
  AtomicFile(const AtomicFile &) = delete;
  AtomicFile &operator=(const AtomicFile &) = delete;

  std::ostream &stream() { return output; }
  void check() const;                                  ///< throws where a write has failed
  std::int64_t written() const { return buffer.size; } ///< bytes, less what is buffered
  /// Nothing can be written after it. Waits until all is on the disk where it is to outlast a stop
  /// of the machine.
  ContentDigest seal(bool lasts = true);
  void commit(); ///< of a sealed file; OpenFolder::sync makes the new name last

private:
  [[noreturn]] void fail(const char *what, int error) const;
  void closeDescriptor();

  std::filesystem::path path, folder, temporary; ///< `temporary` is empty while there is no name
  DigestingBuffer buffer;
  std::ostream output;
};

/// A folder whose files change. Where it may not be opened, or its file system lacks what a member
/// does, the members do nothing; what else goes wrong they throw as OutputError.
class OpenFolder {
public:
  explicit OpenFolder(std::filesystem::path path);
  ~OpenFolder();
  OpenFolder(const OpenFolder &) = delete;
  OpenFolder &operator=(const OpenFolder &) = delete;

  void lock(); ///< waits until no other process has it locked; the end of the object unlocks it
  void sync(); ///< waits until the names that were given and taken in it are on the disk

private:
  std::filesystem::path path;
  int descriptor;
};

} // namespace lumagauge::qc

#endif
