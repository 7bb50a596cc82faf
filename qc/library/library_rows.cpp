// SPDX-License-Identifier: BSD-2-Clause
//
// What is read out of library.sqlite, and the frames, which are its largest part.
#include "qc/library/library.h"

#include "qc/report/csv.h"
#include "qc/source/source.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>

namespace lumagauge::qc {

namespace {

Verdict verdictOf(const std::string &name) {
  for (const Verdict v : {Verdict::pass, Verdict::warn, Verdict::fail})
    if (name == verdictName(v))
      return v;
  return Verdict::unmeasured;
}

/// The fields of a row of NAME.csv, none of which is in quotes.
std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  line = line.substr(0, line.find('\r'));
  for (std::size_t at = 0, end = 0; end != std::string_view::npos; at = end + 1) {
    end = line.find(',', at);
    fields.push_back(line.substr(at, end - at));
  }
  return fields;
}

std::optional<double> numberIn(std::string_view field) {
  double value = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && end == field.data() + field.size() ? std::optional(value)
                                                                    : std::nullopt;
}

std::vector<std::string> frameColumns() {
  std::vector<std::string> columns{"frame", "time", "picture_type"};
  columns.insert(columns.end(), INDICATOR_NAMES.begin(), INDICATOR_NAMES.end());
  columns.emplace_back("shot");
  return columns;
}

} // namespace

std::vector<BatchRow> Library::rows() {
  std::vector<BatchRow> rows;
  std::unordered_map<std::int64_t, std::size_t> places; // by id
  Statement inputs(database, "SELECT id, name, path, verdict, reason, frames, duration, rules "
                             "FROM inputs ORDER BY name");
  for (bool isThere = inputs(); isThere; isThere = inputs.next()) {
    places[inputs.integer(0)] = rows.size();
    rows.push_back({.path = unescapedText(inputs.text(2)),
                    .name = unescapedText(inputs.text(1)),
                    .verdict = verdictOf(inputs.text(3)),
                    .reason = unescapedText(inputs.text(4)),
                    .frames = inputs.integer(5),
                    .duration = inputs.real(6),
                    .rules = static_cast<std::size_t>(inputs.integer(7)),
                    .broken = {}});
  }
  const auto each = [&](const char *sql, const auto &use) {
    Statement statement(database, sql);
    for (bool isThere = statement(); isThere; isThere = statement.next())
      use(rows[places.at(statement.integer(0))], statement);
  };
  each("SELECT input_id, count(*) FROM events GROUP BY input_id",
       [](BatchRow &row, const Statement &s) { row.events = s.integer(1); });
  each("SELECT input_id, kind FROM broken_rules ORDER BY input_id, number",
       [](BatchRow &row, const Statement &s) { row.broken.push_back(s.text(1)); });
  each("SELECT input_id, kind FROM not_judged ORDER BY input_id, number",
       [](BatchRow &row, const Statement &s) { row.notJudged.push_back(s.text(1)); });
  each("SELECT input_id, indicator, mean FROM summaries WHERE count > 0",
       [](BatchRow &row, const Statement &s) {
         const auto name = std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(), s.text(1));
         if (name != INDICATOR_NAMES.end())
           row.means[static_cast<std::size_t>(name - INDICATOR_NAMES.begin())] =
               s.isNull(2) ? std::numeric_limits<double>::quiet_NaN() : s.real(2);
       });
  return rows;
}

std::vector<std::string> Library::unmeasuredNames() {
  std::vector<std::string> names;
  Statement statement(database, "SELECT name FROM inputs WHERE state <> 'measured'");
  for (bool isThere = statement(); isThere; isThere = statement.next())
    names.push_back(unescapedText(statement.text(0)));
  return names;
}

void Library::putFrames(const std::filesystem::path &csv) {
  const std::vector<std::string> columns = frameColumns();
  database.run(fmt::format(
      "CREATE TABLE IF NOT EXISTS frames (input_id INTEGER NOT NULL REFERENCES inputs ON DELETE "
      "CASCADE, frame INTEGER NOT NULL, time REAL, picture_type TEXT, {} REAL, shot INTEGER, "
      "PRIMARY "
      "KEY (input_id, frame)) WITHOUT ROWID",
      fmt::join(INDICATOR_NAMES, " REAL, ")));
  std::ifstream file(csv, std::ios::binary);
  std::string line;
  if (!std::getline(file, line) || line != fmt::format("{}\r", fmt::join(columns, ",")))
    throw InputError(csv.string() + ": its columns are not those of this version");
  Statement insertion(database,
                      fmt::format("INSERT INTO frames (input_id, {}) VALUES (?{})",
                                  fmt::join(columns, ", "),
                                  fmt::join(std::vector<const char *>(columns.size(), ", ?"), "")));
  while (std::getline(file, line)) {
    const std::vector<std::string_view> fields = fieldsOf(line);
    if (fields.size() != columns.size())
      throw InputError(csv.string() + ": a row of it has another number of columns");
    insertion.reset();
    insertion.bind(1, inputId);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const int index = static_cast<int>(i) + 2;
      if (columns[i] == "picture_type")
        insertion.bind(index, std::string(fields[i]));
      else
        insertion.bind(index, numberIn(fields[i])); // an integer where the column is one
    }
    insertion.next();
  }
  Statement(database, "UPDATE inputs SET has_frames = 1 WHERE id = ?")(inputId);
}

} // namespace lumagauge::qc
