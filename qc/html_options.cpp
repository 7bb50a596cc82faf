// SPDX-License-Identifier: BSD-2-Clause
#include "qc/html_options.h"

#include "qc/modes.h"
#include "qc/report/page.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace lumagauge::qc {

namespace {

bool isPageName(const std::string &name) {
  const std::string ending = std::filesystem::path(name).extension();
  return ending == ".html" || ending == ".htm";
}

/// The inputs that stand ahead of --html on the command line.
std::ptrdiff_t inputsBeforeHtml(const CLI::App &app) {
  const std::vector<CLI::Option *> &order = app.parse_order();
  const auto html = std::find(order.begin(), order.end(), app.get_option("--html"));
  return std::count(order.begin(), html, app.get_option("INPUT"));
}

void checkHtmlFrom(const Options &options) {
  const bool measures = !options.inputs.empty() || !options.lists.empty() || options.resume;
  if (!options.htmlFrom.empty() && measures)
    refuse(
        "--html-from measures nothing: leave out INPUT, --files-from and --resume; --video names "
        "the file that pictures are taken from");
  if (!options.htmlFrom.empty() && options.html && !options.outputFolder.empty())
    refuse("--html-from: give --html FILE or -o DIR, not both");
}

} // namespace

void addHtmlOptions(CLI::App &app, Options &options, std::string &value) {
  app.add_option("--html", value,
                 hasPages() ? "Write a page that shows what is wrong, with pictures and curves: "
                              "FILE, or with -o NAME.html of each input and an index.html"
                            : "Not in this build, which was made without the page")
      ->type_name("[FILE]")
      ->expected(0, 1);
  auto *from = app.add_option("--html-from", options.htmlFrom,
                              "Make the page of a NAME.json that was written before, and end")
                   ->type_name("FILE");
  app.add_option("--video", options.video, "The input of that result, which the pictures are from")
      ->type_name("FILE")
      ->needs(from);
}

void understandHtml(const CLI::App &app, const std::string &value, Options &options) {
  options.html = app.count("--html") != 0;
  if ((options.html || !options.htmlFrom.empty()) && !hasPages())
    refuse("this build of lumagauge-qc was made without the page of --html; script/setup page "
           "installs what building it takes");
  checkHtmlFrom(options);
  if (!options.html)
    return;
  if (!options.htmlFrom.empty() || options.outputFolder.empty()) {
    if (!isPageName(value))
      refuse(fmt::format("--html {}: expected a FILE that ends in .html, or -o DIR as well, for "
                         "NAME.html in it",
                         value));
    options.htmlFile = value;
  } else if (isPageName(value)) {
    refuse(fmt::format("--html {}: with -o DIR pages are called NAME.html; leave FILE or -o out",
                       value));
  } else if (!value.empty()) {
    options.inputs.insert(options.inputs.begin() + inputsBeforeHtml(app), value);
  }
  const bool isOne = options.inputs.size() <= 1 && !options.recursive && options.lists.empty();
  if (!options.htmlFile.empty() && !isOne)
    refuse("--html FILE is the page of one input; with -o DIR each gets its own");
}

} // namespace lumagauge::qc
