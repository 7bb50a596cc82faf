// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/csv.h"

#include <fmt/format.h>

extern "C" {
#include <libavutil/avstring.h>
}

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace lumagauge::qc {

namespace {

template <class Number> Number numberIn(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw std::runtime_error(fmt::format("\"{}\" is no number", text));
  return value;
}

/// Sets a member of a record from its field.
using Setter = std::function<void(FrameRecord &, std::string_view)>;

Setter setterOf(std::string_view column) {
  if (column == "frame")
    return [](FrameRecord &r, std::string_view text) { r.frame = numberIn<std::int64_t>(text); };
  if (column == "time")
    return [](FrameRecord &r, std::string_view text) { r.time = numberIn<double>(text); };
  if (column == "shot")
    return [](FrameRecord &r, std::string_view text) { r.shot = numberIn<std::int64_t>(text); };
  if (column == "picture_type")
    return [](FrameRecord &r, std::string_view text) {
      r.pictureType = text.empty() ? '?' : text.front();
    };
  const auto name = std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(), column);
  if (name == INDICATOR_NAMES.end())
    return [](FrameRecord &, std::string_view) {};
  const auto indicator = static_cast<Indicator>(name - INDICATOR_NAMES.begin());
  return [indicator](FrameRecord &r, std::string_view text) {
    if (!text.empty())
      r[indicator] = numberIn<double>(text);
  };
}

/// The next field of a line without quoted ones, which it is taken off.
std::string_view takeField(std::string_view &line) {
  const std::size_t comma = line.find(',');
  const std::string_view field = line.substr(0, comma);
  line = comma == std::string_view::npos ? std::string_view() : line.substr(comma + 1);
  return field;
}

} // namespace

void readFrames(std::istream &stream, const std::function<void(const FrameRecord &)> &use) {
  std::vector<Setter> setters;
  std::size_t number = 0;
  for (std::string text; std::getline(stream, text); ++number) {
    std::string_view line = text;
    if (line.ends_with('\r'))
      line.remove_suffix(1);
    const auto fields = static_cast<std::size_t>(std::count(line.begin(), line.end(), ',')) + 1;
    if (number == 0 ? !line.starts_with("frame,time,") : fields != setters.size())
      throw std::runtime_error(fmt::format("line {} is none of a table of frames", number + 1));
    FrameRecord record;
    for (std::size_t i = 0; i < fields; ++i)
      if (number == 0)
        setters.push_back(setterOf(takeField(line)));
      else
        setters[i](record, takeField(line));
    if (number > 0)
      use(record);
  }
}

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

std::string escapedText(std::string_view text) {
  std::string result;
  const auto *next = reinterpret_cast<const std::uint8_t *>(text.data());
  for (const std::uint8_t *const end = next + text.size(); next < end;) {
    const std::uint8_t *const start = next;
    std::int32_t character = 0;
    const bool isText =
        av_utf8_decode(&character, &next, end, AV_UTF8_FLAG_ACCEPT_NON_CHARACTERS) >= 0;
    if (!isText || character == 0) {
      result += fmt::format("\\x{:02x}", *start);
      next = start + 1;
    } else {
      result.append(character == '\\' ? "\\" : "").append(start, next);
    }
  }
  return result;
}

std::string unescapedText(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t length = 1;
    char byte = text.front();
    unsigned value = 0;
    if (text.starts_with("\\\\")) {
      length = 2;
    } else if (text.starts_with("\\x") && text.size() >= 4 &&
               std::from_chars(&text[2], &text[2] + 2, value, 16).ptr == &text[2] + 2) {
      length = 4;
      byte = static_cast<char>(value);
    }
    result += byte;
    text.remove_prefix(length);
  }
  return result;
}

std::vector<std::vector<std::string>> csvRecords(std::string_view text) {
  std::vector<std::vector<std::string>> records;
  bool isQuoted = false, startsRecord = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (startsRecord)
      records.push_back({""});
    startsRecord = !isQuoted && text[i] == '\n';
    if (text[i] == '"') {
      // Two of them within quotes stand for one.
      if (isQuoted && text.substr(i + 1, 1) == "\"")
        records.back().back() += text[++i];
      else
        isQuoted = !isQuoted;
    } else if (!isQuoted && text[i] == ',') {
      records.back().emplace_back();
    } else if (isQuoted || (text[i] != '\r' && text[i] != '\n')) {
      records.back().back() += text[i];
    }
  }
  return records;
}

CsvWriter::CsvWriter(std::ostream &target) : stream(target) {
  stream << "frame,time,picture_type";
  for (const std::string_view name : INDICATOR_NAMES)
    stream << ',' << name;
  stream << ",shot\r\n";
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
  stream << row << ',' << record.shot << "\r\n";
}

} // namespace lumagauge::qc
