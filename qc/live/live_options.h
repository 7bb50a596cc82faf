// SPDX-License-Identifier: BSD-2-Clause
//
// What can be asked of the measuring of a stream that never ends.
#ifndef LUMAGAUGE_QC_LIVE_LIVE_OPTIONS_H
#define LUMAGAUGE_QC_LIVE_LIVE_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumagauge::qc {

/// When the files of --output give way to new ones; one of the two is there.
struct Rotation {
  std::optional<double> seconds = {};
  std::optional<std::int64_t> bytes = {}; ///< of the larger file
};

struct LiveOptions {
  bool enabled = false;
  std::string events = "-"; ///< path, "-" for standard output
  double window = 60;       ///< seconds
  std::string metrics;      ///< path; empty: no such file
  bool reconnect = false;
  Rotation rotation{.seconds = 3600};
};

/// A duration or a size, "500MB" (kB, MB, GB: powers of 1000), above 0; empty where the text is
/// neither.
std::optional<Rotation> parseRotation(std::string_view text);

} // namespace lumagauge::qc

#endif
