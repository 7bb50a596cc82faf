// SPDX-License-Identifier: BSD-2-Clause
//
// Which vector instructions this machine runs. Highway's library knows too, but it measures the
// clock when it is loaded, which takes longer than all the rest of a program's start. So x86 asks
// the CPU itself, and programs there need Highway's headers alone.
#include "tools/rows_simd.h"

#include <hwy/targets.h>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace lumagauge {

#if HWY_ARCH_X86

namespace {

/// Bits of CPUID's registers, named in <cpuid.h>, and the registers that the system saves (XCR0).
struct Features {
  std::uint32_t leaf1Ecx = 0;
  std::uint32_t leaf7Ebx = 0;
  std::uint32_t leaf7Ecx = 0;
  std::uint32_t extendedEcx = 0; ///< of leaf 0x80000001
  std::uint32_t saved = 0;

  bool include(const Features &wanted) const {
    return (wanted.leaf1Ecx & ~leaf1Ecx) == 0 && (wanted.leaf7Ebx & ~leaf7Ebx) == 0 &&
           (wanted.leaf7Ecx & ~leaf7Ecx) == 0 && (wanted.extendedEcx & ~extendedEcx) == 0 &&
           (wanted.saved & ~saved) == 0;
  }
};

struct Target {
  std::int64_t bit;
  Features added; ///< what it needs more than the targets before it
};
constexpr Target TARGETS[] = {
    {HWY_SSSE3, {.leaf1Ecx = bit_SSE3 | bit_SSSE3}},
    {HWY_SSE4, {.leaf1Ecx = bit_SSE4_1 | bit_SSE4_2 | bit_PCLMUL | bit_AES | bit_POPCNT}},
    {HWY_AVX2,
     {.leaf1Ecx = bit_OSXSAVE | bit_AVX | bit_FMA | bit_F16C,
      .leaf7Ebx = bit_AVX2 | bit_BMI | bit_BMI2,
      .extendedEcx = bit_LZCNT,
      .saved = 0x06}}, // XMM, YMM
    {HWY_AVX3,
     {.leaf7Ebx = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL,
      .saved = 0xE0}}, // masks, ZMM
    {HWY_AVX3_DL,
     {.leaf7Ecx = bit_AVX512VBMI | bit_AVX512VBMI2 | bit_VAES | bit_VPCLMULQDQ | bit_AVX512VNNI |
                  bit_AVX512BITALG | bit_AVX512VPOPCNTDQ}},
};

Features thisMachine() {
  Features machine;
  std::uint32_t unused = 0;
  __get_cpuid(1, &unused, &unused, &machine.leaf1Ecx, &unused);
  __get_cpuid_count(7, 0, &unused, &machine.leaf7Ebx, &machine.leaf7Ecx, &unused);
  __get_cpuid(0x80000001, &unused, &unused, &machine.extendedEcx, &unused);
  if ((machine.leaf1Ecx & bit_OSXSAVE) != 0)
    asm volatile("xgetbv" : "=a"(machine.saved), "=d"(unused) : "c"(0));
  return machine;
}

} // namespace

std::int64_t vectorTargets() {
  const Features machine = thisMachine();
  std::int64_t targets = 0;
  for (const Target &target : TARGETS) {
    if (!machine.include(target.added))
      break;
    targets |= target.bit;
  }
  return targets;
}

#else

std::int64_t vectorTargets() {
  return hwy::SupportedTargets();
}

#endif

} // namespace lumagauge
