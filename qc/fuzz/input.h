// SPDX-License-Identifier: BSD-2-Clause
//
// What the fuzz targets of sources share: reading a source to its end.
#ifndef LUMAGAUGE_QC_FUZZ_INPUT_H
#define LUMAGAUGE_QC_FUZZ_INPUT_H

#include "qc/fuzz/memory_file.h"
#include "qc/measure/pipeline.h"
#include "qc/record.h"
#include "qc/source/open_source.h"

#include <cstdlib>
#include <new>

namespace lumagauge::qc {

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
