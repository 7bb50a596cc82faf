# SPDX-License-Identifier: BSD-2-Clause
import copy
import math
import pickle
import re
import sys
import threading
import time
import weakref

import lumagauge
import numpy
import pytest

NAMES = [indicator.name for indicator in lumagauge.INDICATORS]


def add_all(frames, **options):
    meter = lumagauge.Meter(width=frames.shape[2], height=frames.shape[1], **options)
    return [meter.add(frame) for frame in frames]


def agree(values, records):
    """Each value of the array is that of the record to the last bit, and valid says which are."""
    assert len(values) == len(records)
    for row, record in zip(values, records):
        for one in lumagauge.INDICATORS:
            value = record[one.name]
            assert bool(row["valid"] & one.bit) == (value is not None)
            assert numpy.float64(math.nan if value is None else value).tobytes() == \
                row[one.name].tobytes() or (math.isnan(value) and math.isnan(row[one.name]))


def test_records_are_those_of_the_command(video, raw_file, run, tmp_path):
    assert run("LUMAGAUGE", tmp_path, raw_file, 352, 288, 0x7fff, 25).returncode == 0
    lines = (tmp_path / "metricsResultsCSV.csv").read_text().splitlines()[1:]
    records = add_all(video)
    assert len(lines) == len(records)
    seen = set()
    for line, record in zip(lines, records):
        for (name, value), text in zip(record.items(), line.split()[1:]):
            if value is not None:
                seen.add(name)
                decimals = len(text.partition(".")[2])
                shown = value if decimals or not math.isfinite(value) else int(value)
                assert f"{shown:.{decimals}f}" == text.replace("-nan", "nan"), name
    assert seen == set(NAMES[:15]), "what the command shows"


VIEWS = {
    "contiguous": lambda video: video,
    "rows apart": lambda video: numpy.repeat(video, 2, axis=1)[:, ::2],
    "rows upwards": lambda video: video[:, ::-1].copy()[:, ::-1],
    "every second frame": lambda video: video[::2],
    "a window": lambda video: video[:, 3:273, 5:269],
    "columns apart": lambda video: numpy.repeat(video, 2, axis=2)[:, :, ::2],
    "columns backwards": lambda video: video[:, :, ::-1],
    "columns first": lambda video: numpy.asfortranarray(video),
    "one column": lambda video: video[:, :, 7:8],
    "one row": lambda video: video[:, 7:8],
    "a repeated row": lambda video: numpy.broadcast_to(video[:, 7:8], video.shape)}


@pytest.mark.parametrize("threads", [1, 2, 5])
@pytest.mark.parametrize("view", VIEWS)
def test_all_ways_give_the_same_values(video, view, threads):
    frames = VIEWS[view](video)
    records = add_all(frames.copy(order="C"), rate=50)
    assert all(one == pytest.approx(other, nan_ok=True, abs=0, rel=0)
               for one, other in zip(map(dict, add_all(frames, rate=50)), map(dict, records)))
    agree(lumagauge.measure(frames, rate=50, threads=threads), records)
    agree(lumagauge.measure((frame for frame in frames), rate=50, threads=threads), records)


def test_one_array_may_be_filled_over_and_over(video):
    buffer = numpy.empty_like(video[0])

    def frames():
        for frame in video:
            buffer[:] = frame
            yield buffer
    agree(lumagauge.measure(frames(), threads=3), add_all(video))


def test_a_nan_that_was_measured_is_no_missing_value():
    sample = numpy.full((2, 1, 1), 9, numpy.uint8)  # no row to compare: letterbox is 0 / 0
    record = add_all(sample)[1]
    values = lumagauge.measure(sample)
    assert math.isnan(record.letterbox) and values["valid"][1] & lumagauge.INDICATORS.letterbox.bit
    assert record.slice is None and not values["valid"][1] & lumagauge.INDICATORS.slice.bit


@pytest.mark.parametrize("chosen, names", [
    ("blur", {"blur"}), (0x20, {"blur"}), (lumagauge.INDICATORS.blur, {"blur"}),
    (["blur", "freezing"], {"blur", "freezing"}), (0x120, {"blur", "freezing"}),
    (numpy.array(["blur", "freezing"]), {"blur", "freezing"}),
    ((lumagauge.INDICATORS.blur, "freezing"), {"blur", "freezing"})])
def test_only_what_is_asked_for_is_measured(video, chosen, names):
    records = add_all(video[:3], indicators=chosen)
    assert {name for name, value in records[2].items() if value is not None} == names
    assert all(name in repr(lumagauge.Meter(64, 48, indicators=chosen)) for name in names)
    agree(lumagauge.measure(video[:3], indicators=chosen), records)


def test_record(video):
    record = add_all(video[:2])[1]
    assert record.blur == record["blur"] == record._asdict()["blur"] == dict(record)["blur"]
    assert list(record) == NAMES and f"blur={record.blur!r}" in repr(record)
    assert record.flickering is None and "flickering=None" in repr(record)
    assert repr(pickle.loads(pickle.dumps(record))) == repr(record)
    with pytest.raises(KeyError, match="'blurr'.*blur, "):
        record["blurr"]
    assert "lower is worse" in type(record).blockiness.__doc__


FRAME = numpy.zeros((48, 64), numpy.uint8)


@pytest.mark.parametrize("frame, message", [
    (FRAME.astype(float), "float64, expected uint8"),
    (FRAME.astype(numpy.int8), "int8, expected uint8"),
    (FRAME.astype(bool), "bool, expected uint8"),
    (FRAME.astype(numpy.uint16), "uint16, expected uint8"),
    (numpy.zeros((48, 64, 3), numpy.uint8), r"\(48, 64, 3\).*luma channel alone"),
    (FRAME[0], r"\(64,\), expected \(height, width\)"),
    (FRAME[:0], r"empty.*\(0, 64\)"),
    (FRAME.T, r"\(64, 48\), expected \(48, 64\)"),
    (None, "no array")])
def test_refused_frames(frame, message):
    meter = lumagauge.Meter(64, 48)
    with pytest.raises(lumagauge.Error, match=message):
        meter.add(frame)
    assert meter.add(FRAME).temporal_activity is None  # still the first frame
    with pytest.raises(lumagauge.Error, match="frame 2 .*" + message):
        lumagauge.measure([FRAME, FRAME, frame])


@pytest.mark.parametrize("call, message", [
    (lambda: lumagauge.measure([]), "no frame"),
    (lambda: lumagauge.measure(FRAME[None][:0]), r"\(0, 48, 64\)"),
    (lambda: lumagauge.measure(FRAME), r"frame\[numpy.newaxis\]"),
    (lambda: lumagauge.measure(numpy.zeros((2, 48, 64, 3), numpy.uint8)), "luma channel"),
    (lambda: lumagauge.measure(numpy.zeros((48, 64, 3), numpy.uint8)),
     r"\(48, 64, 3\).*frame\[..., 0\]\[numpy.newaxis\]"),
    (lambda: lumagauge.measure(FRAME[None] / 2), "float64, expected uint8"),
    (lambda: lumagauge.measure(FRAME[None], rate=0), "frames a second"),
    (lambda: lumagauge.Meter(64, 48, rate=math.nan), "frames a second"),
    (lambda: lumagauge.Meter(-64, 48), "-64 x 48"),
    (lambda: lumagauge.Meter(1 << 16, 1 << 16), "65536 x 65536"),
    (lambda: lumagauge.Meter(1 << 40, 1), "1099511627776 x 1"),
    (lambda: lumagauge.measure([FRAME], indicators=["blurr"]), "'blurr'.*blur, "),
    (lambda: lumagauge.measure([FRAME], indicators=[]), "names none"),
    (lambda: lumagauge.Meter(64, 48, indicators=1 << 32), "0x100000000, expected"),
    (lambda: lumagauge.measure([FRAME], threads=0), "threads is 0, expected 1 to"),
    (lambda: lumagauge.measure(FRAME[None], rate="25"), "TypeError: rate is '25', expected"),
    (lambda: lumagauge.Meter(64.0, 48), "TypeError: width is 64.0, expected a whole"),
    (lambda: lumagauge.measure([FRAME], indicators=5.5), "TypeError: .* is 5.5, expected names"),
    (lambda: lumagauge.measure("movie.mp4"), "TypeError: .*'movie.mp4'.*lumagauge.check"),
    (lambda: copy.copy(lumagauge.Meter(64, 48)), "TypeError: .*cannot be copied")])
def test_refused_calls(call, message):
    with pytest.raises((ValueError, TypeError)) as caught:
        call()
    assert re.match(message if "TypeError" in message else "Error: .*" + message,
                    f"{caught.type.__name__}: {caught.value}")


def test_an_iterable_is_consumed_with_bounded_memory(video):
    references, most = [], 0

    def frames():
        nonlocal most
        for i in range(200):
            frame = video[i % 40].copy()
            references.append(weakref.ref(frame))
            most = max(most, sum(one() is not None for one in references))
            yield frame
            del frame
    assert len(lumagauge.measure(frames(), threads=2)) == 200
    assert most <= 8


def test_an_error_of_the_iterable_comes_through(video):
    def frames():
        yield from video[:5]
        raise KeyError("broken")
    with pytest.raises(KeyError, match="broken"):
        lumagauge.measure(frames())


@pytest.mark.parametrize("measure", [
    lambda frames: lumagauge.measure(frames, threads=1),
    add_all])
def test_other_threads_go_on_meanwhile(measure):
    frame = numpy.random.default_rng(1).integers(0, 256, (3000, 4000), numpy.uint8)
    frames = numpy.broadcast_to(frame, (8, *frame.shape))
    # The interpreter does not hand its lock over by itself: it has to be released.
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000)
    ticks, ended = [], threading.Event()

    def tick():
        while not ended.wait(0.001):
            ticks.append(time.monotonic())
    thread = threading.Thread(target=tick)
    thread.start()
    try:
        before = len(ticks)
        measure(frames)
        assert len(ticks) - before > 10
    finally:
        ended.set()
        sys.setswitchinterval(interval)
        thread.join()


def test_opinion_scores():
    assert lumagauge.blockiness_mos(1.0) == pytest.approx(3.74, abs=0.005)
    assert lumagauge.blur_mos(3.0) == pytest.approx(3.88, abs=0.005)
