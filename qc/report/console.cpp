// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/console.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <fmt/ostream.h>

namespace lumagauge::qc {

namespace {

/// A fault on every other frame of a long video would bury the verdict; the files have all.
constexpr std::size_t MOST_EVENTS = 100;

/// "frames 100 to 199".
std::string framesOf(const Judgement &judgement) {
  return judgement.frames == 0 ? "no frames"
                               : fmt::format("frames {} to {}", judgement.firstFrame,
                                             judgement.firstFrame + judgement.frames - 1);
}

void printInput(std::ostream &stream, const InputInfo &info, const InputEnd &end,
                const Judgement &judgement, bool isPart) {
  fmt::print(stream, "{}\n", printable(info.path));
  fmt::print(stream, "  {}, {}, {}x{} {}, luma {}, range {}\n", printable(info.format),
             printable(info.codec), info.width, info.height, printable(info.pixelFormat),
             info.lumaRule, info.range);
  fmt::print(stream, "  {} frames, {}, {:.6g} frames/s ({})\n", judgement.frames,
             clockTime(judgement.duration), info.rate, info.rateOrigin);
  if (isPart)
    fmt::print(stream, "  a part of the video: {}; --join makes the whole of its parts\n",
               framesOf(judgement));
  if (judgement.cadence)
    fmt::print(stream, "  {:.4g} pictures/s, each shown for {:.4g} frames\n",
               judgement.cadence->rate, judgement.cadence->framesPerPicture);
  for (const auto *warnings : {&info.warnings, &end.warnings})
    for (const std::string &warning : *warnings)
      fmt::print(stream, "  warning: {}\n", printable(warning));
}

void printTable(std::ostream &stream, const Judgement &judgement) {
  fmt::print(stream, "\n{:<17} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9}  {}\n", "indicator", "mean",
             "min", "5 %", "50 %", "95 %", "max", "worst at");
  for (std::size_t i = 0; i < INDICATOR_COUNT; ++i) {
    const IndicatorSummary &s = judgement.summaries[i];
    if (s.count == 0) {
      fmt::print(stream, "{:<17} {:>9}\n", INDICATOR_NAMES[i], s.nan > 0 ? "NaN" : "-");
      continue;
    }
    fmt::print(stream,
               "{:<17} {:>9.4g} {:>9.4g} {:>9.4g} {:>9.4g} {:>9.4g} {:>9.4g}  {} (frame {})\n",
               INDICATOR_NAMES[i], s.mean, s.min, s.p5, s.median, s.p95, s.max,
               clockTime(s.worstTime), s.worstFrame);
  }
}

/// Errors have no frames of their own, and the one behind them may never have come.
std::string placeOf(const Event &event, const Judgement &judgement) {
  if (event.endFrame == 0)
    return "at the start";
  if (event.endFrame >= judgement.firstFrame + judgement.frames)
    return "after the last frame";
  return fmt::format("before frame {}", event.endFrame);
}

void printEvents(std::ostream &stream, const Judgement &judgement) {
  const std::vector<Event> &events = judgement.events;
  fmt::print(stream, "\n");
  if (events.empty())
    fmt::print(stream, "no events\n");
  for (std::size_t i = 0; i < std::min(events.size(), MOST_EVENTS); ++i) {
    const Event &e = events[i];
    fmt::print(stream, "{:<4}  {:<12}  {} - {}  ", severityName(e.severity), e.kind,
               clockTime(e.startTime), clockTime(e.endTime));
    if (e.worst)
      fmt::print(stream, "frames {} - {}, {}\n", e.startFrame, e.endFrame,
                 e.text.empty() ? fmt::format("worst {:.4g}", *e.worst) : e.text);
    else
      fmt::print(stream, "{}, {} {}{}\n", placeOf(e, judgement), e.frames,
                 e.kind == kindName(DecodeErrorKind::missing) ? "frame" : "error",
                 e.frames == 1 ? "" : "s");
  }
  if (events.size() > MOST_EVENTS)
    fmt::print(stream, "... and {} more\n", events.size() - MOST_EVENTS);
}

/// A line a reason.
void printNotJudged(std::ostream &stream, const std::vector<NotJudged> &rules) {
  std::vector<std::pair<std::string, std::vector<std::string>>> kindsOf;
  for (const NotJudged &rule : rules) {
    const auto same = std::find_if(kindsOf.begin(), kindsOf.end(),
                                   [&](const auto &one) { return one.first == rule.reason; });
    if (same == kindsOf.end())
      kindsOf.push_back({rule.reason, {rule.kind}});
    else
      same->second.push_back(rule.kind);
  }
  for (const auto &[reason, kinds] : kindsOf)
    fmt::print(stream, "not judged: {} ({})\n", fmt::join(kinds, ", "), reason);
}

} // namespace

void printReport(std::ostream &stream, const InputInfo &info, const InputEnd &end,
                 const Judgement &judgement, bool quiet, bool isPart) {
  if (!quiet) {
    printInput(stream, info, end, judgement, isPart);
    if (!end.errors.empty())
      fmt::print(stream, "  warning: {} decode error{}, the first at {}: {}\n", end.errors.size(),
                 end.errors.size() == 1 ? "" : "s", clockTime(end.errors.front().time),
                 printable(end.errors.front().message));
    printTable(stream, judgement);
    printEvents(stream, judgement);
    printNotJudged(stream, judgement.notJudged);
  }
  printVerdict(stream, isPart ? fmt::format("{} ({})", info.path, framesOf(judgement)) : info.path,
               judgement);
  if (!quiet)
    fmt::print(stream, "\n");
}

void printVerdict(std::ostream &stream, const std::string &path, const Judgement &judgement) {
  std::vector<std::string> reasons;
  if (judgement.verdict == Verdict::unmeasured)
    reasons.push_back(printable(judgement.reason));
  for (const BrokenRule &broken : judgement.broken)
    reasons.push_back(
        fmt::format("{} {} ({})", severityName(broken.severity), broken.kind, broken.reason));
  fmt::print(
      stream, "verdict: {}  {}{}{}\n",
      verdictText(judgement.verdict, judgement.rules - judgement.notJudged.size(), judgement.rules),
      printable(path), reasons.empty() ? "" : "  ", fmt::join(reasons, ", "));
}

std::string verdictText(Verdict verdict, std::size_t judged, std::size_t rules) {
  const std::string name(verdictName(verdict));
  if (judged == rules || (verdict != Verdict::pass && verdict != Verdict::warn))
    return name;
  return fmt::format("{} ({} of {} rules judged)", name, judged, rules);
}

std::string clockTime(double seconds) {
  if (!std::isfinite(seconds))
    return "?";
  const long long all = std::llround(std::abs(seconds) * 1000);
  return fmt::format("{}{}:{:02}:{:02}.{:03}", seconds < 0 && all > 0 ? "-" : "", all / 3600000,
                     all / 60000 % 60, all / 1000 % 60, all % 1000);
}

std::string printable(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F, two bytes in UTF-8, are control characters to a terminal as well.
    const bool startsC1 = byte == 0xC2 && i + 1 < text.size() &&
                          static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                          static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (byte < 0x20 || byte == 0x7F || startsC1)
      result += fmt::format("\\x{:02x}", byte);
    else
      result += text[i];
    if (startsC1)
      result += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[++i]));
  }
  return result;
}

} // namespace lumagauge::qc
