// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/decode_log.h"

#include "qc/source/input_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

namespace lumagauge::qc {

namespace {
constexpr int MAX_FAULTS_IN_A_ROW = 200;
/// More than any decoder's delay: memory does not grow with an input that is all damage.
constexpr std::size_t MAX_WAITING_ERRORS = 128;
constexpr double SAME_TIME = 1e-3; ///< rounded stamps differ by less (seconds)
constexpr double END_OF_TIME = std::numeric_limits<double>::max();
} // namespace

void addLoss(std::vector<DecodeError> &told, const DecodeError &loss) {
  for (auto error = told.rbegin(); error != told.rend(); ++error)
    if (error->frame == loss.frame && (!loss.endTime || error->time < *loss.endTime - SAME_TIME)) {
      error->missing = std::max(error->missing, loss.missing);
      error->endTime = loss.endTime;
      return;
    }
  told.push_back(loss);
}

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
  ++errorCount;
  waiting.push_back(
      {.frame = pictureCount, .time = time, .message = std::move(what), .endTime = {}});
  if (waiting.size() > MAX_WAITING_ERRORS)
    settle(END_OF_TIME);
}

void DecodeLog::addLoss(const DecodeError &loss) {
  if (loss.frame == pictureCount)
    settle(END_OF_TIME);
  qc::addLoss(inputEnd.errors, loss);
}

void DecodeLog::addChange(std::string what) {
  inputEnd.changed = true;
  addWarning(std::move(what));
}

void DecodeLog::addWarning(std::string what) {
  inputEnd.warnings.push_back(std::move(what));
}

bool DecodeLog::addFault() {
  return ++faultsInARow <= MAX_FAULTS_IN_A_ROW;
}

void DecodeLog::stop(double time, const std::string &reason) {
  inputEnd.reason = reason;
  addError(time, reason);
}

void DecodeLog::stopReading(double time, int error) {
  stop(time, "reading stopped: " + readErrorText(error));
}

std::vector<DecodeError> DecodeLog::takeErrors(std::int64_t before) {
  std::vector<DecodeError> &errors = inputEnd.errors;
  if (errors.empty())
    return {};
  const auto kept = std::stable_partition(
      errors.begin(), errors.end(), [&](const DecodeError &error) { return error.frame < before; });
  std::vector<DecodeError> taken(errors.begin(), kept);
  errors.erase(errors.begin(), kept);
  return taken;
}

void DecodeLog::finish() {
  settle(END_OF_TIME);
  std::stable_sort(inputEnd.errors.begin(), inputEnd.errors.end(),
                   [](const DecodeError &a, const DecodeError &b) {
                     return std::tie(a.frame, a.time) < std::tie(b.frame, b.time);
                   });
  if (inputEnd.reason.empty() && resizedPictures > 0)
    inputEnd.reason = fmt::format("{} pictures have another size than the first one and were not "
                                  "measured",
                                  resizedPictures);
  if (inputEnd.reason.empty() && 2 * failures > packetCount)
    inputEnd.reason = fmt::format("{} of {} packets could not be decoded", failures, packetCount);
  inputEnd.doubtful = !inputEnd.reason.empty();
}

void DecodeLog::moveOrigin(double seconds) {
  for (std::vector<DecodeError> *errors : {&waiting, &inputEnd.errors})
    for (DecodeError &error : *errors)
      error.time -= seconds;
}

void DecodeLog::settle(double time) {
  std::vector<DecodeError> &settled = inputEnd.errors;
  const double itself = time - SAME_TIME;
  for (DecodeError &error : waiting)
    if (error.time <= time && (settled.empty() || settled.back().frame != pictureCount ||
                               (error.time >= itself && settled.back().time < itself))) {
      error.frame = pictureCount;
      settled.push_back(error);
    }
  std::erase_if(waiting, [&](const DecodeError &error) { return error.time <= time; });
}

} // namespace lumagauge::qc
