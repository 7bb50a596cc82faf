// SPDX-License-Identifier: BSD-2-Clause
//
// What the demuxer and the decoder of one input say of damage: for some of it libav has no other
// word than a line in its log, which is one for the whole process.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_LISTENER_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_LISTENER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct AVCodecContext;

namespace lumagauge::qc {

/// Hears the contexts whose `opaque` points to it. From the first listener on, libav's log goes
/// through a callback that hands everything else on to libav's own.
class LibavListener {
public:
  LibavListener();
  ~LibavListener();
  LibavListener(const LibavListener &) = delete;
  LibavListener &operator=(const LibavListener &) = delete;

  struct Message {
    std::int64_t tag; ///< of the packet that was decoded; the demuxer's position in bytes
    std::string text;
  };
  /// Calls `use`, which does not throw, with the listener of the decoder. Nothing happens where it
  /// is no more, as a decoder that is never freed may outlive it.
  static void reach(const AVCodecContext &context, const std::function<void(LibavListener &)> &use);
  /// An allocation failed on one of libav's threads: what the decoder has is not to be relied on.
  static void noteMissingMemory(const AVCodecContext &context);
  bool lacksMemory() const { return memoryLacking; }
  /// As if the decoder had said so.
  void addDecoder(Message message);
  /// What came since the last call, one message a packet; of any number a few are kept.
  /// Throw std::bad_alloc where memory was missing.
  std::vector<Message> takeDecoders() { return take(decoders); }
  std::vector<Message> takeDemuxers() { return take(demuxers); }

private:
  struct Dispatch;

  std::vector<Message> take(std::vector<Message> &from);

  std::atomic<bool> memoryLacking = false;
  std::mutex mutex; ///< guards what follows: decoders have threads of their own
  std::vector<Message> decoders, demuxers;
};

} // namespace lumagauge::qc

#endif
