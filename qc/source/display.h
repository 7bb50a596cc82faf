// SPDX-License-Identifier: BSD-2-Clause
//
// How pictures are to be shown, which some containers say and not the pictures themselves.
#ifndef LUMAGAUGE_QC_SOURCE_DISPLAY_H
#define LUMAGAUGE_QC_SOURCE_DISPLAY_H

extern "C" {
#include <libavformat/avformat.h>
}

namespace lumagauge::qc {

/// Puts what the stream says of the shape of samples and of turning into a picture of it that has
/// no word of its own.
void stateDisplay(AVFrame &picture, AVFormatContext &container, AVStream &stream);

} // namespace lumagauge::qc

#endif
