// SPDX-License-Identifier: BSD-2-Clause
//
// lumagauge._qc: videos as lumagauge-qc reads, measures and judges them. What users see of it is in
// lumagauge/_check.py, whose classes take the members of the dictionaries made here.
#include "python/errors.h"
#include "python/feed.h"
#include "python/interpreter_lock.h"
#include "python/rows.h"
#include "python/signals.h"

#include "qc/judge/judge.h"

#include <pybind11/stl.h>

namespace py = pybind11;

namespace lumagauge::python {

namespace {

using namespace py::literals;

/// Sets `target` where the option is given.
template <class Option, class Target>
void take(const py::dict &options, const char *name, Target &target) {
  if (options.contains(name))
    target = options[name].cast<Option>();
}

qc::SourceOptions sourceOptions(const py::dict &options) {
  qc::SourceOptions source;
  source.seek = false; // a wrong entry would have to begin anew, with frames given out already
  if (options.contains("width")) {
    qc::RawLayout &raw = source.raw.emplace();
    take<std::uint32_t>(options, "width", raw.width);
    take<std::uint32_t>(options, "height", raw.height);
    take<std::string>(options, "pix_fmt", raw.pixelFormat);
    take<std::int64_t>(options, "frame_bytes", raw.frameBytes);
  }
  take<int>(options, "stream", source.stream);
  take<double>(options, "fps", source.fps);
  if (options.contains("start"))
    source.start = qc::Seconds{options["start"].cast<double>()};
  if (options.contains("start_frame"))
    source.start = qc::Frames{options["start_frame"].cast<std::int64_t>()};
  if (options.contains("duration"))
    source.duration = qc::Seconds{options["duration"].cast<double>()};
  if (options.contains("frames"))
    source.duration = qc::Frames{options["frames"].cast<std::int64_t>()};
  take<bool>(options, "stream_times", source.streamTimes);
  take<int>(options, "decode_threads", source.decodeThreads);
  take<std::int64_t>(options, "max_pixels", source.maxPixels);
  take<std::vector<std::string>>(options, "protocols", source.protocols);
  take<bool>(options, "nested", source.nested);
  return source;
}

/// File names are bytes, which Python takes from text as os.fsencode does; none of them is zero.
std::string pathBytes(const py::object &path) {
  PyObject *bytes = nullptr;
  if (PyUnicode_FSConverter(path.ptr(), &bytes) == 0)
    throw py::error_already_set();
  return py::reinterpret_steal<py::bytes>(bytes);
}

py::str pathText(const std::string &path) {
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<py::ssize_t>(path.size())));
}

py::object textOrNone(const std::string &text) {
  return text.empty() ? py::object(py::none()) : textOf(text);
}

py::dict infoDict(const qc::InputInfo &info) {
  py::list warnings;
  for (const std::string &warning : info.warnings)
    warnings.append(textOf(warning));
  return py::dict("path"_a = pathText(info.path), "format"_a = textOf(info.format),
                  "codec"_a = textOf(info.codec), "stream"_a = info.stream, "width"_a = info.width,
                  "height"_a = info.height, "pixel_format"_a = textOf(info.pixelFormat),
                  "bit_depth"_a = info.bitDepth, "luma"_a = textOf(info.lumaRule),
                  "range"_a = textOf(info.range), "average_rate"_a = info.averageRate,
                  "rate"_a = info.rate, "rate_origin"_a = textOf(info.rateOrigin),
                  "start_time"_a = info.startTime, "duration"_a = info.duration,
                  "frame_count"_a = info.frameCount, "warnings"_a = warnings);
}

py::list errorList(const qc::InputEnd &end) {
  py::list list;
  for (const qc::DecodeError &error : end.errors)
    list.append(py::dict("frame"_a = error.frame, "time"_a = error.time,
                         "message"_a = textOf(error.message), "kind"_a = qc::kindName(error.kind),
                         "missing"_a = error.missing, "end"_a = error.endTime));
  return list;
}

py::list summaryList(const qc::Judgement &judgement) {
  py::list list;
  for (const qc::IndicatorSummary &s : judgement.summaries) {
    if (s.count + s.nan == 0)
      list.append(py::none());
    else if (s.count == 0)
      list.append(py::dict("count"_a = s.count, "nan"_a = s.nan));
    else
      list.append(py::dict("count"_a = s.count, "nan"_a = s.nan, "mean"_a = s.mean, "min"_a = s.min,
                           "p5"_a = s.p5, "median"_a = s.median, "p95"_a = s.p95, "max"_a = s.max,
                           "worst_frame"_a = s.worstFrame, "worst_time"_a = s.worstTime));
  }
  return list;
}

py::list eventList(const qc::Judgement &judgement) {
  py::list list;
  for (const qc::Event &event : judgement.events)
    list.append(py::dict("kind"_a = event.kind, "severity"_a = qc::severityName(event.severity),
                         "start"_a = event.startTime, "end"_a = event.endTime,
                         "start_frame"_a = event.startFrame, "end_frame"_a = event.endFrame,
                         "frames"_a = event.frames, "worst"_a = event.worst,
                         "worst_frame"_a = event.worstFrame, "text"_a = textOrNone(event.text)));
  return list;
}

py::list brokenList(const qc::Judgement &judgement) {
  py::list list;
  for (const qc::BrokenRule &rule : judgement.broken)
    list.append(py::dict("kind"_a = rule.kind, "severity"_a = qc::severityName(rule.severity),
                         "reason"_a = textOf(rule.reason)));
  return list;
}

py::list notJudgedList(const qc::Judgement &judgement) {
  py::list list;
  for (const qc::NotJudged &rule : judgement.notJudged)
    list.append(py::dict("kind"_a = rule.kind, "reason"_a = textOf(rule.reason)));
  return list;
}

py::dtype frameRowType() {
  RowType type;
  type.add("frame", "i8", offsetof(FrameRow, frame));
  type.add("time", "f8", offsetof(FrameRow, time));
  type.add("picture_type", "U1", offsetof(FrameRow, row) + offsetof(Row, pictureType));
  type.addValues(offsetof(FrameRow, row));
  return type.dtype(sizeof(FrameRow));
}

FrameRow frameRowOf(const qc::FrameRecord &record) {
  FrameRow row{record.frame, record.time, rowOf(record.values)};
  if (record.pictureType != '?')
    row.row.pictureType = static_cast<unsigned char>(record.pictureType);
  return row;
}

/// A feed that looks for signals while it waits.
class WatchedFeed {
public:
  WatchedFeed(Order order, const Unlocked &unlocked) : feed(std::move(order)) {
    while (!feed.waitOpen(SIGNAL_INTERVAL))
      checkSignals(unlocked);
    info = feed.info();
  }
  std::optional<qc::FrameRecord> next(const Unlocked &unlocked) {
    do
      checkSignals(unlocked);
    while (!feed.waitFrame(SIGNAL_INTERVAL));
    return feed.next();
  }

  Feed feed;
  qc::InputInfo info;

private:
  SignalCheck checkSignals;
};

/// The frames of a video for an iterator.
class Reader {
public:
  Reader(const py::object &path, const py::dict &options, std::uint32_t mask, int threads) {
    Order order{pathBytes(path), sourceOptions(options), mask, threads};
    const Unlocked unlocked;
    watched = std::make_unique<WatchedFeed>(std::move(order), unlocked);
  }
  ~Reader() { close(); }

  py::object next() {
    std::optional<qc::FrameRecord> record;
    {
      const Unlocked unlocked;
      record = watched->next(unlocked);
    }
    if (!record)
      return py::none();
    const std::string type = record->pictureType == '?' ? "" : std::string(1, record->pictureType);
    return py::make_tuple(record->frame, record->time, textOrNone(type)) + tupleOf(record->values);
  }
  void close() {
    const Unlocked unlocked;
    watched->feed.stop();
  }
  py::dict info() const { return infoDict(watched->info); }
  py::dict end() const {
    const qc::InputEnd end = watched->feed.end();
    return py::dict("errors"_a = errorList(end),
                    "reason"_a = end.doubtful ? py::object(textOf(end.reason)) : py::none());
  }

private:
  std::unique_ptr<WatchedFeed> watched;
};

/// What check() finds, off the interpreter.
struct Finding {
  qc::InputInfo info;
  qc::InputEnd end;
  qc::Judgement judgement;
  std::vector<FrameRow> rows;
};

Finding judge(Order order, const std::string &profileName, const Unlocked &unlocked) {
  const std::uint32_t indicators = order.indicators;
  const qc::Profile profile = qc::loadProfile(profileName);
  WatchedFeed watched(std::move(order), unlocked);
  qc::Judge judge(profile, watched.info, indicators);
  Finding finding{watched.info, {}, {}, {}};
  while (const std::optional<qc::FrameRecord> record = watched.next(unlocked)) {
    judge.add(*record);
    finding.rows.push_back(frameRowOf(*record));
  }
  finding.end = watched.feed.end();
  finding.info.warnings.insert(finding.info.warnings.end(), finding.end.warnings.begin(),
                               finding.end.warnings.end());
  finding.judgement = judge.finish(finding.end);
  return finding;
}

py::dict check(const py::object &path, const py::dict &options, std::uint32_t mask, int threads,
               const py::object &profile) {
  Order order{pathBytes(path), sourceOptions(options), mask, threads};
  const std::string profileName = pathBytes(profile);
  Finding finding = [&] {
    const Unlocked unlocked;
    return judge(std::move(order), profileName, unlocked);
  }();
  const qc::Judgement &judgement = finding.judgement;
  return py::dict(
      "input"_a = infoDict(finding.info), "events"_a = eventList(judgement),
      "broken_rules"_a = brokenList(judgement), "decode_errors"_a = errorList(finding.end),
      "summaries"_a = summaryList(judgement), "not_judged"_a = notJudgedList(judgement),
      "rule_count"_a = judgement.rules, "verdict"_a = qc::verdictName(judgement.verdict),
      "reason"_a = textOrNone(judgement.reason),
      "exit_status"_a = qc::exitStatus(judgement.verdict), "frame_count"_a = judgement.frames,
      "duration"_a = judgement.duration,
      "_rows"_a = arrayOf(std::move(finding.rows), frameRowType()));
}

} // namespace

} // namespace lumagauge::python

PYBIND11_MODULE(_qc, module) {
  using namespace lumagauge::python;
  translateErrors();
  py::register_local_exception_translator([](std::exception_ptr thrown) {
    try {
      std::rethrow_exception(thrown);
    } catch (const lumagauge::qc::InputError &error) {
      raise("InputError", error.what());
    } catch (const lumagauge::qc::ProfileError &error) {
      raise("ProfileError", error.what());
    }
  });
  py::class_<Reader>(module, "Reader")
      .def(py::init<const py::object &, const py::dict &, std::uint32_t, int>(), py::arg("path"),
           py::arg("options"), py::arg("mask"), py::arg("threads"))
      .def("next", &Reader::next)
      .def("close", &Reader::close)
      .def("info", &Reader::info)
      .def("end", &Reader::end);
  module.def("check", check, py::arg("path"), py::arg("options"), py::arg("mask"),
             py::arg("threads"), py::arg("profile"));
}
