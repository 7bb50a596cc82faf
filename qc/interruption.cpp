// SPDX-License-Identifier: BSD-2-Clause
#include "qc/interruption.h"

#include "qc/source/input_file.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace lumagauge::qc {

namespace {

/// timeout sends its signal to the process and to its group, which is one request; a person needs
/// longer for two.
constexpr std::int64_t INSISTENCE_NS = 200'000'000;

std::atomic<int> caught = 0;
std::atomic<std::int64_t> caughtAt = 0;
static_assert(std::atomic<int>::is_always_lock_free &&
                  std::atomic<std::int64_t>::is_always_lock_free,
              "a signal handler sets them");

void onSignal(int signal) {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  const std::int64_t now = std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
  std::int64_t first = 0;
  if (caughtAt.compare_exchange_strong(first, now)) {
    caught = signal; // ahead of the reads that it makes fail
    cancelReading();
  } else if (now - first >= INSISTENCE_NS) {
    _exit(128 + signal);
  }
}

} // namespace

void catchSignals() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = SA_RESTART; // what is being written goes on; reads look for the request
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int interruption() noexcept {
  return caught;
}

} // namespace lumagauge::qc
