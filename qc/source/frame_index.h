// SPDX-License-Identifier: BSD-2-Clause
//
// The packets of a stream, read without decoding: which pictures they will give, and from where
// decoding gives them right.
#ifndef LUMAGAUGE_QC_SOURCE_FRAME_INDEX_H
#define LUMAGAUGE_QC_SOURCE_FRAME_INDEX_H

#include "qc/source/libav_input.h"

#include <string>
#include <vector>

namespace lumagauge::qc {

struct IndexedPacket {
  std::int64_t pts, dts, position; ///< in the stream's time base; in bytes, as libav says
  std::int64_t duration;
  std::int32_t size;   ///< bytes
  bool key = false;    ///< decoding may begin with it
  bool fresh = false;  ///< and nothing behind it rests on what is ahead, but what is shown ahead
  bool shows = true;   ///< it does not say that nothing of it is shown
  bool second = false; ///< the other field of the picture of the packet before

  bool givesPicture() const { return shows && !second; }
};

/// Where decoding may begin for the pictures from some number on.
struct EntryPoint {
  std::size_t packet = 0; ///< the first to be decoded
  /// Pictures of packets from this one on are those of the whole; what the decoder says of those
  /// ahead of it may be for lack of what they rest on.
  std::size_t exact = 0;
  std::size_t picture = 0; ///< number of the first of these, in the order of presentation
};

/// Pictures of a stream that is whole and gives one for each packet that says so. Packets and
/// pictures are counted from 0; a picture stands for the number of its packet.
class FrameIndex {
public:
  /// Reads all packets of the stream of that number. `unfit` says why pictures cannot be told from
  /// them; the rest is empty then. Throws InputError and std::bad_alloc.
  FrameIndex(const std::string &input, int stream, const SourceOptions &options);

  const std::string &unfit() const { return reason; }
  /// Bare streams have none, and their pictures are taken in the order of the packets, which at key
  /// frames comes to the same.
  bool hasStamps() const { return stamped; }
  const std::vector<IndexedPacket> &packets() const { return list; }
  /// The packets of the pictures, in the order of presentation.
  const std::vector<std::uint32_t> &pictures() const { return order; }
  /// The first key frame behind the packet, as an entry point; none where there is no more.
  std::optional<EntryPoint> keyBehind(std::size_t packet) const;
  /// For the pictures from `picture` on; none where decoding has to begin with the stream.
  std::optional<EntryPoint> entryFor(std::size_t picture) const;

private:
  void read(LibavInput &input, const AVStream &stream);
  bool countEvenPackets(LibavInput &input, const AVStream &stream);
  void putInOrder();
  void findKeys();

  std::vector<IndexedPacket> list;
  std::vector<std::uint32_t> order;
  struct Key {
    std::uint32_t packet, picture; ///< the number of pictures from ahead of it
    bool isClosed;                 ///< nothing behind it rests on what is ahead of it
  };
  bool stamped = false;
  bool isIntra = false;  ///< no picture rests on another
  std::vector<Key> keys; ///< all whose pictures follow all pictures from ahead of them
  std::string reason;
};

} // namespace lumagauge::qc

#endif
