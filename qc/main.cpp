// SPDX-License-Identifier: BSD-2-Clause
//
// `lumagauge-qc`: options and wiring.
#include "commands/standard_streams.h"
#include "qc/inputs.h"
#include "qc/interruption.h"
#include "qc/judge/profile.h"
#include "qc/library/collect.h"
#include "qc/library/plan.h"
#include "qc/live/live_run.h"
#include "qc/picture_report.h"
#include "qc/report/atomic_file.h"
#include "qc/report/console.h"
#include "qc/report/join.h"
#include "qc/report/output.h"
#include "qc/run.h"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <numeric>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

void makeOutputFolder(const std::string &folder) {
  std::error_code error;
  if (!folder.empty())
    fs::create_directories(folder, error);
  if (error)
    throw OutputError(folder + ": cannot be made: " + error.message());
}

void checkStandardOutput() {
  if (!std::cout.flush())
    throw OutputError("standard output cannot be written");
}

struct Task {
  std::string input, name; ///< the name is that of the whole result
  std::optional<FrameRange> range;
};

std::vector<BatchRow> answerEach(const Run &run, const std::vector<Task> &tasks) {
  makeOutputFolder(run.options.outputFolder);
  std::vector<BatchRow> rows;
  for (std::size_t i = 0; i < tasks.size() && interruption() == 0; ++i) {
    const auto &[input, name, range] = tasks[i];
    rows.push_back(answer(range ? partRun(run, *range) : run, input, name));
    if (run.options.outputFolder.empty())
      checkStandardOutput(); // else the files are worth going on for
    else
      std::cout.flush();
  }
  return rows;
}

int worstStatus(const std::vector<BatchRow> &rows) {
  int status = 0;
  for (const BatchRow &row : rows)
    status = std::max(status, exitStatus(row.verdict));
  return status;
}

int answerAll(const Run &run) {
  const Options &options = run.options;
  const std::vector<std::string> inputs = listInputs(options);
  const std::vector<std::string> names = outputNames(inputs);
  std::vector<Task> tasks;
  for (std::size_t i = 0; i < inputs.size(); ++i)
    tasks.push_back({inputs[i], names[i], {}});
  const std::vector<BatchRow> rows = answerEach(run, tasks);
  const bool isBatch = inputs.size() > 1 || options.recursive || !options.lists.empty();
  // Without it nothing would say why the status of a result that was taken over is what it is.
  if (isBatch || (!rows.empty() && rows.front().resumed))
    printBatchTable(std::cout, rows, inputs.size() - rows.size());
  if (isBatch && !options.outputFolder.empty())
    writeSummary(options.outputFolder, rows);
  if (options.html && options.htmlFile.empty() && (isBatch || hasIndex(options.outputFolder)))
    writeIndex(options.outputFolder);
  checkStandardOutput();
  return worstStatus(rows);
}

/// Measures a part of a plan. What closes a batch is made of all parts' results, by collecting.
int answerPart(const Run &run) {
  std::vector<Task> tasks;
  const Plan plan = readPlan(run.options.measuredPlan, [&](const PlanEntry &entry) {
    if (entry.part == run.options.part)
      tasks.push_back({entry.path, entry.range ? wholeName(entry.name, *entry.range) : entry.name,
                       entry.range});
  });
  if (*run.options.part > plan.parts)
    throw InputError(fmt::format("--part {}: {} has parts 1 to {}", *run.options.part,
                                 run.options.measuredPlan, plan.parts));
  const std::vector<BatchRow> rows = answerEach(run, tasks);
  printBatchTable(std::cout, rows, tasks.size() - rows.size());
  checkStandardOutput();
  return worstStatus(rows);
}

/// Writes a plan and tells how evenly it is dealt.
int plan(const Options &options) {
  const Plan plan =
      makePlan(listInputs(options), options.parts, options.probe, options.longest, options.source);
  writePlan(plan, options.planFile);
  std::vector<double> loads(static_cast<std::size_t>(plan.parts));
  const std::vector<double> cost = costs(plan);
  for (std::size_t i = 0; i < cost.size(); ++i)
    loads[static_cast<std::size_t>(plan.entries[i].part - 1)] += cost[i];
  const auto [least, most] = std::minmax_element(loads.begin(), loads.end());
  const double mean = std::accumulate(loads.begin(), loads.end(), 0.0) / plan.parts;
  const auto empty = std::count(loads.begin(), loads.end(), 0.0); // an entry costs more than that
  fmt::print(std::cout,
             "{}: {} input{} in {} part{}, which cost {:.0f} % to {:.0f} % of the mean\n",
             printable(options.planFile), plan.entries.size(), plan.entries.size() == 1 ? "" : "s",
             plan.parts, plan.parts == 1 ? "" : "s", 100 * *least / mean, 100 * *most / mean);
  if (empty > 0)
    fmt::print(std::cout, "{} part{} empty: --parts {} would do\n", empty,
               empty == 1 ? " is" : "s are", plan.parts - empty);
  checkStandardOutput();
  return 0;
}

/// Says of all results of a folder what a run says of its inputs.
int collectResults(const Options &options) {
  const Collection all = collect(options.collectFolder, options.planFile, options.libraryFrames,
                                 loadProfile(options.profile, options.source.notice),
                                 options.profileGiven, options.source.notice);
  if (all.hasReports)
    writeIndex(options.collectFolder);
  printBatchTable(std::cout, all.rows, 0, options.quiet);
  fmt::print(std::cout, "{} result{} read, {} gone, {} missing\n", all.read,
             all.read == 1 ? "" : "s", all.removed, all.missing);
  if (!all.openParts.empty())
    fmt::print(std::cout, "parts to measure again: {}\n", fmt::join(all.openParts, ","));
  if (options.profileGiven)
    options.source.notice(fmt::format(
        "--profile {}: it judged {} joined now from parts; other results keep the verdicts that "
        "they were measured with, and get others by being measured again",
        options.profile,
        all.joined == 0   ? "nothing, as no input was"
        : all.joined == 1 ? "the one input that was"
                          : fmt::format("the {} inputs that were", all.joined)));
  checkStandardOutput();
  return worstStatus(all.rows);
}

int measureLive(const Run &run) {
  makeOutputFolder(run.options.outputFolder);
  return runLive(run);
}

/// Makes whole results of parts.
int joinAll(const Options &options) {
  const Joining joining{options.outputFolder, loadProfile(options.profile, options.source.notice),
                        options.profileGiven, options.withFrames, options.quiet};
  makeOutputFolder(options.outputFolder);
  const std::vector<BatchRow> rows = joinAll(findParts(options.inputs), joining, std::cout);
  if (rows.size() > 1) {
    printBatchTable(std::cout, rows);
    writeSummary(options.outputFolder, rows);
  }
  checkStandardOutput();
  return worstStatus(rows);
}

int runCommand(int argc, const char *const *argv) {
  catchSignals();
  std::variant<Options, int> parsed = parseOptions(argc, argv, std::cout, std::cerr);
  if (const int *status = std::get_if<int>(&parsed)) {
    checkStandardOutput();
    return *status;
  }
  Options options = std::get<Options>(std::move(parsed));
  options.source.notice = [](const std::string &what) {
    std::cerr << "lumagauge-qc: " << printable(what) << '\n';
  };
  if (options.printProfile) {
    std::cout << profileText(options.profile, options.source.notice);
    checkStandardOutput();
    return 0;
  }
  if (options.join)
    return joinAll(options);
  if (!options.htmlFrom.empty()) {
    makeOutputFolder(options.outputFolder);
    makePageFrom(options);
    return 0;
  }
  if (!options.collectFolder.empty())
    return collectResults(options);
  if (options.parts != 0)
    return plan(options);
  const Run run = makeRun(std::move(options));
  if (run.options.live.enabled)
    return measureLive(run);
  return run.options.part ? answerPart(run) : answerAll(run);
}

} // namespace

} // namespace lumagauge::qc

int main(int argc, char **argv) {
  using namespace lumagauge::qc;
  lumagauge::occupyClosedStreams();
  // Whatever goes wrong here is the tool's or its user's: never the status of a measured input.
  int status = USAGE_ERROR;
  try {
    status = runCommand(argc, argv);
  } catch (const std::bad_alloc &) {
    std::cerr << "lumagauge-qc: there is not enough memory\n";
  } catch (const std::exception &error) {
    if (interruption() == 0) // which is why a profile or a list could not be read
      std::cerr << "lumagauge-qc: " << error.what() << '\n';
  }
  return interruption() != 0 ? 128 + interruption() : status;
}
