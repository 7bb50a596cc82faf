// SPDX-License-Identifier: BSD-2-Clause
//
// Linked with the command's own sources: fixes the form before main, as the command has no switch
// for it.
#include "bench/target.h"

namespace {
[[maybe_unused]] const bool formIsFixed = lumagauge::bench::useFormOfEnvironment();
}
