// SPDX-License-Identifier: BSD-2-Clause
//
// The pictures of a report from the file that was measured, after measuring.
#ifndef LUMAGAUGE_QC_PICTURES_PICTURE_FETCHER_H
#define LUMAGAUGE_QC_PICTURES_PICTURE_FETCHER_H

#include "qc/pictures/frame_seeker.h"
#include "qc/pictures/report_pictures.h"

namespace lumagauge::qc {

struct PictureOrder {
  std::string input;            ///< a file that can be read again
  SourceOptions source;         ///< as it was measured
  int stream = 0;               ///< of the container
  std::optional<double> origin; ///< time stamp of what the index has at time 0; empty: it has none
  std::vector<PictureWish> wishes; ///< the worst first
  Deadline deadline;               ///< then what is there is taken
  int threads = 1;                 ///< at most; there are four at most, as each has a decoder
};

/// A filmstrip over the whole film, coarse at first, and the frames of the events: as far as time
/// allows, on a few threads. What goes wrong with the file is a `reason` for pictures that are
/// missing and no more.
ReportPictures fetchPictures(const PictureOrder &order, const ShownFrames &index);

} // namespace lumagauge::qc

#endif
