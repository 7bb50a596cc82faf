// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/libav_source.h"

#include "qc/source/display.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Rates that are one: as stated and as counted from the time stamps.
constexpr double RATE_TOLERANCE = 0.01;
/// Decoders say so of undamaged streams too.
constexpr std::string_view CHATTER = "first frame is no keyframe";
/// Of all that demuxers say, what they say of broken data alone.
constexpr std::array<std::string_view, 5> CONTAINER_DAMAGE{
    "CRC mismatch", "EBML number", "exceeds containing master element",
    "Something went wrong during header parsing", "asf skip"};
/// What writers of AVI put where the number of frames belongs when they cannot come back to it.
constexpr std::int64_t PLACEHOLDER_FRAMES = 1 << 30;

std::optional<double> positive(AVRational rate) {
  if (rate.num <= 0 || rate.den <= 0)
    return std::nullopt;
  return av_q2d(rate);
}

std::string rangeName(AVColorRange range, AVPixelFormat format) {
  const AVPixFmtDescriptor *known = av_pix_fmt_desc_get(format);
  const bool impliesFull = known != nullptr && std::strncmp(known->name, "yuvj", 4) == 0;
  if (range == AVCOL_RANGE_JPEG || impliesFull)
    return "full";
  return range == AVCOL_RANGE_MPEG ? "limited" : "unknown";
}

char pictureType(AVPictureType type) {
  const char letter = av_get_picture_type_char(type);
  return letter == 'I' || letter == 'P' || letter == 'B' ? letter : '?';
}

/// Tells the demuxer to leave all other streams out.
AVStream &chooseStream(const LibavInput &input, const SourceOptions &options,
                       std::vector<std::string> &warnings) {
  AVStream *chosen = nullptr;
  std::string videos;
  int choices = 0;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    AVStream *candidate = input->streams[i];
    const bool isVideo = candidate->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const bool isCover = (candidate->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (isVideo)
      videos += fmt::format("{}{}", videos.empty() ? "" : ", ", i);
    choices += isVideo && !isCover ? 1 : 0;
    if (isVideo &&
        (options.stream ? *options.stream == static_cast<int>(i) : chosen == nullptr && !isCover))
      chosen = candidate;
    else
      candidate->discard = AVDISCARD_ALL;
  }
  if (chosen != nullptr && !options.stream && choices > 1)
    warnings.push_back(fmt::format("its video streams are {}; only {} is measured, --stream "
                                   "measures another",
                                   videos, chosen->index));
  if (chosen != nullptr)
    return *chosen;
  if (videos.empty())
    throw InputError("it holds no video stream");
  throw InputError(options.stream ? fmt::format("its stream {} is no video; its video streams are "
                                                "{}",
                                                *options.stream, videos)
                                  : fmt::format("it holds no video but a cover picture; --stream "
                                                "{} measures that",
                                                videos));
}

} // namespace

LibavSource::LibavSource(const std::string &path, const SourceOptions &options)
    : input(path, options), stream(chooseStream(input, options, inputInfo.warnings)),
      clock(*input.get(), stream), asked(options), decoder(std::in_place, stream, options),
      packet(allocated(av_packet_alloc())), frame(allocated(av_frame_alloc())), tap(options.tap),
      window(options), isLive(options.live) {
  inputInfo.path = path;
  describeStream(options);
  if (!decodeFrame())
    throw InputError(fmt::format(
        "no picture of its stream {} can be decoded ({}){}{}", stream.index, inputInfo.codec,
        log.waitingErrors().empty() ? "" : ": " + log.waitingErrors().front().message,
        input.isSeekable() ? ""
                           : "; a container whose index comes last, as in many mp4 "
                             "files, cannot be read from a pipe"));
  framePending = true;
  checkSize(frame->width, frame->height, options.maxPixels);
  describePicture(options);
  startAtFirstPicture(options.streamTimes);
}

void LibavSource::describeStream(const SourceOptions &options) {
  inputInfo.format = input->iformat->name;
  inputInfo.codec = avcodec_get_name(stream.codecpar->codec_id);
  inputInfo.stream = stream.index;
  inputInfo.hasEnd = input->pb != nullptr && avio_size(input->pb) > 0;
  inputInfo.averageRate = positive(stream.avg_frame_rate);
  const std::optional<double> nominal = positive(stream.r_frame_rate);
  const auto &average = inputInfo.averageRate;
  const bool agree =
      nominal && average && std::abs(*nominal - *average) <= RATE_TOLERANCE * *average;
  // A nominal rate that differs from the average is a time base or counts fields, so it does not
  // state how long a frame stands.
  if (inputInfo.format == "avi")
    ledger.expectStays();
  if (agree)
    ledger.expectStep(1.0 / *nominal);
  if (options.fps)
    inputInfo.rate = *options.fps;
  else
    inputInfo.rate = agree ? *nominal : average.value_or(nominal.value_or(DEFAULT_RATE));
  inputInfo.rateOrigin = options.fps || agree ? "stated"
                         : average            ? "average"
                         : nominal            ? "stated"
                                              : "default";
  if (stream.duration > 0)
    inputInfo.duration = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
  else if (input->duration > 0 && clock.hasStamps())
    inputInfo.duration = static_cast<double>(input->duration) / AV_TIME_BASE;
  if (stream.nb_frames >= PLACEHOLDER_FRAMES)
    inputInfo.duration.reset();
  else if (stream.nb_frames > 0)
    inputInfo.frameCount = stream.nb_frames;
  const AVDictionaryEntry *tag = av_dict_get(stream.metadata, "DURATION", nullptr, 0);
  std::int64_t tagged = 0;
  if (tag != nullptr && av_parse_time(&tagged, tag->value, 1) >= 0)
    announcedDuration = static_cast<double>(tagged) / AV_TIME_BASE;
  else if (input->nb_streams == 1 &&
           input->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE)
    announcedDuration = inputInfo.duration;
}

void LibavSource::describePicture(const SourceOptions &options) {
  const auto format = static_cast<AVPixelFormat>(frame->format);
  requireLuma(format);
  inputInfo.width = static_cast<std::uint32_t>(frame->width);
  inputInfo.height = static_cast<std::uint32_t>(frame->height);
  inputInfo.pixelFormat = av_get_pix_fmt_name(format);
  inputInfo.bitDepth = lumaDepth(format);
  inputInfo.lumaRule = lumaRule(format);
  inputInfo.range = rangeName(frame->color_range, format);
  // A bare stream has the rate that its headers say, else libavformat makes one up.
  if (!clock.hasStamps() && !options.fps && !positive(decoder->statedRate())) {
    inputInfo.rate = DEFAULT_RATE;
    inputInfo.rateOrigin = "default";
    inputInfo.averageRate.reset();
  }
}

/// Packets around it were timed when it was not known yet.
void LibavSource::startAtFirstPicture(bool streamTimes) {
  if (clock.hasStamps() && frame->best_effort_timestamp != AV_NOPTS_VALUE)
    inputInfo.startTime =
        static_cast<double>(frame->best_effort_timestamp) * av_q2d(frame->time_base);
  lead = clock.startAt(*frame);
  ledger.moveOrigin(lead);
  log.moveOrigin(lead);
  if (streamTimes)
    addedToTimes = inputInfo.startTime.value_or(0.0);
}

InputEnd LibavSource::end() const {
  InputEnd told = log.end();
  shiftTimes(told.errors);
  return told;
}

/// What is lost ahead of the first picture has no time of its own.
void LibavSource::shiftTimes(std::vector<DecodeError> &errors) const {
  for (DecodeError &error : errors) {
    error.time = std::max(error.time, 0.0) + addedToTimes;
    if (error.endTime)
      error.endTime = std::max(*error.endTime, 0.0) + addedToTimes;
  }
}

void LibavSource::tellNews(LumaPicture &picture) {
  picture.news.settledBefore = ledger.tellSettled(1.0 / inputInfo.rate);
  picture.news.errors = log.takeErrors(picture.news.settledBefore);
  shiftTimes(picture.news.errors);
}

bool LibavSource::read(LumaPicture &picture) {
  if (!std::exchange(entered, true))
    enter();
  while (!finished && !window.isComplete() &&
         (std::exchange(framePending, false) || decodeFrame())) {
    if (middle && isAheadOfEntry())
      continue;
    picture.time = clock.advance(*frame, log.pictures(), inputInfo.rate);
    if (hasChangedSize()) {
      ledger.passOver(frame->reordered_opaque);
      log.addResizedPicture(picture.time,
                            fmt::format("the picture is {}x{} here instead of {}x{}", frame->width,
                                        frame->height, inputInfo.width, inputInfo.height));
      continue;
    }
    picture.frame = log.pictures();
    picture.pictureType = pictureType(frame->pict_type);
    picture.packet = frame->reordered_opaque;
    if (window.isAfter(picture))
      break;
    reportConcealment();
    reportChange();
    count(picture.time);
    if (window.isBefore(picture))
      continue;
    if (middle)
      middle->confirmed = true;
    Planes planes{};
    std::copy_n(frame->data, 4, planes.data);
    std::copy_n(frame->linesize, 4, planes.stride);
    luma.read(planes, static_cast<AVPixelFormat>(frame->format), frame->width, frame->height,
              picture.samples);
    window.delivered(picture);
    picture.time += addedToTimes;
    showTap(picture);
    if (isLive)
      tellNews(picture);
    return true;
  }
  if (!std::exchange(finished, true)) {
    finishReports();
    log.finish();
  }
  return false;
}

bool LibavSource::decodeFrame() {
  while (true) {
    const int code = decoder->receive(*frame);
    hear();
    if (decoder->metDamageEarly())
      throw EntryError("the stream is damaged soon behind where decoding began");
    if (code == 0) {
      frame->time_base = timeBaseOf(frame->reordered_opaque);
      return true;
    }
    atEnd = code == AVERROR_EOF;
    if (atEnd)
      return false;
    if (code == AVERROR(EAGAIN) && !draining) {
      feedDecoder();
      continue;
    }
    const AVPacket *const failed = decoder->failedPacket();
    log.addFailure(failed != nullptr ? clock.timeOf(*failed) : clock.now(), libavError(code));
    atEnd = draining && failed == nullptr && !log.addFault();
    if (atEnd)
      return false;
  }
}

/// Of the stream as the packet was read.
AVRational LibavSource::timeBaseOf(std::int64_t tag) const {
  const auto behind = timeBases.upper_bound(tag);
  return (behind == timeBases.begin() ? behind : std::prev(behind))->second;
}

int LibavSource::readPacket() {
  if (heldRead)
    return *std::exchange(heldRead, {});
  int code = 0;
  while ((code = input.readPacket(*packet)) >= 0 &&
         (packet->stream_index != stream.index || packet->size == 0))
    av_packet_unref(packet.get());
  hearContainer();
  return code;
}

void LibavSource::feedDecoder() {
  const int code = readPacket();
  const bool isDamage = code < 0 ? code != AVERROR_EOF : (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
  // What comes ahead of the damage is told ahead of it, however far the decoder had got.
  if (isDamage && decoder->useOneThread()) {
    heldRead = code;
    return;
  }
  const bool endOfInput = code == AVERROR_EOF || (code < 0 && input.wentPastEnd());
  if (code < 0 && !endOfInput && input.readFailure() == 0 && log.addFault()) {
    log.addError(clock.now(), fmt::format("the container is damaged: {}", libavError(code)));
    return;
  }
  if (code < 0) {
    finishDemuxing(code);
    return;
  }
  if (middle)
    takeStamps();
  if (middle && packetsRead < static_cast<std::int64_t>(middle->point.exact)) {
    decoder->send(*packet, packetsRead++); // what there is to say of it is said
  } else {
    log.addPacket();
    decoder->send(*packet, enterPacket());
    ++packetsRead;
  }
  av_packet_unref(packet.get());
}

/// Enters the packet into the ledger, with what the container says of it; returns its tag.
std::int64_t LibavSource::enterPacket() {
  PictureLedger::Packet entry;
  if (packet->pts != AV_NOPTS_VALUE && clock.hasStamps())
    entry.time = clock.timeOf(*packet);
  entry.shows = givesPicture(*packet, stream.codecpar->codec_id);
  const std::int64_t tag = ledger.addPacket(entry);
  if (timeBases.empty() || av_cmp_q(timeBases.rbegin()->second, stream.time_base) != 0)
    timeBases[tag] = stream.time_base;
  totals.add(*packet);
  if (inputInfo.format == "dv" && totals.packetEnd() > avio_size(input->pb))
    ledger.addProblem(tag, "the input ends inside the frame");
  if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
    ledger.addProblem(tag, "the container marks data as damaged or incomplete");
  if (!containerProblem.empty())
    ledger.addProblem(tag, std::exchange(containerProblem, {}));
  return tag;
}

void LibavSource::hear() {
  for (const LibavListener::Message &message : decoder->takeMessages())
    if (middle && message.tag < static_cast<std::int64_t>(middle->point.exact))
      throw EntryError(
          fmt::format("packet {}, from which decoding began: {}", message.tag, message.text));
    else if (message.text.find(CHATTER) == std::string::npos)
      ledger.addProblem(message.tag, message.text);
}

void LibavSource::hearContainer() {
  for (const LibavListener::Message &message : input.listener.takeDemuxers()) {
    const auto says = [&](std::string_view words) {
      return message.text.find(words) != std::string::npos;
    };
    ledger.expectGaps();
    endedInside |= says("ended prematurely"); // Matroska's word
    if (std::any_of(CONTAINER_DAMAGE.begin(), CONTAINER_DAMAGE.end(), says))
      containerProblem = "the container is damaged: " + message.text;
  }
}

void LibavSource::finishDemuxing(int code) {
  draining = true;
  decoder->drain();
  if (input.readFailure() != 0)
    log.stopReading(clock.now(), input.readFailure());
  else if (code != AVERROR_EOF && !input.wentPastEnd())
    log.stop(clock.now(), fmt::format("reading stopped in damaged data: {}", libavError(code)));
  endedInside = endedInside || code != AVERROR_EOF ||
                (inputInfo.format == "ogg" && input.isSeekable() && !endsWithLastPage(*input->pb));
}

void LibavSource::finishReports() {
  const double frameSeconds = 1.0 / inputInfo.rate;
  if (atEnd && !containerProblem.empty()) // behind the last packet
    log.addError(clock.now(), containerProblem);
  if (!atEnd || !log.end().reason.empty()) {
    ledger.finishEarly(frameSeconds);
    return;
  }
  const auto [frames, message] =
      totals.shortfall(inputInfo, {.length = input->pb != nullptr ? avio_tell(input->pb) : 0,
                                   .pastEnd = input.wentPastEnd(),
                                   .inside = endedInside,
                                   .pictures = log.pictures(),
                                   .shownUntil = clock.displayEnd() + lead,
                                   .announced = announcedDuration});
  if (frames > 0)
    log.addWarning(message);
  if (announcedDuration)
    *announcedDuration -= lead;
  ledger.finish(frameSeconds, frames, announcedDuration);
}

bool LibavSource::hasChangedSize() const {
  return static_cast<std::uint32_t>(frame->width) != inputInfo.width ||
         static_cast<std::uint32_t>(frame->height) != inputInfo.height;
}

void LibavSource::showTap(const LumaPicture &picture) {
  if (tap == nullptr || !tap->wants(picture.frame))
    return;
  if (std::exchange(damageShown, log.errors()) != log.errors())
    tap->noteDamage();
  stateDisplay(*frame, *input.get(), stream);
  tap->see(*frame, picture.frame, picture.time);
}

/// Once: what follows the first change is known to differ from what `info` says.
void LibavSource::reportChange() {
  const auto format = static_cast<AVPixelFormat>(frame->format);
  const std::string name = av_get_pix_fmt_name(format),
                    range = rangeName(frame->color_range, format);
  if (!log.end().warnings.empty() || (name == inputInfo.pixelFormat && range == inputInfo.range))
    return;
  log.addChange(fmt::format("from frame {} on its pixel format is {}, range {}, instead of {}, "
                            "range {}",
                            log.pictures(), name, range, inputInfo.pixelFormat, inputInfo.range));
}

void LibavSource::reportConcealment() {
  if ((frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0)
    log.addError(clock.now(),
                 "the picture is damaged; the decoder concealed what it could not decode");
}

} // namespace lumagauge::qc
