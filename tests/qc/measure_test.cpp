// SPDX-License-Identifier: BSD-2-Clause
//
// The values of lumagauge-qc are those of a meter and of lumagauge, for any number of threads.
#include "qc/measure/pipeline.h"
#include "tests/support/command.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

namespace lumagauge::qc {
namespace {

using namespace test;

constexpr std::size_t COMMAND_COLUMNS = 15; ///< of lumagauge, fixed for ever

struct Clip {
  const char *name, *filter;
  std::uint32_t width, height;
  const char *encoder;
};

class Values15 : public CommandTest {
protected:
  void expectThoseOfMeterAndCommand(const Clip &clip) const {
    const std::string width = std::to_string(clip.width), height = std::to_string(clip.height);
    ffmpeg("-f lavfi -i " + std::string(clip.filter) + "s=" + width + "x" + height +
           ":r=30 -frames:v 19 " + clip.encoder + " clip.mkv");
    ffmpeg("-i clip.mkv -vf extractplanes=y -f rawvideo luma");
    const std::string luma = readFile(folder / "luma");
    const std::size_t samples = std::size_t{clip.width} * clip.height;
    ASSERT_EQ(luma.size(), 19 * samples);

    const bool isGray = clip.name == std::string_view("gray"); // which is of full range
    Meter meter(clip.width, clip.height, 30, ALL_INDICATORS, isGray ? Range::full : Range::limited);
    std::vector<Values> expected;
    std::string yuv;
    for (std::size_t at = 0; at < luma.size(); at += samples) {
      const std::string bytes = luma.substr(at, samples);
      const std::vector<std::uint8_t> plane(bytes.begin(), bytes.end());
      expected.push_back(meter.add({plane.data(), clip.width, clip.height}));
      yuv += bytes + std::string(samples / 2, '\x80');
    }
    writeFile(folder / "clip.yuv", yuv);
    ASSERT_EQ(shell(METER_COMMAND " clip.yuv " + width + " " + height + " 0xFFFF 30").status, 0);
    std::istringstream shown(readFile(folder / "metricsResultsCSV.csv"));
    std::string field;
    std::getline(shown, field); // the header

    for (const std::string threads : {"1", "2", "7"}) {
      ASSERT_LT(call("--threads " + threads + " -o t" + threads + " clip.mkv").status, 2);
      EXPECT_EQ(readFile(folder / ("t" + threads) / "clip.mkv.csv"),
                readFile(folder / "t1/clip.mkv.csv"));
    }
    const auto rows = csv("t1/clip.mkv.csv");
    ASSERT_EQ(rows.size(), 20U);
    for (std::size_t frame = 0; frame < 19; ++frame) {
      shown >> field; // the frame's number
      for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
        SCOPED_TRACE(testing::Message() << "frame " << frame << ' ' << INDICATOR_NAMES[i]);
        if (i < COMMAND_COLUMNS)
          shown >> field;
        expectSame(rows[frame + 1].at(i + 3), expected[frame][INDICATORS[i].indicator],
                   i < COMMAND_COLUMNS ? field : "");
      }
    }
  }

  /// A field of the CSV, the meter's value, and the field of the command where it has the
  /// indicator.
  static void expectSame(const std::string &text, const std::optional<double> &measured,
                         const std::string &field) {
    ASSERT_EQ(text.empty(), !measured.has_value());
    if (text.empty())
      return;
    const double value = std::stod(text);
    EXPECT_TRUE(value == *measured || (std::isnan(value) && std::isnan(*measured)))
        << text << " is not " << *measured;
    if (std::isnan(value) || field.empty())
      return;
    const std::size_t point = std::min(field.find('.'), field.size() - 1);
    const std::size_t decimals = field.size() - 1 - point;
    // Exposure is cut off to a whole number there.
    EXPECT_EQ(fmt::format("{:.{}f}", decimals > 0 ? value : std::trunc(value), decimals), field);
  }
};

TEST_F(Values15, AreThoseOfMeterAndCommand) {
  for (const Clip &clip :
       {Clip{"h264", "testsrc2=", 320, 256, "-c:v libx264 -bf 2 -pix_fmt yuv420p"},
        {"oddSize", "mandelbrot=", 161, 121, "-c:v ffv1 -pix_fmt yuv420p"},
        {"gray", "testsrc2=", 272, 264, "-c:v ffv1 -pix_fmt gray"},
        {"small", "testsrc=", 24, 40, "-c:v ffv1 -pix_fmt yuv444p"},
        {"lessThanABlock", "testsrc=", 7, 3, "-c:v ffv1 -pix_fmt yuv444p"},
        {"still", "color=c=gray:", 64, 64, "-c:v ffv1 -pix_fmt yuv422p"}}) {
    SCOPED_TRACE(clip.name);
    expectThoseOfMeterAndCommand(clip);
  }
}

/// Frames without end, until one cannot be read or measured.
class EndlessSource : public VideoSource {
public:
  EndlessSource(std::int64_t unreadable, std::int64_t unmeasurable)
      : firstUnreadable(unreadable), firstUnmeasurable(unmeasurable) {
    inputInfo.width = inputInfo.height = 16;
  }
  const InputInfo &info() const override { return inputInfo; }
  InputEnd end() const override { return inputEnd; }
  void select(std::int64_t, std::optional<std::int64_t>) override {}
  bool read(LumaPicture &picture) override {
    if (reads == firstUnreadable)
      throw InputError("unreadable");
    picture.samples = std::vector<std::uint8_t>(reads == firstUnmeasurable ? 0 : 256, 9);
    picture.frame = reads++;
    return true;
  }
  std::atomic<std::int64_t> reads = 0;

private:
  InputInfo inputInfo;
  InputEnd inputEnd;
  std::int64_t firstUnreadable, firstUnmeasurable;
};

TEST(Pipeline, DeliversWhatComesBeforeAFailureAndReadsNoFurtherThanItMay) {
  for (const auto &[unreadable, unmeasurable] : {std::pair{20, -1}, {-1, 20}, {0, -1}}) {
    EndlessSource source(unreadable, unmeasurable);
    std::int64_t delivered = 0;
    EXPECT_THROW(measureFrames(source, ALL_INDICATORS, 3,
                               [&](const FrameRecord &r) { EXPECT_EQ(r.frame, delivered++); }),
                 std::runtime_error);
    EXPECT_EQ(delivered, std::max(unreadable, unmeasurable));
  }
  EndlessSource source(-1, -1);
  {
    Pipeline pipeline(source, bit(Indicator::blur), 2);
    ASSERT_EQ(pipeline.next()->frame, 0);
    while (source.reads < 7)
      std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_LE(source.reads, 1 + 2 * 2 + 2 + 1); // delivered, on their way, one that waits for room
}

/// Raw frames of one value each: exposure shows the luma that it became.
TEST_F(CommandTest, LumaIsRoundedToEightBits) {
  const struct {
    const char *format;
    std::size_t bytes, samples; ///< of a sample, and of a frame
    std::vector<unsigned> values;
    std::vector<std::string> lumas;
  } cases[] = {
      {"gray", 1, 1600, {0, 7, 255}, {"0", "7", "255"}},
      {"yuv420p10le", 2, 2400, {0, 1, 2, 5, 6, 512}, {"0", "0", "1", "1", "2", "128"}},
      {"yuv420p10le", 2, 2400, {1021, 1023, 1536}, {"255", "255", "128"}}, // 1536: stray bits
      {"p010le", 2, 2400, {1 << 6, 2 << 6, 1022 << 6}, {"0", "1", "255"}},
      {"gray12le", 2, 1600, {7, 8, 23, 24, 4095}, {"0", "1", "1", "2", "255"}},
      {"gray16be", 2, 1600, {0x7F00, 0x8000, 0xFFFF}, {"0", "1", "255"}},
      {"nv12", 1, 2400, {16, 235}, {"16", "235"}},
      {"yuyv422", 2, 1600, {0x8010, 0x80EB}, {"16", "235"}},
      {"rgb24", 3, 1600, {0, 0xFFFFFF, 0xFF00, 0xFF, 0xFF0000}, {"0", "255", "182", "54", "18"}},
  };
  for (const auto &[format, bytes, samples, values, lumas] : cases) {
    std::string raw;
    for (const unsigned value : values)
      for (std::size_t i = 0; i < samples * bytes; ++i)
        raw += static_cast<char>(value >> (8 * (i % bytes)) & 0xFF);
    writeFile(folder / "raw", raw);
    const Outcome run = call(std::string("--raw --size 40x40 -o out raw --pix-fmt ") + format);
    ASSERT_LT(run.status, 2) << run.errors << run.output;
    EXPECT_EQ(column("out/raw.csv", 12), lumas) << format;
  }
}

} // namespace
} // namespace lumagauge::qc
