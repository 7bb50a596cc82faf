// SPDX-License-Identifier: BSD-2-Clause
//
// The command line of lumagauge-qc.
#ifndef LUMAGAUGE_QC_OPTIONS_H
#define LUMAGAUGE_QC_OPTIONS_H

#include "qc/live/live_options.h"
#include "qc/source/open_source.h"
#include "qc/source/part_source.h"

#include <iosfwd>
#include <string_view>
#include <variant>

namespace lumagauge::qc {

enum class ProgressChoice { automatic, plain, none };

struct Options {
  std::vector<std::string> inputs; ///< as given: files, folders, "-"
  std::vector<std::string> lists;  ///< files that name inputs, a line each; "-": standard input
  bool allowEmpty = false;         ///< such files may name nothing
  bool recursive = false;
  SourceOptions source;
  std::string startText, durationText; ///< as given; empty where not given
  std::optional<std::int64_t> frames;  ///< --frames, also in source.duration
  std::optional<FrameRange> range;     ///< --range, of each input
  bool join = false;                   ///< `inputs` are parts to be joined
  std::uint32_t indicators = ALL_INDICATORS;
  int threads = 0; ///< 0: the CPUs that the process may use
  std::string profile = "default";
  bool profileGiven = false; ///< it is not that by default
  bool printProfile = false;
  std::string outputFolder; ///< empty: no files
  bool html = false;        ///< a page for each input
  std::string htmlFile;     ///< its path; empty: NAME.html in the output folder
  std::string htmlFrom;     ///< a result to make a page of instead of measuring; may be empty
  std::string video;        ///< the input that it was measured of; may be empty
  bool resume = false, quiet = false, withFrames = true;
  ProgressChoice progress = ProgressChoice::automatic;
  LiveOptions live;
  std::string planFile; ///< to write or, with collectFolder, to hold results against; may be empty
  int parts = 0;        ///< of the plan to be written
  std::optional<Extent> longest; ///< --split: of a part of an input
  bool probe = false;            ///< the plan goes by the length of the videos
  std::string measuredPlan;      ///< --from-plan; empty: none
  std::optional<int> part;       ///< of measuredPlan
  std::string collectFolder;     ///< --collect; empty: none
  bool libraryFrames = false;
};

constexpr int USAGE_ERROR = 2;

/// The options, or the exit status where there is nothing to be done: 0 after the help or the
/// version on `out`, USAGE_ERROR after a message on `err`.
std::variant<Options, int> parseOptions(int argc, const char *const *argv, std::ostream &out,
                                        std::ostream &err);

/// "100:200" frames 100 to 199, "100:" or ":200"; empty where the text names no frames so.
std::optional<FrameRange> parseRange(std::string_view text);
/// Names of indicators between commas, "all", or a number as a mask; empty where it is none.
std::optional<std::uint32_t> parseIndicators(std::string_view text);
/// "1920x1080"; empty where the text is no such pair.
std::optional<std::pair<std::uint32_t, std::uint32_t>> parseSize(std::string_view text);

/// The options that choose which pictures an input gives and which rate they have, in one form:
/// "stream=3 fps=24 raw=320x240:yuv420p"; empty where none is given. Time ranges are left out.
std::string describeSource(const SourceOptions &source);
/// Takes the options of such a text over where `source` has none of its own.
void adoptSource(const std::string &description, SourceOptions &source);

} // namespace lumagauge::qc

#endif
