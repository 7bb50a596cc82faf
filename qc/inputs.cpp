// SPDX-License-Identifier: BSD-2-Clause
#include "qc/inputs.h"

#include "qc/source/input_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <unordered_set>

namespace lumagauge::qc {

namespace {

namespace fs = std::filesystem;

/// What a folder is searched for. A file of another extension is measured when it is named itself.
constexpr std::array<std::string_view, 42> VIDEO_EXTENSIONS{
    "264", "265",  "266",  "3gp",  "asf", "av1", "avc",  "avi",  "dv",  "f4v", "flv",
    "gxf", "h264", "h265", "hevc", "ivf", "m1v", "m2t",  "m2ts", "m2v", "m4v", "mj2",
    "mkv", "mov",  "mp4",  "mpeg", "mpg", "mts", "mxf",  "nut",  "obu", "ogg", "ogm",
    "ogv", "qt",   "rm",   "rmvb", "ts",  "vob", "webm", "wmv",  "y4m"};
constexpr std::size_t MOST_LIST_BYTES = std::size_t{64} << 20; ///< a million names
constexpr std::string_view RAW_EXTENSION = "yuv";

bool isVideo(const fs::path &path, bool raw) {
  std::string extension = path.extension().string();
  if (extension.empty())
    return false;
  extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (raw)
    return extension == RAW_EXTENSION;
  return std::find(VIDEO_EXTENSIONS.begin(), VIDEO_EXTENSIONS.end(), extension) !=
         VIDEO_EXTENSIONS.end();
}

/// Also the folder itself where it cannot be read to the end or holds no video: measuring it fails.
std::vector<std::string> videosBelow(const fs::path &folder, bool raw) {
  std::vector<std::string> found;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                         error);
  for (; !error && !isReadingCancelled() && entry != fs::recursive_directory_iterator();
       entry.increment(error))
    if (entry->is_regular_file(error) && isVideo(entry->path(), raw))
      found.push_back(entry->path().string());
  if (error || found.empty())
    found.push_back(folder.string());
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<std::string> linesOf(const std::string &list, const Options &options) try {
  std::istringstream stream(readText(list, MOST_LIST_BYTES, options.source.notice));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);)
    if (!line.empty())
      lines.push_back(std::move(line));
  if (lines.empty() && !options.allowEmpty)
    throw InputError("it names no input; where that may be, give --allow-empty");
  return lines;
} catch (const InputError &error) {
  throw InputError("--files-from " + list + ": " + error.what());
}

} // namespace

std::vector<std::string> listInputs(const Options &options) {
  std::vector<std::string> named = options.inputs;
  for (const std::string &list : options.lists) {
    std::vector<std::string> lines = linesOf(list, options);
    named.insert(named.end(), std::make_move_iterator(lines.begin()),
                 std::make_move_iterator(lines.end()));
  }
  std::vector<std::string> inputs;
  std::unordered_set<std::string> seen;
  const auto add = [&](std::string input) {
    if (seen.insert(input).second)
      inputs.push_back(std::move(input));
  };
  for (std::string &input : named) {
    std::error_code error;
    if (options.recursive && input != "-" && fs::is_directory(input, error))
      for (std::string &video : videosBelow(input, options.source.raw.has_value()))
        add(std::move(video));
    else
      add(std::move(input));
  }
  return inputs;
}

} // namespace lumagauge::qc
