// SPDX-License-Identifier: BSD-2-Clause
//
// A result of --range, read back.
#ifndef LUMAGAUGE_QC_REPORT_PART_FILE_H
#define LUMAGAUGE_QC_REPORT_PART_FILE_H

#include "qc/report/json.h"

#include <filesystem>
#include <functional>

namespace lumagauge::qc {

/// What the two files of a part say but for the frames, which readRows reads.
struct PartFile {
  std::filesystem::path json, csv;
  std::string name;  ///< of the whole video's result
  std::string input; ///< the member `input` of the document
  InputInfo info;
  Settings settings;
  std::string profile, rules; ///< name; the member `rules`
  std::int64_t frames = 0;    ///< that it holds
  bool framesInJson = false;  ///< and not in the CSV alone
  PartFacts facts;
  InputEnd end;

  std::int64_t endFrame() const { return facts.range.begin + frames; }
};

/// Whether it is the document of a part, by its first lines.
bool isPart(const std::filesystem::path &json);
/// Empty where the document is none of a part. Throws InputError where it cannot be read, or the
/// CSV beside it is not the one that it belongs to.
std::optional<PartFile> readPart(const std::filesystem::path &json);
/// Calls `use` for each frame of the part, in order. Throws InputError.
void readRows(const PartFile &part, const std::function<void(const FrameRecord &)> &use);
/// The member `rules` that parts judged by the profile have.
std::string rulesText(const Profile &profile);

} // namespace lumagauge::qc

#endif
