// SPDX-License-Identifier: BSD-2-Clause
//
// The reports: spelling, schema, file names, atomic files, resuming, progress.
#include "qc/judge/judge.h"
#include "qc/report/console.h"
#include "qc/report/progress.h"
#include "qc/report/result_files.h"
#include "qc/source/open_source.h"
#include "tests/support/command.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace lumagauge::qc {
namespace {

using namespace test;

namespace fs = std::filesystem;
using I = Indicator;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

std::vector<FrameRecord> sampleRecords() {
  std::vector<FrameRecord> records(2);
  records[0].pictureType = 'I';
  records[0][I::blockiness] = 0.1;
  records[0][I::noise] = NOT_A_NUMBER;
  records[1].frame = 1;
  records[1].time = 1.0 / 30;
  records[1][I::blockiness] = 1.0 / 3;
  records[1][I::slice] = INFINITE;
  records[1][I::blur] = 25;
  records[1][I::exposure] = -INFINITE;
  return records;
}

class ReportTest : public CommandTest {
protected:
  /// Writes the CSV and JSON of the sample records, as measuring `input` would.
  void writeResult(const std::string &input, const std::string &name, bool withFrames = true) {
    info.path = input;
    info.range = "limited";
    info.rateOrigin = "stated";
    ResultFiles files({folder, name}, info, identityOf(input), settings, profile, withFrames);
    Judge judge(profile, info);
    for (const FrameRecord &record : sampleRecords()) {
      files.add(record);
      judge.add(record);
    }
    InputEnd end;
    end.errors = {{1, 0.5, "bad \xff byte"}};
    judgement = judge.finish(end);
    files.finish(end, judgement);
  }
  InputInfo info;
  Settings settings{.version = "1.2.3", .source = {}, .start = "1.5", .duration = {}, .frames = {}};
  Profile profile = loadProfile("broadcast");
  Judgement judgement;
};

TEST_F(ReportTest, CsvSpellsWhatPandasAndRRead) {
  writeResult("clip", "clip");
  // Columns never change; later ones come behind them.
  const char *expected =
      "frame,time,picture_type,blockiness,spatial_activity,letterbox,pillarbox,block_loss,blur,"
      "temporal_activity,blackout,freezing,exposure,contrast,interlace,noise,slice,flickering"
      "[a-z_,]*\r\n"
      "0,0,I,0.1,,,,,,,,,,,,NaN,,,*0\r\n"
      "1,0.03333333333333333,,0.3333333333333333,,,,,25,,,,-Inf,,,,Inf,,*0\r\n";
  EXPECT_THAT(readFile(folder / "clip.csv"), testing::MatchesRegex(expected));
}

TEST_F(ReportTest, JsonFollowsItsSchema) {
  const std::string validate =
      "python3 -m jsonschema -i clip.json " PROJECT_FOLDER "/docs/lumagauge-1.schema.json";
  for (const bool withFrames : {true, false}) {
    writeResult("odd\n\"\x80\xffname", "clip", withFrames);
    const Outcome checked = shell(validate);
    EXPECT_EQ(checked.status, 0) << checked.errors;
    const nlohmann::json document = nlohmann::json::parse(readFile(folder / "clip.json"));
    EXPECT_EQ(document["input"]["path"], "odd\n\"\uFFFD\uFFFDname");
    EXPECT_EQ(document["summary"]["slice"]["max"], "Infinity");
    EXPECT_EQ(document["events"][0]["kind"], "concealed");
    EXPECT_EQ(document["verdict"], "fail");
    EXPECT_EQ(document["exit_status"], 1);
    EXPECT_EQ(document.contains("frames"), withFrames);
    if (!withFrames)
      continue;
    EXPECT_EQ(document["frames"][0]["noise"], "NaN");
    EXPECT_EQ(document["frames"][1]["exposure"], "-Infinity");
    EXPECT_TRUE(document["frames"][1]["noise"].is_null());
    EXPECT_TRUE(document["frames"][1]["picture_type"].is_null());
    EXPECT_EQ(document["frames"][1]["blockiness"], 1.0 / 3);
  }
  writeFile(folder / "clip.json", R"({"schema": "lumagauge/1"})");
  EXPECT_NE(shell(validate).status, 0);
}

TEST(OutputNames, KeepInputsOfOneNameApart) {
  const std::vector<std::string> names = outputNames(
      {"a/x.mp4", "b/x.mp4", "b/y.mp4", "-", "summary", "a/x.mp4", "b/" + std::string(250, 'n')});
  EXPECT_EQ(names[0].substr(0, 6), "x.mp4-");
  EXPECT_NE(names[0], names[1]);
  EXPECT_EQ(names[0], names[5]);
  EXPECT_EQ(names[2], "y.mp4");
  EXPECT_EQ(names[3], "stdin");
  EXPECT_NE(names[4], "summary"); // the batch's summary.csv
  EXPECT_LT(names[6].size(), 230U);
  EXPECT_EQ(outputNames({"b/x.mp4", "./a/x.mp4"})[1], names[0]);
}

TEST_F(ReportTest, ResumeTakesOnlyACompleteResultOfTheSameFileAndQuestion) {
  const std::string input = folder / "clip";
  writeFile(input, "video");
  fs::last_write_time(input, fs::last_write_time(input) - std::chrono::hours(1));
  writeResult(input, "clip");
  const auto resumed = [&] {
    return readCompleteResult({folder, "clip"}, input, settings, profile);
  };
  EXPECT_FALSE(readCompleteResult({folder, "other"}, input, settings, profile));
  ASSERT_TRUE(resumed());
  EXPECT_EQ(resumed()->verdict, Verdict::fail);
  EXPECT_EQ(resumed()->broken, std::vector<std::string>{"concealed"});
  EXPECT_EQ(resumed()->frames, judgement.frames);
  EXPECT_EQ(resumed()->duration, judgement.duration);
  EXPECT_EQ(resumed()->means, batchRow(input, judgement).means);
  EXPECT_EQ(resumed()->rules, profile.rules.size());
  EXPECT_EQ(resumed()->notJudged, batchRow(input, judgement).notJudged);

  // Another file of the same size, with a time from before the result; and the same file again.
  const auto modified = fs::last_write_time(input);
  for (const std::string content : {"other", "video"}) {
    writeFile(input, content);
    fs::last_write_time(input, modified);
    EXPECT_EQ(resumed().has_value(), content == "video");
  }
  const std::string rows = readFile(folder / "clip.csv");
  for (const std::string &other : {std::string(), "F" + rows.substr(1), rows}) {
    writeFile(folder / "clip.csv", other);
    EXPECT_EQ(resumed().has_value(), other == rows);
  }
  settings.threads = 7; // the same values
  EXPECT_TRUE(resumed());
  settings.start = "2";
  EXPECT_FALSE(resumed());
  settings.start = "1.5";
  profile.rules[0].minDuration = 1;
  EXPECT_FALSE(resumed());
  profile = loadProfile("broadcast");
  const std::string document = readFile(folder / "clip.json");
  std::string unsure = document;
  unsure.replace(unsure.find("\"verdict\": \"fail\""), 17, "\"verdict\": \"unmeasured\"");
  for (const std::string &other : {document.substr(0, document.size() / 2), unsure}) {
    writeFile(folder / "clip.json", other);
    EXPECT_FALSE(resumed());
  }
  writeFile(folder / "clip.json", document);
  EXPECT_TRUE(resumed());
  fs::remove(folder / "clip.csv");
  EXPECT_FALSE(resumed());
}

TEST_F(ReportTest, TheSummaryHoldsARowAResultWhateverItsName) {
  BatchRow row{"a,\"b\"\n",       "n", Verdict::fail, {}, 2, 0.5, 3, 9, {"black", "frozen"},
               {"flat", "noisy"}, {},  false};
  row.means[0] = NOT_A_NUMBER;
  for (const std::string path : {"a,\"b\"\n", "c", "\u00e9\xe9\\ \xc0\x80 \xed\xa0\x80"}) {
    row.path = path;
    row.name = path.front() == 'a' ? "m\"" : "n"; // the third replaces the second
    writeSummary(folder, {row});
  }
  const std::string rest = ",flat;noisy,NaN" + std::string(INDICATOR_COUNT - 1, ',') + "\r\n";
  const std::string counts = ",fail,1,2,0.5,3,black;frozen,,",
                    rows = readFile(folder / "summary.csv");
  EXPECT_EQ(rows.substr(rows.find('\n') + 1), "\u00e9\\xe9\\\\ \\xc0\\x80 \\xed\\xa0\\x80" +
                                                  counts + "n" + rest + "\"a,\"\"b\"\"\n\"" +
                                                  counts + "\"m\"\"\"" + rest);
  std::ostringstream table;
  row.path = "a,\"b\"\n";
  printBatchTable(table, {row, batchRow("gone", unmeasured("no such file"))});
  EXPECT_NE(table.str().find("a,\"b\"\\x0a"), std::string::npos);
  EXPECT_NE(table.str().find("2 inputs: 0 pass, 0 warn, 1 fail, 1 unmeasured"), std::string::npos);
}

TEST_F(ReportTest, TheVerdictIsOneLine) {
  writeResult("c\nlip", "clip");
  std::ostringstream quiet, whole;
  printReport(quiet, info, {}, judgement, true);
  EXPECT_EQ(quiet.str(), "verdict: fail  c\\x0alip  fail concealed (1 event, none allowed)\n");
  printReport(whole, info, {}, judgement, false);
  EXPECT_NE(whole.str().find("concealed     0:00:00.033 - 0:00:00.073"), std::string::npos);
  EXPECT_NE(whole.str().find("\nverdict: fail"), std::string::npos);
}

TEST(Console, NamesPlacesAndRulesThatWereLeftOut) {
  Judgement found;
  found.firstFrame = 5;
  found.frames = 10;
  for (const std::int64_t frame : {0, 7, 15})
    found.events.push_back(
        {.kind = "missing", .startFrame = frame, .endFrame = frame, .frames = 2, .worst = {}});
  found.rules = 5;
  found.notJudged = {{"black", "a"}, {"noisy", "b"}, {"flat", "a"}};
  std::ostringstream whole;
  InputInfo info;
  info.path = "clip";
  printReport(whole, info, {}, found, false);
  for (const char *text : {" at the start, 2 frames\n", " before frame 7, 2 frames\n",
                           " after the last frame, 2 frames\n",
                           "not judged: black, flat (a)\n"
                           "not judged: noisy (b)\n",
                           "verdict: pass (2 of 5 rules judged)  clip\n"})
    EXPECT_NE(whole.str().find(text), std::string::npos) << text << whole.str();
  EXPECT_EQ(verdictText(Verdict::fail, 2, 5), "fail"); // whatever the others would say
  EXPECT_EQ(verdictText(Verdict::pass, 5, 5), "pass");
}

TEST(ProgressTest, ExpectsThePartThatIsAskedFor) {
  const struct {
    std::optional<Extent> start, duration;
    std::optional<std::int64_t> frames;
    double seconds, begin;
  } cases[] = {{{}, {}, 500, 10, 0},
               {Seconds{4}, {}, {}, 6, 4},
               {Frames{100}, Frames{50}, {}, 1, 2},
               {Seconds{9.5}, Seconds{3}, {}, 0.5, 9.5},
               {Seconds{11}, {}, {}, 0, 11}};
  for (const auto &[start, duration, frames, seconds, begin] : cases) {
    SourceOptions options;
    options.start = start;
    options.duration = duration;
    InputInfo info;
    info.rate = 50;
    info.frameCount = 500;
    info.duration = 10;
    const Window::Part part = Window(options).expected(info);
    EXPECT_EQ(std::tuple(part.frames, part.seconds, part.begin),
              std::tuple(frames, seconds, begin));
    info.duration.reset();
    EXPECT_EQ(Window(options).expected(info).seconds.has_value(), duration.has_value());
  }
}

TEST(ProgressTest, SaysWhatIsKnown) {
  using Optional = std::optional<double>;
  const auto line = [](ProgressMode mode, std::optional<std::int64_t> frames, Optional seconds) {
    std::ostringstream stream;
    {
      Progress progress(stream, mode, "clip", frames, seconds);
      progress.update({.frame = 49, .time = 2, .values = {}},
                      Progress::Clock::now() + std::chrono::seconds(4));
    }
    return stream.str();
  };
  EXPECT_EQ(line(ProgressMode::none, 100, {}), "");
  EXPECT_NE(line(ProgressMode::plain, 4, {}).find("clip   25 %  0."), std::string::npos);
  EXPECT_NE(line(ProgressMode::plain, {}, 8.0).find("25 %"), std::string::npos);
  EXPECT_NE(line(ProgressMode::plain, {}, 8.0).find("0:00:1"), std::string::npos); // 12 s left
  EXPECT_NE(line(ProgressMode::bar, 1, {}).find("100 %"), std::string::npos);
  EXPECT_EQ(line(ProgressMode::bar, 4, {}).substr(0, 12), "\rclip  [###.");
  const std::string unknown = line(ProgressMode::plain, {}, {});
  EXPECT_EQ(unknown.find('%'), std::string::npos);
  EXPECT_NE(unknown.find("clip  1 frames  0:00:02.000"), std::string::npos);
}

} // namespace
} // namespace lumagauge::qc
