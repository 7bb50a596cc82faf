// SPDX-License-Identifier: BSD-2-Clause
#include "tests/support/clip.h"
#include "tests/support/command.h"

#include <gtest/gtest.h>

namespace lumagauge::test {
namespace {

TEST_F(CommandTest, ReportsAreTheSameUnderThisForm) {
  writeClip(folder / "clip.yuv");
  const Outcome outcome = call("clip.yuv 272 264"); // LUMAGAUGE_TARGET is handed on
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  EXPECT_EQ(withoutNanSigns(outcome.output), readFile(GOLDEN "/all.console.txt"));
  EXPECT_EQ(withoutNanSigns(readFile(folder / "metricsResultsCSV.csv")),
            readFile(GOLDEN "/all.csv"));
}

} // namespace
} // namespace lumagauge::test
