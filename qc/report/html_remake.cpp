// SPDX-License-Identifier: BSD-2-Clause
//
// A page from a result that was written before.
#include "qc/report/csv.h"
#include "qc/report/html.h"
#include "qc/report/html_text.h"
#include "qc/source/source.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

using Use = std::function<void(const FrameRecord &)>;

FrameRecord recordOf(const Json &frame) {
  const auto valueOf = [](const Json &value) {
    return value.is_null() ? std::nullopt : std::optional(numberOf(value));
  };
  FrameRecord record;
  record.frame = frame.at("frame");
  record.time = numberOf(frame.at("time"));
  if (const Json &type = frame.at("picture_type"); type.is_string())
    record.pictureType = type.get_ref<const std::string &>().at(0);
  record.shot = frame.at("shot");
  for (const IndicatorInfo &info : INDICATORS)
    if (const auto value = frame.find(std::string(info.name)); value != frame.end())
      record[info.indicator] = valueOf(*value);
  return record;
}

/// The document without its frames, each of which `use` is called for as it is read.
Json readDocument(const fs::path &path, const Use &use) {
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw InputError("it cannot be read");
  std::string member;
  const auto handle = [&](int depth, Json::parse_event_t event, Json &parsed) {
    if (depth == 1 && event == Json::parse_event_t::key)
      member = parsed.get<std::string>();
    if (member != "frames" || depth != 2 || event != Json::parse_event_t::object_end)
      return true;
    if (use)
      use(recordOf(parsed));
    return false;
  };
  Json document = Json::parse(file, handle);
  if (!document.is_object() || document.value("schema", "") != SCHEMA)
    throw InputError("it is no result of lumagauge-qc, a NAME.json that -o DIR writes");
  return document;
}

std::uint32_t maskOf(const Json &document) {
  std::uint32_t mask = 0;
  for (const Json &name : document.at("settings").at("indicators")) {
    const auto found = std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(),
                                 name.get_ref<const std::string &>());
    if (found != INDICATOR_NAMES.end())
      mask |= 1U << (found - INDICATOR_NAMES.begin());
  }
  return mask;
}

/// Gives the frames of the CSV beside the document, where it is the one that belongs to it, and of
/// the document otherwise.
void readFramesOf(const fs::path &json, const Json &document, const Use &use) {
  const fs::path csv = fs::path(json).replace_extension(".csv");
  const std::optional<ContentDigest> digest = digestOf(csv);
  const bool belongs = digest && document.at("csv") == digestJson(*digest);
  if (belongs) {
    std::ifstream file(csv, std::ios::binary);
    readFrames(file, use);
  } else if (document.contains("frames")) {
    readDocument(json, use);
  } else {
    throw InputError("it has no frames (--no-frames), and " + csv.string() +
                     (digest ? " is not the one that it was written with"
                             : ", which would have them, cannot be read"));
  }
}

} // namespace

MeasuredVideo measuredVideo(const std::string &text) {
  const Json document = Json::parse(text);
  const Json &input = document.at("input"), &settings = document.at("settings");
  MeasuredVideo video;
  if (settings.at("source").is_string())
    video.source = settings.at("source");
  video.stream = input.at("stream");
  if (input.at("start_time").is_number())
    video.startTime = input.at("start_time").get<double>();
  video.streamTimes = settings.at("stream_times");
  if (const Json &file = input.at("file"); file.is_object())
    video.ends = {file.at("size"), file.at("ends_sha256")};
  return video;
}

void remakeReport(const fs::path &json, const fs::path &html, const PictureMaker &pictures) try {
  Json document = readDocument(json, nullptr);
  const std::string name = json.stem().string();
  HtmlReport report(html, name, maskOf(document));
  ShownFrames index;
  readFramesOf(json, document, [&](const FrameRecord &record) {
    if (index.count() > 0 && record.frame != index.first + index.count())
      throw InputError("frame " + std::to_string(record.frame) + " is out of order");
    index.add(record);
    report.add(record);
  });
  document.erase("frames");
  const std::string text = jsonText(document);
  const bool isBeside = fs::absolute(json).parent_path() == fs::absolute(html).parent_path();
  std::optional<ReportPictures> made;
  if (pictures)
    made = pictures(text, index);
  report.finish(text, isBeside ? json.filename().string() : "", made ? &*made : nullptr);
} catch (const Json::exception &) {
  throw InputError(
      json.string() +
      ": it is no result of lumagauge-qc, or not all of one: expected a NAME.json that "
      "-o DIR writes; measure the input again");
} catch (const std::runtime_error &error) {
  if (dynamic_cast<const OutputError *>(&error) != nullptr)
    throw;
  throw InputError(json.string() + ": " + error.what());
}

} // namespace lumagauge::qc
