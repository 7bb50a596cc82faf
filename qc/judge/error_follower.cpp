// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/error_follower.h"

#include <algorithm>
#include <tuple>

namespace lumagauge::qc {

ErrorFollower::ErrorFollower(const Profile &profile, double rate) : frameTime(1 / rate) {
  for (const Rule &rule : profile.rules) {
    const bool isLoss = rule.kind == kindName(DecodeErrorKind::missing) ||
                        rule.kind == kindName(DecodeErrorKind::undecodable);
    std::unique_ptr<Tracker> tracker;
    if (isLoss) {
      losses.push_back(new LossTracker(rule, rate));
      tracker.reset(losses.back());
    } else if (rule.kind == CONCEALED) {
      concealment = new ConcealmentTracker(rule);
      tracker.reset(concealment);
    }
    trackers.push_back(std::move(tracker));
  }
}

void ErrorFollower::add(const FrameRecord &record) {
  errors.insert(errors.end(), record.news.errors.begin(), record.news.errors.end());
  if (!frames.empty() && record.time > frames.back().time)
    frames.back().displayEnd = record.time;
  knowsIntra = knowsIntra || record.pictureType == 'I';
  frames.push_back({record.frame, record.time, record.time + frameTime, record.pictureType == 'I'});
  // The last one's display is not known yet.
  while (frames.size() > 1 && frames.front().frame < record.news.settledBefore) {
    settle(frames.front());
    frames.pop_front();
  }
}

void ErrorFollower::settle(const ConcealmentTracker::Shown &shown) {
  std::vector<DecodeError> own;
  if (!errors.empty()) {
    const auto behind =
        std::stable_partition(errors.begin(), errors.end(),
                              [&](const DecodeError &error) { return error.frame <= shown.frame; });
    own.assign(errors.begin(), behind);
    errors.erase(errors.begin(), behind);
    std::stable_sort(own.begin(), own.end(), [](const DecodeError &a, const DecodeError &b) {
      return std::tie(a.frame, a.time) < std::tie(b.frame, b.time);
    });
  }
  for (LossTracker *tracker : losses) {
    for (const DecodeError &error : own)
      tracker->add(error, shown.time);
    tracker->pass(shown.time);
  }
  if (concealment != nullptr)
    concealment->add(shown, own, knowsIntra);
}

void ErrorFollower::finish(const std::vector<DecodeError> &late) {
  errors.insert(errors.end(), late.begin(), late.end());
  for (const ConcealmentTracker::Shown &shown : frames)
    settle(shown);
  frames.clear();
  for (LossTracker *tracker : losses) {
    for (const DecodeError &error : errors) // behind the last frame
      tracker->add(error, std::nullopt);
    tracker->finish();
  }
  if (concealment != nullptr)
    concealment->finish();
}

} // namespace lumagauge::qc
