// SPDX-License-Identifier: BSD-2-Clause
//
// The pictures of a report from an input that is read once, gathered while it is measured.
#ifndef LUMAGAUGE_QC_PICTURES_PICTURE_KEEPER_H
#define LUMAGAUGE_QC_PICTURES_PICTURE_KEEPER_H

#include "qc/judge/judge.h"
#include "qc/pictures/damage_pictures.h"
#include "qc/source/source.h"

#include <atomic>
#include <map>
#include <mutex>

namespace lumagauge::qc {

/// Holds small pictures of the frames that the rules have still to look at, some two seconds, and
/// of what was in them those that events are shown by: of each kind the longest events, and places
/// with damage. The strip thins itself. All in all some 40 MB, whatever the length of the input.
class PictureKeeper : public PictureTap {
public:
  /// `minDurations`: shorter stretches are no events of a kind (seconds).
  explicit PictureKeeper(std::map<std::string, double> minDurations);

  /// Nothing is kept before.
  void start() { active = true; }
  bool isActive() const { return active; }

  bool wants(std::int64_t) override { return active; }
  void noteDamage() override { damageNoted = true; }
  void see(const AVFrame &picture, std::int64_t frame, double time) override;

  /// As a Judge::Observer, on another thread.
  void observe(std::int64_t frame, const std::vector<const Event *> &open);

  /// After the last frame: those of the wishes, the worst of which come first.
  ReportPictures finish(const std::vector<PictureWish> &wishes);

private:
  struct Stretch {
    Event event;
    std::pair<std::int64_t, KeptPointer> before, worst,
        after; ///< frame and picture, which may be null
  };
  struct Shown {
    Event event;
    EventPictures pictures;
  };

  void keepForStrip(const Kept &kept, std::int64_t frame);
  std::pair<std::int64_t, KeptPointer> find(std::int64_t frame);
  void follow(std::int64_t frame, const Event &event);
  void close(Stretch stretch);
  EventPictures picturesOf(const PictureWish &wish);

  const std::map<std::string, double> minDurations;
  std::atomic<bool> active = false;

  std::mutex mutex; ///< guards what follows
  std::map<std::int64_t, KeptPointer> recent;
  std::vector<std::pair<Thumbnail, RgbPicture>> strip;
  std::int64_t spacing = 1, seen = 0; ///< every spacing-th of the frames seen is in the strip
  std::string note, problem;
  double aspect = 0;

  Scaler scaler; ///< of the thread that sees, as are the next two
  bool damageNoted = false;
  DamagePictures damage;
  std::map<std::string, Stretch> stretches;        ///< by kind, of the thread that observes
  std::map<std::string, std::vector<Shown>> shown; ///< likewise
};

} // namespace lumagauge::qc

#endif
