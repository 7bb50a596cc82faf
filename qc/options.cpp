// SPDX-License-Identifier: BSD-2-Clause
#include "qc/options.h"
#include "qc/durations.h"
#include "qc/html_options.h"
#include "qc/modes.h"
#include "qc/scale_options.h"

#include "qc/judge/profile.h"
#include "qc/live/live_cli.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace lumagauge::qc {

namespace {

/// Wider than any camera's, and narrow enough for times to stay apart.
constexpr double MIN_RATE = 1e-3, MAX_RATE = 1e6;
constexpr std::int64_t MAX_COUNT = std::int64_t{1} << 40; ///< of frames, of bytes in one
constexpr int MAX_THREADS = 1024;
constexpr std::int64_t MAX_MAX_PIXELS = std::int64_t{1} << 40;

/// In the help: "  --duration T (not with --frames)".
constexpr std::size_t WIDEST_OPTION = 34;

/// The whole text as a number without a sign; empty where it is none.
template <class Number> std::optional<Number> parseNumber(std::string_view text) {
  Number value{};
  const char *const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || rest != end || text.front() == '-')
    return std::nullopt;
  return value;
}

std::optional<std::uint32_t> parseMask(std::string_view text) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  std::uint32_t value = 0;
  const char *const begin = text.data() + (isHex ? 2 : 0), *const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(begin, end, value, isHex ? 16 : 10);
  return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

/// What the command line says, as text, where it takes more than CLI11 to understand it.
struct Texts {
  std::string size, pixelFormat = "yuv420p", indicators = "all", progress = "auto", range, html;
  std::int64_t frameBytes = 0;
  std::int64_t frames = 0;
  double fps = 0;
  int stream = 0;
  bool raw = false;
};

/// The arguments in the order CLI11 wants, last first. It would take "[a,b]" for a list of inputs;
/// the same path in other words is one.
std::vector<std::string> arguments(int argc, const char *const *argv) {
  std::vector<std::string> list;
  for (int i = argc - 1; i > 0; --i) {
    const std::string_view text = argv[i];
    list.emplace_back(text.starts_with('[') && text.ends_with(']') ? "./" : "").append(text);
  }
  return list;
}

/// Options as manuals write them: what a value is called but not what it is checked for, and the
/// default behind the description.
struct HelpFormatter : CLI::Formatter {
  std::string make_option_name(const CLI::Option *option, bool isPositional) const override {
    const std::string name = CLI::Formatter::make_option_name(option, isPositional);
    return name.substr(0, name.find('{')); // behind it the value that a flag sets
  }

  std::string make_option_opts(const CLI::Option *option) const override {
    if (option->get_positional())
      return "";
    std::string text;
    if (const std::string type = option->get_type_name(); !type.empty())
      text = " " + type.substr(0, type.find(':'));
    for (const CLI::Option *other : option->get_needs())
      text += " (with " + other->get_name() + ")";
    for (const CLI::Option *other : option->get_excludes())
      text += " (not with " + other->get_name() + ")";
    return text;
  }

  std::string make_option_desc(const CLI::Option *option) const override {
    const std::string byDefault = option->get_default_str();
    return option->get_description() + (byDefault.empty() ? "" : " [" + byDefault + "]");
  }
};

void addInputOptions(CLI::App &app, Options &options, Texts &texts) {
  app.add_option("INPUT", options.inputs,
                 "Videos, folders with --recursive, - for standard input. Every other name is that "
                 "of a file, whatever it looks like; put -- ahead of names that begin with a dash");
  app.add_flag("--recursive", options.recursive, "Measure the videos in folders and below");
  auto *lists =
      app.add_option("--files-from", options.lists, "Read names of inputs from FILE, a line each")
          ->type_name("FILE|-")
          ->allow_extra_args(false);
  app.add_flag("--allow-empty", options.allowEmpty, "Let FILE name no input")->needs(lists);
  app.add_option("--stream", texts.stream, "Stream number in the container [first video]")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--start", options.startText,
                 "Where to begin, from the first picture on: a duration, or 250f for frames")
      ->type_name("T");
  auto *duration =
      app.add_option("--duration", options.durationText, "How much to measure, in the same forms")
          ->type_name("T");
  app.add_option("--frames", texts.frames, "How many frames to measure")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, MAX_COUNT))
      ->excludes(duration);
  app.add_flag("--stream-times", options.source.streamTimes,
               "Give times as the stream stamps its pictures, instead of from the first one on");
  app.add_option("--fps", texts.fps,
                 fmt::format("Frame rate, instead of what the input says [raw: {}]", DEFAULT_RATE))
      ->type_name("RATE")
      ->check(CLI::Range(MIN_RATE, MAX_RATE));
  auto *raw = app.add_flag("--raw", texts.raw, "The input is raw frames without a header");
  auto *size = app.add_option("--size", texts.size, "Picture size of raw frames")
                   ->type_name("WIDTHxHEIGHT")
                   ->needs(raw);
  raw->needs(size);
  app.add_option("--pix-fmt", texts.pixelFormat,
                 "Pixel format of raw frames, as libavutil names it")
      ->type_name("NAME")
      ->needs(raw)
      ->capture_default_str();
  app.add_option("--frame-bytes", texts.frameBytes, "Bytes from one raw frame to the next")
      ->type_name("N")
      ->needs(raw)
      ->check(CLI::Range(std::int64_t{1}, MAX_COUNT));
}

void addPartOptions(CLI::App &app, Options &options, Texts &texts) {
  app.add_option("--range", texts.range,
                 "Measure a part that --join makes a whole of: A:B are frames A to B-1, A: those "
                 "from A on")
      ->type_name("FRAMES")
      ->excludes(app.get_option("--start"))
      ->excludes(app.get_option("--duration"))
      ->excludes(app.get_option("--frames"))
      ->excludes(app.get_option("--html")); // a page is that of a whole: --html-from
  app.add_flag("!--no-seek", options.source.seek,
               "Decode all that lies ahead of --start or --range: sure of the frame numbers also "
               "where the video is damaged");
  app.add_flag("--join", options.join,
               "Make whole results of parts: each INPUT is a JSON file of --range, or a folder")
      ->needs(app.get_option("--output"))
      ->excludes(app.get_option("--range"));
}

void addTrustOptions(CLI::App &app, Options &options) {
  app.add_option("--max-pixels", options.source.maxPixels,
                 "Refuse pictures of more samples, each of which takes some 10 bytes")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, MAX_MAX_PIXELS))
      ->capture_default_str();
  app.add_option("--allow-protocols", options.source.protocols,
                 "Open scheme://... as a URL where the scheme is in LIST")
      ->type_name("LIST")
      ->allow_extra_args(false)
      ->delimiter(',');
  app.add_flag("--allow-nested", options.source.nested,
               "Let playlists, concat lists and image patterns open further files");
}

void addMeasureOptions(CLI::App &app, Options &options, Texts &texts) {
  app.add_option("--indicators", texts.indicators,
                 fmt::format("Which to measure, between commas: {}; or a mask",
                             fmt::join(INDICATOR_NAMES, ", ")))
      ->type_name("LIST");
  app.add_option("--threads", options.threads, "Frames measured at once, at most 4 a CPU [CPUs]")
      ->type_name("N")
      ->check(CLI::Range(1, MAX_THREADS));
  app.add_option("--decode-threads", options.source.decodeThreads,
                 "Threads of the decoder, 0 for its own choice")
      ->type_name("N")
      ->check(CLI::Range(0, 64))
      ->capture_default_str();
}

void addOutputOptions(CLI::App &app, Options &options, Texts &texts) {
  app.add_option("--profile", options.profile,
                 fmt::format("Rules to judge by: {}; or a file", fmt::join(profileNames(), ", ")))
      ->type_name("NAME|FILE")
      ->capture_default_str();
  app.add_flag("--print-profile", options.printProfile, "Print the profile and end");
  auto *output = app.add_option("-o,--output", options.outputFolder,
                                "Write NAME.csv and NAME.json of each input into DIR")
                     ->type_name("DIR");
  app.add_flag("--resume", options.resume,
               "Pass over inputs whose complete result, of the same file, is in DIR")
      ->needs(output);
  app.add_flag("!--no-frames", options.withFrames, "Leave the frames out of NAME.json");
  addHtmlOptions(app, options, texts.html);
  app.add_flag("--quiet", options.quiet, "Print the verdict alone");
  app.add_option("--progress", texts.progress,
                 "What to show while measuring; auto is a bar on a terminal")
      ->type_name("auto|plain|none")
      ->check(CLI::IsMember({"auto", "plain", "none"}));
}

Extent extentOption(const std::string &name, const std::string &text) {
  const std::optional<Extent> extent = parseExtent(text);
  if (!extent)
    refuse(fmt::format("{} {}: expected a duration, as {}, or frames, as 250f", name, text,
                       DURATION_FORMS));
  return *extent;
}

void understandRaw(const CLI::App &app, const Texts &texts, SourceOptions &source) {
  const auto size = parseSize(texts.size);
  if (!size)
    refuse(fmt::format("--size {}: expected WIDTHxHEIGHT in samples, as 1920x1080", texts.size));
  source.raw = RawLayout{size->first, size->second, texts.pixelFormat, std::nullopt};
  if (app.count("--frame-bytes") != 0)
    source.raw->frameBytes = texts.frameBytes;
}

/// Fills in what CLI11 left as text. Throws CLI::ValidationError.
void understand(const CLI::App &app, const Texts &texts, Options &options) {
  SourceOptions &source = options.source;
  if (texts.raw)
    understandRaw(app, texts, source);
  if (app.count("--stream") != 0)
    source.stream = texts.stream;
  if (app.count("--start") != 0)
    source.start = extentOption("--start", options.startText);
  if (app.count("--duration") != 0)
    source.duration = extentOption("--duration", options.durationText);
  if (app.count("--frames") != 0)
    source.duration = Frames{*(options.frames = texts.frames)};
  if (app.count("--range") != 0 && !(options.range = parseRange(texts.range)))
    refuse(fmt::format("--range {}: expected frame numbers A:B, A below B, as 0:15000 or 15000:",
                       texts.range));
  options.profileGiven = app.count("--profile") != 0;
  if (app.count("--fps") != 0) {
    if (!std::isfinite(texts.fps))
      refuse("--fps: expected a finite number");
    source.fps = texts.fps;
  }
  const std::optional<std::uint32_t> mask = parseIndicators(texts.indicators);
  if (!mask)
    refuse(fmt::format("--indicators {}: expected names out of {}, or a mask", texts.indicators,
                       fmt::join(INDICATOR_NAMES, ", ")));
  options.indicators = *mask;
  checkModes(app);
  checkLiveOptions(options);
  options.progress = texts.progress == "plain"  ? ProgressChoice::plain
                     : texts.progress == "none" ? ProgressChoice::none
                                                : ProgressChoice::automatic;
  understandHtml(app, texts.html, options);
  const auto uses = std::count(options.inputs.begin(), options.inputs.end(), "-") +
                    std::count(options.lists.begin(), options.lists.end(), "-");
  if (uses > 1)
    refuse("standard input (-) can be used once");
  understandScale(options);
}

} // namespace

std::optional<FrameRange> parseRange(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || text.size() == 1)
    return std::nullopt;
  const std::string_view first = text.substr(0, colon), behind = text.substr(colon + 1);
  const auto begin = parseNumber<std::int64_t>(first.empty() ? "0" : first);
  const auto end = behind.empty() ? std::nullopt : parseNumber<std::int64_t>(behind);
  const bool isRange =
      begin && *begin < MAX_COUNT && (end ? *begin < *end && *end <= MAX_COUNT : behind.empty());
  return isRange ? std::optional(FrameRange{*begin, end}) : std::nullopt;
}

std::optional<std::uint32_t> parseIndicators(std::string_view text) {
  if (text == "all")
    return ALL_INDICATORS;
  std::uint32_t mask = 0;
  if (const auto number = parseMask(text)) {
    mask = *number & ALL_INDICATORS;
  } else {
    while (true) {
      const std::size_t comma = text.find(',');
      const auto name =
          std::find(INDICATOR_NAMES.begin(), INDICATOR_NAMES.end(), text.substr(0, comma));
      if (name == INDICATOR_NAMES.end())
        return std::nullopt;
      mask |= 1U << (name - INDICATOR_NAMES.begin());
      if (comma == std::string_view::npos)
        break;
      text.remove_prefix(comma + 1);
    }
  }
  return mask == 0 ? std::nullopt : std::optional(mask);
}

std::optional<std::pair<std::uint32_t, std::uint32_t>> parseSize(std::string_view text) {
  const std::size_t cross = text.find('x');
  if (cross == std::string_view::npos || cross == 0 || cross + 1 == text.size())
    return std::nullopt;
  const auto width = parseNumber<std::int32_t>(text.substr(0, cross));
  const auto height = parseNumber<std::int32_t>(text.substr(cross + 1));
  if (!width || !height || *width <= 0 || *height <= 0)
    return std::nullopt;
  return std::pair(static_cast<std::uint32_t>(*width), static_cast<std::uint32_t>(*height));
}

std::string describeSource(const SourceOptions &source) {
  std::vector<std::string> parts;
  if (source.stream)
    parts.push_back(fmt::format("stream={}", *source.stream));
  if (source.fps)
    parts.push_back(fmt::format("fps={}", *source.fps));
  if (const auto &raw = source.raw)
    parts.push_back(fmt::format("raw={}x{}:{}{}", raw->width, raw->height, raw->pixelFormat,
                                raw->frameBytes ? fmt::format(":{}", *raw->frameBytes) : ""));
  return fmt::format("{}", fmt::join(parts, " "));
}

void adoptSource(const std::string &description, SourceOptions &source) {
  std::istringstream words(description);
  for (std::string word; words >> word;) {
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals), value = word.substr(equals + 1);
    if (name == "stream" && !source.stream) {
      source.stream = parseNumber<int>(value);
    } else if (name == "fps" && !source.fps) {
      source.fps = parseNumber<double>(value);
    } else if (name == "raw" && !source.raw) {
      // WIDTHxHEIGHT:FORMAT:BYTES
      const std::size_t colon = value.find(':'), second = value.find(':', colon + 1);
      if (const auto size = parseSize(value.substr(0, colon)); size && colon != value.npos)
        source.raw =
            RawLayout{size->first, size->second, value.substr(colon + 1, second - colon - 1),
                      second == value.npos ? std::nullopt
                                           : parseNumber<std::int64_t>(value.substr(second + 1))};
    }
  }
}

std::variant<Options, int> parseOptions(int argc, const char *const *argv, std::ostream &out,
                                        std::ostream &err) {
  Options options;
  Texts texts;
  CLI::App app("Measures fifteen quality indicators of videos and says what is wrong, from when to "
               "when.",
               "lumagauge-qc");
  app.footer(fmt::format(
      "Durations T: {}; a number without a unit is seconds.\n\n"
      "Exit status:\n"
      "  0  measured, and no rule of severity fail is broken\n"
      "  1  measured, and a rule of severity fail is broken\n"
      "  2  not measured, or wrong usage; of several inputs the worst\n"
      "  130, 143  interrupted by Ctrl-C or SIGTERM; what was measured so far is judged",
      DURATION_FORMS));
  app.formatter(std::make_shared<HelpFormatter>());
  app.get_formatter()->column_width(WIDEST_OPTION + 2);
  app.set_version_flag("--version", "lumagauge-qc " LUMAGAUGE_VERSION);
  addInputOptions(app, options, texts);
  addTrustOptions(app, options);
  addMeasureOptions(app, options, texts);
  addOutputOptions(app, options, texts);
  addPartOptions(app, options, texts);
  addScaleOptions(app, options);
  addLiveOptions(app, options);
  try {
    app.parse(arguments(argc, argv));
    understand(app, texts, options);
    return options;
  } catch (const CLI::ParseError &error) {
    return app.exit(error, out, err) == 0 ? 0 : USAGE_ERROR;
  }
}

} // namespace lumagauge::qc
