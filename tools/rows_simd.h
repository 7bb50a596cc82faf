// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_TOOLS_ROWS_SIMD_H
#define LUMAGAUGE_TOOLS_ROWS_SIMD_H

#include "tools/rows.h"

#include <vector>

namespace lumagauge {

struct VectorForm {
  const RowOperations *operations;
  bool supported; ///< by this CPU
};
/// The vector forms in this build, best first.
std::vector<VectorForm> vectorForms();

} // namespace lumagauge

#endif
