// SPDX-License-Identifier: BSD-2-Clause
//
// The `lumagauge` command through its executable: reports to the byte, and every way a run can
// fail.
#include "tests/support/clip.h"
#include "tests/support/command.h"

#include <gmock/gmock.h>

namespace lumagauge::test {
namespace {

class Command : public CommandTest {
protected:
  Command() { writeClip(folder / "clip.yuv"); }
  std::string resultsFile() { return readFile(folder / "metricsResultsCSV.csv"); }
};

TEST_F(Command, ReportsToTheByte) {
  const struct {
    const char *name; ///< of the files in golden/
    const char *arguments;
    const char *environment = "";
  } cases[] = {
      {"all", "clip.yuv 272 264"},
      {"all", "clip.yuv 272x 264.9 0xFFFFFFFF 25 12 0 surplus"},
      {"all", "clip.yuv 272 264", "LUMAGAUGE_FAIL_THREADS=1 "},
      {"some", "clip.yuv 272 264 012501 12.5 4 3"},
      {"freezing_alone", "clip.yuv 272 264 0x100 25 2"},
      {"past_the_end", "clip.yuv 272 264 0x6C2 25 4 10"},
  };
  for (const auto &[name, arguments, environment] : cases) {
    SCOPED_TRACE(std::string(environment) + arguments);
    const std::string program = *environment == 0 ? PROGRAM : LUMAGAUGE_WITH_FAULTS;
    const Outcome outcome = shell(environment + program + " " + arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    const std::string golden = std::string(GOLDEN) + "/" + name;
    if (std::getenv("LUMAGAUGE_WRITE_GOLDEN") != nullptr) { // to be read before it is committed
      std::ofstream(golden + ".console.txt") << withoutNanSigns(outcome.output);
      std::ofstream(golden + ".csv") << withoutNanSigns(resultsFile());
    }
    EXPECT_EQ(withoutNanSigns(outcome.output), readFile(golden + ".console.txt"));
    EXPECT_EQ(withoutNanSigns(resultsFile()), readFile(golden + ".csv"));
  }
}

TEST_F(Command, CountsWholeFramesAndShowsShortReads) {
  writeClip(folder / "short.yuv", 5 * FRAME_SIZE / 2);
  EXPECT_NE(call("short.yuv 272 264").output.find("Number of Frames = 2, Start Frame = 0\n\n"),
            std::string::npos);
  // Frame 1 is only half there: with nothing read before it, the rest is black (0).
  const std::string half = call("short.yuv 272 264 0x400 25 1 2").output;
  writeFile(folder / "padded.yuv",
            readFile(folder / "short.yuv") + std::string(2 * FRAME_SIZE, '\0'));
  const std::string padded = call("padded.yuv 272 264 0x400 25 1 2").output;
  EXPECT_EQ(half.substr(half.find("Frame: ")), padded.substr(padded.find("Frame: ")));
}

TEST_F(Command, FailsWithAMessage) {
  std::filesystem::create_directory(folder / "a_folder");
  // What the cases run: $L is the command, $F the command with faults.
  const std::string commands =
      "L=" PROGRAM "; F=" LUMAGAUGE_WITH_FAULTS "; results=metricsResultsCSV.csv\n"
      "without_results() { rm -f $results; mkdir $results; $L $*; set $?; rmdir $results; "
      "return $1; }\n"
      "black() { head -c 4000 /dev/zero >black.yuv; $L black.yuv 16 16 $*; }\n"
      "one() { $L clip.yuv 272 264 1 25 1; }\n";
  const std::string headers = "Video .*Flickering:\n", noFrame = headers + "\nFile .*closed\n\n#",
                    noVideo = "#Error opening file.\n\n: No such file or directory\n",
                    noSize = "#lumagauge: unusable picture size: .* at least 1 .* at most "
                             "2147483647; .*\n",
                    noSeek = "#lumagauge: cannot seek to ",
                    noMemory = "#lumagauge: not enough memory .*272 x 264.*\n",
                    resultsLost = "lumagauge: metricsResultsCSV.csv could not be ",
                    outputLost = "lumagauge: standard output could not be written: ",
                    fromTheStart = "\\. What .* from its first line on .*\n";
  const struct {
    const char *line;
    int status;
    std::string expected; ///< extended regular expression: output # errors
  } cases[] = {
      {"$L clip.yuv 272", 255,
       "Not enough parameters\n\nUsage: .*lumagauge nameOfTheMovie.yuv WIDTH HEIGHT "
       "\\[RequestedVQIs\\] \\[FPS\\] \\[NumberOfFrames\\] \\[startFrame\\],\n"
       "where parameters in square brackets are optional.\n\n#"},
      // A missing video counts before an unusable size, and leaves no results of an earlier run.
      {"echo old >$results; $L missing.yuv 0 0; set $?; cat $results; (exit $1)", 255, noVideo},
      {"without_results missing.yuv 0 0", 255, noVideo},
      {"without_results clip.yuv 272 264 1 25 1", 0,
       headers + "\n\n Could not create a log file\n\n00000.*closed\n\n#" + resultsLost +
           "opened: Is a directory\\..*\n"},
      // What was taken of a failed write is not lost: 163 bytes of header and rows of 127.
      {"trap '' XFSZ; prlimit --fsize=1024 $L clip.yuv 272 264 1 | wc -l; tail -n 1 $results", 0,
       "20\n00006 .*#" + resultsLost + "written: File too large\\. What .* from frame 6 on .*\n"},
      {"one >>/dev/full", 0, "#" + outputLost + "No space left on device" + fromTheStart},
      {"LUMAGAUGE_FAIL_CLOSE=1 $F clip.yuv 272 264 1 25 0 >/dev/null", 0,
       "#" + resultsLost + "written: Disk quota exceeded" + fromTheStart + outputLost + ".*"},
      // What is printed lands in no file that is opened later.
      {"one >/dev/null; mv $results whole; one <&- >&-; cmp whole $results", 0,
       "#" + outputLost + "Bad file descriptor" + fromTheStart},
      {"one >&- 2>&-; cmp whole $results", 0, "#"},
      {"truncate -s 2200M sparse.yuv; $L sparse.yuv 272 264 1 25 1 30000", 0, // beyond 2^31 bytes
       "Video .*closed\n\n#"},
      // Exposure is cut, a black picture is not frozen, the rate counts.
      {"head -c 384 /dev/zero | tr '\\0' d >flat.yuv; $L flat.yuv 16 16 0x200", 0,
       "Video .*00000 .*\t120    \t\t0.00000 .*closed\n\n#"},
      {"black 0x1c0 10 3", 0, "Video .*00002 [^\n]*0.00000 \t1 \t\t0 .*closed\n\n#"},
      {"black 0x140 50 5", 0, "Video .*00004 [^\n]*0.00000 \t0 \t\t0 .*closed\n\n#"},
      {"$L clip.yuv x 264", 255, noSize},
      {"$L clip.yuv 272 -264", 255, noSize},
      {"$L clip.yuv 26755 26755", 255, noSize},
      {"$L clip.yuv 4294967296 264", 255, noSize}, // 2^32
      {"cat clip.yuv | $L /dev/stdin 272 264", 255,
       noSeek + "the end of /dev/stdin: .* a pipe cannot be sought\\.\n"},
      {"cat clip.yuv | $L /dev/stdin 272 264 1 25 3", 255,
       headers + noSeek + "frame 0 of /dev/stdin: .*\n"},
      {"$L clip.yuv 272 264 1 25 3 -1", 255,
       headers + noSeek + "frame -1 of clip.yuv: Invalid argument\\..*\n"},
      {"$L clip.yuv 272 264 1 25 0 -1", 0, noFrame},
      {"$L clip.yuv 272 264 1 25 2147483647 5", 0, noFrame}, // ends beyond 31 bits
      {"$L a_folder 272 264 1 25 3", 255,
       headers + "Some error occurred when reading the 0 frame\nByte read = 0, "
                 "Frame size = 71808\n\nError code: 21 \nError description: Is a directory \n#"},
      // No memory for the run, in an indicator's thread, on the main thread.
      {"LUMAGAUGE_FAIL_MEMORY=3 $F clip.yuv 272 264", 255, noMemory},
      {"LUMAGAUGE_FAIL_MEMORY=5 $F clip.yuv 272 264 0xFFF", 255, headers + noMemory},
      {"LUMAGAUGE_FAIL_MEMORY=5 $F clip.yuv 272 264 0x4000", 255,
       headers + "00000 .*\n" + noMemory},
  };
  for (const auto &[line, status, expected] : cases) {
    SCOPED_TRACE(line);
    const Outcome outcome = shell(commands + line);
    EXPECT_EQ(outcome.status, status);
    EXPECT_THAT(outcome.output + '#' + outcome.errors, testing::MatchesRegex(expected));
  }
}

TEST_F(Command, LacksMemoryAsTheSystemGivesIt) {
  if (INSTRUMENTED)
    GTEST_SKIP() << "the address space of an instrumented build cannot be limited";
  // Threads leave the address space to what they measure: small stacks, no heaps of their own.
  const Outcome spare = shell(
      "L=" PROGRAM "; truncate -s 13M zero.yuv; mkfifo rows; (ulimit -v 36000; $L zero.yuv 3840 "
      "2160) || exit 1; $L clip.yuv 272 264 32767 25 900 >rows &\n"
      "{ head -c 30000 >/dev/null; awk '/VmPeak/ {exit $2 > 40000}' /proc/$!/status; } <rows");
  EXPECT_EQ(spare.status, 0) << spare.errors;
  const Outcome outcome = shell("ulimit -v 400000; " PROGRAM " clip.yuv 26000 26000 1 25 1");
  EXPECT_EQ(outcome.status, 255);
  EXPECT_NE(outcome.errors.find("not enough memory"), std::string::npos) << outcome.errors;
}

} // namespace
} // namespace lumagauge::test
