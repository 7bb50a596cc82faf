// SPDX-License-Identifier: BSD-2-Clause
#include "tools/rows_simd.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace lumagauge::test {
namespace {

TEST(VectorTargets, AreThoseThatHighwayFinds) {
  constexpr std::int64_t KNOWN = HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3 | HWY_AVX3_DL;
  EXPECT_EQ(vectorTargets(), hwy::SupportedTargets() & KNOWN);
}

} // namespace
} // namespace lumagauge::test
