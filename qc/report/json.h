// SPDX-License-Identifier: BSD-2-Clause
//
// NAME.json: one document of schema "lumagauge/1" (docs/lumagauge-1.schema.json, docs/formats.md).
#ifndef LUMAGAUGE_QC_REPORT_JSON_H
#define LUMAGAUGE_QC_REPORT_JSON_H

#include "qc/judge/profile.h"
#include "qc/report/digest.h"
#include "qc/source/part_source.h"

#include <ostream>

namespace lumagauge::qc {

/// What the run was asked for, as far as it is the same for every input.
struct Settings {
  std::string version; ///< of the program
  std::uint32_t indicators = ALL_INDICATORS;
  std::string source;                   ///< options of the source, such as "stream=3 fps=24"
  std::string start, duration;          ///< as given; empty where not given
  std::optional<std::int64_t> frames;   ///< --frames
  std::optional<FrameRange> range = {}; ///< --range
  bool streamTimes = false;
  int threads = 1;
  int decodeThreads = 0; ///< 0: as the decoder chooses
};

/// Writes the document as it becomes known: what is known at the start, the frames one by one, the
/// rest. So memory does not grow with the frames.
class JsonWriter {
public:
  /// Writes the start. `stream` must outlive the writer. Without `withFrames` add writes nothing.
  JsonWriter(std::ostream &stream, const InputInfo &info,
             const std::optional<FileIdentity> &identity, const Settings &settings,
             const Profile &profile, bool withFrames = true);
  /// With the member `input` of a document that is there.
  JsonWriter(std::ostream &stream, std::string_view inputMember, const Settings &settings,
             const Profile &profile, bool withFrames);
  void add(const FrameRecord &record);
  /// Ahead of `finish`: the frames are a part of a video.
  void setPart(const PartFacts &facts) { part = facts; }
  /// `csv` is the file that the document belongs to, where it does.
  void finish(const InputEnd &end, const Judgement &judgement,
              const std::optional<ContentDigest> &csv);

private:
  std::ostream &stream;
  bool withFrames, firstFrame = true;
  std::optional<PartFacts> part;
};

/// The document without its frames.
std::string resultText(const InputInfo &info, const std::optional<FileIdentity> &identity,
                       const Settings &settings, const Profile &profile, const InputEnd &end,
                       const Judgement &judgement, const std::optional<ContentDigest> &csv);

} // namespace lumagauge::qc

#endif
