// SPDX-License-Identifier: BSD-2-Clause
//
// Packets that went into a decoder against the pictures that came out.
#ifndef LUMAGAUGE_QC_SOURCE_PICTURE_LEDGER_H
#define LUMAGAUGE_QC_SOURCE_PICTURE_LEDGER_H

#include "qc/source/decode_log.h"

#include <deque>
#include <map>

namespace lumagauge::qc {

/// Finds the pictures that are missing and nobody reported. Decoders give pictures in the order of
/// presentation and some packets late, and some packets rightly give none: a second field, a hidden
/// reference. So a packet counts as lost where no picture came of it and the pictures around it
/// leave a gap for one; and where packets are missing too, a gap counts in a stream that is
/// otherwise steady. Times are seconds.
class PictureLedger {
public:
  explicit PictureLedger(DecodeLog &told) : log(told) {}

  struct Packet {
    std::optional<double> time; ///< at which its picture is to be shown, where it says so
    bool shows = true;          ///< false: it says itself that nothing of it is shown
  };
  /// Seconds between pictures as the container states them, until the pictures themselves tell.
  void expectStep(double seconds) { statedStep = seconds; }
  /// A gap may say that a picture stays, as chunks with nothing in them do in AVI.
  void expectStays() { picturesStay = true; }
  /// The container is damaged: a gap is none of a rate that varies.
  void expectGaps() { gapsExpected = true; }
  /// A packet on its way to the decoder; returns the tag for its picture.
  std::int64_t addPacket(const Packet &packet);
  /// The decoder's or the container's word on the packet of the tag, told with its picture.
  void addProblem(std::int64_t tag, const std::string &what);

  /// Ahead of the first picture: moves the origin of all times so far by `seconds`.
  void moveOrigin(double seconds);

  struct Picture {
    std::int64_t tag;
    double time;
    double duration = 0; ///< as stated, 0 where not
    bool interlaced = false;
  };
  /// The next picture, before the log gets it.
  void addPicture(const Picture &picture);
  /// The packet of the tag gave a picture that does not count, which is told already.
  void passOver(std::int64_t tag);
  /// Tells the log, while pictures come, what is known to be missing by now. Returns the number of
  /// the picture ahead of which all is told.
  std::int64_t tellSettled(double frameSeconds);
  /// After the last picture: tells the log what is missing, with `undelivered` frames that the
  /// container announced and that no packet came of, until `announcedEnd` or unknown.
  void finish(double frameSeconds, std::int64_t undelivered, std::optional<double> announcedEnd);
  /// Instead, where no further picture is wanted.
  void finishEarly(double frameSeconds);

private:
  struct Waiting : Packet {
    std::int64_t tag = 0;
    std::string problem;
    bool placed = false;
    std::int64_t before = 0; ///< number of the picture that came behind its place
  };
  struct Gap {
    double start = 0, end = 0; ///< when the pictures around it appear
    std::int64_t packets = 0;  ///< lost in it
    bool timed = true;         ///< its packets say when their pictures are to be shown
    bool steady = false;       ///< in a stream that is steady but for it
    double step = 0;           ///< between the pictures ahead of it
    std::int64_t crowded = 0;  ///< pictures right behind it that come too early: stamps were late
    std::string problem = {};
  };

  void take(const Picture &picture);
  void place(Waiting &packet, const Picture &picture);
  bool isSecondField(const Waiting &packet) const; ///< of the last picture, as far as is known
  void settle(const Waiting &packet);
  void measureStep(const Picture &picture);
  bool ratesVary() const;
  void tell(std::int64_t before, const Gap &gap, double frameSeconds);

  DecodeLog &log;
  std::int64_t packets = 0;
  std::deque<Waiting> waiting;      ///< for a picture
  std::map<std::int64_t, Gap> gaps; ///< by the number of the picture behind
  std::optional<Picture> last;
  std::deque<double> steps; ///< the last ones that are no gap
  double statedStep = 0;
  bool leavesRoom = false; ///< the step to the newest picture, for another one
  bool gapsExpected = false, picturesStay = false;
  std::int64_t stepCount = 0, longSteps = 0;
  std::int64_t firstLong = 0, lastLong = 0; ///< number of the picture behind
};

} // namespace lumagauge::qc

#endif
