// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/frame_index.h"

#include "qc/source/libav_pointers.h"
#include "qc/source/shortfall.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace lumagauge::qc {

namespace {

/// Pictures may come so many packets behind their own: 16 of two fields each.
constexpr std::int64_t LONGEST_REORDERING = 32;

/// What packets of codecs say of themselves where the container does not.
class PacketReader {
public:
  explicit PacketReader(const AVStream &stream) : codec(stream.codecpar->codec_id) {
    if (codec != AV_CODEC_ID_H264) // of the others a packet holds a whole picture
      return;
    context.reset(allocated(avcodec_alloc_context3(nullptr)));
    checkLibav(avcodec_parameters_to_context(context.get(), stream.codecpar), "its H.264 headers");
    parser.reset(av_parser_init(codec));
    if (parser)
      parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  }

  IndexedPacket read(const AVPacket &packet) {
    IndexedPacket entry{packet.pts, packet.dts, packet.pos, packet.duration, packet.size};
    entry.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    entry.fresh = entry.key;
    entry.shows = givesPicture(packet, codec);
    if (!parser)
      return entry;
    std::uint8_t *data = nullptr;
    int size = 0;
    av_parser_parse2(parser.get(), context.get(), &data, &size, packet.data, packet.size,
                     packet.pts, packet.dts, packet.pos);
    const AVPictureStructure structure = parser->picture_structure;
    const bool isField = structure == AV_PICTURE_STRUCTURE_TOP_FIELD ||
                         structure == AV_PICTURE_STRUCTURE_BOTTOM_FIELD;
    const bool isSecond =
        isField && firstField != AV_PICTURE_STRUCTURE_UNKNOWN && structure != firstField;
    firstField = isField && !isSecond ? structure : AV_PICTURE_STRUCTURE_UNKNOWN;
    entry.second = isSecond;
    entry.key = entry.key && !isSecond;
    entry.fresh = entry.key && beginsAnew(packet);
    return entry;
  }

private:
  /// Whether the first slice of an H.264 picture is one of those with which decoders drop all that
  /// they hold. Other key frames are no such border.
  bool beginsAnew(const AVPacket &packet) const {
    constexpr int SLICE = 1, FRESH_SLICE = 5, TYPE = 0x1F;
    const auto size = static_cast<std::size_t>(packet.size);
    // Units follow their length, of so many bytes, or a start code.
    const bool hasLengths = context->extradata_size > 4 && context->extradata[0] == 1;
    const std::size_t lengthBytes = hasLengths ? (context->extradata[4] & 3U) + 1 : 3;
    for (std::size_t at = 0; at + lengthBytes < size;) {
      std::size_t length = 0;
      for (std::size_t i = 0; i < lengthBytes; ++i)
        length = length << 8 | packet.data[at + i];
      if (!hasLengths && length != 1) {
        ++at;
        continue;
      }
      at += lengthBytes;
      if (const int type = packet.data[at] & TYPE; type == SLICE || type == FRESH_SLICE)
        return type == FRESH_SLICE;
      at += hasLengths ? length : 1;
    }
    return false;
  }

  struct Close {
    void operator()(AVCodecParserContext *opened) const { av_parser_close(opened); }
  };

  AVCodecID codec;
  std::unique_ptr<AVCodecContext, FreeWith<avcodec_free_context>> context;
  std::unique_ptr<AVCodecParserContext, Close> parser;
  AVPictureStructure firstField = AV_PICTURE_STRUCTURE_UNKNOWN; ///< whose other one is to come
};

} // namespace

FrameIndex::FrameIndex(const std::string &path, int number, const SourceOptions &options) {
  LibavInput input(path, options);
  if (!input.isSeekable()) {
    reason = "it cannot be read twice";
    return;
  }
  if (number >= static_cast<int>(input->nb_streams)) {
    reason = "it does not open twice alike";
    return;
  }
  for (unsigned i = 0; i < input->nb_streams; ++i)
    if (static_cast<int>(i) != number)
      input->streams[i]->discard = AVDISCARD_ALL;
  const AVStream &stream = *input->streams[number];
  if (!countEvenPackets(input, stream))
    read(input, stream);
  const AVCodecDescriptor *known = avcodec_descriptor_get(stream.codecpar->codec_id);
  isIntra = known != nullptr && (known->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
  if (reason.empty())
    putInOrder();
  if (reason.empty())
    findKeys();
  else
    list.clear();
}

/// Of a y4m, whose packets are all alike, two tell the rest. False where it is none or they are
/// not.
bool FrameIndex::countEvenPackets(LibavInput &input, const AVStream &stream) {
  if (std::string_view(input->iformat->name) != "yuv4mpegpipe")
    return false;
  const PacketPointer packet(allocated(av_packet_alloc()));
  PacketReader reader(stream);
  for (int i = 0; i < 2; ++i) {
    if (checkMemory(av_read_frame(input.get(), packet.get())) < 0)
      break;
    list.push_back(reader.read(*packet));
    av_packet_unref(packet.get());
  }
  const bool areEven = list.size() == 2 && list[0].size == list[1].size && list[0].pts == 0 &&
                       list[1].pts == 1 && list[1].position > list[0].position;
  if (!areEven)
    throw InputError("its first frames are not alike");
  const std::int64_t step = list[1].position - list[0].position, size = avio_size(input->pb);
  for (IndexedPacket next = list[1]; next.position + step + next.size <= size;) {
    next.position += step;
    next.dts = ++next.pts;
    list.push_back(next);
  }
  return true;
}

void FrameIndex::read(LibavInput &input, const AVStream &stream) {
  const PacketPointer packet(allocated(av_packet_alloc()));
  const AVRational timeBase = stream.time_base;
  PacketReader reader(stream);
  int code = 0;
  while (reason.empty() && (code = checkMemory(av_read_frame(input.get(), packet.get()))) >= 0) {
    if (packet->stream_index == stream.index && packet->size > 0) {
      if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
        reason = fmt::format("the container marks packet {} as damaged", list.size());
      if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_PARAM_CHANGE, nullptr) != nullptr)
        reason = fmt::format("its parameters change with packet {}", list.size());
      list.push_back(reader.read(*packet));
    }
    av_packet_unref(packet.get());
    if (av_cmp_q(stream.time_base, timeBase) != 0)
      reason = "its time base changes on the way";
  }
  const auto said = input.listener.takeDemuxers();
  if (reason.empty() && !said.empty())
    reason = "the container is damaged: " + said.front().text;
  if (reason.empty() && (code != AVERROR_EOF || input.readFailure() != 0))
    reason = fmt::format("its container cannot be read to the end: {}", libavError(code));
  if (reason.empty() && list.empty())
    reason = "it holds no packets";
}

void FrameIndex::putInOrder() {
  stamped = std::any_of(list.begin(), list.end(), [](const IndexedPacket &entry) {
    return entry.pts != AV_NOPTS_VALUE || entry.dts != AV_NOPTS_VALUE;
  });
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i].givesPicture()) {
      if (stamped && list[i].pts == AV_NOPTS_VALUE) {
        reason = fmt::format("its packet {} has no time stamp", i);
        return;
      }
      order.push_back(static_cast<std::uint32_t>(i));
    }
  if (!stamped)
    return;
  const std::vector<std::uint32_t> asRead = order;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return list[a].pts < list[b].pts; });
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (std::abs(std::int64_t{order[i]} - std::int64_t{asRead[i]}) > LONGEST_REORDERING)
      reason = "its time stamps go back";
    if (i > 0 && list[order[i]].pts == list[order[i - 1]].pts)
      reason = fmt::format("its packets {} and {} have one time stamp", order[i - 1], order[i]);
  }
}

void FrameIndex::findKeys() {
  std::uint32_t latest = 0;                          // of the pictures ahead
  std::vector<std::uint32_t> ahead(list.size() + 1); // pictures of packets ahead of each
  for (std::size_t i = 0; i < list.size(); ++i)
    ahead[i + 1] = ahead[i] + (list[i].givesPicture() ? 1 : 0);
  for (std::size_t i = 0; i < order.size(); ++i) {
    // All pictures from ahead of a packet are shown first where they come to as many.
    const std::uint32_t first = i == 0 ? 0 : latest + 1;
    for (std::uint32_t key = first; key < list.size() && ahead[key] == i; ++key)
      if (list[key].key && list[key].givesPicture())
        keys.push_back({key, static_cast<std::uint32_t>(i),
                        isIntra || (stamped && list[key].fresh && order[i] == key)});
    latest = std::max(latest, order[i]);
  }
}

std::optional<EntryPoint> FrameIndex::keyBehind(std::size_t packet) const {
  const auto key =
      std::find_if(keys.begin(), keys.end(), [&](const Key &k) { return k.packet > packet; });
  if (key == keys.end())
    return std::nullopt;
  return EntryPoint{key->packet, key->packet, key->picture};
}

std::optional<EntryPoint> FrameIndex::entryFor(std::size_t picture) const {
  auto key = std::upper_bound(keys.begin(), keys.end(), picture,
                              [](std::size_t p, const Key &k) { return p < k.picture; });
  if (key == keys.begin())
    return std::nullopt;
  --key;
  const Key exact = *key;
  if (exact.isClosed)
    return EntryPoint{exact.packet, exact.packet, exact.picture};
  if (key == keys.begin())
    return std::nullopt;
  --key;
  return EntryPoint{key->packet, exact.packet, exact.picture};
}

} // namespace lumagauge::qc
