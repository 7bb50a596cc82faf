// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/display.h"

#include "qc/source/libav_input.h"

#include <cstring>

namespace lumagauge::qc {

void stateDisplay(AVFrame &picture, AVFormatContext &container, AVStream &stream) {
  picture.sample_aspect_ratio = av_guess_sample_aspect_ratio(&container, &stream, &picture);
  std::size_t bytes = 0;
  const std::uint8_t *matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &bytes);
  if (matrix == nullptr || av_frame_get_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX) != nullptr)
    return;
  AVFrameSideData *own =
      allocated(av_frame_new_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX, bytes));
  std::memcpy(own->data, matrix, bytes);
}

} // namespace lumagauge::qc
