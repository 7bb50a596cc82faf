// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/library.h"

#include "qc/report/csv.h"
#include "qc/source/source.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>

namespace lumagauge::qc {

namespace {

constexpr int APPLICATION = 0x4c475143; ///< what marks the file as one of this program
constexpr int CACHE_KIB = 64 << 10;

/// "INSERT INTO table (columns) VALUES (?, ...)" for so many columns, which are between commas.
std::string insertion(const std::string &table, const std::string &columns) {
  const auto count = std::count(columns.begin(), columns.end(), ',') + 1;
  return fmt::format(
      "INSERT INTO {} ({}) VALUES ({})", table, columns,
      fmt::join(std::vector<const char *>(static_cast<std::size_t>(count), "?"), ", "));
}

int integerOf(const Database &database, const char *sql) {
  Statement statement(database, sql);
  statement();
  return static_cast<int>(statement.integer(0));
}

std::optional<double> realOf(const Json &value) {
  return value.is_null() ? std::nullopt : std::optional(numberOf(value));
}

double secondsOf(const std::string &text) {
  double seconds = 0; // stays where the text is no number
  std::from_chars(text.data(), text.data() + text.size(), seconds);
  return seconds;
}

std::int64_t countOf(const Json &value) {
  if (!value.is_number_integer())
    throw InputError("a count is no whole number");
  return value.get<std::int64_t>();
}

/// The table takes no others, and one result must not keep the rest from being collected.
std::string verdictIn(const Json &document) {
  const std::string verdict = document.at("verdict");
  for (const Verdict known : {Verdict::pass, Verdict::warn, Verdict::fail, Verdict::unmeasured})
    if (verdict == verdictName(known))
      return verdict;
  throw InputError("its verdict is none");
}

} // namespace

Library::Library(const std::filesystem::path &file) : path(file), database(file) {
  database.run(
      fmt::format("PRAGMA foreign_keys = ON; PRAGMA cache_size = -{}; BEGIN IMMEDIATE", CACHE_KIB));
  open();
  deletion.emplace(database, "DELETE FROM inputs WHERE id = ?");
  placement.emplace(database, "UPDATE inputs SET path = ?2, part = ?3 WHERE id = ?1");
  unmeasured.emplace(
      database, insertion("inputs", "id, name, path, part, state, verdict, exit_status, reason, "
                                    "result_bytes, result_modified, result_inode"));
  input.emplace(
      database,
      insertion("inputs",
                "id, name, path, absolute_path, part, state, verdict, exit_status, reason, "
                "interrupted, frames, "
                "duration, measured_at, rules, bytes, modified, ends_sha256, format, codec, width, "
                "height, pixel_format, bit_depth, color_range, rate, stream_start, tool_version, "
                "profile, settings, result_bytes, result_modified, result_inode, csv_bytes"));
  summary.emplace(database,
                  insertion("summaries", "input_id, indicator, count, nan, mean, min, p5, "
                                         "median, p95, max, worst_frame, worst_time"));
  event.emplace(database, insertion("events", "input_id, number, kind, severity, start_time, "
                                              "end_time, start_frame, end_frame, frames, worst"));
  brokenRule.emplace(database,
                     insertion("broken_rules", "input_id, number, kind, severity, reason"));
  notJudged.emplace(database, insertion("not_judged", "input_id, number, kind, reason"));
  decodeError.emplace(database, insertion("decode_errors", "input_id, number, kind, frame, time, "
                                                           "end_time, missing, message"));
}

void Library::open() {
  const int application = integerOf(database, "PRAGMA application_id"),
            version = integerOf(database, "PRAGMA user_version");
  if (application == 0 && integerOf(database, "SELECT count(*) FROM sqlite_schema") == 0)
    database.run(fmt::format("{} PRAGMA application_id = {}; PRAGMA user_version = {}",
                             LIBRARY_SCHEMA, APPLICATION, LIBRARY_VERSION));
  else if (application != APPLICATION || version != LIBRARY_VERSION)
    throw LibraryError(fmt::format(
        "{}: it is {}; move it away, then it is made anew from the results", path.string(),
        application != APPLICATION
            ? "a database of something else"
            : fmt::format("of schema {}, this version writes {}", version, LIBRARY_VERSION)));
}

std::unordered_map<std::string, KnownInput> Library::known() {
  std::unordered_map<std::string, KnownInput> inputs;
  Statement all(database, "SELECT id, name, state, path, part, result_bytes, result_modified, "
                          "result_inode, csv_bytes, has_frames FROM inputs");
  for (bool isThere = all(); isThere; isThere = all.next()) {
    KnownInput &one = inputs[unescapedText(all.text(1))];
    one.id = all.integer(0);
    one.state = all.text(2);
    one.place = {unescapedText(all.text(3)), std::nullopt};
    if (!all.isNull(4))
      one.place.part = static_cast<int>(all.integer(4));
    if (!all.isNull(5))
      one.stamp = Stamp{all.integer(5), all.integer(6), all.integer(7)};
    one.csvBytes = all.integer(8);
    one.hasFrames = all.integer(9) != 0;
  }
  return inputs;
}

void Library::putResult(std::optional<std::int64_t> id, const std::string &name, const Place &place,
                        const Stamp &stamp, const Json &document) {
  if (id)
    remove(*id);
  inputId = 0;
  try {
    putInput(id, name, place, stamp, document);
    putSummaries(document.at("summary"));
    putLists(document);
  } catch (const std::exception &error) {
    if (dynamic_cast<const Json::exception *>(&error) == nullptr &&
        dynamic_cast<const InputError *>(&error) == nullptr)
      throw;
    if (inputId != 0)
      remove(inputId);
    const bool isOurs = dynamic_cast<const InputError *>(&error) != nullptr; // says more
    throw InputError(std::string("NAME.json lacks members of a result, or has others in their "
                                 "place") +
                     (isOurs ? std::string(": ") + error.what() : ""));
  }
}

void Library::putInput(std::optional<std::int64_t> id, const std::string &name, const Place &place,
                       const Stamp &stamp, const Json &document) {
  const Json &in = document.at("input"), &file = in.at("file"), &measured = document.at("measured"),
             &profile = document.at("profile");
  const bool isFile = file.is_object();
  const auto optional = [](bool isThere, const auto &value) {
    return isThere ? std::optional(value()) : std::nullopt;
  };
  const std::string given = in.at("path");
  (*input)(id, escapedText(name), escapedText(place.path.empty() ? given : place.path),
           optionalOf<std::string>(in.at("absolute_path")), place.part, std::string("measured"),
           verdictIn(document), countOf(document.at("exit_status")),
           optionalOf<std::string>(document.at("reason")), document.at("interrupted").get<bool>(),
           countOf(measured.at("frames")), realOf(measured.at("duration")),
           static_cast<double>(stamp.modified) / 1e9,
           static_cast<std::int64_t>(profile.at("rules").size()),
           optional(isFile, [&] { return countOf(file.at("size")); }),
           optional(isFile, [&] { return secondsOf(file.at("modified").get<std::string>()); }),
           optional(isFile, [&] { return file.at("ends_sha256").get<std::string>(); }),
           in.at("format").get<std::string>(), in.at("codec").get<std::string>(),
           countOf(in.at("width")), countOf(in.at("height")),
           in.at("pixel_format").get<std::string>(), countOf(in.at("bit_depth")),
           in.at("range").get<std::string>(), realOf(in.at("rate")), realOf(in.at("start_time")),
           document.at("tool").at("version").get<std::string>(),
           profile.at("name").get<std::string>(), jsonText(document.at("settings")), stamp.bytes,
           stamp.modified, stamp.inode, countOf(document.at("csv").at("size")));
  inputId = database.lastId();
}

void Library::putSummaries(const Json &summaries) {
  for (const auto &[indicator, s] : summaries.items()) {
    if (s.is_null())
      continue;
    const auto real = [&s = s](const char *member) {
      return s.contains(member) ? realOf(s.at(member)) : std::nullopt;
    };
    std::optional<std::int64_t> worst;
    if (s.contains("worst_frame"))
      worst.emplace(countOf(s.at("worst_frame")));
    (*summary)(inputId, indicator, countOf(s.at("count")), countOf(s.at("nan")), real("mean"),
               real("min"), real("p5"), real("median"), real("p95"), real("max"), worst,
               real("worst_time"));
  }
}

void Library::putLists(const Json &document) {
  const auto text = [](const Json &entry, const char *member) {
    return entry.at(member).get<std::string>();
  };
  const auto each = [&](const char *member, const auto &put) {
    std::int64_t number = 0;
    for (const Json &entry : document.at(member))
      put(entry, number++);
  };
  each("events", [&](const Json &e, std::int64_t number) {
    (*event)(inputId, number, text(e, "kind"), text(e, "severity"), realOf(e.at("start")),
             realOf(e.at("end")), countOf(e.at("start_frame")), countOf(e.at("end_frame")),
             countOf(e.at("frames")), realOf(e.at("worst")));
  });
  each("broken_rules", [&](const Json &rule, std::int64_t number) {
    (*brokenRule)(inputId, number, text(rule, "kind"), text(rule, "severity"),
                  text(rule, "reason"));
  });
  each("not_judged", [&](const Json &rule, std::int64_t number) {
    (*notJudged)(inputId, number, text(rule, "kind"), text(rule, "reason"));
  });
  each("decode_errors", [&](const Json &error, std::int64_t number) {
    (*decodeError)(inputId, number, text(error, "kind"), countOf(error.at("frame")),
                   realOf(error.at("time")), realOf(error.at("end")), countOf(error.at("missing")),
                   text(error, "message"));
  });
}

void Library::putUnmeasured(std::optional<std::int64_t> id, const std::string &name,
                            const Place &place, const std::string &state, const std::string &reason,
                            const std::optional<Stamp> &stamp) {
  if (id)
    remove(*id);
  const auto member = [&](std::int64_t Stamp::*value) {
    return stamp ? std::optional((*stamp).*value) : std::nullopt;
  };
  (*unmeasured)(id, escapedText(name), escapedText(place.path), place.part, state,
                std::string(verdictName(Verdict::unmeasured)), exitStatus(Verdict::unmeasured),
                escapedText(reason), member(&Stamp::bytes), member(&Stamp::modified),
                member(&Stamp::inode));
}

void Library::setPlace(std::int64_t id, const Place &place) {
  (*placement)(id, escapedText(place.path), place.part);
}

void Library::remove(std::int64_t id) {
  (*deletion)(id);
}

void Library::commit() {
  database.run(LIBRARY_INDICES);
  database.run("COMMIT");
}

} // namespace lumagauge::qc
