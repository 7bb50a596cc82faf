// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/html.h"
#include "qc/report/html_text.h"
#include "qc/report/page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>

extern "C" {
#include <libavutil/base64.h>
}

namespace lumagauge::qc {

namespace {

/// Of the packed values: with base64 and pictures a report of two hours stays below 8 MB.
constexpr std::size_t MOST_PACKED_BYTES = 4'900'000;
/// Events in the row of an index.
constexpr std::size_t MOST_ROW_EVENTS = 40;

void writeScript(std::ostream &stream, std::string_view id, const Json &data) {
  stream << scriptStart(id) << scriptText(data) << SCRIPT_END << '\n';
}

/// The indicators that conditions anywhere in the rules look at.
void noteIndicators(const Json &rules, std::uint32_t &mask) {
  for (const auto &[key, value] : rules.items()) {
    if (value.is_structured())
      noteIndicators(value, mask);
    else if (rules.is_object() && key == "indicator" && value.is_string())
      if (const auto signal = parseSignal(value.get_ref<const std::string &>()))
        mask |= bit(signal->indicator);
  }
}

Json decimalJson(Decimal4 value) {
  switch (value.exponent) {
  case Decimal4::NO_VALUE:
    return nullptr;
  case Decimal4::NOT_A_NUMBER:
    return jsonNumber(std::nan(""));
  case Decimal4::INFINITE:
    return jsonNumber(HUGE_VAL);
  case Decimal4::MINUS_INFINITE:
    return jsonNumber(-HUGE_VAL);
  default:
    return std::strtod(
        (std::to_string(value.mantissa) + 'e' + std::to_string(value.exponent)).c_str(), nullptr);
  }
}

Json framesJson(const PackedFrames &packed) {
  Json columns = Json::array();
  for (const Column &column : packed.columns) {
    Json &entry = columns.emplace_back(
        Json{{"name", column.name}, {"encoding", encodingName(column.encoding)}});
    if (column.encoding == Encoding::microseconds)
      entry["start"] = column.start;
    if (column.encoding == Encoding::constant)
      entry["value"] =
          column.letter != 0 ? Json(std::string(1, column.letter)) : decimalJson(column.value);
  }
  return {{"count", packed.count},
          {"first", packed.first},
          {"omitted", packed.omitted},
          {"columns", columns},
          {"packed", base64(packed.gzip)}};
}

Json thumbnailJson(const Thumbnail &picture) {
  return {{"frame", picture.frame},
          {"time", picture.time},
          {"width", picture.width},
          {"height", picture.height},
          {"jpeg", base64(picture.jpeg)}};
}

Json thumbnailJson(const std::optional<Thumbnail> &picture) {
  return picture ? thumbnailJson(*picture) : Json(nullptr);
}

Json picturesJson(const ReportPictures &pictures) {
  Json strip = Json::array(), events = Json::array();
  for (const Thumbnail &picture : pictures.strip)
    strip.push_back(thumbnailJson(picture));
  for (const EventPictures &event : pictures.events)
    events.push_back({{"event", event.event},
                      {"before", thumbnailJson(event.before)},
                      {"worst", thumbnailJson(event.worst)},
                      {"after", thumbnailJson(event.after)}});
  return {{"note", pictures.note}, {"aspect", pictures.aspect},   {"strip", strip},
          {"events", events},      {"without", pictures.without}, {"reason", pictures.reason}};
}

Json indicatorsJson() {
  Json list = Json::array();
  for (const IndicatorInfo &info : INDICATORS)
    list.push_back({{"name", info.name},
                    {"unit", info.unit},
                    {"worse", info.worse == Worse::higher  ? "higher"
                              : info.worse == Worse::lower ? "lower"
                                                           : "extremes"},
                    {"core", (CORE_INDICATORS & bit(info.indicator)) != 0}});
  return list;
}

/// The places of the events in the document, the worst one's first.
std::vector<std::size_t> worstFirst(const Json &events) {
  const auto rank = [&](std::size_t i) {
    const Json &severity = events[i].at("severity");
    const int weight = severity == severityName(Severity::fail)   ? 2
                       : severity == severityName(Severity::warn) ? 1
                                                                  : 0;
    return std::pair(weight, numberOf(events[i].at("end")) - numberOf(events[i].at("start")));
  };
  std::vector<std::size_t> order(events.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return rank(a) > rank(b); });
  return order;
}

/// Whether less than the whole video was measured. What a file says of its duration is not enough:
/// its sound may be longer, and pictures may be missing.
bool isOfPart(const Json &document) {
  const Json &settings = document.at("settings"), &whole = document.at("input").at("duration"),
             &measured = document.at("measured");
  const auto asked = [&](const char *name) { return settings.value(name, Json()); };
  const std::int64_t frames = measured.at("frames");
  if (frames == 0)
    return false;
  const double duration = numberOf(measured.at("duration")),
               frameTime = duration / static_cast<double>(frames);
  const bool isAll = whole.is_number() && duration >= whole.get<double>() - frameTime,
             isEnded = asked("frames").is_number() && frames >= asked("frames").get<std::int64_t>(),
             isAsked = isEnded || !asked("start").is_null() || !asked("duration").is_null() ||
                       !asked("range").is_null();
  return !isAll && (isAsked || document.value("interrupted", false));
}

Json rowJson(const std::string &name, const Json &document, const std::string &json,
             const ReportPictures *pictures) {
  const Json &all = document.at("events");
  Json events = Json::array();
  for (const std::size_t i : worstFirst(all))
    if (events.size() < MOST_ROW_EVENTS)
      events.push_back({{"kind", all[i].at("kind")},
                        {"severity", all[i].at("severity")},
                        {"start", all[i].at("start")},
                        {"end", all[i].at("end")}});
  Json row{{"schema", ROW_SCHEMA},
           {"tool", document.at("tool").at("version")},
           {"name", name},
           {"path", document.at("input").at("path")},
           {"verdict", document.at("verdict")},
           {"reason", document.at("reason")},
           {"frames", document.at("measured").at("frames")},
           {"duration", document.at("measured").at("duration")},
           {"part", isOfPart(document)},
           {"events", events},
           {"moreEvents", all.size() - events.size()},
           {"result", documentDigest(document)},
           {"json", json.empty() ? Json(nullptr) : Json(json)},
           {"video", pictures != nullptr}};
  if (pictures != nullptr && !pictures->sprite.empty())
    row["strip"] = "data:image/jpeg;base64," + base64(pictures->sprite);
  return row;
}

/// Without what nobody looks at here: a film has thousands of shots.
Json withoutMeans(Json document) {
  for (Json &shot : document.at("shots"))
    shot.erase("mean");
  return document;
}

} // namespace

std::string base64(std::string_view bytes) {
  std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
  av_base64_encode(text.data(), static_cast<int>(text.size()),
                   reinterpret_cast<const std::uint8_t *>(bytes.data()),
                   static_cast<int>(bytes.size()));
  text.pop_back(); // the zero at the end
  return text;
}

std::string scriptText(const Json &data) {
  const std::string text = jsonText(data);
  std::string escaped;
  escaped.reserve(text.size());
  // '<' is nowhere but in strings. The two separators end lines for older scripts.
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isSeparator = text.compare(i, 2, "\xe2\x80") == 0 && i + 2 < text.size() &&
                             (text[i + 2] == '\xa8' || text[i + 2] == '\xa9');
    if (text[i] == '<')
      escaped += "\\u003c";
    else if (isSeparator)
      escaped += text[i + 2] == '\xa8' ? "\\u2028" : "\\u2029";
    else
      escaped += text[i];
    i += isSeparator ? 2 : 0;
  }
  return escaped;
}

std::string scriptStart(std::string_view id) {
  return "<script type=\"application/json\" id=\"" + std::string(id) + "\">";
}

std::string documentDigest(const Json &document) {
  const std::string text = jsonText(document);
  Sha256 digest;
  digest.add(text.data(), text.size());
  return digest.finish();
}

std::vector<PictureWish> pictureWishes(const std::string &document) {
  const Json events = Json::parse(document).at("events");
  std::vector<PictureWish> wishes;
  for (const std::size_t i : worstFirst(events)) {
    const auto worst = events[i].find("worst_frame");
    wishes.push_back(
        {i, events[i].at("kind"), events[i].at("start_frame"), events[i].at("end_frame"), {}});
    if (worst != events[i].end() && worst->is_number())
      wishes.back().worstFrame = worst->get<std::int64_t>();
  }
  return wishes;
}

HtmlReport::HtmlReport(const std::filesystem::path &path, std::string called,
                       std::uint32_t indicators)
    : folder(path.has_parent_path() ? path.parent_path() : "."), name(std::move(called)),
      file(path), frames(indicators) {}

void HtmlReport::finish(const std::string &text, const std::string &json,
                        const ReportPictures *pictures) {
  const Json document = Json::parse(text);
  std::uint32_t needed = CORE_INDICATORS;
  noteIndicators(document.at("profile").at("rules"), needed);
  const PackedFrames packed = frames.finish(MOST_PACKED_BYTES, ALL_INDICATORS & ~needed);

  const std::size_t marker = REPORT_PAGE.find(PAGE_MARKER);
  std::ostream &stream = file.stream();
  stream << REPORT_PAGE.substr(0, marker);
  writeScript(stream, ROW_ID, rowJson(name, document, json, pictures));
  writeScript(stream, "result", withoutMeans(document));
  writeScript(stream, "frames", framesJson(packed));
  if (pictures != nullptr)
    writeScript(stream, "pictures", picturesJson(*pictures));
  writeScript(stream, "indicators", indicatorsJson());
  stream << REPORT_PAGE.substr(marker + PAGE_MARKER.size());
  file.seal();
  file.commit();
  OpenFolder(folder).sync();
}

} // namespace lumagauge::qc
