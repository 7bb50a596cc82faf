# SPDX-License-Identifier: BSD-2-Clause
import csv
import dataclasses
import json
import os
import shutil
import subprocess
import sys
import time

import lumagauge
import numpy
import pytest

if "LUMAGAUGE_QC" not in os.environ:
    pytest.skip("built without lumagauge-qc", allow_module_level=True)
NAMES = lumagauge.INDICATORS._fields


@pytest.fixture(scope="module")
def clip(tmp_path_factory):
    """An MPEG-2 video of four seconds that moves, stands still and goes black."""
    if shutil.which("ffmpeg") is None:
        pytest.skip("ffmpeg is not there to make a clip")
    path = tmp_path_factory.mktemp("clip") / "clip é.mkv"
    subprocess.run(
        ["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
         "testsrc2=s=320x272:d=2,tpad=stop_mode=clone:stop_duration=1", "-f", "lavfi", "-i",
         "color=black:s=320x272:d=1", "-filter_complex", "[0][1]concat", "-c:v", "mpeg2video",
         "-q:v", "20", path], check=True)
    return path


# Options of the functions, and the same of the command.
OPTIONS = {
    "none": ({}, []),
    "profile": ({"profile": "broadcast"}, ["--profile", "broadcast"]),
    "part in seconds": ({"start": 0.5, "duration": 1.25}, ["--start", "0.5", "--duration", "1.25"]),
    "part in frames": ({"start_frame": 7, "frames": 20}, ["--start", "7f", "--frames", "20"]),
    "indicators": ({"indicators": ["blur", "freezing"]}, ["--indicators", "blur,freezing"]),
    "rate": ({"fps": 50, "stream": 0, "stream_times": True},
             ["--fps", "50", "--stream", "0", "--stream-times"]),
    "threads": ({"threads": 3, "decode_threads": 1}, ["--threads", "3", "--decode-threads", "1"]),
    "raw": ({"raw": True, "size": (352, 288), "fps": 30},
            ["--raw", "--size", "352x288", "--fps", "30"]),
    "raw gray": ({"raw": True, "size": (352, 288), "pix_fmt": "gray", "frame_bytes": 352 * 432},
                 ["--raw", "--size", "352x288", "--pix-fmt", "gray", "--frame-bytes", "152064"])}
NO_NUMBERS = {"NaN": float("nan"), "Infinity": float("inf"), "-Infinity": -float("inf")}


def plain(value):
    """JSON's way to write a number that it has no word for; NaN as a text, which equals itself."""
    if isinstance(value, dict):
        return {key: plain(one) for key, one in value.items()}
    if isinstance(value, list):
        return [plain(one) for one in value]
    return str(NO_NUMBERS.get(value, value) if isinstance(value, str) else value)


@pytest.mark.parametrize("name", OPTIONS)
def test_results_are_those_of_the_command(name, clip, raw_file, run, tmp_path):
    options, arguments = OPTIONS[name]
    path = raw_file if name.startswith("raw") else clip
    done = run("LUMAGAUGE_QC", tmp_path, "-o", ".", *arguments, path)
    document = json.loads((tmp_path / f"{path.name}.json").read_text())
    result = lumagauge.check(path, **options)

    assert result.exit_status == done.returncode == document["exit_status"]
    assert result.verdict == document["verdict"] and result.reason == document["reason"]
    del document["input"]["absolute_path"], document["input"]["file"]
    assert plain(dataclasses.asdict(result.input)) == plain(document["input"])
    for mine, theirs in [(result.events, "events"), (result.broken_rules, "broken_rules"),
                         (result.decode_errors, "decode_errors"),
                         (result.not_judged, "not_judged")]:
        assert [plain(dataclasses.asdict(one)) for one in mine] == plain(document[theirs])
    assert list(result.summary) == list(document["summary"])
    for indicator, summary in document["summary"].items():
        mine = result.summary[indicator]
        assert (mine is None) == (summary is None)
        assert mine is None or plain(dataclasses.asdict(mine)) == plain(summary)
    assert result.rule_count == len(document["profile"]["rules"])
    assert {"frames": result.frame_count, "duration": result.duration} == document["measured"]
    assert name != "none" or {"black", "frozen"} <= {event.kind for event in result.events}

    with open(tmp_path / f"{path.name}.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    options.pop("profile", None)
    reader = lumagauge.frames(path, **options)
    records = list(reader)
    assert reader.input == result.input and reader.reason is None
    assert len(rows) == len(records) == len(result._rows) > 0
    for row, record, values in zip(rows, records, result._rows):
        assert int(row["frame"]) == record.frame == values["frame"]
        assert float(row["time"]) == record.time == values["time"]
        assert row["picture_type"] == (record.picture_type or "") == values["picture_type"]
        for one in lumagauge.INDICATORS:
            value = record[one.name]
            assert (row[one.name] == "") == (value is None) == (not values["valid"] & one.bit)
            assert value is None or plain(value) == plain(float(row[one.name])) == plain(
                float(values[one.name]))


def test_frames_of_a_result(clip, monkeypatch):
    result = lumagauge.check(clip, frames=5)
    pandas = pytest.importorskip("pandas")
    frame = result.frames
    assert isinstance(frame, pandas.DataFrame) and list(frame.index) == [0, 1, 2, 3, 4]
    assert list(frame.columns) == ["time", "picture_type", *NAMES, "valid"]
    monkeypatch.setitem(sys.modules, "pandas", None)
    assert isinstance(result.frames, numpy.ndarray) and result.frames["blur"][4] == frame.blur[4]


@pytest.mark.parametrize("options, path, error, message", [
    ({}, "gone.mkv", lumagauge.InputError, "gone.mkv: cannot open it: No such file"),
    ({}, __file__, lumagauge.InputError, "no container or video stream"),
    ({"profile": "gone.toml"}, None, lumagauge.ProfileError, "gone.toml.*default"),
    ({"stream": 5}, None, lumagauge.InputError, "stream 5 is no video"),
    ({"max_pixels": 100}, None, lumagauge.InputError, "--max-pixels"),
    ({"start": -1}, None, lumagauge.Error, "start is -1, expected seconds"),
    ({"start": 1, "start_frame": 1}, None, lumagauge.Error, "one of them"),
    ({"frames": 0}, None, lumagauge.Error, "frames is 0, expected 1"),
    ({"fps": float("nan")}, None, lumagauge.Error, "fps is nan, expected"),
    ({"raw": True}, None, lumagauge.Error, "size="),
    ({"size": (352, 288)}, None, lumagauge.Error, "raw=True"),
    ({"size": numpy.array([8, 8])}, None, lumagauge.Error, "raw=True"),
    ({"raw": True, "size": 8}, None, TypeError, "size is 8, expected"),
    ({"raw": True, "size": (8, 8), "pix_fmt": 5}, None, TypeError, "pix_fmt is 5, expected"),
    ({"allow_protocols": [5]}, None, TypeError, "allow_protocols is 5, expected"),
    ({}, "movie.mp4\0", ValueError, "embedded null byte"),
    ({"raw": True, "size": (8, 8), "pix_fmt": "no"}, None, lumagauge.InputError, "--pix-fmt no")])
def test_refused(options, path, error, message, clip):
    with pytest.raises(error, match=message) as caught:
        lumagauge.check(path or clip, **options)
    assert type(caught.value) is error
    if "profile" not in options:
        with pytest.raises(error, match=message):
            lumagauge.frames(path or clip, **options)


def test_what_cannot_be_decoded_is_said(clip, tmp_path):
    damaged = bytearray(clip.read_bytes())
    for at in range(len(damaged) // 3, len(damaged) // 2, 500):
        damaged[at:at + 30] = bytes(30)
    path = tmp_path / "damaged.mkv"
    path.write_bytes(damaged)
    result = lumagauge.check(path, decode_threads=1)
    reader = lumagauge.frames(path, decode_threads=1)
    assert result.frame_count == len(list(reader)) > 0
    assert result.decode_errors and reader.decode_errors == result.decode_errors


def test_frames_read_ahead_by_a_bounded_number(tmp_path):
    path = tmp_path / "long.gray"
    frame_bytes = 352 * 288
    with open(path, "wb") as file:
        file.truncate(100_000 * frame_bytes)

    def descriptors():
        return [one for one in os.listdir("/proc/self/fd")
                if os.path.realpath(f"/proc/self/fd/{one}") == str(path)]
    with lumagauge.frames(path, raw=True, size=(352, 288), pix_fmt="gray", threads=2) as reader:
        for _ in range(100):
            next(reader)
        time.sleep(0.5)
        with open(f"/proc/self/fdinfo/{descriptors()[0]}") as file:
            position = int(file.readline().split()[1])
    assert 100 * frame_bytes < position < 200 * frame_bytes
    assert not descriptors()
    assert next(reader, None) is None


def test_arrays_are_measured_without_libav():
    program = """if True:
        import sys
        sys.modules["lumagauge._qc"] = None
        import lumagauge, numpy, pytest
        lumagauge.measure(numpy.zeros((2, 48, 64), numpy.uint8))
        for call in lumagauge.check, lumagauge.frames:
            with pytest.raises(ImportError, match="libavformat-dev"):
                call("movie.mp4")"""
    subprocess.run([sys.executable, "-c", program], check=True)
