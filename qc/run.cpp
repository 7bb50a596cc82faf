// SPDX-License-Identifier: BSD-2-Clause
#include "qc/run.h"
#include "qc/interruption.h"
#include "qc/judge/judge.h"
#include "qc/measure/cpus.h"
#include "qc/measure/pipeline.h"
#include "qc/measure/shots.h"
#include "qc/picture_report.h"
#include "qc/report/console.h"
#include "qc/report/progress.h"
#include "qc/report/result_files.h"

extern "C" {
#include <libavutil/cpu.h>
}

#include <unistd.h>

#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <system_error>

namespace lumagauge::qc {

namespace {

Progress makeProgress(const Options &options, const InputInfo &info) {
  const bool terminal = isatty(STDERR_FILENO) != 0;
  const ProgressMode mode = options.progress == ProgressChoice::plain ? ProgressMode::plain
                            : options.progress == ProgressChoice::automatic && terminal
                                ? ProgressMode::bar
                                : ProgressMode::none;
  const auto &range = options.range;
  const Window window =
      range ? Window(Frames{range->begin},
                     range->end ? std::optional<Extent>(Frames{*range->end - range->begin})
                                : std::nullopt)
            : Window(options.source);
  const Window::Part part = window.expected(info);
  const double origin = options.source.streamTimes ? info.startTime.value_or(0.0) : 0.0;
  return Progress(std::cerr, mode, info.path, part.frames, part.seconds, origin + part.begin);
}

/// Leaves word in the output folder, where others may look for the result. What keeps it from that
/// is told as well, but changes nothing.
void leaveFailure(const Run &run, const ResultPaths &paths, const std::string &input,
                  const std::string &reason) try {
  if (!run.options.outputFolder.empty())
    writeFailure(paths, input, reason, run.settings.version);
} catch (const OutputError &error) {
  std::cerr << "lumagauge-qc: " << printable(error.what()) << '\n';
}

BatchRow notMeasured(const Run &run, const ResultPaths &paths, const std::string &input,
                     const std::string &reason) {
  const Judgement judgement = unmeasured(reason);
  printVerdict(std::cout, input, judgement);
  leaveFailure(run, paths, input, reason);
  return batchRow(input, judgement);
}

/// Measures to the end of the input or up to an interruption, which leaves out frames that were not
/// delivered yet: they may have suffered from it. Of a part the frames ahead of it are left out
/// too.
InputEnd measureSource(const Run &run, VideoSource &source, Judge &judge, ResultFiles *files,
                       PictureReport *report) {
  std::int64_t nextFrame = 0;
  {
    Progress progress = makeProgress(run.options, source.info());
    Pipeline pipeline(source, run.options.indicators, run.settings.threads);
    ShotCounter shots;
    for (auto record = pipeline.next(); record && interruption() == 0; record = pipeline.next()) {
      if (run.options.range && record->frame < run.options.range->begin)
        continue;
      if (run.options.range)
        record->shot = shots.add(*record);
      judge.add(*record);
      if (files != nullptr)
        files->add(*record);
      if (report != nullptr)
        report->add(*record);
      progress.update(*record);
      nextFrame = record->frame + 1;
    }
  }
  InputEnd end = source.end();
  end.interrupted = interruption() != 0;
  if (end.interrupted)
    std::erase_if(end.errors, [&](const DecodeError &error) { return error.frame >= nextFrame; });
  return end;
}

BatchRow measureOpen(const Run &run, const std::string &input, const ResultPaths &paths,
                     std::unique_ptr<VideoSource> source, const PartSource *part,
                     const std::optional<FileIdentity> &identity,
                     std::unique_ptr<PictureReport> report) {
  const Options &options = run.options;
  const InputInfo info = source->info();
  const bool hasFiles = !options.outputFolder.empty();
  const auto warn = [&](const std::vector<std::string> &warnings) {
    for (const std::string &warning : options.quiet ? warnings : std::vector<std::string>())
      std::cerr << "lumagauge-qc: " << printable(input) << ": " << warning << '\n';
  };
  warn(info.warnings);
  std::unique_ptr<ResultFiles> files;
  if (hasFiles)
    files = std::make_unique<ResultFiles>(paths, info, identity, run.settings, run.profile,
                                          options.withFrames);
  Judge judge(run.profile, info, options.indicators);
  if (report)
    report->begin(info, identity, judge);
  const InputEnd end = measureSource(run, *source, judge, files.get(), report.get());
  warn(end.warnings);
  if (const std::string reason = source->entry().reason; !reason.empty())
    options.source.notice(input + ": decoded from the beginning: " + reason);
  Judgement judgement = judge.finish(end);
  if (options.range && judgement.frames == 0 && !end.interrupted)
    judgement.reason = fmt::format("the video ends ahead of frame {}", options.range->begin);
  if (files && part != nullptr)
    files->setPart(part->facts());
  source.reset(); // its memory is free for what comes
  const bool isAnotherMachines = end.interrupted && options.part.has_value();
  std::optional<ContentDigest> csv;
  if (isAnotherMachines) // which may have a complete result there
    leaveFailure(run, paths, input, judgement.reason);
  else if (files)
    csv = files->finish(end, judgement);
  if (report && !isAnotherMachines)
    report->finish(info, resultText(info, identity, run.settings, run.profile, end, judgement, csv),
                   files ? paths.json.filename().string() : "");
  printReport(std::cout, info, end, judgement, options.quiet, part != nullptr);
  return batchRow(input, judgement);
}

BatchRow measureInput(const Run &run, const std::string &input, const ResultPaths &paths,
                      bool seek) {
  const Options &options = run.options;
  SourceOptions asked = options.source;
  asked.notice = [&](const std::string &what) { options.source.notice(input + ": " + what); };
  asked.seek = seek;
  std::unique_ptr<PictureReport> report;
  if (options.html)
    report = std::make_unique<PictureReport>(
        options.outputFolder.empty() ? std::filesystem::path(options.htmlFile) : paths.html,
        paths.html.stem().string(), input, options.indicators, run.profile, asked);
  const std::optional<FileIdentity> identity = identityOf(input);
  std::unique_ptr<VideoSource> source = openSource(input, asked);
  if (!options.range)
    return measureOpen(run, input, paths, std::move(source), nullptr, identity, std::move(report));
  auto part = std::make_unique<PartSource>(std::move(source), *options.range);
  const PartSource &facts = *part;
  return measureOpen(run, input, paths, std::move(part), &facts, identity, std::move(report));
}

/// As fast as it can be done, and where that proves wrong from the beginning of the input.
BatchRow measureInput(const Run &run, const std::string &input, const ResultPaths &paths) {
  try {
    return measureInput(run, input, paths, run.options.source.seek);
  } catch (const EntryError &error) {
    run.options.source.notice(input + ": decoded once more, from the beginning: " + error.what());
  }
  return measureInput(run, input, paths, false);
}

/// As below; what is wrong with the input or with its files stays with it.
BatchRow answer(const Run &run, const std::string &input, const ResultPaths &paths) try {
  if (run.options.resume)
    if (auto row = readCompleteResult(paths, input, run.settings, run.profile))
      if (!run.options.html || isReportOf(paths.html, paths.json) ||
          remakePage(paths, input, run.options.source)) {
        removeFailure(paths);
        return *row;
      }
  return measureInput(run, input, paths);
} catch (const InputError &error) {
  return notMeasured(run, paths, input,
                     interruption() != 0 ? "interrupted ahead of the first frame" : error.what());
} catch (const std::bad_alloc &) {
  return notMeasured(run, paths, input,
                     "it asks for more memory than there is: the machine has too little "
                     "(fewer --threads need less) or the input is damaged");
} catch (const OutputError &error) {
  std::cerr << "lumagauge-qc: " << printable(error.what()) << '\n';
  return notMeasured(run, paths, input, error.what());
} catch (const std::system_error &error) {
  return notMeasured(run, paths, input,
                     std::string("the system refuses threads or other means for it (fewer "
                                 "--threads need less): ") +
                         error.what());
}

} // namespace

Run makeRun(Options options) {
  av_cpu_force_count(usableCpus()); // decoders that choose for themselves know no quotas
  Profile profile = loadProfile(options.profile, options.source.notice);
  Settings settings{.version = LUMAGAUGE_VERSION,
                    .indicators = options.indicators,
                    .source = describeSource(options.source),
                    .start = options.startText,
                    .duration = options.durationText,
                    .frames = options.frames,
                    .range = options.range,
                    .streamTimes = options.source.streamTimes,
                    .threads = measuringThreads(options.threads),
                    .decodeThreads = options.source.decodeThreads};
  return {std::move(options), std::move(profile), std::move(settings)};
}

Run partRun(const Run &run, const FrameRange &range) {
  Run part = run;
  part.options.range = part.settings.range = range;
  part.options.html = false; // a page is that of a whole
  return part;
}

BatchRow answer(const Run &run, const std::string &input, const std::string &name) {
  const auto &range = run.options.range;
  const std::string own = range ? partName(name, *range) : name;
  BatchRow row = answer(run, input, ResultPaths(run.options.outputFolder, own));
  row.name = own;
  return row;
}

} // namespace lumagauge::qc
