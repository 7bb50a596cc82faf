// SPDX-License-Identifier: BSD-2-Clause
//
// What libav's threads say at once reaches the listener that it is meant for, and no other.
#include "qc/source/libav_input.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace lumagauge::qc {
namespace {

using CodecPointer = std::unique_ptr<AVCodecContext, void (*)(AVCodecContext *)>;

CodecPointer decoderOf(LibavListener &listener) {
  CodecPointer decoder(avcodec_alloc_context3(nullptr),
                       [](AVCodecContext *context) { avcodec_free_context(&context); });
  decoder->opaque = &listener;
  return decoder;
}

TEST(Listener, HearsItsOwnDecoderAmongMany) {
  av_log_set_level(AV_LOG_QUIET);
  const auto decodeMany = [](int number) {
    for (int file = 0; file < 50; ++file) {
      LibavListener listener;
      const CodecPointer decoder = decoderOf(listener);
      const auto say = [&](int tag) {
        decoder->reordered_opaque = tag;
        av_log(decoder.get(), AV_LOG_WARNING, "thread %d\n", number);
      };
      std::thread other(say, 1);
      const auto early = listener.takeDecoders();
      other.join();
      say(2);
      auto messages = listener.takeDecoders();
      messages.insert(messages.begin(), early.begin(), early.end());
      ASSERT_EQ(messages.size(), 2U);
      for (int tag : {1, 2})
        EXPECT_EQ(messages[static_cast<std::size_t>(tag - 1)].tag, tag);
      EXPECT_EQ(messages[0].text, "the decoder says: thread " + std::to_string(number));
    }
  };
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back(decodeMany, number);
  for (std::thread &thread : threads)
    thread.join();
}

TEST(Listener, DecodersMayOutliveIt) {
  auto listener = std::make_unique<LibavListener>();
  const CodecPointer decoder = decoderOf(*listener);
  LibavListener::noteMissingMemory(*decoder);
  EXPECT_THROW(listener->takeDecoders(), std::bad_alloc);
  listener.reset();
  LibavListener::noteMissingMemory(*decoder);
  av_log(decoder.get(), AV_LOG_WARNING, "nobody hears\n");
}

} // namespace
} // namespace lumagauge::qc
