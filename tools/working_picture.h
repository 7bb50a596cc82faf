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
template <class Picture, Picture (*allocate)(std::uint64_t, std::uint64_t),
          void (*release)(const Picture *)>
class WorkingPicture {
public:
  WorkingPicture(std::uint64_t w, std::uint64_t h) : picture(allocate(w, h)) {
    if (picture.data == nullptr && w != 0 && h != 0)
      throw std::bad_alloc();
  }
  ~WorkingPicture() { release(&picture); }
  WorkingPicture(const WorkingPicture &) = delete;
  WorkingPicture &operator=(const WorkingPicture &) = delete;

  operator Picture *() { return &picture; }
  Picture *operator->() { return &picture; }

private:
  Picture picture;
};

using WorkingImage = WorkingPicture<Image, callocImage, freeImage>;
using WorkingImage32 = WorkingPicture<Image32, callocImage32, freeImage32>;
using WorkingImageDouble = WorkingPicture<ImageDouble, callocImageDouble, freeImageDouble>;

} // namespace lumagauge

#endif
