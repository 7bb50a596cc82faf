// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/picture_ledger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumagauge::qc {

namespace {

/// Packets that a decoder may hold before it gives out a picture, at the most.
constexpr std::int64_t LONGEST_DELAY = 96;
/// Steps by which a stream is known.
constexpr std::size_t KNOWN_STEPS = 32, FEWEST_STEPS = 8, FEWEST_STATED_STEPS = 4;
/// Of a step: a longer one has room for another picture. Below it are steps of 2 and 3 fields.
constexpr double LONG_STEP = 1.75;
/// Steps that are alike: rounded to a time base of milliseconds.
constexpr double LIKENESS = 0.1, STAMP_ROUNDING = 0.0011;
constexpr double LEAST_ALIKE = 0.9;
/// Of the steps: where more are long, the rate varies.
constexpr double MOST_LONG = 0.05;
constexpr std::int64_t SOME_LONG = 2;
/// Unless all of them lie within so many pictures.
constexpr std::int64_t BURST = 12;
constexpr double MOST_LONG_IN_BURST = 0.15;
/// Pictures whose stamps were late come so close upon each other, within so many pictures.
constexpr double CROWDED_STEP = 0.5;
constexpr std::int64_t CROWD = 4;
/// A container that states that a picture stands so long is not believed in a steady stream.
constexpr double LONGEST_STATED_SECONDS = 1.0, LONGEST_STATED_STEPS = 10;
constexpr std::size_t MOST_GAPS = 10000;

std::string counted(std::int64_t frames) {
  return frames == 1 ? "a picture is missing" : fmt::format("{} pictures are missing", frames);
}

} // namespace

std::int64_t PictureLedger::addPacket(const Packet &packet) {
  Waiting added;
  static_cast<Packet &>(added) = packet;
  added.tag = packets++;
  waiting.push_back(std::move(added));
  while (waiting.front().tag + LONGEST_DELAY < packets) {
    settle(waiting.front());
    waiting.pop_front();
  }
  return packets - 1;
}

void PictureLedger::addProblem(std::int64_t tag, const std::string &what) {
  const auto found = std::find_if(waiting.begin(), waiting.end(),
                                  [&](const Waiting &packet) { return packet.tag == tag; });
  if (found == waiting.end())
    log.addError(last ? last->time : 0.0, what);
  else if (found->problem.empty())
    found->problem = what;
}

void PictureLedger::moveOrigin(double seconds) {
  for (Waiting &packet : waiting)
    if (packet.time)
      *packet.time -= seconds;
}

void PictureLedger::addPicture(const Picture &picture) {
  measureStep(picture);
  take(picture);
  for (Waiting &packet : waiting)
    if (!packet.placed)
      place(packet, picture);
  last = picture;
}

void PictureLedger::passOver(std::int64_t tag) {
  std::erase_if(waiting, [&](const Waiting &packet) { return packet.tag == tag; });
}

/// Takes the picture's packet out. A decoder may show a picture again that it gave out before, or
/// give one the tag of a packet that it kept: then it is the packet that waits longest.
void PictureLedger::take(const Picture &picture) {
  auto found = std::find_if(waiting.begin(), waiting.end(),
                            [&](const Waiting &packet) { return packet.tag == picture.tag; });
  if (found == waiting.end())
    found = std::find_if(waiting.begin(), waiting.end(), [&](const Waiting &packet) {
      return packet.shows &&
             (!packet.time || std::abs(*packet.time - picture.time) < STAMP_ROUNDING);
    });
  if (found == waiting.end())
    return;
  if (!found->problem.empty())
    log.addError(picture.time, found->problem);
  waiting.erase(found);
}

/// Once a later picture is there the packet's own is late at best.
void PictureLedger::place(Waiting &packet, const Picture &picture) {
  if (packet.time ? *packet.time >= picture.time - STAMP_ROUNDING : packet.tag >= picture.tag)
    return;
  packet.placed = true;
  packet.before = log.pictures();
  if (!packet.time && isSecondField(packet))
    packet.shows = false;
  const bool isLate = packet.time && last && *packet.time <= last->time + STAMP_ROUNDING;
  if (isLate || (packet.time && last && !leavesRoom))
    packet.shows = false; // there is no gap for it
  if (packet.shows) {
    Gap &gap = gaps[packet.before];
    gap.start = last ? last->time : std::min(gap.start, packet.time.value_or(picture.time));
    gap.end = picture.time;
  }
}

bool PictureLedger::isSecondField(const Waiting &packet) const {
  return last && last->interlaced && packet.tag == last->tag + 1;
}

void PictureLedger::settle(const Waiting &packet) {
  if (!packet.placed || !packet.shows) {
    if (!packet.problem.empty())
      log.addError(last ? last->time : 0.0, packet.problem);
    return;
  }
  Gap &gap = gaps[packet.before];
  ++gap.packets;
  gap.timed = gap.timed && packet.time.has_value();
  if (gap.problem.empty())
    gap.problem = packet.problem;
}

void PictureLedger::measureStep(const Picture &picture) {
  if (!last)
    return;
  const double step = picture.time - last->time;
  ++stepCount;
  std::vector<double> sorted(steps.begin(), steps.end());
  std::sort(sorted.begin(), sorted.end());
  const bool isKnown = sorted.size() >= FEWEST_STEPS || statedStep == 0;
  const double usual = !isKnown ? statedStep : sorted.empty() ? step : sorted[sorted.size() / 2];
  if (step < CROWDED_STEP * usual && !gaps.empty() &&
      gaps.rbegin()->first >= log.pictures() - CROWD)
    ++gaps.rbegin()->second.crowded;
  leavesRoom = step > LONG_STEP * usual || (sorted.size() < FEWEST_STEPS && statedStep == 0);
  if (step <= LONG_STEP * usual) {
    steps.push_back(step);
    if (steps.size() > KNOWN_STEPS)
      steps.pop_front();
    return;
  }
  if (longSteps++ == 0)
    firstLong = log.pictures();
  lastLong = log.pictures();
  const auto alike = std::count_if(sorted.begin(), sorted.end(), [&](double other) {
    return std::abs(other - usual) <= LIKENESS * usual + STAMP_ROUNDING;
  });
  const bool isSteady =
      sorted.size() >= (statedStep > 0 ? FEWEST_STATED_STEPS : FEWEST_STEPS) &&
      static_cast<double>(alike) >= LEAST_ALIKE * static_cast<double>(sorted.size());
  const bool isStated = last->duration > LONG_STEP * usual &&
                        step < std::max(LONGEST_STATED_SECONDS, LONGEST_STATED_STEPS * usual);
  if (isSteady && !isStated && (!picturesStay || gapsExpected) && gaps.size() < MOST_GAPS)
    gaps[log.pictures()] = {
        .start = last->time, .end = picture.time, .steady = true, .step = usual};
  else if (sorted.size() < FEWEST_STEPS && statedStep == 0)
    steps.push_back(step);
}

/// A few gaps, or some close together, are a fault; more are the way of the stream.
bool PictureLedger::ratesVary() const {
  const auto share = [&](double part) {
    return static_cast<std::int64_t>(part * static_cast<double>(stepCount));
  };
  return longSteps > std::max(SOME_LONG, share(MOST_LONG)) && !gapsExpected &&
         (lastLong - firstLong > BURST || longSteps > share(MOST_LONG_IN_BURST));
}

std::int64_t PictureLedger::tellSettled(double frameSeconds) {
  while (!gaps.empty()) {
    const auto &[before, gap] = *gaps.begin();
    const bool mayStillCome =
        std::any_of(waiting.begin(), waiting.end(), [&, number = before](const Waiting &w) {
          return w.placed && w.before == number;
        });
    if (mayStillCome || log.pictures() <= before + CROWD)
      return std::min(before, log.pictures());
    tell(before, gap, frameSeconds);
    gaps.erase(gaps.begin());
  }
  return log.pictures();
}

void PictureLedger::finish(double frameSeconds, std::int64_t undelivered,
                           std::optional<double> announcedEnd) {
  const std::int64_t end = log.pictures();
  const double lastTime = last ? last->time : 0.0,
               shownUntil = last ? lastTime + frameSeconds : 0.0;
  Gap &tail = gaps[end];
  tail = {.end = announcedEnd.value_or(0)};
  for (Waiting &packet : waiting) {
    const bool isBehind = packet.time && *packet.time > lastTime + frameSeconds / 2;
    const bool isUntimed = !packet.time && !isSecondField(packet);
    if (!packet.placed && packet.shows && (isUntimed || isBehind)) {
      packet.placed = true;
      packet.before = end;
      tail.end = std::max(tail.end, packet.time.value_or(shownUntil) + frameSeconds);
    }
    settle(packet);
  }
  if (const std::int64_t lost = tail.packets + undelivered; lost > 0) {
    const bool isReported = !tail.problem.empty();
    tail.end = std::max(tail.end, shownUntil + static_cast<double>(lost) * frameSeconds);
    const char *const cause =
        undelivered > 0 ? ": the input ends early" : ": the decoder gave none";
    log.addLoss({end, shownUntil, isReported ? tail.problem : counted(lost) + cause,
                 isReported ? DecodeErrorKind::undecodable : DecodeErrorKind::missing, lost,
                 tail.end});
  }
  gaps.erase(end);
  waiting.clear();
  finishEarly(frameSeconds);
}

void PictureLedger::finishEarly(double frameSeconds) {
  for (const Waiting &packet : waiting)
    if (packet.placed && packet.time) // without a time its picture may be still to come
      settle(packet);
  for (const auto &[before, gap] : gaps)
    tell(before, gap, frameSeconds);
}

void PictureLedger::tell(std::int64_t before, const Gap &gap, double frameSeconds) {
  const double step = gap.step > 0 ? gap.step : frameSeconds;
  const double length = gap.end - gap.start;
  const bool isRoomy = before == 0 ? length > step / 2 : length > LONG_STEP * step;
  std::int64_t lost = gap.packets > 0 && (isRoomy || !gap.timed) ? gap.packets : 0;
  if (gap.steady && (!ratesVary() || lost > 0))
    lost = std::max<std::int64_t>(lost, std::llround(length / step) - 1 - gap.crowded);
  const double start = before == 0 ? gap.start : gap.start + step;
  if (lost <= 0) {
    if (!gap.problem.empty())
      log.addLoss({before, gap.start, gap.problem, DecodeErrorKind::undecodable, 0, {}});
    return;
  }
  const bool isReported = !gap.problem.empty();
  const std::string what = isReported ? gap.problem
                           : before == 0
                               ? counted(lost) + ": nothing before the first key frame can be shown"
                           : gap.packets > 0 ? counted(lost) + ": the decoder gave none"
                                             : counted(lost) + ": the time stamps jump";
  log.addLoss({before, start, what,
               isReported ? DecodeErrorKind::undecodable : DecodeErrorKind::missing, lost,
               std::max(gap.end, start)});
}

} // namespace lumagauge::qc
