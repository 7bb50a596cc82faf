// SPDX-License-Identifier: BSD-2-Clause
//
// Runs the tests of one form of the row operations: that of LUMAGAUGE_TARGET, which must be the one
// in use. Exits with 77, a skip, where this CPU lacks it.
#include "tools/rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace lumagauge;

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  const char *target = std::getenv("LUMAGAUGE_TARGET");
  const auto built = builtForms();
  if (target == nullptr || std::find(built.begin(), built.end(), target) == built.end()) {
    std::cerr << "LUMAGAUGE_TARGET must name a form of this build:";
    for (const std::string_view form : built)
      std::cerr << ' ' << form;
    std::cerr << '\n';
    return 1;
  }
  if (!useRows(target)) {
    std::cout << "skipped: this CPU lacks " << target << '\n';
    return 77;
  }
  const int result = RUN_ALL_TESTS();
  if (rows().form != std::string_view(target)) {
    std::cerr << rows().form << " ran instead of " << target << '\n';
    return 1;
  }
  return result;
}
