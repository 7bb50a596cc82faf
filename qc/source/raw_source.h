// SPDX-License-Identifier: BSD-2-Clause
//
// Raw frames without a header, of a size and pixel format that the user states.
#ifndef LUMAGAUGE_QC_SOURCE_RAW_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_RAW_SOURCE_H

#include "qc/source/decode_log.h"
#include "qc/source/input_file.h"
#include "qc/source/luma.h"
#include "qc/source/open_source.h"

namespace lumagauge::qc {

class RawSource : public VideoSource {
public:
  /// `options.raw` holds a layout. Throws InputError where the layout cannot be that of the input.
  RawSource(const std::string &input, const SourceOptions &options);

  const InputInfo &info() const override { return inputInfo; }
  void select(std::int64_t first, std::optional<std::int64_t> count) override;
  bool read(LumaPicture &picture) override;
  InputEnd end() const override { return log.end(); }
  /// Shows a frame of a file, wherever reading stands, to `viewer`; false where it cannot be read.
  bool showFrame(std::int64_t number, PictureTap &viewer);

private:
  void layOut(const RawLayout &layout, std::int64_t maxPixels);
  void checkFileSize(std::int64_t size);
  std::string fittingLayouts(std::int64_t size) const;
  void show(PictureTap &viewer, std::int64_t number, double time);
  void noteEnd(double time, std::int64_t bytesOfLastFrame);
  double timeOf(std::int64_t frame) const { return static_cast<double>(frame) / inputInfo.rate; }

  InputFile file;
  PictureTap *tap;
  Window window;
  InputInfo inputInfo;
  DecodeLog log;
  AVPixelFormat format = AV_PIX_FMT_NONE;
  Planes planes{};
  std::vector<std::uint8_t> buffer; ///< the part of a frame that luma is taken from, and padding
  std::int64_t neededBytes = 0;     ///< of that part
  std::int64_t shownBytes = 0;      ///< of what a tap is shown, all planes where a frame has them
  std::int64_t frameBytes = 0;      ///< from a frame to the next
  LumaReader luma;
  bool finished = false;
};

} // namespace lumagauge::qc

#endif
