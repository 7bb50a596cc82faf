// SPDX-License-Identifier: BSD-2-Clause
#ifndef LUMAGAUGE_INDICATORS_READ_PLANE_H
#define LUMAGAUGE_INDICATORS_READ_PLANE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace lumagauge {

/// Reads `size` bytes at `from`, where the unbuffered stream stands, as std::fread does: returns
/// how many there were, leaves the rest of `plane` as it is at the end of the file, and the
/// stream's error indicator tells a failure, with errno, from that end. The CPU's time to copy a
/// large plane is shared with a second thread.
std::size_t readPlane(std::FILE *video, off_t from, std::size_t size, std::uint8_t *plane);

} // namespace lumagauge

#endif
