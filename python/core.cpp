// SPDX-License-Identifier: BSD-2-Clause
//
// lumagauge._core: the library for arrays. What users see of it is in lumagauge/*.py.
#include "python/errors.h"
#include "python/frame_array.h"
#include "python/interpreter_lock.h"
#include "python/parallel_meter.h"
#include "python/rows.h"
#include "python/signals.h"

#include <pybind11/stl.h>

#include <limits>

namespace py = pybind11;

namespace lumagauge::python {

namespace {

/// The list of the indicators as tuples, in the order of lumagauge._indicators.Indicator.
py::list indicators() {
  constexpr std::array<const char *, 3> WORSE_NAMES{"higher", "lower", "extremes"};
  py::list list;
  for (const IndicatorInfo &info : INDICATORS)
    list.append(
        py::make_tuple(info.name, info.unit, WORSE_NAMES[static_cast<std::size_t>(info.worse)],
                       bit(info.indicator), info.needsPrevious, info.leastWidth, info.leastHeight));
  return list;
}

/// A meter for Python, whose integers may have any sign and size.
class ArrayMeter {
public:
  ArrayMeter(std::int64_t width, std::int64_t height, double rate, std::uint32_t mask)
      : meter(length(width, width, height), length(height, width, height), rate, mask) {}

  py::tuple add(const py::object &object) {
    const py::array array = arrayOfObject(object, "the frame");
    const StridedPlane plane = planeOf(array, "the frame");
    if (plane.width != meter.width() || plane.height != meter.height())
      throw Refusal("the frame has shape (" + std::to_string(plane.height) + ", " +
                    std::to_string(plane.width) + "), expected (" + std::to_string(meter.height()) +
                    ", " + std::to_string(meter.width()) +
                    "), which is (height, width) of this meter: pictures of another size need a "
                    "meter of their own");
    return tupleOf(measure(plane));
  }

  std::uint32_t width() const { return meter.width(); }
  std::uint32_t height() const { return meter.height(); }

private:
  static std::uint32_t length(std::int64_t value, std::int64_t width, std::int64_t height) {
    if (value < 0 || value > std::numeric_limits<std::uint32_t>::max())
      throw Error(LUMAGAUGE_ERROR_SIZE,
                  "given were " + std::to_string(width) + " x " + std::to_string(height));
    return static_cast<std::uint32_t>(value);
  }

  Values measure(const StridedPlane &plane) {
    const Unlocked unlocked;
    if (plane.isPicture())
      return meter.add(plane.picture());
    std::vector<std::uint8_t> copy(std::size_t{plane.width} * plane.height);
    plane.copyTo(copy.data());
    return meter.add({copy.data(), plane.width, plane.height});
  }

  Meter meter;
};

/// Waits for the oldest frame and takes it.
Row takeRow(ParallelMeter &meter, SignalCheck &checkSignals, const Unlocked &unlocked) {
  bool isMeasured = false;
  do {
    isMeasured = meter.wait(SIGNAL_INTERVAL);
    checkSignals(unlocked);
  } while (!isMeasured);
  return rowOf(meter.take());
}

py::dtype rowType() {
  RowType type;
  type.addValues(0);
  return type.dtype(sizeof(Row));
}

std::vector<Row> measureStack(const PlaneStack &stack, double rate, std::uint32_t mask,
                              int threads) {
  const Unlocked unlocked;
  Meter meter(stack[0].width, stack[0].height, rate, mask);
  ParallelMeter parallel(meter, threads);
  SignalCheck checkSignals;
  std::vector<Row> rows;
  rows.reserve(stack.size());
  std::size_t given = 0;
  while (rows.size() < stack.size()) {
    for (; given < stack.size() && parallel.hasRoom(); ++given) {
      const StridedPlane plane = stack[given];
      if (plane.isPicture()) {
        parallel.give(plane.picture());
        continue;
      }
      std::uint8_t *copy = parallel.buffer();
      plane.copyTo(copy);
      parallel.give({copy, plane.width, plane.height});
    }
    rows.push_back(takeRow(parallel, checkSignals, unlocked));
  }
  return rows;
}

py::array measureArray(const py::array &array, double rate, std::uint32_t mask, int threads) {
  return arrayOf(measureStack(PlaneStack(array), rate, mask, threads), rowType());
}

/// Measures the frames that an iterator gives. Each is copied: iterators may fill one array over
/// and over.
class IteratorMeasure {
public:
  IteratorMeasure(const py::iterator &frames, double frameRate, std::uint32_t requested, int count)
      : iterator(frames), rate(frameRate), mask(requested), threads(count) {}

  /// Called with the interpreter's lock.
  std::vector<Row> run() {
    SignalCheck checkSignals;
    while (giveFrames()) {
      const Unlocked unlocked;
      rows.push_back(takeRow(*parallel, checkSignals, unlocked));
    }
    if (rows.empty())
      throw Refusal("there is no frame to measure: the iterable is empty, or it is an iterator "
                    "that was used before");
    return std::move(rows);
  }

private:
  /// Gives as many frames as there is room for; false when none is left on its way.
  bool giveFrames() {
    while (!ended && (!parallel || parallel->hasRoom())) {
      const auto object = py::reinterpret_steal<py::object>(
          orWaitForTheEnd([&] { return PyIter_Next(iterator.ptr()); }));
      if (!object && PyErr_Occurred() != nullptr)
        throw py::error_already_set();
      ended = !object;
      if (object)
        give(object);
    }
    return parallel && !parallel->isEmpty();
  }

  void give(const py::object &object) {
    const std::string name = "frame " + std::to_string(given);
    const py::array array = arrayOfObject(object, name);
    const StridedPlane plane = planeOf(array, name);
    if (!meter) {
      meter.emplace(plane.width, plane.height, rate, mask);
      parallel.emplace(*meter, threads);
    }
    if (plane.width != meter->width() || plane.height != meter->height())
      throw Refusal(name + " has shape (" + std::to_string(plane.height) + ", " +
                    std::to_string(plane.width) + "), expected (" +
                    std::to_string(meter->height()) + ", " + std::to_string(meter->width()) +
                    ") as the frames before: measure pictures of another size apart, or bring all "
                    "to one size");
    std::uint8_t *copy = parallel->buffer();
    plane.copyTo(copy);
    parallel->give({copy, plane.width, plane.height});
    ++given;
  }

  py::iterator iterator;
  double rate;
  std::uint32_t mask;
  int threads;
  std::optional<Meter> meter;
  std::optional<ParallelMeter> parallel;
  std::vector<Row> rows;
  std::size_t given = 0;
  bool ended = false;
};

py::array measureIterator(const py::iterator &frames, double rate, std::uint32_t mask,
                          int threads) {
  return arrayOf(IteratorMeasure(frames, rate, mask, threads).run(), rowType());
}

} // namespace

} // namespace lumagauge::python

PYBIND11_MODULE(_core, module) {
  using namespace lumagauge::python;
  translateErrors();
  module.attr("ALL_INDICATORS") = lumagauge::ALL_INDICATORS;
  module.attr("DEFAULT_RATE") = lumagauge::DEFAULT_RATE;
  module.attr("FLICKERING_PERIOD") = lumagauge::FLICKERING_PERIOD;
  module.def("version", [] { return lumagauge_version(); });
  module.def("indicators", indicators);
  module.def("blockiness_mos", lumagauge::blockinessMos, py::arg("blockiness"));
  module.def("blur_mos", lumagauge::blurMos, py::arg("blur"));
  py::class_<ArrayMeter>(module, "Meter")
      .def(py::init<std::int64_t, std::int64_t, double, std::uint32_t>(), py::arg("width"),
           py::arg("height"), py::arg("rate"), py::arg("mask"))
      .def("add", &ArrayMeter::add, py::arg("frame"))
      .def_property_readonly("width", &ArrayMeter::width)
      .def_property_readonly("height", &ArrayMeter::height);
  module.def("measure_array", measureArray, py::arg("frames"), py::arg("rate"), py::arg("mask"),
             py::arg("threads"));
  module.def("measure_iterator", measureIterator, py::arg("frames"), py::arg("rate"),
             py::arg("mask"), py::arg("threads"));
}
