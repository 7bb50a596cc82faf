// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/join_results.h"

#include "qc/report/join.h"
#include "qc/report/result_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

/// NAME.json, NAME.csv, NAME.failure of the results of one input's parts.
using Parts = std::vector<ResultPaths>;

/// When the file got its name, by the clock of the file system: those of the machines that write
/// results may differ. Empty where there is none.
std::optional<std::pair<std::int64_t, std::int64_t>> named(const fs::path &path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0)
    return std::nullopt;
  return std::pair<std::int64_t, std::int64_t>(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

/// The result is there with its CSV, and was made after each of the parts.
bool isUpToDate(const ResultPaths &whole, const Parts &parts) {
  const auto made = named(whole.json);
  return made && named(whole.csv) &&
         std::all_of(parts.begin(), parts.end(), [&](const ResultPaths &part) {
           const auto time = named(part.json);
           return !time || *time <= *made;
         });
}

/// What is said of the parts that could not be measured.
std::string failuresOf(const Parts &parts) {
  std::string all;
  for (const ResultPaths &part : parts) {
    std::error_code error;
    if (fs::exists(part.json, error))
      continue;
    if (const std::optional<Failure> failure = readFailure(part.failure))
      all += "; " + part.failure.filename().string() + ": " + failure->reason;
  }
  return all;
}

/// Whether there is a whole now.
bool joinOne(const ResultPaths &whole, const Parts &parts, const Joining &joining) {
  std::string input;
  try {
    std::vector<PartFile> files;
    for (const ResultPaths &part : parts) {
      std::error_code error;
      if (!fs::exists(part.json, error))
        continue;
      if (std::optional<PartFile> file = readPart(part.json))
        files.push_back(std::move(*file));
    }
    if (files.empty())
      throw InputError("none of its parts could be measured");
    input = files.front().info.path;
    std::ostringstream unheard;
    joinParts(std::move(files), joining, unheard);
    return true;
  } catch (const InputError &error) {
    writeFailure(whole, input, error.what() + failuresOf(parts), LUMAGAUGE_VERSION);
    return false;
  }
}

} // namespace

JoinedResults joinResults(const fs::path &folder, const std::set<std::string> &names,
                          const std::set<std::string> &planned, const Profile &profile,
                          bool profileIsChosen) {
  std::map<std::string, std::vector<std::string>> alike; // by the name of the whole
  std::set<std::string> wholes;
  for (const std::string &name : names)
    if (const std::string whole = wholeName(name); !whole.empty()) {
      alike[whole].push_back(name);
      if (planned.contains(name) || isPart(ResultPaths(folder, name).json))
        wholes.insert(whole);
    }
  const Joining joining{
      .folder = folder, .profile = profile, .profileIsChosen = profileIsChosen, .quiet = true};
  JoinedResults results;
  for (const std::string &whole : wholes) {
    Parts parts;
    for (const std::string &name : alike[whole])
      if (const ResultPaths part(folder, name);
          planned.contains(name) || isPart(part.json) || !fs::exists(part.json)) {
        parts.push_back(part);
        results.parts.insert(name);
      }
    if (const ResultPaths paths(folder, whole); !isUpToDate(paths, parts))
      results.joined += joinOne(paths, parts, joining) ? 1 : 0;
  }
  return results;
}

} // namespace lumagauge::qc
