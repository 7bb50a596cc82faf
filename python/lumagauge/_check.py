# SPDX-License-Identifier: BSD-2-Clause
"""Videos in files, as the command lumagauge-qc measures and judges them."""

from __future__ import annotations

import math
import os
import reprlib
from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Literal, Union

from ._errors import Error
from ._indicators import FrameRecord, Indicators
from ._measure import (FRAMES_A_SECOND, IndicatorChoice, mask_of, real_number, thread_count,
                       whole_number, wrong_type)

if TYPE_CHECKING:
    import numpy.typing

__all__ = ["BrokenRule", "CheckResult", "DecodeError", "Event", "Frames", "InputFacts", "NotJudged",
           "Summary", "check", "frames"]

Path = Union[str, "os.PathLike[str]"]
Severity = Literal["info", "warn", "fail"]

MOST_SECONDS = 1e9
LEAST_RATE, MOST_RATE = 1e-3, 1e6
MOST_COUNT = 2**40
MOST_STREAM = 2**31 - 1
MOST_DECODE_THREADS = 64


@dataclass(frozen=True)
class InputFacts:
    """What is known of a video when it is open.

        format        Container; ``"rawvideo"`` for raw frames, as the codec.
        stream        Index in the container.
        width         Luma samples a row.
        height        Rows.
        luma          How 8-bit luma came about: ``"as stored"``, ``"rounded from 10 bits..."``, ...
        range         ``"full"``, ``"limited"`` or ``"unknown"``; never changed.
        average_rate  Frames a second, as the container says.
        rate          Frames a second that freezing uses.
        rate_origin   Where ``rate`` is from: ``"stated"``, ``"average"`` or ``"default"``.
        start_time    Seconds at which the stream has its first picture; None where it has no
                      time stamps. Times count from that picture on unless stream_times is asked for.
        duration      Seconds, where known.
        frame_count   Frames to be expected, where known."""

    path: str
    format: str
    codec: str
    stream: int
    width: int
    height: int
    pixel_format: str
    bit_depth: int
    luma: str
    range: str
    average_rate: float | None
    rate: float
    rate_origin: str
    start_time: float | None
    duration: float | None
    frame_count: int | None
    warnings: list[str]


@dataclass(frozen=True)
class DecodeError:
    """A place at which frames could not be decoded.

        frame    Number of the next frame that could be.
        time     Seconds.
        kind     ``"undecodable"`` where the decoder or the container reports an error, else
                 ``"missing"``.
        missing  How many frames did not come because of it, as far as that is known.
        end      Seconds at which the next frame appears; None where that is not known."""

    frame: int
    time: float
    message: str
    kind: str = "undecodable"
    missing: int = 0
    end: float | None = None


@dataclass(frozen=True)
class Summary:
    """One indicator over all frames that have a value for it. The statistics are None where all
    values are NaN, otherwise in the indicator's unit; percentiles interpolate between neighbours as
    numpy does.

        count        Frames whose value is a number, infinities included.
        nan          Frames whose value is a NaN.
        worst_frame  The frame at which a viewer would object most, by the indicator's direction.
        worst_time   Its time in seconds."""

    count: int
    nan: int
    mean: float | None = None
    min: float | None = None
    p5: float | None = None
    median: float | None = None
    p95: float | None = None
    max: float | None = None
    worst_frame: int | None = None
    worst_time: float | None = None


@dataclass(frozen=True)
class Event:
    """A stretch of frames on which a rule of the profile holds.

        severity   The rule's where the rule is broken, ``"info"`` where the event keeps within its
                   limits.
        start      Seconds at which the first frame appears.
        end        Seconds at which the last frame disappears.
        end_frame  The last frame, included.
        frames     On how many frames the rule held; for ``"undecodable"`` how many errors, for
                   ``"missing"`` how many frames are missing.
        worst      Worst value of the rule's first indicator, in its unit; None for
                   ``"undecodable"`` and ``"missing"``.
        worst_frame  The first frame that has it; None likewise.
        text       Of black bars, how wide they are and which shape they leave; else None."""

    kind: str
    severity: Severity
    start: float
    end: float
    start_frame: int
    end_frame: int
    frames: int
    worst: float | None
    worst_frame: int | None
    text: str | None = None


@dataclass(frozen=True)
class BrokenRule:
    """A limit of the profile that the video does not keep.

        reason  What was found and what is allowed."""

    kind: str
    severity: Severity
    reason: str


@dataclass(frozen=True)
class NotJudged:
    """A rule that had no value at all to look at.

        reason  Why: "not requested", "pictures of 176x144 are too small for block loss", ..."""

    kind: str
    reason: str


@dataclass(frozen=True, repr=False)
class CheckResult:
    """What lumagauge-qc says about a video.

        reason       Why it is unmeasured or the result doubtful.
        exit_status  The command's: 0, 1 where a rule of severity "fail" is broken, 2 where it is
                     unmeasured.
        events       By start time.
        summary      By the indicator's name; None where no frame has a value.
        not_judged   Rules that had no value at all to look at: the verdict is that of the others.
        rule_count   Rules of the profile, these among them.
        frame_count  Frames that were measured.
        duration     Seconds that these are displayed for."""

    verdict: Literal["pass", "warn", "fail", "unmeasured"]
    reason: str | None
    exit_status: int
    input: InputFacts
    events: list[Event]
    broken_rules: list[BrokenRule]
    summary: dict[str, Summary | None]
    decode_errors: list[DecodeError]
    not_judged: list[NotJudged]
    rule_count: int
    frame_count: int
    duration: float
    _rows: numpy.typing.NDArray[Any] = field(compare=False)

    @property
    def frames(self) -> Any:
        """The values of all frames: a new pandas.DataFrame, indexed by the frame's number, where
        pandas can be imported, otherwise a structured array with a field ``frame``. ``time`` is in
        seconds, ``picture_type`` empty where the decoder does not say; then the indicators and
        ``valid``, as lumagauge.measure has them."""
        try:
            import pandas  # type: ignore[import]
        except ImportError:
            return self._rows.copy()
        return pandas.DataFrame(self._rows).set_index("frame")

    def __repr__(self) -> str:
        events = f"{len(self.events)} event{'' if len(self.events) == 1 else 's'}"
        broken = "".join(f", {rule.severity} {rule.kind}" for rule in self.broken_rules)
        judged = self.rule_count - len(self.not_judged)
        if judged < self.rule_count:
            broken += f" ({judged} of {self.rule_count} rules judged)"
        return (f"<CheckResult of {self.input.path!r}: {self.verdict}{broken}; {events} in "
                f"{self.frame_count} frames>")


def _load_qc() -> Any:
    """Late, so that arrays can be measured without loading libav."""
    try:
        from . import _qc
    except ImportError as error:
        raise ImportError(
            "lumagauge.check and lumagauge.frames read videos with libav, and this installation "
            f"was built without that or cannot load it ({error}). Install libavformat-dev, "
            "libavcodec-dev, libavutil-dev, libswscale-dev, libtomlplusplus-dev, libfmt-dev, "
            "libsqlite3-dev, zlib1g-dev, libcli11-dev and nlohmann-json3-dev and build lumagauge "
            "again. Meter and measure work without it.", name="lumagauge._qc") from error
    return _qc


def _seconds(name: str, value: float) -> float:
    seconds = real_number(name, value, "a number of seconds")
    if not 0 <= seconds <= MOST_SECONDS:
        raise Error(f"{name} is {value}, expected seconds from 0 to {MOST_SECONDS:.0f}")
    return seconds


def _text(name: str, value: Any, expected: str) -> str:
    if not isinstance(value, str):
        raise wrong_type(name, value, expected)
    if "\0" in value:
        raise Error(f"{name} is {reprlib.repr(value)}, expected {expected}: embedded null byte")
    value.encode()  # raises where it cannot be
    return value


def _protocols(given: Any) -> list[str]:
    expected = "schemes of URLs, such as [\"http\", \"tcp\"]"
    if isinstance(given, str):
        given = [given]
    try:
        schemes = list(given)
    except TypeError:
        raise wrong_type("allow_protocols", given, expected) from None
    return [_text("allow_protocols", scheme, expected) for scheme in schemes]


def _raw_options(raw: bool, size: tuple[int, int] | None, pix_fmt: str | None,
                 frame_bytes: int | None) -> dict[str, Any]:
    if not raw:
        if not (size is None and pix_fmt is None and frame_bytes is None):
            raise Error("size, pix_fmt and frame_bytes are for raw frames: give raw=True too")
        return {}
    if size is None:
        raise Error("raw frames have no header: give size=(width, height) too")
    expected = "(width, height) in samples"
    try:
        lengths = list(size)
    except TypeError:
        raise wrong_type("size", size, expected) from None
    if len(lengths) != 2:
        raise Error(f"size is {reprlib.repr(size)}, expected {expected}")
    width, height = (whole_number("size", length, 1, 2**31 - 1) for length in lengths)
    options: dict[str, Any] = {"width": width, "height": height, "pix_fmt": "yuv420p"}
    if pix_fmt is not None:
        options["pix_fmt"] = _text("pix_fmt", pix_fmt, "libavutil's name of a pixel format")
    if frame_bytes is not None:
        options["frame_bytes"] = whole_number("frame_bytes", frame_bytes, 1, MOST_COUNT)
    return options


def _options(*, start: Any, start_frame: Any, duration: Any, frames: Any, stream: Any, fps: Any,
             stream_times: Any, raw: Any, size: Any, pix_fmt: Any, frame_bytes: Any,
             decode_threads: Any, max_pixels: Any, allow_protocols: Any,
             allow_nested: Any) -> dict[str, Any]:
    """What _qc takes; those that are not given are left out."""
    options = _raw_options(raw, size, pix_fmt, frame_bytes)
    if start is not None and start_frame is not None:
        raise Error("start (seconds) and start_frame say the same: give one of them")
    if duration is not None and frames is not None:
        raise Error("duration (seconds) and frames say the same: give one of them")
    if start is not None:
        options["start"] = _seconds("start", start)
    if start_frame is not None:
        options["start_frame"] = whole_number("start_frame", start_frame, 0, MOST_COUNT)
    if duration is not None:
        options["duration"] = _seconds("duration", duration)
    if frames is not None:
        options["frames"] = whole_number("frames", frames, 1, MOST_COUNT)
    if stream is not None:
        options["stream"] = whole_number("stream", stream, 0, MOST_STREAM)
    if fps is not None:
        options["fps"] = real_number("fps", fps, FRAMES_A_SECOND)
        if not LEAST_RATE <= options["fps"] <= MOST_RATE or math.isnan(options["fps"]):
            raise Error(f"fps is {fps}, expected {LEAST_RATE} to {MOST_RATE:.0f}")
    options["decode_threads"] = whole_number("decode_threads", decode_threads, 0,
                                             MOST_DECODE_THREADS)
    if max_pixels is not None:
        options["max_pixels"] = whole_number("max_pixels", max_pixels, 1, MOST_COUNT)
    options["protocols"] = _protocols(allow_protocols)
    options["nested"] = bool(allow_nested)
    options["stream_times"] = bool(stream_times)
    return options


class Frames:
    """The records of a video's frames, one after another; frames() makes it. While it is iterated
    over, further frames are decoded and measured ahead, a bounded number of them."""

    def __init__(self, reader: Any) -> None:
        self._reader = reader
        self.input = InputFacts(**reader.info())

    def __iter__(self) -> Frames:
        return self

    def __next__(self) -> FrameRecord:
        values = self._reader.next()
        if values is None:
            raise StopIteration
        return FrameRecord(values)

    @property
    def decode_errors(self) -> list[DecodeError]:
        """Places at which frames could not be decoded; complete after the last frame."""
        return [DecodeError(**error) for error in self._reader.end()["errors"]]

    @property
    def reason(self) -> str | None:
        """After the last frame: why the reading ended in a way that leaves the result doubtful, or
        None where it did not."""
        reason: str | None = self._reader.end()["reason"]
        return reason

    def close(self) -> None:
        """Ends the reading before the end. Dropping the object does the same."""
        self._reader.close()

    def __enter__(self) -> Frames:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()


def frames(path: Path, *, indicators: IndicatorChoice = None, start: float | None = None,
           start_frame: int | None = None, duration: float | None = None, frames: int | None = None,
           stream: int | None = None, fps: float | None = None, stream_times: bool = False,
           raw: bool = False, size: tuple[int, int] | None = None, pix_fmt: str | None = None,
           frame_bytes: int | None = None, threads: int | None = None, decode_threads: int = 0,
           max_pixels: int | None = None, allow_protocols: str | Iterable[str] = (),
           allow_nested: bool = False) -> Frames:
    options = _options(
        start=start, start_frame=start_frame, duration=duration, frames=frames, stream=stream,
        fps=fps, stream_times=stream_times, raw=raw, size=size, pix_fmt=pix_fmt,
        frame_bytes=frame_bytes, decode_threads=decode_threads, max_pixels=max_pixels,
        allow_protocols=allow_protocols, allow_nested=allow_nested)
    mask, count = mask_of(indicators), thread_count(threads)
    return Frames(_load_qc().Reader(os.fspath(path), options, mask, count))


def check(path: Path, *, profile: Path = "default", indicators: IndicatorChoice = None,
          start: float | None = None, start_frame: int | None = None,
          duration: float | None = None, frames: int | None = None, stream: int | None = None,
          fps: float | None = None, stream_times: bool = False, raw: bool = False,
          size: tuple[int, int] | None = None, pix_fmt: str | None = None,
          frame_bytes: int | None = None, threads: int | None = None, decode_threads: int = 0,
          max_pixels: int | None = None, allow_protocols: str | Iterable[str] = (),
          allow_nested: bool = False) -> CheckResult:
    options = _options(
        start=start, start_frame=start_frame, duration=duration, frames=frames, stream=stream,
        fps=fps, stream_times=stream_times, raw=raw, size=size, pix_fmt=pix_fmt,
        frame_bytes=frame_bytes, decode_threads=decode_threads, max_pixels=max_pixels,
        allow_protocols=allow_protocols, allow_nested=allow_nested)
    mask, count = mask_of(indicators), thread_count(threads)
    found = _load_qc().check(os.fspath(path), options, mask, count, os.fspath(profile))
    return CheckResult(
        input=InputFacts(**found.pop("input")),
        events=[Event(**event) for event in found.pop("events")],
        not_judged=[NotJudged(**rule) for rule in found.pop("not_judged")],
        broken_rules=[BrokenRule(**rule) for rule in found.pop("broken_rules")],
        decode_errors=[DecodeError(**error) for error in found.pop("decode_errors")],
        summary=dict(zip(Indicators._fields,
                         [one and Summary(**one) for one in found.pop("summaries")])),
        **found)


_OPTIONS = """Options, which are those of the command:

``path``
    a video; ``"-"`` is standard input. Every other name is that of a file, whatever it looks like.
``indicators``
    names, members of INDICATORS or a mask of what to measure; None: all
``start``, ``duration``
    the part to measure, in seconds from the first picture; ``start_frame``, ``frames``: the same
    in frames
``stream``
    index in the container; None: the first with video
``fps``
    frames a second, instead of what the video says
``stream_times``
    times as the stream stamps its pictures, instead of from the first one on
``raw``, ``size``, ``pix_fmt``, ``frame_bytes``
    raw frames without a header: True, (width, height), libavutil's name of the pixel format
    ("yuv420p"), and bytes from a frame to the next where that is more than the format takes
``threads``, ``decode_threads``
    frames measured at once (None: the CPUs); threads of the decoder (0: its own choice)
``max_pixels``, ``allow_protocols``, ``allow_nested``
    what is trusted: larger pictures are refused; schemes that make ``scheme://...`` a URL; whether
    playlists and image patterns may open further files

Messages name the options as the command spells them: ``--max-pixels`` is ``max_pixels``."""

frames.__doc__ = f"""The records of a video's frames, in order, as an iterator.

    for record in lumagauge.frames("movie.mp4"):
        print(record.time, record.blur)

Memory is bounded whatever the length of the video. The object's ``input`` says what the video is,
its ``decode_errors`` and ``reason``, after the last frame, what went wrong. Raises InputError where
it cannot be opened.

{_OPTIONS}"""

check.__doc__ = f"""Measures a video and judges it by a profile: what the command lumagauge-qc says.

``profile`` is "default", "broadcast" or a file of rules. Raises InputError where the video cannot
be opened and ProfileError where the profile cannot be used; a video that ends in an error that
leaves the result doubtful has the verdict "unmeasured". Memory grows by some 270 bytes a frame.

{_OPTIONS}"""
