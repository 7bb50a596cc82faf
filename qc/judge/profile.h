// SPDX-License-Identifier: BSD-2-Clause
//
// A profile: the rules that an input is held against, read from TOML. docs/profiles.md describes
// the file; the shipped ones are part of the executable.
#ifndef LUMAGAUGE_QC_JUDGE_PROFILE_H
#define LUMAGAUGE_QC_JUDGE_PROFILE_H

#include "qc/judge/judgement.h"
#include "qc/judge/signals.h"
#include "qc/source/input_file.h"

#include <stdexcept>

namespace lumagauge::qc {

enum class Comparison { above, atLeast, below, atMost };

/// Holds on a frame whose value compares so with the threshold; never on an empty value or a NaN.
struct Condition {
  Signal signal;
  Comparison comparison = Comparison::above;
  double threshold = 0;

  bool holds(const Timeline &timeline) const; ///< at its current frame
};

/// What is allowed of a kind of event. Without any limit the first event breaks the rule.
struct Limits {
  std::optional<double> maxShare;       ///< per cent of the input's frames, in events
  std::optional<double> maxDuration;    ///< seconds, of the longest event
  std::optional<double> maxTotal;       ///< seconds, of all events together
  std::optional<std::int64_t> maxCount; ///< events
};

struct Rule {
  std::string kind;
  /// All must hold. The first one's signal gives an event its worst value. Empty for undecodable
  /// and missing.
  std::vector<Condition> conditions;
  /// Lists of conditions: the rule also holds where all of one of them do.
  std::vector<std::vector<Condition>> alternatives;
  /// Lists of conditions: all of one of them must hold on the frame behind an event, which there
  /// must be. Empty: whatever comes.
  std::vector<std::vector<Condition>> after;
  /// A looser threshold of the first condition. An event begins and ends with it, but is one only
  /// where the stricter one holds for minDuration on end.
  std::optional<double> edgeThreshold;
  double minDuration = 0; ///< seconds; a shorter stretch is no event
  double bridgedGap = 0;  ///< seconds that the rule may not hold for without ending the event
  Severity severity = Severity::info;
  Limits limits;
};

struct Profile {
  std::string name;
  std::vector<Rule> rules; ///< in the order of EVENT_KINDS, one a kind at most
};

/// The kinds of events that a profile can have a table for.
constexpr std::array<std::string_view, 24> EVENT_KINDS{
    "black",       "flat",      "fade",         "frozen",       "still",       "stutter",
    "letterbox",   "pillarbox", "windowbox",    "block_loss",   "slice_error", "concealed",
    "interlaced",  "blocky",    "starved",      "blurred",      "noisy",       "flicker",
    "overexposed", "clipped",   "underexposed", "low_contrast", "undecodable", "missing"};

/// A profile that cannot be used; the message names the file and, for a fault in it, the line.
class ProfileError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A shipped profile by its name, else the file of that path. Where reading it has to wait for
/// somebody `notice`, unless empty, is told so. Throws ProfileError.
Profile loadProfile(const std::string &nameOrPath, const Notice &notice = nullptr);
/// A profile from its text; `origin` is the file that messages name. Throws ProfileError.
Profile parseProfile(std::string_view text, const std::string &origin);

/// The names of the shipped profiles.
std::vector<std::string_view> profileNames();
/// The TOML text of a shipped profile by its name, else of the file. Throws ProfileError.
std::string profileText(const std::string &nameOrPath, const Notice &notice = nullptr);

/// Whether a value is the worse the larger it is.
constexpr bool isMoreWorse(Comparison comparison) {
  return comparison == Comparison::above || comparison == Comparison::atLeast;
}
std::string_view comparisonName(Comparison comparison); ///< ">", ">=", "<", "<="

} // namespace lumagauge::qc

#endif
