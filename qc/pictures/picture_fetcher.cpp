// SPDX-License-Identifier: BSD-2-Clause
#include "qc/pictures/picture_fetcher.h"

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
  SeekingGiver(const PictureOrder &order, const FrameIndex &index)
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
  Finds(const PictureOrder &ordered, const FrameIndex &known) : order(ordered), index(known) {}

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
  const FrameIndex &index;
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

std::vector<std::int64_t> stripFrames(const FrameIndex &index) {
  const std::int64_t count = std::min(static_cast<std::int64_t>(STRIP_PICTURES), index.count());
  std::vector<std::int64_t> numbers;
  for (std::int64_t i = 0; i < count; ++i)
    numbers.push_back(index.first + (2 * i + 1) * index.count() / (2 * count));
  return numbers;
}

std::unique_ptr<FrameGiver> makeGiver(const PictureOrder &order, const FrameIndex &index) {
  if (order.source.raw)
    return std::make_unique<RawGiver>(order);
  return std::make_unique<SeekingGiver>(order, index);
}

/// What one thread does: its share of each phase. `next` are the phases' next pieces of work.
struct Worker {
  Finds &finds;
  std::array<std::atomic<std::size_t>, 3> &next;
  FrameGiver &giver;
  Scaler scaler;

  void work() {
    stripOfKeyFrames();
    events();
    restOfStrip();
  }

  bool isTime() const { return !isPast(finds.order.deadline); }

  void stripOfKeyFrames() {
    const std::vector<std::int64_t> wanted = stripFrames(finds.index);
    for (std::size_t i = next[0]++; i < wanted.size() && isTime(); i = next[0]++) {
      // Of several in one group of pictures the first one.
      const auto intra = finds.index.intraUpTo(wanted[i]);
      const bool isRepeated = i > 0 && intra && *intra == finds.index.intraUpTo(wanted[i - 1]);
      if (!isRepeated)
        giver.giveNear(
            wanted[i],
            [&](const AVFrame &frame, std::int64_t number) {
              finds.keepForStrip(frame, number, scaler);
            },
            finds.order.deadline);
    }
  }

  void events() {
    const auto &wishes = finds.order.wishes;
    const std::size_t count = std::min(wishes.size(), MOST_PICTURED_EVENTS);
    for (std::size_t i = next[1]++; i < count && isTime() && finds.hasRoom(); i = next[1]++)
      for (const std::int64_t wanted : framesOf(wishes[i], finds.index)) {
        const bool found =
            finds.hasForEvents(wanted) || giver.give(
                                              wanted,
                                              [&](const AVFrame &frame, std::int64_t number) {
                                                finds.keepForEvents(frame, number, scaler);
                                              },
                                              finds.order.deadline);
        if (!found && isTime())
          finds.miss("The frames of some events were not found again in the file.");
      }
  }

  /// Where the strip has no picture yet: stretches of it, as decoding goes on from frame to frame.
  void restOfStrip() {
    constexpr std::size_t STRETCH = 10;
    const std::vector<std::int64_t> wanted = stripFrames(finds.index);
    for (std::size_t begin = STRETCH * next[2]++; begin < wanted.size() && isTime();
         begin = STRETCH * next[2]++)
      for (std::size_t i = begin; i < std::min(begin + STRETCH, wanted.size()) && isTime(); ++i) {
        const auto intra = finds.index.intraUpTo(wanted[i]);
        if (finds.hasForStrip(wanted[i]) || (intra && isShownBy(*intra, wanted, i)))
          continue;
        const bool found = giver.give(
            wanted[i],
            [&](const AVFrame &frame, std::int64_t number) {
              finds.keepForStrip(frame, number, scaler);
            },
            finds.order.deadline);
        if (!found && isTime())
          ++finds.stripMisses;
      }
  }

  /// The first of the wanted frames behind a key frame that is in the strip.
  bool isShownBy(std::int64_t intra, const std::vector<std::int64_t> &wanted, std::size_t i) {
    return finds.hasForStrip(intra) && (i == 0 || wanted[i - 1] < intra);
  }
};

void workOnThreads(Finds &finds) {
  std::array<std::atomic<std::size_t>, 3> next{};
  const int count = std::min(finds.order.threads, MOST_THREADS);
  const auto run = [&] {
    try {
      const std::unique_ptr<FrameGiver> giver = makeGiver(finds.order, finds.index);
      Worker{finds, next, *giver, {}}.work();
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
  if (pictures.without > 0)
    pictures.reason = finds.missed                   ? finds.reason
                      : isPast(finds.order.deadline) ? "The time that pictures may take was over."
                                                     : "Only the worst events have pictures.";
  return pictures;
}

} // namespace

ReportPictures fetchPictures(const PictureOrder &order, const FrameIndex &index) {
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
