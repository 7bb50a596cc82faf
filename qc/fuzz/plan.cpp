// SPDX-License-Identifier: BSD-2-Clause
//
// Plans as people may change them: what is taken of one can be measured and dealt anew.
#include "qc/library/plan.h"
#include "qc/fuzz/memory_file.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace lumagauge::qc;
  const MemoryFile file(data, size);
  std::vector<PlanEntry> entries;
  try {
    Plan plan =
        readPlan(file.path(), [&](PlanEntry entry) { entries.push_back(std::move(entry)); });
    for (const PlanEntry &entry : entries) {
      const bool isFileName = !entry.name.empty() && entry.name.find('/') == std::string::npos &&
                              entry.name.find('\0') == std::string::npos;
      const bool isRange =
          !entry.range ||
          (entry.range->begin >= 0 && entry.range->end.value_or(INT64_MAX) > entry.range->begin);
      if (entry.part < 1 || entry.part > plan.parts || !isFileName || !isRange ||
          entry.path.find('\0') != std::string::npos || entry.bytes.value_or(0) < 0)
        std::abort();
    }
    plan.entries = std::move(entries);
    for (const double cost : costs(plan))
      if (!std::isfinite(cost) || cost < 0)
        std::abort();
    plan.parts = static_cast<int>(1 + plan.entries.size() % 7);
    deal(plan);
  } catch (const InputError &) {
    // Refused.
  }
  return 0;
}
