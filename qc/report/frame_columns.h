// SPDX-License-Identifier: BSD-2-Clause
//
// The values of all frames in a form that is small and that a browser unpacks by itself: columns of
// bytes in one gzip stream.
//
// The stream is the concatenation of the columns' planes; a plane is a byte a frame. Bytes of one
// kind on end are what deflate finds repetitions in, and differences between frames more than
// values.
#ifndef LUMAGAUGE_QC_REPORT_FRAME_COLUMNS_H
#define LUMAGAUGE_QC_REPORT_FRAME_COLUMNS_H

#include "qc/record.h"

#include <memory>

namespace lumagauge::qc {

/// A value to four significant digits, as "%.4g" shows it: mantissa * 10^exponent with 1000 to 9999
/// in the mantissa's size, or 0. Values below 1e-121 become 0, those from 1e131 on 9.999e130.
struct Decimal4 {
  /// Exponents that stand for what is no number; the mantissa is 0 then.
  static constexpr std::int8_t NO_VALUE = -128, NOT_A_NUMBER = -127, INFINITE = -126,
                               MINUS_INFINITE = -125, LEAST_EXPONENT = -124;

  std::int16_t mantissa = 0;
  std::int8_t exponent = 0;

  bool isNumber() const { return exponent >= LEAST_EXPONENT; }
  bool operator==(const Decimal4 &) const = default;
};
Decimal4 decimal4(std::optional<double> value);

/// How a reader gets a column back from its planes:
enum class Encoding {
  /// None: every frame has `Column::value`, or `letter` where the column is that of picture types.
  constant,
  /// One plane: the letter of the picture type.
  ascii,
  /// One plane: the difference from the frame before, 0 on the first frame.
  step,
  /// Six planes, the lowest byte first: microseconds from the frame before, 0 on the first frame,
  /// which is at `start` seconds.
  microseconds,
  /// Three planes of differences from the frame before, ahead of the first one from 0: the exponent
  /// of a Decimal4, modulo 256, and low and high byte of the mantissa's d as 2d or, below 0, -2d
  /// - 1.
  /// A frame without a number leaves the mantissa as it was, and a 0 the exponent where that is one
  /// of a number.
  decimal4
};
std::string_view encodingName(Encoding encoding);

struct Column {
  std::string name; ///< "time", "type", "shot", or that of an indicator
  Encoding encoding = Encoding::constant;
  double start = 0;
  Decimal4 value;
  char letter = 0;
};

struct PackedFrames {
  std::int64_t first = 0; ///< number of the first frame; the others follow one by one
  std::int64_t count = 0;
  std::vector<Column> columns;
  std::vector<std::string> omitted; ///< names of columns that were left out for their size
  std::string gzip;                 ///< the planes of `columns`, in their order
};

/// Packs frames as they come. Holds little but what is packed already: some 30 bytes a frame of
/// camera footage with all indicators, and 3 MB.
class FrameColumns {
public:
  /// `indicators` is the mask of those that the records may have values of.
  explicit FrameColumns(std::uint32_t indicators);
  ~FrameColumns();
  FrameColumns(const FrameColumns &) = delete;
  FrameColumns &operator=(const FrameColumns &) = delete;

  /// The next record; frame numbers are without gaps.
  void add(const FrameRecord &record);
  /// The last call. Where all take more than `mostBytes`, the largest columns of those in the mask
  /// `dispensable` are left out.
  PackedFrames finish(std::size_t mostBytes, std::uint32_t dispensable);

private:
  struct State;
  std::unique_ptr<State> state;
};

} // namespace lumagauge::qc

#endif
