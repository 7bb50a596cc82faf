// SPDX-License-Identifier: BSD-2-Clause
//
// NAME.html: the page that shows one result, with its data in it (docs/report.md).
#ifndef LUMAGAUGE_QC_REPORT_HTML_H
#define LUMAGAUGE_QC_REPORT_HTML_H

#include "qc/pictures/report_pictures.h"
#include "qc/pictures/shown_frames.h"
#include "qc/report/atomic_file.h"
#include "qc/report/frame_columns.h"
#include "qc/source/input_file.h"

namespace lumagauge::qc {

/// Writes the page as the frames come; without `finish` none appears. All members throw
/// OutputError.
class HtmlReport {
public:
  /// `name` is what the page and the index call it; `indicators` the mask of those measured.
  HtmlReport(const std::filesystem::path &path, std::string name, std::uint32_t indicators);

  void add(const FrameRecord &record) { frames.add(record); }
  /// `document` is the result as NAME.json holds it, without its frames; `json` the name of that
  /// file where it is beside the page, else empty. Without `pictures` the page says that it was
  /// made without the video.
  void finish(const std::string &document, const std::string &json, const ReportPictures *pictures);

private:
  std::filesystem::path folder;
  std::string name;
  AtomicFile file;
  FrameColumns frames;
};

/// The events of a document of NAME.json, the worst first: by severity, then the longest.
std::vector<PictureWish> pictureWishes(const std::string &document);

/// Whether the page is there and shows the result that `json`, a NAME.json, holds now, as this
/// version of the program would.
bool isReportOf(const std::filesystem::path &html, const std::filesystem::path &json);

/// What a document says of the input that it was measured of.
struct MeasuredVideo {
  std::string source;                ///< options of the source, as describeSource gives them
  int stream = 0;                    ///< in the container
  std::optional<double> startTime;   ///< time stamp of the first picture, in seconds
  bool streamTimes = false;          ///< the frames' times are time stamps
  std::optional<ContentDigest> ends; ///< of a file: its size, and the digest of both ends
};
MeasuredVideo measuredVideo(const std::string &document);

/// Gives the pictures for a document and its frames.
using PictureMaker =
    std::function<ReportPictures(const std::string &document, const ShownFrames &frames)>;

/// Makes a page from the result in `json`, whose frames are in NAME.csv beside it or in itself.
/// Throws InputError where they are not, or the file is no such result, and OutputError.
void remakeReport(const std::filesystem::path &json, const std::filesystem::path &html,
                  const PictureMaker &pictures);

/// Makes or replaces the folder's index.html: a row for each page of a result in it, and for each
/// result in its summary.csv that has no page. Throws OutputError.
void writeIndex(const std::filesystem::path &folder);
bool hasIndex(const std::filesystem::path &folder);

} // namespace lumagauge::qc

#endif
