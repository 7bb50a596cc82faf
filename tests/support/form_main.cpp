// SPDX-License-Identifier: BSD-2-Clause
//
// Runs the tests of one form of the row operations: that of LUMAGAUGE_TARGET, which must be the one
// in use. Exits with 77, a skip, where this build or CPU lacks it.
#include "tools/rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace lumagauge;

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  const char *target = std::getenv("LUMAGAUGE_TARGET");
  const auto known = knownForms();
  if (target == nullptr || std::find(known.begin(), known.end(), target) == known.end()) {
    std::cerr << "LUMAGAUGE_TARGET must name a form:";
    for (const std::string_view form : known)
      std::cerr << ' ' << form;
    std::cerr << '\n';
    return 1;
  }
  if (!useRows(target)) {
    std::cout << "skipped: this build or CPU lacks " << target << '\n';
    return 77;
  }
  const int result = RUN_ALL_TESTS();
  if (rows().form != std::string_view(target)) {
    std::cerr << rows().form << " ran instead of " << target << '\n';
    return 1;
  }
  return result;
}
