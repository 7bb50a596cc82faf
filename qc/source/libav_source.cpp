// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/libav_source.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Rates that are one: as stated and as counted from the time stamps.
constexpr double RATE_TOLERANCE = 0.01;
/// What writers of AVI put where the number of frames belongs when they cannot come back to it.
constexpr std::int64_t PLACEHOLDER_FRAMES = 1 << 30;
/// Containers and streams may differ in length by so much without anything missing.
constexpr double SHORTER_DURATION_SECONDS = 0.1;

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

void checkSize(int width, int height, std::int64_t maxPixels) {
  if (std::int64_t{width} * height > maxPixels)
    throw InputError(fmt::format("its pictures of {}x{} hold more than the {} samples that "
                                 "--max-pixels allows",
                                 width, height, maxPixels));
}

char pictureType(AVPictureType type) {
  const char letter = av_get_picture_type_char(type);
  return letter == 'I' || letter == 'P' || letter == 'B' ? letter : '?';
}

/// Tells the demuxer to leave all other streams out.
AVStream &chooseStream(const LibavInput &input, const SourceOptions &options) {
  AVStream *chosen = nullptr;
  std::string videos;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    AVStream *candidate = input->streams[i];
    const bool isVideo = candidate->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const bool isCover = (candidate->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (isVideo)
      videos += fmt::format("{}{}", videos.empty() ? "" : ", ", i);
    if (isVideo &&
        (options.stream ? *options.stream == static_cast<int>(i) : chosen == nullptr && !isCover))
      chosen = candidate;
    else
      candidate->discard = AVDISCARD_ALL;
  }
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
    : input(path, options), stream(chooseStream(input, options)), clock(*input.get(), stream),
      packet(allocated(av_packet_alloc())), frame(allocated(av_frame_alloc())), window(options) {
  inputInfo.path = path;
  openDecoder(options);
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
}

void LibavSource::openDecoder(const SourceOptions &options) {
  const AVCodecParameters &parameters = *stream.codecpar;
  inputInfo.codec = avcodec_get_name(parameters.codec_id);
  checkSize(parameters.width, parameters.height, options.maxPixels);
  const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw InputError(fmt::format("no decoder is known for its codec {}", inputInfo.codec));
  decoder.reset(allocated(avcodec_alloc_context3(codec)));
  const std::string failure =
      fmt::format("the decoder for its codec {} cannot be started", inputInfo.codec);
  checkLibav(avcodec_parameters_to_context(decoder.get(), &parameters), failure);
  decoder->pkt_timebase = stream.time_base;
  decoder->max_pixels = maxDecodedPixels(options);
  decoder->thread_count = options.decodeThreads;
  // The exact crop also where its left edge is not aligned in memory.
  decoder->flags |= AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_UNALIGNED;
  checkLibav(avcodec_open2(decoder.get(), codec, nullptr), failure);
}

void LibavSource::describeStream(const SourceOptions &options) {
  inputInfo.format = input->iformat->name;
  inputInfo.stream = stream.index;
  inputInfo.averageRate = positive(stream.avg_frame_rate);
  const std::optional<double> nominal = positive(stream.r_frame_rate);
  const auto &average = inputInfo.averageRate;
  const bool agree =
      nominal && average && std::abs(*nominal - *average) <= RATE_TOLERANCE * *average;
  // A nominal rate that differs from the average is a time base or counts fields, so it does not
  // state how long a frame stands.
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
  if (!clock.hasStamps() && !options.fps && !positive(decoder->framerate)) {
    inputInfo.rate = DEFAULT_RATE;
    inputInfo.rateOrigin = "default";
    inputInfo.averageRate.reset();
  }
}

bool LibavSource::read(LumaPicture &picture) {
  while (!finished && !window.isComplete() &&
         (std::exchange(framePending, false) || decodeFrame())) {
    picture.time = clock.advance(*frame, log.pictures(), inputInfo.rate);
    if (hasChangedSize()) {
      log.addResizedPicture(picture.time,
                            fmt::format("the picture is {}x{} here instead of {}x{}", frame->width,
                                        frame->height, inputInfo.width, inputInfo.height));
      continue;
    }
    picture.frame = log.pictures();
    picture.pictureType = pictureType(frame->pict_type);
    if (window.isAfter(picture))
      break;
    reportConcealment();
    log.addPicture(picture.time);
    if (window.isBefore(picture))
      continue;
    Planes planes{};
    std::copy_n(frame->data, 4, planes.data);
    std::copy_n(frame->linesize, 4, planes.stride);
    luma.read(planes, static_cast<AVPixelFormat>(frame->format), frame->width, frame->height,
              picture.samples);
    window.delivered(picture);
    return true;
  }
  if (!std::exchange(finished, true)) {
    reportMissingEnd();
    log.finish();
  }
  return false;
}

bool LibavSource::decodeFrame() {
  while (true) {
    const int code = checkMemory(avcodec_receive_frame(decoder.get(), frame.get()));
    if (code == 0)
      return true;
    if (code == AVERROR_EOF)
      return false;
    if (code == AVERROR(EAGAIN) && !draining) {
      feedDecoder();
      continue;
    }
    log.addFailure(clock.now(), libavError(code));
    if (draining && !log.addFault())
      return false;
  }
}

void LibavSource::feedDecoder() {
  int code = 0;
  while ((code = checkMemory(av_read_frame(input.get(), packet.get()))) >= 0 &&
         (packet->stream_index != stream.index || packet->size == 0))
    av_packet_unref(packet.get());
  const bool endOfInput = code == AVERROR_EOF || (code < 0 && input.wentPastEnd());
  if (code < 0 && !endOfInput && input.readFailure() == 0 && log.addFault()) {
    log.addError(clock.now(), fmt::format("the container is damaged: {}", libavError(code)));
    return;
  }
  if (code < 0) {
    finishDemuxing(code);
    return;
  }
  log.addPacket();
  packetEnd = packet->pos + packet->size;
  if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
    log.addError(clock.timeOf(*packet), "the container marks data as damaged or incomplete");
  code = checkMemory(avcodec_send_packet(decoder.get(), packet.get()));
  if (code < 0)
    log.addFailure(clock.timeOf(*packet), libavError(code));
  av_packet_unref(packet.get());
}

void LibavSource::finishDemuxing(int code) {
  draining = true;
  avcodec_send_packet(decoder.get(), nullptr);
  if (input.readFailure() != 0)
    log.stopReading(clock.now(), input.readFailure());
  else if (code != AVERROR_EOF && !input.wentPastEnd())
    log.stop(clock.now(), fmt::format("reading stopped in damaged data: {}", libavError(code)));
  // The demuxer of y4m passes over a last frame that is not whole.
  const bool isFramesAlone = inputInfo.format == "yuv4mpegpipe";
  endedInside = code != AVERROR_EOF ||
                (isFramesAlone && log.packets() > 0 && avio_tell(input->pb) > packetEnd);
}

/// Reports an input that is shorter than it says itself. Only what was read to the end of the file
/// counts: indexes may well list frames that are not meant to be shown.
void LibavSource::reportMissingEnd() {
  if (!draining || !end().reason.empty() || !input.wentPastEnd())
    return;
  const double slack = std::max(2.0 / inputInfo.rate, SHORTER_DURATION_SECONDS);
  if (inputInfo.frameCount && log.packets() < *inputInfo.frameCount)
    log.addError(clock.now(), fmt::format("the input ends after {} of {} frames", log.packets(),
                                          *inputInfo.frameCount));
  else if (!inputInfo.frameCount && announcedDuration &&
           clock.displayEnd() + slack < *announcedDuration)
    log.addError(clock.now(), fmt::format("the input ends after {:.3f} of {:.3f} seconds",
                                          clock.displayEnd(), *announcedDuration));
  else if (endedInside)
    log.addError(clock.now(), "the input ends inside a frame");
}

bool LibavSource::hasChangedSize() const {
  return static_cast<std::uint32_t>(frame->width) != inputInfo.width ||
         static_cast<std::uint32_t>(frame->height) != inputInfo.height;
}

void LibavSource::reportConcealment() {
  if ((frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0)
    log.addError(clock.now(),
                 "the picture is damaged; the decoder concealed what it could not decode");
}

} // namespace lumagauge::qc
