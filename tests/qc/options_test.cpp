// SPDX-License-Identifier: BSD-2-Clause
//
// What options mean, and that none is passed over in silence.
#include "qc/durations.h"
#include "qc/options.h"
#include "qc/report/page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>

namespace lumagauge::qc {
namespace {

/// What is said of the words of a command line; empty where they are understood.
std::string refusal(const std::string &line) {
  std::istringstream words("lumagauge-qc " + line);
  const std::vector<std::string> list{std::istream_iterator<std::string>(words), {}};
  std::vector<const char *> arguments;
  for (const std::string &word : list)
    arguments.push_back(word.c_str());
  std::ostringstream out, errors;
  const auto parsed =
      parseOptions(static_cast<int>(arguments.size()), arguments.data(), out, errors);
  return std::holds_alternative<Options>(parsed) ? "" : errors.str() + "?";
}

TEST(Options, DurationsHaveOneGrammar) {
  const struct {
    const char *text;
    std::optional<double> seconds;
  } cases[] = {{"90", 90},         {"90s", 90},
               {"1.5m", 90},       {"2h", 7200},
               {"1d", 86400},      {"1:30", 90},
               {"0:01:30", 90},    {"1:02:03.5", 3723.5},
               {"0", 0},           {"90:00", 5400},
               {"12.5", 12.5},     {".5", 0.5},
               {"", {}},           {"s", {}},
               {".", {}},          {"90x", {}},
               {"90ms", {}},       {"1:60", {}},
               {"1:60:00", {}},    {"1.5:00", {}},
               {"1:2:3:4", {}},    {"1:30m", {}},
               {":30", {}},        {"1:", {}},
               {"-1", {}},         {"+1", {}},
               {"1e3", {}},        {"0x10", {}},
               {"inf", {}},        {"nan", {}},
               {" 1", {}},         {"1 m", {}},
               {"9999999999", {}}, {"99999999:00:00", {}},
               {"99999d", {}}};
  for (const auto &[text, seconds] : cases)
    EXPECT_EQ(parseDuration(text), seconds) << text;
  for (const char *text : {"250f", "0f"})
    EXPECT_TRUE(std::holds_alternative<Frames>(parseExtent(text).value())) << text;
  for (const char *text : {"f", "-1f", "1.5f", "99999999999999999999f"})
    EXPECT_FALSE(parseExtent(text)) << text;
  EXPECT_EQ(parseRotation("1:30")->seconds, 90);
  EXPECT_EQ(parseRotation("1.5MB")->bytes, 1'500'000);
  for (const char *text : {"0", "0MB", "5mb", "-1MB", "1PB", "1f"})
    EXPECT_FALSE(parseRotation(text)) << text;
  // One text says what is expected, whichever option it is.
  for (const char *line :
       {"--start x a", "--duration 1:99 a", "--timeout 0 a", "--plan p --parts 2 --split 0:00 a",
        "--live --window 0 a", "--live --window 2d a", "--live -o d --rotate 5mb a"}) {
    const std::string said = refusal(line);
    EXPECT_NE(said.find(DURATION_FORMS), std::string::npos) << line << ": " << said;
    EXPECT_NE(said.find(": expected a duration"), std::string::npos) << line << ": " << said;
  }
}

TEST(Options, NoneIsPassedOverInSilence) {
  // All that could be meant for the results or their place.
  const std::vector<std::string> all = {"--recursive",
                                        "--files-from list",
                                        "--stream 0",
                                        "--start 1",
                                        "--duration 1",
                                        "--frames 1",
                                        "--stream-times",
                                        "--fps 25",
                                        "--raw --size 8x8",
                                        "--indicators blur",
                                        "--profile default",
                                        "-o d",
                                        "-o d --resume",
                                        "--no-frames",
                                        "--range 0:9",
                                        "--no-seek",
                                        "-o d --join",
                                        "--plan p --parts 2",
                                        "--plan p --parts 2 --probe",
                                        "--plan p --parts 2 --split 9",
                                        "--from-plan p --part 1 -o d",
                                        "--collect d",
                                        "--collect d --plan p",
                                        "--collect d --library-frames",
                                        "--live",
                                        "--live --window 9",
                                        "-o d --html",
                                        "--html-from r.json --html r.html"};
  using Names = std::set<std::string>;
  const struct {
    std::string mode, input;
    Names uses;
  } cases[] = {
      {"--live",
       "a",
       {"--stream 0", "--fps 25", "--raw --size 8x8", "--indicators blur", "--profile default",
        "-o d", "--no-frames", "--live --window 9"}},
      {"-o d --join", "a", {"--profile default", "--no-frames"}},
      {"--collect d",
       "",
       {"--profile default", "--collect d --plan p", "--collect d --library-frames"}},
      {"--plan p --parts 2",
       "a",
       {"--recursive", "--files-from list", "--stream 0", "--fps 25", "--raw --size 8x8",
        "--plan p --parts 2 --probe", "--plan p --parts 2 --split 9"}},
      {"--from-plan p --part 1 -o d",
       "",
       {"--stream 0", "--stream-times", "--fps 25", "--raw --size 8x8", "--indicators blur",
        "--profile default", "-o d --resume", "--no-frames", "--no-seek", "-o d --html"}},
      {"--html-from r.json --html r.html", "", {"--stream 0", "--fps 25", "--raw --size 8x8"}},
      {"--range 0:9",
       "a",
       {"--recursive", "--files-from list", "--stream 0", "--stream-times", "--fps 25",
        "--raw --size 8x8", "--indicators blur", "--profile default", "-o d", "-o d --resume",
        "--no-frames", "--no-seek"}}};
  for (const auto &[mode, input, uses] : cases) {
    if (mode.find("html") != std::string::npos && !hasPages())
      continue;
    EXPECT_EQ(refusal(mode + ' ' + input), "") << mode;
    for (const std::string &option : all) {
      if (mode.find(option) != std::string::npos || (!hasPages() && option.ends_with("--html")))
        continue;
      // Words of the mode are not given twice.
      std::string added;
      std::istringstream words(option);
      for (std::string word; words >> word;)
        if ((' ' + mode + ' ').find(' ' + word + ' ') == std::string::npos)
          added += word + ' ';
      const std::string said = refusal(mode + ' ' + added + input);
      EXPECT_EQ(said.empty(), uses.contains(option)) << mode << " with " << added << ": " << said;
    }
  }
}

} // namespace
} // namespace lumagauge::qc
