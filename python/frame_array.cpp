// SPDX-License-Identifier: BSD-2-Clause
#include "python/frame_array.h"

#include "python/errors.h"
#include "python/interpreter_lock.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace py = pybind11;

namespace lumagauge::python {

namespace {

std::string shapeText(const py::array &array) {
  return py::str(array.attr("shape"));
}

void checkSamples(const py::array &array, const std::string &name) {
  if (array.dtype().kind() == 'u' && array.dtype().itemsize() == 1)
    return;
  throw Refusal(name + " has samples of type " + std::string(py::str(array.dtype())) +
                ", expected uint8 (0 to 255): convert it first, as (255 * frame).round()"
                ".astype(numpy.uint8) where it goes from 0 to 1, or (frame >> 2)"
                ".astype(numpy.uint8) where samples have 10 bits");
}

/// `axis` is that of the rows; the columns follow.
StridedPlane planeAt(const py::array &array, py::ssize_t axis, const std::string &name) {
  const py::ssize_t height = array.shape(axis), width = array.shape(axis + 1);
  if (width == 0 || height == 0)
    throw Refusal(name + " is empty: its shape is " + shapeText(array) +
                  ", and a plane has at least one row and one column");
  constexpr py::ssize_t MOST = std::numeric_limits<std::int32_t>::max();
  if (width > MOST || height > MOST)
    throw Refusal(name + " is too large: its shape is " + shapeText(array));
  return {static_cast<const std::uint8_t *>(array.data()), static_cast<std::uint32_t>(width),
          static_cast<std::uint32_t>(height), array.strides(axis), array.strides(axis + 1)};
}

} // namespace

bool StridedPlane::isPicture() const {
  return (columnStride == 1 || width == 1) && std::abs(rowStride) >= std::ptrdiff_t{width};
}

void StridedPlane::copyTo(std::uint8_t *destination) const {
  for (std::uint32_t y = 0; y < height; ++y) {
    const std::uint8_t *row = samples + std::ptrdiff_t{y} * rowStride;
    if (columnStride == 1)
      std::memcpy(destination, row, width);
    else
      for (std::uint32_t x = 0; x < width; ++x)
        destination[x] = row[std::ptrdiff_t{x} * columnStride];
    destination += width;
  }
}

StridedPlane planeOf(const py::array &array, const std::string &name) {
  if (array.ndim() == 0)
    throw Refusal(name + " is no array: expected a (height, width) array of uint8");
  if (array.ndim() != 2) {
    const bool isColour = array.ndim() == 3 && array.shape(2) >= 1 && array.shape(2) <= 4;
    throw Refusal(name + " has shape " + shapeText(array) +
                  ", expected (height, width), a plane of luma" +
                  (isColour ? ": of a picture with channels give the luma channel alone, as "
                              "frame[..., 0] where it is YUV"
                            : ""));
  }
  checkSamples(array, name);
  return planeAt(array, 0, name);
}

py::array arrayOfObject(const py::handle &object, const std::string &name) {
  if (py::isinstance<py::array>(object))
    return py::reinterpret_borrow<py::array>(object);
  try {
    const py::object asArray = py::module_::import("numpy").attr("asarray");
    PyObject *array =
        orWaitForTheEnd([&] { return PyObject_CallOneArg(asArray.ptr(), object.ptr()); });
    if (array == nullptr)
      throw py::error_already_set();
    return py::reinterpret_steal<py::array>(array);
  } catch (py::error_already_set &error) {
    if (!error.matches(PyExc_ValueError) && !error.matches(PyExc_TypeError))
      throw;
    throw Refusal(name + " is no array: expected a (height, width) array of uint8");
  }
}

PlaneStack::PlaneStack(const py::array &array) {
  const std::string name = "the array of frames";
  if (array.ndim() != 3)
    throw Refusal(name + " has shape " + shapeText(array) + ", expected (frames, height, width)" +
                  (array.ndim() == 2 ? ": of a single frame, frame[numpy.newaxis]"
                   : array.ndim() == 4
                       ? ": of pictures with channels give the luma channel alone, as "
                         "frames[..., 0] where they are YUV"
                       : ""));
  checkSamples(array, name);
  constexpr py::ssize_t LEAST_PICTURE = 16;
  if ((array.shape(2) == 3 || array.shape(2) == 4) && array.shape(0) >= LEAST_PICTURE &&
      array.shape(1) >= LEAST_PICTURE)
    throw Refusal(name + " has shape " + shapeText(array) +
                  ", expected (frames, height, width), and looks like one picture with channels: "
                  "give its luma channel alone, as frame[..., 0][numpy.newaxis] where it is YUV; "
                  "if these are frames so narrow, give iter(frames)");
  first = planeAt(array, 1, name);
  count = static_cast<std::size_t>(array.shape(0));
  stride = array.strides(0);
  if (count == 0)
    throw Refusal(name + " holds no frame: its shape is " + shapeText(array));
}

StridedPlane PlaneStack::operator[](std::size_t index) const {
  StridedPlane plane = first;
  plane.samples += static_cast<std::ptrdiff_t>(index) * stride;
  return plane;
}

} // namespace lumagauge::python
