// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/decode_log.h"

#include <fmt/format.h>

#include <cstring>
#include <limits>
#include <utility>

namespace lumagauge::qc {

namespace {
constexpr int MAX_FAULTS_IN_A_ROW = 200;
/// More than any decoder's delay: memory does not grow with an input that is all damage.
constexpr std::size_t MAX_WAITING_ERRORS = 128;
constexpr double END_OF_TIME = std::numeric_limits<double>::max();
} // namespace

void DecodeLog::addPacket() {
  ++packetCount;
  faultsInARow = 0;
}

void DecodeLog::addPicture(double time) {
  settle(time);
  ++pictureCount;
}

void DecodeLog::addResizedPicture(double time, std::string what) {
  ++resizedPictures;
  addError(time, std::move(what));
}

void DecodeLog::addFailure(double time, std::string what) {
  ++failures;
  addError(time, std::move(what));
}

void DecodeLog::addError(double time, std::string what) {
  waiting.push_back({pictureCount, time, std::move(what)});
  if (waiting.size() > MAX_WAITING_ERRORS)
    settle(END_OF_TIME);
}

bool DecodeLog::addFault() {
  return ++faultsInARow <= MAX_FAULTS_IN_A_ROW;
}

void DecodeLog::stop(double time, const std::string &reason) {
  inputEnd.reason = reason;
  addError(time, reason);
}

void DecodeLog::stopReading(double time, int error) {
  stop(time, fmt::format("reading stopped: {}", std::strerror(error)));
}

void DecodeLog::finish() {
  settle(END_OF_TIME);
  if (inputEnd.reason.empty() && resizedPictures > 0)
    inputEnd.reason = fmt::format("{} pictures have another size than the first one and were not "
                                  "measured",
                                  resizedPictures);
  if (inputEnd.reason.empty() && 2 * failures > packetCount)
    inputEnd.reason = fmt::format("{} of {} packets could not be decoded", failures, packetCount);
  inputEnd.doubtful = !inputEnd.reason.empty();
}

void DecodeLog::settle(double time) {
  std::vector<DecodeError> &settled = inputEnd.errors;
  for (DecodeError &error : waiting)
    if (error.time <= time && (settled.empty() || settled.back().frame != pictureCount)) {
      error.frame = pictureCount;
      settled.push_back(error);
    }
  std::erase_if(waiting, [&](const DecodeError &error) { return error.time <= time; });
}

} // namespace lumagauge::qc
