// SPDX-License-Identifier: BSD-2-Clause
//
// Time stamps that few recordings have: late, missing, starting over.
#include "qc/source/frame_clock.h"

#include <gtest/gtest.h>

#include <vector>

namespace lumagauge::qc {
namespace {

constexpr std::int64_t NONE = AV_NOPTS_VALUE;

/// A stream at 25 frames a second and in milliseconds, of a container that starts at one second.
struct Stream {
  Stream() {
    container.iformat = &format;
    container.start_time = AV_TIME_BASE;
    stream.time_base = {1, 1000};
  }
  double advance(std::int64_t stamp, std::int64_t duration = 0) {
    AVFrame frame{};
    frame.best_effort_timestamp = stamp;
    frame.pkt_duration = duration;
    return clock.advance(frame, pictures++, 25.0);
  }
  double timeOfPacket(std::int64_t pts, std::int64_t dts) const {
    AVPacket packet{};
    packet.pts = pts;
    packet.dts = dts;
    return clock.timeOf(packet);
  }
  AVInputFormat format{};
  AVFormatContext container{};
  AVStream stream{};
  FrameClock clock{container, stream};
  std::int64_t pictures = 0;
};

TEST(FrameClockTest, TimesRiseWhateverTheStamps) {
  struct Picture {
    std::int64_t stamp;
    double time;
    std::int64_t duration = 0;
    double shown = 0.04; ///< at the least a frame
  };
  const struct {
    const char *name;
    int flags;
    std::vector<Picture> pictures;
  } cases[] = {
      {"as stamped", 0, {{1000, 0}, {1080, 0.08, 20}, {1320, 0.32, 500, 0.5}}},
      {"a frame after the last", 0, {{NONE, 0}, {NONE, 0.04}, {1200, 0.2}, {NONE, 0.24}}},
      {"late", 0, {{1000, 0}, {1600, 0.6}, {1200, 0.6025}, {1200, 0.605}, {1640, 0.64}}},
      {"start over", 0, {{1000, 0}, {2000, 1}, {1000, 1.04}, {1040, 1.08}, {NONE, 1.12}}},
      {"made up", AVFMT_NOTIMESTAMPS, {{1000, 0}, {9000, 0.04}, {9000, 0.08}}},
  };
  for (const auto &[name, flags, pictures] : cases) {
    Stream stream;
    stream.format.flags = flags;
    for (const auto &[stamp, time, duration, shown] : pictures) {
      EXPECT_NEAR(stream.advance(stamp, duration), time, 1e-9) << name;
      EXPECT_NEAR(stream.clock.displayEnd(), time + shown, 1e-9) << name;
    }
  }
}

TEST(FrameClockTest, PacketsAreTimedAsTheirPictures) {
  Stream stream;
  EXPECT_EQ(stream.timeOfPacket(NONE, NONE), 0);
  stream.advance(3000);
  stream.advance(1000); // starts over, at 2.04
  EXPECT_NEAR(stream.timeOfPacket(1080, 1000), 2.12, 1e-9);
  EXPECT_NEAR(stream.timeOfPacket(NONE, 1040), 2.08, 1e-9);
  EXPECT_NEAR(stream.timeOfPacket(NONE, NONE), 2.04, 1e-9);
}

TEST(FrameClockTest, CountsFromTheFirstPicture) {
  Stream stream;
  AVFrame first{};
  first.best_effort_timestamp = 1080;
  EXPECT_NEAR(stream.timeOfPacket(1040, NONE), 0.04, 1e-9);
  EXPECT_NEAR(stream.clock.startAt(first), 0.08, 1e-9);
  EXPECT_EQ(stream.timeOfPacket(1040, NONE), -0.04);
  EXPECT_EQ(stream.advance(1080), 0);
  EXPECT_EQ(stream.advance(1120), 0.04);
  stream.stream.time_base = {1, 2000}; // of a recording that is joined on
  EXPECT_EQ(stream.advance(2320), 0.08);
}

} // namespace
} // namespace lumagauge::qc
