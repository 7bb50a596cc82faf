// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/result_files.h"
#include "qc/report/json_text.h"

#include <unistd.h>

#include <fstream>

namespace lumagauge::qc {

ResultFiles::ResultFiles(const ResultPaths &targets, const InputInfo &info,
                         const std::optional<FileIdentity> &identity, const Settings &settings,
                         const Profile &profile, bool withFrames)
    : paths(targets), csvFile(paths.csv), jsonFile(paths.json), csv(csvFile.stream()),
      json(jsonFile.stream(), info, identity, settings, profile, withFrames) {}

ResultFiles::ResultFiles(const ResultPaths &targets, std::string_view inputMember,
                         const Settings &settings, const Profile &profile, bool withFrames)
    : paths(targets), csvFile(paths.csv), jsonFile(paths.json), csv(csvFile.stream()),
      json(jsonFile.stream(), inputMember, settings, profile, withFrames) {}

void ResultFiles::add(const FrameRecord &record) {
  csv.add(record);
  json.add(record);
  csvFile.check(); // measuring on would be in vain
  jsonFile.check();
}

ContentDigest ResultFiles::finish(const InputEnd &end, const Judgement &judgement) {
  ContentDigest digest = csvFile.seal();
  json.finish(end, judgement, digest);
  jsonFile.seal();
  OpenFolder folder(paths.folder);
  folder.lock(); // so that no other run's file comes between the two
  csvFile.commit();
  try {
    jsonFile.commit(); // last: where it is, the result is complete
  } catch (const OutputError &) {
    unlink(paths.json.c_str()); // that of an earlier CSV
    throw;
  }
  removeFailure(paths);
  folder.sync();
  return digest;
}

void writeFailure(const ResultPaths &paths, const std::string &input, const std::string &reason,
                  const std::string &version) {
  AtomicFile file(paths.failure);
  const Json json{{"schema", FAILURE_SCHEMA},
                  {"tool", {{"name", "lumagauge-qc"}, {"version", version}}},
                  {"input", {{"path", input}, {"absolute_path", absolutePathJson(input)}}},
                  {"verdict", verdictName(Verdict::unmeasured)},
                  {"reason", reason},
                  {"exit_status", exitStatus(Verdict::unmeasured)}};
  file.stream() << jsonText(json) << '\n';
  file.seal();
  file.commit();
}

std::optional<Failure> readFailure(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  const Json document = parsedWithout(file, {});
  try {
    Failure failure{document.at("reason"), ""};
    if (const auto input = document.find("input"); input != document.end())
      failure.inputPath = input->value("path", "");
    return failure;
  } catch (const Json::exception &) {
    return std::nullopt;
  }
}

void removeFailure(const ResultPaths &paths) {
  unlink(paths.failure.c_str());
}

} // namespace lumagauge::qc
