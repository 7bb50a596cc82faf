// SPDX-License-Identifier: BSD-2-Clause
#include <lumagauge/lumagauge.hpp>
