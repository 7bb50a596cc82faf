// SPDX-License-Identifier: BSD-2-Clause
//
// Linked in front of the command's own sources (-Wl,--wrap): makes the calls fail that a test asks
// for. LUMAGAUGE_FAIL_MEMORY=N: from the first zero-filled allocation on, the N-th of any kind and
// all later ones fail. (Libraries allocate before main.) LUMAGAUGE_FAIL_THREADS=1: no thread can be
// created. LUMAGAUGE_FAIL_CLOSE=1: closing a descriptor tells of a late write error.
// LUMAGAUGE_TARGET=FORM: the inner loops have this form; without it the command exits with 77.
#include "tools/rows.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> calls{0};

bool memoryIsToFail() {
  const char *first = std::getenv("LUMAGAUGE_FAIL_MEMORY");
  return first != nullptr && calls != 0 && calls++ >= std::atoi(first);
}

/// Before main, as the command itself has no switch for it.
const bool formIsFixed = [] {
  const char *target = std::getenv("LUMAGAUGE_TARGET");
  if (target != nullptr && !lumagauge::useRows(target))
    std::_Exit(77);
  return target != nullptr;
}();

} // namespace

void *operator new(std::size_t size) {
  void *memory = memoryIsToFail() ? nullptr : std::malloc(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void *memory) noexcept {
  std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}

extern "C" {
void *__real_calloc(std::size_t count, std::size_t size);
int __real_close(int);
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);

void *__wrap_calloc(std::size_t count, std::size_t size) {
  int none = 0;
  calls.compare_exchange_strong(none, 1);
  return memoryIsToFail() ? nullptr : __real_calloc(count, size);
}

int __wrap_close(int descriptor) {
  const int result = __real_close(descriptor);
  if (std::getenv("LUMAGAUGE_FAIL_CLOSE") == nullptr)
    return result;
  errno = EDQUOT;
  return -1;
}

int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*routine)(void *), void *argument) {
  if (std::getenv("LUMAGAUGE_FAIL_THREADS") != nullptr)
    return EAGAIN;
  const int error = __real_pthread_create(thread, attributes, routine, argument);
  // The command would hide it by measuring without threads, and no test would see one any more.
  if (error != 0)
    std::_Exit(78);
  return error;
}
}
