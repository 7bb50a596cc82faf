// SPDX-License-Identifier: BSD-2-Clause
//
// The picture report of one input, from options to NAME.html.
#ifndef LUMAGAUGE_QC_PICTURE_REPORT_H
#define LUMAGAUGE_QC_PICTURE_REPORT_H

#include "qc/options.h"
#include "qc/pictures/picture_keeper.h"
#include "qc/report/html.h"
#include "qc/report/result_files.h"

namespace lumagauge::qc {

/// A page that is written while its input is measured. Pictures are taken from the file afterwards,
/// or while it is measured where it cannot be read again or frames cannot be found in it. Members
/// throw OutputError.
class PictureReport {
public:
  /// `html` is the page's path, `name` what it calls the input. `source` is what the input is going
  /// to be opened with; the report outlives what it opens.
  PictureReport(const std::filesystem::path &html, std::string name, std::string input,
                std::uint32_t indicators, const Profile &profile, SourceOptions &source);

  /// When the input is open and before it is read.
  void begin(const InputInfo &info, const std::optional<FileIdentity> &identity, Judge &judge);
  void add(const FrameRecord &record);
  /// `document` is the result without its frames, `json` the name of its file beside the page, or
  /// empty. Takes at most a tenth of the time that measuring took and a second and a half.
  void finish(const InputInfo &info, const std::string &document, const std::string &json);

private:
  std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
  std::string input;
  SourceOptions source;
  PictureKeeper keeper;
  ShownFrames frames;
  HtmlReport page;
};

/// Makes the page of a result whose files are complete, of the input that it was measured of. False
/// where the result does not hold its frames.
bool remakePage(const ResultPaths &paths, const std::string &input, const SourceOptions &source);
/// --html-from: throws InputError and OutputError.
void makePageFrom(const Options &options);

} // namespace lumagauge::qc

#endif
