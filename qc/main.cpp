// SPDX-License-Identifier: BSD-2-Clause
//
// `lumagauge-qc`: options and wiring.
#include "qc/inputs.h"
#include "qc/judge/judge.h"
#include "qc/measure/pipeline.h"
#include "qc/options.h"
#include "qc/report/batch.h"
#include "qc/report/console.h"
#include "qc/report/progress.h"
#include "qc/report/result_files.h"
#include "qc/source/input_file.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

volatile std::sig_atomic_t caughtSignal = 0;

/// Asked to end: unwinds, so that unfinished output is taken away.
struct Interrupted {};

void catchSignals() {
  struct sigaction action {};
  action.sa_handler = [](int signal) {
    static volatile std::sig_atomic_t caught = 0;
    caughtSignal = signal;
    cancelReading();
    caught = caught + 1;
    // The first asks, and may come twice (timeout sends it to the process and to its group); an
    // input that gives nothing must not hold up an end that is insisted on.
    if (caught == 3)
      _exit(128 + signal);
  };
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A reader that went away shows as a failed write.
  std::signal(SIGPIPE, SIG_IGN);
}

void endIfAsked() {
  if (caughtSignal != 0)
    throw Interrupted();
}

/// Everything of a run that is the same for all its inputs.
struct Run {
  Options options;
  Profile profile;
  Settings settings;
};

Progress makeProgress(const Options &options, const InputInfo &info) {
  const bool terminal = isatty(STDERR_FILENO) != 0;
  const ProgressMode mode = options.progress == ProgressChoice::plain ? ProgressMode::plain
                            : options.progress == ProgressChoice::automatic && terminal
                                ? ProgressMode::bar
                                : ProgressMode::none;
  const Window::Part part = Window(options.source).expected(info);
  return Progress(std::cerr, mode, info.path, part.frames, part.seconds, part.begin);
}

BatchRow notMeasured(const std::string &input, const std::string &reason) {
  const Judgement judgement = unmeasured(reason);
  printVerdict(std::cout, input, judgement);
  return batchRow(input, judgement);
}

BatchRow measureInput(const Run &run, const std::string &input, const ResultPaths &paths) {
  const Options &options = run.options;
  const std::unique_ptr<VideoSource> source = openSource(input, options.source);
  const InputInfo &info = source->info();
  for (const std::string &warning : options.quiet ? info.warnings : std::vector<std::string>())
    std::cerr << "lumagauge-qc: " << printable(input) << ": " << warning << '\n';
  std::unique_ptr<ResultFiles> files;
  if (!options.outputFolder.empty())
    files =
        std::make_unique<ResultFiles>(paths, info, run.settings, run.profile, options.withFrames);
  Judge judge(run.profile, info);
  {
    Progress progress = makeProgress(options, info);
    measureFrames(*source, options.indicators, run.settings.threads,
                  [&](const FrameRecord &record) {
                    endIfAsked();
                    judge.add(record);
                    if (files)
                      files->add(record);
                    progress.update(record);
                  });
  }
  endIfAsked(); // the input may have ended for the same reason
  const Judgement judgement = judge.finish(source->end());
  if (files)
    files->finish(source->end(), judgement);
  printReport(std::cout, info, source->end(), judgement, options.quiet);
  return batchRow(input, judgement);
}

/// Measures one input or passes over it; what is wrong with the input stays with it.
BatchRow answer(const Run &run, const std::string &input, const std::string &name) {
  const ResultPaths paths(run.options.outputFolder, name);
  if (run.options.resume && input != "-")
    if (auto row = readCompleteResult(paths, input, run.settings, run.profile))
      return *row;
  try {
    return measureInput(run, input, paths);
  } catch (const InputError &error) {
    endIfAsked(); // which is why it could not be opened
    return notMeasured(input, error.what());
  } catch (const std::bad_alloc &) {
    return notMeasured(input, "it asks for more memory than there is: the machine has too little "
                              "(fewer --threads need less) or the input is damaged");
  }
}

void writeSummary(const Run &run, const std::vector<BatchRow> &rows) {
  printBatchTable(std::cout, rows);
  if (run.options.outputFolder.empty())
    return;
  AtomicFile summary(ResultPaths(run.options.outputFolder, SUMMARY_NAME).csv);
  writeBatchCsv(summary.stream(), rows);
  summary.commit();
}

void checkStandardOutput() {
  if (!std::cout.flush())
    throw OutputError("standard output cannot be written");
}

int answerAll(const Run &run) {
  const std::vector<std::string> inputs = listInputs(run.options);
  const std::vector<std::string> names = outputNames(inputs);
  if (!run.options.outputFolder.empty()) {
    std::error_code error;
    fs::create_directories(run.options.outputFolder, error);
    if (error)
      throw OutputError(run.options.outputFolder + ": cannot be made: " + error.message());
  }
  std::vector<BatchRow> rows;
  int status = 0;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    rows.push_back(answer(run, inputs[i], names[i]));
    status = std::max(status, exitStatus(rows.back().verdict));
    checkStandardOutput();
  }
  const bool isBatch = inputs.size() > 1 || run.options.recursive || !run.options.lists.empty();
  if (isBatch)
    writeSummary(run, rows);
  else if (!rows.empty() && rows.front().resumed)
    printBatchTable(std::cout, rows); // else nothing would say why the status is what it is
  checkStandardOutput();
  return status;
}

int runCommand(int argc, const char *const *argv) {
  catchSignals();
  std::variant<Options, int> parsed = parseOptions(argc, argv, std::cout, std::cerr);
  if (const int *status = std::get_if<int>(&parsed)) {
    checkStandardOutput();
    return *status;
  }
  Run run{std::get<Options>(std::move(parsed)), {}, {}};
  const Options &options = run.options;
  if (options.printProfile) {
    std::cout << profileText(options.profile);
    checkStandardOutput();
    return 0;
  }
  run.profile = loadProfile(options.profile);
  run.settings = {.version = LUMAGAUGE_VERSION,
                  .indicators = options.indicators,
                  .source = describeSource(options.source),
                  .start = options.startText,
                  .duration = options.durationText,
                  .frames = options.frames,
                  .threads = options.threads > 0 ? options.threads : usableCpus(),
                  .decodeThreads = options.source.decodeThreads};
  return answerAll(run);
}

} // namespace

} // namespace lumagauge::qc

int main(int argc, char **argv) {
  using namespace lumagauge::qc;
  // Whatever goes wrong here is the tool's or its user's: never the status of a measured input.
  try {
    return runCommand(argc, argv);
  } catch (const Interrupted &) {
    return 128 + caughtSignal;
  } catch (const std::bad_alloc &) {
    std::cerr << "lumagauge-qc: there is not enough memory\n";
  } catch (const std::exception &error) {
    std::cerr << "lumagauge-qc: " << error.what() << '\n';
  }
  return USAGE_ERROR;
}
