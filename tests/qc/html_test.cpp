// SPDX-License-Identifier: BSD-2-Clause
//
// The picture report: packed values, hostile text, pages of a run and pages made again, pictures.
#include "qc/judge/judge.h"
#include "qc/report/html.h"
#include "qc/report/page.h"
#include "qc/report/result_files.h"
#include "tests/support/command.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <zlib.h>

extern "C" {
#include <libavutil/base64.h>
}

#include <cmath>
#include <map>
#include <numeric>

namespace lumagauge::qc {
namespace {

using namespace test;
namespace fs = std::filesystem;
using Json = nlohmann::json;
using I = Indicator;

std::string inflated(const std::string &gzip) {
  z_stream stream{};
  inflateInit2(&stream, 15 + 16); // one gzip stream and nothing else
  std::string bytes(std::size_t{1} << 26, '\0');
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(gzip.data()));
  stream.avail_in = static_cast<uInt>(gzip.size());
  stream.next_out = reinterpret_cast<Bytef *>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END); // which checks CRC and length
  EXPECT_EQ(stream.avail_in, 0U);
  bytes.resize(stream.total_out);
  inflateEnd(&stream);
  return bytes;
}

/// The columns of packed frames as a reader gets them: numbers as "%.4g" shows them.
std::map<std::string, std::vector<std::string>> unpacked(const PackedFrames &packed) {
  const std::string bytes = inflated(packed.gzip);
  const auto count = static_cast<std::size_t>(packed.count);
  std::size_t position = 0;
  std::map<std::string, std::vector<std::string>> columns;
  const auto plane = [&](std::size_t number, std::size_t frame) {
    return static_cast<std::uint8_t>(bytes.at(position + number * count + frame));
  };
  const auto shown = [](int mantissa, int exponent) -> std::string {
    if (exponent < Decimal4::LEAST_EXPONENT)
      return std::vector<std::string>{"none", "nan", "inf", "-inf"}.at(
          static_cast<std::size_t>(exponent + 128));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g",
                  std::stod(std::to_string(mantissa) + "e" + std::to_string(exponent)));
    return text.data();
  };
  for (const Column &column : packed.columns) {
    std::vector<std::string> &values = columns[column.name];
    std::int64_t sum = 0;
    int mantissa = 0;
    std::int8_t exponent = 0;
    std::size_t planes = 0;
    for (std::size_t i = 0; i < count; ++i) {
      switch (column.encoding) {
      case Encoding::constant:
        values.push_back(column.letter != 0 ? std::string(1, column.letter)
                                            : shown(column.value.mantissa, column.value.exponent));
        break;
      case Encoding::ascii:
        values.emplace_back(1, static_cast<char>(plane(0, i)));
        planes = 1;
        break;
      case Encoding::step:
        values.push_back(std::to_string(sum += plane(0, i)));
        planes = 1;
        break;
      case Encoding::microseconds:
        for (std::size_t byte = 0; byte < 6; ++byte)
          sum += std::int64_t{plane(byte, i)} << 8 * byte;
        values.push_back(std::to_string(std::llround(1e6 * column.start) + sum));
        planes = 6;
        break;
      case Encoding::decimal4:
        exponent = static_cast<std::int8_t>(exponent + plane(0, i));
        const int step = plane(1, i) + 256 * plane(2, i);
        mantissa += (step >> 1) ^ -(step & 1);
        values.push_back(shown(mantissa, exponent));
        planes = 3;
      }
    }
    position += planes * count;
  }
  EXPECT_EQ(position, bytes.size());
  return columns;
}

TEST(FrameColumns, GiveBackEveryValueToFourDigits) {
  std::vector<std::optional<double>> values{{},       0.0, -0.0,      1.0,     std::nan(""),
                                            HUGE_VAL, {},  -HUGE_VAL, 0.99996, 0.99994,
                                            12345,    255, 1.0 / 3};
  for (int decade = -121; decade < 131; ++decade)
    for (const double digits : {1.0, -9.999, 5.0005, 3.14159})
      values.emplace_back(digits * std::pow(10.0, decade));
  FrameColumns frames(bit(I::blur) | bit(I::noise) | bit(I::slice));
  std::vector<std::string> expected;
  constexpr std::size_t COUNT = 70000; // more than two chunks
  double time = 2.5;
  for (std::size_t i = 0; i < COUNT; ++i) {
    const std::optional<double> value = values[i % values.size()];
    FrameRecord record{.frame = 7 + static_cast<std::int64_t>(i), .time = time, .values = {}};
    record.pictureType = i % 12 == 0 ? 'I' : '?';
    record[I::blur] = value;
    record[I::slice] = 0.5;
    record.shot = static_cast<std::int64_t>(i / 300);
    frames.add(record);
    time += i == 500 ? 5000.0 : 1001.0 / 30000; // a gap that 32 bits of microseconds do not hold
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g", std::abs(value.value_or(0)) == 0 ? 0 : *value);
    expected.emplace_back(!value ? "none" : std::isnan(*value) ? "nan" : text.data());
  }
  const PackedFrames packed = frames.finish(1 << 30, ALL_INDICATORS);
  const auto columns = unpacked(packed);
  EXPECT_EQ(packed.first, 7);
  EXPECT_EQ(columns.at("blur"), expected);
  EXPECT_EQ(columns.at("slice"), std::vector<std::string>(COUNT, "0.5"));
  EXPECT_EQ(columns.at("noise"), std::vector<std::string>(COUNT, "none"));
  EXPECT_EQ(columns.at("type").at(12) + columns.at("type").at(13), "I?");
  EXPECT_EQ(columns.at("shot").back(), std::to_string((COUNT - 1) / 300));
  EXPECT_EQ(columns.at("time").at(600),
            std::to_string(std::llround(1e6 * (2.5 + 5000 + 599 * 1001.0 / 30000))));
  EXPECT_FALSE(columns.contains("contrast"));
}

TEST(FrameColumns, LeaveOutOnlyWhatMayGo) {
  for (const std::size_t most : {std::size_t{0}, std::size_t{1} << 20}) {
    FrameColumns frames(bit(I::blur) | bit(I::grain) | bit(I::sharpness));
    for (int i = 0; i < 100; ++i) {
      FrameRecord record{.frame = i, .time = i / 25.0, .values = {}};
      for (const I indicator : {I::blur, I::grain, I::sharpness})
        record[indicator] = std::sin(i * (1.0 + static_cast<double>(indicator)));
      frames.add(record);
    }
    const PackedFrames packed = frames.finish(most, bit(I::grain));
    EXPECT_EQ(packed.omitted,
              most == 0 ? std::vector<std::string>{"grain"} : std::vector<std::string>());
    EXPECT_EQ(unpacked(packed).contains("grain"), most != 0);
    EXPECT_TRUE(unpacked(packed).contains("sharpness"));
  }
}

/// The data of a page by the ids of their scripts.
std::map<std::string, Json> dataOf(const fs::path &page) {
  const std::string text = readFile(page), start = "<script type=\"application/json\" id=\"";
  std::map<std::string, Json> data;
  for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
    const std::size_t id = at + start.size(), begin = text.find("\">", id) + 2;
    data[text.substr(id, begin - 2 - id)] =
        Json::parse(text.substr(begin, text.find("</script>", begin) - begin));
  }
  return data;
}

std::string jpegOf(const Json &thumbnail) {
  const std::string text = thumbnail.at("jpeg");
  std::string bytes(text.size(), '\0');
  bytes.resize(
      static_cast<std::size_t>(av_base64_decode(reinterpret_cast<std::uint8_t *>(bytes.data()),
                                                text.c_str(), static_cast<int>(bytes.size()))));
  return bytes;
}

class HtmlTest : public CommandTest {
protected:
  void SetUp() override {
    if (!hasPages())
      GTEST_SKIP() << "this build has no page";
  }
  /// Every frame of another colour and place; `more` goes ahead of the output's name.
  void makeClip(const std::string &name, const std::string &more, const std::string &filter,
                const std::string &size = "320x180") const {
    ffmpeg("-f lavfi -i testsrc2=size=" + size + ":rate=25:duration=1.6 -vf \"gblur=4,hue=h=9*n," +
           filter + "\" " + more + " '" + name + "'");
  }
  /// The mean difference of two pictures of 8-bit samples.
  static double difference(const std::string &a, std::size_t from, const std::string &b,
                           std::size_t begin, std::size_t count) {
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i)
      sum += std::abs(static_cast<std::uint8_t>(a[from + i]) -
                      static_cast<std::uint8_t>(b[begin + i]));
    return sum / static_cast<double>(count);
  }
  /// Each picture is the one that ffmpeg decodes as that frame, and no neighbour.
  void expectFrames(const Json &pictures, const std::string &input) const {
    ASSERT_FALSE(pictures.empty());
    const int width = pictures[0].at("width"), height = pictures[0].at("height");
    std::string all;
    for (const Json &picture : pictures)
      all += jpegOf(picture);
    writeFile(folder / "all.mjpeg", all);
    ffmpeg("-f mjpeg -i all.mjpeg -f rawvideo -pix_fmt rgb24 shown");
    ffmpeg(input + " -fps_mode passthrough -vf scale=" + std::to_string(width) + ":" +
           std::to_string(height) + ":flags=area+accurate_rnd -f rawvideo -pix_fmt rgb24 decoded");
    const std::string shown = readFile(folder / "shown"), decoded = readFile(folder / "decoded");
    const std::size_t bytes = 3 * static_cast<std::size_t>(width * height);
    ASSERT_EQ(shown.size(), pictures.size() * bytes);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      const std::size_t frame = pictures[i].at("frame");
      const double same = difference(shown, i * bytes, decoded, frame * bytes, bytes);
      EXPECT_LT(same, 5) << frame; // what JPEG at this quality costs
      const std::size_t other = frame == 0 ? 1 : frame - 1;
      EXPECT_GT(difference(shown, i * bytes, decoded, other * bytes, bytes), same + 3) << frame;
    }
  }
};

TEST_F(HtmlTest, ThumbnailsShowTheirFrames) {
  const std::string size = "--raw --size 320x180 ",
                    raw = "-f rawvideo -s 320x180 -pix_fmt yuv420p ";
  const std::string x264 = "-c:v libx264 -pix_fmt yuv420p -g 12 -bf 2 ";
  const struct {
    const char *name;
    std::string coding, filter, arguments, decoding;
    int width, height;
  } cases[] = {{"long.mp4", x264 + "-g 250", "null", "", "", 160, 90},
               {"open.ts", x264 + "-x264-params open-gop=1", "null", "", "", 160, 90},
               {"old.avi", "-c:v mpeg4 -bf 2", "null", "", "", 160, 90},
               {"bare.264", x264, "null", "", "", 160, 90},
               {"full709.mp4", x264 + "-color_range pc -colorspace bt709",
                "scale=out_color_matrix=bt709:out_range=full", "", "", 160, 90},
               {"turned.mov",
                x264 + "a.mov && ffmpeg -v error -i a.mov -c copy -metadata:s:v rotate=90", "null",
                "", "", 90, 160},
               {"wide.mkv", x264, "setsar=2", "", "", 160, 45},
               {"rgb.mkv", "-c:v ffv1 -pix_fmt gbrp", "null", "", "", 160, 90},
               {"deep.mkv", "-c:v ffv1 -pix_fmt yuv422p10le", "null", "", "", 160, 90},
               {"frames.yuv", "-pix_fmt yuv420p -f rawvideo", "null", size, raw, 160, 90},
               {"piped.yuv", "-pix_fmt yuv420p -f rawvideo", "null", size + "- < ", raw, 160, 90},
               {"piped.mkv", x264, "null", "- < ", "", 160, 90},
               {"late.mp4", x264, "null", "--start 20f --stream-times ", "", 160, 90}};
  for (const auto &[name, coding, filter, arguments, decoding, width, height] : cases) {
    SCOPED_TRACE(name);
    makeClip(name, coding, filter);
    // Pages made again may take their time for pictures, however busy the machine is.
    const bool isPiped = arguments.find('<') != std::string::npos;
    const Outcome run = call((isPiped ? "--html page.html " : "-o out ") + arguments + name);
    ASSERT_EQ(run.status, 0) << run.errors;
    if (!isPiped) {
      ASSERT_EQ(
          call("--html page.html --html-from out/" + std::string(name) + ".json --video " + name)
              .status,
          0);
    }
    const auto data = dataOf(folder / "page.html");
    const Json &strip = data.at("pictures").at("strip");
    EXPECT_EQ(data.at("row").at("part"), arguments.starts_with("--start"));
    // AVI has no time stamps of its own: a frame may be missed.
    EXPECT_GE(strip.size(), arguments.starts_with("--start") ? 20U : 39U);
    EXPECT_EQ(strip[0].at("width"), width);
    EXPECT_EQ(strip[0].at("height"), height);
    expectFrames(strip, decoding + "-i " + std::string(name));
  }
}

TEST_F(HtmlTest, EventsHaveTheFrameBeforeTheWorstAndTheNext) {
  makeClip("clip.mkv", "-c:v libx264 -pix_fmt yuv420p -g 250",
           "lutyuv=y=16:u=128:v=128:enable='between(n,20,29)'");
  ASSERT_EQ(call("-o out clip.mkv").status, 0);
  for (const std::string input :
       {"--html-from out/clip.mkv.json --video clip.mkv", "- < clip.mkv"}) {
    ASSERT_EQ(call("--html page.html " + input).status, 0);
    const auto data = dataOf(folder / "page.html");
    const Json &pictures = data.at("pictures"), &events = data.at("result").at("events");
    bool isBlackThere = false;
    for (const Json &shown : pictures.at("events")) {
      const Json &event = events[shown.at("event").get<std::size_t>()];
      if (event.at("kind") != "black")
        continue;
      isBlackThere = true;
      EXPECT_EQ(event.at("start_frame"), 20);
      EXPECT_EQ(shown.at("before").at("frame"), 19);
      EXPECT_EQ(shown.at("worst").at("frame"), event.at("worst_frame"));
      EXPECT_EQ(shown.at("after").at("frame"), 30);
      EXPECT_EQ(shown.at("worst").at("width"), 320);
      expectFrames({shown.at("before"), shown.at("after")}, "-i clip.mkv");
    }
    EXPECT_TRUE(isBlackThere) << input;
    EXPECT_EQ(pictures.at("without"), events.size() - pictures.at("events").size());
  }
}

TEST_F(HtmlTest, AFolderHasAPageAResultAndAnIndex) {
  makeClip("a b.mp4", "-g 12", "null", "64x36");
  makeClip("c.mp4", "-g 5", "hflip", "64x36");
  const std::string batch = "-o out --html 'a b.mp4' c.mp4 gone.mp4 --quiet";
  EXPECT_EQ(call(batch).status, 2);
  const std::string page = readFile(folder / "out/c.mp4.html");
  const auto rows = [&] {
    std::map<std::string, Json> byName;
    const auto data = dataOf(folder / "out/index.html");
    for (const Json &row : data.at("batch").at("rows"))
      byName[row.at("name")] = row;
    return byName;
  };
  ASSERT_EQ(rows().size(), 3U);
  EXPECT_EQ(rows()["a b.mp4"].at("report"), "a%20b.mp4.html");
  EXPECT_EQ(rows()["c.mp4"].at("frames"), 40);
  EXPECT_EQ(rows()["gone.mp4"].at("report"), nullptr);
  EXPECT_THAT(rows()["gone.mp4"].at("reason").get<std::string>(),
              testing::HasSubstr("No such file"));

  // The same result gives the same page, from the frames of either file.
  for (const std::string before : {"", "rm out/c.mp4.csv; "}) {
    ASSERT_EQ(shell(before + PROGRAM " --html-from out/c.mp4.json --video c.mp4").status, 0);
    EXPECT_EQ(readFile(folder / "out/c.mp4.html"), page);
  }
  EXPECT_EQ(shell(PROGRAM " --html-from out/c.mp4.json --html other.html").status, 0);
  EXPECT_FALSE(dataOf(folder / "other.html").contains("pictures"));
  const struct {
    std::string arguments, message;
  } wrong[] = {{"--html-from out/c.mp4.json --video 'a b.mp4'", "not the file that was measured"},
               {"--html-from out/c.mp4.html", "no result of lumagauge-qc"},
               {"--html-from nowhere.json", "cannot be read"},
               {"--html c.mp4", "ends in .html"},
               {"--html page.html c.mp4 c.mp4", "one input"},
               {"-o out --html page.html c.mp4", "NAME.html"},
               {"--html-from out/c.mp4.json c.mp4", "measures nothing"}};
  for (const auto &[arguments, message] : wrong) {
    const Outcome run = call(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_THAT(run.errors, testing::HasSubstr(message));
  }
}

TEST_F(HtmlTest, ResumingMakesPagesThatAreMissingOrOfAnotherResult) {
  makeClip("c.mp4", "-g 12", "null", "64x36");
  const std::string run = "-o out --html --resume --quiet c.mp4";
  ASSERT_EQ(call(run).status, 0);
  const fs::path html = folder / "out/c.mp4.html", json = folder / "out/c.mp4.json";
  const std::string page = readFile(html);
  const auto measured = fs::last_write_time(json);
  std::string other = page;
  other.replace(other.find("\"video\":true"), 12, "\"video\":null");
  for (const std::string &content : {page, std::string(), std::string("<html>"), other}) {
    writeFile(html, content);
    const auto written = fs::last_write_time(html);
    ASSERT_EQ(call(run).status, 0);
    EXPECT_EQ(readFile(html), page);
    EXPECT_EQ(fs::last_write_time(html) == written, content == page);
    EXPECT_EQ(fs::last_write_time(json), measured);
  }
  // Measured anew by other rules, the page of before is none of the result.
  ASSERT_EQ(call("-o out --profile broadcast --quiet c.mp4").status, 0);
  EXPECT_FALSE(isReportOf(html, json));
}

TEST_F(HtmlTest, HostileTextStaysInStrings) {
  const std::string hostile = "</script><script>alert(1)</script><!--\u2028\xff\"'&";
  InputInfo info;
  info.path = info.codec = hostile;
  info.warnings = {hostile};
  InputEnd end;
  end.errors = {{1, 0.5, hostile}};
  end.warnings = {hostile};
  const Profile profile = loadProfile("default");
  Judge judge(profile, info);
  HtmlReport report(folder / "page.html", hostile, ALL_INDICATORS);
  for (int i = 0; i < 3; ++i) {
    const FrameRecord record{.frame = i, .time = i / 25.0, .values = {}};
    judge.add(record);
    report.add(record);
  }
  const Settings settings{
      .version = "1", .source = hostile, .start = {}, .duration = {}, .frames = {}};
  report.finish(resultText(info, {}, settings, profile, end, judge.finish(end), {}), "", nullptr);
  const std::string text = readFile(folder / "page.html");
  EXPECT_EQ(text.find("alert(1)</script>"), std::string::npos);
  EXPECT_EQ(text.find("\u2028"), std::string::npos);
  const auto count = [](std::string_view in, std::string_view what) {
    int found = 0;
    for (std::size_t at = in.find(what); at != std::string_view::npos; at = in.find(what, at + 1))
      ++found;
    return found;
  };
  EXPECT_EQ(count(text, "<"), count(REPORT_PAGE, "<") - 1 + 2 * 4); // the marker; four scripts
  const std::string read = "</script><script>alert(1)</script><!--\u2028\ufffd\"'&";
  const auto data = dataOf(folder / "page.html");
  EXPECT_EQ(data.at("row").at("name"), read);
  EXPECT_EQ(data.at("result").at("input").at("path"), read);
  EXPECT_EQ(data.at("result").at("decode_errors")[0].at("message"), read);
}

} // namespace
} // namespace lumagauge::qc
