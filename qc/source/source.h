// SPDX-License-Identifier: BSD-2-Clause
//
// The one interface behind which every kind of input stands.
#ifndef LUMAGAUGE_QC_SOURCE_SOURCE_H
#define LUMAGAUGE_QC_SOURCE_SOURCE_H

#include "qc/record.h"

#include <stdexcept>

namespace lumagauge::qc {

/// An input that cannot be used: the message says what was given, what is expected and what to do.
class InputError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class VideoSource {
public:
  virtual ~VideoSource() = default;
  virtual const InputInfo &info() const = 0;
  /// Reads the next picture; false at the end. Reuses the buffer of `picture`.
  virtual bool read(LumaPicture &picture) = 0;
  /// How the reading ended; complete once `read` has returned false.
  virtual const InputEnd &end() const = 0;
};

} // namespace lumagauge::qc

#endif
