// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/damage_pictures.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::size_t MOST_PLACES = 24;
/// Of the step before: a longer one has room for a picture.
constexpr double LATE = 1.75;
/// Frames between places with damage, and between a frame that is wanted and the one shown for it.
constexpr std::int64_t NEAR = 25;

} // namespace

void DamagePictures::add(std::int64_t number, const KeptPointer &kept, bool isReported,
                         bool isIntra) {
  const Frame frame{number, kept};
  const double gap = previous.second ? kept->time - previous.second->time : 0;
  const bool isLate = step > 0 && gap > LATE * step, isDamaged = isReported || isLate;
  step = gap;
  if (current && (isLate || (isDamaged && number > current->last + NEAR)))
    close();
  if (!current && isDamaged)
    current = Place{.before = previous, .first = frame, .behind = {}, .anew = {}};
  previous = frame;
  if (!current)
    return;
  if (isDamaged) {
    current->last = number;
    current->isReported |= isReported;
    const Frame &since = current->before.second ? current->before : current->first;
    current->seconds = kept->time - since.second->time;
    return;
  }
  if (number == current->last + 1)
    current->behind = frame;
  if (isIntra) {
    current->anew = frame;
    close();
  }
}

/// Of many the least telling is let go.
void DamagePictures::close() {
  places.push_back(std::move(*current));
  current.reset();
  const auto rank = [](const Place &place) { return std::pair(place.isReported, place.seconds); };
  if (places.size() > MOST_PLACES)
    places.erase(
        std::min_element(places.begin(), places.end(),
                         [&](const Place &a, const Place &b) { return rank(a) < rank(b); }));
}

void DamagePictures::finish() {
  if (current)
    close();
}

EventPictures DamagePictures::near(const PictureWish &wish) const {
  std::map<std::int64_t, KeptPointer> frames;
  for (const Place &place : places)
    for (const Frame &frame : {place.before, place.first, place.behind, place.anew})
      if (frame.second)
        frames.insert(frame);
  const auto thumbnail = [](const auto &frame) {
    return thumbnailOf(frame->second->picture, frame->first, frame->second->time);
  };
  const auto worst = frames.lower_bound(wish.startFrame), after = frames.upper_bound(wish.endFrame);
  EventPictures found;
  if (worst != frames.begin() && std::prev(worst)->first >= wish.startFrame - NEAR)
    found.before = thumbnail(std::prev(worst));
  if (worst != after)
    found.worst = thumbnail(worst);
  if (after != frames.end() && after->first <= wish.endFrame + NEAR)
    found.after = thumbnail(after);
  return found;
}

} // namespace lumagauge::qc
