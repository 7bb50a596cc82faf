// SPDX-License-Identifier: BSD-2-Clause
//
// A part of a video, measured such that it fits the parts beside it.
#ifndef LUMAGAUGE_QC_SOURCE_PART_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_PART_SOURCE_H

#include "qc/source/source.h"

#include <memory>

namespace lumagauge::qc {

/// Frames `begin` to `end` - 1 of a video, to its last one where `end` is empty.
struct FrameRange {
  std::int64_t begin = 0;
  std::optional<std::int64_t> end;
};

/// A frame beside the border of two parts. Both know one: that of the earlier part's end is the one
/// ahead of the later part's begin. They are the same where each part is what it is in the whole.
struct Seam {
  std::int64_t frame = 0;
  double time = 0;         ///< seconds
  std::int64_t packet = 0; ///< that the picture came of
  std::string luma;        ///< MD5 of the samples, hexadecimal

  bool operator==(const Seam &) const = default;
};

/// What is known of a part besides its frames, for joining it with others.
struct PartFacts {
  FrameRange range;
  bool hasEnd = false;              ///< no frame of the video follows the last one of the part
  std::optional<Seam> before, last; ///< empty: the part begins or ends with the video
  Entry entry;
};

/// The first frame that values of frame `begin` depend on, at `rate` frames a second: flickering is
/// measured over periods that are counted from the first frame of the video, freezing looks back a
/// tenth of a second, stale rows some pictures, the others a frame at most.
std::int64_t leadStart(std::int64_t begin, double rate);

/// Delivers the frames of a range, and ahead of them those that their values depend on.
class PartSource : public VideoSource {
public:
  /// Nothing was read from `whole` yet.
  PartSource(std::unique_ptr<VideoSource> whole, const FrameRange &range);

  const InputInfo &info() const override { return source->info(); }
  void select(std::int64_t first, std::optional<std::int64_t> count) override;
  bool read(LumaPicture &picture) override;
  Entry entry() const override { return source->entry(); }
  InputEnd end() const override;
  /// Complete once `read` has returned false.
  PartFacts facts() const;

private:
  std::unique_ptr<VideoSource> source;
  PartFacts part;
};

} // namespace lumagauge::qc

#endif
