// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_TOOLS_ROWS_SIMD_H
#define LUMAGAUGE_TOOLS_ROWS_SIMD_H

#include "tools/rows.h"

#include <cstdint>
#include <vector>

namespace lumagauge {

struct VectorForm {
  const char *name;
  const RowOperations *operations; ///< null where this build lacks the form
  bool supported;                  ///< by this CPU
};
/// The vector forms of this architecture, best first. A build for one CPU (-march=native) lacks
/// those below it.
std::vector<VectorForm> vectorForms();

/// The targets that this CPU and its system run, as Highway's bits HWY_AVX2 and so on.
std::int64_t vectorTargets();

} // namespace lumagauge

#endif
