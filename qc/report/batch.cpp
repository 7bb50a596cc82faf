// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/batch.h"
#include "qc/report/console.h"
#include "qc/report/csv.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ostream.h>

namespace lumagauge::qc {

BatchRow batchRow(const std::string &path, const Judgement &judgement) {
  BatchRow row{.path = path,
               .verdict = judgement.verdict,
               .reason = judgement.reason,
               .frames = judgement.frames,
               .duration = judgement.duration,
               .events = static_cast<std::int64_t>(judgement.events.size()),
               .broken = {}};
  for (const BrokenRule &broken : judgement.broken)
    row.broken.push_back(broken.kind);
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
    if (judgement.summaries[i].count > 0)
      row.means[i] = judgement.summaries[i].mean;
  return row;
}

void printBatchTable(std::ostream &stream, const std::vector<BatchRow> &rows) {
  std::size_t width = 5;
  for (const BatchRow &row : rows)
    width = std::max(width, printable(row.path).size());
  fmt::print(stream, "{:<10}  {:<{}}  {:>8}  {:>12}  {:>6}  {}\n", "verdict", "input", width,
             "frames", "duration", "events", "why");
  std::array<int, 4> counts{};
  for (const BatchRow &row : rows) {
    ++counts[static_cast<std::size_t>(row.verdict)];
    const std::string why = row.verdict == Verdict::unmeasured
                                ? printable(row.reason)
                                : fmt::format("{}", fmt::join(row.broken, ", "));
    fmt::print(stream, "{:<10}  {:<{}}  {:>8}  {:>12}  {:>6}  {}{}\n", verdictName(row.verdict),
               printable(row.path), width, row.frames, clockTime(row.duration), row.events, why,
               row.resumed ? " (earlier result)" : "");
  }
  fmt::print(stream, "{} input{}: {} pass, {} warn, {} fail, {} unmeasured\n", rows.size(),
             rows.size() == 1 ? "" : "s", counts[0], counts[1], counts[2], counts[3]);
}

void writeBatchCsv(std::ostream &stream, const std::vector<BatchRow> &rows) {
  stream << "input,verdict,exit_status,frames,duration,events,broken_rules,reason";
  for (const std::string_view name : INDICATOR_NAMES)
    stream << ",mean_" << name;
  stream << "\r\n";
  for (const BatchRow &row : rows) {
    fmt::print(stream, "{},{},{},{},{},{},{},{}", csvField(row.path), verdictName(row.verdict),
               exitStatus(row.verdict), row.frames, csvNumber(row.duration), row.events,
               fmt::join(row.broken, ";"), csvField(row.reason));
    for (const std::optional<double> &mean : row.means)
      stream << ',' << (mean ? csvNumber(*mean) : "");
    stream << "\r\n";
  }
}

} // namespace lumagauge::qc
