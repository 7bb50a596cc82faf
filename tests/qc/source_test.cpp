// SPDX-License-Identifier: BSD-2-Clause
//
// Inputs of every kind, whole, damaged and hostile; batches and resuming.
#include "tests/support/command.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace lumagauge::qc {
namespace {

using namespace test;

class Source : public CommandTest {
protected:
  static constexpr int FRAMES = 30;

  Source() { makeClip("clip.mp4", "-c:v libx264 -g 10 -movflags +faststart"); }
  void makeClip(const std::string &name, const std::string &encoder) const {
    ffmpeg("-f lavfi -i testsrc2=s=96x80:r=25 -frames:v " + std::to_string(FRAMES) +
           " -pix_fmt yuv420p " + encoder + " " + name);
  }
  void expect(int status, const std::string &message, const std::string &arguments) const {
    const Outcome run = call(arguments);
    EXPECT_EQ(run.status, status) << arguments << run.output << run.errors;
    EXPECT_NE(run.output.find(message), std::string::npos) << arguments << run.output;
  }
  nlohmann::json document(const std::string &name) const {
    return nlohmann::json::parse(readFile(folder / "out" / (name + ".json")));
  }
  std::vector<std::string> column(const std::string &name, std::size_t index) const {
    return CommandTest::column("out/" + name + ".csv", index);
  }
};

/// Rows without the times and the picture types, in which containers differ.
std::vector<std::string> valuesOf(const std::string &text) {
  std::vector<std::string> rows;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    rows.push_back(line.substr(line.find(',', line.find(',', line.find(',') + 1) + 1)));
  return rows;
}

TEST_F(Source, PipesAndContainersGiveOneResult) {
  ASSERT_LT(call("-o out clip.mp4").status, 2);
  const auto expected = valuesOf(readFile(folder / "out/clip.mp4.csv"));
  ASSERT_EQ(expected.size(), FRAMES + 1U);
  for (const std::string end :
       {"-f yuv4mpegpipe - | " PROGRAM " -", "-c copy -f mpegts - | " PROGRAM " -",
        "-f rawvideo - | " PROGRAM " --raw --size 96x80 -", "-c:v ffv1 -f avi - | " PROGRAM " -",
        "-f yuv4mpegpipe y && " PROGRAM " - < y"}) {
    const Outcome run = shell("ffmpeg -v error -nostdin -i clip.mp4 " + end + " -o out");
    EXPECT_LT(run.status, 2) << end << run.errors << run.output;
    EXPECT_EQ(valuesOf(readFile(folder / "out/stdin.csv")), expected) << end;
    EXPECT_EQ(column("stdin", 1).back(), "1.16") << end;
    EXPECT_TRUE(document("stdin")["decode_errors"].empty()) << end;
  }
}

TEST_F(Source, StreamsAreChosenByNumber) {
  ffmpeg("-i clip.mp4 -f lavfi -i testsrc=s=64x48:r=10:d=1 -map 0:v -map 1:v -c:v libx264 two.mkv");
  ASSERT_LT(call("--stream 1 -o out two.mkv").status, 2);
  EXPECT_EQ(document("two.mkv")["input"]["width"], 64);
  EXPECT_EQ(column("two.mkv", 0).size(), 10U);
  ASSERT_LT(call("-o out two.mkv").status, 2);
  EXPECT_EQ(document("two.mkv")["input"]["width"], 96);
  expect(2, "its video streams are 0, 1", "--stream 2 two.mkv");
  expect(0, "its video streams are 0, 1", "two.mkv");
}

TEST_F(Source, TimesAreThoseOfTheStream) {
  ffmpeg("-i clip.mp4 -vf \"select='lt(n,4)',setpts='(N*N*80)/(1000*TB)'\" -vsync vfr "
         "-c:v ffv1 vfr.mkv");
  ASSERT_LT(call("-o out vfr.mkv").status, 2);
  EXPECT_EQ(column("vfr.mkv", 1), (std::vector<std::string>{"0", "0.08", "0.32", "0.72"}));
  // Its sound begins 0.3 s ahead of the first picture, and the container at 1.4 s.
  ffmpeg("-f lavfi -i sine -itsoffset 0.3 -i clip.mp4 -t 1 -c:v copy -c:a mp2 late.ts");
  for (const std::string times : {"", "--stream-times"}) {
    ASSERT_LT(call("-o out --start 0.4 --frames 2 late.ts " + times).status, 2);
    const double start = document("late.ts")["input"]["start_time"];
    EXPECT_NEAR(start, 1.7, 0.05);
    EXPECT_EQ(column("late.ts", 0).front(), "10");
    EXPECT_NEAR(std::stod(column("late.ts", 1).front()), (times.empty() ? 0 : start) + 0.4, 1e-9);
  }
}

TEST_F(Source, RangesOfTheInput) {
  const struct {
    const char *arguments, *first;
    std::size_t frames;
  } cases[] = {{"--start 10f --frames 5", "10", 5},      {"--start 0.4 --duration 0.2", "10", 5},
               {"--start 0:00:01.000", "25", 5},         {"--duration 4f", "0", 4},
               {"--start 20f --duration 0.12", "20", 3}, {"--frames 1000", "0", 30}};
  for (const auto &[arguments, first, frames] : cases) {
    ASSERT_LT(call(std::string("-o out clip.mp4 ") + arguments).status, 2) << arguments;
    const auto numbers = column("clip.mp4", 0);
    EXPECT_EQ(numbers.size(), frames) << arguments;
    EXPECT_EQ(numbers.front(), first) << arguments;
    EXPECT_EQ(csv("out/clip.mp4.csv")[1][9], "") << arguments << ": a first frame has no pair";
  }
  EXPECT_EQ(call("--start 99 clip.mp4").status, 2);
  makeClip("reordered.264", "-c:v libx264");
  for (const std::string name : {"reordered.264", "clip.mp4"})
    for (const std::string frames : {"12", "27"}) { // all packets are read by then, not all shown
      ASSERT_LT(call("-o out --frames " + frames + " --decode-threads 8 " + name).status, 2);
      EXPECT_TRUE(document(name)["decode_errors"].empty()) << name << frames;
    }
}

TEST_F(Source, TruncatedInputIsMeasuredAsFarAsItGoes) {
  const std::pair<std::string, const char *> containers[] = {
      {"cut.mp4", "-c:v libx264 -g 10 -movflags +faststart"},
      {"cut.mkv", "-c:v libx264 -g 10"},
      {"cut.avi", "-c:v mpeg4"},
      {"cut.ogv", "-c:v libtheora"},
      {"cut.y4m", ""}};
  for (const auto &[name, encoder] : containers) {
    makeClip(name, encoder);
    ASSERT_LT(call("--decode-threads 1 -o out " + name).status, 2);
    const std::string whole = readFile(folder / "out" / (name + ".csv"));
    std::filesystem::resize_file(folder / name, std::filesystem::file_size(folder / name) * 2 / 3);
    const Outcome run = call("--decode-threads 1 -o out " + name);
    EXPECT_EQ(run.status, 0) << name << run.output;
    const std::size_t frames = column(name, 0).size();
    EXPECT_TRUE(frames > 10 && frames < 30) << name << frames;
    EXPECT_TRUE(whole.starts_with(readFile(folder / "out" / (name + ".csv")).substr(0, 200)));
    const auto errors = document(name)["decode_errors"];
    ASSERT_FALSE(errors.empty()) << name;
    EXPECT_GT(errors.back()["time"], 0.3) << name;
  }
}

TEST_F(Source, PicturesThatAreMissingAreCounted) {
  makeClip("m2.ts", "-c:v mpeg2video -g 10 -b:v 400k");
  const std::string five = "ffmpeg -v error -nostdin -i clip.mp4 -frames:v 5 ";
  const struct {
    std::string name, made;
    std::int64_t missing;
    double end;
    std::string options;
  } cases[] = {
      {"raw", five + "-f rawvideo - | head -c 50000", 1, 0.2, " --raw --size 96x80"},
      {"y4m", five + "-f yuv4mpegpipe - | head -c 50000", 1, 0.2, ""},
      {"ts", "head -c 30000 m2.ts", 1, 0.4, ""},
      {"a gap",
       "ffmpeg -v error -nostdin -i clip.mp4 -vf 'setpts=PTS+gte(N\\,20)*10/TB' -fps_mode vfr "
       "-c:v ffv1 -f matroska -",
       250, 10.8, ""}};
  for (const auto &[name, made, missing, end, options] : cases) {
    EXPECT_EQ(shell(made + " | " PROGRAM " --indicators blackout -o out -" + options).status, 0);
    const auto events = document("stdin")["events"];
    ASSERT_EQ(events.size(), 1U) << name << events;
    EXPECT_EQ(events[0]["kind"], "missing") << name;
    EXPECT_EQ(events[0]["frames"], missing) << name;
    EXPECT_NEAR(events[0]["end"].get<double>(), end, 1e-9) << name;
  }
}

TEST_F(Source, DamagedPacketsAreReportedWithTheirTime) {
  std::string bytes = readFile(folder / "clip.mp4");
  for (std::size_t i = bytes.size() * 6 / 10; i < bytes.size() * 7 / 10; ++i)
    bytes[i] = static_cast<char>(i * 37);
  writeFile(folder / "clip.mp4", bytes);
  expect(0, "", "--decode-threads 1 -o out clip.mp4");
  const auto errors = document("clip.mp4")["decode_errors"];
  ASSERT_FALSE(errors.empty());
  EXPECT_NEAR(errors[0]["time"].get<double>(), 0.7, 0.25);
  const std::string result = readFile(folder / "out/clip.mp4.csv");
  ASSERT_EQ(call("--decode-threads 1 --threads 3 -o out clip.mp4").status, 0);
  EXPECT_EQ(readFile(folder / "out/clip.mp4.csv"), result);
}

TEST_F(Source, DamageGivesOneAnswerWithAnyNumberOfDecodingThreads) {
  for (const std::string name : {"a.264 -c:v libx264 -g 10", "b.avi -c:v mpeg4 -g 10 -b:v 500k",
                                 "c.webm -c:v libvpx -b:v 500k", "d.ogv -c:v libtheora",
                                 "e.mkv -c:v libx265 -x265-params log-level=none:keyint=10",
                                 "f.avi -c:v mjpeg -pix_fmt yuvj420p"}) {
    const std::string file = name.substr(0, name.find(' '));
    makeClip("", name.substr(file.size()) + ' ' + file);
    std::string bytes = readFile(folder / file);
    for (std::size_t i = bytes.size() / 2; i < bytes.size() * 9 / 10; i += 211)
      bytes[i] = static_cast<char>(bytes[i] ^ 4);
    writeFile(folder / file, bytes);
    std::vector<std::string> answers;
    for (const std::string threads : {"1", "2", "8"}) {
      ASSERT_LT(call("-o out --decode-threads " + threads + ' ' + file).status, 2);
      answers.push_back(readFile(folder / "out" / (file + ".csv")) +
                        document(file)["decode_errors"].dump());
      EXPECT_EQ(answers.back(), answers.front()) << file << ' ' << threads;
    }
  }
}

TEST_F(Source, JoinedRecordingsGoOnUntilTheSizeChanges) {
  ffmpeg("-i clip.mp4 -pix_fmt yuv444p -c:v libx264 other.ts");
  ffmpeg("-i clip.mp4 -c copy a.ts");
  ffmpeg("-i clip.mp4 -vf scale=64:48 -c:v libx264 b.ts");
  ASSERT_EQ(shell("cat a.ts a.ts b.ts > aab.ts").status, 0);
  expect(2, "another size", "--quiet -o out aab.ts");
  ASSERT_EQ(shell("cat a.ts other.ts > ao.ts").status, 0);
  expect(0, "from frame 30 on its pixel format is yuv444p", "ao.ts");
  const auto times = column("aab.ts", 1);
  ASSERT_EQ(times.size(), 2U * FRAMES);
  for (std::size_t i = 0; i < times.size(); ++i)
    EXPECT_NEAR(std::stod(times[i]), 0.04 * static_cast<double>(i), 1e-6);
}

TEST_F(Source, SizesAreChecked) {
  writeFile(folder / "raw", std::string(3 * 352 * 288 / 2 * 3, '\x50'));
  for (const char *name : {"tiny_352x288.yuv", "tiny_QCIF_yuv422p.yuv", "tiny.yuv"})
    std::filesystem::copy_file(folder / "raw", folder / name);
  writeFile(folder / "odd", std::string(2 * (15 * 11 + 2 * 8 * 6) + 7, '\x50'));
  writeFile(folder / "huge.y4m", "YUV4MPEG2 W99999 H99999 F25:1\nFRAME\n");
  const struct {
    const char *arguments;
    int status;
    const char *message;
  } cases[] = {
      {"huge.y4m", 2, "no size that a picture can have"},
      {"--raw raw --size 8192x4609", 2, "--max-pixels"},
      {"--raw raw --size 352x288", 0, ""},
      {"--raw raw --size 320x240", 0, "a remainder of 110592 bytes"},
      {"--raw raw --size 320x240", 0, "352x288 yuv420p (3 frames)"},
      {"--raw raw --size 3520x2880", 2, "less than one frame"},
      {"--raw raw --size 99999x99999", 2, "--max-pixels"},
      {"--raw raw --size 352x288 --pix-fmt vaapi", 2, "--pix-fmt vaapi"},
      {"--raw raw --size 352x288 --frame-bytes 101375", 2, "less than the 101376 bytes"},
      {"--raw raw --size 352x288 --frame-bytes 101376 --pix-fmt yuv444p", 0,
       "a remainder of 50688"},
      {"--raw odd --size 15x11", 0,
       "2 frames of 15x11 yuv420p (261 bytes each) and a remainder of 7"},
      {"--raw - --size 15x11 < odd", 0, "a remainder of 7"},
      {"tiny_352x288.yuv", 2,
       "456192 bytes would fit 352x288 yuv420p (3 frames), as its name says"},
      {"tiny_QCIF_yuv422p.yuv", 2, "would fit 176x144 yuv422p (9 frames), as its name says"},
      {"tiny.yuv", 2, "header; raw frames need --raw --size WIDTHxHEIGHT"},
      {"tiny.yuv", 2, "352x288 yuv420p (3 frames), 176x144 yuv420p (12 frames)"},
      {"clip.mp4 --max-pixels 7679", 2, "--max-pixels"},
      {"clip.mp4 --max-pixels 7680", 0, ""},
  };
  for (const auto &[arguments, status, message] : cases)
    expect(status, message, arguments);
}

TEST_F(Source, EveryNameIsThatOfAFile) {
  for (const std::string name : {"concat:clip.mp4", "-dash.mp4", "new\nline.mp4", "a:b.mp4",
                                 "[a,b]", "http:", "img%03d.png", "--raw"}) {
    std::filesystem::copy_file(folder / "clip.mp4", folder / name);
    EXPECT_EQ(call("--quiet -- '" + name + "'").status, 0) << name;
  }
  EXPECT_EQ(call("--quiet http://127.0.0.1:9/x.mp4").status, 2);
  const std::string url = "file://" + (folder / "clip.mp4").string();
  EXPECT_EQ(call("--quiet --allow-protocols file " + url).status, 0);
  EXPECT_EQ(call("--quiet --allow-protocols http " + url).status, 2);
}

TEST_F(Source, ListsOpenNothingUnlessAsked) {
  writeFile(folder / "list.ffconcat", "ffconcat version 1.0\nfile clip.mp4\nfile clip.mp4\n");
  writeFile(folder / "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:1,\nclip.ts\n");
  writeFile(folder / "stream.sdp", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\n"
                                   "t=0 0\nm=video 9 RTP/AVP 96\na=rtpmap:96 H264/90000\n");
  for (const char *name : {"list.ffconcat", "list.m3u8", "stream.sdp"})
    expect(2, "--allow-nested", name);
  ASSERT_EQ(call("--allow-nested -o out list.ffconcat").status, 0);
  EXPECT_EQ(column("list.ffconcat", 0).size(), 2U * FRAMES);

  ffmpeg("-i clip.mp4 -frames:v 1 -vf scale=1920:1080 -q:v 1 one.jpg");
  EXPECT_EQ(call("one.jpg").status, 0);
  ffmpeg("-i clip.mp4 -frames:v 4 image%02d.png");
  EXPECT_EQ(call("image%02d.png").status, 2);
  ASSERT_EQ(call("--allow-nested -o out image%02d.png").status, 0);
  EXPECT_EQ(column("image%02d.png", 0).size(), 4U);
}

TEST_F(Source, WrongUsageIsStatus2) {
  for (const std::string arguments : {"",
                                      "--raw clip.mp4",
                                      "--size 8x8 clip.mp4",
                                      "--raw --size 8 x",
                                      "--raw --size 8x-8 x",
                                      "--start 1:99 clip.mp4",
                                      "--start -1 clip.mp4",
                                      "--duration 5x clip.mp4",
                                      "--threads 0 x",
                                      "--duration 1 --frames 2 x",
                                      "--indicators blurr x",
                                      "--indicators 0x100000000 x",
                                      "- -",
                                      "--fps inf clip.mp4",
                                      "--fps 1e300 clip.mp4",
                                      "--resume clip.mp4",
                                      "--profile nowhere clip.mp4",
                                      "--live --html a.html clip.mp4",
                                      "--live --range 0:4 clip.mp4",
                                      "--join parts -o out --frames 3",
                                      "--collect out --start 5",
                                      "--from-plan p --part 1 --range 0:5 -o out",
                                      "--files-from nowhere",
                                      "--profile /dev/zero clip.mp4",
                                      "--files-from /dev/zero",
                                      "-o /dev/null/x clip.mp4"}) {
    const Outcome run = call(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_EQ(run.output, "") << arguments;
    EXPECT_NE(run.errors, "") << arguments;
  }
  EXPECT_EQ(call("clip.mp4 > /dev/full").status, 2);
  // Nor does what is said on the way, after 3 s at the earliest, land in a file.
  shell("head -c 6000 /dev/zero >raw; (cat raw; sleep 3.5; cat raw) | " PROGRAM
        " -o out --progress plain --raw --size 40x100 - >&- 2>&-");
  EXPECT_EQ(csv("out/stdin.csv").at(0).at(0), "frame");
}

TEST_F(Source, OnlyTheIndicatorsAskedForAreMeasured) {
  for (const std::string list : {"blur,freezing", "0x120"}) {
    ASSERT_EQ(call("-o out --indicators " + list + " clip.mp4").status, 0);
    const auto row = csv("out/clip.mp4.csv").back();
    for (std::size_t i = 3; i + 1 < row.size(); ++i) // the last is the shot
      EXPECT_EQ(row[i].empty(), i != 8 && i != 11) << i;
  }
}

TEST_F(Source, BatchesGoOnAndResume) {
  std::filesystem::create_directories(folder / "videos/more");
  for (const char *name : {"videos/a.mp4", "videos/more/b.MP4", "videos/notes.txt"})
    std::filesystem::copy_file(folder / "clip.mp4", folder / name);
  writeFile(folder / "videos/broken.mkv", "no video");
  writeFile(folder / "list", "clip.mp4\n\nnowhere.mp4\n");
  const std::string batch = "--quiet --recursive -o out videos '' --files-from list";
  expect(2, "unmeasured", batch);
  const auto rows = csv("out/summary.csv");
  ASSERT_EQ(rows.size(), 7U);
  EXPECT_EQ(rows[1][0], "videos/a.mp4");
  EXPECT_EQ(rows[2][0], "videos/broken.mkv");
  EXPECT_EQ(rows[3][0], "videos/more/b.MP4");
  for (const char *name : {"a.mp4", "b.MP4", "clip.mp4"})
    EXPECT_EQ(column(name, 0).size(), std::size_t{FRAMES}) << name;

  shell("touch -d '+1 hour' videos/a.mp4; rm out/b.MP4.json; sleep 0.02; touch before");
  EXPECT_EQ(call("--resume " + batch).status, 2);
  const auto before = std::filesystem::last_write_time(folder / "before");
  const auto isNew = [&](const char *name) {
    return std::filesystem::last_write_time(folder / "out" / name) > before;
  };
  EXPECT_TRUE(isNew("a.mp4.json"));
  EXPECT_TRUE(isNew("b.MP4.json"));
  EXPECT_FALSE(isNew("clip.mp4.json"));
  expect(0, "earlier result", "--resume --quiet -o out clip.mp4");
}

} // namespace
} // namespace lumagauge::qc
