// SPDX-License-Identifier: BSD-2-Clause
//
// Owners of libav's objects.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_POINTERS_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_POINTERS_H

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

namespace lumagauge::qc {

/// Hands a libav object to the function that frees it and clears the pointer to it.
template <auto FREE> struct FreeWith {
  template <class T> void operator()(T *unused) const { FREE(&unused); }
};
using PacketPointer = std::unique_ptr<AVPacket, FreeWith<av_packet_free>>;
using FramePointer = std::unique_ptr<AVFrame, FreeWith<av_frame_free>>;

} // namespace lumagauge::qc

#endif
