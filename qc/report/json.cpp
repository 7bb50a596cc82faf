// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/json.h"
#include "qc/report/json_text.h"
#include "qc/report/output.h"

#include <cmath>
#include <limits>
#include <sstream>

namespace lumagauge::qc {

namespace {

constexpr std::string_view NAN_TEXT = "NaN", INFINITY_TEXT = "Infinity",
                           NEGATIVE_INFINITY_TEXT = "-Infinity";

template <class T> Json orNull(const std::optional<T> &value) {
  return value ? Json(*value) : Json(nullptr);
}

Json textOrNull(const std::string &text) {
  return text.empty() ? Json(nullptr) : Json(text);
}

Json conditionJson(const Condition &condition) {
  return {{"indicator", signalName(condition.signal)},
          {"comparison", comparisonName(condition.comparison)},
          {"threshold", jsonNumber(condition.threshold)}};
}

Json listsJson(const std::vector<std::vector<Condition>> &lists) {
  Json json = Json::array();
  for (const std::vector<Condition> &list : lists) {
    Json &conditions = json.emplace_back(Json::array());
    for (const Condition &condition : list)
      conditions.push_back(conditionJson(condition));
  }
  return json;
}

Json ruleJson(const Rule &rule) {
  Json json = Json::object();
  if (!rule.conditions.empty())
    json = conditionJson(rule.conditions.front());
  for (std::size_t i = 1; i < rule.conditions.size(); ++i)
    json["and"].push_back(conditionJson(rule.conditions[i]));
  if (!rule.alternatives.empty())
    json["or"] = listsJson(rule.alternatives);
  if (!rule.after.empty())
    json["after"] = listsJson(rule.after);
  if (rule.edgeThreshold)
    json["edge_threshold"] = jsonNumber(*rule.edgeThreshold);
  json["min_duration"] = jsonNumber(rule.minDuration);
  json["bridged_gap"] = jsonNumber(rule.bridgedGap);
  json["severity"] = severityName(rule.severity);
  if (rule.limits.maxShare)
    json["max_share"] = *rule.limits.maxShare;
  if (rule.limits.maxDuration)
    json["max_duration"] = jsonNumber(*rule.limits.maxDuration);
  if (rule.limits.maxTotal)
    json["max_total"] = jsonNumber(*rule.limits.maxTotal);
  if (rule.limits.maxCount)
    json["max_count"] = *rule.limits.maxCount;
  return json;
}

Json inputJson(const InputInfo &info, const std::optional<FileIdentity> &identity) {
  return {{"path", info.path},
          {"absolute_path", absolutePathJson(info.path)},
          {"file", identityJson(identity)},
          {"format", info.format},
          {"codec", info.codec},
          {"stream", info.stream},
          {"width", info.width},
          {"height", info.height},
          {"pixel_format", info.pixelFormat},
          {"bit_depth", info.bitDepth},
          {"luma", info.lumaRule},
          {"range", info.range},
          {"average_rate", orNull(info.averageRate)},
          {"rate", info.rate},
          {"rate_origin", info.rateOrigin},
          {"start_time", orNull(info.startTime)},
          {"duration", orNull(info.duration)},
          {"frame_count", orNull(info.frameCount)},
          {"warnings", info.warnings}};
}

Json shotsJson(const std::vector<Shot> &shots) {
  Json json = Json::array();
  for (const Shot &shot : shots) {
    Json means = Json::object();
    for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
      means[std::string(INDICATOR_NAMES[i])] = jsonNumber(shot.means[i]);
    json.push_back({{"start", jsonNumber(shot.startTime)},
                    {"end", jsonNumber(shot.endTime)},
                    {"start_frame", shot.startFrame},
                    {"end_frame", shot.endFrame},
                    {"mean", means}});
  }
  return json;
}

Json cadenceJson(const std::optional<Cadence> &cadence) {
  if (!cadence)
    return nullptr;
  return {{"frames_per_picture", jsonNumber(cadence->framesPerPicture)},
          {"rate", jsonNumber(cadence->rate)}};
}

} // namespace

Json jsonNumber(std::optional<double> value) {
  if (!value)
    return nullptr;
  if (std::isnan(*value))
    return NAN_TEXT;
  if (std::isinf(*value))
    return *value > 0 ? INFINITY_TEXT : NEGATIVE_INFINITY_TEXT;
  return *value;
}

double numberOf(const Json &value) {
  using Double = std::numeric_limits<double>;
  if (value == NAN_TEXT)
    return Double::quiet_NaN();
  if (value == INFINITY_TEXT)
    return Double::infinity();
  if (value == NEGATIVE_INFINITY_TEXT)
    return -Double::infinity();
  return value.get<double>();
}

std::string textOf(const Json &value) {
  return optionalOf<std::string>(value).value_or("");
}

std::string jsonText(const Json &value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json summaryJson(const std::array<IndicatorSummary, INDICATOR_COUNT> &summaries) {
  Json json = Json::object();
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    const IndicatorSummary &s = summaries[i];
    Json &entry = json[std::string(INDICATOR_NAMES[i])];
    if (s.count + s.nan == 0)
      continue; // null: not measured on any frame
    entry = {{"count", s.count}, {"nan", s.nan}};
    if (s.count == 0)
      continue;
    entry.update({{"mean", jsonNumber(s.mean)},
                  {"min", jsonNumber(s.min)},
                  {"p5", jsonNumber(s.p5)},
                  {"median", jsonNumber(s.median)},
                  {"p95", jsonNumber(s.p95)},
                  {"max", jsonNumber(s.max)},
                  {"worst_frame", s.worstFrame},
                  {"worst_time", jsonNumber(s.worstTime)}});
  }
  return json;
}

Json eventsJson(const std::vector<Event> &events) {
  Json json = Json::array();
  for (const Event &event : events)
    json.push_back({{"kind", event.kind},
                    {"severity", severityName(event.severity)},
                    {"start", jsonNumber(event.startTime)},
                    {"end", jsonNumber(event.endTime)},
                    {"start_frame", event.startFrame},
                    {"end_frame", event.endFrame},
                    {"frames", event.frames},
                    {"worst", jsonNumber(event.worst)},
                    {"worst_frame", orNull(event.worstFrame)},
                    {"text", event.text.empty() ? Json() : Json(event.text)}});
  return json;
}

Json brokenJson(const std::vector<BrokenRule> &rules) {
  Json json = Json::array();
  for (const BrokenRule &rule : rules)
    json.push_back(
        {{"kind", rule.kind}, {"severity", severityName(rule.severity)}, {"reason", rule.reason}});
  return json;
}

Json notJudgedJson(const std::vector<NotJudged> &rules) {
  Json json = Json::array();
  for (const NotJudged &rule : rules)
    json.push_back({{"kind", rule.kind}, {"reason", rule.reason}});
  return json;
}

Json seamJson(const std::optional<Seam> &seam) {
  if (!seam)
    return nullptr;
  return {{"frame", seam->frame},
          {"time", jsonNumber(seam->time)},
          {"packet", seam->packet},
          {"luma_md5", seam->luma}};
}

Json partJson(const PartFacts &part, const InputEnd &end) {
  return {{"start_frame", part.range.begin},
          {"end_frame", orNull(part.range.end)},
          {"has_end", part.hasEnd},
          {"before", seamJson(part.before)},
          {"last", seamJson(part.last)},
          {"first_packet", part.entry.packet},
          {"decoding", textOrNull(part.entry.reason)},
          {"changed", end.changed},
          {"doubt", textOrNull(end.doubtful ? end.reason : "")}};
}

Json settingsJson(const Settings &settings) {
  Json names = Json::array();
  for (const IndicatorInfo &info : INDICATORS)
    if ((settings.indicators & bit(info.indicator)) != 0)
      names.push_back(info.name);
  return {{"indicators", names},
          {"source", textOrNull(settings.source)},
          {"start", textOrNull(settings.start)},
          {"duration", textOrNull(settings.duration)},
          {"frames", orNull(settings.frames)},
          {"range", settings.range ? Json(rangeText(*settings.range)) : Json(nullptr)},
          {"stream_times", settings.streamTimes},
          {"threads", settings.threads},
          {"decode_threads", settings.decodeThreads}};
}

Json rulesJson(const Profile &profile) {
  Json json = Json::object();
  for (const Rule &rule : profile.rules)
    json[rule.kind] = ruleJson(rule);
  return json;
}

Json identityJson(const std::optional<FileIdentity> &identity) {
  if (!identity)
    return nullptr;
  return {{"size", identity->ends.size},
          {"modified", identity->modified},
          {"ends_sha256", identity->ends.sha256}};
}

Json digestJson(const ContentDigest &digest) {
  return {{"size", digest.size}, {"sha256", digest.sha256}};
}

Json absolutePathJson(const std::string &inputPath) {
  std::error_code error;
  if (inputPath == "-" || !std::filesystem::exists(inputPath, error))
    return nullptr;
  return std::filesystem::absolute(inputPath).lexically_normal().string();
}

JsonWriter::JsonWriter(std::ostream &target, const InputInfo &info,
                       const std::optional<FileIdentity> &identity, const Settings &settings,
                       const Profile &profile, bool frames)
    : JsonWriter(target, jsonText(inputJson(info, identity)), settings, profile, frames) {}

JsonWriter::JsonWriter(std::ostream &target, std::string_view inputMember, const Settings &settings,
                       const Profile &profile, bool frames)
    : stream(target), withFrames(frames) {
  stream << "{\n\"schema\": " << jsonText(SCHEMA)
         << ",\n\"tool\": " << jsonText({{"name", "lumagauge-qc"}, {"version", settings.version}})
         << ",\n\"input\": " << inputMember
         << ",\n\"settings\": " << jsonText(settingsJson(settings))
         << ",\n\"profile\": " << jsonText({{"name", profile.name}, {"rules", rulesJson(profile)}});
  if (withFrames)
    stream << ",\n\"frames\": [";
}

void JsonWriter::add(const FrameRecord &record) {
  if (!withFrames)
    return;
  Json frame{{"frame", record.frame}, {"time", jsonNumber(record.time)}};
  frame["picture_type"] =
      record.pictureType == '?' ? Json(nullptr) : Json(std::string(1, record.pictureType));
  for (const IndicatorInfo &info : INDICATORS)
    frame[std::string(info.name)] = jsonNumber(record[info.indicator]);
  frame["shot"] = record.shot;
  stream << (firstFrame ? "\n" : ",\n") << jsonText(frame);
  firstFrame = false;
}

void JsonWriter::finish(const InputEnd &end, const Judgement &judgement,
                        const std::optional<ContentDigest> &csv) {
  if (withFrames)
    stream << "\n]";
  if (part)
    stream << ",\n\"part\": " << jsonText(partJson(*part, end));
  Json errors = Json::array();
  for (const DecodeError &error : end.errors)
    errors.push_back({{"frame", error.frame},
                      {"time", jsonNumber(error.time)},
                      {"message", error.message},
                      {"kind", kindName(error.kind)},
                      {"missing", error.missing},
                      {"end", jsonNumber(error.endTime)}});
  const auto members = std::to_array<std::pair<std::string_view, Json>>(
      {{"measured", {{"frames", judgement.frames}, {"duration", jsonNumber(judgement.duration)}}},
       {"warnings", end.warnings},
       {"decode_errors", errors},
       {"summary", summaryJson(judgement.summaries)},
       {"cadence", cadenceJson(judgement.cadence)},
       {"shots", shotsJson(judgement.shots)},
       {"events", eventsJson(judgement.events)},
       {"broken_rules", brokenJson(judgement.broken)},
       {"not_judged", notJudgedJson(judgement.notJudged)},
       {"verdict", verdictName(judgement.verdict)},
       {"reason", textOrNull(judgement.reason)},
       {"interrupted", end.interrupted},
       {"exit_status", exitStatus(judgement.verdict)},
       {"csv", csv ? digestJson(*csv) : Json(nullptr)}});
  for (const auto &[name, value] : members)
    stream << ",\n" << jsonText(name) << ": " << jsonText(value);
  stream << "\n}\n";
}

std::string resultText(const InputInfo &info, const std::optional<FileIdentity> &identity,
                       const Settings &settings, const Profile &profile, const InputEnd &end,
                       const Judgement &judgement, const std::optional<ContentDigest> &csv) {
  std::ostringstream stream;
  JsonWriter(stream, info, identity, settings, profile, false).finish(end, judgement, csv);
  return stream.str();
}

} // namespace lumagauge::qc
