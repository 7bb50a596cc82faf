// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/collect.h"

#include "qc/library/join_results.h"
#include "qc/library/library.h"
#include "qc/library/plan.h"
#include "qc/library/result_reader.h"
#include "qc/report/output.h"
#include "qc/report/part_file.h"
#include "qc/report/result_files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_set>
#include <utility>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

constexpr const char *LIBRARY_NAME = "library.sqlite";

/// Empty where there is no such file.
std::optional<Stamp> stampOf(const fs::path &path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    return std::nullopt;
  return Stamp{status.st_size,
               std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
               static_cast<std::int64_t>(status.st_ino)};
}

/// A result, and what says why another try failed.
struct Found {
  bool hasResult = false, hasFailure = false, hasReport = false;
};

std::map<std::string, Found> resultsIn(const fs::path &folder) {
  std::map<std::string, Found> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const fs::path name = entry->path().filename();
    if (name.extension() == ".json")
      found[name.stem().string()].hasResult = true;
    else if (name.extension() == ".failure")
      found[name.stem().string()].hasFailure = true;
    else if (name.extension() == ".html")
      found[name.stem().string()].hasReport = true;
  }
  if (error)
    throw InputError(folder.string() + ": " + error.message());
  return found;
}

/// A part of an input that is split.
struct Piece {
  std::string name; ///< of its own result
  int part = 0;     ///< of the plan
};

/// What a plan says of its inputs, by name, and the order of these.
struct Planned {
  std::vector<std::string> names; ///< of an input that is split: that of the whole
  std::unordered_map<std::string, Place> places;
  std::unordered_map<std::string, std::vector<Piece>> pieces; ///< of the inputs that are split
  std::set<std::string> pieceNames;

  explicit Planned(const std::string &path) {
    if (!path.empty())
      readPlan(path, [&](PlanEntry entry) { add(std::move(entry)); });
  }
  void add(PlanEntry entry) {
    if (entry.range) {
      const std::string whole = wholeName(entry.name, *entry.range);
      pieces[whole].push_back({entry.name, entry.part});
      pieceNames.insert(std::exchange(entry.name, whole));
    }
    const auto [place, isNew] =
        places.try_emplace(entry.name, Place{std::move(entry.path), entry.part});
    if (isNew)
      names.push_back(std::move(entry.name));
    else if (place->second.part != entry.part)
      place->second.part.reset(); // it is in none as a whole
  }
  Place placeOf(const std::string &name) const {
    const auto found = places.find(name);
    return found == places.end() ? Place{} : found->second;
  }
};

/// A result of a part of an input is there, and the CSV that it was written with.
bool hasPart(const fs::path &json) {
  try {
    return readPart(json).has_value();
  } catch (const InputError &) {
    return false;
  }
}

class Collector {
public:
  Collector(const fs::path &results, const std::string &plan, bool frames, const Notice &tell)
      : folder(results), withFrames(frames), notice(tell), planned(plan),
        library(results / LIBRARY_NAME), known(library.known()) {}

  Collection collect(std::map<std::string, Found> found, const Profile &profile,
                     bool profileIsChosen);

private:
  bool isUnchanged(const std::string &name, const KnownInput &old, const Stamp &stamp) const;
  bool takeResult(const std::string &name); ///< false where it is no result
  bool readResult(const std::string &name, const Stamp &stamp);
  void takeFailure(const std::string &name);
  void updatePlace(const std::string &name, const KnownInput &old);
  void takeMissing(const std::string &name);
  void put(const std::string &name, const std::string &state, const std::string &reason,
           const std::optional<Stamp> &stamp);
  std::optional<std::int64_t> idOf(const std::string &name) const;
  std::set<int> openPartsOf(const std::string &name) const;
  std::vector<int> openParts();
  void arrange(std::vector<BatchRow> &rows) const;

  fs::path folder;
  bool withFrames;
  const Notice &notice;
  Planned planned;
  Library library;
  std::unordered_map<std::string, KnownInput> known;
  ResultReader reader;
  Collection collection;
};

std::optional<std::int64_t> Collector::idOf(const std::string &name) const {
  const auto old = known.find(name);
  return old == known.end() ? std::nullopt : std::optional(old->second.id);
}

bool Collector::isUnchanged(const std::string &name, const KnownInput &old,
                            const Stamp &stamp) const {
  if (old.stamp != stamp || (withFrames && !old.hasFrames))
    return false;
  const std::optional<Stamp> csv = stampOf(ResultPaths(folder, name).csv);
  return csv && csv->bytes == old.csvBytes;
}

void Collector::put(const std::string &name, const std::string &state, const std::string &reason,
                    const std::optional<Stamp> &stamp) {
  library.putUnmeasured(idOf(name), name, planned.placeOf(name), state, reason, stamp);
}

bool Collector::readResult(const std::string &name, const Stamp &stamp) {
  const ResultPaths paths(folder, name);
  Json document = reader.read(paths.json);
  const auto isOurs = [&] {
    return document.is_object() && document.value("schema", "") == SCHEMA;
  };
  if (!isOurs() && !planned.places.contains(name) && !stampOf(paths.csv)) {
    notice(paths.json.string() + ": it is no result and left alone");
    return false;
  }
  ++collection.read;
  try {
    if (!isOurs()) {
      put(name, "incomplete", "NAME.json is not one of lumagauge-qc; measure it again", stamp);
      return true;
    }
    const auto fits = [&] {
      const std::optional<Stamp> csv = stampOf(paths.csv);
      return csv && csv->bytes == document.at("csv").at("size").get<std::int64_t>();
    };
    if (!fits()) { // or a run is just replacing both
      OpenFolder opened(folder);
      opened.lock();
      document = reader.read(paths.json);
      if (!isOurs() || !fits()) {
        put(name, "incomplete", "NAME.csv is missing or not the one of NAME.json; measure it again",
            stamp);
        return true;
      }
    }
  } catch (const Json::exception &) {
    put(name, "incomplete", "NAME.json does not say which NAME.csv it belongs to; measure it again",
        stamp);
    return true;
  }
  try {
    library.putResult(idOf(name), name, planned.placeOf(name), stamp, document);
  } catch (const InputError &error) {
    put(name, "incomplete", std::string(error.what()) + "; measure it again", stamp);
    return true;
  }
  if (withFrames)
    library.putFrames(paths.csv);
  return true;
}

bool Collector::takeResult(const std::string &name) {
  // Ahead of reading what it stands for.
  const std::optional<Stamp> stamp = stampOf(ResultPaths(folder, name).json);
  if (!stamp)
    return false;
  const auto old = known.find(name);
  if (old == known.end() || !isUnchanged(name, old->second, *stamp))
    return readResult(name, *stamp);
  updatePlace(name, old->second);
  return true;
}

void Collector::updatePlace(const std::string &name, const KnownInput &old) {
  if (planned.places.contains(name) && planned.placeOf(name) != old.place)
    library.setPlace(old.id, planned.placeOf(name));
}

void Collector::takeFailure(const std::string &name) {
  const fs::path path = ResultPaths(folder, name).failure;
  const std::optional<Stamp> stamp = stampOf(path);
  const auto old = known.find(name);
  if (!stamp)
    return;
  if (old != known.end() && old->second.state == "failed" && old->second.stamp == stamp)
    return updatePlace(name, old->second);
  ++collection.read;
  // What it says may be lost, but not that measuring failed.
  const Failure failure = readFailure(path).value_or(
      Failure{"it could not be measured; NAME.failure cannot be read", ""});
  Place place = planned.placeOf(name);
  if (place.path.empty())
    place.path = failure.inputPath;
  library.putUnmeasured(idOf(name), name, place, "failed", failure.reason, stamp);
}

void Collector::takeMissing(const std::string &name) {
  const auto old = known.find(name);
  const Place place = planned.placeOf(name);
  ++collection.missing;
  // The place does not tell the parts of the plan where they are several.
  if (old != known.end() && old->second.state == "missing" && old->second.place == place &&
      place.part)
    return;
  const std::set<int> parts = openPartsOf(name);
  const bool isOne = parts.size() == 1;
  put(name, "missing",
      fmt::format("there is no result; {} {} of the plan {} end", isOne ? "part" : "parts",
                  fmt::join(parts, ", "),
                  isOne ? "was not measured to its" : "were not measured to their"),
      std::nullopt);
}

/// Those parts of the plan that have to be measured again for a planned input without a complete
/// result.
std::set<int> Collector::openPartsOf(const std::string &name) const {
  const auto split = planned.pieces.find(name);
  if (split == planned.pieces.end())
    return {planned.places.at(name).part.value()};
  std::set<int> all, open;
  for (const Piece &piece : split->second) {
    all.insert(piece.part);
    if (!hasPart(ResultPaths(folder, piece.name).json))
      open.insert(piece.part);
  }
  return open.empty() ? all : open; // where all are there they make no whole
}

std::vector<int> Collector::openParts() {
  std::set<int> parts;
  for (const std::string &name : library.unmeasuredNames())
    if (planned.places.contains(name))
      parts.merge(openPartsOf(name));
  return {parts.begin(), parts.end()};
}

Collection Collector::collect(std::map<std::string, Found> found, const Profile &profile,
                              bool profileIsChosen) {
  std::set<std::string> all;
  for (const auto &[name, files] : found)
    all.insert(name);
  const JoinedResults joined =
      joinResults(folder, all, planned.pieceNames, profile, profileIsChosen);
  collection.joined = joined.joined;
  if (!joined.parts.empty()) {
    found = resultsIn(folder);
    std::erase_if(found, [&](const auto &entry) { return joined.parts.contains(entry.first); });
  }
  std::unordered_set<std::string> present;
  std::size_t unplanned = 0;
  for (const auto &[name, files] : found) {
    if (isReadingCancelled())
      throw InputError("interrupted: " + folder.string() + "/" + LIBRARY_NAME + " is as it was");
    const bool hasResult = files.hasResult && takeResult(name);
    collection.hasReports |= hasResult && files.hasReport;
    if (!hasResult && !files.hasFailure)
      continue;
    if (!hasResult)
      takeFailure(name);
    else if (files.hasFailure)
      notice(ResultPaths(folder, name).failure.string() +
             ": another try to measure it failed; its result counts");
    present.insert(name);
    unplanned += planned.names.empty() || planned.places.contains(name) ? 0 : 1;
  }
  if (unplanned > 0)
    notice(fmt::format("{}: {} results are of no input of the plan", folder.string(), unplanned));
  for (const std::string &name : planned.names)
    if (!present.contains(name))
      takeMissing(name);
  for (const auto &[name, input] : known)
    if (!present.contains(name) && !planned.places.contains(name)) {
      library.remove(input.id);
      ++collection.removed;
    }
  library.commit();
  collection.rows = library.rows();
  collection.openParts = openParts();
  arrange(collection.rows);
  return std::move(collection);
}

void Collector::arrange(std::vector<BatchRow> &rows) const {
  std::unordered_map<std::string, std::size_t> positions;
  for (const std::string &name : planned.names)
    positions.emplace(name, positions.size());
  const auto position = [&](const BatchRow &row) {
    const auto found = positions.find(row.name);
    return found == positions.end() ? positions.size() : found->second;
  };
  std::stable_sort(rows.begin(), rows.end(),
                   [&](const BatchRow &a, const BatchRow &b) { return position(a) < position(b); });
}

} // namespace

Collection collect(const fs::path &folder, const std::string &plan, bool withFrames,
                   const Profile &profile, bool profileIsChosen, const Notice &notice) {
  const std::map<std::string, Found> found = resultsIn(folder);
  if (found.empty() && plan.empty() && !stampOf(folder / LIBRARY_NAME))
    throw InputError(folder.string() + ": it holds no results of lumagauge-qc");
  Collection collection =
      Collector(folder, plan, withFrames, notice).collect(found, profile, profileIsChosen);
  replaceSummary(folder, collection.rows);
  return collection;
}

} // namespace lumagauge::qc
