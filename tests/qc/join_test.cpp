// SPDX-License-Identifier: BSD-2-Clause
//
// Parts of a video that are measured apart and joined: the bytes of one run over the whole.
#include "qc/report/page.h"
#include "qc/source/part_source.h"
#include "tests/support/command.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <random>

namespace lumagauge::qc {
namespace {

using namespace test;

constexpr int FRAMES = 200;

class Join : public CommandTest {
protected:
  /// Noise, movement, a frozen stretch across keys, and black.
  void makeClip(const std::string &name, const std::string &encoder) const {
    ffmpeg("-f lavfi -i \"testsrc2=s=160x96:r=25,noise=alls=9:allf=t,loop=loop=20:size=1:start=90,"
           "drawbox=t=fill:c=black:enable='between(n,140,149)'\" -frames:v " +
           std::to_string(FRAMES) + " -pix_fmt yuv420p " + encoder + " " + name);
  }

  /// Parts with the borders, in `parts`, and what they say on standard error.
  std::string measureParts(const std::string &arguments, const std::vector<int> &cuts) const {
    std::string said;
    for (std::size_t i = 0; i <= cuts.size(); ++i) {
      const std::string range = (i == 0 ? "" : std::to_string(cuts[i - 1])) + ":" +
                                (i == cuts.size() ? "" : std::to_string(cuts[i]));
      said += call("--quiet -o parts --range " + range + " " + arguments).errors;
    }
    return said;
  }

  /// Joins `parts` and holds the result against that of the whole.
  void expectWhole(const std::string &name, const std::string &arguments) const {
    const Outcome whole = call("-o whole " + arguments), joined = call("-o joined --join parts");
    EXPECT_EQ(joined.output, whole.output) << joined.errors;
    EXPECT_EQ(joined.status, whole.status);
    for (const std::string end : {".csv", ".json"}) {
      const std::string expected = readFile(folder / "whole" / (name + end));
      EXPECT_FALSE(expected.empty()) << name;
      EXPECT_TRUE(readFile(folder / "joined" / (name + end)) == expected) << name << end;
    }
  }

  nlohmann::json document(const std::string &path) const {
    return nlohmann::json::parse(readFile(folder / path));
  }
  void clear() const {
    for (const char *each : {"parts", "whole", "joined"})
      std::filesystem::remove_all(folder / each);
  }
};

TEST(Lead, HoldsAllThatValuesDependOn) {
  constexpr std::uint32_t SIDE = 64;
  std::mt19937 random(5);
  std::vector<std::vector<std::uint8_t>> kinds(5, std::vector<std::uint8_t>(SIDE * SIDE));
  for (auto &samples : kinds)
    std::generate(samples.begin(), samples.end(),
                  [&] { return static_cast<std::uint8_t>(random()); });
  std::vector<std::vector<std::uint8_t>> video; // stands still, and rows go back to earlier ones
  for (int i = 0; i < 80; ++i) {
    video.push_back(random() % 3 == 0 && i > 0 ? video.back() : kinds[random() % 5]);
    const auto &other = kinds[random() % 5];
    std::copy_n(other.begin(), SIDE * 16, video.back().begin());
  }
  for (const double rate : {10.0, 25.0, 119.88}) {
    const auto measure = [&](std::size_t first) {
      Meter meter(SIDE, SIDE, rate, ALL_INDICATORS);
      std::vector<Values> values(first);
      for (std::size_t i = first; i < video.size(); ++i)
        values.push_back(meter.add({video[i].data(), SIDE, SIDE}));
      return values;
    };
    const std::vector<Values> whole = measure(0);
    for (std::size_t begin = 1; begin < video.size(); ++begin) {
      const auto lead = leadStart(static_cast<std::int64_t>(begin), rate);
      const std::vector<Values> part = measure(static_cast<std::size_t>(lead));
      for (const IndicatorInfo &info : INDICATORS)
        ASSERT_EQ(part[begin][info.indicator], whole[begin][info.indicator])
            << info.name << " of " << begin << " from " << lead;
    }
  }
}

TEST_F(Join, RandomPartsGiveTheBytesOfTheWhole) {
  const std::string x264 = "-c:v libx264 -preset veryfast -x264-params keyint=30:",
                    x265 = "-c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=30:";
  const struct {
    std::string name, encoder, arguments;
    bool entersMiddle = true;
  } cases[] = {
      {"closed.mp4", x264 + "bframes=3", ""},
      {"open.mkv", x264 + "open-gop=1:bframes=3", ""},
      {"open.ts", x264 + "open-gop=1:bframes=3", ""},
      {"bare.264", x264 + "open-gop=1:bframes=3", ""},
      {"pyramid.mp4", x264 + "bframes=8:b-pyramid=normal:b-adapt=0", ""},
      {"refreshed.ts", x264 + "intra-refresh=1", ""},
      {"interlaced.ts", x264 + "tff=1", ""},
      {"leading.mp4", x265 + "open-gop=1:bframes=4 -tag:v hvc1", ""},
      {"fields.mkv", x265 + "interlace=tff", ""},
      {"m2.ts", "-c:v mpeg2video -g 12 -bf 2 -b:v 800k", ""},
      {"torn.ts", "-c:v mpeg2video -g 12 -bf 2 -b:v 800k", ""},
      {"hidden.webm", "-c:v libvpx -g 30 -auto-alt-ref 1 -lag-in-frames 10 -deadline realtime", ""},
      {"vfr.mkv",
       "-vf \"select='not(eq(mod(n,7),3))*not(between(n,60,66))'\" -vsync vfr " + x264 +
           "bframes=3",
       ""},
      {"slowing.mkv", "-vf \"setpts='(N*N*3+N*40)/(1000*TB)'\" -vsync vfr " + x264 + "bframes=2",
       "--fps 25"},
      {"plain.y4m", "", ""},
      {"plain.yuv", "-f rawvideo", "--raw --size 160x96 --indicators 0x501ff"},
      {"keyless.mp4", x264 + "keyint=999:scenecut=0", "", false},
      {"unstamped.avi", "-c:v mpeg4 -g 12 -bf 2", "", false}};
  std::mt19937 random(7); // the same everywhere
  for (const auto &[name, encoder, arguments, entersMiddle] : cases) {
    SCOPED_TRACE(name);
    clear();
    makeClip(name, encoder);
    if (name == "torn.ts")
      writeFile(folder / name, readFile(folder / name).substr(188 * 100));
    std::vector<int> cuts;
    for (const unsigned begin : {10U, 70U, 130U})
      cuts.push_back(static_cast<int>(begin + random() % 50));
    cuts.insert(cuts.begin() + 2, cuts[1] + 1); // a part of one frame
    measureParts(arguments + " " + name, cuts);
    expectWhole(name, arguments + " " + name);
    const auto last = document("parts/" + name + "." + std::to_string(cuts.back()) + "-.json");
    EXPECT_EQ(last["part"]["first_packet"] > 0, entersMiddle && name != "plain.yuv");
  }
}

TEST_F(Join, DamageIsToldOnceAndSeamsAreHeld) {
  makeClip("clip.mkv", "-c:v libx264 -preset veryfast -g 30 -bf 2");
  const std::string whole = readFile(folder / "clip.mkv");
  std::mt19937 random(3);
  int joinedAtOnce = 0, refused = 0;
  for (std::size_t trial = 0; trial < 8; ++trial) {
    SCOPED_TRACE(trial);
    clear();
    std::string bytes = whole;
    for (std::size_t at = bytes.size() * (2 + trial) / 12, end = at + 40; at < end; ++at)
      bytes[at] = static_cast<char>(random());
    writeFile(folder / "clip.mkv", bytes);
    measureParts("clip.mkv", {40, 41, 100, 150});
    if (const Outcome joined = call("-o joined --join parts");
        joined.output.find("--no-seek") != std::string::npos) {
      EXPECT_EQ(joined.status, 2);
      EXPECT_FALSE(std::filesystem::exists(folder / "joined/clip.mkv.json"));
      ++refused;
      measureParts("--no-seek clip.mkv", {40, 41, 100, 150});
    } else {
      ++joinedAtOnce;
    }
    expectWhole("clip.mkv", "clip.mkv");
    EXPECT_FALSE(document("whole/clip.mkv.json")["decode_errors"].empty());
  }
  EXPECT_GT(joinedAtOnce, 0);
  EXPECT_LT(refused, 8);
}

TEST_F(Join, WhatMakesNoWholeIsRefused) {
  writeFile(folder / "a.yuv", std::string(40 * 384, 'a'));
  const std::string raw = "--raw --size 16x16 ";
  const struct {
    std::string change, message;
  } cases[] = {
      {"rm parts/a.yuv.0-10.*", "frames 0 to 9 are missing"},
      {"rm parts/a.yuv.10-11.*", "frame 10 is missing between"},
      {"rm parts/a.yuv.11-.*", "the frames from 11 on are missing"},
      {PROGRAM " -o parts --range 5:10 " + raw + "a.yuv", "frames 5 to 9 are in both"},
      {PROGRAM " -o parts --range 10:11 --fps 50 " + raw + "a.yuv", "with other options"},
      {"touch a.yuv; " PROGRAM " -o parts --range 10:11 " + raw + "a.yuv",
       "not measured from the same file"},
      {"echo >> parts/a.yuv.0-10.csv", "measure the part again"},
      {"for f in parts/*.json; do echo {} > $f; done", "no result of --range is there"},
      {"sed -i s/luma_md5...../luma_md5\\\":\\\"00/ parts/a.yuv.10-11.json", "frame 9 of"},
      {"sed -i 's/y\":\"warn\"/y\":\"fail\"/' parts/a.yuv.11-.json", "give --profile with"}};
  for (const auto &[change, message] : cases) {
    SCOPED_TRACE(message);
    clear();
    measureParts(raw + "a.yuv", {10, 11});
    shell(change);
    const Outcome run = call("-o joined --join parts");
    EXPECT_EQ(run.status, 2);
    EXPECT_NE((run.output + run.errors).find(message), std::string::npos)
        << run.output << run.errors;
    EXPECT_FALSE(std::filesystem::exists(folder / "joined/a.yuv.json"));
  }
}

TEST_F(Join, StartsInTheMiddleAndPipesGiveTheSameFrames) {
  makeClip("clip.mkv", "-c:v libx264 -preset veryfast -g 30 -bf 2");
  for (const std::string start :
       {"--start 100f --frames 20", "--start 9.01 --duration 1", "--range 100:120"}) {
    SCOPED_TRACE(start);
    clear();
    ASSERT_EQ(call("-o whole --no-seek clip.mkv " + start).errors, "");
    ASSERT_EQ(call("-o joined clip.mkv " + start).errors, "");
    const std::string name = start.starts_with("--r") ? ".100-120.csv" : ".csv";
    const std::string expected = readFile(folder / "whole" / ("clip.mkv" + name));
    EXPECT_GT(expected.size(), 1000U);
    EXPECT_EQ(readFile(folder / "joined" / ("clip.mkv" + name)), expected);
    for (const std::string source : {"cat clip.mkv | " PROGRAM, "< clip.mkv " PROGRAM}) {
      const Outcome piped = shell(source + " -o parts - " + start);
      EXPECT_EQ(readFile(folder / "parts" / ("stdin" + name)), expected) << piped.output;
      EXPECT_NE(piped.errors.find("it cannot be read twice"), std::string::npos) << piped.errors;
    }
  }
}

TEST_F(Join, PlansDivideLongInputsAndCollectingJoinsThem) {
  makeClip("long.mp4", "-c:v libx264 -preset veryfast -g 20");
  makeClip("keyless.mp4", "-c:v libx264 -preset veryfast -g 999 -sc_threshold 0");
  ffmpeg("-i long.mp4 -frames:v 30 -c copy short.mp4");
  const Outcome plan = call("--plan plan --parts 2 --split 3 long.mp4 keyless.mp4 short.mp4");
  EXPECT_NE(plan.output.find("5 inputs in 2 parts"), std::string::npos)
      << plan.output; // 3 of long.mp4
  EXPECT_NE(plan.errors.find("keyless.mp4: it is not split"), std::string::npos) << plan.errors;
  ASSERT_LT(call("--from-plan plan --part 1 -o parts").status, 2);
  const Outcome half = call("--collect parts --plan plan");
  EXPECT_EQ(half.status, 2) << half.output;
  EXPECT_NE(half.output.find("missing"), std::string::npos) << half.output;
  ASSERT_LT(call("--from-plan plan --part 2 -o parts").status, 2);
  ASSERT_LT(call("--collect parts --plan plan").status, 2);
  EXPECT_EQ(csv("parts/summary.csv").size(), 4U);
  ASSERT_LT(call("-o whole long.mp4").status, 2);
  std::string joined;
  for (const auto &entry : std::filesystem::directory_iterator(folder / "parts"))
    if (const std::string name = entry.path().filename();
        name.starts_with("long.mp4-") && std::count(name.begin(), name.end(), '.') == 2 &&
        name.ends_with(".csv"))
      joined = readFile(entry.path());
  EXPECT_TRUE(joined == readFile(folder / "whole/long.mp4.csv"));
}

TEST_F(Join, PartsOfThePlanToMeasureAgainAreThoseOfWhatIsMissing) {
  writeFile(folder / "a.yuv", std::string(40 * 384, 'a'));
  const std::string raw = " --raw --size 16x16",
                    measure = PROGRAM " --from-plan plan -o parts" + raw + " --part ";
  ASSERT_EQ(call("--plan plan --parts 2 --split 20f a.yuv" + raw).status, 0);
  std::filesystem::create_directory(folder / "parts");
  const struct {
    std::string change, state, parts;
  } steps[] = {{"true", "missing|there is no result; parts 1, 2 of the plan were", "1,2"},
               {measure + "1", "failed|the frames from 20 on are missing", "2"},
               {measure + "2; rm parts/*.0-20.*", "failed|frames 0 to 19 are missing", "1"},
               {measure + "1; for f in parts/*.20-.csv; do echo >> $f; done", "failed|", "2"},
               {"touch a.yuv; " + measure + "2", "failed|", "1,2"}, // of another file than part 1
               {measure + "1", "measured|", ""}};
  for (const auto &[change, state, parts] : steps) {
    SCOPED_TRACE(change);
    shell(change);
    const std::string said = call("--collect parts --plan plan").output,
                      again = "parts to measure again: ";
    const std::size_t at = said.find(again);
    EXPECT_EQ(at == std::string::npos ? "" : said.substr(at + again.size()),
              parts.empty() ? "" : parts + "\n");
    const std::string now =
        shell("sqlite3 parts/library.sqlite 'SELECT state, reason, part FROM inputs'").output;
    EXPECT_TRUE(now.starts_with(state) && now.ends_with("|\n")) << now; // it is in no one part
  }
}

TEST_F(Join, CollectingJoinsWhatHasChanged) {
  writeFile(folder / "a.yuv", std::string(40 * 384, 'a'));
  const std::string raw = " --raw --size 16x16 ", measure = PROGRAM " -o parts" + raw;
  ASSERT_EQ(call("--plan plan --parts 1 --split 20f a.yuv" + raw).status, 0);
  const Outcome part = call("--from-plan plan --part 1 -o parts" + raw);
  EXPECT_NE(part.output.find("a part of the video: frames 20 to 39;"), std::string::npos);
  EXPECT_NE(part.output.find("a.yuv (frames 0 to 19)"), std::string::npos) << part.output;
  if (hasPages()) {
    ASSERT_EQ(shell(PROGRAM " --html-from parts/*.20-.json --html part.html").status, 0);
    EXPECT_NE(readFile(folder / "part.html").find("\"part\":true"), std::string::npos);
  }
  const struct {
    std::string change;
    int read, joined;
    std::string state; ///< and reason
  } steps[] = {
      {"true", 1, 1, "measured|"},
      {"true", 0, 0, "measured|"},
      {"rm parts/a.yuv-????????????????.json", 1, 1, "measured|"},
      {"rm parts/a.yuv-????????????????.csv", 1, 1, "measured|"},
      {PROGRAM " --quiet --from-plan plan --part 1 -o parts" + raw, 1, 1, "measured|"},
      {"rm parts/*.0-20.*", 0, 0, "measured|"}, // the whole has it
      {"rm parts/*-????????????????.[cjf]*", 1, 0, "failed|frames 0 to 19 are missing"},
      {"touch a.yuv; " PROGRAM " --resume --quiet --from-plan plan --part 1 -o parts" + raw, 1, 1,
       "measured|"},
      {"touch a.yuv; rm parts/*-????????????????.[cjf]* parts/*.20-.json; " PROGRAM
       " --quiet --resume --from-plan plan --part 1 -o parts" +
           raw,
       1, 1, "measured|"},
      {"for f in parts/*.20-.csv; do echo >> $f; done; rm parts/*-????????????????.[cjf]*", 1, 0,
       "failed|"}};
  for (const auto &[change, read, joined, state] : steps) {
    SCOPED_TRACE(change);
    shell(change);
    const Outcome run = call("--collect parts --plan plan --profile default");
    EXPECT_NE(run.output.find(std::to_string(read) + " result"), std::string::npos) << run.output;
    EXPECT_NE(run.errors.find(joined == 1 ? "it judged the one input" : "it judged nothing"),
              std::string::npos)
        << run.errors;
    const std::string now =
        shell("sqlite3 parts/library.sqlite 'SELECT state, reason FROM inputs'").output;
    EXPECT_TRUE(now.starts_with(state)) << now;
  }
}

} // namespace
} // namespace lumagauge::qc
