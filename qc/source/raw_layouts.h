// SPDX-License-Identifier: BSD-2-Clause
//
// What raw frames may look like, judged by the size and the name of their file.
#ifndef LUMAGAUGE_QC_SOURCE_RAW_LAYOUTS_H
#define LUMAGAUGE_QC_SOURCE_RAW_LAYOUTS_H

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstdint>
#include <optional>
#include <string>

namespace lumagauge::qc {

struct Geometry {
  int width, height; ///< luma samples
};

/// The picture size that a file's name states, as "clip_320x240.yuv", "cif.yuv" and "1080p.yuv" do.
std::optional<Geometry> geometryInName(const std::string &path);

/// Common layouts of which `bytes` is a whole number of frames: "352x288 yuv420p (3 frames), ...",
/// at most six, empty where none fits. One that the name of the file states is the only one. Else
/// `stated` is tried in all common pixel formats, and common sizes in `format`.
std::string fittingLayouts(std::int64_t bytes, const std::string &path,
                           AVPixelFormat format = AV_PIX_FMT_YUV420P,
                           std::optional<Geometry> stated = {});

} // namespace lumagauge::qc

#endif
