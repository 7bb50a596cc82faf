// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/summary_file.h"
#include "qc/report/atomic_file.h"
#include "qc/report/batch.h"
#include "qc/report/csv.h"
#include "qc/report/output.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <fstream>
#include <iterator>
#include <set>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

using Record = std::vector<std::string>;
constexpr std::size_t NAME_COLUMN = 8;

fs::path summaryIn(const fs::path &folder) {
  return folder / (std::string(SUMMARY_NAME) + ".csv");
}

Record header() {
  Record names{"input",  "verdict",      "exit_status", "frames", "duration",
               "events", "broken_rules", "reason",      "name",   "not_judged"};
  for (const std::string_view name : INDICATOR_NAMES)
    names.push_back(fmt::format("mean_{}", name));
  return names;
}

Record recordOf(const BatchRow &row) {
  Record fields{escapedText(row.path),
                std::string(verdictName(row.verdict)),
                std::to_string(exitStatus(row.verdict)),
                std::to_string(row.frames),
                csvNumber(row.duration),
                std::to_string(row.events),
                fmt::format("{}", fmt::join(row.broken, ";")),
                escapedText(row.reason),
                escapedText(row.name),
                fmt::format("{}", fmt::join(row.notJudged, ";"))};
  for (const std::optional<double> &mean : row.means)
    fields.push_back(mean ? csvNumber(*mean) : "");
  return fields;
}

/// None where there is no summary or one of other columns.
std::vector<Record> recordsIn(const fs::path &path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) // opening a pipe would wait
    return {};
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file)
    throw OutputError(path.string() + ": its rows of other results cannot be read");
  std::vector<Record> records = csvRecords(text);
  if (records.empty() || records.front() != header())
    return {};
  records.erase(records.begin());
  std::erase_if(records, [](const Record &record) { return record.size() != header().size(); });
  return records;
}

/// With the rows that the file holds of other results, or in place of them.
void putRows(const fs::path &folder, const std::vector<BatchRow> &rows, bool keepsOthers) {
  const fs::path path = summaryIn(folder);
  OpenFolder opened(folder);
  opened.lock(); // other runs change the file too, from what they read in it
  AtomicFile summary(path);
  const auto put = [&](const Record &record) {
    for (std::size_t i = 0; i < record.size(); ++i)
      summary.stream() << (i > 0 ? "," : "") << csvField(record[i]);
    summary.stream() << "\r\n";
  };
  put(header());
  std::set<std::string> names;
  for (const BatchRow &row : rows) {
    put(recordOf(row));
    names.insert(escapedText(row.name));
  }
  if (keepsOthers)
    for (const Record &earlier : recordsIn(path))
      if (!names.contains(earlier[NAME_COLUMN]))
        put(earlier);
  summary.seal();
  summary.commit();
  opened.sync();
}

} // namespace

std::vector<SummaryRow> readSummary(const fs::path &folder) {
  std::vector<SummaryRow> rows;
  for (const Record &fields : recordsIn(summaryIn(folder)))
    rows.push_back({.input = fields[0],
                    .name = unescapedText(fields[NAME_COLUMN]),
                    .verdict = fields[1],
                    .frames = fields[3],
                    .duration = fields[4],
                    .events = fields[5],
                    .reason = fields[7]});
  return rows;
}

void writeSummary(const fs::path &folder, const std::vector<BatchRow> &rows) {
  putRows(folder, rows, true);
}

void replaceSummary(const fs::path &folder, const std::vector<BatchRow> &rows) {
  putRows(folder, rows, false);
}

} // namespace lumagauge::qc
