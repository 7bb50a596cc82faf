// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/raw_source.h"

#include "qc/source/libav_input.h"
#include "qc/source/libav_pointers.h"
#include "qc/source/raw_layouts.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <utility>

namespace lumagauge::qc {

namespace {

/// libswscale's vector code may read a little behind the samples.
constexpr std::size_t PADDING = 64;

} // namespace

RawSource::RawSource(const std::string &input, const SourceOptions &options)
    : file(input, options.notice, patienceOf(options)), tap(options.tap), window(options) {
  inputInfo.path = input;
  inputInfo.format = inputInfo.codec = "rawvideo";
  inputInfo.rate = options.fps.value_or(DEFAULT_RATE);
  inputInfo.rateOrigin = options.fps ? "stated" : "default";
  layOut(*options.raw, options.maxPixels);
  if (file.size())
    checkFileSize(*file.size());
}

void RawSource::layOut(const RawLayout &layout, std::int64_t maxPixels) {
  if (layout.width == 0 || layout.height == 0 ||
      std::int64_t{layout.width} * layout.height > maxPixels)
    throw InputError(fmt::format("pictures of {}x{} cannot be measured: --size wants at least 1x1 "
                                 "and --max-pixels allows {} samples",
                                 layout.width, layout.height, maxPixels));
  const int width = static_cast<int>(layout.width), height = static_cast<int>(layout.height);
  format = av_get_pix_fmt(layout.pixelFormat.c_str());
  if (format == AV_PIX_FMT_NONE || !givesLuma(format))
    throw InputError(fmt::format("--pix-fmt {} is no pixel format that luma can be taken from; "
                                 "names are those of libavutil, as yuv420p or yuv422p10le",
                                 layout.pixelFormat));
  const int packed = av_image_get_buffer_size(format, width, height, 1);
  std::uint8_t *data[4];
  if (packed <= 0 ||
      av_image_fill_arrays(data, planes.stride, nullptr, format, width, height, 1) < 0)
    throw InputError(
        fmt::format("pictures of {}x{} {} are too large", width, height, layout.pixelFormat));
  frameBytes = layout.frameBytes.value_or(packed);
  // Luma of its own lies in the first plane, ahead of all others.
  neededBytes = holdsLuma(format) && av_pix_fmt_count_planes(format) > 1
                    ? std::int64_t{planes.stride[0]} * height
                    : packed;
  if (frameBytes < neededBytes)
    throw InputError(fmt::format("--frame-bytes {} is less than the {} bytes that {}x{} {} needs",
                                 frameBytes, neededBytes, width, height, layout.pixelFormat));
  shownBytes = frameBytes >= packed ? packed : neededBytes;
  buffer.resize(static_cast<std::size_t>(shownBytes) + PADDING);
  av_image_fill_arrays(data, planes.stride, buffer.data(), format, width, height, 1);
  std::copy_n(data, 4, planes.data);
  inputInfo.width = layout.width;
  inputInfo.height = layout.height;
  inputInfo.pixelFormat = av_get_pix_fmt_name(format);
  inputInfo.bitDepth = lumaDepth(format);
  inputInfo.lumaRule = lumaRule(format);
  inputInfo.range = layout.pixelFormat.starts_with("yuvj") ? "full" : "unknown";
  inputInfo.averageRate = inputInfo.rate;
}

void RawSource::checkFileSize(std::int64_t size) {
  const std::int64_t whole = size / frameBytes, remainder = size % frameBytes;
  const std::string layout = fmt::format("{}x{} {} ({} bytes each)", inputInfo.width,
                                         inputInfo.height, inputInfo.pixelFormat, frameBytes);
  if (whole == 0)
    throw InputError(fmt::format("its {} bytes are less than one frame of {}{}", size, layout,
                                 fittingLayouts(size)));
  if (remainder != 0)
    inputInfo.warnings.push_back(fmt::format("its {} bytes are {} frames of {} and a remainder of "
                                             "{} bytes: is the size right?{}",
                                             size, whole, layout, remainder, fittingLayouts(size)));
  inputInfo.frameCount = whole;
  inputInfo.hasEnd = true;
  inputInfo.duration = timeOf(whole);
}

std::string RawSource::fittingLayouts(std::int64_t size) const {
  const std::string list = qc::fittingLayouts(
      size, inputInfo.path, format,
      Geometry{static_cast<int>(inputInfo.width), static_cast<int>(inputInfo.height)});
  return list.empty() ? "" : "; what would fit: " + list;
}

void RawSource::select(std::int64_t first, std::optional<std::int64_t> count) {
  window = Window(Frames{first}, count ? std::optional<Extent>(Frames{*count}) : std::nullopt);
}

bool RawSource::read(LumaPicture &picture) {
  while (!finished && !window.isComplete()) {
    picture.frame = picture.packet = log.pictures();
    picture.time = timeOf(picture.frame);
    picture.pictureType = '?';
    if (window.isAfter(picture))
      break;
    const bool wanted = !window.isBefore(picture);
    const bool isShown = wanted && tap != nullptr && tap->wants(picture.frame);
    const std::int64_t part = isShown ? shownBytes : neededBytes;
    std::int64_t bytes = wanted ? static_cast<std::int64_t>(
                                      file.readFully(buffer.data(), static_cast<std::size_t>(part)))
                                : file.skip(part);
    const bool complete = bytes == part;
    if (complete)
      bytes += file.skip(frameBytes - part);
    // A last frame without the rest of its chroma is still whole for what is measured here, but the
    // size of a file says how many frames are whole, and a pipe is treated alike.
    if (bytes < frameBytes) {
      noteEnd(picture.time, bytes);
      break;
    }
    log.addPicture(picture.time);
    if (!wanted)
      continue;
    picture.news.settledBefore = log.pictures();
    luma.read(planes, format, static_cast<int>(inputInfo.width), static_cast<int>(inputInfo.height),
              picture.samples);
    window.delivered(picture);
    if (isShown)
      show(*tap, picture.frame, picture.time);
    return true;
  }
  finished = true;
  return false;
}

bool RawSource::showFrame(std::int64_t number, PictureTap &viewer) {
  const auto bytes = static_cast<std::size_t>(shownBytes);
  if (!file.seek(number * frameBytes) || file.readFully(buffer.data(), bytes) != bytes)
    return false;
  show(viewer, number, timeOf(number));
  return true;
}

/// Where the other planes are left out of the frames, luma alone; nothing where that is not 8 bits.
void RawSource::show(PictureTap &viewer, std::int64_t number, double time) {
  const bool isWhole =
      shownBytes == av_image_get_buffer_size(format, static_cast<int>(inputInfo.width),
                                             static_cast<int>(inputInfo.height), 1);
  if (!isWhole && inputInfo.bitDepth != 8)
    return;
  const FramePointer picture(allocated(av_frame_alloc()));
  picture->format = isWhole ? format : AV_PIX_FMT_GRAY8;
  picture->width = static_cast<int>(inputInfo.width);
  picture->height = static_cast<int>(inputInfo.height);
  for (std::size_t i = 0; i < (isWhole ? 4U : 1U); ++i) {
    picture->data[i] = const_cast<std::uint8_t *>(planes.data[i]);
    picture->linesize[i] = planes.stride[i];
  }
  viewer.see(*picture, number, time);
}

void RawSource::noteEnd(double time, std::int64_t bytesOfLastFrame) {
  if (file.failure() != 0)
    log.stopReading(time, file.failure());
  else if (inputInfo.frameCount && log.pictures() < *inputInfo.frameCount)
    log.addLoss({log.pictures(), time,
                 fmt::format("the file became shorter while it was read: it ends after {} of {} "
                             "frames",
                             log.pictures(), *inputInfo.frameCount),
                 DecodeErrorKind::missing, *inputInfo.frameCount - log.pictures(),
                 timeOf(*inputInfo.frameCount)});
  else if (bytesOfLastFrame != 0 && !file.size()) // a file's remainder is told at the start
    log.addLoss({log.pictures(), time,
                 fmt::format("the input ends inside a frame, after {} of {} bytes",
                             bytesOfLastFrame, frameBytes),
                 DecodeErrorKind::missing, 1, timeOf(log.pictures() + 1)});
  log.finish();
}

} // namespace lumagauge::qc
