// SPDX-License-Identifier: BSD-2-Clause
//
// lumagauge for C++20: the interface of lumagauge.h with types of its own. Everything here is
// inline over that header's functions, so that no C++ crosses the library's border; it is no part
// of the binary interface.
//
//   lumagauge::Meter meter(1920, 1080, 25.0);
//   while (next(plane)) {
//     const lumagauge::Values values = meter.add({plane.data(), 1920, 1080});
//     if (values.blur)
//       std::printf("%f\n", *values.blur);
//   }
//
// Lack of memory is std::bad_alloc, every other error lumagauge::Error.
#ifndef LUMAGAUGE_LUMAGAUGE_HPP
#define LUMAGAUGE_LUMAGAUGE_HPP

#include <lumagauge/lumagauge.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

// The types grow with the list, so their names differ from version to version: shared objects that
// were built with different ones can be loaded into one process.
#define LUMAGAUGE_PASTE(major, minor, patch) v##major##_##minor##_##patch
#define LUMAGAUGE_JOIN(major, minor, patch) LUMAGAUGE_PASTE(major, minor, patch)
#define LUMAGAUGE_NAMESPACE                                                                        \
  LUMAGAUGE_JOIN(LUMAGAUGE_VERSION_MAJOR, LUMAGAUGE_VERSION_MINOR, LUMAGAUGE_VERSION_PATCH)

namespace lumagauge {
inline namespace LUMAGAUGE_NAMESPACE {

// --- The indicators

/// The indicators in the order of their bits and columns: Indicator::blockLoss.
enum class Indicator : std::uint8_t {
#define LUMAGAUGE_ENUMERATOR(CONSTANT, name, field, ...) field,
  LUMAGAUGE_INDICATORS(LUMAGAUGE_ENUMERATOR)
#undef LUMAGAUGE_ENUMERATOR
};
inline constexpr std::size_t INDICATOR_COUNT = LUMAGAUGE_INDICATOR_COUNT;

/// Where a viewer objects more: at higher or lower values, or at both ends, away from 127.5.
enum class Worse { higher, lower, extremes };

struct IndicatorInfo {
  Indicator indicator;
  std::string_view name; ///< as in files and options: "block_loss"
  std::string_view unit;
  bool needsPrevious; ///< without a value for a first frame
  Worse worse;
  std::uint32_t leastWidth, leastHeight; ///< from which on the value means something
};
namespace detail {
inline constexpr bool NEEDS_PICTURE = false, NEEDS_PAIR = true, NEEDS_SEQUENCE = true,
                      NEEDS_PICTURE_PART = false, NEEDS_PAIR_PART = true;
inline constexpr Worse WORSE_HIGHER = Worse::higher, WORSE_LOWER = Worse::lower,
                       WORSE_EXTREMES = Worse::extremes;
} // namespace detail

inline constexpr std::array<IndicatorInfo, INDICATOR_COUNT> INDICATORS{{
#define LUMAGAUGE_INFO(CONSTANT, name, field, Function, KIND, WORSE, unit, width, height)          \
  {Indicator::field, #name, unit, detail::NEEDS_##KIND, detail::WORSE_##WORSE, width, height},
    LUMAGAUGE_INDICATORS(LUMAGAUGE_INFO)
#undef LUMAGAUGE_INFO
}};

/// Masks: bit(Indicator::blur) | bit(Indicator::noise).
constexpr std::uint32_t bit(Indicator indicator) {
  return LUMAGAUGE_BIT(static_cast<unsigned>(indicator));
}
inline constexpr std::uint32_t ALL_INDICATORS = LUMAGAUGE_ALL_INDICATORS;
inline constexpr std::uint32_t CORE_INDICATORS = LUMAGAUGE_CORE_INDICATORS; ///< the fifteen
/// Frames a second where nobody says otherwise.
inline constexpr double DEFAULT_RATE = LUMAGAUGE_DEFAULT_RATE;
/// Frames that one flickering value is measured over.
inline constexpr std::size_t FLICKERING_PERIOD = LUMAGAUGE_FLICKERING_PERIOD;

/// Which levels a video's luma uses; unknown is taken as limited.
enum class Range : std::uint32_t {
  unknown = LUMAGAUGE_RANGE_UNKNOWN,
  limited = LUMAGAUGE_RANGE_LIMITED,
  full = LUMAGAUGE_RANGE_FULL
};

/// The values of a frame, each empty where there is none (lumagauge_has_value says when).
struct Values {
#define LUMAGAUGE_FIELD(CONSTANT, name, field, ...) std::optional<double> field;
  LUMAGAUGE_INDICATORS(LUMAGAUGE_FIELD)
#undef LUMAGAUGE_FIELD

  const std::optional<double> &operator[](Indicator indicator) const {
    return this->*member(indicator);
  }
  std::optional<double> &operator[](Indicator indicator) {
    return this->*member(indicator);
  }

private:
  static constexpr std::optional<double> Values::*member(Indicator indicator) {
    constexpr std::array<std::optional<double> Values::*, INDICATOR_COUNT> MEMBERS{
#define LUMAGAUGE_MEMBER(CONSTANT, name, field, ...) &Values::field,
        LUMAGAUGE_INDICATORS(LUMAGAUGE_MEMBER)
#undef LUMAGAUGE_MEMBER
    };
    return MEMBERS[static_cast<std::size_t>(indicator)];
  }
};

// --- Pictures and errors

/// Somebody else's luma plane, to be read: 8-bit samples, the top row first.
struct Picture {
  const std::uint8_t *samples;
  std::uint32_t width, height;
  std::ptrdiff_t stride; ///< samples from a row to the next; negative where rows go upwards

  constexpr Picture(const std::uint8_t *top, std::uint32_t w, std::uint32_t h)
      : Picture(top, w, h, static_cast<std::ptrdiff_t>(w)) {}
  constexpr Picture(const std::uint8_t *top, std::uint32_t w, std::uint32_t h,
                    std::ptrdiff_t rowStride)
      : samples(top), width(w), height(h), stride(rowStride) {}
};

/// Says what was expected and, where that is known, what was given.
class Error : public std::runtime_error {
public:
  explicit Error(lumagauge_error errorCode, const std::string &given = "")
      : std::runtime_error(lumagauge_error_text(errorCode) + (given.empty() ? "" : "; " + given)),
        code(errorCode) {}

  lumagauge_error code;
};

namespace detail {

inline void throwUnlessOk(lumagauge_error error, const std::string &given = "") {
  if (error == LUMAGAUGE_ERROR_MEMORY)
    throw std::bad_alloc();
  if (error != LUMAGAUGE_OK)
    throw Error(error, given);
}

inline std::string sizeText(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

inline void checkSize(const Picture &picture, std::uint32_t width, std::uint32_t height) {
  if (picture.width != width || picture.height != height)
    throw Error(LUMAGAUGE_ERROR_SIZE, "a picture of " + sizeText(picture.width, picture.height) +
                                          " was given to a meter of " + sizeText(width, height));
}

inline std::string strideText(const Picture &picture) {
  return "given was a stride of " + std::to_string(picture.stride);
}

inline Values valuesOf(const lumagauge_record &record) {
  Values values;
  for (unsigned i = 0; i < INDICATOR_COUNT; ++i)
    if (lumagauge_has_value(&record, i) != 0)
      values[static_cast<Indicator>(i)] = record.values[i];
  return values;
}

struct Close {
  void operator()(lumagauge_meter *meter) const { lumagauge_meter_close(meter); }
  void operator()(lumagauge_frame *frame) const { lumagauge_frame_close(frame); }
};

} // namespace detail

// --- Measuring

class Meter;

/// A frame on its way: measured on any thread, then taken by its meter in the order of the video.
/// Made by Meter::frame; can be measured and taken over and over.
class Frame {
public:
  /// Measures a picture and, unless `previous` is null, its difference to the one before it.
  void measure(const Picture &picture, const Picture *previous) {
    detail::checkSize(picture, width, height);
    if (previous != nullptr)
      detail::checkSize(*previous, width, height);
    detail::throwUnlessOk(lumagauge_frame_measure(handle.get(), picture.samples, picture.stride,
                                                  previous == nullptr ? nullptr : previous->samples,
                                                  previous == nullptr ? 0 : previous->stride),
                          previous == nullptr ? detail::strideText(picture)
                                              : detail::strideText(picture) + " and " +
                                                    detail::strideText(*previous));
  }

private:
  friend class Meter;
  Frame(lumagauge_frame *owned, std::uint32_t w, std::uint32_t h)
      : handle(owned), width(w), height(h) {}

  std::unique_ptr<lumagauge_frame, detail::Close> handle;
  std::uint32_t width, height;
};

/// The memory of one video. Calls on one meter wait for each other.
class Meter {
public:
  /// For pictures of width x height at `rate` frames a second, which freezing alone depends on, as
  /// the shares of clipped samples alone depend on `range`.
  explicit Meter(std::uint32_t width, std::uint32_t height, double rate = DEFAULT_RATE,
                 std::uint32_t indicators = CORE_INDICATORS, Range range = Range::unknown)
      : meter(open(width, height, rate, indicators, range)), w(width), h(height) {}

  /// Measures the next frame of the video.
  Values add(const Picture &picture) {
    detail::checkSize(picture, w, h);
    lumagauge_record record = LUMAGAUGE_RECORD_INIT;
    detail::throwUnlessOk(
        lumagauge_meter_add(meter.get(), picture.samples, picture.stride, &record),
        detail::strideText(picture));
    return detail::valuesOf(record);
  }

  // add in two halves, for frames measured side by side: frame().measure(...) on any thread, then
  // take in the order of the video. Use a meter one way or the other.

  Frame frame() const {
    lumagauge_frame *made = nullptr;
    detail::throwUnlessOk(lumagauge_frame_open(meter.get(), &made));
    return {made, w, h};
  }
  Values take(Frame &measured) {
    lumagauge_record record = LUMAGAUGE_RECORD_INIT;
    detail::throwUnlessOk(lumagauge_meter_take(meter.get(), measured.handle.get(), &record));
    return detail::valuesOf(record);
  }

  std::uint32_t width() const { return w; }
  std::uint32_t height() const { return h; }

private:
  static lumagauge_meter *open(std::uint32_t width, std::uint32_t height, double rate,
                               std::uint32_t indicators, Range range) {
    lumagauge_options options = LUMAGAUGE_OPTIONS_INIT(width, height);
    options.rate = rate;
    options.indicators = indicators;
    options.range = static_cast<std::uint32_t>(range);
    lumagauge_meter *opened = nullptr;
    detail::throwUnlessOk(lumagauge_meter_open(&options, &opened),
                          "given were " + detail::sizeText(width, height) + ", a rate of " +
                              std::to_string(rate) + " and the mask " + std::to_string(indicators));
    return opened;
  }

  std::unique_ptr<lumagauge_meter, detail::Close> meter;
  std::uint32_t w, h;
};

/// What these scores are worth: lumagauge.h.
inline double blockinessMos(double blockiness) {
  return lumagauge_blockiness_mos(blockiness);
}
inline double blurMos(double blur) {
  return lumagauge_blur_mos(blur);
}

} // namespace LUMAGAUGE_NAMESPACE
} // namespace lumagauge

#undef LUMAGAUGE_NAMESPACE
#undef LUMAGAUGE_JOIN
#undef LUMAGAUGE_PASTE

#endif
