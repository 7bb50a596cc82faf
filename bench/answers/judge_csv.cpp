// SPDX-License-Identifier: BSD-2-Clause
//
// Judges values that lumagauge-qc has written, without decoding again: thresholds can be tried on
// thousands of clips in seconds, by the program's own rules.
//
//     judge_csv PROFILE... -- RESULT...
//
// PROFILE is a name or a file as for --profile; RESULT the path of a NAME.csv beside its NAME.json,
// without .csv. Prints a line of JSON a profile and result: profile, result, events.
#include "qc/judge/judge.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace lumagauge::qc {

namespace {

using Json = nlohmann::ordered_json;

struct Result {
  std::string path;
  InputInfo info;
  InputEnd end;
  std::vector<FrameRecord> records;
};

double number(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw std::runtime_error("\"" + std::string(text) + "\" is no number");
  return value;
}

std::vector<std::string> fields(const std::string &line) {
  std::vector<std::string> result;
  std::stringstream stream(line.substr(0, line.find('\r')) + ',');
  for (std::string field; std::getline(stream, field, ',');)
    result.push_back(field);
  return result;
}

/// Columns by the names in the header, so that further ones do no harm.
std::vector<FrameRecord> readRecords(const std::string &path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line))
    throw std::runtime_error("cannot be read or is empty");
  const std::vector<std::string> names = fields(line);
  std::vector<FrameRecord> records;
  while (std::getline(file, line)) {
    const std::vector<std::string> row = fields(line);
    if (row.size() != names.size())
      throw std::runtime_error("row " + std::to_string(records.size() + 2) + " is cut short");
    FrameRecord &record = records.emplace_back();
    for (std::size_t column = 0; column < row.size(); ++column) {
      const auto name = std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(), names[column]);
      if (names[column] == "frame")
        record.frame = static_cast<std::int64_t>(number(row[column]));
      else if (names[column] == "time")
        record.time = number(row[column]);
      else if (names[column] == "picture_type")
        record.pictureType = row[column].empty() ? '?' : row[column].front();
      else if (names[column] == "shot")
        record.shot = static_cast<std::int64_t>(number(row[column]));
      else if (name != INDICATOR_NAMES.end() && !row[column].empty())
        record[static_cast<Indicator>(name - INDICATOR_NAMES.begin())] = number(row[column]);
    }
  }
  return records;
}

Result readResult(const std::string &path) try {
  Result result{.path = path, .info = {}, .end = {}, .records = readRecords(path + ".csv")};
  std::ifstream file(path + ".json");
  const Json document = Json::parse(file);
  const Json &input = document.at("input");
  if (!input.at("average_rate").is_null())
    result.info.averageRate = input["average_rate"].get<double>();
  result.info.rate = input.at("rate");
  result.info.width = input.at("width");
  result.info.height = input.at("height");
  result.info.range = input.at("range");
  for (const Json &error : document.at("decode_errors"))
    result.end.errors.push_back({.frame = error.at("frame"),
                                 .time = error.at("time"),
                                 .message = error.at("message"),
                                 .kind = error.at("kind") == "missing"
                                             ? DecodeErrorKind::missing
                                             : DecodeErrorKind::undecodable,
                                 .missing = error.at("missing")});
  return result;
} catch (const std::exception &error) {
  throw std::runtime_error(path + ".csv, .json: " + error.what());
}

Json judged(const Profile &profile, const Result &result) {
  Judge judge(profile, result.info);
  for (const FrameRecord &record : result.records)
    judge.add(record);
  Json events = Json::array();
  const Judgement judgement = judge.finish(result.end);
  if (judgement.cadence)
    events.push_back({{"kind", "cadence"},
                      {"severity", severityName(Severity::info)},
                      {"start", 0},
                      {"end", judgement.frames - 1}});
  for (const Event &event : judgement.events)
    events.push_back({{"kind", event.kind},
                      {"severity", severityName(event.severity)},
                      {"start", event.startFrame},
                      {"end", event.endFrame}});
  return {{"profile", profile.name}, {"result", result.path}, {"events", events}};
}

} // namespace

} // namespace lumagauge::qc

int main(int argc, char **argv) try {
  using namespace lumagauge::qc;
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto separator = std::find(words.begin(), words.end(), "--");
  if (separator == words.begin() || separator == words.end()) {
    std::cerr << "usage: judge_csv PROFILE... -- RESULT...\n";
    return 2;
  }
  std::vector<Profile> profiles;
  for (auto name = words.begin(); name != separator; ++name)
    profiles.push_back(loadProfile(*name));
  for (auto path = separator + 1; path != words.end(); ++path) {
    const Result result = readResult(*path);
    for (std::size_t i = 0; i < profiles.size(); ++i) {
      Json line = judged(profiles[i], result);
      line["profile"] = words[i];
      std::cout << line << '\n';
    }
  }
  return 0;
} catch (const std::exception &error) {
  std::cerr << "judge_csv: " << error.what() << '\n';
  return 1;
}
