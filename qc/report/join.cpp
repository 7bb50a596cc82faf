// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/join.h"
#include "qc/judge/judge.h"
#include "qc/measure/shots.h"
#include "qc/report/console.h"
#include "qc/report/result_files.h"
#include "qc/source/decode_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace lumagauge::qc {

namespace fs = std::filesystem;

namespace {

std::string nameOf(const PartFile &part) {
  return part.json.string();
}

/// "frame 12", "frames 12 to 14".
std::string framesText(std::int64_t begin, std::int64_t end) {
  return end - begin == 1 ? fmt::format("frame {}", begin)
                          : fmt::format("frames {} to {}", begin, end - 1);
}

std::string comparable(Settings settings) {
  settings.threads = settings.decodeThreads = 0; // they change nothing
  return fmt::format("{} {} {} {}", settings.version, settings.indicators, settings.source,
                     settings.streamTimes);
}

void requireAlike(const PartFile &part, const PartFile &first) {
  if (part.end.interrupted)
    throw InputError(nameOf(part) + ": its measuring was interrupted: measure the part again");
  if (part.settings.version != LUMAGAUGE_VERSION)
    throw InputError(fmt::format("{} was measured by version {}, this is " LUMAGAUGE_VERSION
                                 ": measure and join with one",
                                 nameOf(part), part.settings.version));
  if (comparable(part.settings) != comparable(first.settings))
    throw InputError(fmt::format("{} and {} were measured with other options (indicators, raw "
                                 "layout, stream, rate or times): measure both with the same",
                                 nameOf(first), nameOf(part)));
  if (part.input != first.input)
    throw InputError(
        fmt::format("{} and {} were not measured from the same file, or it was changed "
                    "meanwhile: measure both again",
                    nameOf(first), nameOf(part)));
}

/// The later part begins where the earlier one ends, and knows it.
void requireSeam(const PartFile &earlier, const PartFile &later) {
  const std::int64_t end = earlier.endFrame(), begin = later.facts.range.begin;
  if (earlier.facts.range.begin == later.facts.range.begin &&
      earlier.facts.range.end == later.facts.range.end)
    throw InputError(
        fmt::format("{} and {} are the same part: give each once", nameOf(earlier), nameOf(later)));
  if (earlier.facts.hasEnd)
    throw InputError(fmt::format(
        "{} ends the video with {}, {} begins at frame {}: they overlap, "
        "or the video is damaged and has to be measured with --no-seek{}",
        nameOf(earlier), earlier.frames == 0 ? "no frame" : framesText(end - 1, end), nameOf(later),
        begin, earlier.end.doubtful ? " (" + earlier.end.reason + ")" : ""));
  if (end < begin)
    throw InputError(fmt::format("{} {} missing between {} and {}", framesText(end, begin),
                                 begin - end == 1 ? "is" : "are", nameOf(earlier), nameOf(later)));
  if (end > begin)
    throw InputError(fmt::format("{} {} in both {} and {}",
                                 framesText(begin, std::min(end, later.endFrame())),
                                 std::min(end, later.endFrame()) - begin == 1 ? "is" : "are",
                                 nameOf(earlier), nameOf(later)));
  if (earlier.facts.last != later.facts.before)
    throw InputError(
        fmt::format("frame {} of {} is not the one that {} begins behind: the video is "
                    "damaged, or pictures in it rest on others from far ahead; measure "
                    "the later parts once more with --no-seek",
                    end - 1, nameOf(earlier), nameOf(later)));
}

/// In order, without those that lie behind the end of the video.
std::vector<PartFile> inOrder(std::vector<PartFile> parts) {
  std::sort(parts.begin(), parts.end(), [](const PartFile &a, const PartFile &b) {
    return std::tuple(a.facts.range.begin, a.endFrame(), a.json) <
           std::tuple(b.facts.range.begin, b.endFrame(), b.json);
  });
  for (const PartFile &part : parts)
    requireAlike(part, parts.front());
  while (parts.size() > 1 && parts.back().frames == 0 && parts.back().facts.hasEnd &&
         parts[parts.size() - 2].facts.hasEnd)
    parts.pop_back();
  if (const std::int64_t begin = parts.front().facts.range.begin; begin != 0)
    throw InputError(fmt::format("{} {} missing: the first part, {}, begins behind",
                                 framesText(0, begin), begin == 1 ? "is" : "are",
                                 nameOf(parts.front())));
  for (std::size_t i = 1; i < parts.size(); ++i)
    requireSeam(parts[i - 1], parts[i]);
  if (!parts.back().facts.hasEnd)
    throw InputError(fmt::format("the frames from {} on are missing: {}, the last part, does not "
                                 "end the video. --range {}: measures them",
                                 parts.back().endFrame(), nameOf(parts.back()),
                                 parts.back().endFrame()));
  return parts;
}

/// How reading the whole would have ended. What is missing is told from the time stamps of all
/// frames, so that the last part alone knows it; errors are told by the part whose frames they
/// are at.
InputEnd endOf(const std::vector<PartFile> &parts) {
  const PartFile &last = parts.back();
  InputEnd end = last.end;
  std::vector<DecodeError> losses = std::exchange(end.errors, {});
  std::erase_if(losses, [](const DecodeError &error) {
    return error.kind != DecodeErrorKind::missing && error.missing == 0;
  });
  for (const PartFile &part : parts)
    for (const DecodeError &error : part.end.errors)
      if (error.kind == DecodeErrorKind::undecodable && error.missing == 0 &&
          error.frame >= part.facts.range.begin &&
          (&part == &last || error.frame < part.endFrame()))
        end.errors.push_back(error);
  for (const DecodeError &loss : losses)
    addLoss(end.errors, loss);
  std::stable_sort(end.errors.begin(), end.errors.end(),
                   [](const DecodeError &a, const DecodeError &b) {
                     return std::tie(a.frame, a.time) < std::tie(b.frame, b.time);
                   });
  const auto changed = std::find_if(parts.begin(), parts.end(),
                                    [](const PartFile &part) { return part.end.changed; });
  if (changed != parts.end() && last.end.changed)
    end.warnings.front() = changed->end.warnings.front();
  else if (changed != parts.end())
    end.warnings.insert(end.warnings.begin(), changed->end.warnings.front());
  end.changed = changed != parts.end();
  return end;
}

/// Unless another is chosen that by which the parts were judged.
Profile profileFor(const std::vector<PartFile> &parts, const Joining &joining) {
  if (joining.profileIsChosen)
    return joining.profile;
  const std::vector<std::string_view> shipped = profileNames();
  const std::string &name = parts.front().profile;
  const bool isShipped = std::find(shipped.begin(), shipped.end(), name) != shipped.end();
  Profile profile = isShipped ? loadProfile(name) : joining.profile;
  for (const PartFile &part : parts)
    if (part.rules != rulesText(profile))
      throw InputError(fmt::format("its part {} was judged by a profile {}: give --profile with "
                                   "that one, or with another to judge all anew",
                                   nameOf(part), part.profile));
  return profile;
}

void addParts(PartGroups &groups, const fs::path &path, bool isFolder) try {
  std::optional<PartFile> part = readPart(path);
  if (part)
    groups[part->name].push_back(std::move(*part));
  else if (!isFolder)
    throw InputError("it is no result of --range");
} catch (const InputError &error) {
  throw InputError(fmt::format("{}: {}", path.string(), error.what()));
}

} // namespace

PartGroups findParts(const std::vector<std::string> &paths) {
  PartGroups groups;
  for (const std::string &path : paths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      addParts(groups, path, false);
      continue;
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(path, error))
      if (entry.path().extension() == ".json" && entry.is_regular_file(error))
        addParts(groups, entry.path(), true);
    if (error)
      throw InputError(fmt::format("{}: cannot be read: {}", path, error.message()));
  }
  if (groups.empty())
    throw InputError("no result of --range is there");
  return groups;
}

BatchRow joinParts(std::vector<PartFile> given, const Joining &joining, std::ostream &stream) {
  const std::string name = given.front().name;
  const std::vector<PartFile> parts = inOrder(std::move(given));
  const PartFile &first = parts.front();
  const Profile profile = profileFor(parts, joining);
  const bool framesInJson =
      std::all_of(parts.begin(), parts.end(), [](const PartFile &p) { return p.framesInJson; });
  ResultFiles files(ResultPaths(joining.folder, name), first.input, first.settings, profile,
                    joining.withFrames && framesInJson);
  Judge judge(profile, first.info, first.settings.indicators);
  ShotCounter shots;
  for (const PartFile &part : parts)
    readRows(part, [&](FrameRecord record) {
      record.shot = shots.add(record);
      judge.add(record);
      files.add(record);
    });
  const InputEnd end = endOf(parts);
  const Judgement judgement = judge.finish(end);
  files.finish(end, judgement);
  printReport(stream, first.info, end, judgement, joining.quiet);
  BatchRow row = batchRow(first.info.path, judgement);
  row.name = name;
  return row;
}

std::vector<BatchRow> joinAll(PartGroups groups, const Joining &joining, std::ostream &stream) {
  std::vector<BatchRow> rows;
  for (auto &[name, parts] : groups) {
    const std::string input = parts.front().info.path;
    const auto fail = [&](const std::exception &error) {
      const Judgement judgement = unmeasured(error.what());
      printVerdict(stream, input, judgement);
      rows.push_back(batchRow(input, judgement));
    };
    try {
      rows.push_back(joinParts(std::move(parts), joining, stream));
    } catch (const InputError &error) {
      fail(error);
    } catch (const OutputError &error) {
      fail(error);
    }
    rows.back().name = name;
  }
  return rows;
}

} // namespace lumagauge::qc
