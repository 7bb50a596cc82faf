// SPDX-License-Identifier: BSD-2-Clause
//
// `lumagauge`: measures a raw 8-bit 4:2:0 video and prints a row a frame. Arguments, frame loop.
#include "commands/standard_streams.h"
#include "indicators/frame_threads.h"
#include "indicators/report.h"
#include "indicators/routines.h"
#include "tools/working_picture.h"

#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

namespace lumagauge {

namespace {

constexpr int SUCCESS = 0;
constexpr int FAILURE = -1;
constexpr double DEFAULT_FPS = LUMAGAUGE_DEFAULT_RATE;

constexpr std::uint32_t TEMPORAL_ACTIVITY_BIT = LUMAGAUGE_BIT(LUMAGAUGE_TEMPORAL_ACTIVITY),
                        FREEZING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FREEZING),
                        FLICKERING_BIT = LUMAGAUGE_BIT(LUMAGAUGE_FLICKERING);

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct RunParameters {
  const char *path;
  std::int32_t width;
  std::int32_t height;
  std::uint32_t requested = 0xFFFFFFFF; ///< indicator mask
  double fps = DEFAULT_FPS;
  std::int32_t frames = 0;
  std::int32_t startFrame = 0;

  std::int32_t lumaSize() const { return width * height; }
  std::int32_t frameSize() const { return 3 * lumaSize() / 2; }
  /// S + N as 32-bit arithmetic wraps it.
  std::int32_t endFrame() const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(startFrame) +
                                     static_cast<std::uint32_t>(frames));
  }
};

std::int32_t parseInt32(const char *text) {
  return static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
}

void reportFailedSeek(const RunParameters &run, const char *where, int error) {
  std::fprintf(
      stderr,
      "lumagauge: cannot seek to %s of %s: %s. lumagauge reads regular files; a pipe cannot "
      "be sought.\n",
      where, run.path, std::strerror(error));
}

void reportLackOfMemory(const RunParameters &run) {
  std::fprintf(
      stderr,
      "lumagauge: not enough memory to measure pictures of %d x %d samples. Give the process "
      "more memory or request fewer indicators at once.\n",
      run.width, run.height);
}

/// Pictures of at least one sample whose frame size stays a 32-bit number.
bool isUsableSize(const RunParameters &run, char **argv) {
  const std::int64_t limit = std::numeric_limits<std::int32_t>::max();
  if (run.width > 0 && run.height > 0 && std::int64_t{run.width} * run.height <= limit / 3)
    return true;
  std::fprintf(
      stderr,
      "lumagauge: unusable picture size: WIDTH \"%s\" and HEIGHT \"%s\" were read as %d and %d. "
      "Both must be at least 1 and 3 * WIDTH * HEIGHT at most %lld; give the size of the luma "
      "plane in samples, for instance 1920 1080.\n",
      argv[2], argv[3], run.width, run.height, static_cast<long long>(limit));
  return false;
}

/// Fills in the arguments after the size. False after a message when the file cannot be measured.
bool parseOptionalArguments(int argc, char **argv, std::FILE *video, RunParameters &run) {
  if (argc > 4)
    run.requested = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 0));
  if (argc > 5)
    run.fps = std::strtod(argv[5], nullptr);
  if (argc > 7)
    run.startFrame = parseInt32(argv[7]);
  if (argc > 6) {
    run.frames = parseInt32(argv[6]);
    return true;
  }
  off_t size = -1;
  if (fseeko(video, 0, SEEK_END) != 0 || (size = ftello(video)) < 0) {
    reportFailedSeek(run, "the end", errno);
    return false;
  }
  run.frames = static_cast<std::int32_t>(std::int64_t{size} / run.frameSize());
  return true;
}

/// Reads the luma plane of a frame over what the buffer holds; a file that ends earlier leaves the
/// rest. False after a message when the frame cannot be sought or read.
bool readLuma(std::FILE *video, const RunParameters &run, std::int32_t frame, std::uint8_t *luma,
              ReportStream &console) {
  const off_t start = off_t{frame} * run.frameSize();
  if (fseeko(video, start, SEEK_SET) != 0) {
    const int error = errno;
    char where[32];
    std::snprintf(where, sizeof where, "frame %d", frame);
    reportFailedSeek(run, where, error);
    return false;
  }
  const std::size_t bytes = std::fread(luma, 1, static_cast<std::size_t>(run.lumaSize()), video);
  if (std::ferror(video) == 0)
    return true;
  const int error = errno;
  console.print(ReportStream::END,
                "Some error occurred when reading the %d frame\n"
                "Byte read = %d, Frame size = %d\n\n"
                "Error code: %d \nError description: %s \n",
                frame, static_cast<int>(bytes), run.lumaSize(), error, std::strerror(error));
  return false;
}

/// What lives for the whole run.
struct RunPictures {
  explicit RunPictures(const RunParameters &run)
      : flickerCounts(unsigned32(run.width) / BLOCKSIZE, unsigned32(run.height) / BLOCKSIZE),
        flickerStates(unsigned32(run.width) / BLOCKSIZE, unsigned32(run.height) / BLOCKSIZE),
        current(unsigned32(run.width), unsigned32(run.height)),
        previous(unsigned32(run.width), unsigned32(run.height)) {}

  static std::uint32_t unsigned32(std::int32_t size) { return static_cast<std::uint32_t>(size); }

  WorkingImage flickerCounts, flickerStates;
  WorkingImage current,
      previous; ///< zero until read, so that a short first read shows no chance data
};

/// The temporal values, kept until they are computed again.
struct TemporalValues {
  double activity = 0.0;
  std::uint8_t freezing = 0;
  double flickering = 0.0;
};

/// Measures `current` against `previous` while the frame's threads run.
void measureChange(const RunParameters &run, RunPictures &pictures, TemporalValues &values) {
  if ((run.requested & TEMPORAL_ACTIVITY_BIT) != 0)
    values.activity = temporalActivity(pictures.current, pictures.previous);
  if ((run.requested & FLICKERING_BIT) != 0)
    values.flickering = flickering(pictures.current, pictures.previous, pictures.flickerCounts,
                                   pictures.flickerStates);
}

/// Wants the blackout flag of this very frame, so it comes after its threads. Waiting for that one
/// thread alone would put the main thread to sleep while it has flickering to measure.
void judgeFreezing(const RunParameters &run, TemporalValues &values) {
  if ((run.requested & TEMPORAL_ACTIVITY_BIT) != 0 && (run.requested & FREEZING_BIT) != 0)
    values.freezing = freezing(Results.blackout, values.activity, run.fps);
}

/// Measures and reports the frames of the run. Throws std::bad_alloc when a measure lacked memory.
int measureFrames(const RunParameters &run, RunPictures &pictures, std::FILE *video,
                  Reports &reports) {
  keepThreadsSmall();
  TemporalValues temporal;
  // S + N may also wrap upwards, so N is asked too.
  const std::int32_t end = run.frames > 0 ? run.endFrame() : run.startFrame;
  for (std::int32_t frame = run.startFrame; frame < end; ++frame) {
    if (!readLuma(video, run, frame, pictures.current->data, reports.console))
      return FAILURE;
    FrameThreads threads(run.requested, pictures.current);
    const bool hasPrevious = frame > run.startFrame;
    if (hasPrevious)
      measureChange(run, pictures, temporal);
    threads.joinAll();
    if (hasPrevious)
      judgeFreezing(run, temporal);
    if (indicatorLackedMemory)
      throw std::bad_alloc();
    printReportRows({frame, Results, temporal.activity, temporal.freezing, temporal.flickering},
                    reports);
    std::swap(pictures.current->data, pictures.previous->data);
  }
  return SUCCESS;
}

int measureVideo(const RunParameters &run, File video, Reports &reports, RunPictures &pictures) {
  reports.console.print(ReportStream::HEAD, "Video file %s opened successfully!\n\n", run.path);
  reports.console.print(
      ReportStream::HEAD,
      "Width = %d, Height = %d, FPS = %2.2f, Number of Frames = %d, Start Frame = %d\n\n",
      run.width, run.height, run.fps, run.frames, run.startFrame);
  printReportHeaders(reports);
  if (measureFrames(run, pictures, video.get(), reports) != SUCCESS)
    return FAILURE;
  video.reset();
  reports.console.print(ReportStream::END, "\nFile stream closed\n\n");
  return SUCCESS;
}

int measureAsCalled(int argc, char **argv, Reports &reports, File &resultsFile) {
  if (argc < 4) {
    reports.console.print(
        ReportStream::HEAD,
        "Not enough parameters\n\n"
        "Usage: %s nameOfTheMovie.yuv WIDTH HEIGHT [RequestedVQIs] [FPS] [NumberOfFrames] "
        "[startFrame],\nwhere parameters in square brackets are optional.\n\n",
        argv[0]);
    return FAILURE;
  }
  File video(std::fopen(argv[1], "r"));
  const int openError = errno;
  // Created or emptied even when there is no video to measure: rows of an earlier run never stay
  // behind.
  resultsFile.reset(std::fopen("metricsResultsCSV.csv", "w"));
  reports.results.open(resultsFile.get());
  if (video == nullptr) {
    errno = openError;
    std::perror("Error opening file.\n\n");
    return FAILURE;
  }
  RunParameters run{.path = argv[1], .width = parseInt32(argv[2]), .height = parseInt32(argv[3])};
  if (!isUsableSize(run, argv))
    return FAILURE;
  // Whole planes are read straight into the picture; a buffer would be filled anew after every
  // seek.
  std::setvbuf(video.get(), nullptr, _IONBF, 0);
  try {
    RunPictures pictures(run);
    if (!parseOptionalArguments(argc, argv, video.get(), run))
      return FAILURE;
    return measureVideo(run, std::move(video), reports, pictures);
  } catch (const std::bad_alloc &) {
    reportLackOfMemory(run);
    return FAILURE;
  }
}

} // namespace

int runCommand(int argc, char **argv) {
  occupyClosedStreams();
  File resultsFile;
  Reports reports;
  reports.console.open(stdout);
  const int status = measureAsCalled(argc, argv, reports, resultsFile);
  for (ReportStream *report : {&reports.results, &reports.console})
    report->finish();
  for (const ReportStream *report : {&reports.results, &reports.console})
    report->reportLoss();
  return status;
}

} // namespace lumagauge

int main(int argc, char **argv) {
  return lumagauge::runCommand(argc, argv);
}
