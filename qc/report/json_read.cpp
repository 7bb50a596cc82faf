// SPDX-License-Identifier: BSD-2-Clause
//
// JSON that anybody may have written.
#include "qc/report/json_text.h"

#include <algorithm>
#include <fstream>

namespace lumagauge::qc {

namespace {

constexpr int DEEPEST = 64; ///< ours have 8 levels

/// Faster than asking the parser at each level: it looks at a byte once.
bool isTooDeep(std::string_view text) {
  int depth = 0;
  bool isInString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"')
      isInString = !isInString;
    else if (isInString)
      i += c == '\\' ? 1 : 0;
    else if (c == '[' || c == '{')
      ++depth;
    else if (c == ']' || c == '}')
      --depth;
    if (depth > DEEPEST)
      return true;
  }
  return false;
}

} // namespace

Json parsedJson(std::string_view text) {
  return isTooDeep(text) ? Json(Json::value_t::discarded) : Json::parse(text, nullptr, false);
}

Json parsedWithout(std::istream &stream, std::initializer_list<std::string_view> members) {
  bool isDeep = false;
  const auto keep = [&](int depth, Json::parse_event_t event, const Json &parsed) {
    isDeep |= depth > DEEPEST;
    const bool isLeftOut = depth == 1 && event == Json::parse_event_t::key &&
                           std::find(members.begin(), members.end(),
                                     parsed.get_ref<const std::string &>()) != members.end();
    return !isDeep && !isLeftOut;
  };
  Json document = Json::parse(stream, keep, false);
  return isDeep ? Json(Json::value_t::discarded) : document;
}

Json readWithoutFrames(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  return parsedWithout(file, {"frames"});
}

} // namespace lumagauge::qc
