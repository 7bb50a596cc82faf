// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/csv.h"

#include <cmath>
#include <fmt/format.h>
#include <iterator>

namespace lumagauge::qc {

std::string csvNumber(double value) {
  // pandas takes other spellings as well, R's read.csv these alone.
  if (std::isnan(value))
    return "NaN";
  if (std::isinf(value))
    return value > 0 ? "Inf" : "-Inf";
  return fmt::format("{}", value);
}

std::string csvField(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos)
    return std::string(text);
  std::string field = "\"";
  for (const char c : text)
    field.append(c == '"' ? 2 : 1, c);
  return field + '"';
}

CsvWriter::CsvWriter(std::ostream &target) : stream(target) {
  stream << "frame,time,picture_type";
  for (const std::string_view name : INDICATOR_NAMES)
    stream << ',' << name;
  stream << "\r\n";
}

void CsvWriter::add(const FrameRecord &record) {
  std::string row = fmt::format("{},{},", record.frame, csvNumber(record.time));
  if (record.pictureType != '?')
    row += record.pictureType;
  for (const IndicatorInfo &info : INDICATORS) {
    row += ',';
    if (const std::optional<double> &value = record[info.indicator])
      row += csvNumber(*value);
  }
  stream << row << "\r\n";
}

} // namespace lumagauge::qc
