// SPDX-License-Identifier: BSD-2-Clause
//
// Results under faults of the system, interruption and other runs: whole, or said to be missing.
#include "qc/report/digest.h"
#include "qc/report/page.h"
#include "tests/support/command.h"

#include <nlohmann/json.hpp>

#include <map>

namespace lumagauge::qc {
namespace {

using namespace test;
namespace fs = std::filesystem;

class Output : public CommandTest {
protected:
  static constexpr const char *RAW = " --raw --size 16x16 --quiet ";

  Output() {
    for (const char *name : {"a", "b"})
      writeFile(folder / name, std::string(20 * 384, *name));
  }
  std::map<std::string, std::string> results() const {
    std::map<std::string, std::string> files;
    for (const auto &entry : fs::directory_iterator(folder / "out"))
      files[entry.path().filename()] = readFile(entry.path());
    return files;
  }
  nlohmann::json document(const std::string &name) const {
    return nlohmann::json::parse(readFile(folder / "out" / (name + ".json")));
  }
};

TEST_F(Output, NoFaultOfTheSystemLeavesHalfAResult) {
  const std::string batch =
      RAW + std::string("-o out --recursive a") + (hasPages() ? " --html" : "");
  ASSERT_EQ(call(batch).status, 0);
  const auto whole = results();
  ASSERT_EQ(whole.size(), hasPages() ? 5U : 3U);
  EXPECT_EQ(shell("sha256sum out/a.csv").output.substr(0, 64), document("a")["csv"]["sha256"]);
  for (const std::string earlier : {"", "LUMAGAUGE_NAMED_FILES=1 "}) {
    int call = 1;
    for (;; ++call) {
      SCOPED_TRACE(earlier + std::to_string(call));
      fs::remove_all(folder / "out");
      if (!earlier.empty()) {
        ASSERT_EQ(shell(PROGRAM " --indicators blur" + batch).status, 0);
      }
      const Outcome run = shell(earlier + "LUMAGAUGE_FAIL_OUTPUT=" + std::to_string(call) +
                                " " QC_WITH_FAULTS + batch);
      if (run.status == 0)
        break;
      EXPECT_EQ(run.status, 2);
      EXPECT_NE(run.errors.find("Input/output error"), std::string::npos) << run.errors;
      const auto left = results();
      for (const auto &[name, content] : left)
        EXPECT_TRUE(whole.contains(name) || name == "a.failure") << name;
      if (left.contains("a.json")) {
        EXPECT_EQ(document("a")["csv"]["sha256"], digestOf(folder / "out/a.csv")->sha256);
      }
      ASSERT_EQ(shell(PROGRAM " --resume" + batch).status, 0);
      EXPECT_EQ(results(), whole);
    }
    EXPECT_EQ(results(), whole);
    EXPECT_GT(call, 15); // all kinds of calls were among those that failed
  }
}

// The threads of a decoder carry its state from one to the next, also as it ends: of a copy that
// lacked memory libavcodec aborts the process where it is copied or freed once more.
TEST_F(Output, LackOfMemoryWithinLibavIsAMessageOrChangesNothing) {
  if (INSTRUMENTED)
    GTEST_SKIP() << "sanitizers take memory in their own way";
  const std::string run = " --quiet --threads 1 --decode-threads 4 -o out a.mp4";
  ASSERT_EQ(shell("ffmpeg -v error -f lavfi -i testsrc2=size=64x64 -frames:v 10 "
                  "-c:v libx264 -pix_fmt yuv420p a.mp4")
                .status,
            0);
  ASSERT_EQ(call(run).status, 0);
  const std::string whole = readFile(folder / "out/a.mp4.csv");
  ASSERT_FALSE(whole.empty());
  int failed = 0;
  for (int number = 1; number < 2100; number += 29) { // one place takes memory 34 times in a row
    SCOPED_TRACE(number);
    fs::remove_all(folder / "out");
    const Outcome answer =
        shell("LUMAGAUGE_FAIL_LIBAV=" + std::to_string(number) + " " QC_WITH_FAULTS + run);
    ASSERT_TRUE(answer.status == 0 || answer.status == 2) << answer.status << answer.errors;
    failed += answer.status == 2;
    if (answer.status == 2) {
      EXPECT_TRUE(fs::exists(folder / "out/a.mp4.failure"));
    } else if (readFile(folder / "out/a.mp4.csv") != whole) {
      EXPECT_NE(answer.output.find(" missing ("), std::string::npos) << answer.output;
    }
  }
  EXPECT_GT(failed, 10);
}

TEST_F(Output, OneThatFailsLeavesTheOthers) {
  const struct {
    std::string before, after, message;
  } cases[] = {{"mkdir -p out/a.csv; " PROGRAM, "", "out/a.csv: cannot be written: Is a directory"},
               {"LUMAGAUGE_FAIL_THREAD=1 " QC_WITH_FAULTS, "", "--threads"},
               {PROGRAM, " > /dev/full", "standard output cannot be written"},
               {PROGRAM, " >&-", "standard output cannot be written"}};
  for (const auto &[before, after, message] : cases) {
    SCOPED_TRACE(message);
    const Outcome run = shell(before + RAW + "-o out a b" + after);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE((run.errors + run.output).find(message), std::string::npos) << run.errors;
    EXPECT_EQ(document("b")["exit_status"], 0);
    EXPECT_EQ(csv("out/summary.csv").size(), 3U);
    if (after.empty()) {
      EXPECT_NE(run.output.find(", 1 unmeasured"), std::string::npos);
    }
    fs::remove_all(folder / "out");
  }
}

TEST_F(Output, InterruptedRunsEndWithTheirAnswer) {
  const std::string endless = "{ yes aaa & } >", some = "{ cat a; exec sleep 9; } >",
                    nothing = "{ exec sleep 9; } >";
  const struct {
    std::string signal, input;
    int status, frames; ///< at least
  } cases[] = {{"KILL", endless, 137, 0},
               {"TERM", endless, 143, 20},
               {"INT", some, 130, 20},
               {"INT", nothing, 130, 0}};
  for (const auto &[signal, input, status, frames] : cases) {
    SCOPED_TRACE(signal + input);
    const Outcome run =
        shell("rm -rf out p; mkfifo p; " + input + " p & timeout --preserve-status -k 5 -s " +
              signal + " 2 " PROGRAM + RAW + "-o out - b < p; status=$?; kill $!; exit $status");
    EXPECT_EQ(run.status, status) << run.errors;
    for (const char *name : {"out/stdin.csv", "out/stdin.json", "out/summary.csv"})
      EXPECT_EQ(fs::exists(folder / name), signal != "KILL") << name;
    if (signal == "KILL")
      continue;
    const auto result = document("stdin");
    EXPECT_EQ(result["interrupted"], true);
    EXPECT_GE(result["measured"]["frames"], frames);
    EXPECT_TRUE(result["decode_errors"].empty());
    EXPECT_EQ(csv("out/stdin.csv").size() - 1, result["measured"]["frames"]);
    EXPECT_EQ(csv("out/summary.csv").at(1).at(1), "unmeasured");
    EXPECT_NE(run.output.find("  interrupted after "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("; interrupted, 1 more not begun"), std::string::npos);
  }
  for (const std::string waiting : {"p", "--files-from p", "--profile p a"}) {
    const Outcome run = shell(
        "rm -f p; mkfifo p && timeout --preserve-status -k 5 -s INT 2 " PROGRAM " " + waiting);
    EXPECT_GE(run.status, 2) << waiting;
    EXPECT_NE(run.errors.find(": p: it is a pipe"), std::string::npos) << run.errors;
  }
}

TEST_F(Output, OnlyALaterSignalInsists) {
  // Its output waits for a reader, so that it cannot end by itself.
  const Outcome run = shell("mkfifo p; sleep 9 < p & reader=$!; "
                            "( head -c 65536 /dev/zero; exec " PROGRAM +
                            std::string(RAW) +
                            "a b > p 2>/dev/null ) > p & qc=$!; sleep 2; "
                            "kill $qc; kill $qc; sleep 0.3; kill -0 $qc || exit 1; "
                            "kill -INT $qc; wait $qc; status=$?; kill $reader; exit $status");
  EXPECT_EQ(run.status, 130) << run.errors;
}

TEST_F(Output, RunsIntoOneFolderKeepEachOthersRows) {
  fs::rename(folder / "b", folder / "b\xff\\");
  ASSERT_EQ(shell("for name in a b*; do " PROGRAM + (RAW + std::string("-o out --recursive ")) +
                  "\"$name\" || exit & done; wait; " PROGRAM + RAW + "-o out --recursive a nowhere")
                .status,
            2);
  auto inputs = column("out/summary.csv", 0);
  EXPECT_EQ(inputs, (std::vector<std::string>{"a", "nowhere", "b\\xff\\\\"}));
}

TEST_F(Output, ListsNameEachInputOnce) {
  writeFile(folder / "list", "\nb\n\na\nb");
  EXPECT_EQ(call(RAW + std::string("-o out --files-from list a")).status, 0);
  EXPECT_EQ(column("out/summary.csv", 0), (std::vector<std::string>{"a", "b"}));
  for (const char *list : {"/dev/null", "- < /dev/null", "- < lines"}) {
    writeFile(folder / "lines", "\n\n");
    const Outcome run = call(std::string("a --files-from ") + list + RAW);
    EXPECT_EQ(run.status, 2) << list;
    EXPECT_NE(run.errors.find("--allow-empty"), std::string::npos) << run.errors;
    EXPECT_EQ(call(std::string("--allow-empty --files-from ") + list + RAW).status, 0) << list;
  }
}

} // namespace
} // namespace lumagauge::qc
