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
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr int CANCEL_INTERVAL_MS = 100;
constexpr int NOTICE_INTERVALS = 10; ///< without a byte, until that is told
std::atomic<bool> readingCancelled = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

int openForReading(const std::string &path) {
  // An embedded zero byte would open another file than the one that was named.
  const int descriptor = path == "-" ? dup(STDIN_FILENO)
                         : path.find('\0') == std::string::npos
                             ? open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)
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

std::string readText(const std::string &path, std::size_t mostBytes, const Notice &notice) {
  InputFile file(path,
                 notice ? [&](const std::string &what) { notice(path + ": " + what); } : Notice());
  std::string text;
  std::array<char, 1 << 12> part;
  while (const std::size_t count = file.readSome(part.data(), part.size())) {
    text.append(part.data(), count);
    if (text.size() > mostBytes)
      throw InputError(fmt::format("it holds more than {} bytes", mostBytes));
  }
  if (file.failure() != 0)
    throw InputError(fmt::format("reading it failed: {}", readErrorText(file.failure())));
  return text;
}

double WaitClock::seconds() const noexcept {
  const Clock::rep begin = since;
  if (begin == 0)
    return 0;
  const auto waited = Clock::now().time_since_epoch() - Clock::duration(begin);
  return std::chrono::duration<double>(waited).count();
}

InputFile::InputFile(const std::string &path, Notice told, Patience limit)
    : descriptor(openForReading(path)), patience(limit) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    close(descriptor);
    throw InputError("it is a folder; --recursive measures the videos in it, where there are any");
  }
  if (path != "-" && S_ISFIFO(status.st_mode)) {
    isNamedPipe = true;
    notice = std::move(told);
  } else if (path != "-") {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  }
  // Standard input that is a file is read from where it stands, so it counts as a pipe unless that
  // is the beginning.
  if (S_ISREG(status.st_mode) && lseek(descriptor, 0, SEEK_CUR) == 0)
    byteCount = status.st_size;
}

std::string readErrorText(int error) {
  return error == ETIMEDOUT ? "nothing arrived within --timeout" : std::strerror(error);
}

InputFile::~InputFile() {
  close(descriptor);
}

/// Waits until a read would not block; false where reading is cancelled before. A signal may reach
/// any thread, so that an interrupted read alone would not do.
bool InputFile::waitForBytes() {
  pollfd wanted{descriptor, POLLIN, 0};
  WaitClock own, &clock = patience.clock != nullptr ? *patience.clock : own;
  clock.start();
  for (int intervals = 0; !isReadingCancelled(); ++intervals) {
    if (const int ready = poll(&wanted, 1, CANCEL_INTERVAL_MS);
        ready > 0 || (ready < 0 && errno != EINTR)) {
      notice = nullptr;
      clock.stop(true);
      return true;
    }
    if (patience.seconds && clock.seconds() >= *patience.seconds) {
      clock.stop(false);
      errno = ETIMEDOUT;
      return false;
    }
    if (intervals == NOTICE_INTERVALS && notice)
      notice("it is a pipe that nobody has written to yet; waiting");
  }
  clock.stop(false);
  errno = ECANCELED;
  return false;
}

std::size_t InputFile::readSome(void *destination, std::size_t bytes) {
  ssize_t count = 0;
  do
    count = waitForBytes() ? ::read(descriptor, destination, bytes) : -1;
  while (count < 0 && (errno == EINTR || (isNamedPipe && errno == EAGAIN)));
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
