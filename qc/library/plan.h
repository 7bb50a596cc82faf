// SPDX-License-Identifier: BSD-2-Clause
//
// A plan: inputs dealt into parts, each of which a machine can measure by itself (docs/formats.md).
#ifndef LUMAGAUGE_QC_LIBRARY_PLAN_H
#define LUMAGAUGE_QC_LIBRARY_PLAN_H

#include "qc/source/open_source.h"
#include "qc/source/part_source.h"

#include <filesystem>
#include <functional>

namespace lumagauge::qc {

/// What opening an input tells of it.
struct Probe {
  std::uint32_t width = 0, height = 0; ///< luma samples
  double rate = 0;                     ///< frames a second
  std::optional<double> duration;      ///< seconds
  std::optional<std::int64_t> frames;
};

struct PlanEntry {
  int part = 0;                      ///< from 1
  std::string name;                  ///< of the result files, without their endings
  std::string path;                  ///< of the input, absolute; or a URL
  std::optional<std::int64_t> bytes; ///< empty where the input has no size or cannot be seen
  std::optional<Probe> probe = {};
  std::optional<FrameRange> range = {}; ///< of a part of the input; bytes and probe are its share
};

struct Plan {
  int parts = 0;
  bool isProbed = false; ///< cost is that of the pictures, otherwise that of the bytes
  std::vector<PlanEntry> entries;
};

/// A plan of inputs in their order, each path once. With `isProbed` each input is opened, several
/// at once; what cannot be opened stays, with a word to `options.notice`. Throws InputError where
/// no input can be planned or reading is cancelled.
/// With `longest` long inputs are split.
Plan makePlan(const std::vector<std::string> &inputs, int parts, bool isProbed,
              const std::optional<Extent> &longest, const SourceOptions &options);

/// Puts parts in the place of those entries that are longer than one and a half times `length`, as
/// long as it or somewhat longer or shorter. What cannot be measured in parts stays, with a word to
/// `options.notice`.
void split(Plan &plan, const Extent &length, const SourceOptions &options);

/// What measuring each entry costs, in a unit of the plan's own.
std::vector<double> costs(const Plan &plan);

/// Deals the entries into the parts such that the costliest part costs as little as may be: the
/// costliest entry first, to the part that has least so far. The same for the same entries.
void deal(Plan &plan);

/// Writes or replaces the file. Throws OutputError.
void writePlan(const Plan &plan, const std::filesystem::path &path);

/// Calls `use` for each entry in the order of the lines, and returns the plan without them. Throws
/// InputError, which names the line, where the file is not a whole plan.
Plan readPlan(const std::filesystem::path &path, const std::function<void(PlanEntry)> &use);

} // namespace lumagauge::qc

#endif
