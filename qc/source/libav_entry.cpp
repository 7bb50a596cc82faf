// SPDX-License-Identifier: BSD-2-Clause
//
// LibavSource's way to the first frame that is wanted. What lies ahead of it is counted by its
// packets, as if it had been decoded, so that frame numbers, times, and what is missing come out as
// they would; then decoding begins where pictures are right.
#include "qc/source/libav_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace lumagauge::qc {

namespace {
/// Frames that are decoded sooner than packets are read.
constexpr std::int64_t FEW_FRAMES = 50;
/// Frames that are decoded and dropped without a word.
constexpr std::size_t MANY_FRAMES = 1000;
/// Containers that give the same packets after a jump; others are read up to where decoding begins.
constexpr std::array<std::string_view, 4> SEEKABLE_FORMATS{"mov,mp4,m4a,3gp,3g2,mj2",
                                                           "matroska,webm", "avi", "yuv4mpegpipe"};
/// Packets that are read ahead of a picture, at the least, before it comes.
constexpr std::size_t READ_AHEAD = 40;
} // namespace

void LibavSource::select(std::int64_t first, std::optional<std::int64_t> count) {
  window = Window(Frames{first}, count ? std::optional<Extent>(Frames{*count}) : std::nullopt);
}

void LibavSource::enter() {
  const LumaPicture soon{
      .frame = FEW_FRAMES, .time = static_cast<double>(FEW_FRAMES) / inputInfo.rate, .samples = {}};
  if (!window.hasStart() || !asked.seek || !window.isBefore(soon))
    return;
  if (!input.isSeekable() || inputInfo.path == "-") { // opened again it would go on where it stands
    entryTaken.reason = "it cannot be read twice";
    return;
  }
  try {
    enterStream();
  } catch (const InputError &error) {
    entryTaken.reason = error.what();
  }
}

void LibavSource::enterStream() {
  FrameIndex index(inputInfo.path, stream.index, asked);
  entryTaken.reason = index.unfit();
  if (!entryTaken.reason.empty())
    return;
  const std::optional<std::size_t> next = comeToKey(index);
  if (!next)
    return;
  const std::size_t wanted = firstWanted(index, *next);
  const std::optional<EntryPoint> point = index.entryFor(wanted);
  if (!point || point->picture < *next || static_cast<std::int64_t>(point->packet) < packetsRead) {
    framePending = true;
    if (wanted > *next + MANY_FRAMES)
      entryTaken.reason = fmt::format("it has no key frames that are near frame {}",
                                      log.pictures() + static_cast<std::int64_t>(wanted - *next));
    return;
  }
  framePending = false;
  middle = Middle{std::move(index), *point, log.pictures() - static_cast<std::int64_t>(*next)};
  entryTaken.packet = static_cast<std::int64_t>(point->packet);
  preview(*next);
  skipTo(point->packet);
  decoder.emplace(stream, asked, static_cast<std::int64_t>(point->packet),
                  static_cast<std::int64_t>(point->exact));
}

/// Where the first pictures do not come as their packets say, as at a start that is torn off,
/// decodes up to a key frame. Returns the place in the index of the picture that is in `frame`
/// then; none where the stream ends before.
std::optional<std::size_t> LibavSource::comeToKey(const FrameIndex &index) {
  const auto isFirst = [&](std::size_t position) {
    const std::uint32_t number = index.pictures()[position];
    return frame->reordered_opaque == number &&
           (!index.hasStamps() || frame->best_effort_timestamp == index.packets()[number].pts);
  };
  if (isFirst(0))
    return 0;
  const std::optional<EntryPoint> key =
      index.keyBehind(static_cast<std::size_t>(std::max<std::int64_t>(frame->reordered_opaque, 0)));
  if (!key)
    return std::nullopt;
  do {
    FrameClock ahead = clock;
    const LumaPicture next{.frame = log.pictures(),
                           .time = ahead.advance(*frame, log.pictures(), inputInfo.rate),
                           .samples = {}};
    if (!window.isBefore(next))
      return std::nullopt; // it is in `frame`
    if (hasChangedSize())
      throw InputError("its pictures change in size");
    reportConcealment();
    reportChange();
    count(clock.advance(*frame, log.pictures(), inputInfo.rate));
    framePending = false;
    if (!decodeFrame())
      return std::nullopt;
    framePending = true;
  } while (frame->reordered_opaque < static_cast<std::int64_t>(key->packet));
  if (!isFirst(key->picture)) {
    entryTaken.reason = "pictures do not come as its packets say";
    return std::nullopt;
  }
  return key->picture;
}

/// The place in the index of the first picture that the window asks for, `next` being that of the
/// next frame.
std::size_t LibavSource::firstWanted(const FrameIndex &index, std::size_t next) const {
  FrameClock trial = clock;
  const FramePointer timed(allocated(av_frame_alloc()));
  LumaPicture picture;
  for (std::size_t i = next; i < index.pictures().size(); ++i) {
    const IndexedPacket &entry = index.packets()[index.pictures()[i]];
    timed->best_effort_timestamp = entry.pts;
    timed->pkt_duration = entry.duration;
    timed->time_base = stream.time_base;
    picture.frame = log.pictures() + static_cast<std::int64_t>(i - next);
    picture.time = trial.advance(*timed, picture.frame, inputInfo.rate);
    if (!window.isBefore(picture))
      return i;
  }
  return index.pictures().size();
}

/// Counts the pictures from `next` up to the entry point and the packets up to there, in an order
/// in which a decoder could give them.
void LibavSource::preview(std::size_t next) {
  const EntryPoint &point = middle->point;
  const std::vector<std::uint32_t> &pictures = middle->index.pictures();
  for (std::size_t read = static_cast<std::size_t>(packetsRead); read < point.exact; ++read) {
    previewPacket(read);
    for (; next < point.picture && pictures[next] + READ_AHEAD <= read; ++next)
      previewPicture(next);
  }
  for (; next < point.picture; ++next)
    previewPicture(next);
}

void LibavSource::previewPacket(std::size_t number) {
  const IndexedPacket &entry = middle->index.packets()[number];
  packet->pts = entry.pts;
  packet->dts = entry.dts;
  packet->pos = entry.position;
  packet->duration = entry.duration;
  packet->size = entry.size;
  PictureLedger::Packet told;
  if (entry.pts != AV_NOPTS_VALUE && clock.hasStamps())
    told.time = clock.timeOf(*packet);
  told.shows = entry.shows;
  log.addPacket();
  ledger.addPacket(told);
  totals.add(*packet);
  packet->size = 0;
}

void LibavSource::previewPicture(std::size_t position) {
  const std::uint32_t number = middle->index.pictures()[position];
  const std::vector<IndexedPacket> &packets = middle->index.packets();
  av_frame_unref(frame.get());
  frame->reordered_opaque = number;
  frame->best_effort_timestamp = packets[number].pts;
  frame->pkt_duration = packets[number].duration;
  frame->time_base = stream.time_base;
  frame->interlaced_frame = number + 1 < packets.size() && packets[number + 1].second;
  count(clock.advance(*frame, log.pictures(), inputInfo.rate));
}

void LibavSource::count(double time) {
  ledger.addPicture({frame->reordered_opaque, time,
                     static_cast<double>(frame->pkt_duration) * av_q2d(frame->time_base),
                     frame->interlaced_frame != 0});
  log.addPicture(time);
}

/// Moves the demuxer such that the packet is the next one.
void LibavSource::skipTo(std::size_t target) {
  const IndexedPacket &wanted = middle->index.packets()[target];
  heldRead.reset();
  const bool seeks = std::find(SEEKABLE_FORMATS.begin(), SEEKABLE_FORMATS.end(),
                               inputInfo.format) != SEEKABLE_FORMATS.end();
  const std::int64_t stamp =
      wanted.dts == AV_NOPTS_VALUE ? wanted.pts : std::min(wanted.pts, wanted.dts);
  if (seeks && av_seek_frame(input.get(), stream.index, stamp, AVSEEK_FLAG_BACKWARD) < 0)
    throw EntryError("its container cannot be sought");
  int code = 0;
  while ((code = readPacket()) >= 0) {
    if (seeks ? isPacket(target) : packetsRead == static_cast<std::int64_t>(target))
      break;
    ++packetsRead;
    av_packet_unref(packet.get());
  }
  if (code < 0)
    throw EntryError(fmt::format("its packet {} does not come again", target));
  heldRead = code;
  packetsRead = static_cast<std::int64_t>(target);
}

/// Whether the packet that was read is the one of that number.
bool LibavSource::isPacket(std::size_t number) const {
  const IndexedPacket &entry = middle->index.packets()[number];
  return packet->pos == entry.position && packet->size == entry.size;
}

/// After a jump demuxers may make other stamps up than when all is read.
void LibavSource::takeStamps() {
  const auto number = static_cast<std::size_t>(packetsRead);
  if (number >= middle->index.packets().size() || !isPacket(number))
    throw EntryError(fmt::format("packet {} is not the one that was there before", number));
  const IndexedPacket &entry = middle->index.packets()[number];
  packet->pts = entry.pts;
  packet->dts = entry.dts;
  packet->duration = entry.duration;
}

/// Whether the picture in `frame` is one of those that are decoded for the sake of others alone. Up
/// to the first frame that is delivered, holds the others against what is expected.
bool LibavSource::isAheadOfEntry() {
  const auto &[index, point, added, confirmed] = *middle;
  if (frame->reordered_opaque < static_cast<std::int64_t>(point.exact))
    return true;
  if (confirmed)
    return false;
  const auto position = static_cast<std::size_t>(log.pictures() - added);
  const bool isExpected =
      position < index.pictures().size() && frame->reordered_opaque == index.pictures()[position] &&
      (!index.hasStamps() ||
       frame->best_effort_timestamp == index.packets()[index.pictures()[position]].pts);
  if (!isExpected && index.hasStamps())
    throw EntryError(
        fmt::format("frame {} is not the one that its packets tell of", log.pictures()));
  return false;
}

} // namespace lumagauge::qc
