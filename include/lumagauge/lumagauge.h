/* SPDX-License-Identifier: BSD-2-Clause
 *
 * lumagauge measures what a viewer would object to in a video, frame by frame and without a
 * reference copy: fifteen indicators of the luma plane and measures that supplement them. This
 * header is the library's one binary interface; lumagauge.hpp wraps it for C++.
 *
 * Open a meter for a video, give it the luma planes in order, and each call fills in a record:
 *
 *   lumagauge_options options = LUMAGAUGE_OPTIONS_INIT(1920, 1080);
 *   lumagauge_record record = LUMAGAUGE_RECORD_INIT;
 *   lumagauge_meter *meter = NULL;
 *   lumagauge_error error = lumagauge_meter_open(&options, &meter);
 *   while (error == LUMAGAUGE_OK && next_plane(luma)) {
 *     error = lumagauge_meter_add(meter, luma, 1920, &record);
 *     if (lumagauge_has_value(&record, LUMAGAUGE_BLUR))
 *       printf("%f\n", record.values[LUMAGAUGE_BLUR]);
 *   }
 *   lumagauge_meter_close(meter);
 *
 * For the same planes in the same order the values are the same to the last bit on every CPU and
 * however the frames are measured. A value may be a NaN or an infinity; docs/indicators.md says
 * when, and what each number means.
 *
 * Structs that cross the interface begin with their size as the caller was built, so that they can
 * grow. Nothing takes over the caller's memory, and no call keeps a pointer to it.
 */
#ifndef LUMAGAUGE_LUMAGAUGE_H
#define LUMAGAUGE_LUMAGAUGE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header; that of the library is lumagauge_version(). */
#define LUMAGAUGE_VERSION_MAJOR 0
#define LUMAGAUGE_VERSION_MINOR 1
#define LUMAGAUGE_VERSION_PATCH 0
#define LUMAGAUGE_VERSION "0.1.0"

/* --- The indicators */

/* The one list of the indicators, in the order of their numbers, bits and columns:
 *
 *   X(CONSTANT, name, field, Function, KIND, WORSE, unit, least width, least height)
 *
 * CONSTANT makes LUMAGAUGE_CONSTANT; `name` is how files, options and other languages spell it,
 * `field` how C++ does, and measureFunction is the library's own routine. KIND: PICTURE needs one
 * picture, PAIR also the one before it, SEQUENCE all of them in order; of PICTURE_PART and
 * PAIR_PART a routine gives several at once. WORSE: where a viewer objects more, HIGHER or LOWER
 * values, or both EXTREMES around 127.5. Any picture at least as wide and as high as the last two
 * numbers has a value that means something; a smaller one may have none, a NaN, or a value that
 * says nothing. The first fifteen are the core; what is behind them supplements it. */
/* clang-format off */
#define LUMAGAUGE_INDICATORS(X) \
  X(BLOCKINESS, blockiness, blockiness, Blockiness, PICTURE, LOWER, "ratio", 16, 16) \
  X(SPATIAL_ACTIVITY, spatial_activity, spatialActivity, SpatialActivity, PICTURE, LOWER, "luma levels", 3, 3) \
  X(LETTERBOX, letterbox, letterbox, Letterbox, PICTURE, HIGHER, "share of half the height", 2, 2) \
  X(PILLARBOX, pillarbox, pillarbox, Pillarbox, PICTURE, HIGHER, "share of half the width", 2, 2) \
  X(BLOCK_LOSS, block_loss, blockLoss, BlockLoss, PICTURE, HIGHER, "count", 256, 256) \
  X(BLUR, blur, blur, Blur, PICTURE, HIGHER, "samples", 16, 16) \
  X(TEMPORAL_ACTIVITY, temporal_activity, temporalActivity, TemporalActivity, PAIR, LOWER, "luma levels", 1, 1) \
  X(BLACKOUT, blackout, blackout, Blackout, PICTURE, HIGHER, "0 or 1", 16, 8) \
  X(FREEZING, freezing, freezing, Freezing, SEQUENCE, HIGHER, "0 or 1", 16, 8) \
  X(EXPOSURE, exposure, exposure, Exposure, PICTURE, EXTREMES, "luma levels", 17, 17) \
  X(CONTRAST, contrast, contrast, Contrast, PICTURE, LOWER, "luma levels", 2, 1) \
  X(INTERLACE, interlace, interlace, Interlace, PICTURE, HIGHER, "share of blocks", 4, 4) \
  X(NOISE, noise, noise, Noise, PICTURE, HIGHER, "luma levels", 8, 8) \
  X(SLICE, slice, slice, Slice, PICTURE, HIGHER, "ratio", 17, 48) \
  X(FLICKERING, flickering, flickering, Flickering, SEQUENCE, HIGHER, "switches a frame", 48, 48) \
  X(BAR_TOP, bar_top, barTop, BarTop, PICTURE_PART, HIGHER, "rows", 32, 32) \
  X(BAR_BOTTOM, bar_bottom, barBottom, BarBottom, PICTURE_PART, HIGHER, "rows", 32, 32) \
  X(BAR_LEFT, bar_left, barLeft, BarLeft, PICTURE_PART, HIGHER, "columns", 32, 32) \
  X(BAR_RIGHT, bar_right, barRight, BarRight, PICTURE_PART, HIGHER, "columns", 32, 32) \
  X(CLIPPED_LOW, clipped_low, clippedLow, ClippedLow, PICTURE_PART, HIGHER, "share of samples", 1, 1) \
  X(CLIPPED_HIGH, clipped_high, clippedHigh, ClippedHigh, PICTURE_PART, HIGHER, "share of samples", 1, 1) \
  X(REPEAT_SHARE, repeat_share, repeatShare, RepeatShare, PAIR_PART, HIGHER, "share of blocks", 8, 8) \
  X(STILL_SHARE, still_share, stillShare, StillShare, PAIR_PART, HIGHER, "share of blocks", 8, 8) \
  X(STALE_SHARE, stale_share, staleShare, StaleShare, PAIR_PART, HIGHER, "share of blocks", 32, 32) \
  X(BLOCK_DAMAGE, block_damage, blockDamage, BlockDamage, PICTURE_PART, HIGHER, "share of blocks", 64, 64) \
  X(SMEAR_SHARE, smear_share, smearShare, SmearShare, PICTURE_PART, HIGHER, "share of blocks", 64, 64) \
  X(FLAT_SHARE, flat_share, flatShare, FlatShare, PICTURE_PART, HIGHER, "share of segments", 16, 16) \
  X(GRAIN, grain, grain, Grain, PICTURE_PART, HIGHER, "luma levels", 16, 16) \
  X(SHARPNESS, sharpness, sharpness, Sharpness, PICTURE, LOWER, "ratio", 3, 1) \
  X(BRIGHTNESS, brightness, brightness, Brightness, PICTURE_PART, EXTREMES, "luma levels", 1, 1) \
  X(SCENE_CHANGE, scene_change, sceneChange, SceneChange, PAIR, HIGHER, "1 - correlation", 128, 72) \
  X(STALE_ROWS, stale_rows, staleRows, StaleRows, SEQUENCE, HIGHER, "share of block rows", 64, 64)
/* clang-format on */

/* LUMAGAUGE_BLOCKINESS = 0 and so on: where an indicator's value is in a record. */
enum {
#define LUMAGAUGE_NUMBER(CONSTANT, ...) LUMAGAUGE_##CONSTANT,
  LUMAGAUGE_INDICATORS(LUMAGAUGE_NUMBER)
#undef LUMAGAUGE_NUMBER
      LUMAGAUGE_INDICATOR_COUNT
};

/* An indicator's bit in a mask: LUMAGAUGE_BIT(LUMAGAUGE_BLUR) | LUMAGAUGE_BIT(LUMAGAUGE_NOISE). */
#define LUMAGAUGE_BIT(number) (UINT32_C(1) << (number))
#define LUMAGAUGE_ALL_INDICATORS (UINT32_MAX >> (32 - LUMAGAUGE_INDICATOR_COUNT))
/* The fifteen. */
#define LUMAGAUGE_CORE_INDICATORS (LUMAGAUGE_BIT(LUMAGAUGE_FLICKERING + 1) - 1)

/* Frames that one flickering value is measured over; it has a value once in so many. */
#define LUMAGAUGE_FLICKERING_PERIOD 8

typedef enum lumagauge_worse {
  LUMAGAUGE_WORSE_HIGHER = 0,
  LUMAGAUGE_WORSE_LOWER = 1,
  LUMAGAUGE_WORSE_EXTREMES = 2 /* both ends, away from 127.5 */
} lumagauge_worse;

/* A line of the list. */
typedef struct lumagauge_indicator {
  size_t size;
  const char *name;
  const char *unit;
  uint32_t bit;
  uint32_t needs_previous; /* 1 where a first frame has no value, else 0 */
  uint32_t worse;          /* a lumagauge_worse */
  uint32_t least_width, least_height;
} lumagauge_indicator;

/* The indicator of that number as this library has it, NULL beyond its last. Lives for ever. */
const lumagauge_indicator *lumagauge_indicator_at(size_t number);

/* --- Errors */

typedef enum lumagauge_error {
  LUMAGAUGE_OK = 0,
  LUMAGAUGE_ERROR_ARGUMENT = 1,
  LUMAGAUGE_ERROR_SIZE = 2,
  LUMAGAUGE_ERROR_RATE = 3,
  LUMAGAUGE_ERROR_INDICATORS = 4,
  LUMAGAUGE_ERROR_STRIDE = 5,
  LUMAGAUGE_ERROR_FRAME = 6,
  LUMAGAUGE_ERROR_MEMORY = 7,
  LUMAGAUGE_ERROR_INTERNAL = 8
} lumagauge_error;

/* What was expected, in a sentence; never NULL. Lives for ever. */
const char *lumagauge_error_text(lumagauge_error error);

/* The version of the library that runs, "1.2.3". */
const char *lumagauge_version(void);

/* --- A meter */

#define LUMAGAUGE_DEFAULT_RATE 25.0

/* Which levels a video's luma uses, by what its stream says. */
typedef enum lumagauge_range {
  LUMAGAUGE_RANGE_UNKNOWN = 0, /* taken as limited, which nearly all unlabelled video is */
  LUMAGAUGE_RANGE_LIMITED = 1, /* black at 16, white at 235 */
  LUMAGAUGE_RANGE_FULL = 2     /* black at 0, white at 255 */
} lumagauge_range;

/* What a meter measures. Later versions append fields; 0 in them means what is done today. Start
 * from LUMAGAUGE_OPTIONS_INIT: the core indicators at the default rate. */
typedef struct lumagauge_options {
  size_t size;
  uint32_t width, height; /* of the luma plane in samples; at least 1, product below 2^31 */
  uint32_t indicators;    /* mask; at least one bit, and none that the library does not know */
  uint32_t range;         /* a lumagauge_range; clipped_low and clipped_high alone depend on it */
  double rate;            /* frames a second, above 0; freezing alone depends on it */
} lumagauge_options;
#define LUMAGAUGE_OPTIONS_INIT(width, height)                                                      \
  {                                                                                                \
    sizeof(lumagauge_options), (uint32_t)(width), (uint32_t)(height), LUMAGAUGE_CORE_INDICATORS,   \
        LUMAGAUGE_RANGE_UNKNOWN, LUMAGAUGE_DEFAULT_RATE                                            \
  }

/* The values of a frame. Start from LUMAGAUGE_RECORD_INIT. */
typedef struct lumagauge_record {
  size_t size;
  uint32_t valid;    /* bit of each indicator that has a value for this frame */
  uint32_t reserved; /* 0 */
  /* 0 where there is no value. Grows with the list, so it stays the last field. */
  double values[LUMAGAUGE_INDICATOR_COUNT];
} lumagauge_record;
#define LUMAGAUGE_RECORD_INIT                                                                      \
  {                                                                                                \
    sizeof(lumagauge_record), 0, 0, {                                                              \
      0                                                                                            \
    }                                                                                              \
  }

/* 1 where the record has a value for the indicator of that number, else 0. There is none where it
 * was not asked for; for those that need the frame before, on the first frame; for flickering on
 * all but every LUMAGAUGE_FLICKERING_PERIOD-th frame after it; for noise where no level is found;
 * for block loss, noise and slice in smaller pictures than they look at. */
static inline int lumagauge_has_value(const lumagauge_record *record, unsigned number) {
  return number < LUMAGAUGE_INDICATOR_COUNT && (record->valid & LUMAGAUGE_BIT(number)) != 0;
}

/* The memory of one video. Different meters may be used on different threads at once, and calls on
 * one meter wait for each other. */
typedef struct lumagauge_meter lumagauge_meter;

/* Sets *meter to a new meter, to be closed by the caller, or to NULL when an error is returned. */
lumagauge_error lumagauge_meter_open(const lumagauge_options *options, lumagauge_meter **meter);

/* Measures the next frame. `luma` is its top row of 8-bit samples, 0 to 255, and the others follow
 * `stride` samples apart: at least the width, negative where rows are stored upwards. Rows that are
 * not contiguous are copied once; of a plane whose successor is compared with it a copy is kept.
 * After an error the record is unchanged, and the meter stands where it stood. */
lumagauge_error lumagauge_meter_add(lumagauge_meter *meter, const uint8_t *luma, ptrdiff_t stride,
                                    lumagauge_record *record);

/* Closes a meter; NULL does nothing. */
void lumagauge_meter_close(lumagauge_meter *meter);

/* --- Frames measured side by side
 *
 * lumagauge_meter_add in two halves: measuring a frame against the one before it, which is nearly
 * all the work and may be done on any thread, in any order, several frames at once; and taking the
 * frames in order, which is cheap. Nothing is copied but rows that are not contiguous. Use a meter
 * one way or the other. */

typedef struct lumagauge_frame lumagauge_frame;

/* Sets *frame to a new frame for the meter's size and indicators, to be closed by the caller, or to
 * NULL when an error is returned. It can be measured and taken over and over, by one thread at a
 * time, and may outlive the meter. */
lumagauge_error lumagauge_frame_open(const lumagauge_meter *meter, lumagauge_frame **frame);

/* Measures a plane and, unless `previous` is NULL, its difference to the one before it; rows as in
 * lumagauge_meter_add. Without `previous` the frame has no temporal values. */
lumagauge_error lumagauge_frame_measure(lumagauge_frame *frame, const uint8_t *luma,
                                        ptrdiff_t stride, const uint8_t *previous,
                                        ptrdiff_t previous_stride);

/* Completes the record of the video's next frame. LUMAGAUGE_ERROR_FRAME for a frame that was not
 * measured since it was last taken, failed attempts included, or that was made for another size or
 * other indicators. */
lumagauge_error lumagauge_meter_take(lumagauge_meter *meter, lumagauge_frame *frame,
                                     lumagauge_record *record);

void lumagauge_frame_close(lumagauge_frame *frame);

/* --- Opinion scores
 *
 * Mean opinion scores as two fixed curves make them of single values. They were not checked against
 * viewers here, and content moves them as it moves the values: good for a rough order of frames of
 * one video, not as a score to report or to compare across videos. A NaN gives 0. */

/* Of a blockiness value: 0 (bad) up to 0.58, 3.74 at 1 (no visible grid), without an upper end. */
double lumagauge_blockiness_mos(double blockiness);
/* Of a blur value: 4.84 at 1 (sharp), 3.88 at 3, 2.61 at 5, towards 0 (bad). */
double lumagauge_blur_mos(double blur);

#ifdef __cplusplus
}
#endif

#endif
