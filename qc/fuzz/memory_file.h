// SPDX-License-Identifier: BSD-2-Clause
//
// What all fuzz targets of files share: bytes as a file.
#ifndef LUMAGAUGE_QC_FUZZ_MEMORY_FILE_H
#define LUMAGAUGE_QC_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace lumagauge::qc {

/// A file that holds the bytes, in memory alone.
class MemoryFile {
public:
  MemoryFile(const std::uint8_t *data, std::size_t size)
      : descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size))
      std::abort();
  }
  ~MemoryFile() { close(descriptor); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
  int descriptor;
};

} // namespace lumagauge::qc

#endif
