// SPDX-License-Identifier: BSD-2-Clause
//
// Arithmetic with a result defined for every operand.
#ifndef LUMAGAUGE_TOOLS_ARITHMETIC_H
#define LUMAGAUGE_TOOLS_ARITHMETIC_H

#include <cstdint>

namespace lumagauge {

/// Sums and products modulo 2^32; formed without signed overflow.
inline std::int32_t wrappingAdd(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrappingMultiply(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

/// The number of samples as a signed 32-bit integer: the low 32 bits of w * h.
template <class Picture> std::int32_t sampleCount32(const Picture *picture) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(picture->w * picture->h));
}

/// a / b by the CPU's own divider, so that 0 / 0 gives the same NaN in every build: compilers that
/// fold it choose a sign of their own.
inline double quotient(double a, double b) {
  const volatile double divisor = b;
  return a / divisor;
}

} // namespace lumagauge

#endif
