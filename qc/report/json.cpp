// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/json.h"
#include "qc/report/json_text.h"

#include <cmath>
#include <limits>

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
  return {{"indicator", INDICATOR_NAMES[static_cast<std::size_t>(condition.indicator)]},
          {"comparison", comparisonName(condition.comparison)},
          {"threshold", jsonNumber(condition.threshold)}};
}

Json ruleJson(const Rule &rule) {
  Json json = Json::object();
  if (!rule.conditions.empty())
    json = conditionJson(rule.conditions.front());
  for (std::size_t i = 1; i < rule.conditions.size(); ++i)
    json["and"].push_back(conditionJson(rule.conditions[i]));
  if (rule.edgeThreshold)
    json["edge_threshold"] = jsonNumber(*rule.edgeThreshold);
  json["min_duration"] = jsonNumber(rule.minDuration);
  json["bridged_gap"] = jsonNumber(rule.bridgedGap);
  json["severity"] = severityName(rule.severity);
  if (rule.limits.maxShare)
    json["max_share"] = *rule.limits.maxShare;
  if (rule.limits.maxDuration)
    json["max_duration"] = jsonNumber(*rule.limits.maxDuration);
  if (rule.limits.maxCount)
    json["max_count"] = *rule.limits.maxCount;
  return json;
}

Json inputJson(const InputInfo &info) {
  return {{"path", info.path},
          {"absolute_path", absolutePathJson(info.path)},
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
          {"duration", orNull(info.duration)},
          {"frame_count", orNull(info.frameCount)},
          {"warnings", info.warnings}};
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
                    {"worst", jsonNumber(event.worst)}});
  return json;
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

std::string jsonText(const Json &value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
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
          {"threads", settings.threads},
          {"decode_threads", settings.decodeThreads}};
}

Json rulesJson(const Profile &profile) {
  Json json = Json::object();
  for (const Rule &rule : profile.rules)
    json[rule.kind] = ruleJson(rule);
  return json;
}

Json absolutePathJson(const std::string &inputPath) {
  std::error_code error;
  if (inputPath == "-" || !std::filesystem::exists(inputPath, error))
    return nullptr;
  return std::filesystem::absolute(inputPath).lexically_normal().string();
}

JsonWriter::JsonWriter(std::ostream &target, const InputInfo &info, const Settings &settings,
                       const Profile &profile, bool frames)
    : stream(target), withFrames(frames) {
  stream << "{\n\"schema\": " << jsonText(SCHEMA)
         << ",\n\"tool\": " << jsonText({{"name", "lumagauge-qc"}, {"version", settings.version}})
         << ",\n\"input\": " << jsonText(inputJson(info))
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
  stream << (firstFrame ? "\n" : ",\n") << jsonText(frame);
  firstFrame = false;
}

void JsonWriter::finish(const InputEnd &end, const Judgement &judgement) {
  if (withFrames)
    stream << "\n]";
  Json errors = Json::array();
  for (const DecodeError &error : end.errors)
    errors.push_back(
        {{"frame", error.frame}, {"time", jsonNumber(error.time)}, {"message", error.message}});
  Json broken = Json::array();
  for (const BrokenRule &rule : judgement.broken)
    broken.push_back(
        {{"kind", rule.kind}, {"severity", severityName(rule.severity)}, {"reason", rule.reason}});
  const std::array<std::pair<std::string_view, Json>, 9> members{
      {{"measured", {{"frames", judgement.frames}, {"duration", jsonNumber(judgement.duration)}}},
       {"decode_errors", errors},
       {"summary", summaryJson(judgement.summaries)},
       {"events", eventsJson(judgement.events)},
       {"broken_rules", broken},
       {"not_judged", judgement.notJudged},
       {"verdict", verdictName(judgement.verdict)},
       {"reason", textOrNull(judgement.reason)},
       {"exit_status", exitStatus(judgement.verdict)}}};
  for (const auto &[name, value] : members)
    stream << ",\n" << jsonText(name) << ": " << jsonText(value);
  stream << "\n}\n";
}

} // namespace lumagauge::qc
