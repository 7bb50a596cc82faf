// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/shortfall.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace lumagauge::qc {

namespace {

/// Containers and streams may differ in length by so much without anything missing.
constexpr double SHORTER_DURATION_SECONDS = 0.1;
/// Bytes of a packet of a transport stream: plain, with a time code, with check bytes.
constexpr std::array<std::int64_t, 3> TRANSPORT_PACKETS{188, 192, 204};

/// In so few bytes MPEG-4 says that the picture stays, and Dirac that the sequence ends.
constexpr int MOST_BYTES_OF_NO_PICTURE = 19;
constexpr int VP8_SHOWN = 0x10; ///< in the first byte of a frame
/// Of Ogg: a page at most, its header without the table of lengths, a flag in it.
constexpr std::int64_t MOST_PAGE_BYTES = 65307;
constexpr std::size_t PAGE_HEADER_BYTES = 27;
constexpr int LAST_PAGE = 4;

} // namespace

bool givesPicture(const AVPacket &packet, AVCodecID codec) {
  if ((packet.flags & AV_PKT_FLAG_DISCARD) != 0)
    return false;
  if (codec == AV_CODEC_ID_MPEG4 || codec == AV_CODEC_ID_DIRAC)
    return packet.size > MOST_BYTES_OF_NO_PICTURE;
  return codec != AV_CODEC_ID_VP8 || (packet.data[0] & VP8_SHOWN) != 0;
}

bool endsWithLastPage(AVIOContext &file) {
  const std::int64_t size = avio_size(&file);
  std::string tail(static_cast<std::size_t>(std::clamp<std::int64_t>(size, 0, MOST_PAGE_BYTES)), 0);
  avio_seek(&file, size - static_cast<std::int64_t>(tail.size()), SEEK_SET);
  tail.resize(static_cast<std::size_t>(
      std::max(0, avio_read(&file, reinterpret_cast<unsigned char *>(tail.data()),
                            static_cast<int>(tail.size())))));
  const std::size_t start = tail.rfind("OggS");
  const std::string page = start == std::string::npos ? "" : tail.substr(start);
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(page[at]); };
  if (page.size() < PAGE_HEADER_BYTES || (byte(5) & LAST_PAGE) == 0)
    return false;
  std::size_t length = PAGE_HEADER_BYTES + byte(PAGE_HEADER_BYTES - 1);
  for (std::size_t at = PAGE_HEADER_BYTES, end = length; at < end && at < page.size(); ++at)
    length += byte(at);
  return page.size() >= length;
}

void ReadingTotals::add(const AVPacket &packet) {
  ++packets;
  lastPacketEnd = packet.pos + packet.size;
  if (packet.dts != AV_NOPTS_VALUE)
    decodingEnd = std::max(decodingEnd, packet.dts + packet.duration);
}

/// Demuxers pass over a last frame of y4m and a last transport packet that is not whole.
bool ReadingTotals::endsInsideUnit(const std::string &format, std::int64_t length) const {
  if (format == "yuv4mpegpipe")
    return packets > 0 && length > lastPacketEnd;
  return format == "mpegts" && std::all_of(TRANSPORT_PACKETS.begin(), TRANSPORT_PACKETS.end(),
                                           [&](std::int64_t bytes) { return length % bytes != 0; });
}

ReadingTotals::Shortfall ReadingTotals::shortfall(const InputInfo &info,
                                                  const Ending &ending) const {
  // Indexes may well list frames that are not meant to be shown, which are not read to the end.
  const bool isExact = info.format.starts_with("matroska") || info.format == "mxf";
  if (!ending.pastEnd && !isExact)
    return {};
  // AVI counts chunks with nothing in them too, which say that the picture stays.
  const bool hasEmptyChunks = info.format == "avi" && decodingEnd > packets;
  const std::int64_t given = hasEmptyChunks ? decodingEnd + 1 : packets;
  if (info.frameCount && given < *info.frameCount) {
    const std::int64_t announced = *info.frameCount;
    // A packet may be lost, or hold a field.
    return {announced - given,
            ending.pictures == given
                ? fmt::format("the input ends after {} of {} frames", given, announced)
                : fmt::format("the input ends early: {} frames came, of {} of the {} packets that "
                              "it announces",
                              ending.pictures, given, announced)};
  }
  const double slack = std::max(2.0 / info.rate, SHORTER_DURATION_SECONDS);
  if (!info.frameCount && ending.announced && ending.shownUntil + slack < *ending.announced)
    return {std::llround((*ending.announced - ending.shownUntil) * info.rate),
            fmt::format("the input ends after {:.3f} of {:.3f} seconds", ending.shownUntil,
                        *ending.announced)};
  if (ending.pastEnd && (ending.inside || endsInsideUnit(info.format, ending.length)))
    return {1, "the input ends inside a frame"};
  return {};
}

} // namespace lumagauge::qc
