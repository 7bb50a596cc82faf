// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/output.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <regex>
#include <system_error>

namespace lumagauge::qc {

namespace fs = std::filesystem;

namespace {

/// Leaves room for the hash and the endings within the 255 bytes of a file name.
constexpr std::size_t LONGEST_NAME = 200;

/// FNV-1a: unlike std::hash the same in every build, as --resume needs.
std::uint64_t stableHash(const std::string &text) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char byte : text)
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  return hash;
}

std::string baseName(const std::string &input) {
  if (input == "-")
    return "stdin";
  const std::string name = fs::path(input).filename().string();
  return name.empty() ? "input" : name;
}

/// The input itself where it has no absolute path, as an empty name has none.
std::string absoluteName(const std::string &input) {
  std::error_code error;
  const fs::path absolute = fs::absolute(input, error);
  return error ? input : absolute.lexically_normal().string();
}

std::string hashedName(const std::string &input) {
  return fmt::format("{}-{:016x}", baseName(input).substr(0, LONGEST_NAME),
                     stableHash(absoluteName(input)));
}

} // namespace

std::vector<std::string> outputNames(const std::vector<std::string> &inputs) {
  std::map<std::string, std::string> firstUser{{SUMMARY_NAME, ""}, {INDEX_NAME, ""}};
  std::map<std::string, bool> isShared;
  for (const std::string &input : inputs) {
    const std::string absolute = absoluteName(input);
    const auto [entry, isNew] = firstUser.emplace(baseName(input), absolute);
    if (!isNew && entry->second != absolute)
      isShared[entry->first] = true;
  }
  std::vector<std::string> names;
  for (const std::string &input : inputs) {
    std::string name = baseName(input);
    const bool isHashed = isShared.contains(name) || name.size() > LONGEST_NAME;
    names.push_back(isHashed ? hashedName(input) : std::move(name));
  }
  return names;
}

std::string rangeText(const FrameRange &range) {
  return fmt::format("{}:{}", range.begin, range.end ? std::to_string(*range.end) : "");
}

std::string partName(const std::string &name, const FrameRange &range) {
  std::string suffix = rangeText(range);
  std::replace(suffix.begin(), suffix.end(), ':', '-'); // a sign that some file systems refuse
  return fmt::format("{}.{}", name, suffix);
}

std::string lastingName(const std::string &input) {
  return hashedName(input);
}

std::string wholeName(const std::string &name, const FrameRange &range) {
  const std::string suffix = partName("", range);
  return name.ends_with(suffix) ? name.substr(0, name.size() - suffix.size()) : name;
}

std::string wholeName(const std::string &name) {
  static const std::regex PART(R"((.+)\.\d+-\d*)");
  std::smatch found;
  return std::regex_match(name, found, PART) ? found[1].str() : std::string();
}

} // namespace lumagauge::qc
