// SPDX-License-Identifier: BSD-2-Clause
//
// What happened while one input was decoded, and whether it leaves the result doubtful.
#ifndef LUMAGAUGE_QC_SOURCE_DECODE_LOG_H
#define LUMAGAUGE_QC_SOURCE_DECODE_LOG_H

#include "qc/record.h"

namespace lumagauge::qc {

/// Adds pictures that did not come to errors that are told. What is told of the same stretch
/// already is told once, and as what was reported.
void addLoss(std::vector<DecodeError> &told, const DecodeError &loss);

/// Decoders are some packets ahead of the pictures that they give out, so an error waits for the
/// first picture that is not earlier and gets its number. Of several without a picture between them
/// one stays, and one on the picture itself.
class DecodeLog {
public:
  void addPacket();                                      ///< one goes to the decoder
  void addPicture(double time);                          ///< one of the first one's size came out
  void addResizedPicture(double time, std::string what); ///< one of another size
  void addFailure(double time, std::string what);        ///< of the decoder, with a packet
  void addError(double time, std::string what);          ///< anything else
  /// Pictures that did not come, known only later: its number is settled. What is told of the same
  /// stretch already is told once, and as what was reported.
  void addLoss(const DecodeError &loss);
  void addWarning(std::string what); ///< nothing that is damaged
  void addChange(std::string what);  ///< of the pictures' format, ahead of all warnings
  /// The demuxer or the decoder got no further; false where so many such faults came since the last
  /// packet that no progress is to be expected.
  bool addFault();
  /// Reading ended ahead of the input's end, which leaves the result doubtful.
  void stop(double time, const std::string &reason);
  void stopReading(double time, int error); ///< with the error number of a read
  /// Takes out the errors ahead of a picture, by its number.
  std::vector<DecodeError> takeErrors(std::int64_t before);
  /// After the last picture.
  void finish();
  /// Moves the origin of all times so far by `seconds`.
  void moveOrigin(double seconds);

  std::int64_t packets() const { return packetCount; }
  std::int64_t pictures() const { return pictureCount; } ///< also the number of the next one
  std::int64_t errors() const { return errorCount; }     ///< of all that were added, losses apart
  const std::vector<DecodeError> &waitingErrors() const { return waiting; }
  const InputEnd &end() const { return inputEnd; } ///< complete once finished

private:
  void settle(double time);

  std::int64_t packetCount = 0, pictureCount = 0, errorCount = 0;
  std::int64_t failures = 0, resizedPictures = 0;
  int faultsInARow = 0;
  std::vector<DecodeError> waiting; ///< their numbers are not settled
  InputEnd inputEnd;
};

} // namespace lumagauge::qc

#endif
