// SPDX-License-Identifier: BSD-2-Clause
//
// Damaged containers and streams through the source layer.
#include "input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace lumagauge::qc;
  SourceOptions options;
  options.decodeThreads = 1;
  measureAll(data, size, options);
  return 0;
}
