// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/libav_input.h"

#include "qc/source/raw_layouts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace lumagauge::qc {

namespace {

constexpr int IO_BUFFER_BYTES = 1 << 16;
/// Streams and probing that a real file stays under; more would let a small file cost much memory.
constexpr int MAX_STREAMS = 256;
constexpr unsigned LIVE_INDEX_BYTES = 1 << 14;
constexpr std::int64_t PADDING_PIXELS = 1 << 20;
/// Demuxers whose very purpose is to open what they name.
constexpr std::array<std::string_view, 12> NESTING_FORMATS{
    "concat", "hls",   "dash", "webm_dash_manifest", "sdp", "rtsp", "rtp", "imf",
    "image2", "lavfi", "sap",  "vapoursynth"};

int readFile(void *opaque, std::uint8_t *buffer, int bytes) {
  auto &file = *static_cast<InputFile *>(opaque);
  const std::size_t count = file.readSome(buffer, static_cast<std::size_t>(bytes));
  if (count != 0)
    return static_cast<int>(count);
  return file.failure() != 0 ? AVERROR(file.failure()) : AVERROR_EOF;
}

std::int64_t seekFile(void *opaque, std::int64_t offset, int whence) {
  auto &file = *static_cast<InputFile *>(opaque);
  if ((whence & AVSEEK_SIZE) != 0)
    return file.size().value_or(AVERROR(ENOSYS));
  switch (whence & ~AVSEEK_FORCE) {
  case SEEK_CUR:
    offset += file.position();
    break;
  case SEEK_END:
    offset += file.size().value_or(0);
    break;
  default:
    break;
  }
  return file.seek(offset) ? offset : AVERROR(EINVAL);
}

int refuseToOpen(AVFormatContext *, AVIOContext **, const char *, int, AVDictionary **) {
  return AVERROR(EACCES);
}

/// All that demuxers get to know of a path: its extension, which helps to recognise bare streams.
std::string hint(const std::string &path) {
  const std::size_t dot = path.find_last_of("./");
  if (dot == std::string::npos || path[dot] != '.' || path.size() - dot > 8 ||
      !std::all_of(path.begin() + static_cast<std::ptrdiff_t>(dot) + 1, path.end(),
                   [](unsigned char c) { return std::isalnum(c) != 0; }))
    return "input";
  return "input" + path.substr(dot);
}

/// The scheme of `scheme://...`, empty where the input is none.
std::string_view scheme(std::string_view input) {
  const std::size_t end = input.find("://");
  return end == std::string_view::npos ? std::string_view() : input.substr(0, end);
}

bool nests(const AVInputFormat &format) {
  return std::any_of(NESTING_FORMATS.begin(), NESTING_FORMATS.end(), [&](auto name) {
    return av_match_name(std::string(name).c_str(), format.name) != 0;
  });
}

/// "frame%03d.png", where no file has this very name.
bool isImagePattern(const std::string &path) {
  std::error_code error;
  return av_filename_number_test(path.c_str()) != 0 && !std::filesystem::exists(path, error);
}

void refuseNesting(const AVInputFormat &format, const SourceOptions &options) {
  if (nests(format) && !options.nested)
    throw InputError(
        fmt::format("it is a list that names further files ({}), which are opened only "
                    "with --allow-nested",
                    format.name));
}

[[noreturn]] void refuseUnknown(const std::string &path, std::int64_t bytes, bool isRaw) {
  const std::string fits = fittingLayouts(bytes, path);
  throw InputError(fmt::format(
      "{}; raw frames need --raw --size WIDTHxHEIGHT, and --pix-fmt where they are not yuv420p{}",
      isRaw ? "by its name it holds raw frames, which have no header"
            : "it is no container or video stream that is known here, or it is empty",
      fits.empty() ? "" : fmt::format("; its {} bytes would fit {}", bytes, fits)));
}

/// Of what streams say of themselves, and of the places in them that could be sought.
void limitMemory(AVFormatContext &format, const SourceOptions &options) {
  format.max_streams = MAX_STREAMS;
  if (options.live)
    format.max_index_size = LIVE_INDEX_BYTES;
}

/// Protocols that an allowed one is built on.
std::string protocolList(const SourceOptions &options) {
  std::vector<std::string> list = options.protocols;
  for (const std::string &protocol : options.protocols)
    if (protocol.starts_with("http"))
      list.insert(list.end(), {"tcp", "tls"});
    else if (protocol.starts_with("rtsp"))
      list.insert(list.end(), {"rtp", "udp", "tcp", "tls"});
    else if (protocol == "rtp")
      list.emplace_back("udp");
  if (options.nested)
    list.emplace_back("file");
  // An empty list would mean all of them.
  return list.empty() ? "none" : fmt::format("{}", fmt::join(list, ","));
}

} // namespace

std::string libavError(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

int checkMemory(int code) {
  if (code == AVERROR(ENOMEM))
    throw std::bad_alloc();
  return code;
}

void checkLibav(int code, std::string_view what) {
  if (checkMemory(code) < 0)
    throw InputError(fmt::format("{}: {}", what, libavError(code)));
}

std::int64_t maxDecodedPixels(const SourceOptions &options) {
  return 2 * options.maxPixels + PADDING_PIXELS;
}

LibavInput::LibavInput(const std::string &input, const SourceOptions &options) {
  av_log_set_level(AV_LOG_QUIET);
  try {
    const std::string_view protocol = scheme(input);
    if (!protocol.empty() && std::find(options.protocols.begin(), options.protocols.end(),
                                       protocol) != options.protocols.end())
      openUrl(input, options);
    else if (options.nested && isImagePattern(input))
      openUrl("file:" + input, options);
    else
      openFile(input, options);
    findStreams(options);
  } catch (...) {
    close();
    throw;
  }
}

LibavInput::~LibavInput() {
  close();
}

void LibavInput::close() {
  avformat_close_input(&format); // leaves a caller's AVIOContext alone
  if (io != nullptr)
    av_freep(&io->buffer);
  avio_context_free(&io);
}

bool LibavInput::isSeekable() const {
  return format->pb != nullptr && (format->pb->seekable & AVIO_SEEKABLE_NORMAL) != 0;
}

bool LibavInput::wentPastEnd() const {
  return file ? file->wentPastEnd() : format->pb != nullptr && avio_feof(format->pb) != 0;
}

int LibavInput::readFailure() const {
  if (file)
    return file->failure();
  if (timedOut)
    return ETIMEDOUT;
  return format->pb != nullptr && format->pb->error < 0 && format->pb->error != AVERROR_EOF ? EIO
                                                                                            : 0;
}

int LibavInput::readPacket(AVPacket &packet) {
  if (file)
    return checkMemory(av_read_frame(format, &packet));
  WaitClock own, &clock = patience.clock != nullptr ? *patience.clock : own;
  clock.start();
  const std::int64_t bytes = format->pb != nullptr ? format->pb->bytes_read : 0;
  const int code = checkMemory(av_read_frame(format, &packet));
  // At the end, and when a read fails for want of bytes, demuxers give out what they still hold.
  const bool hasEnded = code < 0 || (format->pb != nullptr && format->pb->eof_reached != 0);
  const bool arrived = !hasEnded && (format->pb == nullptr || format->pb->bytes_read > bytes);
  if (hasEnded && patience.seconds && clock.seconds() >= *patience.seconds)
    timedOut = true;
  else if (arrived)
    timedOut = false;
  clock.stop(arrived);
  return code;
}

void LibavInput::openFile(const std::string &path, const SourceOptions &options) {
  file = std::make_unique<InputFile>(path, options.notice, patienceOf(options));
  auto *buffer = static_cast<std::uint8_t *>(allocated(av_malloc(IO_BUFFER_BYTES)));
  io = avio_alloc_context(buffer, IO_BUFFER_BYTES, 0, file.get(), readFile, nullptr,
                          file->size() ? seekFile : nullptr);
  if (io == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  format = allocated(avformat_alloc_context());
  format->opaque = &listener;
  const std::string name = hint(path);
  const AVInputFormat *demuxer = nullptr;
  const int probed = av_probe_input_buffer2(io, &demuxer, name.c_str(), nullptr, 0, 0);
  if (file->failure() != 0)
    throw InputError(fmt::format("reading it failed: {}", readErrorText(file->failure())));
  if (probed < 0 || demuxer == nullptr || std::string_view(demuxer->name) == "rawvideo")
    refuseUnknown(path, file->size().value_or(0), demuxer != nullptr);
  if (!options.nested && std::string_view(demuxer->name) == "image2") {
    // By the extension alone; what is inside says better which kind of single picture it is.
    const AVInputFormat *inside = nullptr;
    if (av_probe_input_buffer2(io, &inside, "input", nullptr, 0, 0) >= 0 && inside != nullptr)
      demuxer = inside;
  }
  refuseNesting(*demuxer, options);
  if (options.nested && nests(*demuxer)) {
    // Lists name files relative to their own place, so the demuxer must know it.
    close();
    file.reset();
    openUrl("file:" + path, options);
    return;
  }
  format->pb = io;
  format->flags |= AVFMT_FLAG_CUSTOM_IO;
  format->io_open = refuseToOpen;
  limitMemory(*format, options);
  AVDictionary *settings = nullptr;
  av_dict_set(&settings, "protocol_whitelist", "none", 0);
  const int opened = avformat_open_input(&format, name.c_str(), demuxer, &settings);
  av_dict_free(&settings);
  if (opened == AVERROR(EBUSY)) // of a file that is open: what the demuxer of y4m says of sizes
    throw InputError(
        fmt::format("its {} header states no size that a picture can have", demuxer->name));
  checkLibav(opened, fmt::format("its {} container cannot be read", demuxer->name));
}

void LibavInput::openUrl(const std::string &url, const SourceOptions &options) {
  format = allocated(avformat_alloc_context());
  format->opaque = &listener;
  limitMemory(*format, options);
  format->interrupt_callback.callback = [](void *) { return isReadingCancelled() ? 1 : 0; };
  AVDictionary *settings = nullptr;
  av_dict_set(&settings, "protocol_whitelist", protocolList(options).c_str(), 0);
  patience = {options.timeout, options.waitClock};
  for (const char *name : {"rw_timeout", "timeout"}) // the latter is that of some protocols alone
    if (options.timeout)
      av_dict_set_int(&settings, name, static_cast<std::int64_t>(*options.timeout * 1e6), 0);
  const auto begun = WaitClock::Clock::now();
  const int opened = avformat_open_input(&format, url.c_str(), nullptr, &settings);
  av_dict_free(&settings);
  const std::chrono::duration<double> taken = WaitClock::Clock::now() - begun;
  if (opened < 0 && options.timeout && taken.count() >= *options.timeout && !isReadingCancelled())
    throw InputError("it cannot be opened: " + readErrorText(ETIMEDOUT));
  checkLibav(opened, "it cannot be opened");
  if (av_match_name(std::string(scheme(url)).c_str(), format->iformat->name) == 0)
    refuseNesting(*format->iformat, options);
}

void LibavInput::findStreams(const SourceOptions &options) {
  std::vector<AVDictionary *> settings(format->nb_streams, nullptr);
  for (AVDictionary *&stream : settings)
    av_dict_set_int(&stream, "max_pixels", maxDecodedPixels(options), 0);
  const int found = avformat_find_stream_info(format, settings.data());
  for (AVDictionary *&stream : settings)
    av_dict_free(&stream);
  checkLibav(found, "its streams cannot be read");
}

} // namespace lumagauge::qc
