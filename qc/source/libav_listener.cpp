// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/libav_listener.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <string_view>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::size_t MOST_MESSAGES = 64;
constexpr int TINT_BITS = 8;              ///< a level may carry a colour above them
constexpr std::size_t LEAST_ADDRESS = 10; ///< characters of one, with its "0x"

/// Addresses, which some decoders name, are others in each run.
void dropAddresses(std::string &line) {
  for (std::size_t at = 0; (at = line.find("0x", at)) != std::string::npos; at += 2) {
    const std::size_t end =
        std::min(line.find_first_not_of("0123456789abcdef", at + 2), line.size());
    if (end - at >= LEAST_ADDRESS)
      line.replace(at, end - at, "0x");
  }
}

} // namespace

/// libav's callback and the listeners that it may call.
struct LibavListener::Dispatch {
  static Dispatch &instance() {
    static Dispatch *const only = new Dispatch; // libav may log while the process ends
    return *only;
  }
  static void log(void *context, int level, const char *format, va_list arguments);
  void hear(void *context, const char *format, va_list arguments);
  LibavListener *find(const void *opaque) const; ///< null where there is none; wants the mutex

  std::mutex mutex;
  std::vector<LibavListener *> listeners;
};

void LibavListener::Dispatch::log(void *context, int level, const char *format, va_list arguments) {
  // Of pictures that are not whole decoders tell no more than that they conceal it.
  const bool isDamage = (level & ((1 << TINT_BITS) - 1)) <= AV_LOG_WARNING ||
                        std::string_view(format).starts_with("concealing");
  if (context != nullptr && isDamage) {
    va_list copy;
    va_copy(copy, arguments);
    instance().hear(context, format, copy);
    va_end(copy);
  }
  av_log_default_callback(context, level, format, arguments);
}

void LibavListener::Dispatch::hear(void *context, const char *format, va_list arguments) {
  const AVClass *const kind = *static_cast<const AVClass *const *>(context);
  const bool isDecoder = kind == avcodec_get_class();
  if (!isDecoder && kind != avformat_get_class())
    return;
  auto *const decoder = static_cast<AVCodecContext *>(context);
  auto *const demuxer = static_cast<AVFormatContext *>(context);
  std::array<char, 256> text{};
  std::vsnprintf(text.data(), text.size(), format, arguments);
  const std::lock_guard lock(mutex);
  LibavListener *const listener = find(isDecoder ? decoder->opaque : demuxer->opaque);
  if (listener == nullptr)
    return;
  const std::lock_guard own(listener->mutex);
  std::vector<Message> &messages = isDecoder ? listener->decoders : listener->demuxers;
  const std::int64_t tag = isDecoder                ? decoder->reordered_opaque
                           : demuxer->pb != nullptr ? avio_tell(demuxer->pb)
                                                    : 0;
  try { // no exception may pass through libav
    std::string line = (isDecoder ? "the decoder says: " : "") + std::string(text.data());
    line.erase(std::find(line.begin(), line.end(), '\n'), line.end());
    dropAddresses(line);
    if (messages.size() < MOST_MESSAGES && (messages.empty() || messages.back().tag != tag))
      messages.push_back({tag, std::move(line)});
  } catch (const std::bad_alloc &) {
    listener->memoryLacking = true;
  }
}

LibavListener *LibavListener::Dispatch::find(const void *opaque) const {
  const auto found = std::find(listeners.begin(), listeners.end(), opaque);
  return found == listeners.end() ? nullptr : *found;
}

void LibavListener::reach(const AVCodecContext &context,
                          const std::function<void(LibavListener &)> &use) {
  Dispatch &dispatch = Dispatch::instance();
  const std::lock_guard lock(dispatch.mutex);
  if (LibavListener *const listener = dispatch.find(context.opaque))
    use(*listener);
}

void LibavListener::noteMissingMemory(const AVCodecContext &context) {
  reach(context, [](LibavListener &listener) { listener.memoryLacking = true; });
}

LibavListener::LibavListener() {
  Dispatch &dispatch = Dispatch::instance();
  const std::lock_guard lock(dispatch.mutex);
  dispatch.listeners.push_back(this);
  av_log_set_callback(Dispatch::log);
}

LibavListener::~LibavListener() {
  Dispatch &dispatch = Dispatch::instance();
  const std::lock_guard lock(dispatch.mutex);
  std::erase(dispatch.listeners, this);
}

void LibavListener::addDecoder(Message message) {
  const std::lock_guard lock(mutex);
  decoders.push_back(std::move(message));
}

std::vector<LibavListener::Message> LibavListener::take(std::vector<Message> &from) {
  const std::lock_guard lock(mutex);
  if (memoryLacking)
    throw std::bad_alloc();
  return std::exchange(from, {});
}

} // namespace lumagauge::qc
