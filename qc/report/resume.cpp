// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/html_text.h"
#include "qc/report/result_files.h"

namespace lumagauge::qc {

namespace {

/// What decides whether a result can be used again: threads do not change it.
Json decisive(Json settings) {
  settings.erase("threads");
  settings.erase("decode_threads");
  return settings;
}

/// The JSON as it reads back after it was written, where bytes that are no UTF-8 were replaced.
Json asWritten(const Json &value) {
  return Json::parse(jsonText(value));
}

BatchRow rowOf(const Json &document, const std::string &inputPath) {
  BatchRow row{.path = inputPath, .reason = {}, .broken = {}, .resumed = true};
  const std::string verdict = document.at("verdict");
  for (const Verdict v : {Verdict::pass, Verdict::warn, Verdict::fail, Verdict::unmeasured})
    if (verdict == verdictName(v))
      row.verdict = v;
  if (document.at("reason").is_string())
    row.reason = document.at("reason");
  row.frames = document.at("measured").at("frames");
  row.duration = numberOf(document.at("measured").at("duration"));
  row.events = static_cast<std::int64_t>(document.at("events").size());
  for (const Json &broken : document.at("broken_rules"))
    row.broken.push_back(broken.at("kind"));
  for (const Json &rule : document.at("not_judged"))
    row.notJudged.push_back(rule.at("kind"));
  row.rules = document.at("profile").at("rules").size();
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    const Json &summary = document.at("summary").at(std::string(INDICATOR_NAMES[i]));
    if (summary.is_object() && summary.contains("mean"))
      row.means[i] = numberOf(summary.at("mean"));
  }
  return row;
}

} // namespace

std::optional<BatchRow> readCompleteResult(const ResultPaths &paths, const std::string &inputPath,
                                           const Settings &settings, const Profile &profile) {
  const std::optional<FileIdentity> identity = identityOf(inputPath);
  if (!identity)
    return std::nullopt;
  try {
    const Json document = readWithoutFrames(paths.json);
    if (document.is_discarded() || document.at("schema") != SCHEMA ||
        document.at("verdict") == verdictName(Verdict::unmeasured) ||
        document.at("tool").at("version") != settings.version ||
        document.at("input").at("absolute_path") != asWritten(absolutePathJson(inputPath)) ||
        document.at("input").at("file") != identityJson(identity) ||
        decisive(document.at("settings")) != decisive(asWritten(settingsJson(settings))) ||
        document.at("profile").at("rules") != asWritten(rulesJson(profile)))
      return std::nullopt;
    const std::optional<ContentDigest> csv = digestOf(paths.csv);
    if (!csv || document.at("csv") != digestJson(*csv))
      return std::nullopt;
    return rowOf(document, inputPath);
  } catch (const Json::exception &) {
    return std::nullopt; // some other file of that name: measuring replaces it
  }
}

} // namespace lumagauge::qc
