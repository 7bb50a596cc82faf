// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/event_lines.h"

#include "qc/report/atomic_file.h"
#include "qc/report/json_text.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace lumagauge::qc {

namespace {

constexpr std::string_view EVENTS_SCHEMA = "lumagauge-events/1";
constexpr mode_t MODE = 0666; ///< less what the umask takes

std::string_view changeName(Change change) {
  constexpr std::array<std::string_view, 4> names{"open", "raise", "close", "withdraw"};
  return names[static_cast<std::size_t>(change)];
}

Json line(std::string_view type) {
  return {{"type", type}, {"at", wallTime()}};
}

bool endsInsideLine(int descriptor) {
  struct stat status {};
  char last = '\n';
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
         pread(descriptor, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

Json kindsJson(const LiveTotals &totals, const Profile &profile) {
  Json kinds = Json::array();
  for (std::size_t i = 0; i < profile.rules.size(); ++i) {
    const LiveTotals::OfRule &rule = totals.rules[i];
    if (rule.events.count + rule.brokenWindows > 0)
      kinds.push_back({{"kind", profile.rules[i].kind},
                       {"count", rule.events.count},
                       {"seconds", jsonNumber(rule.events.total)},
                       {"longest", jsonNumber(rule.events.longest)},
                       {"broken_windows", rule.brokenWindows}});
  }
  return kinds;
}

} // namespace

std::string wallTime() {
  using std::chrono::milliseconds;
  const auto now = std::chrono::floor<milliseconds>(std::chrono::system_clock::now());
  const auto second = std::chrono::floor<std::chrono::seconds>(now);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(second)),
                     (now - second).count());
}

EventLines::EventLines(const std::string &target)
    : path(target),
      descriptor(path == "-" ? dup(STDOUT_FILENO)
                             : open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, MODE)) {
  if (descriptor < 0 && path != "-") // such as a pipe or a device that cannot be read
    descriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (descriptor < 0)
    throw OutputError(
        fmt::format("--events {}: cannot be written: {}", path, std::strerror(errno)));
  if (endsInsideLine(descriptor))
    write("");
}

EventLines::~EventLines() {
  close(descriptor);
}

/// In one call, so that lines of several runs do not mix.
void EventLines::write(const std::string &text) {
  const std::string bytes = text + '\n';
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno != EINTR)
      throw OutputError(fmt::format("--events {}: writing failed: {}", path, std::strerror(errno)));
    done += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
}

void EventLines::begin(const std::string &input, const Settings &settings, const Profile &profile,
                       double window) {
  Json json = line("begin");
  json.update({{"schema", EVENTS_SCHEMA},
               {"tool", {{"name", "lumagauge-qc"}, {"version", settings.version}}},
               {"input", input},
               {"settings", settingsJson(settings)},
               {"profile", profile.name},
               {"window", window}});
  write(jsonText(json));
}

void EventLines::connected(const InputInfo &info, double time) {
  Json json = line("connect");
  json.update({{"time", time},
               {"format", info.format},
               {"codec", info.codec},
               {"width", info.width},
               {"height", info.height},
               {"pixel_format", info.pixelFormat},
               {"rate", info.rate},
               {"rate_origin", info.rateOrigin},
               {"warnings", info.warnings}});
  write(jsonText(json));
}

void EventLines::event(const EventChange &change) {
  const Event &event = change.event;
  const bool hasEnded = change.change == Change::closed || change.change == Change::withdrawn;
  Json json = line(changeName(change.change));
  json.update({{"id", change.id},
               {"kind", event.kind},
               {"severity", severityName(event.severity)},
               {"start", jsonNumber(event.startTime)},
               {"start_frame", event.startFrame}});
  if (hasEnded)
    json.update({{"end", jsonNumber(event.endTime)},
                 {"end_frame", event.endFrame},
                 {"frames", event.frames},
                 {"text", event.text.empty() ? Json(nullptr) : Json(event.text)}});
  json["worst"] = jsonNumber(event.worst);
  if (event.kind == SIGNAL_LOST)
    json["waited"] = change.waited;
  if (hasEnded)
    json["text"] = event.text.empty() ? Json(nullptr) : Json(event.text);
  json["reason"] = change.reason.empty() ? Json(nullptr) : Json(change.reason);
  write(jsonText(json));
}

void EventLines::window(const WindowJudgement &window) {
  const Judgement &judged = window.judgement;
  Json json = line("window");
  json.update({{"number", window.number},
               {"start", window.start},
               {"end", window.end},
               {"complete", window.isComplete},
               {"start_frame", judged.firstFrame},
               {"frames", judged.frames},
               {"duration", jsonNumber(judged.duration)},
               {"verdict", verdictName(judged.verdict)},
               {"broken_rules", brokenJson(judged.broken)},
               {"not_judged", notJudgedJson(judged.notJudged)},
               {"events", eventsJson(judged.events)},
               {"summary", summaryJson(judged.summaries)}});
  write(jsonText(json));
}

void EventLines::end(const LiveTotals &totals, const Profile &profile, const Ending &ending) {
  Json json = line("end");
  json.update({{"cause", ending.cause},
               {"frames", totals.frames},
               {"duration", jsonNumber(totals.duration)},
               {"windows", totals.windows},
               {"verdict", verdictName(ending.verdict)},
               {"events", kindsJson(totals, profile)},
               {"exit_status", ending.status}});
  write(jsonText(json));
}

} // namespace lumagauge::qc
