// SPDX-License-Identifier: BSD-2-Clause
//
// The profiles that are part of the executable, so that it needs no data files.
#ifndef LUMAGAUGE_QC_JUDGE_SHIPPED_PROFILES_H
#define LUMAGAUGE_QC_JUDGE_SHIPPED_PROFILES_H

#include <array>
#include <string_view>

namespace lumagauge::qc {

struct ShippedProfile {
  std::string_view name, text;
};
extern const std::array<ShippedProfile, 2> SHIPPED_PROFILES;

} // namespace lumagauge::qc

#endif
