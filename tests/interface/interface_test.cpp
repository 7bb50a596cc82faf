// SPDX-License-Identifier: BSD-2-Clause
//
// The public interface as a program uses it, from behind the C header and the C++ one over it.
#include "tests/support/clip.h"
#include "tests/support/command.h"

#include <gmock/gmock.h>
#include <lumagauge/lumagauge.hpp>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <map>
#include <thread>

namespace {
thread_local bool memoryLacks = false;
}

[[gnu::noinline]] void *operator new(std::size_t size) {
  void *memory = memoryLacks ? nullptr : std::malloc(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}

namespace lumagauge::test {
namespace {

constexpr std::uint32_t W = WIDTH, H = HEIGHT;

std::vector<std::uint8_t> plane(int frame) {
  std::vector<std::uint8_t> samples;
  for (int y = 0; y < HEIGHT; ++y)
    for (int x = 0; x < WIDTH; ++x)
      samples.push_back(static_cast<std::uint8_t>(sample(frame, x, y)));
  return samples;
}

/// The bits of every value by its name, so that NaNs compare as well.
using Bits = std::map<std::string_view, std::uint64_t>;

Bits bitsOf(const Values &values) {
  Bits bits;
  for (const IndicatorInfo &info : INDICATORS)
    if (const std::optional<double> &value = values[info.indicator])
      bits[info.name] = std::bit_cast<std::uint64_t>(*value);
  return bits;
}

/// The values of the clip behind the golden reports, its frames given one after another.
std::vector<Bits> clipValues(std::uint32_t indicators) {
  Meter meter(W, H, 25.0, indicators);
  std::vector<Bits> all;
  for (int frame = 0; frame < FRAMES; ++frame)
    all.push_back(bitsOf(meter.add({plane(frame).data(), W, H})));
  return all;
}

TEST(Interface, FramesInRowsOfAnyStrideAndInHalvesGiveTheSame) {
  const std::vector<Bits> expected = clipValues(ALL_INDICATORS);
  EXPECT_TRUE(expected[8].contains("flickering"));
  for (const std::ptrdiff_t stride : {WIDTH + 13, -WIDTH, -WIDTH - 5}) {
    Meter meter(W, H, 25.0, ALL_INDICATORS);
    std::vector<Frame> frames;
    std::vector<std::vector<std::uint8_t>> planes;
    const std::ptrdiff_t top = stride > 0 ? 0 : (1 - HEIGHT) * stride;
    const auto picture = [&](int frame) {
      return lumagauge::Picture(planes[static_cast<std::size_t>(frame)].data() + top, W, H, stride);
    };
    for (int frame = 0; frame < FRAMES; ++frame) {
      const std::vector<std::uint8_t> samples = plane(frame);
      planes.emplace_back(static_cast<std::size_t>(HEIGHT * std::abs(stride)), std::uint8_t{77});
      for (int y = 0; y < HEIGHT; ++y)
        std::copy_n(samples.data() + y * WIDTH, WIDTH, planes.back().data() + top + y * stride);
      frames.push_back(meter.frame());
    }
    for (int frame = FRAMES; frame-- > 0;) {
      const auto previous = picture(std::max(frame - 1, 0));
      frames[static_cast<std::size_t>(frame)].measure(picture(frame),
                                                      frame == 0 ? nullptr : &previous);
    }
    Meter inOrder(W, H, 25.0, ALL_INDICATORS);
    for (int frame = 0; frame < FRAMES; ++frame) {
      SCOPED_TRACE(testing::Message() << "stride " << stride << ", frame " << frame);
      const auto i = static_cast<std::size_t>(frame);
      EXPECT_EQ(bitsOf(meter.take(frames[i])), expected[i]);
      EXPECT_EQ(bitsOf(inOrder.add(picture(frame))), expected[i]);
    }
  }
}

TEST(Interface, AMaskLeavesOutTheOthersAlone) {
  const std::vector<Bits> all = clipValues(ALL_INDICATORS);
  for (const IndicatorInfo &info : INDICATORS) {
    const std::vector<Bits> alone = clipValues(bit(info.indicator));
    for (std::size_t frame = 0; frame < all.size(); ++frame) {
      Bits expected = all[frame];
      std::erase_if(expected, [&](const auto &value) { return value.first != info.name; });
      EXPECT_EQ(alone[frame], expected) << "frame " << frame;
      EXPECT_TRUE(frame != 0 || expected.empty() == info.needsPrevious) << info.name;
    }
  }
}

TEST(Interface, PicturesOfTheLeastSizeHaveAValueThatMeansSomething) {
  const auto lastOf = [](std::uint32_t w, std::uint32_t h, Indicator indicator) {
    Meter meter(w, h, 25.0, bit(indicator));
    std::optional<double> last;
    for (std::uint32_t frame = 0; frame <= FLICKERING_PERIOD; ++frame)
      last = meter.add({noisy(w, h, frame + 1).data, w, h})[indicator];
    return last;
  };
  for (const IndicatorInfo &info : INDICATORS) {
    const std::uint32_t w = info.leastWidth, h = info.leastHeight;
    EXPECT_TRUE(std::isfinite(lastOf(w, h, info.indicator).value_or(HUGE_VAL))) << info.name;
    if (info.indicator == Indicator::blockLoss || info.indicator == Indicator::slice ||
        info.indicator == Indicator::noise) {
      EXPECT_EQ(lastOf(w - 1, h, info.indicator), std::nullopt) << info.name;
      EXPECT_EQ(lastOf(w, h - 1, info.indicator), std::nullopt) << info.name;
    }
  }
}

TEST(Interface, TheRateSaysWhenAPictureIsFrozen) {
  const std::vector<std::uint8_t> samples = plane(1);
  for (const auto &[rate, still] : {std::pair{10.0, 1}, {25.0, 3}, {60.0, 6}}) {
    Meter meter(W, H, rate);
    int pairs = 0;
    meter.add({samples.data(), W, H});
    do
      ++pairs;
    while (meter.add({samples.data(), W, H}).freezing == 0.0);
    EXPECT_EQ(pairs, still) << rate;
  }
}

TEST(Interface, SaysWhatItCannotMeasure) {
  const auto open = [](const std::function<void(lumagauge_options &)> &change) {
    lumagauge_options options = LUMAGAUGE_OPTIONS_INIT(16, 16);
    change(options);
    lumagauge_meter *meter = nullptr;
    const lumagauge_error error = lumagauge_meter_open(&options, &meter);
    EXPECT_EQ(meter == nullptr, error != LUMAGAUGE_OK);
    lumagauge_meter_close(meter);
    return error;
  };
  const struct {
    lumagauge_error error;
    std::function<void(lumagauge_options &)> change;
  } cases[] = {
      {LUMAGAUGE_OK, [](auto &) {}},
      {LUMAGAUGE_ERROR_ARGUMENT, [](auto &o) { o.size = 8; }},
      {LUMAGAUGE_ERROR_ARGUMENT, [](auto &o) { o.range = 3; }},
      {LUMAGAUGE_ERROR_SIZE, [](auto &o) { o.width = 0; }},
      {LUMAGAUGE_ERROR_SIZE, [](auto &o) { o.height = 0; }},
      {LUMAGAUGE_OK, [](auto &o) { o.width = 0x7FFFFFFF, o.height = 1; }},
      {LUMAGAUGE_ERROR_SIZE, [](auto &o) { o.width = 1U << 16, o.height = 1U << 15; }},
      {LUMAGAUGE_ERROR_RATE, [](auto &o) { o.rate = 0; }},
      {LUMAGAUGE_ERROR_RATE, [](auto &o) { o.rate = std::nan(""); }},
      {LUMAGAUGE_ERROR_RATE, [](auto &o) { o.rate = HUGE_VAL; }},
      {LUMAGAUGE_ERROR_INDICATORS, [](auto &o) { o.indicators = 0; }},
  };
  for (const auto &[error, change] : cases)
    EXPECT_EQ(open(change), error) << lumagauge_error_text(error);

  const auto message = [](const std::function<void()> &call) -> std::string {
    try {
      call();
    } catch (const Error &error) {
      return error.what();
    }
    return "";
  };
  const std::vector<std::uint8_t> samples(400);
  Meter meter(20, 20), other(20, 20, 25.0, bit(Indicator::blur));
  Frame frame = meter.frame(), strange = other.frame();
  strange.measure({samples.data(), 20, 20}, nullptr);
  const lumagauge::Picture whole(samples.data(), 20, 20), half(samples.data(), 20, 10),
      narrow(samples.data(), 20, 20, -19), nothing(nullptr, 20, 20);
  const std::pair<std::function<void()>, const char *> misuses[] = {
      {[&] { meter.add(half); }, "a picture of 20 x 10 was given to a meter of"},
      {[&] { meter.add(narrow); }, "stride of -19"},
      {[&] { meter.add(nothing); }, "a pointer is null"},
      {[&] { meter.take(strange); }, "a meter of its own size"},
      {[&] { other.take(strange), other.take(strange); }, "once each time"},
      {[&] { frame.measure(whole, &half); }, "a picture of 20 x 10 was given to a meter of"},
      {[&] { frame.measure(whole, &narrow); }, "stride of 20 and given was a stride of -19"},
      {[&] { frame.measure(whole, nullptr), frame.measure(narrow, nullptr); }, "stride of -19"},
      {[&] { meter.take(frame); }, "measured before it is taken"}, // as the last attempt failed
      {[&] { Meter(0, 7); }, "given were 0 x 7"},
  };
  for (const auto &[misuse, text] : misuses)
    EXPECT_NE(message(misuse).find(text), std::string::npos) << message(misuse) << "; " << text;
  memoryLacks = true;
  EXPECT_THROW(meter.add(whole), std::bad_alloc);
  memoryLacks = false;
  EXPECT_EQ(meter.add(whole).temporalActivity, std::nullopt); // still the first
}

TEST(Interface, StructsOfOtherVersionsAreUsedAsFarAsTheyGo) {
  struct {
    lumagauge_options options;
    double beyond;
  } newer{LUMAGAUGE_OPTIONS_INIT(W, H), 0.0};
  newer.options.size = sizeof newer;
  lumagauge_meter *meter = nullptr;
  ASSERT_EQ(lumagauge_meter_open(&newer.options, &meter), LUMAGAUGE_OK);
  newer.beyond = 1.0; // a wish that this version cannot know
  lumagauge_meter *refused = meter;
  EXPECT_EQ(lumagauge_meter_open(&newer.options, &refused), LUMAGAUGE_ERROR_ARGUMENT);
  EXPECT_EQ(refused, nullptr);

  struct {
    lumagauge_record record;
    double beyond;
  } full{LUMAGAUGE_RECORD_INIT, 5.0}, older{LUMAGAUGE_RECORD_INIT, 5.0};
  full.record.size = sizeof full;
  older.record.size = offsetof(lumagauge_record, values) + 3 * sizeof(double);
  older.record.values[3] = 6.0;
  const std::vector<std::uint8_t> samples = plane(1);
  for (lumagauge_record *record : {&full.record, &older.record}) {
    const std::size_t size = record->size;
    ASSERT_EQ(lumagauge_meter_add(meter, samples.data(), WIDTH, record), LUMAGAUGE_OK);
    EXPECT_EQ(record->size, size);
  }
  EXPECT_EQ(older.record.valid, 7U);
  older.record.size = offsetof(lumagauge_record, values);
  EXPECT_EQ(lumagauge_meter_add(meter, samples.data(), WIDTH, &older.record),
            LUMAGAUGE_ERROR_ARGUMENT);
  lumagauge_meter_close(meter);
  EXPECT_EQ(full.beyond, 5.0);
  EXPECT_EQ(lumagauge_has_value(&full.record, LUMAGAUGE_BLUR), 1);
  EXPECT_EQ(lumagauge_has_value(&full.record, 32), 0);
  EXPECT_EQ(older.record.values[2], full.record.values[2]);
  EXPECT_EQ(older.record.values[3], 6.0);
}

TEST(Interface, CallsOnOneMeterWaitForEachOther) {
  Meter added(W, H, 25.0, bit(Indicator::flickering)), taken(W, H, 25.0, ALL_INDICATORS);
  const std::vector<std::uint8_t> samples = plane(1);
  const lumagauge::Picture picture(samples.data(), W, H);
  std::atomic<int> periods = 0, takenPeriods = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([&] {
        Frame frame = taken.frame();
        for (int count = 0; count < 11; ++count) {
          periods += added.add(picture).flickering.has_value();
          frame.measure(picture, &picture);
          takenPeriods += taken.take(frame).flickering.has_value();
        }
      });
  }
  EXPECT_EQ(periods, 4); // of 32 pairs, and of 33
  EXPECT_EQ(takenPeriods, 4);
}

/// What documents and library say of an indicator is what the one list says.
TEST(Interface, DocumentsSayWhatTheListSays) {
  const std::string readme = readFile(PROJECT_FOLDER "/README.md");
  const std::string table = readFile(PROJECT_FOLDER "/docs/indicators.md");
  constexpr const char *WORSE[] = {"(higher|1)", "lower", "both ends"};
  std::size_t masks = 0;
  for (unsigned i = 0; i < INDICATOR_COUNT; ++i) {
    const lumagauge_indicator &info = *lumagauge_indicator_at(i);
    EXPECT_EQ(info.bit, bit(INDICATORS[i].indicator));
    std::string name = info.name;
    std::replace(name.begin(), name.end(), '_', ' ');
    const bool isCore = (info.bit & CORE_INDICATORS) != 0;
    const std::string column = isCore ? " \\| " + std::to_string(i + 2) + " " : " ";
    EXPECT_THAT(table,
                testing::ContainsRegex("\n\\| \\[" + name + "\\]\\([^)]*\\)" + column + "\\| " +
                                       info.unit + "[^|]*\\| " + WORSE[info.worse] + " \\|"));
    std::ostringstream mask;
    mask << "\\| `0x" << std::hex << info.bit << "` \\| " << name << "[^|]*" << column;
    masks += isCore && testing::Value(readme, testing::ContainsRegex(mask.str()));
  }
  EXPECT_EQ(masks, 15U) << "what the lumagauge command shows";
  for (const char *example : {"blur.c", "blur.cpp", "blur.py"})
    EXPECT_NE(readme.find(readFile(std::string(PROJECT_FOLDER "/examples/") + example)),
              std::string::npos)
        << example;
  EXPECT_EQ(lumagauge_indicator_at(INDICATOR_COUNT), nullptr);
}

/// lumagauge-qc and the bindings stand on what everybody can use.
TEST(Interface, IsAllThatOthersUseOfTheLibrary) {
  int files = 0;
  for (const char *folder : {"qc", "python", "examples"})
    for (const auto &entry : std::filesystem::recursive_directory_iterator(
             std::filesystem::path(PROJECT_FOLDER) / folder))
      if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
        ++files;
        EXPECT_THAT(readFile(entry.path()),
                    testing::Not(testing::ContainsRegex("#include .[./]*(tools|indicators)/")))
            << entry.path();
      }
  EXPECT_GT(files, 40);
}

/// Programs of other people against the installed files, built as each of them would.
TEST_F(CommandTest, InstalledLibraryServesOtherPrograms) {
  if (INSTRUMENTED)
    GTEST_SKIP() << "an instrumented library wants programs that are built like it";
  ffmpeg(
      "-f lavfi -i mandelbrot=s=352x288:r=25 -frames:v 12 -pix_fmt yuv420p -f rawvideo clip.yuv");
  ASSERT_EQ(shell("(" PROGRAM
                  " clip.yuv 352 288) && cut -f 7 metricsResultsCSV.csv | tail -n +2 | tr "
                  "-d ' ' >expected")
                .status,
            0);
  const std::string expected = readFile(folder / "expected");
  ASSERT_NE(expected, "");
  const std::string install = "cmake --install '" BUILD_FOLDER "' --prefix \"$PWD/prefix\" && "
                              "export PKG_CONFIG_PATH=$(dirname \"$(find \"$PWD/prefix\" -name "
                              "lumagauge.pc)\") LD_LIBRARY_PATH=$(dirname \"$(find \"$PWD/prefix\" "
                              "-name liblumagauge.so)\") && ";
  const std::string examples = PROJECT_FOLDER "/examples";
  const struct {
    const char *program, *build;
  } cases[] = {
      {"./c", "cc -std=c99 -Wall -Wextra -pedantic -Werror $E/blur.c -o c $(pkg-config --cflags "
              "--libs lumagauge)"},
      {"./cpp", "c++ -std=c++20 -Wall -Wextra -pedantic -Werror $E/blur.cpp -o cpp $(pkg-config "
                "--cflags --libs lumagauge)"},
      {"env -u LD_LIBRARY_PATH build/blur_static",
       "cmake -S $E -B build -DCMAKE_PREFIX_PATH=\"$PWD/prefix\" && cmake --build build"},
      {"build/blur_c", "true"},
      {"c_only/build/x",
       "mkdir c_only && printf 'cmake_minimum_required(VERSION 3.25)\nproject(x C)\n"
       "find_package(lumagauge REQUIRED)\nadd_executable(x %s)\ntarget_link_"
       "libraries(x lumagauge::lumagauge-static)' $E/blur.c >c_only/CMakeLists.txt "
       "&& cmake -S c_only -B c_only/build -DCMAKE_PREFIX_PATH=\"$PWD/prefix\" && "
       "cmake --build c_only/build"},
      {"build/side_by_side | cut -d ' ' -f 1", "true"},
  };
  for (const auto &[program, build] : cases) {
    const Outcome outcome =
        shell("E='" + examples + "'; { " + install + build + "; } >&2 && <clip.yuv " + program);
    EXPECT_EQ(outcome.output, expected) << build << '\n' << outcome.errors;
  }
  EXPECT_EQ(shell("find prefix -name '*.h' -o -name '*.hpp' | wc -l").output, "2\n");
}

} // namespace
} // namespace lumagauge::test
