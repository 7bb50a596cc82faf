// SPDX-License-Identifier: BSD-2-Clause
//
// index.html of a folder: a row for each report in it, read from the reports.
#include "qc/report/html.h"
#include "qc/report/html_text.h"
#include "qc/report/output.h"
#include "qc/report/page.h"
#include "qc/report/summary_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

/// The row begins in the first so many bytes of a page; it may end later.
constexpr std::size_t HEAD_BYTES = std::size_t{1} << 16, MOST_ROW_BYTES = std::size_t{1} << 18;
/// Of all strips of an index together; the rows behind show none.
constexpr std::size_t MOST_STRIP_BYTES = std::size_t{24} << 20;
constexpr std::string_view ENDING = ".html";

/// A file name as part of a URL: everything but letters, digits and "-._~" by its bytes.
std::string percentEncoded(std::string_view name) {
  std::string text;
  for (const char c : name) {
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                         (c >= 'a' && c <= 'z') || std::string_view("-._~").find(c) < 4;
    text += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return text;
}

Json number(const std::string &text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() ? Json(value) : Json(nullptr);
}

/// For a result without a page.
Json rowOf(const SummaryRow &summary) {
  return {{"schema", ROW_SCHEMA},
          {"name", summary.name},
          {"path", summary.input},
          {"verdict", summary.verdict},
          {"reason", summary.reason.empty() ? Json(nullptr) : Json(summary.reason)},
          {"frames", number(summary.frames)},
          {"duration", number(summary.duration)},
          {"events", Json::array()},
          {"moreEvents", number(summary.events)},
          {"report", nullptr}};
}

/// What the last run says of a result counts where its page is of an earlier one.
void bringUpToDate(Json &row, const SummaryRow &summary) {
  if (row.at("verdict") == summary.verdict)
    return;
  row["verdict"] = summary.verdict;
  row["reason"] = (summary.reason.empty() ? "" : summary.reason + "; ") +
                  std::string("the report is that of an earlier run");
}

/// The strips of the worst verdicts stay where all would make the page too large to open.
void limitStrips(std::vector<Json> &rows) {
  const auto weight = [](const Json &row) {
    const Json &verdict = row.at("verdict");
    return verdict == verdictName(Verdict::fail)   ? 2
           : verdict == verdictName(Verdict::warn) ? 1
                                                   : 0;
  };
  std::vector<Json *> order;
  for (Json &row : rows)
    if (row.contains("strip"))
      order.push_back(&row);
  std::stable_sort(order.begin(), order.end(),
                   [&](const Json *a, const Json *b) { return weight(*a) > weight(*b); });
  std::size_t bytes = 0;
  for (Json *row : order)
    if ((bytes += row->at("strip").get_ref<const std::string &>().size()) > MOST_STRIP_BYTES)
      row->erase("strip");
}

/// By the name of the result.
std::map<std::string, Json> reportsIn(const fs::path &folder) {
  std::map<std::string, Json> rows;
  std::error_code error;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
    const std::string file = entry.path().filename().string();
    if (!file.ends_with(ENDING) || file == INDEX_NAME + std::string(ENDING) ||
        !entry.is_regular_file(error))
      continue;
    Json row = rowOfReport(entry.path());
    if (!row.is_object())
      continue;
    row.erase("result");
    row["report"] = percentEncoded(file);
    rows.emplace(file.substr(0, file.size() - ENDING.size()), std::move(row));
  }
  if (error)
    throw OutputError(folder.string() + ": its reports cannot be listed: " + error.message());
  return rows;
}

fs::path indexIn(const fs::path &folder) {
  return folder / (INDEX_NAME + std::string(ENDING));
}

} // namespace

Json rowOfReport(const fs::path &html) {
  std::ifstream file(html, std::ios::binary);
  std::string text(HEAD_BYTES, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  const std::string start = scriptStart(ROW_ID);
  const std::size_t begin = text.find(start);
  if (begin == std::string::npos)
    return nullptr;
  std::size_t end = text.find(SCRIPT_END, begin);
  if (end == std::string::npos) {
    std::string rest(MOST_ROW_BYTES, '\0');
    file.read(rest.data(), static_cast<std::streamsize>(rest.size()));
    text.append(rest, 0, static_cast<std::size_t>(file.gcount()));
    end = text.find(SCRIPT_END, begin);
  }
  if (end == std::string::npos)
    return nullptr;
  const std::size_t from = begin + start.size();
  Json row = Json::parse(text.substr(from, end - from), nullptr, false);
  // It is read by whatever wrote the file.
  const auto isText = [&](const char *member) {
    return row.contains(member) && row[member].is_string();
  };
  const bool isRow = row.is_object() && isText("schema") && row["schema"] == ROW_SCHEMA &&
                     isText("verdict") && isText("tool") && isText("result") &&
                     (!row.contains("strip") || isText("strip"));
  return isRow ? row : Json(nullptr);
}

bool isReportOf(const fs::path &html, const fs::path &json) {
  const Json row = rowOfReport(html);
  const Json document = row.is_null() ? Json() : readWithoutFrames(json);
  return document.is_object() && row.contains("video") && row["video"] == true &&
         row["tool"] == LUMAGAUGE_VERSION && row["result"] == documentDigest(document);
}

bool hasIndex(const fs::path &folder) {
  std::error_code error;
  return fs::exists(indexIn(folder), error);
}

void writeIndex(const fs::path &folder) {
  OpenFolder opened(folder);
  opened.lock(); // other runs write it too
  std::map<std::string, Json> reports = reportsIn(folder);
  for (const SummaryRow &summary : readSummary(folder))
    if (const auto report = reports.find(summary.name); report != reports.end())
      bringUpToDate(report->second, summary);
    else
      reports.emplace(summary.name, rowOf(summary));
  std::vector<Json> rows;
  for (auto &[name, row] : reports) {
    std::error_code error;
    const std::string json = name + ".json";
    row["json"] = fs::exists(folder / json, error) ? Json(percentEncoded(json)) : Json(nullptr);
    rows.push_back(std::move(row));
  }
  limitStrips(rows);
  AtomicFile file(indexIn(folder));
  const std::size_t marker = INDEX_PAGE.find(PAGE_MARKER);
  file.stream() << INDEX_PAGE.substr(0, marker) << scriptStart("batch")
                << scriptText(
                       {{"schema", INDEX_SCHEMA}, {"tool", LUMAGAUGE_VERSION}, {"rows", rows}})
                << SCRIPT_END << '\n'
                << INDEX_PAGE.substr(marker + PAGE_MARKER.size());
  file.seal();
  file.commit();
  opened.sync();
}

} // namespace lumagauge::qc
