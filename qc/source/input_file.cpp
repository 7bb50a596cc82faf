// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/input_file.h"

#include "qc/source/source.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace lumagauge::qc {

namespace {

constexpr int CANCEL_INTERVAL_MS = 100;
std::atomic<bool> readingCancelled = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// Waits until a read would not block; false where reading is cancelled before. A signal may reach
/// any thread, so that an interrupted read alone would not do.
bool waitForBytes(int descriptor) {
  pollfd wanted{descriptor, POLLIN, 0};
  while (!isReadingCancelled())
    if (const int ready = poll(&wanted, 1, CANCEL_INTERVAL_MS);
        ready > 0 || (ready < 0 && errno != EINTR))
      return true;
  errno = ECANCELED;
  return false;
}

int openForReading(const std::string &path) {
  // An embedded zero byte would open another file than the one that was named.
  const int descriptor = path == "-" ? dup(STDIN_FILENO)
                         : path.find('\0') == std::string::npos
                             ? open(path.c_str(), O_RDONLY | O_CLOEXEC)
                             : (errno = ENOENT, -1);
  if (descriptor < 0)
    throw InputError(fmt::format("cannot open it: {}", std::strerror(errno)));
  return descriptor;
}

} // namespace

void cancelReading() noexcept {
  readingCancelled = true;
}

bool isReadingCancelled() noexcept {
  return readingCancelled;
}

InputFile::InputFile(const std::string &path) : descriptor(openForReading(path)) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    close(descriptor);
    throw InputError("it is a folder; --recursive measures the videos in it, where there are any");
  }
  // Standard input that is a file is read from where it stands, so it counts as a pipe unless that
  // is the beginning.
  if (S_ISREG(status.st_mode) && lseek(descriptor, 0, SEEK_CUR) == 0)
    byteCount = status.st_size;
}

InputFile::~InputFile() {
  close(descriptor);
}

std::size_t InputFile::readSome(void *destination, std::size_t bytes) {
  ssize_t count = 0;
  do
    count = waitForBytes(descriptor) ? ::read(descriptor, destination, bytes) : -1;
  while (count < 0 && errno == EINTR);
  if (count < 0 && failed == 0)
    failed = errno;
  if (count == 0 && bytes != 0)
    pastEnd = true;
  if (count <= 0)
    return 0;
  offsetNow += count;
  return static_cast<std::size_t>(count);
}

std::size_t InputFile::readFully(void *destination, std::size_t bytes) {
  std::size_t total = 0;
  while (total < bytes) {
    const std::size_t count = readSome(static_cast<char *>(destination) + total, bytes - total);
    if (count == 0)
      break;
    total += count;
  }
  return total;
}

std::int64_t InputFile::skip(std::int64_t bytes) {
  if (byteCount) {
    const std::int64_t skipped = std::min(bytes, std::max<std::int64_t>(*byteCount - offsetNow, 0));
    return seek(offsetNow + skipped) ? skipped : 0;
  }
  std::array<char, 1 << 16> dropped;
  std::int64_t total = 0;
  while (total < bytes) {
    const auto wanted = static_cast<std::size_t>(
        std::min<std::int64_t>(bytes - total, static_cast<std::int64_t>(dropped.size())));
    const std::size_t count = readSome(dropped.data(), wanted);
    if (count == 0)
      break;
    total += static_cast<std::int64_t>(count);
  }
  return total;
}

bool InputFile::seek(std::int64_t offset) {
  if (!byteCount || offset < 0 || lseek(descriptor, offset, SEEK_SET) < 0)
    return false;
  pastEnd = pastEnd || offset > *byteCount;
  offsetNow = offset;
  return true;
}

} // namespace lumagauge::qc
