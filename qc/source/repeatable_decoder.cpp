// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/repeatable_decoder.h"

#include "qc/source/libav_input.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace lumagauge::qc {

namespace {

/// How far pictures may come behind their packets in any stream: 16 pictures of two fields.
constexpr std::int64_t LONGEST_REORDERING = 32;
/// A video of which two groups of pictures have more than this is decoded by one thread from there
/// on; at 100 Mbit a second that is 20 seconds.
constexpr std::size_t MOST_KEPT_BYTES = std::size_t{256} << 20;
/// Packets without damage before several threads go on, at first; each time they meet damage anew
/// it takes twice as many, so that starting over costs little also where damage never ends.
constexpr std::int64_t FIRST_CLEAN_PACKETS = 250;
constexpr std::int64_t EVERY_TAG = std::numeric_limits<std::int64_t>::max();

bool isMarked(const AVFrame &frame) {
  return (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame.decode_error_flags != 0;
}

} // namespace

RepeatableDecoder::RepeatableDecoder(const AVStream &source, const SourceOptions &asked,
                                     std::int64_t first, std::int64_t settled)
    : stream(source), options(asked), firstTag(first), firstSettled(settled), origin(first),
      trusted(settled - 1), cleanPackets(FIRST_CLEAN_PACKETS) {
  start(true);
  mostThreads = decoder->threads();
  threaded = mostThreads > 1;
  reordering = decoder->reorders() ? LONGEST_REORDERING : 0;
}

void RepeatableDecoder::start(bool several) {
  SourceOptions settings = options;
  if (!several)
    settings.decodeThreads = 1;
  decoder.reset(); // two at once would take the memory of two
  decoder = std::make_unique<Decoder>(stream, settings, listener);
  threaded = several;
}

void RepeatableDecoder::send(const AVPacket &packet, std::int64_t tag) {
  forget();
  if (keptBytes > MOST_KEPT_BYTES && static_cast<std::int64_t>(kept.size()) > 2 * delay() + 8) {
    useOneThread();
    canStartOver = false;
  } else if (!threaded && canStartOver && mostThreads > 1 && isPastDamage()) {
    cleanPackets *= 2;
    startOver(kept.front().tag, true);
  }
  kept.push_back({PacketPointer(allocated(av_packet_clone(&packet))), tag});
  keptBytes += static_cast<std::size_t>(packet.size);
  if (kept.size() == 1 || (packet.flags & AV_PKT_FLAG_KEY) != 0)
    keys.push_back(tag);
}

bool RepeatableDecoder::useOneThread() {
  if (!threaded)
    return false;
  startOver(kept.empty() ? origin : kept.front().tag, false);
  return true;
}

int RepeatableDecoder::receive(AVFrame &frame) {
  while (true) {
    const int code = step(frame);
    const bool isError = code < 0 && code != AVERROR(EAGAIN) && code != AVERROR_EOF;
    const bool isDamage = hearDamage() || (isError && lastSent() >= firstSettled) ||
                          (code == 0 && isMarked(frame) && frame.reordered_opaque >= firstSettled);
    damageIsEarly |= isDamage && firstTag > 0 && kept.front().tag == firstTag;
    if (isDamage && (useOneThread() || decodeDamageAnew()))
      continue;
    if (isError && !drained && lastSent() <= trusted)
      continue;
    if (code == 0 && canStartOver) {
      if (wasGiven(frame.reordered_opaque))
        continue;
      given.push_back(frame.reordered_opaque);
    }
    return code;
  }
}

/// What the decoder itself answers, given packets until it has an answer.
int RepeatableDecoder::step(AVFrame &frame) {
  failed = nullptr;
  while (true) {
    const int code = decoder->receive(frame);
    // One thread is through with each packet before it takes the next one; several answer in the
    // order of the packets.
    if (!threaded || code == AVERROR_EOF)
      decoder->reportUndecoded(EVERY_TAG);
    else if (code == 0)
      decoder->reportUndecoded(frame.reordered_opaque);
    if (code != AVERROR(EAGAIN))
      return code;
    if (next < kept.size()) {
      const Kept &packet = kept[next++];
      if (const int refused = decoder->send(*packet.packet, packet.tag); refused < 0) {
        failed = packet.packet.get();
        return refused;
      }
    } else if (draining && !std::exchange(drained, true)) {
      decoder->drain();
    } else {
      return code;
    }
  }
}

/// Several threads' words are dropped, as one thread will say them again.
bool RepeatableDecoder::hearDamage() {
  bool heard = false;
  for (LibavListener::Message &message : listener.takeDecoders())
    if (message.tag > trusted) {
      heard = true;
      if (!threaded)
        messages.push_back(std::move(message));
    }
  return heard;
}

/// A picture of a packet that is decoded again.
bool RepeatableDecoder::wasGiven(std::int64_t tag) {
  const auto found = std::find(again.begin(), again.end(), tag);
  if (found == again.end())
    return false;
  again.erase(found);
  return true;
}

/// What stands where nothing could be decoded is what the decoder's memory holds of earlier
/// pictures. For that to be the same however decoding came here, each stretch of damage is decoded
/// from where its packets alone say. Returns whether this starts over.
bool RepeatableDecoder::decodeDamageAnew() {
  const std::int64_t begin = startFor(lastSent() - reordering);
  const bool isNew = canStartOver && lastDamage < begin && origin != begin;
  lastDamage = lastSent();
  if (!isNew)
    return false;
  const std::int64_t known = std::max(trusted, lastSent() - 1);
  std::erase_if(messages, [&](const LibavListener::Message &m) { return m.tag > known; });
  startOver(begin, false);
  trusted = known;
  return true;
}

void RepeatableDecoder::startOver(std::int64_t tag, bool several) {
  trusted = std::max(trusted, threaded ? lastDecoded() : lastSent());
  calmSince = lastSent();
  start(several);
  listener.takeDecoders();
  listener.undecoded.take(EVERY_TAG);
  const auto first =
      std::find_if(kept.begin(), kept.end(), [&](const Kept &packet) { return packet.tag >= tag; });
  next = static_cast<std::size_t>(first - kept.begin());
  origin = tag;
  drained = false;
  again = given;
}

/// The key frame but one ahead of a packet that is decoded, so that nothing from ahead of that key
/// frame shows in pictures of the packets behind.
std::int64_t RepeatableDecoder::startFor(std::int64_t tag) const {
  const auto behind = std::upper_bound(keys.begin(), keys.end(), tag);
  return behind - keys.begin() < 2 ? keys.front() : *(behind - 2);
}

/// Drops what decoding need not start over with.
void RepeatableDecoder::forget() {
  const std::int64_t begin = kept.empty()   ? firstTag
                             : canStartOver ? startFor(lastDecoded())
                                            : lastSent() + 1;
  while (!kept.empty() && kept.front().tag < begin) {
    keptBytes -= static_cast<std::size_t>(kept.front().packet->size);
    kept.pop_front();
    --next;
  }
  while (!keys.empty() && keys.front() < begin)
    keys.pop_front();
  std::erase_if(given, [&](std::int64_t tag) { return tag < begin; });
}

bool RepeatableDecoder::isPastDamage() const {
  return keys.size() > 1 && keys[0] > std::max(lastDamage, calmSince) && keys[1] <= lastDecoded() &&
         lastSent() - std::max(lastDamage, calmSince) >= cleanPackets;
}

} // namespace lumagauge::qc
