// SPDX-License-Identifier: BSD-2-Clause
//
// Any video that libavformat and libavcodec read.
#ifndef LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_LIBAV_SOURCE_H

#include "qc/source/decode_log.h"
#include "qc/source/frame_clock.h"
#include "qc/source/frame_index.h"
#include "qc/source/libav_input.h"
#include "qc/source/luma.h"
#include "qc/source/picture_ledger.h"
#include "qc/source/repeatable_decoder.h"
#include "qc/source/shortfall.h"

#include <map>

namespace lumagauge::qc {

class LibavSource : public VideoSource {
public:
  /// Opens the input and decodes its first picture, which settles what `info` says. Throws
  /// InputError, also where no picture can be decoded.
  LibavSource(const std::string &input, const SourceOptions &options);

  const InputInfo &info() const override { return inputInfo; }
  void select(std::int64_t first, std::optional<std::int64_t> count) override;
  bool read(LumaPicture &picture) override;
  Entry entry() const override { return entryTaken; }
  InputEnd end() const override;

private:
  void describeStream(const SourceOptions &options);
  void describePicture(const SourceOptions &options);
  void startAtFirstPicture(bool streamTimes);

  // In libav_entry.cpp: how the first frame that is wanted is come to.
  void enter();
  void enterStream();
  std::optional<std::size_t> comeToKey(const FrameIndex &index);
  std::size_t firstWanted(const FrameIndex &index, std::size_t next) const;
  void previewPicture(std::size_t position);
  void previewPacket(std::size_t packet);
  void preview(std::size_t next);
  void skipTo(std::size_t packet);
  bool isPacket(std::size_t number) const;
  void takeStamps();
  bool isAheadOfEntry();

  void count(double time); ///< the picture in `frame`, for the ledger and the log
  bool decodeFrame();      ///< the next picture into `frame`; false at the end
  AVRational timeBaseOf(std::int64_t tag) const;
  int readPacket(); ///< the stream's next one into `packet`, or libav's code
  void feedDecoder();
  std::int64_t enterPacket();
  void finishDemuxing(int code);
  void hear();
  void hearContainer();
  void finishReports();
  void tellNews(LumaPicture &picture);
  void shiftTimes(std::vector<DecodeError> &errors) const;
  bool hasChangedSize() const;
  void showTap(const LumaPicture &picture);
  void reportConcealment();
  void reportChange();

  InputInfo inputInfo;
  LibavInput input;
  AVStream &stream; ///< of `input`
  FrameClock clock;
  const SourceOptions asked;
  std::optional<RepeatableDecoder> decoder; ///< always there
  PacketPointer packet;
  FramePointer frame;
  LumaReader luma;
  PictureTap *tap;
  Window window;
  const bool isLive;
  DecodeLog log;
  PictureLedger ledger{log};
  ReadingTotals totals;

  std::map<std::int64_t, AVRational> timeBases; ///< of the stream, from the packet's tag on
  std::optional<int> heldRead;                  ///< what the last read gave, not yet looked at
  /// Where decoding begins in the middle.
  struct Middle {
    FrameIndex index;
    EntryPoint point;
    std::int64_t added;     ///< to the number of a picture in the index, for that of the frame
    bool confirmed = false; ///< the first frame delivered was the one that was expected
  };
  std::optional<Middle> middle;
  Entry entryTaken;
  bool entered = false;
  std::int64_t packetsRead = 0; ///< of the stream
  bool framePending = false;    ///< `frame` holds the first picture, not yet delivered
  bool draining = false;        ///< all packets are read
  std::int64_t damageShown = 0; ///< errors that the tap knows of
  std::string containerProblem; ///< said by the demuxer since the last packet
  bool endedInside = false;     ///< not where the container has an end
  bool atEnd = false;           ///< and the last picture is out
  bool finished = false;
  std::optional<double> announcedDuration; ///< seconds, of this stream
  double lead = 0;         ///< seconds of the first picture behind the container's start
  double addedToTimes = 0; ///< to those that are told
};

} // namespace lumagauge::qc

#endif
