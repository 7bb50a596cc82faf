// SPDX-License-Identifier: BSD-2-Clause
//
// Command lines, an argument a line.
#include "qc/options.h"

#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace lumagauge::qc;
  std::istringstream text(std::string(data, data + size));
  std::vector<std::string> lines{"lumagauge-qc"};
  for (std::string line; std::getline(text, line);)
    lines.push_back(line.c_str()); // as far as an argument can reach
  std::vector<const char *> arguments;
  for (const std::string &line : lines)
    arguments.push_back(line.c_str());
  std::ostringstream output, errors;
  const auto parsed =
      parseOptions(static_cast<int>(arguments.size()), arguments.data(), output, errors);
  // Help and version speak on one stream, wrong usage on the other.
  if (const int *status = std::get_if<int>(&parsed))
    if ((*status == 0) != errors.str().empty() || (*status != 0 && *status != USAGE_ERROR))
      std::abort();
  return 0;
}
