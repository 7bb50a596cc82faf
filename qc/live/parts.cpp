// SPDX-License-Identifier: BSD-2-Clause
#include "qc/live/parts.h"

#include "qc/report/console.h"
#include "qc/report/output.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <cmath>
#include <iostream>
#include <utility>

namespace lumagauge::qc {

Parts::Parts(const Run &theRun, LiveJudge &judging, const std::string &input)
    : run(theRun), judge(judging),
      prefix(fmt::format("{}-{:%Y%m%dT%H%M%S}Z", outputNames({input}).front(),
                         fmt::gmtime(std::time(nullptr)))) {}

void Parts::connect(const InputInfo &connected) {
  info = connected;
}

template <class Action> void Parts::attempt(const Action &action) {
  try {
    action();
  } catch (const OutputError &error) {
    std::cerr << "lumagauge-qc: " << printable(error.what())
              << "; measuring goes on, and the next part is tried anew\n";
    files.reset();
    failed = true;
  }
}

void Parts::add(const FrameRecord &record) {
  if (run.options.outputFolder.empty())
    return;
  if (isOpen && isDue(record))
    finish(std::exchange(news, {}));
  if (!isOpen)
    begin(record);
  news.errors.insert(news.errors.end(), record.news.errors.begin(), record.news.errors.end());
  if (files)
    attempt([&] { files->add(record); });
}

/// Parts by time begin at multiples of it.
bool Parts::isDue(const FrameRecord &record) const {
  const auto &[seconds, bytes] = run.options.live.rotation;
  return seconds ? std::floor(record.time / *seconds) != std::floor(beginTime / *seconds)
                 : files && files->written() >= *bytes;
}

void Parts::begin(const FrameRecord &record) {
  isOpen = true;
  beginTime = record.time;
  judge.beginPart();
  attempt([&] {
    const auto pathsOf = [&](std::int64_t part) {
      return ResultPaths(run.options.outputFolder, fmt::format("{}-{:06}", prefix, part));
    };
    while (std::filesystem::exists(pathsOf(++number).csv)) // of a run that began in this second too
      ;
    files = std::make_unique<ResultFiles>(pathsOf(number), info, std::nullopt, run.settings,
                                          judge.profile(), run.options.withFrames);
  });
}

void Parts::finish(const InputEnd &end) {
  const Judgement judgement = judge.endPart(end);
  isOpen = false;
  if (files)
    attempt([&] { files->finish(end, judgement); });
  files.reset();
}

void Parts::disconnect(InputEnd end) {
  if (!isOpen)
    return;
  end.errors.insert(end.errors.begin(), news.errors.begin(), news.errors.end());
  news = {};
  finish(end);
}

} // namespace lumagauge::qc
