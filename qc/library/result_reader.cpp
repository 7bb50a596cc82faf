// SPDX-License-Identifier: BSD-2-Clause
#include "qc/library/result_reader.h"

#include <algorithm>
#include <fstream>

namespace lumagauge::qc {

namespace {

// lumagauge-qc writes a member of the document a line, and a frame a line. A string in JSON holds
// no line break, so these lines are nothing else. A document that somebody laid out anew is read as
// a whole.
constexpr std::string_view FRAMES_BEGIN = ",\n\"frames\": [", FRAMES_END = "\n],\n\"measured\": ";
constexpr std::string_view PROFILE = "\"profile\": ", SHOTS = "\"shots\": ";
constexpr std::streamoff FIRST_BLOCK = 1 << 16, LARGEST_BLOCK = 1 << 26;

std::string bytesOf(std::ifstream &file, std::streamoff from, std::streamoff to) {
  std::string bytes(static_cast<std::size_t>(to - from), '\0');
  file.seekg(from);
  file.read(bytes.data(), to - from);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

/// What is ahead of the frames and behind them; empty where they are not found.
std::string aroundFrames(std::ifstream &file, std::streamoff size) {
  const std::string head = bytesOf(file, 0, std::min(size, FIRST_BLOCK));
  const std::size_t begin = head.find(FRAMES_BEGIN);
  if (begin == std::string::npos)
    return "";
  for (std::streamoff block = FIRST_BLOCK; block <= LARGEST_BLOCK; block *= 4) {
    const std::streamoff from = std::max<std::streamoff>(size - block, 0);
    const std::string tail = bytesOf(file, from, size);
    const std::size_t end = tail.rfind(FRAMES_END);
    if (end != std::string::npos)
      return head.substr(0, begin) + tail.substr(end + 2);
    if (from == 0)
      break;
  }
  return "";
}

/// The document as a whole, member by member, so that the frames never are in memory together.
Json slowly(std::ifstream &file) {
  file.clear();
  file.seekg(0);
  return parsedWithout(file, {"frames", "shots"});
}

} // namespace

Json ResultReader::parse(const std::string &text) {
  std::string rest, newProfile;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    const std::string_view line(text.data() + at, end - at);
    at = end;
    if (line.starts_with(PROFILE) && line.ends_with("},\n"))
      newProfile = line.substr(PROFILE.size(), line.size() - PROFILE.size() - 2);
    else if (!(line.starts_with(SHOTS) && line.ends_with("],\n")))
      rest += line;
  }
  Json document = parsedJson(rest);
  if (!document.is_object() || newProfile.empty())
    return document;
  if (newProfile != profileText) {
    profile = parsedJson(newProfile);
    profileText = std::move(newProfile);
  }
  document["profile"] = profile;
  return document;
}

Json ResultReader::read(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file)
    return Json(Json::value_t::discarded);
  const std::streamoff size = file.tellg();
  std::string text = aroundFrames(file, size);
  if (text.empty() && size <= FIRST_BLOCK)
    text = bytesOf(file, 0, size);
  Json document = text.empty() ? Json(Json::value_t::discarded) : parse(text);
  return document.is_object() ? document : slowly(file);
}

} // namespace lumagauge::qc
