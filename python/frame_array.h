// SPDX-License-Identifier: BSD-2-Clause
//
// Luma planes in numpy arrays.
#ifndef LUMAGAUGE_PYTHON_FRAME_ARRAY_H
#define LUMAGAUGE_PYTHON_FRAME_ARRAY_H

#include <lumagauge/lumagauge.hpp>

#include <pybind11/numpy.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumagauge::python {

/// A plane in somebody else's memory, with any distance between rows and between samples.
struct StridedPlane {
  const std::uint8_t *samples;
  std::uint32_t width, height;
  std::ptrdiff_t rowStride, columnStride;

  bool isPicture() const; ///< rows can be read where they are
  Picture picture() const { return {samples, width, height, rowStride}; }
  /// Its samples, row after row without gaps, into width * height places.
  void copyTo(std::uint8_t *destination) const;
};

/// The plane in a (height, width) array of uint8, which must outlive it; `name` is what messages
/// call it. Throws Refusal for every other object.
StridedPlane planeOf(const pybind11::array &array, const std::string &name);
/// The array that an object is or gives without a change to its samples.
pybind11::array arrayOfObject(const pybind11::handle &object, const std::string &name);

/// The planes of an (N, height, width) array of uint8. What is more likely one (height, width,
/// channels) picture is refused.
class PlaneStack {
public:
  explicit PlaneStack(const pybind11::array &array); ///< throws Refusal
  std::size_t size() const { return count; }
  StridedPlane operator[](std::size_t index) const;

private:
  StridedPlane first{};
  std::size_t count;
  std::ptrdiff_t stride;
};

} // namespace lumagauge::python

#endif
