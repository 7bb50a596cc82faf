// SPDX-License-Identifier: BSD-2-Clause
//
// The vector form of the row operations, written once and compiled for every target that Highway
// knows of this architecture. Rows shorter than a vector go to the plain form. The rest of a row
// behind the last whole vector is one more vector that ends with the row, less the lanes already
// counted.
#include "tools/rows_simd.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tools/rows_simd.cpp"
#include <hwy/foreach_target.h>

#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include "tools/rows_simd_blocks-inl.h"
#include "tools/rows_simd_edges-inl.h"
#include "tools/rows_simd_sums-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace lumagauge {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

const RowOperations *operations() {
  return nullptr;
} // the plain form serves CPUs without vectors

#else

const RowOperations *operations() {
  static const RowOperations VECTOR{
      .form = hwy::TargetName(HWY_TARGET),
      .moments = moments,
      .absDifference = absDifference,
      .squaredDifference = squaredDifference,
      .countEqual = countEqual,
      .firstDifference = firstDifference,
      .countEnds = countEnds,
      .markAbove = markAbove,
      .darkStart = darkStart,
      .darkEnd = darkEnd,
      .crossEnergy = crossEnergy,
      .sobelEnergy = sobelEnergy,
      .blockSums = blockSums,
      .blockDeviations = blockDeviations,
      .changedBlocks = changedBlocks,
      .blockChanges = blockChanges,
      .segmentGradients = segmentGradients,
      .columnSteps = columnSteps,
      .rowSteps = rowSteps,
      .combBlocks = combBlocks,
      .columnBorders = columnBorders,
      .edgeColumns = edgeColumns,
      .edgeWidths = edgeWidths,
      .strongCrosses = strongCrosses,
      .residualDeviations = residualDeviations,
  };
  return &VECTOR;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace lumagauge
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace lumagauge {

std::vector<VectorForm> vectorForms() {
  using Operations = const RowOperations *(*)();
  struct Target {
    std::int64_t bit;
    Operations operations; ///< null where the target is not in this build
  };
  const Target targets[] = {
#if HWY_ARCH_X86
    {HWY_AVX3_DL, HWY_CHOOSE_AVX3_DL(operations)},
    {HWY_AVX3, HWY_CHOOSE_AVX3(operations)},
    {HWY_AVX2, HWY_CHOOSE_AVX2(operations)},
    {HWY_SSE4, HWY_CHOOSE_SSE4(operations)},
    {HWY_SSSE3, HWY_CHOOSE_SSSE3(operations)},
#elif HWY_ARCH_ARM
    {HWY_SVE2_128, HWY_CHOOSE_SVE2_128(operations)},
    {HWY_SVE2, HWY_CHOOSE_SVE2(operations)},
    {HWY_SVE_256, HWY_CHOOSE_SVE_256(operations)},
    {HWY_SVE, HWY_CHOOSE_SVE(operations)},
    {HWY_NEON, HWY_CHOOSE_NEON(operations)},
#endif
  };
  const std::int64_t supported = vectorTargets();
  std::vector<VectorForm> forms;
  for (const Target &target : targets) {
    const RowOperations *operations = target.operations == nullptr ? nullptr : target.operations();
    forms.push_back({hwy::TargetName(target.bit), operations, (supported & target.bit) != 0});
  }
  return forms;
}

} // namespace lumagauge
#endif
