// SPDX-License-Identifier: BSD-2-Clause
//
// Linked in front of lumagauge-qc's own sources (-Wl,--wrap): makes one call fail that a test asks
// for. LUMAGAUGE_FAIL_OUTPUT=N: the N-th of those that open, write, sync and name results.
// LUMAGAUGE_FAIL_THREAD=N: the N-th start of a thread. LUMAGAUGE_FAIL_LIBAV=N: the N-th time that
// libav asks for memory after the first input is opened. LUMAGAUGE_NAMED_FILES=1: the file system
// has no files without a name.
#include <fcntl.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace {

bool isToFail(const char *variable) {
  static std::atomic<int> calls = 0;
  const char *number = std::getenv(variable);
  errno = EIO;
  return number != nullptr && ++calls == std::atoi(number);
}

} // namespace

#define WRAP(type, name, parameters, arguments)                                                    \
  type __real_##name parameters;                                                                   \
  type __wrap_##name parameters {                                                                  \
    return isToFail("LUMAGAUGE_FAIL_OUTPUT") ? -1 : __real_##name arguments;                       \
  }

extern "C" {
WRAP(ssize_t, write, (int file, const void *bytes, size_t count), (file, bytes, count))
WRAP(int, fsync, (int file), (file))
WRAP(int, rename, (const char *from, const char *to), (from, to))
WRAP(int, linkat, (int a, const char *from, int b, const char *to, int flags),
     (a, from, b, to, flags))

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode) {
  const bool isUnnamed = (flags & O_TMPFILE) == O_TMPFILE;
  if (isUnnamed && std::getenv("LUMAGAUGE_NAMED_FILES") != nullptr) {
    errno = EOPNOTSUPP;
    return -1;
  }
  const bool isOfResults = (flags & (O_WRONLY | O_DIRECTORY)) != 0;
  return isOfResults && isToFail("LUMAGAUGE_FAIL_OUTPUT") ? -1 : __real_open(path, flags, mode);
}

#define START_THREAD(prefix)                                                                       \
  prefix##_ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE
void START_THREAD(__real_)(void *thread, void *state, void (*depend)());
void START_THREAD(__wrap_)(void *thread, void *state, void (*depend)()) {
  if (isToFail("LUMAGAUGE_FAIL_THREAD"))
    throw std::system_error(EAGAIN, std::generic_category());
  START_THREAD(__real_)(thread, state, depend);
}
}

extern "C" {
std::atomic<bool> isReading = false; // libraries end the process if they lack memory as they load

int __real_avformat_open_input(void *input, const char *url, const void *format, void *options);
int __wrap_avformat_open_input(void *input, const char *url, const void *format, void *options) {
  isReading = true;
  return __real_avformat_open_input(input, url, format, options);
}

#if !INSTRUMENTED // sanitizers have an allocator of their own
// Libav, which takes memory by it alone, is linked dynamically and finds this one first.
int posix_memalign(void **memory, size_t alignment, size_t size) {
  const bool isLacking = isReading && isToFail("LUMAGAUGE_FAIL_LIBAV");
  void *const taken = isLacking ? nullptr : std::aligned_alloc(alignment, size);
  if (taken == nullptr)
    return ENOMEM;
  *memory = taken;
  return 0;
}
#endif
}
