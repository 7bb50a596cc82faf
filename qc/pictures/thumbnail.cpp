// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/thumbnail.h"
#include "qc/pictures/tone_curve.h"

#include "qc/source/libav_input.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace lumagauge::qc {

namespace {

constexpr int STRIP_QUALITY = 6, EVENT_QUALITY = 5, SPRITE_QUALITY = 9;
constexpr int SPRITE_PICTURES = 8, SPRITE_WIDTH = 72, SPRITE_HEIGHT = 40;
/// Shapes of samples beyond this are no shapes but damage.
constexpr double MOST_SAMPLE_ASPECT = 8;
/// Streams from this height on are of BT.709 where they do not say.
constexpr int LEAST_HD_HEIGHT = 720;

struct Turn {
  int quarters = 0;      ///< clockwise
  bool mirrored = false; ///< left for right, ahead of turning
};

Turn turnOf(const AVFrame &frame) {
  std::array<std::int32_t, 9> matrix{};
  const AVFrameSideData *stated = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
  if (stated == nullptr || stated->size < sizeof matrix)
    return {};
  std::memcpy(matrix.data(), stated->data, sizeof matrix);
  Turn turn;
  turn.mirrored = std::int64_t{matrix[0]} * matrix[4] - std::int64_t{matrix[1]} * matrix[3] < 0;
  if (turn.mirrored)
    av_display_matrix_flip(matrix.data(), 1, 0);
  const double degrees = -av_display_rotation_get(matrix.data()); // clockwise
  if (std::isfinite(degrees))
    turn.quarters = static_cast<int>(std::lround(degrees / 90) % 4 + 4) % 4;
  return turn;
}

double sampleAspectOf(const AVFrame &frame) {
  const AVRational stated = frame.sample_aspect_ratio;
  const double aspect = stated.num > 0 && stated.den > 0 ? av_q2d(stated) : 1.0;
  return aspect > 1 / MOST_SAMPLE_ASPECT && aspect < MOST_SAMPLE_ASPECT ? aspect : 1.0;
}

/// The size that the frame is scaled to, before it is turned.
std::pair<int, int> targetSize(const AVFrame &frame, int longestSide) {
  const double aspect = sampleAspectOf(frame);
  // One side keeps its samples, the other gets fewer, so that none is made up.
  const double width = frame.width * std::min(1.0, aspect),
               height = frame.height / std::max(1.0, aspect);
  const double scale = std::min(1.0, longestSide / std::max(width, height));
  const auto side = [&](double value) {
    return std::max(1, static_cast<int>(std::lround(value * scale)));
  };
  return {side(width), side(height)};
}

int matrixOf(const AVFrame &frame) {
  switch (frame.colorspace) {
  case AVCOL_SPC_BT709:
    return SWS_CS_ITU709;
  case AVCOL_SPC_BT2020_NCL:
  case AVCOL_SPC_BT2020_CL:
    return SWS_CS_BT2020;
  case AVCOL_SPC_SMPTE240M:
    return SWS_CS_SMPTE240M;
  case AVCOL_SPC_FCC:
    return SWS_CS_FCC;
  case AVCOL_SPC_BT470BG:
  case AVCOL_SPC_SMPTE170M:
    return SWS_CS_ITU601;
  default:
    return frame.height >= LEAST_HD_HEIGHT ? SWS_CS_ITU709 : SWS_CS_ITU601;
  }
}

bool isFullRange(const AVFrame &frame, const AVPixFmtDescriptor &format) {
  if (frame.color_range != AVCOL_RANGE_UNSPECIFIED)
    return frame.color_range == AVCOL_RANGE_JPEG;
  return std::string_view(format.name).starts_with("yuvj") || format.nb_components < 3;
}

RgbPicture turned(RgbPicture picture, Turn turn) {
  if (turn.quarters == 0 && !turn.mirrored)
    return picture;
  const bool lies = turn.quarters % 2 != 0;
  RgbPicture result{lies ? picture.height : picture.width, lies ? picture.width : picture.height,
                    std::vector<std::uint8_t>(picture.samples.size())};
  const int w = picture.width, h = picture.height;
  for (int y = 0; y < result.height; ++y)
    for (int x = 0; x < result.width; ++x) {
      const std::array<std::pair<int, int>, 4> from{
          {{x, y}, {y, h - 1 - x}, {w - 1 - x, h - 1 - y}, {w - 1 - y, x}}};
      auto [column, row] = from[static_cast<std::size_t>(turn.quarters)];
      if (turn.mirrored)
        column = w - 1 - column;
      std::copy_n(picture.samples.begin() + 3 * (std::ptrdiff_t{row} * w + column), 3,
                  result.samples.begin() + 3 * (std::ptrdiff_t{y} * result.width + x));
    }
  return result;
}

SwsContext *usable(SwsContext *context) {
  if (context == nullptr)
    throw InputError("its pictures cannot be scaled");
  return context;
}

/// The format without the range in its name, which is stated apart.
AVPixelFormat rangelessFormat(AVPixelFormat format) {
  const std::string name = av_get_pix_fmt_name(format);
  return name.starts_with("yuvj") ? av_get_pix_fmt(("yuv" + name.substr(4)).c_str()) : format;
}

} // namespace

std::string displayNote(const AVFrame &frame) {
  const std::string_view curve = toneCurveName(frame.color_trc);
  return curve.empty() ? ""
                       : "The video is HDR (" + std::string(curve) +
                             "). Its pictures are shown here by a plain tone curve, which keeps "
                             "what is in them but neither their brightness nor their colours.";
}

Scaler::~Scaler() {
  sws_freeContext(context);
}

SwsContext *Scaler::contextFor(const Setup &wanted) {
  if (context != nullptr && setup == wanted)
    return context;
  sws_freeContext(context);
  context = nullptr;
  const auto &[width, height, format, toWidth, toHeight, toFormat, matrix, isFull] = wanted;
  context =
      usable(sws_getContext(width, height, static_cast<AVPixelFormat>(format), toWidth, toHeight,
                            static_cast<AVPixelFormat>(toFormat),
                            SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
  sws_setColorspaceDetails(context, sws_getCoefficients(matrix), isFull ? 1 : 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  setup = wanted;
  return context;
}

RgbPicture Scaler::show(const AVFrame &frame, int longestSide) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor *known = av_pix_fmt_desc_get(format);
  if (known == nullptr || frame.width <= 0 || frame.height <= 0 ||
      sws_isSupportedInput(format) == 0)
    throw InputError("its pixel format cannot be shown");
  const auto [width, height] = targetSize(frame, longestSide);
  const bool isHdr = !toneCurveName(frame.color_trc).empty();
  const AVPixelFormat target = isHdr ? AV_PIX_FMT_RGB48 : AV_PIX_FMT_RGB24;
  contextFor({frame.width, frame.height, rangelessFormat(format), width, height, target,
              matrixOf(frame), isFullRange(frame, *known)});
  const std::size_t count = 3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  RgbPicture picture{width, height, std::vector<std::uint8_t>(count)};
  std::vector<std::uint16_t> deep(isHdr ? count : 0);
  std::uint8_t *out[4] = {isHdr ? reinterpret_cast<std::uint8_t *>(deep.data())
                                : picture.samples.data()};
  const int stride[4] = {3 * width * (isHdr ? 2 : 1)};
  sws_scale(context, frame.data, frame.linesize, 0, frame.height, out, stride);
  if (isHdr)
    toneMap(deep, frame.color_trc, frame.color_primaries == AVCOL_PRI_BT2020, picture.samples);
  return turned(std::move(picture), turnOf(frame));
}

RgbPicture resized(const RgbPicture &picture, int width, int height) {
  SwsContext *scaler = usable(sws_getContext(
      picture.width, picture.height, AV_PIX_FMT_RGB24, width, height, AV_PIX_FMT_RGB24,
      SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
  RgbPicture result{width, height, {}};
  result.samples.resize(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  const std::uint8_t *in[4] = {picture.samples.data()};
  std::uint8_t *out[4] = {result.samples.data()};
  const int inStride[4] = {3 * picture.width}, outStride[4] = {3 * width};
  sws_scale(scaler, in, inStride, 0, picture.height, out, outStride);
  sws_freeContext(scaler);
  return result;
}

std::string jpegOf(const RgbPicture &picture, int quality) {
  const AVCodec *codec = allocated(avcodec_find_encoder(AV_CODEC_ID_MJPEG));
  std::unique_ptr<AVCodecContext, FreeWith<avcodec_free_context>> context(
      allocated(avcodec_alloc_context3(codec)));
  context->width = picture.width;
  context->height = picture.height;
  context->pix_fmt = AV_PIX_FMT_YUVJ420P;
  context->color_range = AVCOL_RANGE_JPEG;
  context->time_base = {1, 1};
  context->thread_count = 1;
  context->flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT;
  context->global_quality = FF_QP2LAMBDA * quality;
  checkLibav(avcodec_open2(context.get(), codec, nullptr), "the JPEG encoder cannot be started");

  FramePointer frame(allocated(av_frame_alloc()));
  frame->width = picture.width;
  frame->height = picture.height;
  frame->format = AV_PIX_FMT_YUVJ420P;
  frame->quality = context->global_quality;
  checkLibav(av_frame_get_buffer(frame.get(), 0), "a picture cannot be stored");
  SwsContext *scaler = usable(sws_getContext(
      picture.width, picture.height, AV_PIX_FMT_RGB24, picture.width, picture.height,
      AV_PIX_FMT_YUV420P, SWS_AREA | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
  const int *bt601 = sws_getCoefficients(SWS_CS_ITU601);
  sws_setColorspaceDetails(scaler, bt601, 1, bt601, 1, 0, 1 << 16, 1 << 16);
  const std::uint8_t *in[4] = {picture.samples.data()};
  const int stride[4] = {3 * picture.width};
  sws_scale(scaler, in, stride, 0, picture.height, frame->data, frame->linesize);
  sws_freeContext(scaler);

  PacketPointer packet(allocated(av_packet_alloc()));
  checkLibav(avcodec_send_frame(context.get(), frame.get()), "a picture cannot be coded");
  checkLibav(avcodec_receive_packet(context.get(), packet.get()), "a picture cannot be coded");
  return {reinterpret_cast<const char *>(packet->data), static_cast<std::size_t>(packet->size)};
}

Thumbnail thumbnailOf(const RgbPicture &picture, std::int64_t frame, double time) {
  const int side = std::max(picture.width, picture.height);
  return {frame, time, picture.width, picture.height,
          jpegOf(picture, side > STRIP_SIDE ? EVENT_QUALITY : STRIP_QUALITY)};
}

std::string spriteOf(const std::vector<RgbPicture> &pictures) {
  if (pictures.empty())
    return {};
  const int count = std::min(SPRITE_PICTURES, static_cast<int>(pictures.size()));
  RgbPicture sprite{count * SPRITE_WIDTH, SPRITE_HEIGHT, {}};
  sprite.samples.resize(3 * static_cast<std::size_t>(sprite.width * sprite.height));
  for (int i = 0; i < count; ++i) {
    const std::size_t chosen = (2 * static_cast<std::size_t>(i) + 1) * pictures.size() /
                               (2 * static_cast<std::size_t>(count));
    const RgbPicture &picture = pictures[chosen];
    const double scale = std::min(SPRITE_WIDTH / static_cast<double>(picture.width),
                                  SPRITE_HEIGHT / static_cast<double>(picture.height));
    const RgbPicture tiny =
        resized(picture, std::clamp(static_cast<int>(picture.width * scale), 1, SPRITE_WIDTH),
                std::clamp(static_cast<int>(picture.height * scale), 1, SPRITE_HEIGHT));
    const int left = i * SPRITE_WIDTH + (SPRITE_WIDTH - tiny.width) / 2,
              top = (SPRITE_HEIGHT - tiny.height) / 2;
    for (int y = 0; y < tiny.height; ++y)
      std::copy_n(tiny.samples.begin() + 3 * std::ptrdiff_t{y} * tiny.width, 3 * tiny.width,
                  sprite.samples.begin() + 3 * (std::ptrdiff_t{top + y} * sprite.width + left));
  }
  return jpegOf(sprite, SPRITE_QUALITY);
}

} // namespace lumagauge::qc
