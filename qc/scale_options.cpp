// SPDX-License-Identifier: BSD-2-Clause
#include "qc/scale_options.h"

#include "qc/durations.h"
#include "qc/modes.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace lumagauge::qc {

namespace {

constexpr int MAX_PARTS = 1'000'000;

const CLI::Validator NOT_EMPTY([](std::string &text) { return text.empty() ? "it is empty" : ""; },
                               "", "not empty");

bool isNothing(const Extent &extent) {
  return std::visit([](const auto &length) { return length.value <= 0; }, extent);
}

} // namespace

void addScaleOptions(CLI::App &app, Options &options) {
  auto *plan = app.add_option("--plan", options.planFile,
                              "Measure nothing: deal the inputs into parts and write them to FILE; "
                              "with --collect the FILE to hold results against")
                   ->type_name("FILE")
                   ->check(NOT_EMPTY);
  auto *parts = app.add_option("--parts", options.parts, "How many parts the plan has")
                    ->type_name("N")
                    ->check(CLI::Range(1, MAX_PARTS))
                    ->needs(plan);
  app.add_flag("--probe", options.probe,
               "Open the inputs and deal them by length and picture size, instead of by bytes")
      ->needs(parts);
  app.add_option_function<std::string>(
         "--split",
         [&](const std::string &text) {
           options.longest = parseExtent(text);
           if (!options.longest || isNothing(*options.longest))
             refuse(
                 fmt::format("--split {}: expected a duration above 0, as {}, or frames, as 15000f",
                             text, DURATION_FORMS));
           options.probe = true;
         },
         "Divide longer inputs into parts of about that length, 10m, for several machines; opens "
         "them as --probe does")
      ->type_name("T")
      ->needs(parts);
  auto *fromPlan = app.add_option("--from-plan", options.measuredPlan, "Measure a part of a plan")
                       ->type_name("FILE")
                       ->check(NOT_EMPTY)
                       ->needs("--output");
  auto *part = app.add_option("--part", options.part, "Which part, counted from 1")
                   ->type_name("N")
                   ->check(CLI::Range(1, MAX_PARTS))
                   ->needs(fromPlan);
  fromPlan->needs(part);
  auto *collect = app.add_option("--collect", options.collectFolder,
                                 "Measure nothing: make summary.csv and library.sqlite of all "
                                 "results in DIR")
                      ->type_name("DIR")
                      ->check(NOT_EMPTY);
  app.add_flag("--library-frames", options.libraryFrames,
               "Put every frame into library.sqlite as well")
      ->needs(collect);
  for (auto *other : {plan, collect})
    other->excludes("--output")->excludes(fromPlan);
}

void understandScale(const Options &options) {
  const bool hasInputs = !options.inputs.empty() || !options.lists.empty();
  const bool isCollecting = !options.collectFolder.empty();
  if (isCollecting || options.part) {
    if (hasInputs)
      refuse(fmt::format("{} takes no INPUT", isCollecting ? "--collect" : "--from-plan"));
    if (options.parts != 0)
      refuse("--collect takes no --parts: its --plan is one that is there");
  } else if (!options.planFile.empty() && options.parts == 0) {
    refuse("--plan: give the number of --parts, or --collect with the folder of the results");
  } else if (!hasInputs && !options.printProfile && options.htmlFrom.empty()) {
    refuse("no INPUT is given; --help shows the options");
  }
}

} // namespace lumagauge::qc
