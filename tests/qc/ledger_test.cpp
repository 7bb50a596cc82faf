// SPDX-License-Identifier: BSD-2-Clause
//
// Which pictures are missing, and which packets rightly give none.
#include "qc/source/picture_ledger.h"
#include "qc/source/raw_source.h"
#include "tests/support/command.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace lumagauge::qc {
namespace {

using namespace test;

/// "kind frame: missing time-end" of each error, times in milliseconds.
std::string textOf(const InputEnd &end) {
  std::string text;
  for (const DecodeError &error : end.errors)
    text += fmt::format("{}{} {}: {} {:.0f}-{:.0f}", text.empty() ? "" : ", ", kindName(error.kind),
                        error.frame, error.missing, error.time * 1000,
                        error.endTime.value_or(0) * 1000);
  return text;
}

/// A letter a packet, 100 ms apart: p gives a picture, x none although it should, d a picture with
/// an error, e an error alone; h and f, half way, give none: h says so, f is a second field; - is a
/// packet that never came, l comes 200 ms late.
std::string told(const std::string &stream, bool stamped, std::int64_t undelivered) {
  constexpr double STEP = 0.1;
  DecodeLog log;
  PictureLedger ledger(log);
  double time = 0, last = -STEP;
  for (const char letter : stream) {
    const bool isHalfWay = letter == 'f' || letter == 'h';
    const double shown = isHalfWay ? time - STEP / 2 : letter == 'l' ? time + 2 * STEP : time;
    if (letter != '-') {
      const auto stamp = stamped ? std::optional(shown) : std::nullopt;
      const std::int64_t tag = ledger.addPacket({stamp, letter != 'h'});
      if (letter == 'd' || letter == 'e')
        ledger.addProblem(tag, "damaged");
      if (letter == 'p' || letter == 'd' || letter == 'l') {
        const double at = stamped ? std::max(shown, last + STEP / 16)
                                  : STEP * static_cast<double>(log.pictures());
        ledger.addPicture({tag, at, 0, stream.find('f') != std::string::npos});
        log.addPicture(at);
        last = at;
      }
    }
    if (!isHalfWay)
      time += STEP;
  }
  ledger.finish(STEP, undelivered, {});
  log.finish();
  return textOf(log.end());
}

TEST(PictureLedgerTest, OneLossIsToldOnceAndNoneWhereNothingIsMissing) {
  const struct {
    const char *name, *stream;
    const char *expected;
    bool stamped = true;
    std::int64_t undelivered = 0;
  } cases[] = {{"whole", "pppppppppppp", ""},
               {"hidden pictures and second fields", "phphpfpfpppp", ""},
               {"second fields without stamps", "pfpfpfpf", "", false},
               {"the rate varies", "pp-ppp-p-pp-ppp--pp-pp-p-ppp-p-ppp-p-p", ""},
               {"late stamps, made up for", "pppppppplpppppp", ""},
               {"no picture of a packet", "ppppxxppp", "missing 4: 2 400-600"},
               {"and none without stamps", "ppppxxppp", "missing 4: 2 400-400", false},
               {"packets are gone", "pppppppppp---ppppp", "missing 10: 3 1000-1300"},
               {"both", "pppppppppp-x-ppppp", "missing 10: 3 1000-1300"},
               {"joined in the middle", "xxxppppp", "missing 0: 3 0-300"},
               {"at the end", "pppppxx", "missing 5: 2 500-700"},
               {"and the container announced more", "pppppxx", "missing 5: 5 500-1000", true, 3},
               {"reported", "ppppexppp", "undecodable 4: 2 400-600"},
               {"reported on a picture that came", "ppppdpp", "undecodable 4: 0 400-0"}};
  for (const auto &[name, stream, expected, stamped, undelivered] : cases)
    EXPECT_EQ(told(stream, stamped, undelivered), expected) << name;
}

class RawFile : public CommandTest {};

TEST_F(RawFile, LacksItsFramesWhereItShrinks) {
  const std::string path = folder / "raw";
  writeFile(path, std::string(5 * 96, 'x'));
  SourceOptions options;
  options.raw = RawLayout{8, 8, "yuv420p", {}};
  RawSource source(path, options);
  std::filesystem::resize_file(path, 3 * 96 + 10);
  LumaPicture picture;
  while (source.read(picture)) {
  }
  EXPECT_EQ(textOf(source.end()), "missing 3: 2 120-200");
}

} // namespace
} // namespace lumagauge::qc
