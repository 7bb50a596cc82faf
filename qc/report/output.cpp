// SPDX-License-Identifier: BSD-2-Clause
#include "qc/report/output.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <map>
#include <system_error>
#include <unistd.h>

namespace lumagauge::qc {

namespace fs = std::filesystem;

namespace {

/// Leaves room for the hash and the longest temporary ending within the 255 bytes of a file name.
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

} // namespace

AtomicFile::AtomicFile(fs::path target) : path(std::move(target)), temporary(path) {
  temporary += fmt::format(".{}.part", ::getpid());
  file.open(temporary, std::ios::binary | std::ios::trunc);
  if (!file)
    throw OutputError(
        fmt::format("{}: cannot be written: {}", path.string(), std::strerror(errno)));
}

AtomicFile::~AtomicFile() {
  if (temporary.empty())
    return;
  file.close();
  std::error_code ignored; // there is nobody left to tell
  fs::remove(temporary, ignored);
}

void AtomicFile::commit() {
  file.close(); // sets the fail state where the last bytes cannot be written
  if (!file)
    throw OutputError(fmt::format("{}: writing failed; is the disk full?", path.string()));
  std::error_code error;
  fs::rename(temporary, path, error);
  if (error)
    throw OutputError(
        fmt::format("{}: cannot be put in place: {}", path.string(), error.message()));
  temporary.clear();
}

std::vector<std::string> outputNames(const std::vector<std::string> &inputs) {
  std::map<std::string, std::string> firstUser{{SUMMARY_NAME, ""}};
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
    if (isShared.contains(name) || name.size() > LONGEST_NAME)
      name =
          fmt::format("{}-{:016x}", name.substr(0, LONGEST_NAME), stableHash(absoluteName(input)));
    names.push_back(std::move(name));
  }
  return names;
}

} // namespace lumagauge::qc
