// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/part_file.h"
#include "qc/report/csv.h"
#include "qc/report/json_text.h"
#include "qc/report/output.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>

namespace lumagauge::qc {

namespace {

InputInfo infoOf(const Json &input) {
  InputInfo info;
  info.path = input.at("path");
  info.format = input.at("format");
  info.codec = input.at("codec");
  info.stream = input.at("stream");
  info.width = input.at("width");
  info.height = input.at("height");
  info.pixelFormat = input.at("pixel_format");
  info.bitDepth = input.at("bit_depth");
  info.lumaRule = input.at("luma");
  info.range = input.at("range");
  info.averageRate = optionalOf<double>(input.at("average_rate"));
  info.rate = input.at("rate");
  info.rateOrigin = input.at("rate_origin");
  info.startTime = optionalOf<double>(input.at("start_time"));
  info.duration = optionalOf<double>(input.at("duration"));
  info.frameCount = optionalOf<std::int64_t>(input.at("frame_count"));
  info.warnings = input.at("warnings").get<std::vector<std::string>>();
  return info;
}

/// Those of the whole: without the range.
Settings settingsOf(const Json &document) {
  const Json &given = document.at("settings");
  Settings settings;
  settings.version = document.at("tool").at("version");
  settings.indicators = 0;
  for (const IndicatorInfo &info : INDICATORS)
    if (const Json &names = given.at("indicators");
        std::find(names.begin(), names.end(), info.name) != names.end())
      settings.indicators |= bit(info.indicator);
  settings.source = textOf(given.at("source"));
  settings.start = textOf(given.at("start"));
  settings.duration = textOf(given.at("duration"));
  settings.frames = optionalOf<std::int64_t>(given.at("frames"));
  settings.streamTimes = given.at("stream_times");
  settings.threads = given.at("threads");
  settings.decodeThreads = given.at("decode_threads");
  return settings;
}

std::optional<Seam> seamOf(const Json &seam) {
  if (seam.is_null())
    return std::nullopt;
  return Seam{seam.at("frame"), numberOf(seam.at("time")), seam.at("packet"), seam.at("luma_md5")};
}

PartFacts factsOf(const Json &part) {
  return {{part.at("start_frame"), optionalOf<std::int64_t>(part.at("end_frame"))},
          part.at("has_end"),
          seamOf(part.at("before")),
          seamOf(part.at("last")),
          {part.at("first_packet"), textOf(part.at("decoding"))}};
}

InputEnd endOf(const Json &document) {
  InputEnd end;
  for (const Json &error : document.at("decode_errors"))
    end.errors.push_back({.frame = error.at("frame"),
                          .time = numberOf(error.at("time")),
                          .message = error.at("message"),
                          .kind = error.at("kind") == kindName(DecodeErrorKind::missing)
                                      ? DecodeErrorKind::missing
                                      : DecodeErrorKind::undecodable,
                          .missing = error.at("missing"),
                          .endTime = error.at("end").is_null()
                                         ? std::nullopt
                                         : std::optional(numberOf(error.at("end")))});
  end.reason = textOf(document.at("part").at("doubt"));
  end.doubtful = !end.reason.empty();
  end.interrupted = document.at("interrupted");
  end.warnings = document.at("warnings").get<std::vector<std::string>>();
  end.changed = document.at("part").at("changed");
  return end;
}

/// The line of a document that begins with the member, up to the line with `last`; empty where
/// there is none.
std::string lineOf(const std::filesystem::path &json, const std::string &member,
                   const std::string &last) {
  std::ifstream file(json, std::ios::binary);
  for (std::string line; std::getline(file, line) && !line.starts_with(jsonText(last));)
    if (line.starts_with(jsonText(member)))
      return line;
  return "";
}

} // namespace

bool isPart(const std::filesystem::path &json) {
  std::string line = lineOf(json, "settings", "frames");
  if (line.ends_with(','))
    line.pop_back();
  const Json document = parsedJson("{" + line + "}");
  return document.is_object() && document.contains("settings") &&
         document["settings"].is_object() &&
         document["settings"].value("range", Json()).is_string();
}

std::optional<PartFile> readPart(const std::filesystem::path &json) {
  if (!std::ifstream(json))
    throw InputError("it cannot be read");
  const Json document = readWithoutFrames(json);
  if (!document.is_object() || document.value("schema", Json()) != SCHEMA ||
      !document.contains("part"))
    return std::nullopt;
  try {
    PartFile part;
    part.json = part.csv = json;
    part.input = jsonText(document.at("input"));
    part.csv.replace_extension(".csv");
    part.info = infoOf(document.at("input"));
    part.settings = settingsOf(document);
    part.profile = document.at("profile").at("name");
    part.rules = jsonText(document.at("profile").at("rules"));
    part.frames = document.at("measured").at("frames");
    part.framesInJson = !lineOf(json, "frames", "part").empty();
    part.facts = factsOf(document.at("part"));
    part.end = endOf(document);
    part.name = wholeName(json.stem().string(), part.facts.range);
    const std::optional<ContentDigest> csv = digestOf(part.csv);
    if (!csv || digestJson(*csv) != document.at("csv"))
      throw InputError(fmt::format("{} is not there, or not the one that it was written with: "
                                   "measure the part again",
                                   part.csv.filename().string()));
    return part;
  } catch (const Json::exception &) {
    throw InputError("it was written by another version of this program");
  }
}

void readRows(const PartFile &part, const std::function<void(const FrameRecord &)> &use) {
  std::ifstream file(part.csv, std::ios::binary);
  std::int64_t rows = 0;
  try {
    readFrames(file, [&](const FrameRecord &record) {
      if (record.frame != part.facts.range.begin + rows++)
        throw std::runtime_error(fmt::format("frame {} is not where it belongs", record.frame));
      use(record);
    });
  } catch (const std::runtime_error &error) {
    throw InputError(fmt::format("{}: {}", part.csv.string(), error.what()));
  }
  if (rows != part.frames)
    throw InputError(
        fmt::format("{}: it holds {} frames instead of {}", part.csv.string(), rows, part.frames));
}

std::string rulesText(const Profile &profile) {
  return jsonText(rulesJson(profile));
}

} // namespace lumagauge::qc
