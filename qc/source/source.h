// SPDX-License-Identifier: BSD-2-Clause
//
// The one interface behind which every kind of input stands.
#ifndef LUMAGAUGE_QC_SOURCE_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_SOURCE_H

#include "qc/record.h"

#include <stdexcept>

struct AVFrame;

namespace lumagauge::qc {

/// How a source came to the first frame that it delivers.
struct Entry {
  std::int64_t packet = 0; ///< the first one that was decoded for it
  std::string reason;      ///< why decoding began with the stream although it might have been later
};

/// An input that cannot be used: the message says what was given, what is expected and what to do.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Decoding began in the middle of a stream whose damage, as it turns out, may reach back to there.
/// Nothing that was read is to be relied on; with SourceOptions::seek off it can be read.
class EntryError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Sees pictures that a source delivers as they were decoded, in colour.
class PictureTap {
public:
  virtual ~PictureTap() = default;
  /// Whether `see` is to be called for the frame: called once a frame, ahead of it.
  virtual bool wants(std::int64_t frame) = 0;
  /// The picture is the source's own, and says how it is to be turned and what shape samples have.
  virtual void see(const AVFrame &picture, std::int64_t frame, double time) = 0;
  /// Ahead of `see`: something was said to be wrong with that picture or what lies ahead of it.
  virtual void noteDamage() {}
};

class VideoSource {
public:
  virtual ~VideoSource() = default;
  virtual const InputInfo &info() const = 0;
  /// Ahead of the first read: instead of what was asked for when it was opened delivers `count`
  /// frames from number `first` on, all that follow where empty.
  virtual void select(std::int64_t first, std::optional<std::int64_t> count) = 0;
  virtual Entry entry() const { return {}; } ///< once something was read
  /// Reads the next picture; false at the end. Reuses the buffer of `picture`.
  virtual bool read(LumaPicture &picture) = 0;
  /// How the reading ended; complete once `read` has returned false.
  virtual InputEnd end() const = 0;
};

} // namespace lumagauge::qc

#endif
