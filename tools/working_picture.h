// SPDX-License-Identifier: BSD-2-Clause
//
// A zero-filled picture that lives for one call.
#ifndef LUMAGAUGE_TOOLS_WORKING_PICTURE_H
#define LUMAGAUGE_TOOLS_WORKING_PICTURE_H

#include "tools/definitions.h"

#include <new>

namespace lumagauge {

/// Owns a zero-filled picture of w x h samples and releases it. The constructor throws
/// std::bad_alloc when memory lacks. Converts to the pointer that the toolkit's operations take.
class WorkingImage {
public:
  WorkingImage(std::uint64_t w, std::uint64_t h) : picture(callocImage(w, h)) {
    if (picture.data == nullptr && w != 0 && h != 0)
      throw std::bad_alloc();
  }
  ~WorkingImage() { freeImage(&picture); }
  WorkingImage(const WorkingImage &) = delete;
  WorkingImage &operator=(const WorkingImage &) = delete;

  operator Image *() { return &picture; }
  Image *operator->() { return &picture; }

private:
  Image picture;
};

} // namespace lumagauge

#endif
