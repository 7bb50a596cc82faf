// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/decoder.h"

#include "qc/source/libav_input.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

namespace lumagauge::qc {

namespace {
/// Of a decoder that does not tell how many threads of its own it has started.
constexpr int MOST_OWN_THREADS = 64;
/// Of a sample of a picture, with what a decoder keeps beside it.
constexpr std::size_t MOST_BYTES_PER_PIXEL = 8;

/// Decoders that pass over the rest of a slice that ends too early, without a word.
bool leavesBlocks(AVCodecID codec) {
  return codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_VP8;
}

/// Decoders drop the error of a picture that there was no memory for, and go on.
int allocatePicture(AVCodecContext *context, AVFrame *frame, int flags) {
  int code = avcodec_default_get_buffer2(context, frame, flags);
  if (code >= 0 && leavesBlocks(context->codec_id))
    LibavListener::reach(*context, [&](LibavListener &listener) {
      if (!static_cast<DecoderListener &>(listener).undecoded.mark(*frame))
        code = AVERROR(ENOMEM);
    });
  if (code == AVERROR(ENOMEM))
    LibavListener::noteMissingMemory(*context);
  return code;
}
} // namespace

void checkSize(int width, int height, std::int64_t maxPixels) {
  if (std::int64_t{width} * height > maxPixels)
    throw InputError(fmt::format("its pictures of {}x{} hold more than the {} samples that "
                                 "--max-pixels allows",
                                 width, height, maxPixels));
}

Decoder::Decoder(const AVStream &stream, const SourceOptions &options, DecoderListener &listener) {
  const AVCodecParameters &parameters = *stream.codecpar;
  const std::string name = avcodec_get_name(parameters.codec_id);
  checkSize(parameters.width, parameters.height, options.maxPixels);
  const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw InputError(fmt::format("no decoder is known for its codec {}", name));
  context.reset(allocated(avcodec_alloc_context3(codec)));
  const std::string failure = fmt::format("the decoder for its codec {} cannot be started", name);
  checkLibav(avcodec_parameters_to_context(context.get(), &parameters), failure);
  context->opaque = &listener; // the contexts of the decoder's threads inherit it
  context->get_buffer2 = allocatePicture;
#if LIBAVCODEC_VERSION_MAJOR < 60 // later ones take it for granted
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  context->thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
  context->pkt_timebase = stream.time_base;
  context->max_pixels = maxDecodedPixels(options);
  // Of damaged MPEG-4 Part 2 several threads make other pictures from run to run, without a word.
  context->thread_count = parameters.codec_id == AV_CODEC_ID_MPEG4 ? 1 : options.decodeThreads;
  // The exact crop also where its left edge is not aligned in memory.
  context->flags |= AV_CODEC_FLAG_BITEXACT | AV_CODEC_FLAG_UNALIGNED;
  checkLibav(avcodec_open2(context.get(), codec, nullptr), failure);
}

/// With several threads libavcodec carries the state of one over to another once more as it ends,
/// and where one of them had not got its memory it finds that state impossible and aborts the
/// process. Such a decoder is left as it is: its threads wait for ever, its memory stays taken.
Decoder::~Decoder() {
  if (context && !isSafeToFree())
    static_cast<void>(context.release());
}

bool Decoder::isSafeToFree() const {
  if ((context->active_thread_type & FF_THREAD_FRAME) == 0)
    return true;
  const std::size_t bytes = MOST_BYTES_PER_PIXEL * static_cast<std::size_t>(context->coded_width) *
                            static_cast<std::size_t>(context->coded_height);
  // A call and no new-expression, which compilers may leave out where nothing is done with the
  // memory.
  void *const picture = ::operator new(bytes, std::nothrow);
  ::operator delete(picture);
  return picture != nullptr && !listener().lacksMemory();
}

int Decoder::checked(int code) const {
  if (code == AVERROR(ENOMEM))
    LibavListener::noteMissingMemory(*context);
  return checkMemory(code);
}

int Decoder::send(const AVPacket &packet, std::int64_t tag) {
  context->reordered_opaque = tag;
  return checked(avcodec_send_packet(context.get(), &packet));
}

int Decoder::drain() {
  return checked(avcodec_send_packet(context.get(), nullptr));
}

int Decoder::threads() const {
  const bool hasOwnThreads = (context->codec->capabilities & AV_CODEC_CAP_OTHER_THREADS) != 0;
  if (context->active_thread_type == 0 && !hasOwnThreads)
    return 1;
  return context->thread_count > 0 ? context->thread_count : MOST_OWN_THREADS;
}

bool Decoder::reorders() const {
  const AVCodecDescriptor *known = avcodec_descriptor_get(context->codec_id);
  return known == nullptr || (known->props & AV_CODEC_PROP_INTRA_ONLY) == 0;
}

int Decoder::receive(AVFrame &frame) {
  return checked(avcodec_receive_frame(context.get(), &frame));
}

void Decoder::reportUndecoded(std::int64_t tag) {
  for (const auto &[picture, share] : listener().undecoded.take(tag))
    listener().addDecoder({picture, fmt::format("{:.0f} % of the picture could not be decoded",
                                                std::max(1.0, 100 * share))});
}

} // namespace lumagauge::qc
