// SPDX-License-Identifier: BSD-2-Clause
//
// A container opened by libavformat such that its bytes decide nothing but pictures: a path is
// opened as that file and nothing else, and what a container names is not opened.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_INPUT_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_INPUT_H

#include "qc/source/input_file.h"
#include "qc/source/libav_listener.h"
#include "qc/source/open_source.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <new>
#include <string_view>

namespace lumagauge::qc {

/// libav's text for one of its error codes.
std::string libavError(int code);
/// The code of a call that may fail, unless for lack of memory: throws std::bad_alloc.
int checkMemory(int code);
/// Where the call failed throws std::bad_alloc or an InputError, `what` and libav's text.
void checkLibav(int code, std::string_view what);
template <class T> T *allocated(T *pointer) {
  if (pointer == nullptr)
    throw std::bad_alloc();
  return pointer;
}

/// What libav is to take for the limit of a picture: its own count includes padding.
std::int64_t maxDecodedPixels(const SourceOptions &options);

class LibavInput {
public:
  /// Opens the container and finds its streams. Throws InputError and std::bad_alloc.
  LibavInput(const std::string &input, const SourceOptions &options);
  ~LibavInput();
  LibavInput(const LibavInput &) = delete;
  LibavInput &operator=(const LibavInput &) = delete;

  AVFormatContext *operator->() const { return format; }
  AVFormatContext *get() const { return format; }
  bool isSeekable() const;
  /// The next packet of any stream, or libav's code.
  int readPacket(AVPacket &packet);
  /// The input ended before what the container refers to.
  bool wentPastEnd() const;
  /// The error number of the first read that failed, 0 where none did.
  int readFailure() const;
  /// What is said while the container is read; decoders may be told to use it too.
  LibavListener listener;

private:
  void openFile(const std::string &path, const SourceOptions &options);
  void openUrl(const std::string &url, const SourceOptions &options);
  void findStreams(const SourceOptions &options);
  void close();

  std::unique_ptr<InputFile> file; ///< empty for a URL
  Patience patience;               ///< of a URL
  bool timedOut = false;           ///< likewise
  AVIOContext *io = nullptr;       ///< over `file`
  AVFormatContext *format = nullptr;
};

} // namespace lumagauge::qc

#endif
