// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/batch.h"
#include "qc/report/console.h"

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
               .rules = judgement.rules,
               .broken = {}};
  for (const BrokenRule &broken : judgement.broken)
    row.broken.push_back(broken.kind);
  for (const NotJudged &rule : judgement.notJudged)
    row.notJudged.push_back(rule.kind);
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i)
    if (judgement.summaries[i].count > 0)
      row.means[i] = judgement.summaries[i].mean;
  return row;
}

void printBatchTable(std::ostream &stream, const std::vector<BatchRow> &rows, std::size_t notBegun,
                     bool onlyWorst) {
  const auto verdictOf = [](const BatchRow &row) {
    return verdictText(row.verdict, row.rules - row.notJudged.size(), row.rules);
  };
  const auto isLeftOut = [&](const BatchRow &row) {
    return onlyWorst && (row.verdict == Verdict::pass || row.verdict == Verdict::warn);
  };
  std::size_t width = 5, verdictWidth = 10;
  for (const BatchRow &row : rows) {
    if (isLeftOut(row))
      continue;
    width = std::max(width, printable(row.path).size());
    verdictWidth = std::max(verdictWidth, verdictOf(row).size());
  }
  fmt::print(stream, "{:<{}}  {:<{}}  {:>8}  {:>12}  {:>6}  {}\n", "verdict", verdictWidth, "input",
             width, "frames", "duration", "events", "why");
  std::array<int, 4> counts{};
  for (const BatchRow &row : rows) {
    ++counts[static_cast<std::size_t>(row.verdict)];
    if (isLeftOut(row))
      continue;
    const std::string why = row.verdict == Verdict::unmeasured
                                ? printable(row.reason)
                                : fmt::format("{}", fmt::join(row.broken, ", "));
    fmt::print(stream, "{:<{}}  {:<{}}  {:>8}  {:>12}  {:>6}  {}{}\n", verdictOf(row), verdictWidth,
               printable(row.path), width, row.frames, clockTime(row.duration), row.events, why,
               row.resumed ? " (earlier result)" : "");
  }
  fmt::print(stream, "{} input{}: {} pass, {} warn, {} fail, {} unmeasured{}\n", rows.size(),
             rows.size() == 1 ? "" : "s", counts[0], counts[1], counts[2], counts[3],
             notBegun > 0 ? fmt::format("; interrupted, {} more not begun", notBegun) : "");
}

} // namespace lumagauge::qc
