// SPDX-License-Identifier: BSD-2-Clause
//
// How the JSON reports spell what JSON has no word for, and the parts that writing and resuming
// share. Apart from json.h so that only the report's own files need nlohmann's header.
#ifndef LUMAGAUGE_QC_REPORT_JSON_TEXT_H
#define LUMAGAUGE_QC_REPORT_JSON_TEXT_H

#include "qc/report/json.h"

#include <nlohmann/json.hpp>

namespace lumagauge::qc {

using Json = nlohmann::ordered_json;

constexpr std::string_view SCHEMA = "lumagauge/1", FAILURE_SCHEMA = "lumagauge-failure/1";

/// A number; "NaN", "Infinity" or "-Infinity" where it is none; null where there is no value.
Json jsonNumber(std::optional<double> value);
double numberOf(const Json &value); ///< the reverse, of what is not null

/// Empty for null. Throws Json::exception where the value is of another type.
template <class T> std::optional<T> optionalOf(const Json &value) {
  return value.is_null() ? std::nullopt : std::optional(value.get<T>());
}
std::string textOf(const Json &value); ///< likewise; empty for null

/// What the text says; a discarded value where it is no JSON, or nested so deeply that copying it,
/// which is recursive, could take more stack than there is.
Json parsedJson(std::string_view text);
/// The same of a stream from where it stands, without those members of the document.
Json parsedWithout(std::istream &stream, std::initializer_list<std::string_view> members);
/// The document without its frames, which may be many; a discarded value where it is no JSON.
Json readWithoutFrames(const std::filesystem::path &path);

/// UTF-8 on one line; bytes that are not UTF-8 (file names may hold them) as U+FFFD.
std::string jsonText(const Json &value);

Json settingsJson(const Settings &settings);
/// The member `part`.
Json partJson(const PartFacts &part, const InputEnd &end);
Json rulesJson(const Profile &profile);
Json identityJson(const std::optional<FileIdentity> &identity); ///< null where there is none
Json summaryJson(const std::array<IndicatorSummary, INDICATOR_COUNT> &summaries);
Json eventsJson(const std::vector<Event> &events);
Json brokenJson(const std::vector<BrokenRule> &rules);
Json notJudgedJson(const std::vector<NotJudged> &rules);
Json digestJson(const ContentDigest &digest);
/// The absolute path of a file, null for standard input and URLs.
Json absolutePathJson(const std::string &inputPath);

} // namespace lumagauge::qc

#endif
