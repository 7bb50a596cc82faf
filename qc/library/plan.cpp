// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/plan.h"

#include "qc/report/atomic_file.h"
#include "qc/report/csv.h"
#include "qc/report/json_text.h"
#include "qc/report/output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <numeric>
#include <queue>
#include <type_traits>
#include <unordered_set>
#include <utility>

namespace lumagauge::qc {

namespace {

constexpr std::string_view FORMAT = "lumagauge-plan/1";
constexpr std::uint64_t LAST_FRAME = std::uint64_t{1} << 40; ///< as of --range
/// What opening an input and writing its results costs, some 10 ms, as frames and as bytes of
/// common video: a thousand short files cost more than a long one of their size.
constexpr double SAMPLES_A_FILE = 8.0 * 1920 * 1080, BYTES_A_FILE = 256 << 10;

double samplesOf(const Probe &probe) {
  const double frames =
      probe.frames ? static_cast<double>(*probe.frames) : probe.duration.value_or(0) * probe.rate;
  return frames * probe.width * probe.height;
}

Json headJson(const Plan &plan) {
  Json head{{"plan", FORMAT},
            {"parts", plan.parts},
            {"inputs", plan.entries.size()},
            {"cost", plan.isProbed ? "duration" : "bytes"}};
  const Probe *largest = nullptr;
  for (const PlanEntry &entry : plan.entries)
    if (entry.probe &&
        (largest == nullptr || std::uint64_t{entry.probe->width} * entry.probe->height >
                                   std::uint64_t{largest->width} * largest->height))
      largest = &*entry.probe;
  if (largest != nullptr) // memory is asked for by it
    head["largest"] = {{"width", largest->width}, {"height", largest->height}};
  return head;
}

Json entryJson(const PlanEntry &entry) {
  Json json{
      {"part", entry.part}, {"name", escapedText(entry.name)}, {"path", escapedText(entry.path)}};
  if (entry.bytes)
    json["bytes"] = *entry.bytes;
  if (entry.range)
    json["range"] = {entry.range->begin,
                     entry.range->end ? Json(*entry.range->end) : Json(nullptr)};
  if (!entry.probe)
    return json;
  json.update({{"width", entry.probe->width}, {"height", entry.probe->height}});
  json["rate"] = entry.probe->rate;
  if (entry.probe->duration)
    json["duration"] = *entry.probe->duration;
  if (entry.probe->frames)
    json["frames"] = *entry.probe->frames;
  return json;
}

void refuseOtherMembers(const Json &json, std::initializer_list<std::string_view> known) {
  for (const auto &[name, value] : json.items())
    if (std::find(known.begin(), known.end(), name) == known.end())
      throw InputError("this version knows no \"" + name + '"');
}

const Json &memberOf(const Json &json, const char *name) {
  const auto found = json.find(name);
  if (found == json.end())
    throw InputError(fmt::format("\"{}\" is missing", name));
  return *found;
}

template <class Number> Number positive(const Json &json, const char *name) {
  const Json &value = memberOf(json, name);
  bool isOne = value.is_number() && value >= 0;
  if constexpr (std::is_integral_v<Number>)
    isOne = value.is_number_unsigned() && std::in_range<Number>(value.get<std::uint64_t>());
  if (!isOne)
    throw InputError(fmt::format("\"{}\" is {}, expected a {}number from 0 on", name,
                                 jsonText(value), std::is_integral_v<Number> ? "whole " : ""));
  return value.get<Number>();
}

/// Of a name or a path, neither of which is empty or can hold a zero byte.
std::string bytesOf(const Json &json, const char *name) {
  const Json &value = memberOf(json, name);
  const std::string bytes = value.is_string() ? unescapedText(value.get<std::string>()) : "";
  if (bytes.empty() || bytes.find('\0') != std::string::npos)
    throw InputError(
        fmt::format("\"{}\" is {}, expected a text that is not empty and has no zero bytes", name,
                    jsonText(value)));
  return bytes;
}

template <class Number> std::optional<Number> optionally(const Json &json, const char *name) {
  return json.contains(name) ? std::optional(positive<Number>(json, name)) : std::nullopt;
}

FrameRange rangeOf(const Json &json) {
  const auto isFrame = [](const Json &value) {
    return value.is_number_unsigned() && value.get<std::uint64_t>() <= LAST_FRAME;
  };
  const bool isRange = json.is_array() && json.size() == 2 && isFrame(json[0]) &&
                       (json[1].is_null() || (isFrame(json[1]) && json[1] > json[0]));
  if (!isRange)
    throw InputError("\"range\" is no [A, B] of frame numbers, A below B, or [A, null]");
  return {json[0], json[1].is_null() ? std::nullopt : std::optional<std::int64_t>(json[1])};
}

PlanEntry entryOf(const Json &json) {
  refuseOtherMembers(json, {"part", "name", "path", "bytes", "range", "width", "height", "rate",
                            "duration", "frames"});
  PlanEntry entry{.part = positive<int>(json, "part"),
                  .name = bytesOf(json, "name"),
                  .path = bytesOf(json, "path"),
                  .bytes = optionally<std::int64_t>(json, "bytes")};
  // The files of a result go into one folder, whatever a plan says.
  if (entry.name.find('/') != std::string::npos)
    throw InputError("\"name\" is no name of a file: it holds a slash");
  if (json.contains("range"))
    entry.range = rangeOf(json.at("range"));
  if (entry.range && !entry.name.ends_with(partName("", *entry.range)))
    throw InputError("\"name\" does not end with its range");
  if (json.contains("width"))
    entry.probe = {positive<std::uint32_t>(json, "width"), positive<std::uint32_t>(json, "height"),
                   positive<double>(json, "rate"), optionally<double>(json, "duration"),
                   optionally<std::int64_t>(json, "frames")};
  return entry;
}

/// What the lines of a plan say so far.
struct Reading {
  Plan plan;
  std::optional<std::size_t> inputs; ///< as the head says; empty ahead of it
  std::size_t entries = 0;
  int highestPart = 0;
  std::unordered_set<std::string> names;

  void add(const Json &json, const std::function<void(PlanEntry)> &use) {
    if (!json.is_object())
      throw InputError("it is none of a plan: expected a JSON object, as {\"part\":1,\"name\":"
                       "\"a.mp4-7f3b5c1d9e8a2460\",\"path\":\"/archive/a.mp4\"}");
    if (!json.contains("plan")) {
      PlanEntry entry = entryOf(json);
      ++entries;
      highestPart = std::max(highestPart, entry.part);
      if (entry.part < 1)
        throw InputError("parts count from 1");
      if (!names.insert(entry.name).second)
        throw InputError("the name \"" + entry.name + "\" is there twice");
      use(std::move(entry));
      return;
    }
    if (inputs)
      throw InputError("it is a second head, {\"plan\": ...}");
    if (json.at("plan") != FORMAT)
      throw InputError("this version reads plans of format " + std::string(FORMAT));
    plan.parts = positive<int>(json, "parts");
    inputs = positive<std::size_t>(json, "inputs");
    plan.isProbed = memberOf(json, "cost") == "duration";
  }

  void checkWhole() const {
    if (!inputs)
      throw InputError("it is no plan, or its head is missing, the line {\"plan\": ...}");
    if (entries != *inputs)
      throw InputError(fmt::format("it has {} inputs, its head says {}: it is cut short, or was "
                                   "changed without its head",
                                   entries, *inputs));
    if (highestPart > plan.parts)
      throw InputError(fmt::format("it has a part {}, its head says {}", highestPart, plan.parts));
  }
};

} // namespace

std::vector<double> costs(const Plan &plan) {
  std::vector<double> result;
  double samples = 0, bytes = 0; // of inputs of which both are known
  for (const PlanEntry &entry : plan.entries)
    if (entry.probe && entry.bytes) {
      samples += samplesOf(*entry.probe);
      bytes += static_cast<double>(*entry.bytes);
    }
  const double samplesAByte = bytes > 0 ? samples / bytes : SAMPLES_A_FILE / BYTES_A_FILE;
  for (const PlanEntry &entry : plan.entries) {
    const auto size = static_cast<double>(entry.bytes.value_or(0));
    if (!plan.isProbed)
      result.push_back(BYTES_A_FILE + size);
    else if (const double known = entry.probe ? samplesOf(*entry.probe) : 0; known > 0)
      result.push_back(SAMPLES_A_FILE + known);
    else
      result.push_back(SAMPLES_A_FILE + size * samplesAByte);
  }
  return result;
}

void deal(Plan &plan) {
  const std::vector<double> cost = costs(plan);
  std::vector<std::size_t> order(plan.entries.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return cost[a] > cost[b]; });
  using Load = std::pair<double, int>; // cost so far, part
  std::priority_queue<Load, std::vector<Load>, std::greater<>> loads;
  for (int part = 1; part <= plan.parts; ++part)
    loads.emplace(0.0, part);
  for (const std::size_t i : order) {
    const auto [load, part] = loads.top();
    loads.pop();
    plan.entries[i].part = part;
    loads.emplace(load + cost[i], part);
  }
}

void writePlan(const Plan &plan, const std::filesystem::path &path) {
  AtomicFile file(path);
  file.stream() << jsonText(headJson(plan)) << '\n';
  for (const PlanEntry &entry : plan.entries)
    file.stream() << jsonText(entryJson(entry)) << '\n';
  file.seal();
  file.commit();
}

Plan readPlan(const std::filesystem::path &path, const std::function<void(PlanEntry)> &use) {
  std::ifstream file(path, std::ios::binary);
  if (!file)
    throw InputError(fmt::format("{}: cannot be read: {}", path.string(), std::strerror(errno)));
  Reading reading;
  std::size_t number = 0;
  try {
    for (std::string line; std::getline(file, line);) {
      ++number;
      if (line.find_first_not_of(" \t\r") != std::string::npos)
        reading.add(parsedJson(line), use);
    }
    if (file.bad())
      throw InputError("reading failed");
  } catch (const InputError &error) {
    throw InputError(fmt::format("{}: line {}: {}; mend it, or write the plan anew with --plan",
                                 path.string(), number, error.what()));
  }
  try {
    reading.checkWhole();
  } catch (const InputError &error) {
    throw InputError(fmt::format("{}: {}", path.string(), error.what()));
  }
  return reading.plan;
}

} // namespace lumagauge::qc
