// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/picture_keeper.h"

#include "qc/judge/events.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Every frame is scaled: larger pictures would hold up the reading.
constexpr int KEPT_SIDE = 320;
/// Of an input of an absurd rate the oldest are let go.
constexpr std::size_t MOST_RECENT = 400;
constexpr std::size_t MOST_OF_A_KIND = 12;

double durationOf(const Event &event) {
  return event.endTime - event.startTime;
}

} // namespace

PictureKeeper::PictureKeeper(std::map<std::string, double> durations)
    : minDurations(std::move(durations)) {}

void PictureKeeper::see(const AVFrame &picture, std::int64_t frame, double time) {
  std::shared_ptr<Kept> kept;
  std::string failure;
  try {
    kept = std::make_shared<Kept>(Kept{scaler.show(picture, KEPT_SIDE), time});
  } catch (const InputError &error) {
    failure = error.what();
  }
  const bool isDamaged = std::exchange(damageNoted, false);
  if (kept)
    damage.add(frame, kept, isDamaged, picture.pict_type == AV_PICTURE_TYPE_I);
  const std::lock_guard lock(mutex);
  if (!kept) {
    problem = failure;
    return;
  }
  note = displayNote(picture);
  if (seen++ % spacing == 0)
    keepForStrip(*kept, frame);
  recent.emplace(frame, std::move(kept));
  if (recent.size() > MOST_RECENT)
    recent.erase(recent.begin());
}

void PictureKeeper::keepForStrip(const Kept &kept, std::int64_t frame) {
  const auto &[width, height, samples] = kept.picture;
  const int side = std::max(width, height);
  RgbPicture small = side <= STRIP_SIDE
                         ? kept.picture
                         : resized(kept.picture, std::max(1, width * STRIP_SIDE / side),
                                   std::max(1, height * STRIP_SIDE / side));
  aspect = static_cast<double>(width) / height;
  strip.emplace_back(Thumbnail{frame, kept.time, small.width, small.height, {}}, std::move(small));
  if (strip.size() < 2 * STRIP_PICTURES)
    return;
  for (std::size_t i = 1; i < STRIP_PICTURES; ++i)
    strip[i] = std::move(strip[2 * i]);
  strip.resize(STRIP_PICTURES);
  spacing *= 2;
}

std::pair<std::int64_t, KeptPointer> PictureKeeper::find(std::int64_t frame) {
  const auto found = recent.find(frame);
  return {frame, found == recent.end() ? nullptr : found->second};
}

void PictureKeeper::observe(std::int64_t frame, const std::vector<const Event *> &open) {
  std::vector<Stretch> ended;
  {
    const std::lock_guard lock(mutex);
    for (auto stretch = stretches.begin(); stretch != stretches.end();) {
      const bool goesOn = std::any_of(open.begin(), open.end(), [&](const Event *event) {
        return event->kind == stretch->first &&
               event->startFrame == stretch->second.event.startFrame;
      });
      if (!goesOn) {
        if (stretch->second.event.endFrame + 1 == frame)
          stretch->second.after = find(frame);
        ended.push_back(std::move(stretch->second));
      }
      stretch = goesOn ? std::next(stretch) : stretches.erase(stretch);
    }
    for (const Event *event : open)
      follow(frame, *event);
    recent.erase(recent.begin(), recent.lower_bound(frame)); // the next one's frame before is this
  }
  for (Stretch &stretch : ended)
    close(std::move(stretch));
}

void PictureKeeper::follow(std::int64_t frame, const Event &event) {
  const auto [entry, isNew] = stretches.try_emplace(event.kind);
  Stretch &stretch = entry->second;
  if (isNew)
    stretch.before = find(event.startFrame - 1);
  if (event.worstFrame == frame || (isNew && !event.worstFrame))
    stretch.worst = find(frame);
  if (event.endFrame + 1 == frame)
    stretch.after = find(frame);
  stretch.event = event;
}

/// Of many the shortest are let go.
void PictureKeeper::close(Stretch stretch) {
  const auto least = minDurations.find(stretch.event.kind);
  if (least != minDurations.end() && durationOf(stretch.event) < least->second - TIME_ROUNDING)
    return;
  std::vector<Shown> &list = shown[stretch.event.kind];
  const auto shortest =
      std::min_element(list.begin(), list.end(), [](const Shown &a, const Shown &b) {
        return durationOf(a.event) < durationOf(b.event);
      });
  if (list.size() == MOST_OF_A_KIND) {
    if (durationOf(shortest->event) >= durationOf(stretch.event))
      return;
    list.erase(shortest);
  }
  const auto thumbnail = [](const auto &kept) -> std::optional<Thumbnail> {
    if (!kept.second)
      return std::nullopt;
    return thumbnailOf(kept.second->picture, kept.first, kept.second->time);
  };
  EventPictures pictures{0, thumbnail(stretch.before), thumbnail(stretch.worst),
                         thumbnail(stretch.after)};
  list.push_back({std::move(stretch.event), std::move(pictures)});
}

/// Without a value that made the event nothing but damage has.
EventPictures PictureKeeper::picturesOf(const PictureWish &wish) {
  std::vector<Shown> &list = shown[wish.kind];
  const auto found = std::find_if(list.begin(), list.end(), [&](const Shown &candidate) {
    return candidate.event.startFrame == wish.startFrame;
  });
  if (found != list.end())
    return std::move(found->pictures);
  return wish.worstFrame ? EventPictures{} : damage.near(wish);
}

ReportPictures PictureKeeper::finish(const std::vector<PictureWish> &wishes) {
  for (auto &[kind, stretch] : stretches)
    close(std::move(stretch));
  damage.finish();
  ReportPictures pictures;
  pictures.note = note;
  pictures.aspect = aspect;
  std::size_t bytes = 0;
  for (const PictureWish &wish : wishes) {
    if (pictures.events.size() == MOST_PICTURED_EVENTS || bytes > MOST_EVENT_BYTES)
      break;
    EventPictures event = picturesOf(wish);
    event.event = wish.event;
    const std::array shownFrames{&event.before, &event.worst, &event.after};
    for (const std::optional<Thumbnail> *picture : shownFrames)
      bytes += *picture ? (*picture)->jpeg.size() : 0;
    if (event.before || event.worst || event.after)
      pictures.events.push_back(std::move(event));
  }
  pictures.without = wishes.size() - pictures.events.size();
  if (pictures.without > 0 || strip.empty())
    pictures.reason = !problem.empty() ? "The pictures could not be had: " + problem + "."
                      : strip.empty()  ? "No picture could be decoded."
                                       : "The input could be read once only: pictures are kept of "
                                         "the longest events of each kind.";
  std::vector<RgbPicture> small;
  const std::size_t step = (strip.size() + STRIP_PICTURES - 1) / STRIP_PICTURES;
  for (std::size_t i = 0; i < strip.size(); i += step) {
    auto &[thumbnail, picture] = strip[i];
    pictures.strip.push_back(thumbnailOf(picture, thumbnail.frame, thumbnail.time));
    small.push_back(std::move(picture));
  }
  pictures.sprite = spriteOf(small);
  return pictures;
}

} // namespace lumagauge::qc
