// SPDX-License-Identifier: BSD-2-Clause
#include "qc/modes.h"

#include <fmt/format.h>

#include <vector>

namespace lumagauge::qc {

namespace {

struct Mode {
  const char *option;
  const char *does;
  std::vector<const char *> without;
};

const std::vector<Mode> &modes() {
  static const std::vector<Mode> all = {
      {"--live",
       "measures one input until it ends or is told to",
       {"--recursive", "--files-from", "--resume", "--start", "--duration", "--frames", "--range",
        "--stream-times", "--no-seek", "--plan", "--from-plan", "--collect", "--join", "--html",
        "--html-from"}},
      {"--join",
       "makes whole results of parts that are measured already",
       {"--recursive", "--files-from", "--resume", "--start", "--duration", "--frames", "--raw",
        "--stream", "--fps", "--stream-times", "--no-seek", "--indicators", "--html", "--html-from",
        "--plan", "--from-plan", "--collect"}},
      {"--collect",
       "reads results that are there already",
       {"--recursive", "--resume", "--start", "--duration", "--frames", "--range", "--raw",
        "--stream", "--fps", "--stream-times", "--no-seek", "--indicators", "--no-frames", "--html",
        "--html-from"}},
      {"--parts",
       "plans to measure all of each input, or parts of it that --split makes",
       {"--start", "--duration", "--frames", "--range"}},
      {"--parts",
       "writes a plan and measures nothing: it goes with --from-plan",
       {"--stream-times", "--no-seek", "--indicators", "--profile", "--no-frames", "--html"}},
      {"--parts", "writes a plan and measures nothing", {"--html-from"}},
      {"--from-plan",
       "measures what its plan says",
       {"--recursive", "--files-from", "--start", "--duration", "--frames", "--range",
        "--html-from"}},
      {"--html-from",
       "makes the page of a result that is there already",
       {"--recursive", "--start", "--duration", "--frames", "--range", "--stream-times",
        "--no-seek", "--indicators", "--profile", "--no-frames"}},
  };
  return all;
}

} // namespace

void refuse(const std::string &message) {
  throw CLI::ValidationError(message, CLI::ExitCodes::ValidationError);
}

void checkModes(const CLI::App &app) {
  for (const Mode &mode : modes())
    for (const char *option : mode.without)
      if (app.count(mode.option) != 0 && app.count(option) != 0)
        refuse(fmt::format("{} cannot be used with {}, which {}", option, mode.option, mode.does));
}

} // namespace lumagauge::qc
