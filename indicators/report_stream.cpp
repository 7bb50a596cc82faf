// SPDX-License-Identifier: BSD-2-Clause
#include "indicators/report_stream.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace lumagauge {

namespace {

constexpr off_t UNKNOWN = INT64_MAX;

/// Where the descriptor stands in its file; 0 where that says nothing about what was written: for
/// pipes, and for files that are appended to, which stand at their end only after a write.
off_t writePosition(std::FILE *file) {
  const int descriptor = fileno(file);
  if ((fcntl(descriptor, F_GETFL) & O_APPEND) != 0)
    return 0;
  return std::max(off_t{0}, lseek(descriptor, 0, SEEK_CUR));
}

} // namespace

void ReportStream::open(std::FILE *stream) {
  file = stream;
  openError = errno;
}

/// Calls `write`, which may hand bytes to the system, and notes how far the system took them.
template <class Write> void ReportStream::watch(Write write) {
  const off_t before = printed - pending(), start = writePosition(file);
  write();
  const int reason = errno;
  const bool failed = std::ferror(file) != 0;
  // A write that failed may have been taken in part. Where nothing tells, none of it counts.
  const off_t delivered = failed ? before + writePosition(file) - start : printed - pending();
  while (undelivered.size() > 1 && undelivered.front().end <= delivered)
    undelivered.pop_front();
  if (failed) {
    error = reason;
    lostFrom = undelivered.front().place;
  }
}

off_t ReportStream::pending() const {
  return static_cast<off_t>(__fpending(file));
}

void ReportStream::print(Place place, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  if (file == nullptr)
    error = openError;
  else if (error != 0) // there may be room again
    std::vfprintf(file, format, arguments);
  else
    watch([&] {
      undelivered.push_back({place, UNKNOWN});
      if (const int bytes = std::vfprintf(file, format, arguments); bytes >= 0)
        undelivered.back().end = printed += bytes;
    });
  va_end(arguments);
}

void ReportStream::finish() {
  if (undelivered.empty() || error != 0)
    return;
  watch([&] { std::fflush(file); });
  if (error != 0)
    return;
  const int copy = dup(fileno(file));
  if (copy >= 0 && close(copy) != 0) {
    error = errno;
    lostFrom = HEAD;
  }
}

void ReportStream::reportLoss() const {
  if (error == 0)
    return;
  if (file == nullptr) {
    std::fprintf(stderr,
                 "lumagauge: %s could not be opened: %s. It holds nothing of this run; the rows "
                 "went to standard output alone.\n",
                 name, std::strerror(error));
    return;
  }
  char from[] = "from frame -9223372036854775808 on"; // as long as it gets
  if (lostFrom == HEAD)
    std::strcpy(from, "from its first line on");
  else if (lostFrom == END)
    std::strcpy(from, "behind its last row");
  else
    std::snprintf(from, sizeof from, "from frame %lld on", static_cast<long long>(lostFrom));
  std::fprintf(stderr,
               "lumagauge: %s could not be written: %s. What belongs there %s is missing or "
               "incomplete.\n",
               name, std::strerror(error), from);
}

} // namespace lumagauge
