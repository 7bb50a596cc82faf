// SPDX-License-Identifier: BSD-2-Clause
//
// The form of the row operations that LUMAGAUGE_TARGET asks for, in benchmark programs.
#ifndef LUMAGAUGE_BENCH_TARGET_H
#define LUMAGAUGE_BENCH_TARGET_H

#include "tools/rows.h"

#include <cstdio>
#include <cstdlib>

namespace lumagauge::bench {

/// Makes that form the one in use, or ends the program with a message and 77 where the build or
/// the CPU lacks it. Whether one was asked for.
inline bool useFormOfEnvironment() {
  const char *target = std::getenv("LUMAGAUGE_TARGET");
  if (target != nullptr && !useRows(target)) {
    std::fprintf(stderr, "LUMAGAUGE_TARGET: this build or this CPU has no form %s\n", target);
    std::_Exit(77);
  }
  return target != nullptr;
}

} // namespace lumagauge::bench

#endif
