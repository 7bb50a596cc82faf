// SPDX-License-Identifier: BSD-2-Clause
//
// Raw frames of any layout: the first line of the input is one as the command line has it, the rest
// is the file.
#include "input.h"
#include "qc/durations.h"
#include "qc/options.h"

#include <algorithm>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace lumagauge::qc;
  const std::uint8_t *const end = data + size;
  const std::uint8_t *const lineEnd = std::find(data, end, '\n');
  std::istringstream line(std::string(data, lineEnd));
  std::string geometry, start;
  RawLayout layout;
  std::int64_t frameBytes = 0;
  line >> geometry >> layout.pixelFormat;
  if (line >> frameBytes)
    layout.frameBytes = frameBytes;
  const auto picture = parseSize(geometry);
  if (!picture || lineEnd == end)
    return 0;
  layout.width = picture->first;
  layout.height = picture->second;
  SourceOptions options;
  options.raw = layout;
  if (line >> start)
    options.start = parseExtent(start);
  measureAll(lineEnd + 1, static_cast<std::size_t>(end - lineEnd - 1), options);
  return 0;
}
