// SPDX-License-Identifier: BSD-2-Clause
//
// Which pictures a report gets where not all can be had: in little time, and of damage in a pipe.
#include "qc/pictures/damage_pictures.h"
#include "qc/pictures/picture_fetcher.h"
#include "tests/support/command.h"

#include <numeric>

namespace lumagauge::qc {
namespace {

using PicturesTest = test::CommandTest;

TEST_F(PicturesTest, OfAFilmThatThereIsLittleTimeForSpanAllOfIt) {
  constexpr int COUNT = 1000, GROUP = 5;
  ffmpeg("-f lavfi -i testsrc2=size=640x360:rate=25:duration=40 -c:v libx264 -preset ultrafast "
         "-bf 0 -g " +
         std::to_string(GROUP) + " film.mp4");
  ShownFrames index;
  for (int i = 0; i < COUNT; ++i) {
    FrameRecord record{.frame = i, .time = i / 25.0, .values = {}};
    record.pictureType = i % GROUP == 0 ? 'I' : 'P';
    index.add(record);
  }
  PictureOrder order{
      .input = folder / "film.mp4", .source = {}, .origin = 0.0, .wishes = {}, .deadline = {}};
  for (std::size_t i = 0; i < 10; ++i)
    order.wishes.push_back({i,
                            "black",
                            static_cast<std::int64_t>(100 * i + 33),
                            static_cast<std::int64_t>(100 * i + 36),
                            {}});
  int partial = 0, withEvents = 0;
  std::size_t shown = 0;
  for (double seconds = 1e-3; shown < STRIP_PICTURES && seconds < 60; seconds *= 1.3) {
    order.deadline =
        std::chrono::steady_clock::now() + std::chrono::microseconds(std::llround(1e6 * seconds));
    const ReportPictures pictures = fetchPictures(order, index);
    shown = pictures.strip.size();
    if (shown < 4 || shown == STRIP_PICTURES)
      continue;
    ++partial;
    withEvents += pictures.events.empty() ? 0 : 1;
    std::int64_t before = 0, widest = 0;
    for (const Thumbnail &picture : pictures.strip)
      widest = std::max(widest, picture.frame - std::exchange(before, picture.frame));
    widest = std::max(widest, COUNT - before);
    EXPECT_LE(widest, 2.5 * COUNT / static_cast<double>(shown)) << shown << " pictures";
  }
  EXPECT_EQ(shown, STRIP_PICTURES);
  EXPECT_GT(partial, 0);
  EXPECT_GT(withEvents, 0); // the worst events do not wait for the whole strip
}

/// The numbers of the frames shown before, in and behind the event; -1 where there is none.
std::vector<std::int64_t> numbersOf(const EventPictures &event) {
  std::vector<std::int64_t> numbers;
  for (const auto &picture : {event.before, event.worst, event.after})
    numbers.push_back(picture ? picture->frame : -1);
  return numbers;
}

TEST(DamagePicturesTest, ShowTheFramesAroundDamage) {
  const auto shown = [](const std::vector<std::int64_t> &reported, std::int64_t skipped,
                        std::int64_t start, std::int64_t end) {
    DamagePictures damage;
    for (std::int64_t i = 0; i < 2000; ++i) {
      const bool isReported = std::count(reported.begin(), reported.end(), i) > 0;
      const double time = static_cast<double>(i < skipped ? i : i + 3) / 25;
      damage.add(i, std::make_shared<Kept>(Kept{{16, 16, std::vector<std::uint8_t>(768)}, time}),
                 isReported, i % 50 == 0);
    }
    damage.finish();
    return numbersOf(damage.near({0, "concealed", start, end, {}}));
  };
  std::vector<std::int64_t> all(1999), many; // of so many places the longest are kept
  std::iota(all.begin(), all.end(), 1);
  for (std::int64_t i = 10; i < 2000; i += i == 1010 ? 10 : 40)
    many.push_back(i);
  using Numbers = std::vector<std::int64_t>;
  const struct {
    const char *name;
    Numbers reported;
    std::int64_t skipped, start, end;
    Numbers expected;
  } cases[] = {{"an error", {120}, 3000, 120, 120, {119, 120, 121}},
               {"up to the next I picture", {120}, 3000, 120, 149, {119, 120, 150}},
               {"pictures did not come", {}, 120, 120, 120, {119, 120, 121}},
               {"several errors", {120, 122, 125}, 3000, 120, 125, {119, 120, 126}},
               {"an I picture is damaged", {100}, 3000, 100, 149, {99, 100, 150}},
               {"from the first frame on", {0}, 3000, 0, 49, {-1, 0, 50}},
               {"to the last frame", {1999}, 3000, 1999, 1999, {1998, 1999, -1}},
               {"elsewhere", {120}, 3000, 300, 300, {-1, -1, -1}},
               {"everywhere", all, 3000, 1, 1999, {0, 1, -1}},
               {"an error beside a gap", {50}, 120, 50, 50, {49, 50, 51}},
               {"the longest of many", many, 120, 1010, 1020, {1009, 1010, 1021}}};
  for (const auto &[name, reported, skipped, start, end, expected] : cases)
    EXPECT_EQ(shown(reported, skipped, start, end), expected) << name;
}

} // namespace
} // namespace lumagauge::qc
