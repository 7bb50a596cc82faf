// SPDX-License-Identifier: BSD-2-Clause
#include "qc/picture_report.h"

#include "qc/measure/cpus.h"
#include "qc/pictures/picture_fetcher.h"

#include <algorithm>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// What pictures may take beyond measuring: a share of its time, and as much in any case. The rest
/// up to a second and a half is for packing and writing.
constexpr double SHARE_OF_TIME = 0.08;
constexpr std::chrono::milliseconds TIME_IN_ANY_CASE{1000};
/// A page that is made anew takes as long as its pictures need, which are limited in number.
constexpr std::chrono::hours LONG_ENOUGH{1};

std::map<std::string, double> minDurationsOf(const Profile &profile) {
  std::map<std::string, double> durations;
  for (const Rule &rule : profile.rules)
    durations[rule.kind] = rule.minDuration;
  return durations;
}

/// The time stamp of time 0; empty where the stream has no stamps.
std::optional<double> originOf(std::optional<double> startTime, bool streamTimes) {
  return startTime && streamTimes ? 0.0 : startTime;
}

/// Made anew, of a file that the result may be of.
ReportPictures picturesFrom(const std::string &file, const SourceOptions &given,
                            const std::string &document, const ShownFrames &frames) {
  const MeasuredVideo video = measuredVideo(document);
  PictureOrder order{.input = file,
                     .source = given,
                     .stream = video.stream,
                     .origin = originOf(video.startTime, video.streamTimes),
                     .wishes = pictureWishes(document),
                     .deadline = Clock::now() + LONG_ENOUGH,
                     .threads = usableCpus()};
  adoptSource(video.source, order.source);
  return fetchPictures(order, frames);
}

void checkVideo(const std::string &file, const std::string &document) {
  const std::optional<ContentDigest> measured = measuredVideo(document).ends;
  const std::optional<FileIdentity> given = identityOf(file);
  if (!given)
    throw InputError("--video " + file + ": it is no file that can be read");
  if (measured && (measured->size != given->ends.size || measured->sha256 != given->ends.sha256))
    throw InputError("--video " + file +
                     ": it is not the file that was measured, as its size or content differs");
}

} // namespace

PictureReport::PictureReport(const fs::path &html, std::string name, std::string measured,
                             std::uint32_t indicators, const Profile &profile, SourceOptions &asked)
    : input(std::move(measured)), keeper(minDurationsOf(profile)),
      page(html, std::move(name), indicators) {
  source = asked;
  asked.tap = &keeper;
}

void PictureReport::begin(const InputInfo &info, const std::optional<FileIdentity> &identity,
                          Judge &judge) {
  const bool canSeek = identity && !source.nested && (source.raw || info.startTime);
  if (canSeek)
    return;
  keeper.start();
  judge.observe([this](std::int64_t frame, const std::vector<const Event *> &open) {
    keeper.observe(frame, open);
  });
}

void PictureReport::add(const FrameRecord &record) {
  frames.add(record);
  page.add(record);
}

void PictureReport::finish(const InputInfo &info, const std::string &document,
                           const std::string &json) {
  ReportPictures pictures;
  if (keeper.isActive()) {
    pictures = keeper.finish(pictureWishes(document));
  } else {
    const auto share =
        std::chrono::duration_cast<Clock::duration>(SHARE_OF_TIME * (Clock::now() - started));
    PictureOrder order{.input = input,
                       .source = source,
                       .stream = info.stream,
                       .origin = originOf(info.startTime, source.streamTimes),
                       .wishes = pictureWishes(document),
                       .deadline = Clock::now() + share + TIME_IN_ANY_CASE,
                       .threads = usableCpus()};
    pictures = fetchPictures(order, frames);
    if (isReadingCancelled() && !pictures.reason.empty())
      pictures.reason = "The run was interrupted before pictures were taken.";
  }
  page.finish(document, json, &pictures);
}

bool remakePage(const ResultPaths &paths, const std::string &input,
                const SourceOptions &source) try {
  remakeReport(paths.json, paths.html, [&](const std::string &document, const ShownFrames &frames) {
    return picturesFrom(input, source, document, frames);
  });
  return true;
} catch (const InputError &) {
  return false;
}

void makePageFrom(const Options &options) {
  const fs::path json = options.htmlFrom;
  fs::path html = fs::path(json).replace_extension(".html");
  if (!options.outputFolder.empty())
    html = options.outputFolder / html.filename();
  if (!options.htmlFile.empty())
    html = options.htmlFile;
  PictureMaker maker;
  if (!options.video.empty())
    maker = [&](const std::string &document, const ShownFrames &frames) {
      checkVideo(options.video, document);
      return picturesFrom(options.video, options.source, document, frames);
    };
  else
    options.source.notice(html.string() + " is made without pictures; --video FILE names the video "
                                          "that they are taken from");
  remakeReport(json, html, maker);
  const fs::path folder = html.has_parent_path() ? html.parent_path() : ".";
  if (hasIndex(folder))
    writeIndex(folder);
}

} // namespace lumagauge::qc
