// SPDX-License-Identifier: BSD-2-Clause
//
// The values of lumagauge-qc are those of a meter and of lumagauge, for any number of threads.
#include "qc/record.h"
#include "tests/support/command.h"
#include "tests/support/pictures.h"

#include <cmath>
#include <cstdint>

namespace lumagauge::qc {
namespace {

using namespace test;

constexpr std::size_t COMMAND_COLUMNS = 15; ///< of lumagauge, fixed for ever

/// The values of a meter that is given the pictures one after another.
std::vector<Values> meterValues(const std::vector<Luma> &pictures, double rate) {
  const auto w = static_cast<std::uint32_t>(pictures[0].w),
             h = static_cast<std::uint32_t>(pictures[0].h);
  Meter meter(w, h, rate);
  std::vector<Values> all;
  for (const Luma &luma : pictures)
    all.push_back(meter.add({luma.data, w, h}));
  return all;
}

/// A value as the rows of lumagauge's results file show it.
std::string shown(std::size_t indicator, double value) {
  const char *format = indicator == 5 || indicator == 13  ? "%.3f"
                       : indicator == 12                  ? "%.4f"
                       : indicator >= 7 && indicator <= 9 ? "%.0f"
                                                          : "%.5f";
  char text[64];
  // Exposure is cut off to a whole number there.
  std::snprintf(text, sizeof text, format, indicator == 9 ? std::trunc(value) : value);
  return text;
}

struct Clip {
  const char *name, *filter;
  std::uint64_t width, height;
  const char *encoder;
};

class Values15 : public CommandTest {
protected:
  void expectThoseOfMeterAndCommand(const Clip &clip) const;
};

void Values15::expectThoseOfMeterAndCommand(const Clip &clip) const {
  const std::string size = std::to_string(clip.width) + "x" + std::to_string(clip.height);
  ffmpeg("-f lavfi -i " + std::string(clip.filter) + "s=" + size + ":r=30 -frames:v 19 " +
         clip.encoder + " clip.mkv");
  ffmpeg("-i clip.mkv -vf extractplanes=y -f rawvideo luma");

  std::vector<Luma> pictures;
  std::string meterInput;
  const std::string luma = readFile(folder / "luma");
  const std::size_t samples = clip.width * clip.height;
  for (std::size_t at = 0; at + samples <= luma.size(); at += samples) {
    const std::string bytes = luma.substr(at, samples);
    pictures.push_back({clip.width, clip.height, {bytes.begin(), bytes.end()}});
    meterInput += bytes + std::string(3 * samples / 2 - samples, '\x80');
  }
  ASSERT_EQ(pictures.size(), 19U);
  writeFile(folder / "clip.yuv", meterInput);
  ASSERT_EQ(shell(METER_COMMAND " clip.yuv " + std::to_string(clip.width) + " " +
                  std::to_string(clip.height) + " 0xFFFF 30")
                .status,
            0);
  const std::string meterRows = readFile(folder / "metricsResultsCSV.csv");
  std::istringstream meter(meterRows.substr(meterRows.find('\n')));

  for (const char *threads : {"1", "2", "7"})
    ASSERT_LT(call(std::string("--threads ") + threads + " -o t" + threads + " clip.mkv").status,
              2);
  EXPECT_EQ(readFile(folder / "t1/clip.mkv.csv"), readFile(folder / "t2/clip.mkv.csv"));
  EXPECT_EQ(readFile(folder / "t1/clip.mkv.csv"), readFile(folder / "t7/clip.mkv.csv"));

  const std::vector<Values> expected = meterValues(pictures, 30);
  const auto rows = csv("t1/clip.mkv.csv");
  ASSERT_EQ(rows.size(), 20U);
  for (std::size_t frame = 0; frame < 19; ++frame) {
    std::string field;
    meter >> field;
    for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
      const std::optional<double> &measured = expected[frame][INDICATORS[i].indicator];
      SCOPED_TRACE(testing::Message() << "frame " << frame << ' ' << INDICATOR_NAMES[i]);
      const std::string &text = rows[frame + 1].at(i + 3);
      if (i < COMMAND_COLUMNS)
        meter >> field;
      ASSERT_EQ(text.empty(), !measured.has_value());
      if (text.empty())
        continue;
      const double value = std::stod(text);
      EXPECT_TRUE(value == *measured || (std::isnan(value) && std::isnan(*measured)))
          << text << " is not " << *measured;
      if (!std::isnan(value) && i < COMMAND_COLUMNS) {
        EXPECT_EQ(shown(i, value), field);
      }
    }
  }
}

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
      {"rgb24", 3, 1600, {0, 0xFFFFFF, 0xFF00}, {"0", "255", "182"}},
      {"rgb24", 3, 1600, {0xFF, 0xFF0000}, {"54", "18"}},
  };
  for (const auto &[format, bytes, samples, values, lumas] : cases) {
    std::string raw;
    for (const unsigned value : values)
      for (std::size_t i = 0; i < samples * bytes; ++i)
        raw += static_cast<char>(value >> (8 * (i % bytes)) & 0xFF);
    writeFile(folder / "raw", raw);
    const Outcome run = call(std::string("--raw --size 40x40 -o out raw --pix-fmt ") + format);
    ASSERT_LT(run.status, 2) << run.errors << run.output;
    std::vector<std::string> exposures;
    for (const auto &row : csv("out/raw.csv"))
      exposures.push_back(row.at(12));
    exposures.erase(exposures.begin()); // the header
    EXPECT_EQ(exposures, lumas) << format;
  }
}

} // namespace
} // namespace lumagauge::qc
