// SPDX-License-Identifier: BSD-2-Clause
#include "qc/judge/profile.h"
#include "qc/judge/shipped_profiles.h"
#include "qc/source/input_file.h"
#include "qc/source/source.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <toml++/toml.h>

namespace lumagauge::qc {

namespace {

constexpr std::array<std::string_view, 4> COMPARISON_NAMES{">", ">=", "<", "<="};
constexpr std::array<std::string_view, 3> SEVERITY_NAMES{"info", "warn", "fail"};
constexpr double PER_CENT = 100.0;
constexpr std::size_t MOST_PROFILE_BYTES = std::size_t{1} << 20;

/// Kinds that come of decode errors instead of values.
bool isOfErrors(std::string_view kind) {
  return kind == kindName(DecodeErrorKind::undecodable) ||
         kind == kindName(DecodeErrorKind::missing) || kind == CONCEALED;
}

template <class Names>
std::optional<std::size_t> indexOf(const Names &names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end())
    return std::nullopt;
  return static_cast<std::size_t>(found - names.begin());
}

/// One profile's text on its way to rules; knows which file its messages name.
class ProfileReader {
public:
  ProfileReader(const std::string &file, const toml::table &root) : origin(file), text(root) {}

  Profile read();

private:
  [[noreturn]] void fail(const toml::source_region &where, const std::string &message) const {
    throw ProfileError(fmt::format("{}:{}: {}", origin, where.begin.line, message));
  }

  void readRule(std::string_view kind, const toml::key &key, const toml::table &table);
  bool readRuleKey(Rule &rule, const toml::key &key, const toml::node &value) const;
  bool readConditionKey(Condition &condition, const toml::key &key, const toml::node &value) const;
  std::vector<Condition> readList(const toml::key &key, const toml::node &value) const;
  std::vector<std::vector<Condition>> readLists(const toml::key &key,
                                                const toml::node &value) const;
  void requireCondition(const toml::table &table, const toml::source_region &where,
                        std::string_view what) const;

  std::string string(const toml::key &key, const toml::node &value) const;
  Signal signal(const toml::key &key, const toml::node &value) const;
  double number(const toml::key &key, const toml::node &value) const;
  double amount(const toml::key &key, const toml::node &value, double most) const;
  template <class Names>
  std::size_t choice(const toml::key &key, const toml::node &value, const Names &names) const;

  const std::string &origin;
  const toml::table &text;
  std::array<std::optional<Rule>, EVENT_KINDS.size()> rules; ///< by kind
};

std::string ProfileReader::string(const toml::key &key, const toml::node &value) const {
  if (!value.is_string())
    fail(value.source(), fmt::format("'{}' must be a string", key.str()));
  return **value.as_string();
}

Signal ProfileReader::signal(const toml::key &key, const toml::node &value) const {
  const std::string name = string(key, value);
  const std::optional<Signal> found = parseSignal(name);
  if (!found)
    fail(value.source(), fmt::format("'{}' is no {}; one of {} is expected, alone or with {} "
                                     "behind it ({} goes with {} alone), or drawn",
                                     name, key.str(), fmt::join(INDICATOR_NAMES, ", "), viewNames(),
                                     ".repeats", "still_share"));
  return *found;
}

double ProfileReader::number(const toml::key &key, const toml::node &value) const {
  const std::optional<double> found = value.is_number() ? value.value<double>() : std::nullopt;
  if (!found || std::isnan(*found))
    fail(value.source(), fmt::format("'{}' must be a number", key.str()));
  return *found;
}

double ProfileReader::amount(const toml::key &key, const toml::node &value, double most) const {
  const double found = number(key, value);
  if (found < 0 || found > most)
    fail(value.source(), fmt::format("'{}' must be 0 or more{}", key.str(),
                                     std::isinf(most) ? "" : fmt::format(", at most {}", most)));
  return found;
}

template <class Names>
std::size_t ProfileReader::choice(const toml::key &key, const toml::node &value,
                                  const Names &names) const {
  const std::string name = string(key, value);
  const std::optional<std::size_t> found = indexOf(names, name);
  if (!found)
    fail(value.source(), fmt::format("'{}' is no {}; one of {} is expected", name, key.str(),
                                     fmt::join(names, ", ")));
  return *found;
}

bool ProfileReader::readConditionKey(Condition &condition, const toml::key &key,
                                     const toml::node &value) const {
  if (key == "indicator")
    condition.signal = signal(key, value);
  else if (key == "comparison")
    condition.comparison = static_cast<Comparison>(choice(key, value, COMPARISON_NAMES));
  else if (key == "threshold")
    condition.threshold = number(key, value);
  else
    return false;
  return true;
}

void ProfileReader::requireCondition(const toml::table &table, const toml::source_region &where,
                                     std::string_view what) const {
  for (const std::string_view key : {"indicator", "comparison", "threshold"})
    if (!table.contains(key))
      fail(where, fmt::format("{} lacks '{}'", what, key));
}

std::vector<Condition> ProfileReader::readList(const toml::key &key,
                                               const toml::node &value) const {
  const toml::array *const tables = value.as_array();
  if (tables == nullptr || !tables->is_homogeneous(toml::node_type::table))
    fail(value.source(),
         fmt::format("'{}' must hold tables with indicator, comparison, threshold", key.str()));
  std::vector<Condition> conditions;
  for (const toml::node &node : *tables) {
    const toml::table &table = *node.as_table();
    Condition condition;
    for (const auto &[name, entry] : table)
      if (!readConditionKey(condition, name, entry))
        fail(name.source(), fmt::format("unknown key '{}' in '{}'", name.str(), key.str()));
    requireCondition(table, node.source(), fmt::format("an entry of '{}'", key.str()));
    conditions.push_back(condition);
  }
  return conditions;
}

std::vector<std::vector<Condition>> ProfileReader::readLists(const toml::key &key,
                                                             const toml::node &value) const {
  const toml::array *const lists = value.as_array();
  if (lists == nullptr || !lists->is_homogeneous(toml::node_type::array))
    fail(
        value.source(),
        fmt::format("'{}' must be an array of arrays of tables, each as that of 'and'", key.str()));
  std::vector<std::vector<Condition>> result;
  for (const toml::node &list : *lists)
    result.push_back(readList(key, list));
  return result;
}

bool ProfileReader::readRuleKey(Rule &rule, const toml::key &key, const toml::node &value) const {
  constexpr double ANY = std::numeric_limits<double>::infinity();
  if (key == "min_duration")
    rule.minDuration = amount(key, value, ANY);
  else if (key == "bridged_gap")
    rule.bridgedGap = amount(key, value, ANY);
  else if (key == "severity")
    rule.severity = static_cast<Severity>(choice(key, value, SEVERITY_NAMES));
  else if (key == "max_duration")
    rule.limits.maxDuration = amount(key, value, ANY);
  else if (key == "max_total")
    rule.limits.maxTotal = amount(key, value, ANY);
  else if (key == "max_count") {
    if (!value.is_integer() || **value.as_integer() < 0)
      fail(value.source(), "'max_count' must be a whole number, 0 or more");
    rule.limits.maxCount = **value.as_integer();
  } else if (isOfErrors(rule.kind))
    return false; // no frames are there to compare or to count
  else if (key == "edge_threshold")
    rule.edgeThreshold = number(key, value);
  else if (key == "max_share")
    rule.limits.maxShare = amount(key, value, PER_CENT);
  else if (key == "and") {
    rule.conditions.resize(1);
    for (const Condition &condition : readList(key, value))
      rule.conditions.push_back(condition);
  } else if (key == "after") {
    rule.after = readLists(key, value);
  } else if (key == "or") {
    rule.alternatives = readLists(key, value);
  } else
    return readConditionKey(rule.conditions.front(), key, value);
  return true;
}

void ProfileReader::readRule(std::string_view kind, const toml::key &kindKey,
                             const toml::table &table) {
  std::optional<Rule> &slot = rules[*indexOf(EVENT_KINDS, kind)];
  if (const toml::node *const enabled = table.get("enabled")) {
    if (!enabled->is_boolean())
      fail(enabled->source(), "'enabled' must be true or false");
  }
  Rule rule;
  if (slot)
    rule = *slot;
  rule.kind = kind;
  const bool isNew = !slot && !isOfErrors(kind);
  if (isNew)
    rule.conditions.resize(1);
  for (const auto &[key, value] : table)
    if (key != "enabled" && !readRuleKey(rule, key, value))
      fail(key.source(), fmt::format("unknown key '{}' in [{}]", key.str(), kind));
  slot.reset();
  if (!table["enabled"].value_or(true))
    return;
  if (isNew)
    requireCondition(table, kindKey.source(), fmt::format("[{}]", kind));
  if (rule.edgeThreshold) {
    const Condition &leading = rule.conditions.front();
    if (isMoreWorse(leading.comparison) ? *rule.edgeThreshold > leading.threshold
                                        : *rule.edgeThreshold < leading.threshold)
      fail(kindKey.source(),
           fmt::format("the edge_threshold of [{}] must be looser than its threshold", kind));
  }
  slot = std::move(rule);
}

Profile ProfileReader::read() {
  if (const toml::node *const base = text.get("base")) {
    const std::vector<std::string_view> shipped = profileNames();
    const std::size_t found = choice(toml::key("base"), *base, shipped);
    for (Rule &rule : loadProfile(std::string(shipped[found])).rules)
      rules[*indexOf(EVENT_KINDS, rule.kind)] = std::move(rule);
  }
  for (const auto &[key, value] : text) {
    if (key == "base")
      continue;
    if (!indexOf(EVENT_KINDS, key.str()))
      fail(key.source(), fmt::format("unknown key '{}'; 'base' or a table of {} is expected",
                                     key.str(), fmt::join(EVENT_KINDS, ", ")));
    if (!value.is_table())
      fail(key.source(), fmt::format("'{}' must be a table: [{}]", key.str(), key.str()));
    readRule(key.str(), key, *value.as_table());
  }
  Profile profile;
  profile.name = origin;
  for (std::optional<Rule> &rule : rules)
    if (rule)
      profile.rules.push_back(std::move(*rule));
  return profile;
}

} // namespace

bool Condition::holds(const Timeline &timeline) const {
  const std::optional<double> value = timeline[signal];
  if (!value)
    return false;
  switch (comparison) {
  case Comparison::above:
    return *value > threshold;
  case Comparison::atLeast:
    return *value >= threshold;
  case Comparison::below:
    return *value < threshold;
  case Comparison::atMost:
    return *value <= threshold;
  }
  return false;
}

std::string_view comparisonName(Comparison comparison) {
  return COMPARISON_NAMES[static_cast<std::size_t>(comparison)];
}

std::string_view severityName(Severity severity) {
  return SEVERITY_NAMES[static_cast<std::size_t>(severity)];
}

std::vector<std::string_view> profileNames() {
  std::vector<std::string_view> names;
  for (const ShippedProfile &profile : SHIPPED_PROFILES)
    names.push_back(profile.name);
  return names;
}

std::string profileText(const std::string &nameOrPath, const Notice &notice) {
  for (const ShippedProfile &profile : SHIPPED_PROFILES)
    if (profile.name == nameOrPath)
      return std::string(profile.text);
  try {
    return readText(nameOrPath == "-" ? "./-" : nameOrPath, MOST_PROFILE_BYTES, notice);
  } catch (const InputError &error) {
    throw ProfileError(fmt::format("{}: {}, and no shipped profile has this name; these have: {}",
                                   nameOrPath, error.what(), fmt::join(profileNames(), ", ")));
  }
}

Profile parseProfile(std::string_view text, const std::string &origin) {
  try {
    const toml::table root = toml::parse(text, origin);
    return ProfileReader(origin, root).read();
  } catch (const toml::parse_error &error) {
    throw ProfileError(
        fmt::format("{}:{}: {}", origin, error.source().begin.line, error.description()));
  }
}

Profile loadProfile(const std::string &nameOrPath, const Notice &notice) {
  return parseProfile(profileText(nameOrPath, notice), nameOrPath);
}

} // namespace lumagauge::qc
