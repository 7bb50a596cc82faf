// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/clip.h"
#include "tests/support/command.h"

#include <gtest/gtest.h>

namespace lumagauge::test {
namespace {

TEST(Golden, ReportsAreTheSameUnderThisForm) {
  const Folder folder;
  writeClip(folder.path / "clip.yuv");
  // LUMAGAUGE_TARGET is handed on.
  const Outcome outcome = folder.run(LUMAGAUGE_WITH_FAULTS " clip.yuv 272 264");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(withoutNanSigns(outcome.out), contents(GOLDEN "/all.console.txt"));
  EXPECT_EQ(withoutNanSigns(contents(folder.path / "metricsResultsCSV.csv")),
            contents(GOLDEN "/all.csv"));
}

} // namespace
} // namespace lumagauge::test
