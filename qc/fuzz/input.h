// SPDX-License-Identifier: BSD-2-Clause
//
// What the fuzz targets of sources share: bytes as a file, and reading a source to its end.
#ifndef LUMAGAUGE_QC_FUZZ_INPUT_H
#define LUMAGAUGE_QC_FUZZ_INPUT_H

#include "qc/measure/pipeline.h"
#include "qc/record.h"
#include "qc/source/open_source.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

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

/// Measures what can be read of a few small frames, which must come in order.
inline void measureAll(const std::uint8_t *data, std::size_t size, SourceOptions options) {
  options.maxPixels = 1 << 18;
  options.duration = Frames{12};
  const MemoryFile file(data, size);
  try {
    const auto source = openSource(file.path(), options);
    std::int64_t last = -1;
    measureFrames(*source, ALL_INDICATORS, 1, [&](const FrameRecord &record) {
      if (record.frame <= last)
        std::abort();
      last = record.frame;
    });
    for (const DecodeError &error : source->end().errors)
      if (error.frame < 0 || error.frame > last + 1000000)
        std::abort();
  } catch (const InputError &) {
    // Refused.
  } catch (const std::bad_alloc &) {
    // A damaged header may ask for more than libav allocates.
  }
}

} // namespace lumagauge::qc

#endif
