// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/raw_source.h"

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
constexpr int MAX_SUGGESTIONS = 6;

struct Geometry {
  int width, height;
};
constexpr std::array<Geometry, 27> COMMON_GEOMETRIES{
    {{1920, 1080}, {1280, 720},  {3840, 2160}, {720, 576},   {720, 480},   {640, 480},  {640, 360},
     {320, 192},   {352, 288},   {320, 240},   {176, 144},   {320, 180},   {352, 240},  {416, 240},
     {480, 270},   {704, 480},   {704, 576},   {768, 432},   {832, 480},   {854, 480},  {960, 540},
     {1024, 768},  {1440, 1080}, {1920, 1088}, {2560, 1440}, {4096, 2160}, {7680, 4320}}};
constexpr std::array<AVPixelFormat, 8> COMMON_FORMATS{
    AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,     AV_PIX_FMT_GRAY8,
    AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_UYVY422};

} // namespace

RawSource::RawSource(const std::string &input, const SourceOptions &options)
    : file(input), window(options) {
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
  buffer.resize(static_cast<std::size_t>(neededBytes) + PADDING);
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
                                 fittingGeometries(size)));
  if (remainder != 0)
    inputInfo.warnings.push_back(fmt::format("its {} bytes are {} frames of {} and a remainder of "
                                             "{} bytes: is the size right?{}",
                                             size, whole, layout, remainder,
                                             fittingGeometries(size)));
  inputInfo.frameCount = whole;
  inputInfo.duration = timeOf(whole);
}

std::string RawSource::fittingGeometries(std::int64_t size) const {
  std::string list;
  int suggestions = 0;
  const auto suggest = [&](Geometry geometry, AVPixelFormat candidate) {
    const int bytes = av_image_get_buffer_size(candidate, geometry.width, geometry.height, 1);
    if (bytes <= 0 || size < bytes || size % bytes != 0 || suggestions == MAX_SUGGESTIONS)
      return;
    ++suggestions;
    list += fmt::format("{}{}x{} {} ({} frames)", list.empty() ? "" : ", ", geometry.width,
                        geometry.height, av_get_pix_fmt_name(candidate), size / bytes);
  };
  for (const AVPixelFormat candidate : COMMON_FORMATS)
    suggest({static_cast<int>(inputInfo.width), static_cast<int>(inputInfo.height)}, candidate);
  for (const Geometry geometry : COMMON_GEOMETRIES)
    suggest(geometry, format);
  return list.empty() ? "" : "; what would fit: " + list;
}

bool RawSource::read(LumaPicture &picture) {
  while (!finished && !window.isComplete()) {
    picture.frame = log.pictures();
    picture.time = timeOf(picture.frame);
    picture.pictureType = '?';
    if (window.isAfter(picture))
      break;
    const bool wanted = !window.isBefore(picture);
    std::int64_t bytes = wanted ? static_cast<std::int64_t>(file.readFully(
                                      buffer.data(), static_cast<std::size_t>(neededBytes)))
                                : file.skip(neededBytes);
    const bool complete = bytes == neededBytes;
    if (complete)
      bytes += file.skip(frameBytes - neededBytes);
    // A last frame without the rest of its chroma is still whole for what is measured here, but the
    // size of a file says how many frames are whole, and a pipe is treated alike.
    if (bytes < frameBytes) {
      noteEnd(picture.time, bytes);
      break;
    }
    log.addPicture(picture.time);
    if (!wanted)
      continue;
    luma.read(planes, format, static_cast<int>(inputInfo.width), static_cast<int>(inputInfo.height),
              picture.samples);
    window.delivered(picture);
    return true;
  }
  finished = true;
  return false;
}

void RawSource::noteEnd(double time, std::int64_t bytesOfLastFrame) {
  if (file.failure() != 0)
    log.stopReading(time, file.failure());
  else if (bytesOfLastFrame != 0 && !file.size()) // a file's remainder is told at the start
    log.addError(time, fmt::format("the input ends inside a frame, after {} of {} bytes",
                                   bytesOfLastFrame, frameBytes));
  log.finish();
}

} // namespace lumagauge::qc
