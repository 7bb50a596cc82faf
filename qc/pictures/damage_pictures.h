// SPDX-License-Identifier: BSD-2-Clause
//
// Pictures around damage, of an input that is read once: which events it makes is known at its end.
#ifndef LUMAGAUGE_QC_PICTURES_DAMAGE_PICTURES_H
#define LUMAGAUGE_QC_PICTURES_DAMAGE_PICTURES_H

#include "qc/pictures/report_pictures.h"
#include "qc/pictures/thumbnail.h"

#include <memory>
#include <utility>

namespace lumagauge::qc {

/// A picture that is kept while it may be wanted.
struct Kept {
  RgbPicture picture;
  double time; ///< seconds, as the frame's record has it
};
using KeptPointer = std::shared_ptr<const Kept>;

/// Of each place with damage the frame ahead of it, the first damaged one, the one behind it and
/// the first that decoding begins anew with. Some 15 MB at the most: of many places those are kept
/// that the decoder reported, and of these the longest.
class DamagePictures {
public:
  /// The next frame. `isReported`: something was said to be wrong with it or ahead of it. A frame
  /// that is shown late counts as well, as pictures may be missing ahead of it.
  void add(std::int64_t frame, const KeptPointer &kept, bool isReported, bool isIntra);
  void finish();
  /// The frames nearest to those that show an event; of the worst the first damaged one in it.
  EventPictures near(const PictureWish &wish) const;

private:
  using Frame = std::pair<std::int64_t, KeptPointer>; ///< null where there is none
  struct Place {
    Frame before, first, behind, anew;
    bool isReported = false;
    std::int64_t last = 0; ///< damaged frame
    double seconds = 0;    ///< from the frame before to the last damaged one
  };
  void close();

  Frame previous;
  double step = 0; ///< seconds between the last two frames
  std::optional<Place> current;
  std::vector<Place> places;
};

} // namespace lumagauge::qc

#endif
