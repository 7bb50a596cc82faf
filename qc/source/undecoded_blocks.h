// SPDX-License-Identifier: BSD-2-Clause
//
// The parts of pictures that a decoder wrote nothing into.
#ifndef LUMAGAUGE_QC_SOURCE_UNDECODED_BLOCKS_H
#define LUMAGAUGE_QC_SOURCE_UNDECODED_BLOCKS_H

#include "qc/source/libav_pointers.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace lumagauge::qc {

/// Where a slice ends too early some decoders say nothing, and what an older picture left in the
/// memory shows. So each block of 16x16 luma samples of a new picture gets a mark, the samples
/// inside that no neighbour's filters reach; a block with its mark in place was not decoded.
class UndecodedBlocks {
public:
  /// Marks a picture that a decoder is about to fill. Keeps a reference to it. Any thread; false
  /// where memory is missing.
  bool mark(const AVFrame &picture) noexcept;

  struct Finding {
    std::int64_t tag; ///< `reordered_opaque` of the picture
    double share;     ///< of its blocks that were not decoded
  };
  /// Of the pictures whose tags are at most `tag`, all of which are decoded, those that are not
  /// whole; what is not decoded of them becomes grey. Forgets all of them.
  std::vector<Finding> take(std::int64_t tag);

private:
  std::mutex mutex; ///< a decoder's threads mark
  std::deque<FramePointer> marked;
};

} // namespace lumagauge::qc

#endif
