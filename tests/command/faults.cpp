// SPDX-License-Identifier: BSD-2-Clause
//
// Linked in front of the command's own sources (-Wl,--wrap): makes the calls fail that a test asks
// for. LUMAGAUGE_FAIL_CALLOC=N: the N-th zero-filled allocation and all later ones return null.
// LUMAGAUGE_FAIL_THREADS=1: no thread can be created.
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" {
void *__real_calloc(std::size_t count, std::size_t size);
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);

void *__wrap_calloc(std::size_t count, std::size_t size) {
  static std::atomic<int> calls{0};
  const char *first = std::getenv("LUMAGAUGE_FAIL_CALLOC");
  return first != nullptr && ++calls >= std::atoi(first) ? nullptr : __real_calloc(count, size);
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*routine)(void *), void *argument) {
  if (std::getenv("LUMAGAUGE_FAIL_THREADS") != nullptr)
    return EAGAIN;
  return __real_pthread_create(thread, attributes, routine, argument);
}
}
