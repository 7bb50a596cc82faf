/* SPDX-License-Identifier: BSD-2-Clause */
#include <lumagauge/lumagauge.h>

const lumagauge_options *options(void);
const lumagauge_options *options(void) {
  static const lumagauge_options INIT = LUMAGAUGE_OPTIONS_INIT(16, 16);
  return &INIT;
}
