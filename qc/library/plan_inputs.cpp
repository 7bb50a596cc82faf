// SPDX-License-Identifier: BSD-2-Clause
//
// From inputs to the entries of a plan.
#include "qc/library/plan.h"

#include "qc/measure/cpus.h"
#include "qc/report/output.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_set>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

bool isUrl(const std::string &input, const SourceOptions &options) {
  for (const std::string &scheme : options.protocols)
    if (input.starts_with(scheme + "://"))
      return true;
  return false;
}

/// From whichever folder a part is measured. Without dots where that is the same file: behind a
/// symbolic link ".." is another folder.
std::string absolutePath(const std::string &input) {
  std::error_code error;
  const fs::path absolute = fs::absolute(input, error), plain = absolute.lexically_normal();
  if (error)
    return input;
  const bool isSame = fs::equivalent(absolute, plain, error);
  return isSame || error ? plain.string() : absolute.string();
}

PlanEntry entryFor(const std::string &input, const SourceOptions &options) {
  if (input == "-")
    throw InputError("standard input cannot be in a plan, as other machines do not have it");
  PlanEntry entry;
  entry.path = isUrl(input, options) ? input : absolutePath(input);
  entry.name = lastingName(entry.path);
  if (isUrl(input, options))
    return entry;
  std::error_code error;
  const std::uintmax_t bytes = fs::file_size(entry.path, error);
  if (!error)
    entry.bytes = static_cast<std::int64_t>(bytes);
  else if (options.notice)
    options.notice(input + ": " + error.message() + "; it stays in the plan");
  return entry;
}

Probe probe(const std::string &path, const SourceOptions &options) {
  SourceOptions plain = options;
  plain.decodeThreads = 1;
  plain.notice = nullptr;
  const std::unique_ptr<VideoSource> source = openSource(path, plain);
  const InputInfo &info = source->info();
  return {info.width, info.height, info.rate, info.duration, info.frameCount};
}

/// Opens the inputs on several threads, since a file on a server is mostly waited for.
void probeAll(std::vector<PlanEntry> &entries, const SourceOptions &options) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  const auto work = [&] {
    for (std::size_t i; (i = next++) < entries.size() && !isReadingCancelled();) {
      std::string failure;
      try {
        entries[i].probe = probe(entries[i].path, options);
      } catch (const std::exception &error) { // of one input, or memory that one asks for
        failure = error.what();
      }
      const std::lock_guard lock(mutex);
      if (!failure.empty() && options.notice && !isReadingCancelled())
        options.notice(entries[i].path + ": " + failure + "; it stays in the plan");
    }
  };
  std::vector<std::jthread> threads;
  try {
    for (int i = 1; i < 2 * usableCpus(); ++i)
      threads.emplace_back(work);
  } catch (const std::system_error &) {
    // Fewer do it as well.
  }
  work();
}

/// Its share of what is known of the whole.
PlanEntry partOf(const PlanEntry &whole, const FrameRange &range, std::int64_t frames) {
  PlanEntry part = whole;
  const std::int64_t own = range.end.value_or(frames) - range.begin;
  const double share = static_cast<double>(own) / static_cast<double>(frames);
  part.range = range;
  part.name = partName(whole.name, range);
  if (whole.bytes)
    part.bytes = static_cast<std::int64_t>(share * static_cast<double>(*whole.bytes));
  part.probe->frames = own;
  if (whole.probe->duration)
    part.probe->duration = share * *whole.probe->duration;
  return part;
}

/// The parts of an entry, or the entry alone. The last part goes on to the end, whatever was
/// counted.
std::vector<PlanEntry> partsOf(const PlanEntry &whole, const Extent &length,
                               const SourceOptions &options) {
  const double longest = std::holds_alternative<Frames>(length)
                             ? static_cast<double>(std::get<Frames>(length).value)
                             : std::get<Seconds>(length).value * whole.probe->rate;
  const FrameCount count =
      countFrames(whole.path, options, std::max<std::int64_t>(1, std::llround(longest)));
  const std::int64_t parts = std::llround(static_cast<double>(count.frames) / longest);
  if (parts < 2)
    return {whole};
  if (!count.unfit.empty()) {
    if (options.notice)
      options.notice(whole.path + ": it is not split: " + count.unfit);
    return {whole};
  }
  std::vector<PlanEntry> list;
  for (std::int64_t i = 0; i < parts; ++i) {
    FrameRange range{count.frames * i / parts, count.frames * (i + 1) / parts};
    if (i + 1 == parts)
      range.end.reset();
    list.push_back(partOf(whole, range, count.frames));
  }
  return list;
}

} // namespace

void split(Plan &plan, const Extent &length, const SourceOptions &options) {
  SourceOptions plain = options;
  plain.decodeThreads = 1;
  std::vector<PlanEntry> entries;
  for (const PlanEntry &entry : plan.entries) {
    std::vector<PlanEntry> parts{entry};
    try {
      if (entry.probe && !isReadingCancelled())
        parts = partsOf(entry, length, plain);
    } catch (const InputError &error) {
      if (options.notice)
        options.notice(entry.path + ": it is not split: " + error.what());
    }
    entries.insert(entries.end(), parts.begin(), parts.end());
  }
  plan.entries = std::move(entries);
}

Plan makePlan(const std::vector<std::string> &inputs, int parts, bool isProbed,
              const std::optional<Extent> &longest, const SourceOptions &options) {
  Plan plan{.parts = parts, .isProbed = isProbed, .entries = {}};
  std::unordered_set<std::string> paths, names;
  for (const std::string &input : inputs) {
    PlanEntry entry = entryFor(input, options);
    if (!paths.insert(entry.path).second)
      continue;
    if (!names.insert(entry.name).second) // 64 bits agree
      throw InputError(input + ": its results would have the name of another input's; rename it");
    plan.entries.push_back(std::move(entry));
  }
  if (plan.entries.empty())
    throw InputError("there is no input to plan");
  if (isProbed)
    probeAll(plan.entries, options);
  if (longest)
    split(plan, *longest, options);
  if (isReadingCancelled())
    throw InputError("interrupted: there is no plan");
  deal(plan);
  return plan;
}

} // namespace lumagauge::qc
