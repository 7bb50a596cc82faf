// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/picture_fetcher.h"

#include "qc/pictures/coarse_to_fine.h"
#include "qc/pictures/event_frames.h"
#include "qc/pictures/thumbnail.h"
#include "qc/source/raw_source.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <thread>

namespace lumagauge::qc {

namespace {

constexpr int MOST_THREADS = 4;

/// Gives frames by their numbers; one a thread.
class FrameGiver {
public:
  virtual ~FrameGiver() = default;
  /// Calls `use` with the frame, where it is found.
  using Use = std::function<void(const AVFrame &frame, std::int64_t number)>;
  virtual bool give(std::int64_t number, const Use &use, Deadline deadline) = 0;
  /// The same for a frame near it that is cheap to have; by default that frame.
  virtual bool giveNear(std::int64_t number, const Use &use, Deadline deadline) {
    return give(number, use, deadline);
  }
};

class SeekingGiver : public FrameGiver {
public:
  SeekingGiver(const PictureOrder &order, const ShownFrames &index)
      : seeker(order.input, order.source, order.stream, *order.origin, index) {}

  bool give(std::int64_t number, const Use &use, Deadline deadline) override {
    const AVFrame *frame = seeker.frame(number, deadline);
    if (frame != nullptr)
      use(*frame, number);
    return frame != nullptr;
  }
  bool giveNear(std::int64_t number, const Use &use, Deadline deadline) override {
    const AVFrame *frame = seeker.keyFrame(number, deadline);
    if (frame != nullptr)
      use(*frame, number);
    return frame != nullptr;
  }

private:
  FrameSeeker seeker;
};

/// Hands what a source shows to a function.
class FunctionTap : public PictureTap {
public:
  explicit FunctionTap(const FrameGiver::Use &called) : use(called) {}
  bool wants(std::int64_t) override { return true; }
  void see(const AVFrame &picture, std::int64_t frame, double) override { use(picture, frame); }

private:
  const FrameGiver::Use &use;
};

class RawGiver : public FrameGiver {
public:
  explicit RawGiver(const PictureOrder &order) : source(order.input, order.source) {}

  bool give(std::int64_t number, const Use &use, Deadline deadline) override {
    FunctionTap tap(use);
    return !isPast(deadline) && source.showFrame(number, tap);
  }

private:
  RawSource source;
};

/// What the threads have found so far.
class Finds : public PictureTap {
public:
  Finds(const PictureOrder &ordered, const ShownFrames &known) : order(ordered), index(known) {}

  void keepForStrip(const AVFrame &frame, std::int64_t number, Scaler &scaler) {
    RgbPicture picture = scaler.show(frame, STRIP_SIDE);
    const std::lock_guard lock(mutex);
    note = displayNote(frame);
    strip.emplace(number, std::move(picture));
  }
  void keepForEvents(const AVFrame &frame, std::int64_t number, Scaler &scaler) {
    Thumbnail picture = thumbnailOf(scaler.show(frame, EVENT_SIDE), number, index.timeOf(number));
    const std::lock_guard lock(mutex);
    note = displayNote(frame);
    bytes += picture.jpeg.size();
    shown.emplace(number, std::move(picture));
  }
  bool hasForStrip(std::int64_t number) {
    const std::lock_guard lock(mutex);
    return strip.contains(number);
  }
  bool hasForEvents(std::int64_t number) {
    const std::lock_guard lock(mutex);
    return shown.contains(number);
  }
  bool hasRoom() {
    const std::lock_guard lock(mutex);
    return bytes < MOST_EVENT_BYTES;
  }
  void miss(const std::string &why) {
    const std::lock_guard lock(mutex);
    reason = why;
    missed = true;
  }

  /// As the tap of a source that is read from its start.
  bool wants(std::int64_t number) override {
    return stripWanted.contains(number) || eventsWanted.contains(number);
  }
  void see(const AVFrame &picture, std::int64_t number, double) override {
    if (stripWanted.contains(number))
      keepForStrip(picture, number, ownScaler);
    if (eventsWanted.contains(number) && hasRoom())
      keepForEvents(picture, number, ownScaler);
  }

  const PictureOrder &order;
  const ShownFrames &index;
  std::set<std::int64_t> stripWanted, eventsWanted; ///< what a source is read from its start for
  std::mutex mutex;                                 ///< guards what follows
  std::map<std::int64_t, RgbPicture> strip;
  std::map<std::int64_t, Thumbnail> shown;
  std::string note, reason;
  std::size_t bytes = 0;
  std::atomic<std::size_t> stripMisses = 0;
  bool missed = false; ///< a frame was not found although there was time
  Scaler ownScaler;
};

std::vector<std::int64_t> stripFrames(const ShownFrames &index) {
  const std::int64_t count = std::min(static_cast<std::int64_t>(STRIP_PICTURES), index.count());
  std::vector<std::int64_t> numbers;
  for (std::int64_t i = 0; i < count; ++i)
    numbers.push_back(index.first + (2 * i + 1) * index.count() / (2 * count));
  return numbers;
}

std::unique_ptr<FrameGiver> makeGiver(const PictureOrder &order, const ShownFrames &index) {
  if (order.source.raw)
    return std::make_unique<RawGiver>(order);
  return std::make_unique<SeekingGiver>(order, index);
}

/// What is to be done, the most telling first. A few pictures over the whole film, then the events'
/// and more key frames in turns, then what the strip lacks: stretches of it, as decoding goes on
/// from frame to frame.
struct Plan {
  enum class Kind { keyFrame, event, stretch };
  struct Task {
    Kind kind;
    std::size_t number; ///< of the strip's places, of the wishes, of the stretches
  };
  static constexpr std::size_t FEW = 16, KEY_FRAMES_PER_EVENT = 4, STRETCH = 10;

  explicit Plan(const PictureOrder &order, const ShownFrames &index) : places(stripFrames(index)) {
    std::vector<std::size_t> withKey; // of several in one group of pictures the first one
    for (std::size_t i = 0; i < places.size(); ++i) {
      const auto intra = index.intraUpTo(places[i]);
      if (i == 0 || !intra || intra != index.intraUpTo(places[i - 1]))
        withKey.push_back(i);
    }
    const std::vector<std::size_t> spread = coarseToFine(withKey.size());
    const std::size_t events = std::min(order.wishes.size(), MOST_PICTURED_EVENTS);
    std::size_t key = 0, event = 0;
    const auto addKeyFrames = [&](std::size_t count) {
      for (const std::size_t end = std::min(key + count, spread.size()); key < end; ++key)
        tasks.push_back({Kind::keyFrame, withKey[spread[key]]});
    };
    for (addKeyFrames(FEW); event < events; addKeyFrames(KEY_FRAMES_PER_EVENT))
      tasks.push_back({Kind::event, event++});
    addKeyFrames(spread.size());
    for (const std::size_t stretch : coarseToFine((places.size() + STRETCH - 1) / STRETCH))
      tasks.push_back({Kind::stretch, stretch});
  }

  const std::vector<std::int64_t> places; ///< frames that the strip is to show
  std::vector<Task> tasks;
  std::atomic<std::size_t> next = 0; ///< task that no thread has begun
};

/// What one thread does: its share of the plan.
struct Worker {
  Finds &finds;
  Plan &plan;
  FrameGiver &giver;
  Scaler scaler = {};
  const FrameGiver::Use forStrip = [this](const AVFrame &frame, std::int64_t number) {
    finds.keepForStrip(frame, number, scaler);
  };
  const FrameGiver::Use forEvents = [this](const AVFrame &frame, std::int64_t number) {
    finds.keepForEvents(frame, number, scaler);
  };

  void work() {
    for (std::size_t i = plan.next++; i < plan.tasks.size() && isTime(); i = plan.next++) {
      const auto [kind, number] = plan.tasks[i];
      if (kind == Plan::Kind::keyFrame)
        giver.giveNear(plan.places[number], forStrip, finds.order.deadline);
      else if (kind == Plan::Kind::event)
        showEvent(finds.order.wishes[number]);
      else
        fillStretch(number * Plan::STRETCH);
    }
  }

  bool isTime() const { return !isPast(finds.order.deadline); }

  void showEvent(const PictureWish &wish) {
    if (!finds.hasRoom())
      return;
    for (const std::int64_t wanted : framesOf(wish, finds.index)) {
      const bool found =
          finds.hasForEvents(wanted) || giver.give(wanted, forEvents, finds.order.deadline);
      if (!found && isTime())
        finds.miss("The frames of some events were not found again in the file.");
    }
  }

  /// The strip's places from `begin` on that have no picture yet.
  void fillStretch(std::size_t begin) {
    const std::size_t end = std::min(begin + Plan::STRETCH, plan.places.size());
    for (std::size_t i = begin; i < end && isTime(); ++i) {
      const std::int64_t wanted = plan.places[i];
      const auto intra = finds.index.intraUpTo(wanted);
      if (finds.hasForStrip(wanted) || (intra && isShownBy(*intra, i)))
        continue;
      if (!giver.give(wanted, forStrip, finds.order.deadline) && isTime())
        ++finds.stripMisses;
    }
  }

  /// The first of the wanted frames behind a key frame that is in the strip.
  bool isShownBy(std::int64_t intra, std::size_t i) {
    return finds.hasForStrip(intra) && (i == 0 || plan.places[i - 1] < intra);
  }
};

void workOnThreads(Finds &finds) {
  Plan plan(finds.order, finds.index);
  const int count = std::min(finds.order.threads, MOST_THREADS);
  const auto run = [&] {
    try {
      const std::unique_ptr<FrameGiver> giver = makeGiver(finds.order, finds.index);
      Worker{finds, plan, *giver}.work();
    } catch (const InputError &error) {
      finds.miss(std::string("The file gave no pictures: ") + error.what() + ".");
    } catch (const std::bad_alloc &) {
      finds.miss("There was too little memory for more pictures.");
    }
  };
  std::vector<std::thread> threads;
  try {
    for (int i = 1; i < count; ++i)
      threads.emplace_back(run);
  } catch (const std::system_error &) {
    // Fewer do it as well.
  }
  run();
  for (std::thread &thread : threads)
    thread.join();
}

/// Where frames cannot be found by their times: decodes all from the start, as when measuring.
void readFromStart(Finds &finds) {
  for (const std::int64_t number : stripFrames(finds.index))
    if (finds.strip.size() < STRIP_PICTURES)
      finds.stripWanted.insert(number);
  const auto &wishes = finds.order.wishes;
  for (std::size_t i = 0; i < std::min(wishes.size(), MOST_PICTURED_EVENTS); ++i)
    for (const std::int64_t number : framesOf(wishes[i], finds.index))
      if (!finds.shown.contains(number))
        finds.eventsWanted.insert(number);
  SourceOptions options = finds.order.source;
  options.tap = &finds;
  try {
    const std::unique_ptr<VideoSource> source = openSource(finds.order.input, options);
    LumaPicture picture;
    while (!isPast(finds.order.deadline) && source->read(picture)) {
    }
  } catch (const InputError &error) {
    finds.miss(std::string("The file gave no pictures: ") + error.what() + ".");
  }
}

ReportPictures gathered(Finds &finds) {
  ReportPictures pictures;
  std::vector<RgbPicture> strip;
  for (auto &[number, picture] : finds.strip) {
    pictures.strip.push_back(thumbnailOf(picture, number, finds.index.timeOf(number)));
    pictures.aspect = static_cast<double>(picture.width) / picture.height;
    strip.push_back(std::move(picture));
  }
  pictures.sprite = spriteOf(strip);
  pictures.note = finds.note;
  const auto find = [&](std::optional<std::int64_t> number) -> std::optional<Thumbnail> {
    const auto found = number ? finds.shown.find(*number) : finds.shown.end();
    return found == finds.shown.end() ? std::nullopt : std::optional(found->second);
  };
  for (const PictureWish &wish : finds.order.wishes) {
    const EventFrames frames = eventFrames(wish, finds.index);
    EventPictures event{wish.event, find(frames.before), find(frames.worst), find(frames.after)};
    if (event.before || event.worst || event.after)
      pictures.events.push_back(std::move(event));
  }
  pictures.without = finds.order.wishes.size() - pictures.events.size();
  if (pictures.without > 0 || pictures.strip.empty())
    pictures.reason = finds.missed                   ? finds.reason
                      : finds.index.count() == 0     ? "No picture could be decoded."
                      : isPast(finds.order.deadline) ? "The time that pictures may take was over."
                                                     : "Only the worst events have pictures.";
  return pictures;
}

} // namespace

ReportPictures fetchPictures(const PictureOrder &order, const ShownFrames &index) {
  Finds finds(order, index);
  if (index.count() > 0) {
    if (order.source.raw || order.origin)
      workOnThreads(finds);
    const bool isStripThin = finds.stripMisses > STRIP_PICTURES / 20;
    const bool isLacking = finds.missed || isStripThin || !order.origin;
    if (!order.source.raw && isLacking && !isPast(order.deadline))
      readFromStart(finds);
  }
  return gathered(finds);
}

} // namespace lumagauge::qc
