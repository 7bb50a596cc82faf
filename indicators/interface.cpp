// SPDX-License-Identifier: BSD-2-Clause
//
// The C interface: checks what callers give and keeps exceptions in. What is behind it is meter.h.
//
// The one header whose functions are seen outside of the shared library.
#pragma GCC visibility push(default)
#include "lumagauge/lumagauge.h"
#pragma GCC visibility pop

#include "indicators/meter.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>

using namespace lumagauge;

namespace {

static_assert(LUMAGAUGE_INDICATOR_COUNT <= 32, "masks have 32 bits");
constexpr std::uint64_t MOST_SAMPLES = std::numeric_limits<std::int32_t>::max();

/// What the meters and frames of one video have in common.
struct Format {
  std::uint64_t width, height;
  std::uint32_t requested;
  std::uint32_t range; ///< a lumagauge_range

  bool operator==(const Format &) const = default;
};

LumaRange levelsOf(const Format &format) {
  return format.range == LUMAGAUGE_RANGE_FULL ? LumaRange{0, 255} : LumaRange{16, 235};
}

/// Of one row alone the stride does not matter.
bool isStride(const Format &format, std::ptrdiff_t stride) {
  const auto width = static_cast<std::ptrdiff_t>(format.width);
  return format.height == 1 || stride >= width || stride <= -width;
}

/// The caller's samples where its rows are contiguous, else `copy` with the same samples.
Plane contiguous(const Format &format, const std::uint8_t *top, std::ptrdiff_t stride,
                 std::vector<std::uint8_t> &copy) {
  if (stride == static_cast<std::ptrdiff_t>(format.width))
    return {format.width, format.height, top};
  copy.resize(format.width * format.height);
  for (std::uint64_t y = 0; y < format.height; ++y)
    std::memcpy(copy.data() + y * format.width, top + static_cast<std::ptrdiff_t>(y) * stride,
                format.width);
  return {format.width, format.height, copy.data()};
}

/// Fills in as much of the caller's record as the caller knows.
void store(const FrameValues &values, lumagauge_record *record) {
  lumagauge_record full = LUMAGAUGE_RECORD_INIT;
  const std::size_t known = (record->size - offsetof(lumagauge_record, values)) / sizeof(double);
  for (std::size_t i = 0; i < std::min(values.size(), known); ++i)
    if (values[i]) {
      full.valid |= LUMAGAUGE_BIT(i);
      full.values[i] = *values[i];
    }
  // What a newer caller has behind our last field stays as it is: nothing says that it is valid.
  full.size = record->size;
  std::memcpy(record, &full, std::min(record->size, sizeof full));
}

bool isRecord(const lumagauge_record *record) {
  return record != nullptr && record->size >= offsetof(lumagauge_record, values) + sizeof(double);
}

/// The caller's options with defaults for what the caller does not know yet; an error where they
/// cannot be met, as the wishes of a newer caller may be.
lumagauge_error readOptions(const lumagauge_options *given, lumagauge_options &options) {
  constexpr std::size_t FIRST_VERSION = offsetof(lumagauge_options, rate) + sizeof(double);
  if (given == nullptr || given->size < FIRST_VERSION)
    return LUMAGAUGE_ERROR_ARGUMENT;
  std::memcpy(&options, given, std::min(given->size, sizeof options));
  const auto *bytes = reinterpret_cast<const unsigned char *>(given);
  for (std::size_t i = sizeof options; i < given->size; ++i)
    if (bytes[i] != 0)
      return LUMAGAUGE_ERROR_ARGUMENT;
  if (options.range > LUMAGAUGE_RANGE_FULL)
    return LUMAGAUGE_ERROR_ARGUMENT;
  if (options.width == 0 || options.height == 0 ||
      std::uint64_t{options.width} * options.height > MOST_SAMPLES)
    return LUMAGAUGE_ERROR_SIZE;
  if (!(options.rate > 0) || std::isinf(options.rate))
    return LUMAGAUGE_ERROR_RATE;
  if (options.indicators == 0 || (options.indicators & ~LUMAGAUGE_ALL_INDICATORS) != 0)
    return LUMAGAUGE_ERROR_INDICATORS;
  return LUMAGAUGE_OK;
}

/// Runs `body`, whose exceptions become errors.
template <class Body> lumagauge_error guarded(Body body) {
  try {
    return body();
  } catch (const std::bad_alloc &) {
    return LUMAGAUGE_ERROR_MEMORY;
  } catch (...) {
    return LUMAGAUGE_ERROR_INTERNAL;
  }
}

} // namespace

struct lumagauge_frame {
  Format format;
  FrameMeasures measures;
  bool isMeasured = false;
  std::vector<std::uint8_t> copy, previousCopy; ///< where rows are not contiguous
};

struct lumagauge_meter {
  Format format;
  FrameSequence sequence;
  std::mutex mutex; ///< guards what follows, and `sequence`
  lumagauge_frame added;
  std::vector<std::uint8_t> last; ///< the plane before, where it is needed; empty at first
};

extern "C" {

const lumagauge_indicator *lumagauge_indicator_at(size_t number) {
#define LUMAGAUGE_NEEDS_PICTURE 0
#define LUMAGAUGE_NEEDS_PAIR 1
#define LUMAGAUGE_NEEDS_SEQUENCE 1
#define LUMAGAUGE_NEEDS_PICTURE_PART 0
#define LUMAGAUGE_NEEDS_PAIR_PART 1
#define LUMAGAUGE_LINE(CONSTANT, name, field, Name, KIND, WORSE, unit, width, height)              \
  {sizeof(lumagauge_indicator),                                                                    \
   #name,                                                                                          \
   unit,                                                                                           \
   LUMAGAUGE_BIT(LUMAGAUGE_##CONSTANT),                                                            \
   LUMAGAUGE_NEEDS_##KIND,                                                                         \
   LUMAGAUGE_WORSE_##WORSE,                                                                        \
   width,                                                                                          \
   height},
  static constexpr lumagauge_indicator LIST[]{LUMAGAUGE_INDICATORS(LUMAGAUGE_LINE)};
  return number < std::size(LIST) ? &LIST[number] : nullptr;
}

const char *lumagauge_error_text(lumagauge_error error) {
  switch (error) {
  case LUMAGAUGE_OK:
    return "no error";
  case LUMAGAUGE_ERROR_ARGUMENT:
    return "a pointer is null, a struct was not begun with its ..._INIT, or it wants what only a "
           "later version of this library can do";
  case LUMAGAUGE_ERROR_SIZE:
    return "width and height must be those of the video, at least 1, and their product at most "
           "2147483647";
  case LUMAGAUGE_ERROR_RATE:
    return "the rate must be a finite number of frames a second above 0";
  case LUMAGAUGE_ERROR_INDICATORS:
    return "the mask must request at least one indicator, and none that this library does not "
           "know";
  case LUMAGAUGE_ERROR_STRIDE:
    return "the stride must be at least the width, or at most minus the width where rows go "
           "upwards";
  case LUMAGAUGE_ERROR_FRAME:
    return "a frame must be measured before it is taken, without an error, once each time; and it "
           "can be taken by a meter of its own size and indicators alone";
  case LUMAGAUGE_ERROR_MEMORY:
    return "there is not enough memory";
  case LUMAGAUGE_ERROR_INTERNAL:
    break;
  }
  return "an error inside the library, which is a fault of it";
}

const char *lumagauge_version(void) {
  return LUMAGAUGE_VERSION;
}

lumagauge_error lumagauge_meter_open(const lumagauge_options *options, lumagauge_meter **meter) {
  if (meter == nullptr)
    return LUMAGAUGE_ERROR_ARGUMENT;
  *meter = nullptr;
  lumagauge_options known = LUMAGAUGE_OPTIONS_INIT(0, 0);
  if (const lumagauge_error error = readOptions(options, known); error != LUMAGAUGE_OK)
    return error;
  return guarded([&] {
    const Format format{known.width, known.height, known.indicators, known.range};
    *meter = new lumagauge_meter{
        .format = format,
        .sequence = {format.width, format.height, known.rate, format.requested},
        .mutex = {},
        .added = {.format = format, .measures = {}, .copy = {}, .previousCopy = {}},
        .last = {}};
    return LUMAGAUGE_OK;
  });
}

lumagauge_error lumagauge_meter_add(lumagauge_meter *meter, const uint8_t *luma, ptrdiff_t stride,
                                    lumagauge_record *record) {
  if (meter == nullptr || luma == nullptr || !isRecord(record))
    return LUMAGAUGE_ERROR_ARGUMENT;
  if (!isStride(meter->format, stride))
    return LUMAGAUGE_ERROR_STRIDE;
  return guarded([&] {
    const std::lock_guard lock(meter->mutex);
    const Format &format = meter->format;
    const Plane plane = contiguous(format, luma, stride, meter->added.copy);
    const Plane previous(format.width, format.height, meter->last.data());
    measureFrame(plane, meter->last.empty() ? nullptr : &previous, format.requested,
                 levelsOf(format), meter->added.measures);
    if (needPrevious(format.requested)) {
      if (plane.data == meter->added.copy.data())
        meter->last.swap(meter->added.copy);
      else
        meter->last.assign(plane.data, plane.data + plane.w * plane.h);
    }
    store(meter->sequence.complete(meter->added.measures), record);
    return LUMAGAUGE_OK;
  });
}

void lumagauge_meter_close(lumagauge_meter *meter) {
  delete meter;
}

lumagauge_error lumagauge_frame_open(const lumagauge_meter *meter, lumagauge_frame **frame) {
  if (frame == nullptr)
    return LUMAGAUGE_ERROR_ARGUMENT;
  *frame = nullptr;
  if (meter == nullptr)
    return LUMAGAUGE_ERROR_ARGUMENT;
  return guarded([&] {
    *frame = new lumagauge_frame{
        .format = meter->format, .measures = {}, .copy = {}, .previousCopy = {}};
    return LUMAGAUGE_OK;
  });
}

lumagauge_error lumagauge_frame_measure(lumagauge_frame *frame, const uint8_t *luma,
                                        ptrdiff_t stride, const uint8_t *previous,
                                        ptrdiff_t previous_stride) {
  if (frame == nullptr)
    return LUMAGAUGE_ERROR_ARGUMENT;
  frame->isMeasured = false;
  if (luma == nullptr)
    return LUMAGAUGE_ERROR_ARGUMENT;
  if (!isStride(frame->format, stride) ||
      (previous != nullptr && !isStride(frame->format, previous_stride)))
    return LUMAGAUGE_ERROR_STRIDE;
  return guarded([&] {
    const Format &format = frame->format;
    const Plane plane = contiguous(format, luma, stride, frame->copy);
    std::optional<Plane> before;
    if (previous != nullptr && needPrevious(format.requested))
      before = contiguous(format, previous, previous_stride, frame->previousCopy);
    measureFrame(plane, before ? &*before : nullptr, format.requested, levelsOf(format),
                 frame->measures);
    frame->isMeasured = true;
    return LUMAGAUGE_OK;
  });
}

lumagauge_error lumagauge_meter_take(lumagauge_meter *meter, lumagauge_frame *frame,
                                     lumagauge_record *record) {
  if (meter == nullptr || frame == nullptr || !isRecord(record))
    return LUMAGAUGE_ERROR_ARGUMENT;
  if (!frame->isMeasured || frame->format != meter->format)
    return LUMAGAUGE_ERROR_FRAME;
  return guarded([&] {
    const std::lock_guard lock(meter->mutex);
    store(meter->sequence.complete(frame->measures), record);
    frame->isMeasured = false;
    return LUMAGAUGE_OK;
  });
}

void lumagauge_frame_close(lumagauge_frame *frame) {
  delete frame;
}

double lumagauge_blockiness_mos(double blockiness) {
  return blockToMOS(blockiness);
}

double lumagauge_blur_mos(double blur) {
  return blurToMOS(blur);
}

} // extern "C"
