// SPDX-License-Identifier: BSD-2-Clause
//
// Time stamps that few recordings have: late, missing, starting over.
#include "qc/source/frame_clock.h"

#include <gtest/gtest.h>

#include <tuple>
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
  const struct {
    const char *name;
    int flags;
    std::vector<std::int64_t> stamps;
    std::vector<double> times;
  } cases[] = {
      {"as stamped", 0, {1000, 1080, 1320}, {0, 0.08, 0.32}},
      {"a frame after the last", 0, {NONE, NONE, 1200, NONE}, {0, 0.04, 0.2, 0.24}},
      {"late ones give way", 0, {1000, 1600, 1200, 1200, 1640}, {0, 0.6, 0.6025, 0.605, 0.64}},
      {"start over", 0, {1000, 2000, 1000, 1040, NONE}, {0, 1, 1.04, 1.08, 1.12}},
      {"made up", AVFMT_NOTIMESTAMPS, {1000, 9000, 9000}, {0, 0.04, 0.08}},
  };
  for (const auto &[name, flags, stamps, times] : cases) {
    Stream stream;
    stream.format.flags = flags;
    for (std::size_t i = 0; i < stamps.size(); ++i)
      EXPECT_NEAR(stream.advance(stamps[i]), times[i], 1e-9) << name << i;
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

TEST(FrameClockTest, DisplayLastsAFrameOrAsLongAsThePictureSays) {
  Stream stream;
  for (const auto &[stamp, duration, end] :
       {std::tuple(1000, 0, 0.04), {1100, 20, 0.14}, {1200, 500, 0.7}}) {
    stream.advance(stamp, duration);
    EXPECT_NEAR(stream.clock.displayEnd(), end, 1e-9);
  }
}

} // namespace
} // namespace lumagauge::qc
