// SPDX-License-Identifier: BSD-2-Clause
//
// The two files of a part and joining: the JSON up to the first zero byte, the CSV behind it. The
// JSON gets the CSV's digest, which mutations never hit.
#include "qc/report/join.h"

#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

using namespace lumagauge::qc;
namespace fs = std::filesystem;

const fs::path &folder() {
  static const fs::path made = [] {
    std::string name = fs::temp_directory_path() / "fuzz-part-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
      std::abort();
    std::atexit([] { fs::remove_all(folder()); });
    return fs::path(name);
  }();
  return made;
}

void write(const fs::path &path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::uint8_t *const zero = std::find(data, data + size, 0);
  std::string json(data, zero);
  const std::string csv(std::min(zero + 1, data + size), data + size);
  const fs::path path = folder() / "x.0-.json";
  write(folder() / "x.0-.csv", csv);
  const std::optional<ContentDigest> digest = digestOf(folder() / "x.0-.csv");
  if (const std::size_t at = json.rfind("\"csv\": "); at != std::string::npos && digest)
    json = fmt::format("{}\"csv\": {{\"size\":{},\"sha256\":\"{}\"}}\n}}\n", json.substr(0, at),
                       digest->size, digest->sha256);
  write(path, json);
  isPart(path);
  static const Profile profile = loadProfile("default");
  const Joining joining{folder() / "whole", profile, true, true, true};
  fs::create_directories(joining.folder);
  std::ostringstream unheard;
  try {
    if (std::optional<PartFile> part = readPart(path)) {
      std::vector<PartFile> parts;
      parts.push_back(std::move(*part));
      parts.front().name = "whole"; // whatever the range says, one file is written
      joinParts(std::move(parts), joining, unheard);
    }
  } catch (const InputError &) {
    // Refused.
  }
  return 0;
}
