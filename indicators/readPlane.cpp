// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/readPlane.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>

namespace lumagauge {

namespace {

constexpr std::size_t SHARED_FROM = 1 << 20; ///< bytes; less is not worth starting a thread

/// Of a plane, for the second thread: less than half, as it starts later.
constexpr std::size_t secondShare(std::size_t size) {
  return size / 16 * 7;
}

struct Share {
  int file;
  off_t from;
  std::size_t size;
  std::uint8_t *samples;
  std::size_t got = 0;
};

void *readShare(void *argument) {
  Share &share = *static_cast<Share *>(argument);
  while (share.got < share.size) {
    const ssize_t bytes = pread(share.file, share.samples + share.got, share.size - share.got,
                                share.from + static_cast<off_t>(share.got));
    if (bytes <= 0)
      break;
    share.got += static_cast<std::size_t>(bytes);
  }
  return nullptr;
}

/// Starts a thread on another CPU than this one. Left to itself, the system may queue it here,
/// behind the very work that it is to share. False where there is no other CPU or no thread.
bool startElsewhere([[maybe_unused]] pthread_t *thread, [[maybe_unused]] Share *share) {
#ifdef __GLIBC__
  cpu_set_t others;
  if (sched_getaffinity(0, sizeof others, &others) != 0)
    return false;
  CPU_CLR(static_cast<std::size_t>(sched_getcpu()), &others);
  if (CPU_COUNT(&others) == 0)
    return false;
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0)
    return false;
  const bool started = pthread_attr_setaffinity_np(&attributes, sizeof others, &others) == 0 &&
                       pthread_create(thread, &attributes, readShare, share) == 0;
  pthread_attr_destroy(&attributes);
  return started;
#else
  return false;
#endif
}

} // namespace

std::size_t readPlane(std::FILE *video, off_t from, std::size_t size, std::uint8_t *plane) {
  const std::size_t second = secondShare(size);
  const std::size_t first = size - second;
  Share share{fileno(video), from + static_cast<off_t>(first), second, plane + first};
  pthread_t thread;
  if (size < SHARED_FROM || !startElsewhere(&thread, &share))
    return std::fread(plane, 1, size, video);
  std::size_t bytes = std::fread(plane, 1, first, video);
  const int error = errno;
  pthread_join(thread, nullptr);
  errno = error;
  if (bytes < first)
    return bytes;
  bytes += share.got;
  // The stream itself tells why the second thread did not get all.
  if (bytes < size && fseeko(video, from + static_cast<off_t>(bytes), SEEK_SET) == 0)
    bytes += std::fread(plane + bytes, 1, size - bytes, video);
  return bytes;
}

} // namespace lumagauge
