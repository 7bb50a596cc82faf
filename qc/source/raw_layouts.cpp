// SPDX-License-Identifier: BSD-2-Clause
#include "qc/source/raw_layouts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>
#include <string_view>
#include <vector>

namespace lumagauge::qc {

namespace {

constexpr std::size_t MOST_LAYOUTS = 6;
constexpr std::size_t LONGEST_NAME = 255; ///< of a file; of others only the end is looked at

constexpr std::array<Geometry, 27> COMMON_GEOMETRIES{
    {{1920, 1080}, {1280, 720},  {3840, 2160}, {720, 576},   {720, 480},   {640, 480},  {640, 360},
     {320, 192},   {352, 288},   {320, 240},   {176, 144},   {320, 180},   {352, 240},  {416, 240},
     {480, 270},   {704, 480},   {704, 576},   {768, 432},   {832, 480},   {854, 480},  {960, 540},
     {1024, 768},  {1440, 1080}, {1920, 1088}, {2560, 1440}, {4096, 2160}, {7680, 4320}}};
constexpr std::array<AVPixelFormat, 8> COMMON_FORMATS{
    AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,     AV_PIX_FMT_GRAY8,
    AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_UYVY422};

struct NamedGeometry {
  std::string_view name;
  Geometry geometry;
};
constexpr std::array<NamedGeometry, 16> NAMED_GEOMETRIES{{{"qcif", {176, 144}},
                                                          {"4cif", {704, 576}},
                                                          {"cif", {352, 288}},
                                                          {"sif", {352, 240}},
                                                          {"qvga", {320, 240}},
                                                          {"vga", {640, 480}},
                                                          {"2160p", {3840, 2160}},
                                                          {"uhd", {3840, 2160}},
                                                          {"1440p", {2560, 1440}},
                                                          {"1080p", {1920, 1080}},
                                                          {"1080i", {1920, 1080}},
                                                          {"720p", {1280, 720}},
                                                          {"576p", {720, 576}},
                                                          {"576i", {720, 576}},
                                                          {"480p", {720, 480}},
                                                          {"480i", {720, 480}}}};

/// In small letters, without the folders.
std::string nameOf(const std::string &path) {
  std::string name = path.substr(path.rfind('/') + 1);
  if (name.size() > LONGEST_NAME)
    name.erase(0, name.size() - LONGEST_NAME);
  for (char &c : name)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

/// yuv420p10le is one, the yuv420p in it none.
std::optional<AVPixelFormat> formatInName(const std::string &path) {
  const std::string name = nameOf(path);
  std::optional<AVPixelFormat> found;
  std::size_t longest = 0;
  for (const AVPixelFormat format : COMMON_FORMATS)
    if (const std::string_view word = av_get_pix_fmt_name(format);
        word.size() > longest && name.find(word) != std::string::npos) {
      found = format;
      longest = word.size();
    }
  return found;
}

std::int64_t frameBytes(Geometry geometry, AVPixelFormat format) {
  return av_image_get_buffer_size(format, geometry.width, geometry.height, 1);
}

} // namespace

std::optional<Geometry> geometryInName(const std::string &path) {
  static const std::regex pair("(?:^|[^0-9])([0-9]{2,5})x([0-9]{2,5})(?![0-9])");
  const std::string name = nameOf(path);
  if (std::smatch found; std::regex_search(name, found, pair))
    return Geometry{std::stoi(found[1]), std::stoi(found[2])};
  for (const NamedGeometry &named : NAMED_GEOMETRIES)
    if (name.find(named.name) != std::string::npos)
      return named.geometry;
  return std::nullopt;
}

std::string fittingLayouts(std::int64_t bytes, const std::string &path, AVPixelFormat format,
                           std::optional<Geometry> stated) {
  std::vector<std::string> list;
  const auto suggest = [&](Geometry geometry, AVPixelFormat candidate) {
    const std::int64_t frame = frameBytes(geometry, candidate);
    if (frame <= 0 || bytes < frame || bytes % frame != 0 || list.size() == MOST_LAYOUTS)
      return;
    std::string layout =
        fmt::format("{}x{} {} ({} frame{})", geometry.width, geometry.height,
                    av_get_pix_fmt_name(candidate), bytes / frame, bytes == frame ? "" : "s");
    if (std::find(list.begin(), list.end(), layout) == list.end())
      list.push_back(std::move(layout));
  };
  if (const std::optional<Geometry> named = geometryInName(path)) {
    suggest(*named, formatInName(path).value_or(format));
    for (const AVPixelFormat candidate : COMMON_FORMATS)
      suggest(*named, candidate);
    if (!list.empty())
      return list.front() + ", as its name says";
  }
  for (const AVPixelFormat candidate : COMMON_FORMATS)
    if (stated)
      suggest(*stated, candidate);
  for (const Geometry geometry : COMMON_GEOMETRIES)
    suggest(geometry, format);
  return fmt::format("{}", fmt::join(list, ", "));
}

} // namespace lumagauge::qc
