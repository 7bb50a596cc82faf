// SPDX-License-Identifier: BSD-2-Clause
//
// Tests ask for more memory than there is; the sanitizers' allocators then return null as others
// do.
extern "C" {
const char *__asan_default_options();
const char *__tsan_default_options();

const char *__asan_default_options() {
  return "allocator_may_return_null=1";
}
const char *__tsan_default_options() {
  return "allocator_may_return_null=1";
}
}
